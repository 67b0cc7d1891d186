// Function objects: each family evaluated through IFunction::operator()
// against the same formula written inline, over the same random arguments;
// the ratio of a family's two lines (Virtual/x over Inline/x) is the cost of
// the interface call. The bodies compile to the formula and nothing else, so what the
// ratio shows is the call: the inline loop runs at the latency of its own
// float accumulation, while every out-of-line call adds a few cycles and
// sends the accumulator through the stack (no vector register survives a
// call). The spline and circular ramps pay one call more, into their
// polynomial or their piece.
#include <benchmark/benchmark.h>

#include <cmath>
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
  for (auto _ : state) {
    float sum = 0;
    for (float x : arguments) sum += f(x);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
}

template <class F>
void Inline(benchmark::State& state, const F& f) {
  Run(state, f);
}

// The inline formula behind a direct call the compiler may not inline: what
// any out-of-line call costs, dispatch aside. Virtual/x against
// OutOfLine/x is the price of the interface itself.
template <class F>
[[gnu::noinline]] float CallOutOfLine(const F& f, float x) {
  return f(x);
}

template <class F>
void OutOfLine(benchmark::State& state, const F& f) {
  Run(state, [&f](float x) { return CallOutOfLine(f, x); });
}

// One batch of all arguments through the interface, then the same sum: the
// figure to set against Inline/x.
void Batch(benchmark::State& state, const IFunction<float, float>* function) {
  benchmark::DoNotOptimize(function);
  const std::vector<float>& arguments = Arguments();
  std::vector<float> values(arguments.size());
  for (auto _ : state) {
    function->Evaluate(arguments, values);
    float sum = 0;
    for (float y : values) sum += y;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
}

// Through the interface; the pointer is laundered so that the compiler cannot
// see the dynamic type and devirtualise the call.
void Virtual(benchmark::State& state, const IFunction<float, float>* function) {
  benchmark::DoNotOptimize(function);
  Run(state, [function](float x) { return (*function)(x); });
}

const KoFunctionConstant<float, float> c_constant(2.5f);
const KoFunctionLinear<float> c_linear(2, 1);
const KoFunctionInverse<float, float> c_inverse(2, -1);
const KoFunctionCubic<float, float> c_cubic(0, 0, 1, 1, 0.5f, -0.5f);
const float c_coefficients[4] = {c_cubic.GetCoefficient(0), c_cubic.GetCoefficient(1),
                                 c_cubic.GetCoefficient(2), c_cubic.GetCoefficient(3)};
const KoFunctionLimitedHemisphere<float, float> c_hemisphere({0.5f, 0}, 0.5f, 0, 1, true);
const KoFunctionLimitedPyramid<float, float> c_pyramid(0, 0.3f, 1, 2);
const KoFunctionRampLinear<float> c_rampLinear(0, 1, 1);
const KoFunctionRampSpline<float> c_rampSpline(0, 1, 1, 0.5f);
const KoFunctionRampCircular<float> c_rampCircular;
const KoInterpolationPolynomHermite<float> c_hermite(0.5f, 1, 2, -1);

constexpr auto c_constantFormula = [](float) { return 2.5f; };
constexpr auto c_linearFormula = [](float x) { return x * 2.f + 1.f; };
constexpr auto c_inverseFormula = [](float x) { return 1.f / ((x + 1.f) * 2.f); };

BENCHMARK_CAPTURE(Virtual, Constant, &c_constant);
BENCHMARK_CAPTURE(Batch, Constant, &c_constant);
BENCHMARK_CAPTURE(OutOfLine, Constant, c_constantFormula);
BENCHMARK_CAPTURE(Inline, Constant, c_constantFormula);
BENCHMARK_CAPTURE(Virtual, Linear, &c_linear);
BENCHMARK_CAPTURE(Batch, Linear, &c_linear);
BENCHMARK_CAPTURE(OutOfLine, Linear, c_linearFormula);
BENCHMARK_CAPTURE(Inline, Linear, c_linearFormula);
BENCHMARK_CAPTURE(Virtual, Inverse, &c_inverse);
BENCHMARK_CAPTURE(Batch, Inverse, &c_inverse);
BENCHMARK_CAPTURE(OutOfLine, Inverse, c_inverseFormula);
BENCHMARK_CAPTURE(Inline, Inverse, c_inverseFormula);

BENCHMARK_CAPTURE(Virtual, Cubic, &c_cubic);
BENCHMARK_CAPTURE(Batch, Cubic, &c_cubic);
BENCHMARK_CAPTURE(Inline, Cubic, [](float x) {
  const float* c = c_coefficients;
  if (0 > x || x > 1) return std::numeric_limits<float>::max();
  return ((x * c[3] + c[2]) * x + c[1]) * x + c[0];
});

BENCHMARK_CAPTURE(Virtual, Hemisphere, &c_hemisphere);
BENCHMARK_CAPTURE(Batch, Hemisphere, &c_hemisphere);
BENCHMARK_CAPTURE(Inline, Hemisphere, [](float x) {
  const float d = x - 0.5f, q = 0.25f - d * d;
  return 0 > q ? 0.f : std::sqrt(q);
});

BENCHMARK_CAPTURE(Virtual, Pyramid, &c_pyramid);
BENCHMARK_CAPTURE(Batch, Pyramid, &c_pyramid);
BENCHMARK_CAPTURE(Inline, Pyramid, [](float x) {
  if (0 > x || x > 1) return 0.f;
  return 0.3f > x ? x * 2.f / 0.3f : (1 - x) * 2.f / 0.7f;
});

BENCHMARK_CAPTURE(Virtual, RampLinear, &c_rampLinear);
BENCHMARK_CAPTURE(Batch, RampLinear, &c_rampLinear);
BENCHMARK_CAPTURE(Inline, RampLinear, [](float x) {
  const float y = x * 1.f + 0.f;
  return y > 1 ? 1.f : (0 > y ? 0.f : y);
});

BENCHMARK_CAPTURE(Virtual, Hermite, &c_hermite);
BENCHMARK_CAPTURE(Batch, Hermite, &c_hermite);
BENCHMARK_CAPTURE(Inline, Hermite, [](float t) {
  return ((t + t - 3) * (t * t) + 1) * 0.5f + (t * t) * 2.f * (3 - (t + t)) +
         ((t - 2) * t + 1) * (t * 1.f) + (t * t) * -1.f * (t - 1);
});

// The ramps built on other function objects: the inline forms spell out the
// whole evaluation, including the Hermite polynomial the spline ramp owns.
BENCHMARK_CAPTURE(Virtual, RampSpline, &c_rampSpline);
BENCHMARK_CAPTURE(Batch, RampSpline, &c_rampSpline);
BENCHMARK_CAPTURE(Inline, RampSpline, [](float x) {
  if (x > 1) return 1.f;
  if (0 > x) return 0.f;
  return ((x * x) * 1.f * (3 - (x + x)) + ((x - 2) * x + 1) * (x * 0.5f)) * 1.f - 0.f;
});
BENCHMARK_CAPTURE(Virtual, RampCircular, &c_rampCircular);
BENCHMARK_CAPTURE(Batch, RampCircular, &c_rampCircular);

}  // namespace

BENCHMARK_MAIN();
