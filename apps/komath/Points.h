// Point sets for the registration commands: reading, moving, comparing.
#pragma once

#include <string>

#include "Reader.h"
#include "base/KbArray.h"
#include "base/KbMatrix4R.h"
#include "base/KbVector.h"

namespace komath {

// Reads one point per line, "x y z" or "x y" (z = 0), into `points`;
// every value must be finite in float. Blank lines are ignored.
void ReadPoints(NumberReader& reader, KbArray<KbVector3f>& points);

// Reads shapes separated by blank lines (one or more), appending each to
// `shapes`; `firstLines` gets the line each shape starts on.
void ReadShapes(NumberReader& reader, KbArray<KbArray<KbVector3f>>& shapes,
                std::vector<std::uint64_t>& firstLines);

// (p, 1) · m in double, divided by the resulting w.
KbVector3d Apply(const KbMatrix4Rf& m, const KbVector3f& p);

struct ResidualStats {
  double rms = 0;
  double max = 0;
};
// Distances |a_i - b_i| of corresponding points.
ResidualStats Residuals(const KbArray<KbVector3f>& a, const KbArray<KbVector3d>& b);

// The angle in radians of the rotation that turns `a` into `b` (upper-left
// 3x3 blocks, both rotations).
double RotationAngleBetween(const KbMatrix4Rf& a, const KbMatrix4Rf& b);

}  // namespace komath
