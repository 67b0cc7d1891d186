#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "base/KbException.h"
#include "math/tables/KoPolynomFit.h"

namespace {

using Fit = KoPolynomFit<float>;
using Points = KbArray<KoPoint<float>>;
using Real = long double;

// Weighted least squares solved independently: the normal equations summed
// in long double and solved by Gaussian elimination (the matrix is symmetric
// positive definite, so it needs no pivoting).
std::vector<Real> ReferenceFit(const Points& points, const KbArray<float>& sigmas,
                               unsigned int degree) {
  const std::size_t m = degree + 1;
  std::vector<std::vector<Real>> a(m, std::vector<Real>(m + 1, 0));  // last column: rhs
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    const Real x = points[i].x, w = 1 / (Real(sigmas[i]) * sigmas[i]);
    for (std::size_t j = 0; j < m; ++j) {
      for (std::size_t k = 0; k < m; ++k) a[j][k] += w * std::pow(x, Real(j + k));
      a[j][m] += w * std::pow(x, Real(j)) * points[i].y;
    }
  }
  for (std::size_t c = 0; c < m; ++c) {
    for (std::size_t r = c + 1; r < m; ++r) {
      const Real f = a[r][c] / a[c][c];
      for (std::size_t k = c; k <= m; ++k) a[r][k] -= f * a[c][k];
    }
  }
  std::vector<Real> coefficients(m);
  for (std::size_t k = m; k-- > 0;) {
    Real sum = a[k][m];
    for (std::size_t j = k + 1; j < m; ++j) sum -= a[k][j] * coefficients[j];
    coefficients[k] = sum / a[k][k];
  }
  return coefficients;
}

TEST(PolynomFitTest, LifeCycleMissingShortAndMismatchedInputsAndTheRegistryRecord) {
  Fit fit;
  EXPECT_FALSE(fit.Compute(Fit::eComputeDefault));
  EXPECT_THROW(fit.GetOutput(), KbException);
  Points points{{0, 1}, {1, 3}};
  KbArray<float> sigmas{1, 1}, coefficients;
  fit.SetInput(points, sigmas, 2, coefficients);
  EXPECT_FALSE(fit.Compute(Fit::eComputeDefault));  // two points for degree 2
  points.PushBack({2, 5});
  EXPECT_FALSE(fit.Compute(Fit::eComputeDefault));  // a sigma missing
  sigmas.PushBack(1);
  fit.SetInput(points, sigmas, 1, coefficients);
  ASSERT_TRUE(fit.Compute(Fit::eComputeDefault));
  EXPECT_NEAR(fit.GetOutput(), 0, 1e-10f);  // the line 1 + 2x
  fit.SetInput(points, sigmas, 2, coefficients);
  EXPECT_THROW(fit.GetOutput(), KbException);
  EXPECT_TRUE(fit.Compute(Fit::eComputeDefault));  // exactly three points
  ASSERT_EQ(KbRTTI::Find(L"KoPolynomFit<float>"), &Fit::RTTI);
  EXPECT_TRUE(fit.IsKindOf(KoAlgorithm::RTTI));
}

// Same x everywhere: the first pivot (ties go to the later candidate, so the
// x² column) reduces the rest to zeros and the elimination stops there.
TEST(PolynomFitTest, SingularNormalMatrixStopsAtTheZeroPivotWithoutThrowing) {
  Points points{{1, 1}, {1, 2}, {1, 3}, {1, 4}, {1, 5}};
  KbArray<float> sigmas{1, 1, 1, 1, 1}, coefficients;
  Fit fit;
  fit.SetInput(points, sigmas, 2, coefficients);
  ASSERT_TRUE(fit.Compute(Fit::eComputeDefault));
  EXPECT_EQ(coefficients, (KbArray<float>{0, 0, 3}));
  EXPECT_EQ(fit.GetOutput(), 10);
}

// Against the long double reference. Float normal equations lose accuracy
// with the condition of the monomials on [−1.5, 2], about fourfold per degree:
// 10 · 4^degree epsilon of the largest coefficient is 5 to 6 times the need.
TEST(PolynomFitTest, NoisyRandomDataOfDegreesOneToFourMatchesTheReferenceAndScalesWithSigma) {
  std::mt19937 random(20240611);
  std::uniform_real_distribution<float> xs(-1.5f, 2.0f), cs(-2.0f, 2.0f), ss(0.05f, 1.0f);
  std::normal_distribution<float> noise(0.0f, 1.0f);
  for (int run = 0; run < 40; ++run) {
    const unsigned int degree = 1 + run % 4;
    const Real epsilon = std::numeric_limits<float>::epsilon();
    const Real tolerance = 10 * std::pow(4.0L, Real(degree)) * epsilon;
    std::vector<float> truth(degree + 1);
    for (float& c : truth) c = cs(random);
    Points points(300);
    KbArray<float> sigmas(300), doubled(300), coefficients, coefficientsDoubled;
    for (unsigned int i = 0; i < 300; ++i) {
      const float x = xs(random);
      float y = 0;
      for (unsigned int k = degree + 1; k-- > 0;) y = y * x + truth[k];
      sigmas[i] = ss(random);
      doubled[i] = 2 * sigmas[i];
      points[i] = {x, y + sigmas[i] * noise(random)};
    }
    Fit fit, fitDoubled;
    fit.SetInput(points, sigmas, degree, coefficients);
    fitDoubled.SetInput(points, doubled, degree, coefficientsDoubled);
    ASSERT_TRUE(fit.Compute(Fit::eComputeDefault) && fitDoubled.Compute(Fit::eComputeDefault));

    const std::vector<Real> reference = ReferenceFit(points, sigmas, degree);
    Real scale = 1;
    for (Real c : reference) scale = std::max(scale, std::fabs(c));
    for (unsigned int k = 0; k <= degree; ++k) {
      EXPECT_NEAR(coefficients[k], reference[k], tolerance * scale) << run << " k=" << k;
    }
    Real chi2 = 0;
    for (unsigned int i = 0; i < 300; ++i) {
      Real fitted = 0;
      for (unsigned int k = degree + 1; k-- > 0;) fitted = fitted * points[i].x + reference[k];
      chi2 += std::pow((points[i].y - fitted) / sigmas[i], 2);
    }
    EXPECT_NEAR(fit.GetOutput(), chi2, 32 * epsilon * chi2) << run;
    // Scaling every sigma by 2 scales every sum by exactly 1/4.
    EXPECT_EQ(coefficients, coefficientsDoubled) << run;
    EXPECT_EQ(fitDoubled.GetOutput(), fit.GetOutput() / 4) << run;
  }
}

}  // namespace
