#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "math/foundations/KoMathScalar.h"

namespace {

using namespace KoMath;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
// A short float formula against its double evaluation.
constexpr double kFloatTolerance = 8 * std::numeric_limits<float>::epsilon();

TEST(CombinatoricsTests, BinomialAgainstPascalTriangleFactorialWrapAndBinomialRows) {
  EXPECT_EQ(BinomialCoefficient(3, 4), 0u);
  // Products are 32-bit: 99999 * 100000 wraps before the division by 2.
  EXPECT_EQ(BinomialCoefficient(100000, 99998), 704982704u);
  EXPECT_EQ(BinomialCoefficient(34, 17), 11908473u);  // true value 2333606220
  std::vector<std::uint64_t> row{1};                  // row n, in 64 bits
  for (unsigned int n = 0; n <= 30; ++n) {
    for (unsigned int k = 0; k <= n; ++k) EXPECT_EQ(BinomialCoefficient(n, k), row[k]) << n;
    std::vector<std::uint64_t> next(n + 2, 1);
    for (unsigned int k = 1; k <= n; ++k) next[k] = row[k - 1] + row[k];
    row = next;
  }

  EXPECT_EQ(Factorial(0), 0);  // deliberately not 1
  EXPECT_TRUE(Factorial(-3) == 0 && Factorial(5) == 120);
  EXPECT_EQ(Factorial(13), 1932053504);  // 6227020800 wrapped to 32 bits
  EXPECT_EQ(Factorial(INT_MAX), 0);      // 34! and up hold the factor 2^32

  for (unsigned int size : {0u, 1u, 3u, 5u, 25u}) {  // row 24 (up to 2704156) is exact in float
    KbArray<float> weights(size);
    for (float& w : weights) w = -7.0f;  // old contents must not leak in
    CreateBinomialDistribution(weights);
    for (unsigned int j = 0; j < size; ++j)
      EXPECT_EQ(weights[j], static_cast<float>(BinomialCoefficient(size - 1, j)));
  }
}

TEST(GaussTests, DensityAgainstDoubleFormulaAndDerivative) {
  EXPECT_NEAR(GetGauss1D(0, 0, 1), 0.39894228f, 2e-7f);
  EXPECT_FLOAT_EQ(CalculateGaussCurveValue(2.0f, 0.5f, 2.0f), 2.0f * std::exp(-1.0f));
  EXPECT_FLOAT_EQ(GetGaussDerivative1D(3, 2, 2),
                  -0.25f * GetGauss1D(3, 2, 2));  // -(x - mean) / s^2
  std::mt19937 rng(5u);
  std::uniform_real_distribution<float> position(-4.0f, 4.0f), sigma(0.5f, 3.0f);
  for (int i = 0; i < 500; ++i) {  // |z| <= 12: exp stays in the normal float range
    const float x = position(rng), mean = position(rng) / 2, s = sigma(rng);
    const double z = (double(x) - mean) / s;
    const double density = std::exp(-z * z / 2) / (std::sqrt(2 * std::numbers::pi) * s);
    const double relative = kFloatTolerance * (1 + z * z);  // exponent rounding grows with z^2
    EXPECT_NEAR(GetGauss1D(x, mean, s) / density, 1.0, relative);
  }
}

TEST(IntervalAndStepTests, MappingClampedEndsSmoothStepsExactValuesAndNaN) {
  EXPECT_EQ(MapInterval(-5.0f, 0.0f, 10.0f, 100.0f, 200.0f), 50.0f);  // not clamped
  EXPECT_EQ(MapInterval(0.25, 1.0, 0.0, -1.0, 1.0), 0.5);             // reversed, double
  EXPECT_EQ(MapInterval(0.1, 0.0, 1.0, 0.0, 3.0), 0.1 * 3.0);         // stays in double
  EXPECT_EQ(MapIntervalClamped(-1, 0, 1, 5, 10), 0.0f);               // 0, not 5
  EXPECT_EQ(MapIntervalClamped(2, 0, 1, 5, 10), 10.0f);
  EXPECT_EQ(MapIntervalClamped(0.0625f, 0, 1, 5, 10), 5.3125f);
  EXPECT_EQ(MapIntervalClamped(1, 0, 1, 0.3f, 0.1f), (0.1f - 0.3f) + 0.3f);  // t = 1: the formula
  EXPECT_TRUE(std::isnan(MapIntervalClamped(kNaN, 0, 1, 5, 10)));

  EXPECT_TRUE(SmoothStep(0, 1, 0) == 0.0f && SmoothStep(0, 1, 1) == 1.0f);
  EXPECT_TRUE(SmoothStep(3, 3, 3) == 0.0f && SmootherStep(3, 3, 3) == 0.0f);  // the lower test wins
  EXPECT_TRUE(SmoothStep(0, 1, 0.5f) == 0.5f && SmoothStep(2, 6, 3) == 0.15625f);  // t = 1/4
  EXPECT_TRUE(SmootherStep(0, 1, 0.5f) == 0.5f && SmootherStep(2, 6, 3) == 0.103515625f);
  EXPECT_TRUE(std::isnan(SmoothStep(0, 1, kNaN)) && std::isnan(SmootherStep(0, 1, kNaN)));
  EXPECT_EQ(SmoothStep(0, INFINITY, INFINITY), 1.0f);  // the test, not inf / inf
  EXPECT_EQ(SmootherStep(0, INFINITY, INFINITY), 1.0f);
}

}  // namespace
