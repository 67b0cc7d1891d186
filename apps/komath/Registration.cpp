#include "Registration.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <optional>
#include <string>

#include "Errors.h"
#include "base/KbException.h"
#include "math/registration/KoMpGeneralizedProcrustesAnalysis.h"
#include "math/registration/KoProcrustes.h"

namespace komath {
namespace {

using Rotation = std::array<double, 9>;  // 3 x 3, row after row, row-vector convention
using Vector = std::array<double, 3>;

// f(a[c], b[c]) for every coordinate c.
template <class Function>
Vector Zip(const Vector& a, const Vector& b, Function f) {
  Vector out;
  std::transform(a.begin(), a.end(), b.begin(), out.begin(), f);
  return out;
}

// The sum of (a[c] - b[c])^2, added to `sum` coordinate by coordinate.
double AddSquaredDistance(double sum, const Vector& a, const Vector& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), sum, std::plus<>(),
                            [](double x, double y) { return (x - y) * (x - y); });
}

// One point set centred and scaled in double: what the float library sees.
struct Conditioned {
  Vector centre{};
  double size{};  // root of the sum of squared centred lengths
  KbArray<KbVector3f> points;
};

double Coordinate(std::span<const double> points, std::size_t dimension, std::size_t i,
                  std::size_t c) {
  return c < dimension ? points[i * dimension + c] : 0.0;
}

Vector Point(std::span<const double> points, std::size_t dimension, std::size_t i) {
  return {Coordinate(points, dimension, i, 0), Coordinate(points, dimension, i, 1),
          Coordinate(points, dimension, i, 2)};
}

void CheckDimension(std::size_t dimension) {
  if (dimension != 2 && dimension != 3) {
    throw InputError("points of dimension " + std::to_string(dimension) +
                     ": registration works on 2-D or 3-D points");
  }
}

void CheckFinite(std::span<const double> values, const std::string& what) {
  for (double v : values) {
    if (!std::isfinite(v)) throw InputError(what + " holds a value that is not finite");
  }
}

// Centre (sum in double, point order) and size; without a `divisor` the set
// is scaled to unit size, with one it is divided by it. A plane set's
// missing z counts as 0 throughout, which adds nothing to the sums.
Conditioned Condition(std::span<const double> points, std::size_t dimension,
                      std::optional<double> divisor = std::nullopt) {
  const std::size_t n = points.size() / dimension;
  Conditioned out;
  for (std::size_t i = 0; i < n; ++i) {
    const Vector p = Point(points, dimension, i);
    out.centre = Zip(out.centre, p, std::plus<>());
  }
  for (double& c : out.centre) c /= double(n);
  double squares = 0;
  for (std::size_t i = 0; i < n; ++i) {
    squares = AddSquaredDistance(squares, Point(points, dimension, i), out.centre);
  }
  out.size = std::sqrt(squares);
  const double factor = 1 / divisor.value_or(out.size);
  out.points.Resize(unsigned(n));
  for (std::size_t i = 0; i < n; ++i) {
    const Vector p = Point(points, dimension, i);
    out.points[unsigned(i)] =
        KbVector3f(float((p[0] - out.centre[0]) * factor), float((p[1] - out.centre[1]) * factor),
                   float((p[2] - out.centre[2]) * factor));
  }
  return out;
}

bool AllZInZero(std::span<const double> points, std::size_t dimension) {
  if (dimension == 2) return true;
  for (std::size_t i = 2; i < points.size(); i += 3) {
    if (points[i] != 0) return false;
  }
  return true;
}

Rotation Widen(const KbMatrix4Rf& m) {
  return {m(0, 0), m(0, 1), m(0, 2), m(1, 0), m(1, 1), m(1, 2), m(2, 0), m(2, 1), m(2, 2)};
}

// p * R for a centred point p (3 coordinates).
Vector Rotate(const Vector& p, const Rotation& r) {
  Vector out{};
  for (std::size_t j = 0; j < out.size(); ++j)
    out[j] = p[0] * r[j] + p[1] * r[3 + j] + p[2] * r[6 + j];
  return out;
}

bool AllFinite(std::span<const double> values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

// The rotation of KoProcrustes from `first` and `second` (both conditioned);
// its exceptions become ComputationError naming `step`.
Rotation ProcrustesRotation(KoProcrustes& procrustes, const KbArray<KbVector3f>& first,
                            const KbArray<KbVector3f>& second, const std::string& step) {
  procrustes.SetInput(first, second);
  const bool computed =
      LibraryStep(step,
                  "the singular value decomposition of the cross-covariance "
                  "did not converge (coordinates too large or not finite?)",
                  [&] { return procrustes.Compute(KoAlgorithm::eComputeDefault); });
  if (!computed) throw ComputationError(step + ": the alignment's pre-conditions failed");
  KbVector3f translation;
  KbMatrix4Rf rotation;
  procrustes.GetOutput(translation, rotation);
  return Widen(rotation);
}

void CheckResult(std::span<const double> values, const std::string& step) {
  if (!AllFinite(values)) {
    throw ComputationError(step +
                           ": the result is not finite (coordinates beyond double's range once "
                           "squared, or a degenerate configuration)");
  }
}

}  // namespace

AlignResult Align(std::span<const double> target, std::span<const double> source,
                  std::size_t dimension, const AlignOptions& options) {
  CheckDimension(dimension);
  if (target.size() % dimension != 0 || source.size() % dimension != 0) {
    throw InputError("align: the coordinates are not a whole number of points");
  }
  if (target.size() != source.size()) {
    throw InputError("align: the target has " + std::to_string(target.size() / dimension) +
                     " points, the source " + std::to_string(source.size() / dimension) +
                     ": corresponding point sets need equal counts");
  }
  const std::size_t n = target.size() / dimension;
  if (n < 3) {
    throw InputError("align: only " + std::to_string(n) + " points: an alignment needs at least 3");
  }
  CheckFinite(target, "align: the target");
  CheckFinite(source, "align: the source");
  const Conditioned a = Condition(target, dimension);
  const Conditioned b = Condition(source, dimension);
  if (!(a.size > 0) || !(b.size > 0)) {
    throw InputError(std::string("align: all points of the ") + (a.size > 0 ? "source" : "target") +
                     " are identical: there is no rotation or scale to find");
  }
  if (!std::isfinite(a.size) || !std::isfinite(b.size)) {
    throw ComputationError("align: the sets' sizes overflow double (coordinates near 1e154?)");
  }

  Rotation rotation{1, 0, 0, 0, 1, 0, 0, 0, 1};
  if (!options.translationOnly) {
    KoProcrustes procrustes;
    auto& flags = procrustes.GetFlags();
    flags.Set(KoProcrustes::ePlanar,
              options.planar || (AllZInZero(target, dimension) && AllZInZero(source, dimension)));
    flags.Set(KoProcrustes::eAllowReflection, options.allowReflection);
    rotation = ProcrustesRotation(procrustes, a.points, b.points, "align");
  }

  // Everything from here on in double on the original (centred) data.
  double scale = 1;
  if (options.scale == AlignOptions::Scale::eRatio) {
    scale = a.size / b.size;
  } else if (options.scale == AlignOptions::Scale::eLeastSquares) {
    // s = sum <a_i, b_i R> / sum |b_i|^2 over the centred sets, summed on
    // the unit-size copies (in double) so that 1e18 coordinates cannot
    // overflow.
    double product = 0, squares = 0;
    for (std::size_t i = 0; i < n; ++i) {
      Vector p = Point(target, dimension, i), q = Point(source, dimension, i);
      p = Zip(p, a.centre, [&](double x, double centre) { return (x - centre) / a.size; });
      q = Zip(q, b.centre, [&](double x, double centre) { return (x - centre) / b.size; });
      const Vector moved = Rotate(q, rotation);
      product = std::inner_product(p.begin(), p.end(), moved.begin(), product);
      squares = std::inner_product(q.begin(), q.end(), q.begin(), squares);
    }
    scale = product / squares * (a.size / b.size);
    // With an optimal rotation the product is a sum of singular values, never
    // negative; it is zero or negative only without a rotation to find.
    if (!(scale > 0)) {
      throw ComputationError(
          "align: the least-squares scale is not positive (the centred source points away from "
          "the target, which a translation alone cannot fix)");
    }
  }

  AlignResult result;
  result.scale = scale;
  const Vector movedCentre = Rotate(b.centre, rotation);
  const Vector translation = Zip(
      a.centre, movedCentre, [&](double centre, double moved) { return centre - scale * moved; });
  for (unsigned i = 0; i < dimension; ++i) {
    for (unsigned j = 0; j < dimension; ++j) result.rotation.push_back(rotation[3 * i + j]);
    result.translation.push_back(translation[i]);
  }
  for (unsigned i = 0; i < 3; ++i) {
    for (unsigned j = 0; j < 3; ++j) result.matrix[4 * i + j] = scale * rotation[3 * i + j];
    result.matrix[12 + i] = translation[i];
  }
  result.matrix[15] = 1;

  double before = 0, after = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const Vector p = Point(target, dimension, i), q = Point(source, dimension, i);
    // Relative to the centroids, so that large offsets cancel before the
    // rotation rather than after it.
    Vector moved = Rotate(Zip(q, b.centre, std::minus<>()), rotation);
    double d0 = 0, d1 = 0;
    for (std::size_t c = 0; c < moved.size(); ++c) {
      moved[c] = scale * moved[c] - (p[c] - a.centre[c]);
      d0 += (p[c] - q[c]) * (p[c] - q[c]);
      d1 += moved[c] * moved[c];
    }
    before += d0, after += d1;
    result.maxBefore = std::max(result.maxBefore, d0);
    result.maxAfter = std::max(result.maxAfter, d1);
  }
  result.rmsBefore = std::sqrt(before / double(n));
  result.rmsAfter = std::sqrt(after / double(n));
  result.maxBefore = std::sqrt(result.maxBefore);
  result.maxAfter = std::sqrt(result.maxAfter);

  // The matrix holds the rotation times the scale and the translation.
  CheckResult(result.matrix, "align");
  const double stats[] = {result.scale, result.rmsBefore, result.maxBefore, result.rmsAfter,
                          result.maxAfter};
  CheckResult(stats, "align");
  return result;
}

namespace {

// Rigid analysis: the shapes keep their sizes, so the mean is the plain
// average of the rotated shapes. The library normalises every shape, so
// this loop drives KoProcrustes itself, with the library's round limit.
// `shapes` are centred and divided by the reference's size.
std::vector<Rotation> RigidRotations(const std::vector<Conditioned>& shapes,
                                     std::span<const double> input, std::size_t landmarks,
                                     std::size_t dimension, const GpaOptions& options, bool planar,
                                     unsigned& rounds) {
  const std::size_t k = shapes.size(), m = landmarks;
  KoProcrustes procrustes;
  procrustes.GetFlags().Set(KoProcrustes::ePlanar, planar);
  procrustes.GetFlags().Set(KoProcrustes::eAllowReflection, options.allowReflection);
  KbArray<KbVector3f> mean = shapes[options.reference].points;
  // The mean in double, landmark by landmark: the current one and the next.
  std::vector<Vector> current(m), candidate(m);
  for (std::size_t j = 0; j < m; ++j) {
    const KbVector3f& p = mean[unsigned(j)];
    current[j] = {p.x, p.y, p.z};
  }
  std::vector<Rotation> rotations(k);
  const double divisor = shapes[options.reference].size;
  for (rounds = 0;; ++rounds) {
    std::fill(candidate.begin(), candidate.end(), Vector{});
    for (std::size_t i = 0; i < k; ++i) {
      rotations[i] = ProcrustesRotation(procrustes, mean, shapes[i].points, "gpa (rigid)");
      const std::span<const double> shape = input.subspan(i * m * dimension, m * dimension);
      for (std::size_t j = 0; j < m; ++j) {
        Vector p = Point(shape, dimension, j);
        p = Zip(p, shapes[i].centre,
                [&](double x, double centre) { return (x - centre) / divisor; });
        const Vector moved = Rotate(p, rotations[i]);
        candidate[j] =
            Zip(candidate[j], moved, [&](double sum, double v) { return sum + v / double(k); });
      }
    }
    const double squaredTolerance = options.tolerance * options.tolerance;
    bool settled = true;
    for (std::size_t j = 0; j < m && settled; ++j) {
      settled = AddSquaredDistance(0, candidate[j], current[j]) <= squaredTolerance;
    }
    // As in the library: on convergence the rotations onto the previous
    // mean stand.
    if (settled) return rotations;
    if (rounds == KoMpGeneralizedProcrustesAnalysis::c_uiMaxRounds) {
      throw ComputationError("gpa --rigid: the mean did not settle within " +
                             std::to_string(rounds) +
                             " rounds (a tolerance below the float rounding of the mean, "
                             "about 1e-7?)");
    }
    current.swap(candidate);
    for (std::size_t j = 0; j < m; ++j) {
      mean[unsigned(j)] =
          KbVector3f(float(current[j][0]), float(current[j][1]), float(current[j][2]));
    }
  }
}

}  // namespace

GpaResult Gpa(std::span<const double> shapes, std::size_t shapeCount, std::size_t landmarks,
              std::size_t dimension, const GpaOptions& options) {
  CheckDimension(dimension);
  const std::size_t k = shapeCount, m = landmarks;
  if (k < 2) throw InputError("gpa: only " + std::to_string(k) + " shape: an analysis needs 2");
  if (m < 3) {
    throw InputError("gpa: shapes of " + std::to_string(m) +
                     " landmarks: an analysis needs at least 3");
  }
  if (shapes.size() != k * m * dimension) {
    throw InputError("gpa: " + std::to_string(shapes.size()) + " coordinates are not " +
                     std::to_string(k) + " shapes of " + std::to_string(m) + " landmarks of " +
                     std::to_string(dimension));
  }
  if (options.reference >= k) {
    throw InputError("gpa: reference shape " + std::to_string(options.reference) +
                     ": there are only " + std::to_string(k) + " shapes (numbered from 0)");
  }
  if (!(options.tolerance >= 0) || !std::isfinite(float(options.tolerance))) {
    throw InputError("gpa: the tolerance must be finite and >= 0");
  }
  CheckFinite(shapes, "gpa: the shapes' coordinates");
  const bool planar = AllZInZero(shapes, dimension);
  const std::size_t size = m * dimension;

  // Each shape centred and, unless rigid, scaled to unit size. Rigid shapes
  // share one divisor, the reference's size, so that their sizes still
  // count.
  std::vector<Conditioned> conditioned(k);
  const Conditioned reference =
      Condition(shapes.subspan(options.reference * size, size), dimension);
  if (!(reference.size > 0)) {
    throw InputError("gpa: all landmarks of the reference shape " +
                     std::to_string(options.reference) + " are identical");
  }
  for (std::size_t i = 0; i < k; ++i) {
    conditioned[i] = Condition(
        shapes.subspan(i * size, size), dimension,
        options.method == GpaMethod::eRigid ? std::optional(reference.size) : std::nullopt);
    if (!(conditioned[i].size > 0)) {
      throw InputError("gpa: all landmarks of shape " + std::to_string(i) +
                       " are identical: it has no shape to align");
    }
    if (!std::isfinite(conditioned[i].size)) {
      throw ComputationError("gpa: the size of shape " + std::to_string(i) +
                             " overflows double (coordinates near 1e154?)");
    }
  }

  GpaResult result;
  result.shapes = k, result.landmarks = m, result.dimension = dimension;
  std::vector<Rotation> rotations(k);
  // Per shape: its scale onto the aligned copy and the point (in input units)
  // that the rotation acts about.
  std::vector<double> scales(k, 1.0);
  std::vector<Vector> pivots(k);
  if (options.method == GpaMethod::eRigid) {
    rotations = RigidRotations(conditioned, shapes, m, dimension, options, planar, result.rounds);
    for (std::size_t i = 0; i < k; ++i) pivots[i] = conditioned[i].centre;
  } else {
    KbArray<KbArray<KbVector3f>> input(static_cast<unsigned>(k));
    for (std::size_t i = 0; i < k; ++i) input[unsigned(i)] = conditioned[i].points;
    using Analysis = KoMpGeneralizedProcrustesAnalysis;
    Analysis gpa;
    gpa.SetInput(input, std::uint32_t(options.reference));
    gpa.SetParameters(float(options.tolerance));
    gpa.GetFlags().Set(Analysis::ePlanar, planar);
    gpa.GetFlags().Set(Analysis::eAllowReflection, options.allowReflection);
    gpa.GetFlags().Set(Analysis::eFullProcrustes, options.method == GpaMethod::eFull);
    try {
      if (!gpa.Compute(KoAlgorithm::eComputeDefault)) {
        throw ComputationError("gpa: the analysis's pre-conditions failed");
      }
    } catch (const KbException&) {
      if (gpa.GetRoundCount() == Analysis::c_uiMaxRounds) {
        throw ComputationError("gpa: the mean did not settle within " +
                               std::to_string(Analysis::c_uiMaxRounds) +
                               " rounds (a tolerance below the float rounding of the unit-size "
                               "mean, about 1e-7?)");
      }
      throw ComputationError(
          "gpa: a shape could not be aligned to the mean: the singular value decomposition did "
          "not converge");
    }
    result.rounds = gpa.GetRoundCount();
    KbArray<float> factors;
    KbArray<KbVector3f> centres, translations;
    KbArray<KbMatrix4Rf> matrices;
    gpa.GetScalings(factors);
    gpa.GetCenters(centres);
    gpa.GetOutput(translations, matrices);
    for (std::size_t i = 0; i < k; ++i) {
      const unsigned u = unsigned(i);
      rotations[i] = Widen(matrices[u]);
      const double s = conditioned[i].size;
      scales[i] = reference.size * double(factors[u]) / s;
      // The library rotates about the float centroid of the conditioned
      // shape, a rounding away from zero: carried over exactly.
      pivots[i] = Zip(conditioned[i].centre, {centres[u].x, centres[u].y, centres[u].z},
                      [&](double centre, double d) { return centre + s * d; });
    }
  }

  // aligned_i = scale_i * (shape_i - pivot_i) * R_i + reference centre, in
  // double from the input.
  result.aligned.resize(k * size);
  result.scales = scales;
  std::vector<Vector> mean(m);
  for (std::size_t i = 0; i < k; ++i) {
    const std::span<const double> shape = shapes.subspan(i * size, size);
    const Vector pivot = Rotate(pivots[i], rotations[i]);
    for (unsigned r = 0; r < dimension; ++r) {
      for (unsigned c = 0; c < dimension; ++c) result.rotations.push_back(rotations[i][3 * r + c]);
      result.translations.push_back(reference.centre[r] - scales[i] * pivot[r]);
    }
    for (std::size_t j = 0; j < m; ++j) {
      const Vector p = Point(shape, dimension, j);
      const Vector moved = Rotate(Zip(p, pivots[i], std::minus<>()), rotations[i]);
      for (unsigned c = 0; c < dimension; ++c) {
        result.aligned[i * size + j * dimension + c] = scales[i] * moved[c] + reference.centre[c];
      }
      mean[j] = Zip(mean[j], moved,
                    [&](double sum, double v) { return sum + scales[i] * v / double(k); });
    }
  }
  // The mean of the aligned shapes; full and partial means are of unit size
  // in the conditioned units, so here of the reference's size.
  if (options.method != GpaMethod::eRigid) {
    double squares = 0;
    for (const Vector& v : mean)
      squares = std::inner_product(v.begin(), v.end(), v.begin(), squares);
    const double factor = reference.size / std::sqrt(squares);
    for (Vector& v : mean) {
      for (double& x : v) x *= factor;
    }
  }
  result.mean.resize(size);
  for (std::size_t j = 0; j < m; ++j) {
    for (unsigned c = 0; c < dimension; ++c) {
      result.mean[j * dimension + c] = mean[j][c] + reference.centre[c];
    }
  }
  // The inputs' sizes were checked above; this is the last guard before printing.
  for (const std::vector<double>* values :
       {&result.mean, &result.aligned, &result.rotations, &result.scales, &result.translations})
    CheckResult(*values, "gpa");
  return result;
}

}  // namespace komath
