#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

#include "base/KbException.h"
#include "math/registration/KoSingularValueDecomposition.h"

namespace {

using Svd = KoSingularValueDecomposition<double>;
constexpr double c_eps = std::numeric_limits<double>::epsilon();

Eigen::MatrixXd ToEigen(const KoArray2D<double>& a) {
  Eigen::MatrixXd m(a.GetHeight(), a.GetWidth());
  for (unsigned int r = 0; r < a.GetHeight(); ++r) {
    for (unsigned int c = 0; c < a.GetWidth(); ++c) m(r, c) = a(c, r);
  }
  return m;
}

KoArray2D<double> FromEigen(const Eigen::MatrixXd& m) {
  KoArray2D<double> a(unsigned(m.cols()), unsigned(m.rows()));
  for (unsigned int r = 0; r < a.GetHeight(); ++r) {
    for (unsigned int c = 0; c < a.GetWidth(); ++c) a(c, r) = m(r, c);
  }
  return a;
}

struct Factors {
  Eigen::MatrixXd u, v;
  Eigen::VectorXd w;
};

Factors Decompose(const KoArray2D<double>& a, bool sort) {
  Svd svd;
  svd.GetFlags().Set(Svd::eSortDecreasing, sort);
  svd.SetInput(a);
  EXPECT_TRUE(svd.Compute(KoAlgorithm::eComputeDefault));
  KoArray2D<double> u(1, 7), v;
  KbArray<double> w(9);
  svd.GetU(u);
  svd.GetW(w);
  svd.GetV(v);
  Factors f{ToEigen(u), ToEigen(v), Eigen::VectorXd(w.GetSize())};
  for (unsigned int i = 0; i < w.GetSize(); ++i) f.w(i) = w[i];
  return f;
}

// The selection sort written out on unsorted factors: strict greater-than,
// and each swap followed by negating all of U and all of V.
Factors SortedByHand(Factors f) {
  const Eigen::Index n = f.w.size();
  for (Eigen::Index k = 0; k + 1 < n; ++k) {
    Eigen::Index j = k;
    for (Eigen::Index i = k + 1; i < n; ++i) j = f.w(i) > f.w(j) ? i : j;
    if (j == k) continue;
    f.u.col(k).swap(f.u.col(j));
    f.u = -f.u;
    std::swap(f.w(k), f.w(j));
    f.v.col(k).swap(f.v.col(j));
    f.v = -f.v;
  }
  return f;
}

TEST(SvdTest, ReconstructsEveryKindOfInputWithOrthogonalFactors) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  const std::pair<int, int> shapes[] = {{1, 1}, {2, 2}, {3, 3}, {4, 3}, {6, 4}, {5, 1}, {8, 8}};
  for (const auto& [m, n] : shapes) {
    const Eigen::MatrixXd dense = Eigen::MatrixXd::NullaryExpr(m, n, [&] { return value(random); });
    const int rank = n > 1 ? n - 1 : 1;
    const Eigen::MatrixXd lowRank =
        Eigen::MatrixXd::NullaryExpr(m, 1, [&] { return value(random); }) *
            Eigen::MatrixXd::NullaryExpr(1, n, [&] { return value(random); }) +
        (rank > 1 ? Eigen::MatrixXd(
                        Eigen::MatrixXd::NullaryExpr(m, rank - 1, [&] { return value(random); }) *
                        Eigen::MatrixXd::NullaryExpr(rank - 1, n, [&] { return value(random); }))
                  : Eigen::MatrixXd::Zero(m, n));
    Eigen::MatrixXd diagonal = Eigen::MatrixXd::Zero(m, n);
    for (int i = 0; i < n; ++i) diagonal(i, i) = (i % 2 == 0 ? -1.0 : 1.0) * (i + 0.5);
    for (const Eigen::MatrixXd& a :
         {dense, lowRank, Eigen::MatrixXd(Eigen::MatrixXd::Zero(m, n)), diagonal}) {
      const double scale = std::max(1.0, a.norm());
      const double tolerance = 64 * m * c_eps;
      const Eigen::VectorXd reference = Eigen::JacobiSVD<Eigen::MatrixXd>(a).singularValues();
      for (bool sort : {false, true}) {
        SCOPED_TRACE(testing::Message() << m << "x" << n << " sort " << sort << "\n" << a);
        const KoArray2D<double> input = FromEigen(a);
        const Factors f = Decompose(input, sort);
        ASSERT_EQ(f.u.rows(), m);
        ASSERT_EQ(f.u.cols(), n);
        ASSERT_EQ(f.v.rows(), n);
        ASSERT_EQ(f.w.size(), n);
        EXPECT_LE((f.u * f.w.asDiagonal() * f.v.transpose() - a).norm(), tolerance * scale);
        EXPECT_LE((f.u.transpose() * f.u - Eigen::MatrixXd::Identity(n, n)).norm(), tolerance);
        EXPECT_LE((f.v.transpose() * f.v - Eigen::MatrixXd::Identity(n, n)).norm(), tolerance);
        EXPECT_GE(f.w.minCoeff(), 0.0);
        Eigen::VectorXd values = f.w;
        std::sort(values.data(), values.data() + n, std::greater<>());
        EXPECT_LE((values - reference).norm(), tolerance * scale);
        if (sort) {
          EXPECT_EQ(values, f.w);
        }
      }
    }
  }
}

TEST(SvdTest, DiagonalInputGivesAbsoluteValuesWithSignsInV) {
  KoArray2D<double> a(3, 3);
  a(0, 0) = 3.0, a(1, 1) = -2.0, a(2, 2) = 0.5;
  const Factors f = Decompose(a, false);
  EXPECT_EQ(f.w, Eigen::Vector3d(3.0, 2.0, 0.5));
  EXPECT_EQ(f.u * f.w.asDiagonal() * f.v.transpose(), ToEigen(a));
}

TEST(SvdTest, SortingNegatesBothFactorsWithEverySwap) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  int swapped3 = 0;
  for (int trial = 0; trial < 300; ++trial) {
    const int n = trial % 3 == 0 ? 2 : 3;
    KoArray2D<double> a(n, n);
    for (int i = 0; i < n * n; ++i) a.GetData()[i] = value(random);
    if (trial < 3) {  // diagonal: the values come out in the input's order
      a = KoArray2D<double>(n, n);
      for (int i = 0; i < n; ++i) a(i, i) = double((i + trial) % n);
    }
    const Factors unsorted = Decompose(a, false);
    const Factors sorted = Decompose(a, true);
    const Factors expected = SortedByHand(unsorted);
    EXPECT_EQ(sorted.u, expected.u);
    EXPECT_EQ(sorted.w, expected.w);
    EXPECT_EQ(sorted.v, expected.v);
    // A 3x3 keeps its determinant signs; a 2x2 flips them with each swap.
    int swaps = 0;
    for (Eigen::Index k = 0; k < n; ++k) swaps += sorted.w(k) != unsorted.w(k) ? 1 : 0;
    const double flip = n == 3 || swaps == 0 ? 1.0 : -1.0;
    if (n == 3 && swaps != 0) ++swapped3;
    EXPECT_EQ(std::signbit(sorted.u.determinant()), std::signbit(flip * unsorted.u.determinant()));
    EXPECT_EQ(std::signbit(sorted.v.determinant()), std::signbit(flip * unsorted.v.determinant()));
  }
  EXPECT_GT(swapped3, 0);
}

TEST(SvdTest, BreakdownThrowsWithoutMessageAndLeavesTheObjectUsable) {
  Svd svd;
  KbArray<double> w;
  EXPECT_FALSE(svd.Compute(KoAlgorithm::eComputeDefault));  // no input
  EXPECT_THROW(svd.GetW(w), KbException);

  KoArray2D<double> a(3, 3);
  a(0, 0) = 1.0, a(1, 1) = NAN, a(2, 1) = 2.0;
  svd.SetInput(a);
  try {
    svd.Compute(KoAlgorithm::eComputeDefault);
    ADD_FAILURE() << "a NaN input converged";
  } catch (const KbException& e) {
    EXPECT_TRUE(e.GetMessage().empty());
  }
  EXPECT_FALSE(svd.IsCalculated());
  EXPECT_THROW(svd.GetW(w), KbException);

  a = KoArray2D<double>(2, 3);
  a(0, 0) = 4.0, a(1, 2) = -1.0;
  svd.SetInput(a);
  ASSERT_TRUE(svd.Compute(KoAlgorithm::eComputeDefault));
  svd.GetW(w);
  ASSERT_EQ(w.GetSize(), 2u);
  EXPECT_EQ(w[0], 4.0);
  EXPECT_EQ(w[1], 1.0);
}

}  // namespace
