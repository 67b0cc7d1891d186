// The circular ramp: continuity, monotonicity and level bounds on random
// parameters over many orders of magnitude, every argument next to every
// piece boundary, the corner geometry, degenerate ramps and owned copies.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "FunctionTestSupport.h"
#include "math/functions/KoFunctionLimitedHemisphere.h"
#include "math/functions/KoFunctionRampCircular.h"

namespace {

using ko_test::c_eps;
using Real = long double;

template <class T>
class CircularRampTest : public ::testing::Test {};
using Scalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(CircularRampTest, Scalars);

template <class T>
struct RampCase {
  T low, high, length, start, startRoundness, endRoundness;
};

// Checks one ramp on a grid plus every piece boundary and its two float
// neighbours: no NaN, values within the levels, monotone in the direction of
// the rise, and no jump larger than the steepest possible slope allows.
template <class T>
void CheckRamp(const RampCase<T>& c) {
  const KoFunctionRampCircular<T> ramp(c.low, c.high, c.length, c.start, c.startRoundness,
                                       c.endRoundness);
  const T x0 = c.start, x1 = c.start + c.length;
  const long double rise = std::fabs(Real(c.high) - c.low);
  const long double sigma = c.high > c.low ? 1 : -1;
  // The tangent line is at most 10·rise/length steep (its run keeps at least
  // a tenth of the length); the values carry rounding of the levels and of
  // the line's x·gradient + intercept with |x| ≤ 3·length.
  const long double slopeBound = 10 * rise / c.length;
  const long double tol = 64 * c_eps<T> * (std::fabs(c.low) + std::fabs(c.high) + 32 * rise);

  std::vector<T> xs;
  for (int i = 0; i <= 200; ++i) xs.push_back(x0 + c.length * (T(i) / 180 - T(0.05)));
  for (const auto& piece : ramp.GetCurve().GetPieces()) {
    for (T b : {piece.from, std::min(piece.to, x1)})
      xs.insert(xs.end(), {std::nextafter(b, -INFINITY), b, std::nextafter(b, INFINITY)});
    // Every argument of an arc's piece lies inside the arc's circle.
    if (auto* arc = dynamic_cast<const KoFunctionLimitedHemisphere<T, T>*>(piece.function)) {
      ASSERT_TRUE(arc->IsInsideCircle(piece.from));
      ASSERT_TRUE(arc->IsInsideCircle(std::nextafter(piece.to, piece.from)));
    }
  }
  std::sort(xs.begin(), xs.end());

  const long double lo = std::min(c.low, c.high) - tol, hi = std::max(c.low, c.high) + tol;
  long double previous = ramp(xs[0]);
  for (std::size_t i = 0; i < xs.size(); ++i) {
    const long double y = ramp(xs[i]);
    ASSERT_FALSE(std::isnan(y)) << xs[i];
    ASSERT_TRUE(lo <= y && y <= hi) << xs[i] << " gives " << y;
    ASSERT_GE(sigma * (y - previous), -tol) << "not monotone at " << xs[i];
    const long double step = i == 0 ? 0 : (Real(xs[i]) - xs[i - 1]);
    ASSERT_LE(std::fabs(y - previous), tol + slopeBound * step) << "jump at " << xs[i];
    previous = y;
  }
  EXPECT_EQ(ramp(x1), c.high);
}

TYPED_TEST(CircularRampTest, ContinuousMonotoneAndBoundedOverManyMagnitudes) {
  using T = TypeParam;
  std::mt19937 rng(2024);
  std::uniform_real_distribution<T> exponent(-15, 15), unit(0, 1);
  const T inf = std::numeric_limits<T>::infinity();
  const T roundness[] = {0, T(0.25), 1, 1, 2, 7, -3, inf - inf, inf, T(1e30)};
  for (int i = 0; i < 3000; ++i) {
    SCOPED_TRACE(i);
    const T length = std::pow(T(10), exponent(rng));
    const T rise = std::pow(T(10), exponent(rng)) * (unit(rng) < T(0.5) ? -1 : 1);
    const T low = unit(rng) < T(0.5) ? T(0) : rise * (6 * unit(rng) - 3);
    const T start = length * 2 * unit(rng);
    const RampCase<T> c{
        low, low + rise, length, start, roundness[rng() % 10], roundness[rng() % 10]};
    CheckRamp(c);
    if (this->HasFatalFailure()) return;
  }
}

TYPED_TEST(CircularRampTest, CornerGeometryDegenerateRampsAndTheDomainFromZero) {
  using T = TypeParam;
  const KoFunctionRampCircular<T> ramp;
  EXPECT_TRUE(ramp(-1) == T(0) && ramp(2) == T(1));
  // Equal corners: the tangent line runs through the centre of the rise.
  EXPECT_NEAR(ramp(T(0.5)), 0.5, 8 * c_eps<T>);
  // The radius is a quarter of 1: near the start the curve is the circle
  // 0.25 − √(0.0625 − x²), horizontal at x = 0.
  EXPECT_NEAR(ramp(T(0.01)), 0.25 - std::sqrt(0.0625 - 0.0001), 8 * c_eps<T>);
  const auto& pieces = ramp.GetCurve().GetPieces();
  ASSERT_EQ(pieces.GetSize(), 4u);
  const T p1 = pieces[1].from, h = T(1e-3);
  const T left = (ramp(p1) - ramp(p1 - h)) / h, right = (ramp(p1 + h) - ramp(p1)) / h;
  EXPECT_NEAR(left, right, 0.01);
  // A negative or NaN roundness is the default 1.
  const KoFunctionRampCircular<T> sanitized(0, 1, 1, 0, -3, std::nan(""));
  for (T x : {T(0.01), T(0.5), T(0.99)}) EXPECT_EQ(sanitized(x), ramp(x)) << x;
  // Sharp corners: exactly the straight line.
  const KoFunctionRampCircular<T> sharp(2, -6, 4, 1, 0, 0);
  EXPECT_EQ(sharp.GetCurve().GetPieces().GetSize(), 2u);
  EXPECT_NEAR(sharp(2), 0, 16 * c_eps<T>);
  EXPECT_NEAR(sharp(4), -4, 16 * c_eps<T>);

  // Degenerate ramps: no rise, no length, a negative length.
  const KoFunctionRampCircular<T> level(3, 3, 2, 1, 1, 1);
  for (T x : {T(0), T(1), T(1.5), std::nextafter(T(3), T(0)), T(3), T(4)}) EXPECT_EQ(level(x), 3);
  const KoFunctionRampCircular<T> step(0, 1, 0, 2, 1, 1);
  EXPECT_TRUE(step(std::nextafter(T(2), T(0))) == T(0) && step(2) == T(1));
  const KoFunctionRampCircular<T> backwards(0, 1, -1, 2, 1, 1);
  EXPECT_EQ(backwards.GetCurve().GetPieces().GetSize(), 1u);
  // The curve's domain starts at 0, so before it the curve's invalid 0 shows.
  const KoFunctionRampCircular<T> early(5, 6, 2, -1, 1, 1);
  EXPECT_TRUE(early(T(-0.5)) == T(0) && early(-2) == T(5));
  EXPECT_EQ(KoFunctionRampCircular<T>(5, 6, 1, -3, 1, 1)(-2), T(0));  // even at the end itself
  // Extreme but finite parameters never produce NaN.
  const T big = std::numeric_limits<T>::max() / 8, tiny = std::numeric_limits<T>::min() * 8;
  EXPECT_FALSE(std::isnan(KoFunctionRampCircular<T>(0, big, tiny, 0, big, big)(tiny / 2)));
  EXPECT_FALSE(std::isnan(KoFunctionRampCircular<T>(-big, big, big, 0, 1, 1)(big / 2)));
  EXPECT_FALSE(std::isnan(KoFunctionRampCircular<T>(0, tiny, big, big, 1, tiny)(big * 1.5f)));
  // Corners whose squared radius would overflow or underflow T: capped, or
  // sharp, but never infinite arcs or a flat arc that jumps at the start.
  const int decades = std::numeric_limits<T>::max_exponent10;
  for (int e : {-decades + 8, -decades / 2 - 2, decades / 2 + 2, decades - 8}) {
    const T scale = std::pow(T(10), T(e));
    CheckRamp<T>({0, scale, scale, scale / 2, 1, 1});
    CheckRamp<T>({scale, -scale, 2 * scale, 0, 2, T(0.5)});
  }
}

TYPED_TEST(CircularRampTest, CopiesOwnTheirPieces) {
  using T = TypeParam;
  auto original = std::make_unique<KoFunctionRampCircular<T>>(1, 4, 3, 2, T(0.5), 2);
  KoFunctionRampCircular<T> copy(*original), assigned;
  assigned = *original;
  std::vector<T> expected;
  for (int i = 0; i <= 40; ++i) expected.push_back((*original)(T(1.5) + T(i) / 10));
  original.reset();  // a shared piece would now dangle (and trip the sanitizer)
  for (int i = 0; i <= 40; ++i) {
    EXPECT_EQ(copy(T(1.5) + T(i) / 10), expected[i]);
    EXPECT_EQ(assigned(T(1.5) + T(i) / 10), expected[i]);
  }
}

}  // namespace
