// Registration in double precision around the float library: the layer that
// the komath tool and the Python package share, so that both give the same
// numbers for the same input.
//
// Points are rows: a set of n points of dimension d (2 or 3) is n * d
// doubles, point after point. Every function conditions its input in double
// before the float library sees it (each set centred and scaled to unit
// size), and maps the results back in double, so shifting the input by 1e7
// or scaling it by 1e-15 or 1e18 changes the rotation and the relative
// residuals only by the float rounding of unit-size data.
//
// Conventions (row vectors, as the library's matrices):
//   target ~ scale * source * rotation + translation
// and `matrix` is the same motion as a 4 x 4 matrix M with (source, 1) * M.
// Two-dimensional input is never reflected unless allowReflection is set.
//
// Failures: bad input (too few points, unequal counts, a dimension other
// than 2 or 3, non-finite values, all points identical) throws InputError;
// a computation that fails or gives a non-finite result throws
// ComputationError naming the step.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace komath {

struct AlignOptions {
  enum class Scale {
    eNone,          // rigid: rotation and translation only
    eLeastSquares,  // the similarity scale that minimises the squared residuals
    eRatio,         // the library's ratio of the two sets' sizes
  };
  Scale scale = Scale::eNone;
  bool allowReflection = false;
  // 3-D only: rotate about the z axis alone (the library's planar mode).
  bool planar = false;
  // Match the centroids only; rotation is the identity and scale 1.
  bool translationOnly = false;
};

// Align fills in every field.
struct AlignResult {
  std::vector<double> rotation;     // d x d, row after row
  std::vector<double> translation;  // d
  double scale{};
  std::array<double, 16> matrix{};  // 4 x 4, row after row, row-vector convention
  // Distances between corresponding target and moved source points, in
  // the input's own units.
  double rmsBefore{};
  double maxBefore{};
  double rmsAfter{};
  double maxAfter{};
};

// Aligns `source` onto `target`, both `dimension` coordinates per point and
// of equal counts (at least 3 points).
AlignResult Align(std::span<const double> target, std::span<const double> source,
                  std::size_t dimension, const AlignOptions& options);

enum class GpaMethod {
  eFull,     // each shape scaled by its least-squares scale onto the mean
  ePartial,  // every shape at unit size (the library's default estimator)
  eRigid,    // no scaling at all
};

struct GpaOptions {
  GpaMethod method = GpaMethod::eFull;
  // Convergence distance of the mean, in the units of the unit-size mean
  // (rigid: of the reference shape's size, by which every shape is divided).
  double tolerance = 1e-6;
  std::size_t reference = 0;  // the shape that seeds the mean
  bool allowReflection = false;
};

// Gpa fills in every field.
struct GpaResult {
  std::size_t shapes{};     // k
  std::size_t landmarks{};  // m
  std::size_t dimension{};  // d
  // Everything below is in the input's units and dimension. Shape i maps
  // onto its aligned copy as  aligned_i = scales[i] * shape_i * R_i + t_i.
  std::vector<double> mean;          // m x d
  std::vector<double> aligned;       // k x m x d
  std::vector<double> rotations;     // k x d x d
  std::vector<double> scales;        // k
  std::vector<double> translations;  // k x d
  unsigned rounds{};                 // mean iterations until it settled
};

// Generalized Procrustes analysis of k shapes of m landmarks of dimension d,
// given as k * m * d doubles, shape after shape.
GpaResult Gpa(std::span<const double> shapes, std::size_t shapeCount, std::size_t landmarks,
              std::size_t dimension, const GpaOptions& options);

}  // namespace komath
