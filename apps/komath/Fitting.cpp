#include "Fitting.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "Errors.h"
#include "base/KbException.h"
#include "base/KbVector.h"
#include "math/numerics/KoFtArrayConvolution.h"
#include "math/tables/KoPolynomFit.h"

namespace komath {
namespace {

// Refinement steps of the fit at most; each gains about as many digits as
// the float solve keeps, so a handful reach double's accuracy.
constexpr unsigned c_maxRefinements = 40;

// The x form counts as ill-conditioned when evaluating it in double loses
// more digits than the float fit itself keeps (about 7 of 16).
constexpr double c_illConditioned = 1e8;

void CheckFinite(std::span<const double> values, const std::string& what) {
  for (double v : values) {
    if (!std::isfinite(v)) throw InputError(what + " holds a value that is not finite");
  }
}

// Horner in double.
double Evaluate(std::span<const double> c, double u) {
  double value = 0;
  for (std::size_t k = c.size(); k-- > 0;) value = value * u + c[k];
  return value;
}

// Maps [min, max] onto [-1, 1]: u = (x - shift) / scale.
void Domain(std::span<const double> x, double& shift, double& scale) {
  const auto [low, high] = std::minmax_element(x.begin(), x.end());
  shift = *low / 2 + *high / 2;  // halves first: no overflow near the double limit
  scale = *high / 2 - *low / 2;
}

}  // namespace

FitResult Fit(std::span<const double> x, std::span<const double> y, std::span<const double> sigma,
              unsigned degree) {
  const std::size_t n = x.size();
  if (y.size() != n || (!sigma.empty() && sigma.size() != n)) {
    throw InputError("fit: x, y and sigma need one value per point each");
  }
  if (n <= degree) {
    throw InputError("fit: a fit of degree " + std::to_string(degree) + " needs at least " +
                     std::to_string(degree + 1) + " points, there are " + std::to_string(n));
  }
  if (n > std::numeric_limits<std::uint32_t>::max() / 2) {
    throw InputError("fit: more than 2^31 points");
  }
  CheckFinite(x, "fit: x");
  CheckFinite(y, "fit: y");
  CheckFinite(sigma, "fit: sigma");
  double sigmaMax = 0;
  for (double s : sigma) {
    if (!(s > 0)) throw InputError("fit: sigma " + std::to_string(s) + " is not positive");
    sigmaMax = std::max(sigmaMax, s);
  }

  FitResult result;
  Domain(x, result.shift, result.scale);
  if (!(result.scale > 0)) {
    // A constant needs no domain; anything more has no slope to find.
    if (degree > 0) throw InputError("fit: all x are equal: only degree 0 can be fitted");
    result.scale = 1;
  }
  // y centred on its mean and scaled to at most 1 in magnitude; the sigmas
  // relative to the largest, since only their ratios weigh.
  double yShift = 0;
  for (double v : y) yShift += v / double(n);
  double yScale = 0;
  for (double v : y) yScale = std::max(yScale, std::abs(v - yShift));
  if (!(yScale > 0)) yScale = 1;  // constant data: nothing to scale

  KbArray<KoPoint<float>> points(static_cast<unsigned>(n));
  KbArray<float> weights(static_cast<unsigned>(n));
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned u = unsigned(i);
    points[u].x = float((x[i] - result.shift) / result.scale);
    weights[u] = sigma.empty() ? 1.0f : float(sigma[i] / sigmaMax);
    if (!(weights[u] > 0)) {
      throw InputError("fit: the sigmas span more than single precision's range");
    }
  }

  // Mixed-precision iterative refinement: the float fit solves for the
  // correction to the residuals, which are formed in double. Each step
  // shrinks the error by about float's epsilon times the condition of the
  // normal equations, which on [-1, 1] stays below one up to degree 10 or
  // so; the loop stops when the corrections reach double's last bits or
  // stop shrinking (float noise), keeping the last good coefficients.
  std::vector<double> c(degree + 1, 0.0);
  double chi{}, previous = std::numeric_limits<double>::infinity();
  KbArray<float> correction;
  KoPolynomFit<float> fit;
  fit.SetInput(points, weights, degree, correction);
  for (unsigned step = 0, done = 0;; ++step) {
    chi = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const double r = (y[i] - yShift) / yScale - Evaluate(c, (x[i] - result.shift) / result.scale);
      const double w = (sigma.empty() ? 1.0 : sigma[i]) / yScale;
      chi += (r / w) * (r / w);
      points[unsigned(i)].y = float(r);
    }
    if (done || step == c_maxRefinements) break;
    try {
      if (!fit.Compute(KoAlgorithm::eComputeDefault)) {
        throw ComputationError("fit: the float fit's pre-conditions failed");
      }
    } catch (const KbException&) {
      throw ComputationError("fit: the float fit failed");
    }
    double size = 0, largest = 0;
    for (unsigned k = 0; k <= degree; ++k) size = std::max(size, std::abs(double(correction[k])));
    if (!std::isfinite(size) && step == 0) {
      throw ComputationError(
          "fit: the normal equations are singular (fewer distinct x than the degree needs?)");
    }
    if (!(size < previous)) break;
    for (unsigned k = 0; k <= degree; ++k) {
      c[k] += correction[k];
      largest = std::max(largest, std::abs(c[k]));
    }
    previous = size;
    done = size <= std::numeric_limits<double>::epsilon() * largest;
  }
  // Back to y's units, then expanded in x by Horner's scheme on
  // polynomials: p := p * (x - shift) / scale + a_k.
  result.scaledCoefficients.resize(degree + 1);
  for (unsigned k = 0; k <= degree; ++k) result.scaledCoefficients[k] = c[k] * yScale;
  result.scaledCoefficients[0] += yShift;
  std::vector<double>& a = result.coefficients;
  a.assign(degree + 1, 0.0);
  for (std::size_t k = degree + 1; k-- > 0;) {
    // a := a * (x / scale - shift / scale) + c_k, highest power first.
    for (std::size_t j = degree; j > 0; --j) {
      a[j] = a[j - 1] / result.scale - a[j] * result.shift / result.scale;
    }
    a[0] = -a[0] * result.shift / result.scale + result.scaledCoefficients[k];
  }
  result.chiSquare = chi;

  // How many digits the x form loses on the data: the largest sum of the
  // terms' magnitudes against the largest value.
  double terms = 0, values = 0;
  for (std::size_t i = 0; i < n; ++i) {
    double sum = 0, power = 1;
    for (double coefficient : a) sum += std::abs(coefficient) * power, power *= std::abs(x[i]);
    terms = std::max(terms, sum);
    values = std::max(values, std::abs(y[i]));
  }
  result.illConditioned = !(terms <= c_illConditioned * values);

  for (const std::vector<double>* v : {&result.coefficients, &result.scaledCoefficients}) {
    if (!std::all_of(v->begin(), v->end(), [](double d) { return std::isfinite(d); })) {
      throw ComputationError("fit: the coefficients are not finite");
    }
  }
  if (!std::isfinite(result.chiSquare)) {
    throw ComputationError("fit: the chi-square overflows double (sigmas far below the residuals)");
  }
  return result;
}

namespace {

template <class T>
constexpr unsigned c_components = 3;
template <>
constexpr unsigned c_components<float> = 1;
template <>
constexpr unsigned c_components<KbVector2f> = 2;

template <class T>
float& Component(T& value, unsigned i) {
  if constexpr (std::is_same_v<T, float>) {
    return value;
  } else {
    return value[i];
  }
}

// Positions as u = (x - shift) / scale, values per component as
// (y - mean) / spread; the smoothing is linear and its weights sum to one,
// so the mean comes back by adding it.
template <class T>
void SmoothAs(std::span<const double> x, std::span<const double> y, double halfWidth,
              std::optional<double> period, std::span<double> out) {
  constexpr unsigned d = c_components<T>;
  const std::size_t n = x.size();
  double shift{}, scale{};
  Domain(x, shift, scale);
  if (!(scale > 0)) scale = 1;  // a single position: nothing to scale
  double mean[3] = {0, 0, 0}, spread[3] = {0, 0, 0};
  for (std::size_t i = 0; i < n; ++i) {
    for (unsigned c = 0; c < d; ++c) mean[c] += y[i * d + c] / double(n);
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (unsigned c = 0; c < d; ++c)
      spread[c] = std::max(spread[c], std::abs(y[i * d + c] - mean[c]));
  }
  for (double& s : spread) s = s > 0 ? s : 1;

  KbArray<float> positions(static_cast<unsigned>(n));
  KbArray<T> values(static_cast<unsigned>(n));
  for (std::size_t i = 0; i < n; ++i) {
    positions[unsigned(i)] = float((x[i] - shift) / scale);
    for (unsigned c = 0; c < d; ++c) {
      Component(values[unsigned(i)], c) = float((y[i * d + c] - mean[c]) / spread[c]);
    }
  }
  const double periodUnits = period ? *period / scale : 0.0;
  KoFtArrayConvolution<T> convolution;
  convolution.SetInput(float(halfWidth / scale), positions, period.has_value(), float(periodUnits),
                       values);
  bool computed{};
  try {
    computed = convolution.Compute(KoAlgorithm::eComputeDefault);
  } catch (const KbException&) {
    throw ComputationError("smooth: the convolution failed");
  }
  if (!computed) {
    throw ComputationError(
        "smooth: the convolution could not be computed (the half-width may span more than " +
        std::to_string(KoFtArrayConvolution<T>::c_fMaxPeriodsPerHalfWidth) + " periods)");
  }
  // A zero half-width gives zeros, as the library defines it; the mean is
  // not added back to them.
  const bool zeros = halfWidth == 0;
  for (std::size_t i = 0; i < n; ++i) {
    for (unsigned c = 0; c < d; ++c) {
      const double v = double(Component(values[unsigned(i)], c)) * spread[c];
      out[i * d + c] = zeros ? v : v + mean[c];
      if (!std::isfinite(out[i * d + c])) {
        throw ComputationError("smooth: a smoothed value is not finite");
      }
    }
  }
}

}  // namespace

void Smooth(std::span<const double> x, std::span<const double> y, std::size_t components,
            double halfWidth, std::optional<double> period, std::span<double> out) {
  if (components < 1 || components > 3) {
    throw InputError("smooth: values of " + std::to_string(components) +
                     " components: 1 to 3 are supported");
  }
  const std::size_t n = x.size();
  if (y.size() != n * components || out.size() != y.size()) {
    throw InputError("smooth: y and out need `components` values per position");
  }
  if (n == 0) throw InputError("smooth: no samples");
  if (n > std::numeric_limits<std::uint32_t>::max() / 2) {
    throw InputError("smooth: more than 2^31 samples");
  }
  if (!(halfWidth >= 0) || !std::isfinite(halfWidth)) {
    throw InputError("smooth: the half-width must be finite and >= 0");
  }
  if (period && !(std::isfinite(*period) && *period > 0)) {
    throw InputError("smooth: the period must be finite and > 0");
  }
  CheckFinite(x, "smooth: the positions");
  CheckFinite(y, "smooth: the values");
  for (std::size_t i = 1; i < n; ++i) {
    if (x[i] < x[i - 1]) throw InputError("smooth: positions must not decrease");
  }
  if (period && x[n - 1] - x[0] >= *period) {
    throw InputError("smooth: on a circle all positions must lie within one period");
  }
  switch (components) {
    case 1:
      SmoothAs<float>(x, y, halfWidth, period, out);
      break;
    case 2:
      SmoothAs<KbVector2f>(x, y, halfWidth, period, out);
      break;
    default:
      SmoothAs<KbVector3f>(x, y, halfWidth, period, out);
      break;
  }
}

}  // namespace komath
