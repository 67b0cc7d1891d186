#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "base/KbException.h"
#include "math/tables/KoGaussJordan.h"
#include "math/tables/KoPolynomFit.h"

namespace {

using Fit = KoPolynomFit<float>;
using Points = KbArray<KoPoint<float>>;
using Real = long double;

// Weighted least squares solved another way: the full normal equations in
// long double, reduced by Gauss–Jordan elimination without pivoting (the
// matrix is symmetric positive definite).
std::vector<Real> ReferenceFit(const Points& points, const KbArray<float>& sigmas, unsigned int m) {
  std::vector<std::vector<Real>> a(m, std::vector<Real>(m + 1, 0));  // last column: rhs
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    const Real x = points[i].x, w = 1 / (Real(sigmas[i]) * sigmas[i]);
    for (unsigned int j = 0; j < m; ++j)
      for (unsigned int k = 0; k <= m; ++k)
        a[j][k] += w * std::pow(x, Real(j)) * (k < m ? std::pow(x, Real(k)) : points[i].y);
  }
  for (unsigned int c = 0; c < m; ++c) {
    for (unsigned int r = 0; r < m; ++r) {
      const Real f = r == c ? 0 : a[r][c] / a[c][c];
      for (unsigned int k = 0; k <= m; ++k) a[r][k] -= f * a[c][k];
    }
  }
  std::vector<Real> c(m);
  for (unsigned int k = 0; k < m; ++k) c[k] = a[k][m] / a[k][k];
  return c;
}

TEST(PolynomFitTest, PreconditionsNeedOneSigmaPerPointAndMorePointsThanTheDegree) {
  Points points{{0, 1}, {1, 3}};
  KbArray<float> sigmas{1, 1}, coefficients;
  Fit fit;
  fit.SetInput(points, sigmas, 2, coefficients);
  EXPECT_FALSE(fit.Compute(Fit::eComputeDefault));  // two points for degree 2
  points.PushBack({2, 5});
  EXPECT_FALSE(fit.Compute(Fit::eComputeDefault));  // a sigma missing
  sigmas.PushBack(1);
  EXPECT_TRUE(fit.Compute(Fit::eComputeDefault));  // exactly three points
  fit.SetInput(points, sigmas, 1, coefficients);
  EXPECT_THROW(fit.GetOutput(), KbException);  // stale until the next Compute
}

// The solver alone, with a row swap for the pivot 2 at (2, 1): solution and inverse exact.
TEST(PolynomFitTest, GaussJordanSwapsRowsAndReturnsTheInverse) {
  float a[] = {4, 0, 0, 0, 0, 1, 0, 2, 0}, b[] = {4, 3, 4};
  KoSolveGaussJordan(a, b, 3);
  EXPECT_TRUE(std::ranges::equal(b, std::array{1.0f, 2.0f, 3.0f}));
  EXPECT_TRUE(
      std::ranges::equal(a, std::array{0.25f, 0.0f, 0.0f, 0.0f, 0.0f, 0.5f, 0.0f, 1.0f, 0.0f}));
}

// Same x = 2 everywhere: the first pivot (ties go to the later candidate, so the highest
// power's column) reduces the rest to zeros and the elimination stops there, at the weighted
// mean of y. Weights 1/4, 1 and 4 summing to 16 keep every step exact; degrees 8 and 9 take
// the path for sizes known only at run time.
TEST(PolynomFitTest, SingularNormalMatrixStopsAtTheZeroPivotWithoutThrowing) {
  Points points(16);
  KbArray<float> sigmas(16);
  for (unsigned int i = 0; i < 16; ++i)
    points[i] = {2, float(i + 1)}, sigmas[i] = i < 4 ? 2 : i < 15 ? 1 : 0.5f;
  for (unsigned int degree : {2u, 8u, 9u}) {
    KbArray<float> coefficients, expected(degree + 1);
    expected[degree] = std::ldexp(353 / 32.0f, -int(degree));  // the mean over 2^degree
    Fit fit;
    fit.SetInput(points, sigmas, degree, coefficients);
    ASSERT_TRUE(fit.Compute(Fit::eComputeDefault));
    EXPECT_EQ(coefficients, expected) << degree;
    EXPECT_EQ(fit.GetOutput(), 18847 / 64.0f) << degree;
  }
}

// Float normal equations lose accuracy with the condition of the monomials
// on [−1.5, 2], about fourfold per degree: 10 · 4^degree epsilon of the
// largest coefficient is 5 to 6 times what the fits need.
TEST(PolynomFitTest, NoisyRandomDataOfDegreesOneToFourMatchesTheReference) {
  std::mt19937 random(20240611);
  std::uniform_real_distribution<float> xs(-1.5f, 2.0f), cs(-2.0f, 2.0f), ss(0.05f, 1.0f);
  std::normal_distribution<float> noise(0.0f, 1.0f);
  const Real epsilon = std::numeric_limits<float>::epsilon();
  for (int run = 0; run < 40; ++run) {
    const unsigned int degree = 1 + run % 4;
    std::vector<float> truth(degree + 1);
    for (float& c : truth) c = cs(random);
    Points points(300);
    KbArray<float> sigmas(300), coefficients;
    for (unsigned int i = 0; i < 300; ++i) {
      const float x = xs(random);
      float y = 0;
      for (unsigned int k = degree + 1; k-- > 0;) y = y * x + truth[k];
      sigmas[i] = ss(random);
      points[i] = {x, y + sigmas[i] * noise(random)};
    }
    Fit fit;
    fit.SetInput(points, sigmas, degree, coefficients);
    ASSERT_TRUE(fit.Compute(Fit::eComputeDefault));

    const std::vector<Real> reference = ReferenceFit(points, sigmas, degree + 1);
    Real scale = 1, chi2 = 0;
    for (Real c : reference) scale = std::max(scale, std::fabs(c));
    const Real tolerance = 10 * std::pow(4.0L, Real(degree)) * epsilon * scale;
    for (unsigned int k = 0; k <= degree; ++k)
      EXPECT_NEAR(coefficients[k], reference[k], tolerance) << run << " k=" << k;
    for (unsigned int i = 0; i < 300; ++i) {
      Real fitted = 0;
      for (unsigned int k = degree + 1; k-- > 0;) fitted = fitted * points[i].x + reference[k];
      chi2 += std::pow((points[i].y - fitted) / sigmas[i], 2);
    }
    EXPECT_NEAR(fit.GetOutput(), chi2, 32 * epsilon * chi2) << run;
  }
}

}  // namespace
