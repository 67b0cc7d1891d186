// Polynomial fitting and tent-kernel smoothing in double precision around
// the float library (shared by the komath tool and the Python package).
//
// The fit conditions its data as a Chebyshev-style domain map does: x is
// mapped to u = (x - shift) / scale in [-1, 1] and y is centred and scaled
// before the float fit, which is refined with residuals formed in double
// until its corrections stop shrinking (numpy's least-squares minimum, up to
// the float rounding of its right-hand side); the coefficients come back in
// double, both in u and expanded in x. The chi-square is computed in double
// from the original data and the polynomial in u, which keeps its digits;
// the form in x gives the same unless it is flagged ill-conditioned.
//
// Failures: bad input (too few points, non-positive sigma, non-finite
// values, all x equal) throws InputError; a failed or non-finite
// computation throws ComputationError naming the step.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace komath {

struct FitResult {
  std::vector<double> coefficients;        // in x, constant first
  std::vector<double> scaledCoefficients;  // in u = (x - shift) / scale, constant first
  double shift{};
  double scale{};
  double chiSquare{};  // of the fitted polynomial (its form in u) on the original data
  // True when the power-basis form in x loses most of its digits on the data
  // (its terms sum to more than 1e8 times the largest |y|, so evaluating it
  // in double keeps fewer digits than the float fit): use the fit in u.
  bool illConditioned = false;
};

// Weighted least-squares polynomial of `degree` through (x[i], y[i]); sigma
// is empty (every sigma 1) or holds one positive sigma per point.
FitResult Fit(std::span<const double> x, std::span<const double> y, std::span<const double> sigma,
              unsigned degree);

// Exact tent-kernel smoothing of irregular samples: n positions `x` and
// n * components values `y` (components 1 to 3, sample after sample) are
// smoothed with half-width `halfWidth`; with a period the samples lie on a
// circle of that length. Positions must not decrease. Writes n * components
// values to `out`, which may be `y` itself (smoothing in place, which saves
// the memory of a second copy) but must not overlap it otherwise. A
// half-width of 0 gives zeros, as the library's convolution defines it.
void Smooth(std::span<const double> x, std::span<const double> y, std::size_t components,
            double halfWidth, std::optional<double> period, std::span<double> out);

}  // namespace komath
