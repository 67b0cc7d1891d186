#include "Points.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace komath {
namespace {

constexpr const char* c_layout = "x y [z]";
// KbArray counts in unsigned int and doubles its capacity when it grows.
constexpr std::uint64_t c_maxPoints = std::uint64_t(1) << 30;

KbVector3f PointOf(std::span<const double> v) {
  return {float(v[0]), float(v[1]), v.size() == 3 ? float(v[2]) : 0.0f};
}

}  // namespace

void ReadPoints(NumberReader& reader, KbArray<KbVector3f>& points) {
  ReadTable(reader, 2, 3, c_layout, [&](std::span<const double> row) {
    if (points.GetSize() == c_maxPoints) reader.Fail("more than 2^30 points");
    points.PushBack(PointOf(row));
  });
}

void ReadShapes(NumberReader& reader, KbArray<KbArray<KbVector3f>>& shapes,
                std::vector<std::uint64_t>& firstLines) {
  std::size_t columns = 0;
  std::uint64_t firstLine = 0;
  bool inShape = false;
  while (reader.Next()) {
    if (reader.IsBlank()) {
      inShape = false;
      continue;
    }
    CheckColumns(reader, columns, 2, 3, c_layout, firstLine);
    if (!inShape) {
      shapes.PushBack(KbArray<KbVector3f>());
      firstLines.push_back(reader.Line());
      inShape = true;
    }
    KbArray<KbVector3f>& shape = shapes[shapes.GetSize() - 1];
    if (shape.GetSize() == c_maxPoints) reader.Fail("more than 2^30 points");
    shape.PushBack(PointOf(reader.Values()));
  }
  if (columns == 0) throw InputError(reader.Name(), 0, "no numbers in the input (empty file?)");
}

KbVector3d Apply(const KbMatrix4Rf& m, const KbVector3f& p) {
  double out[4];
  for (unsigned c = 0; c < 4; ++c) {
    out[c] = double(p.x) * m(0, c) + double(p.y) * m(1, c) + double(p.z) * m(2, c) + m(3, c);
  }
  return {out[0] / out[3], out[1] / out[3], out[2] / out[3]};
}

ResidualStats Residuals(const KbArray<KbVector3f>& a, const KbArray<KbVector3d>& b) {
  ResidualStats stats;
  double sum = 0;
  for (unsigned i = 0; i < a.GetSize(); ++i) {
    const KbVector3d d(a[i].x - b[i].x, a[i].y - b[i].y, a[i].z - b[i].z);
    const double squared = d.SquaredLength();
    sum += squared;
    stats.max = std::max(stats.max, squared);
  }
  stats.rms = a.IsEmpty() ? 0 : std::sqrt(sum / a.GetSize());
  stats.max = std::sqrt(stats.max);
  return stats;
}

double RotationAngleBetween(const KbMatrix4Rf& a, const KbMatrix4Rf& b) {
  // trace(a^T b) = 1 + 2 cos(angle)
  double trace = 0;
  for (unsigned r = 0; r < 3; ++r) {
    for (unsigned c = 0; c < 3; ++c) trace += double(a(r, c)) * b(r, c);
  }
  return std::acos(std::clamp((trace - 1) / 2, -1.0, 1.0));
}

}  // namespace komath
