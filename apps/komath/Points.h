// Point sets for the registration commands: reading them in double, and
// the few measures the commands print besides the API's results.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Reader.h"
#include "base/KbArray.h"
#include "base/KbMatrix4R.h"
#include "base/KbVector.h"

namespace komath {

// n points of `dimension` coordinates (2 or 3), point after point: the
// layout of the registration API.
struct PointSet {
  std::size_t dimension = 3;
  std::vector<double> coordinates;
  std::size_t Count() const { return coordinates.size() / dimension; }
};

// Reads one point per line, "x y z" or "x y"; every line of the file has the
// same width, which is the set's dimension. Blank lines are ignored.
PointSet ReadPoints(NumberReader& reader);

// Shapes separated by blank lines (one or more), appended to `shapes` (all
// of one dimension and one landmark count, checked against what is there
// already, with the offending shape's file and line named); `origins` gets
// "file:line" of each shape's first landmark.
struct ShapeSet {
  PointSet points;            // every shape's landmarks, shape after shape
  std::size_t landmarks = 0;  // per shape; 0 until the first shape is read
  std::vector<std::string> origins;
  std::size_t Count() const { return origins.size(); }
};
void ReadShapes(NumberReader& reader, ShapeSet& shapes);

// The built-in samples' float points as a 3-D set.
PointSet Widen(const KbArray<KbVector3f>& points);

// (p, 1) · m in double, for an affine m (last column 0, 0, 0, 1).
KbVector3d Apply(const KbMatrix4Rf& m, const KbVector3f& p);

// The angle in radians of the rotation that turns `a` into `b` (both 3 x 3
// rotations, row after row).
double RotationAngleBetween(std::span<const double> a, std::span<const double> b);

}  // namespace komath
