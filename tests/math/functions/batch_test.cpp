// Batch evaluation against operator(), bit for bit, for every function
// class in float and double: seeded random arguments across and beyond
// each domain, with NaN and infinities among them.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <span>
#include <vector>

#include "math/KoMath.h"

namespace {

template <class T>
std::vector<T> Arguments() {
  std::mt19937 rng(12);
  std::uniform_real_distribution<T> wide(-3, 4);
  std::vector<T> x(1001);  // odd: vector loops end in a scalar tail
  for (T& v : x) v = wide(rng);
  x[7] = std::numeric_limits<T>::quiet_NaN();
  x[8] = std::numeric_limits<T>::infinity();
  x[9] = -std::numeric_limits<T>::infinity();
  x[10] = 0;
  x[11] = 1;
  x[12] = -1, x[13] = 2, x[14] = T(0.5), x[20] = T(-0.5);  // domain ends; table samples (hits)
  return x;
}

template <class Out>
bool SameBits(const Out& a, const Out& b) {
  return std::memcmp(&a, &b, sizeof(Out)) == 0;
}

// The batch in a fresh buffer and in place must both equal operator(); a
// result span of another length throws before anything is written, and
// nothing is written past the span's end.
template <class In, class Out>
void ExpectBatchEqualsCalls(const IFunction<In, Out>& f, const std::vector<In>& x,
                            const char* name) {
  std::vector<Out> y(x.size() + 1);
  std::memset(static_cast<void*>(y.data()), 0xA5, y.size() * sizeof(Out));  // unwritten shows
  const Out guard = y.back();
  EXPECT_THROW(f.Evaluate(x, std::span(y).first(x.size() - 1)), KbException) << name;
  f.Evaluate(x, std::span(y).first(x.size()));
  ASSERT_TRUE(SameBits(y.back(), guard)) << name;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const Out expected = f(x[i]);
    ASSERT_TRUE(SameBits(y[i], expected)) << name << " at " << x[i];
  }
  if constexpr (std::is_same_v<In, Out>) {
    std::vector<Out> inPlace = x;
    f.Evaluate(inPlace, inPlace);
    EXPECT_EQ(std::memcmp(inPlace.data(), y.data(), x.size() * sizeof(Out)), 0) << name;
  }
}

// Only operator(): the interface's own batch, one call per element.
template <class T>
struct CSquare : IFunction<T, T> {
  T operator()(T x) const override { return x * x; }
};

template <class T>
class BatchEvaluation : public ::testing::Test {};
using Scalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(BatchEvaluation, Scalars);

TYPED_TEST(BatchEvaluation, EveryClassBitIdenticalToOperatorCall) {
  using T = TypeParam;
  const std::vector<T> x = Arguments<T>();
  KoFunctionTableUniform<T, T> uniform(17, -1, 2);
  for (unsigned int i = 0; i < 17; ++i) uniform[i] = std::sin(T(i));
  uniform.SetInterpolationType(uniform.eLinear);  // a sized table starts in nearest mode
  KoFunctionTableNonUniform<T, T> nonUniform(40);
  for (int i = 0; i < 40; ++i) nonUniform.AppendSorted(T(i * i) / 400 - T(0.5), std::cos(T(i)));
  KoFunctionTableUniform<T, T> nearest = uniform;
  nearest.SetInterpolationType(nearest.eNone);
  KoFunctionTableUniform<T, T> unknownMode = uniform;
  unknownMode.SetInterpolationType(typename KoFunctionTableUniform<T, T>::EInterpolationType(7));
  KoFunctionTableNonUniform<T, T> nearestNonUniform = nonUniform;
  nearestNonUniform.SetInterpolationType(nearestNonUniform.eNone);
  const KoFunctionRampCircular<T> circular(-1, 2, 1.5, 0.25, 0.7, 1.3);
  constexpr T inf = std::numeric_limits<T>::infinity();

  const std::pair<const char*, std::unique_ptr<IFunction<T, T>>> functions[] = {
      {"interface", std::make_unique<CSquare<T>>()},
      {"constant", std::make_unique<KoFunctionConstant<T, T>>(T(2.5))},
      {"linear", std::make_unique<KoFunctionLinear<T>>(T(0.3), T(-1.7))},
      {"inverse", std::make_unique<KoFunctionInverse<T, T>>(T(1.3), T(0.4))},
      {"cubic", std::make_unique<KoFunctionCubic<T, T>>(-1, 0.5, 2, -1, 0.3, 2)},
      {"upper hemisphere", std::make_unique<KoFunctionLimitedHemisphere<T, T>>(
                               std::pair<T, T>(0.5, 1), 1.2, -2, 2, true)},
      {"lower hemisphere", std::make_unique<KoFunctionLimitedHemisphere<T, T>>(
                               std::pair<T, T>(-0.5, 0), 0.7, -1, 0, false)},
      // Negative height: −0 at both domain ends, where the invalid value is +0.
      {"pyramid", std::make_unique<KoFunctionLimitedPyramid<T, T>>(-1, T(0.3), 2, -3)},
      {"piecewise", circular.GetCurve().Clone()},
      {"linear ramp", std::make_unique<KoFunctionRampLinear<T>>(-1, 2, 1.5, T(0.25))},
      // Between −0 and +0: the line gives −0 left of 0, which is not above +0.
      {"linear ramp of zeros", std::make_unique<KoFunctionRampLinear<T>>(-T(0), T(0), 1)},
      {"spline ramp", std::make_unique<KoFunctionRampSpline<T>>(-1, 2, 1.5, T(0.4), T(0.25))},
      {"circular ramp", std::make_unique<KoFunctionRampCircular<T>>(circular)},
      {"falling circular ramp", std::make_unique<KoFunctionRampCircular<T>>(2, -1, 1, -0.5, 0, 2)},
      {"flat circular ramp", std::make_unique<KoFunctionRampCircular<T>>(1, 1, 2, 0, 1, 1)},
      {"circular ramp without a rise",
       std::make_unique<KoFunctionRampCircular<T>>(0, 1, -1, 0.5, 1, 1)},
      // No high piece: beyond an infinite end, and with a NaN end no piece at all.
      {"circular ramp to infinity",
       std::make_unique<KoFunctionRampCircular<T>>(0, 1, inf, -1, 1, 1)},
      {"circular ramp with a NaN end",
       std::make_unique<KoFunctionRampCircular<T>>(0, 1, -inf, inf, 1, 1)},
      {"hermite", std::make_unique<KoInterpolationPolynomHermite<T>>(0.5, 1, 2, -1)},
      {"overscaled hermite",
       std::make_unique<KoInterpolationPolynomHermiteOverscale<T>>(0.5, 1, 2, -1, T(1.5))},
      {"uniform table", uniform.Clone()},
      {"nearest uniform table", nearest.Clone()},
      {"uniform table of an unknown mode", unknownMode.Clone()},
      {"empty uniform table", std::make_unique<KoFunctionTableUniform<T, T>>()},
      {"non-uniform table", nonUniform.Clone()},
      {"nearest non-uniform table", nearestNonUniform.Clone()}};
  for (const auto& [name, f] : functions) ExpectBatchEqualsCalls<T, T>(*f, x, name);
}

// Each set of term flags has a loop of its own; a skipped term must stay
// skipped (no 0·inf) in every one of them.
TYPED_TEST(BatchEvaluation, HermiteEveryTermSet) {
  using T = TypeParam;
  const std::vector<T> x = Arguments<T>();
  for (unsigned int mask = 0; mask < 16; ++mask) {
    const auto c = [mask](unsigned int k, T value) { return (mask >> k & 1u) ? value : T(0); };
    const KoInterpolationPolynomHermite<T> plain(c(0, 0.5), c(1, 1), c(2, 2), c(3, -1));
    const KoInterpolationPolynomHermiteOverscale<T> overscaled(c(0, 0.5), c(1, 1), c(2, 2),
                                                               c(3, -1), T(1.5));
    SCOPED_TRACE(mask);
    EXPECT_EQ(plain.GetTermMask(), mask);
    ExpectBatchEqualsCalls<T, T>(plain, x, "hermite");
    ExpectBatchEqualsCalls<T, T>(overscaled, x, "overscaled hermite");
  }
}

// Sorted arguments reach each piece in long runs; the pieces overlap (the
// earlier wins) and leave a gap, and the domain cuts the last one short.
TYPED_TEST(BatchEvaluation, PiecewiseRunsOverlapsAndGaps) {
  using T = TypeParam;
  using Piecewise = KoFunctionLimitedPiecewise<T, T>;
  const KoFunctionLinear<T> line(T(0.3), -1);
  const KoFunctionLimitedHemisphere<T, T> arc({0, 0}, 1, -1, 1, true);
  const KoFunctionConstant<T, T> level(7);
  KbArray<typename Piecewise::SDomain> pieces;
  pieces.PushBack({&line, -2, 0});
  pieces.PushBack({&arc, T(-0.5), 1});
  pieces.PushBack({&level, T(1.5), 5});
  const Piecewise f(T(-2.5), 3, std::move(pieces));
  std::vector<T> sorted(999);
  for (std::size_t i = 0; i < sorted.size(); ++i) sorted[i] = T(-3) + T(i) / 128;
  ExpectBatchEqualsCalls<T, T>(f, sorted, "sorted");
  ExpectBatchEqualsCalls<T, T>(f, Arguments<T>(), "random");
}

TEST(BatchEvaluationVector, VectorTable) {
  KoFunctionTableNonUniform<float, KbVector3f> table(8);
  for (int i = 0; i < 8; ++i)
    table.AppendSorted(float(i) / 3, KbVector3f(float(i), std::sin(float(i)), -float(i * i)));
  ExpectBatchEqualsCalls<float, KbVector3f>(table, Arguments<float>(), "vector table");
  EXPECT_NEAR(table(0.5f).x, 1.5f, 4 * std::numeric_limits<float>::epsilon());  // halfway, 1 to 2
}

}  // namespace
