// Function objects evaluated three ways over the same 4096 random arguments,
// each storing its results in an array:
//   Inline/x   the formula written into the loop, which the compiler inlines
//              and vectorises: the floor;
//   Batch/x    one IFunction::Evaluate call for the whole array;
//   Virtual/x  one IFunction::operator() call per argument.
// Batch/x over Inline/x is what the interface costs a caller whose arguments
// sit in an array; Virtual/x over Inline/x is the price of a call per element.
#include <benchmark/benchmark.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "math/functions/KoFunctionConstant.h"
#include "math/functions/KoFunctionCubic.h"
#include "math/functions/KoFunctionInverse.h"
#include "math/functions/KoFunctionLimitedHemisphere.h"
#include "math/functions/KoFunctionLimitedPyramid.h"
#include "math/functions/KoFunctionLinear.h"
#include "math/functions/KoFunctionRampCircular.h"
#include "math/functions/KoFunctionRampLinear.h"
#include "math/functions/KoFunctionRampSpline.h"
#include "math/tables/KoInterpolationPolynomHermite.h"

namespace {

constexpr unsigned int kQueries = 4096;

const std::vector<float>& Arguments() {
  static const std::vector<float> arguments = [] {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> x(-0.25f, 1.25f);
    std::vector<float> values(kQueries);
    for (float& v : values) v = x(random);
    return values;
  }();
  return arguments;
}

template <class F>
void Run(benchmark::State& state, const F& f) {
  const std::vector<float>& arguments = Arguments();
  std::vector<float> values(arguments.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < arguments.size(); ++i) values[i] = f(arguments[i]);
    benchmark::DoNotOptimize(values.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
}

// Aborts unless the formula gives the object's values bit for bit on every
// argument, so that each Inline line computes what its Batch line does.
template <class F>
void CheckSameValues(const F& formula, const IFunction<float, float>& function) {
  for (float x : Arguments()) {
    if (std::bit_cast<std::uint32_t>(formula(x)) != std::bit_cast<std::uint32_t>(function(x)))
      std::abort();
  }
}

template <class F>
void Inline(benchmark::State& state, const F& f, const IFunction<float, float>* function) {
  CheckSameValues(f, *function);
  Run(state, f);
}

// One batch of all arguments through the interface: the figure to set
// against Inline/x.
void Batch(benchmark::State& state, const IFunction<float, float>* function) {
  benchmark::DoNotOptimize(function);
  const std::vector<float>& arguments = Arguments();
  std::vector<float> values(arguments.size());
  for (auto _ : state) {
    function->Evaluate(arguments, values);
    benchmark::DoNotOptimize(values.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
}

// Through the interface; the pointer is laundered so that the compiler cannot
// see the dynamic type and devirtualise the call.
void Virtual(benchmark::State& state, const IFunction<float, float>* function) {
  benchmark::DoNotOptimize(function);
  Run(state, [function](float x) { return (*function)(x); });
}

// A value the compiler cannot see through: the inline formulas take their
// parameters at run time, as the function objects do, so that neither side
// gains from folding constants (a division by a length of 1, a product by a
// zero coefficient).
float Opaque(float value) {
  volatile float hidden = value;
  return hidden;
}

const KoFunctionConstant<float, float> c_constant(2.5f);
const KoFunctionLinear<float> c_linear(2, 1);
const KoFunctionInverse<float, float> c_inverse(2, -1);
const KoFunctionCubic<float, float> c_cubic(0, 0, 1, 1, 0.5f, -0.5f);
const KoFunctionLimitedHemisphere<float, float> c_hemisphere({0.5f, 0}, 0.5f, 0, 1, true);
const KoFunctionLimitedPyramid<float, float> c_pyramid(0, 0.3f, 1, 2);
const KoFunctionRampLinear<float> c_rampLinear(0, 1, 1);
const KoFunctionRampSpline<float> c_rampSpline(0, 1, 1, 0.5f);
const KoFunctionRampCircular<float> c_rampCircular;
const KoInterpolationPolynomHermite<float> c_hermite(0.5f, 1, 2, -1);

// The formulas of the objects above, operation for operation.
const auto c_constantFormula = [v = Opaque(2.5f)](float) { return v; };
const auto c_linearFormula = [g = Opaque(2), b = Opaque(1)](float x) { return x * g + b; };
const auto c_inverseFormula = [f = Opaque(2), o = Opaque(-1)](float x) {
  return 1.f / ((x - o) * f);
};
const auto c_cubicFormula =
    [c0 = Opaque(c_cubic.GetCoefficient(0)), c1 = Opaque(c_cubic.GetCoefficient(1)),
     c2 = Opaque(c_cubic.GetCoefficient(2)), c3 = Opaque(c_cubic.GetCoefficient(3)), a = Opaque(0),
     b = Opaque(1), invalid = Opaque(c_cubic.GetInvalidY())](float x) {
      if (a > x || x > b) return invalid;
      return ((x * c3 + c2) * x + c1) * x + c0;
    };
const auto c_hemisphereFormula = [cx = Opaque(0.5f), cy = Opaque(0), r = Opaque(0.5f),
                                  sign = Opaque(1), invalid = Opaque(0)](float x) {
  const float d = x - cx, q = r * r - d * d;
  return 0 > q ? invalid : std::sqrt(q) * sign + cy;
};
const auto c_pyramidFormula = [a = Opaque(0), peak = Opaque(0.3f), b = Opaque(1), h = Opaque(2),
                               invalid = Opaque(0)](float x) {
  if (a > x || x > b) return invalid;
  return peak > x ? (x - a) * h / (peak - a) : (b - x) * h / (b - peak);
};
const auto c_rampLinearFormula = [g = Opaque(1), b = Opaque(0), low = Opaque(0),
                                  high = Opaque(1)](float x) {
  const float y = x * g + b;
  return y > high ? high : (low > y ? low : y);
};
const auto c_hermiteFormula = [p0 = Opaque(0.5f), m0 = Opaque(1), p1 = Opaque(2),
                               m1 = Opaque(-1)](float t) {
  float result = 0;
  result = result + ((t + t - 3) * (t * t) + 1) * p0;
  result = result + (t * t) * p1 * (3 - (t + t));
  result = result + ((t - 2) * t + 1) * (t * m0);
  return result + (t * t) * m1 * (t - 1);
};
// The spline ramp's polynomial has a start value and an end tangent of 0,
// so its sum has the P1 and M0 terms only.
const auto c_rampSplineFormula = [start = Opaque(0), length = Opaque(1), low = Opaque(0),
                                  high = Opaque(1), p1 = Opaque(1), m0 = Opaque(0.5f)](float x) {
  if (x > length + start) return high;
  if (start > x) return low;
  const float t = (x - start) / length;
  float h = 0;
  h = h + (t * t) * p1 * (3 - (t + t));
  h = h + ((t - 2) * t + 1) * (t * m0);
  return (high - low) * h - low;
};

BENCHMARK_CAPTURE(Virtual, Constant, &c_constant);
BENCHMARK_CAPTURE(Batch, Constant, &c_constant);
BENCHMARK_CAPTURE(Inline, Constant, c_constantFormula, &c_constant);
BENCHMARK_CAPTURE(Virtual, Linear, &c_linear);
BENCHMARK_CAPTURE(Batch, Linear, &c_linear);
BENCHMARK_CAPTURE(Inline, Linear, c_linearFormula, &c_linear);
BENCHMARK_CAPTURE(Virtual, Inverse, &c_inverse);
BENCHMARK_CAPTURE(Batch, Inverse, &c_inverse);
BENCHMARK_CAPTURE(Inline, Inverse, c_inverseFormula, &c_inverse);
BENCHMARK_CAPTURE(Virtual, Cubic, &c_cubic);
BENCHMARK_CAPTURE(Batch, Cubic, &c_cubic);
BENCHMARK_CAPTURE(Inline, Cubic, c_cubicFormula, &c_cubic);
BENCHMARK_CAPTURE(Virtual, Hemisphere, &c_hemisphere);
BENCHMARK_CAPTURE(Batch, Hemisphere, &c_hemisphere);
BENCHMARK_CAPTURE(Inline, Hemisphere, c_hemisphereFormula, &c_hemisphere);
BENCHMARK_CAPTURE(Virtual, Pyramid, &c_pyramid);
BENCHMARK_CAPTURE(Batch, Pyramid, &c_pyramid);
BENCHMARK_CAPTURE(Inline, Pyramid, c_pyramidFormula, &c_pyramid);
BENCHMARK_CAPTURE(Virtual, RampLinear, &c_rampLinear);
BENCHMARK_CAPTURE(Batch, RampLinear, &c_rampLinear);
BENCHMARK_CAPTURE(Inline, RampLinear, c_rampLinearFormula, &c_rampLinear);
BENCHMARK_CAPTURE(Virtual, Hermite, &c_hermite);
BENCHMARK_CAPTURE(Batch, Hermite, &c_hermite);
BENCHMARK_CAPTURE(Inline, Hermite, c_hermiteFormula, &c_hermite);
BENCHMARK_CAPTURE(Virtual, RampSpline, &c_rampSpline);
BENCHMARK_CAPTURE(Batch, RampSpline, &c_rampSpline);
BENCHMARK_CAPTURE(Inline, RampSpline, c_rampSplineFormula, &c_rampSpline);
BENCHMARK_CAPTURE(Virtual, RampCircular, &c_rampCircular);
BENCHMARK_CAPTURE(Batch, RampCircular, &c_rampCircular);

// The circular ramp's pieces written out: two arcs and the line between,
// chosen by the same comparisons as the ramp and its curve, with the
// parameters of the ramp's own pieces.
void InlineRampCircular(benchmark::State& state) {
  using Hemisphere = KoFunctionLimitedHemisphere<float, float>;
  const auto& pieces = c_rampCircular.GetCurve().GetPieces();
  const auto& arc1 = dynamic_cast<const Hemisphere&>(*pieces[0].function);
  const auto& line = dynamic_cast<const KoFunctionLinear<float>&>(*pieces[1].function);
  const auto& arc2 = dynamic_cast<const Hemisphere&>(*pieces[2].function);
  const float p1 = pieces[1].from, p2 = pieces[2].from, end = pieces[2].to;
  const float c1x = arc1.GetCentre().first, c1y = arc1.GetCentre().second, r1 = arc1.GetRadius();
  const float c2x = arc2.GetCentre().first, c2y = arc2.GetCentre().second, r2 = arc2.GetRadius();
  const float gradient = line.GetGradient(), intercept = line.GetYIntercept();
  const float low = Opaque(0), high = Opaque(1), down = Opaque(-1), up = Opaque(1);
  const auto formula = [=](float x) {
    if (x > end) return high;
    if (low > x) return low;
    if (p1 > x) {
      const float d = x - c1x, q = r1 * r1 - d * d;
      return 0 > q ? low : std::sqrt(q) * down + c1y;
    }
    if (p2 > x) return x * gradient + intercept;
    if (end > x) {
      const float d = x - c2x, q = r2 * r2 - d * d;
      return 0 > q ? low : std::sqrt(q) * up + c2y;
    }
    return high;
  };
  CheckSameValues(formula, c_rampCircular);
  Run(state, formula);
}
BENCHMARK(InlineRampCircular)->Name("Inline/RampCircular");

}  // namespace

BENCHMARK_MAIN();
