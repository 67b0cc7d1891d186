#include "Points.h"

#include <algorithm>
#include <cmath>

namespace komath {
namespace {

constexpr const char* c_layout = "x y [z]";

}  // namespace

PointSet ReadPoints(NumberReader& reader) {
  PointSet set;
  set.dimension = ReadTable(reader, 2, 3, c_layout, [&](std::span<const double> row) {
    set.coordinates.insert(set.coordinates.end(), row.begin(), row.end());
  });
  return set;
}

void ReadShapes(NumberReader& reader, ShapeSet& shapes) {
  std::size_t columns = 0;
  std::uint64_t firstLine{};
  // Landmarks of the shape being read (while inShape).
  std::size_t current{};
  bool inShape = false;
  const auto finish = [&] {
    if (!inShape) return;
    inShape = false;
    if (shapes.landmarks == 0) shapes.landmarks = current;
    if (current != shapes.landmarks) {
      throw InputError(shapes.origins.back() + ": shape " + std::to_string(shapes.Count() - 1) +
                       " has " + std::to_string(current) + " landmarks, shape 0 (" +
                       shapes.origins.front() + ") has " + std::to_string(shapes.landmarks));
    }
  };
  while (reader.Next()) {
    if (reader.IsBlank()) {
      finish();
      continue;
    }
    CheckColumns(reader, columns, 2, 3, c_layout, firstLine);
    if (!inShape) {
      if (!shapes.origins.empty() && columns != shapes.points.dimension) {
        reader.Fail("points of " + std::to_string(columns) + " coordinates, while " +
                    shapes.origins.front() + " has " + std::to_string(shapes.points.dimension) +
                    ": all shapes need one dimension");
      }
      shapes.points.dimension = columns;
      shapes.origins.push_back(reader.Name() + ":" + std::to_string(reader.Line()));
      inShape = true;
      current = 0;
    }
    const std::span<const double> row = reader.Values();
    shapes.points.coordinates.insert(shapes.points.coordinates.end(), row.begin(), row.end());
    ++current;
  }
  finish();
  if (columns == 0) throw InputError(reader.Name(), 0, "no numbers in the input (empty file?)");
}

PointSet Widen(const KbArray<KbVector3f>& points) {
  PointSet set;
  for (const KbVector3f& p : points) set.coordinates.insert(set.coordinates.end(), {p.x, p.y, p.z});
  return set;
}

KbVector3d Apply(const KbMatrix4Rf& m, const KbVector3f& p) {
  const auto column = [&](unsigned c) {
    return double(p.x) * m(0, c) + double(p.y) * m(1, c) + double(p.z) * m(2, c) + m(3, c);
  };
  return {column(0), column(1), column(2)};
}

double RotationAngleBetween(std::span<const double> a, std::span<const double> b) {
  // trace(a^T b) = 1 + 2 cos(angle).
  double trace = 0;
  for (std::size_t i = 0; i < a.size(); ++i) trace += a[i] * b[i];
  return std::acos(std::clamp((trace - 1) / 2, -1.0, 1.0));
}

}  // namespace komath
