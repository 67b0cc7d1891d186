// Hermite interpolation polynomials: the defining end conditions on random
// coefficients, term flags, the overscale weight and the records.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "math/functions/FunctionTestSupport.h"
#include "math/tables/KoInterpolationPolynomHermite.h"

namespace {

using ko_test::Bytes;
using ko_test::ExpectValues;
using ko_test::Pack;
using ko_test::Write;
using Real = long double;

template <class T>
class HermiteTest : public ::testing::Test {};
using Scalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(HermiteTest, Scalars);

// The textbook basis, in long double.
Real Reference(Real p0, Real m0, Real p1, Real m1, Real t) {
  return (2 * t * t * t - 3 * t * t + 1) * p0 + (t * t * t - 2 * t * t + t) * m0 +
         (-2 * t * t * t + 3 * t * t) * p1 + (t * t * t - t * t) * m1;
}

TYPED_TEST(HermiteTest, EndConditionsAndBothFormsMatchTheBasisOnRandomInputs) {
  using T = TypeParam;
  std::mt19937 rng(11);
  std::uniform_real_distribution<T> coefficient(-10, 10), parameter(-1, 2);
  for (int i = 0; i < 2000; ++i) {
    T c[4];
    for (T& v : c) v = (rng() % 5 == 0) ? T(0) : coefficient(rng);  // exercise the flags
    const T s = coefficient(rng), t = parameter(rng);
    const KoInterpolationPolynomHermite<T> h(c[0], c[1], c[2], c[3]);
    const KoInterpolationPolynomHermiteOverscale<T> over(c[0], c[1], c[2], c[3], s);
    const Real scale = std::fabs(c[0]) + std::fabs(c[1]) + std::fabs(c[2]) + std::fabs(c[3]);
    ASSERT_EQ(h(0), c[0]);
    ASSERT_EQ(h(1), c[2]);
    // h is a cubic, so four samples determine its end slopes exactly.
    const Real f0 = h(0), f1 = h(T(1) / 3), f2 = h(T(2) / 3), f3 = h(1);
    const Real tol = 64 * std::numeric_limits<T>::epsilon() * scale;
    ASSERT_NEAR((-11 * f0 + 18 * f1 - 9 * f2 + 2 * f3) / 2, c[1], tol);
    ASSERT_NEAR((-2 * f0 + 9 * f1 - 18 * f2 + 11 * f3) / 2, c[3], tol);
    const Real growth = (1 + std::fabs(t)) * (1 + std::fabs(t)) * (1 + std::fabs(t));
    ASSERT_NEAR(h(t), Reference(c[0], c[1], c[2], c[3], t), tol * growth);
    // The overscale weighs both tangents by g(t) and leaves the values alone.
    const Real g = s - (s - 1) * 4 * (Real(t) - 0.5) * (Real(t) - 0.5);
    ASSERT_NEAR(over(t), Reference(c[0], g * c[1], c[2], g * c[3], t),
                tol * growth * growth * (1 + std::fabs(s)));
  }
}

TYPED_TEST(HermiteTest, ExactValuesOverscaleAndSkippedTermsNeverMakeNaN) {
  using T = TypeParam;
  const T inf = std::numeric_limits<T>::infinity();
  // A skipped zero term adds nothing, not 0·∞ = NaN.
  ExpectValues<T>(KoInterpolationPolynomHermite<T>(0, 0, 1, 0), {{inf, -inf}});
  ExpectValues<T>(KoInterpolationPolynomHermite<T>(0, 0, 0, 0), {{inf, 0}});
  // The overscale doubles the tangent term in the middle, not at the ends.
  ExpectValues<T>(KoInterpolationPolynomHermite<T>(0, 1, 0, 0), {{0.5, 0.125}});
  ExpectValues<T>(KoInterpolationPolynomHermiteOverscale<T>(0, 1, 0, 0, 2),
                  {{0.5, 0.25}, {0, 0}, {1, 0}});
}

TYPED_TEST(HermiteTest, RecordBytesCarryTheTermFlags) {
  using T = TypeParam;
  const KoInterpolationPolynomHermiteOverscale<T> h(T(1.5), 0, -2, T(0.25), 3);
  // Overscale version, base version, P0, M0, P1, M1, the four int32 flags, S.
  const Bytes expected = Pack(1u, 1u, T(1.5), T(0), T(-2), T(0.25), 1, 0, 1, 1, T(3));
  EXPECT_EQ(Write(h), expected);
  EXPECT_EQ(Write(KoInterpolationPolynomHermite<T>(1, 1, 1, 1)),
            Pack(1u, T(1), T(1), T(1), T(1), 1, 1, 1, 1));
}

}  // namespace
