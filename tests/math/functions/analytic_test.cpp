// Constant, linear, inverse, cubic, hemisphere, pyramid and piecewise
// functions and the linear and spline ramps, in float and double.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "FunctionTestSupport.h"
#include "math/KoMath.h"

namespace {

using ko_test::c_eps;
using ko_test::ExpectValues;

template <class T>
class AnalyticTest : public ::testing::Test {};
using Scalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(AnalyticTest, Scalars);

TYPED_TEST(AnalyticTest, ConstantLinearInverseCubicExactValuesNaNPolesAndEmptyDomains) {
  using T = TypeParam;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  const T inf = std::numeric_limits<T>::infinity(), big = std::numeric_limits<T>::max();
  ExpectValues<T>(KoFunctionConstant<T, T>(5), {{nan, 5}, {0, 5}});
  ExpectValues<T>(KoFunctionConstant<T, T>(), {{3, 0}});
  ExpectValues<T>(KoFunctionLinear<T>(2, 1), {{3, 7}});
  ExpectValues<T>(KoFunctionLinear<T>(), {{-8, 0}});
  // The factor multiplies the shifted argument: 1 / ((3 − 1)·2).
  ExpectValues<T>(KoFunctionInverse<T, T>(2, 1), {{3, 0.25}});
  ExpectValues<T>(KoFunctionInverse<T, T>(), {{2, 0.5}, {0, inf}, {-T(0), -inf}});
  ExpectValues<T>(KoFunctionInverse<T, T>(-3, 1), {{1, -inf}});
  const KoFunctionCubic<T, T> step(0, 0, 1, 1, 0, 0);
  ExpectValues<T>(step, {{0.5, 0.5}, {1, 1}, {0, 0}, {std::nextafter(T(1), T(2)), big}});
  EXPECT_TRUE(std::isnan(step(nan)));
  // a = b divides by (a − b)³ = 0; a > b leaves no domain.
  EXPECT_FALSE(std::isfinite((KoFunctionCubic<T, T>(1, 0, 1, 1, 0, 0).GetCoefficient(3))));
  ExpectValues<T>(KoFunctionCubic<T, T>(2, 0, 1, 1, 0, 0), {{1.5, big}});
}

// Independent reference: the cubic Hermite form in long double, in the
// normalised parameter u = (x − a)/(b − a).
long double HermiteReference(long double a, long double y0, long double b, long double y1,
                             long double s0, long double s1, long double x) {
  const long double h = b - a, u = (x - a) / h;
  return y0 * (2 * u * u * u - 3 * u * u + 1) + h * s0 * (u * u * u - 2 * u * u + u) +
         y1 * (-2 * u * u * u + 3 * u * u) + h * s1 * (u * u * u - u * u);
}

TYPED_TEST(AnalyticTest, CubicMatchesEndValuesSlopesAndHermiteFormOnRandomInputs) {
  using T = TypeParam;
  std::mt19937 rng(7);
  std::uniform_real_distribution<T> start(-2, 2), width(T(0.5), 3), value(-5, 5);
  for (int i = 0; i < 2000; ++i) {
    const T a = start(rng), b = a + width(rng);
    const T y0 = value(rng), y1 = value(rng), s0 = value(rng), s1 = value(rng);
    const KoFunctionCubic<T, T> cubic(a, y0, b, y1, s0, s1);
    // The closed form works in global x, so its rounding grows with
    // (max |x| / (b − a))³; the worst case seen is about 130·eps·r³.
    const long double r = std::max({std::fabs(a), std::fabs(b), T(1)}) / (b - a);
    const long double tol = 512 * c_eps<T> * r * r * r;
    auto slope = [&](long double x) {
      return cubic.GetCoefficient(1) + 2 * x * cubic.GetCoefficient(2) +
             3 * x * x * cubic.GetCoefficient(3);
    };
    ASSERT_NEAR(cubic(a), y0, tol);
    ASSERT_NEAR(cubic(b), y1, tol);
    ASSERT_NEAR(slope(a), s0, tol);
    ASSERT_NEAR(slope(b), s1, tol);
    const T x = a + (b - a) * T(0.37);
    ASSERT_NEAR(cubic(x), HermiteReference(a, y0, b, y1, s0, s1, x), tol);
  }
}

TYPED_TEST(AnalyticTest, HemispherePyramidAndPiecewiseShapes) {
  using T = TypeParam;
  ExpectValues<T>(KoFunctionLimitedHemisphere<T, T>(), {{0, 1}, {1, 0}, {-1, 0}, {1.5, 0}});
  // Only the circle decides, not [min x, max x].
  const KoFunctionLimitedHemisphere<T, T> lower({3, 2}, 5, 0, 1, false);
  ExpectValues<T>(lower, {{0, -2}, {8, 2}, {std::nextafter(T(8), T(9)), 0}});
  ExpectValues<T>(KoFunctionLimitedPyramid<T, T>(0, 1, 2, 4),
                  {{0.5, 2}, {1, 4}, {1.5, 2}, {2, 0}, {2.5, 0}});
  EXPECT_TRUE(std::isnan((KoFunctionLimitedPyramid<T, T>(0, 2, 2, 1)(2))));  // 0/0 at the peak
  // The defaults: domain [0, 0] (the hemisphere's [−1, 1]), invalid value 0.
  const auto fields = [](const KoFunctionLimited<T, T>& f) {
    return std::array{f.GetMinX(), f.GetMaxX(), f.GetInvalidY()};
  };
  EXPECT_EQ(fields(KoFunctionLimitedPyramid<T, T>()), (std::array<T, 3>{}));
  EXPECT_EQ(fields(KoFunctionLimitedPiecewise<T, T>()), (std::array<T, 3>{}));
  EXPECT_EQ(fields(KoFunctionLimitedHemisphere<T, T>()), (std::array<T, 3>{-1, 1, 0}));

  const KoFunctionConstant<T, T> f(10), g(20);
  using Piecewise = KoFunctionLimitedPiecewise<T, T>;
  KbArray<typename Piecewise::SDomain> pieces{{&f, 0, 1}, {&g, 1, 2}, {&f, T(0.5), 2}};
  Piecewise piecewise(0, 2, std::move(pieces));
  EXPECT_EQ(pieces.GetSize(), 0u);
  // The end of a piece belongs to the next one; 2 is in the domain but in
  // no piece; the earlier of overlapping pieces wins.
  ExpectValues<T>(piecewise, {{0.5, 10}, {1, 20}, {2, 0}, {-0.5, 0}});
}

TYPED_TEST(AnalyticTest, ExtremaLinearAndSplineRampsClampAndShift) {
  using T = TypeParam;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  ExpectValues<T>([](T x) { return T(KoExtrema<T>(0, 1).IsValid(x)); },
                  {{1, 1}, {1.5, 0}, {nan, 0}});
  ExpectValues<T>(KoFunctionRampLinear<T>(0, 10, 5), {{-1, 0}, {2, 4}, {7, 10}});
  ExpectValues<T>(KoFunctionRampLinear<T>(0, 10, 5, 2), {{2, 0}, {7, 10}});
  EXPECT_EQ(KoFunctionRampLinear<T>(0, 10, 0).GetLine().GetYIntercept(), T(0));  // not NaN
  // The clamp acts on the value; swapped levels are not repaired: the line
  // value 6 at x = 2 exceeds max 0.
  ExpectValues<T>(KoFunctionRampLinear<T>(10, 0, 5), {{2, 0}, {100, 10}});
  EXPECT_EQ(KoFunctionRampLinear<T>()(5), std::numeric_limits<T>::min());
  // Length 0 at x = 0: t = 0/0, which the zero polynomial's skipped terms drop.
  EXPECT_EQ(KoFunctionRampSpline<T>()(0), -std::numeric_limits<T>::min());

  ExpectValues<T>(KoFunctionRampSpline<T>(0, 1, 2, 0), {{1, 0.5}, {-0.1, 0}, {2.1, 1}});
  // (max − min)·h − min: the inner value is shifted down by min.
  ExpectValues<T>(KoFunctionRampSpline<T>(1, 3, 1, 0), {{-1, 1}, {2, 3}, {0.5, 0}});
  ExpectValues<T>(KoFunctionRampSpline<T>(0, 1, 2, 0, 10), {{11, 0.5}});  // tangent, then start
}

// A spline ramp's copy and assignment give it a polynomial of its own.
TYPED_TEST(AnalyticTest, SplineRampCopiesOwnTheirPolynomial) {
  using T = TypeParam;
  KoFunctionRampSpline<T> spline(0, 1, 2, 0), target(5, 6, 1, 3);
  target = spline;
  EXPECT_NE(&KoFunctionRampSpline<T>(spline).GetPolynom(), &spline.GetPolynom());
  EXPECT_TRUE(&target.GetPolynom() != &spline.GetPolynom() && target(T(0.7)) == spline(T(0.7)));
}

}  // namespace
