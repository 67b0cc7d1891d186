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
using RowMajorMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

Eigen::MatrixXd ToEigen(const KoArray2D<double>& a) {
  return Eigen::Map<const RowMajorMatrix>(a.GetData(), a.GetHeight(), a.GetWidth());
}

KoArray2D<double> FromEigen(const Eigen::MatrixXd& m) {
  KoArray2D<double> a(unsigned(m.cols()), unsigned(m.rows()));
  Eigen::Map<RowMajorMatrix>(a.GetData(), m.rows(), m.cols()) = m;
  return a;
}

struct Factors {
  Eigen::MatrixXd u, v;
  Eigen::VectorXd w;
};

// `svd` may have decomposed other shapes before: its factors are resized.
Factors Decompose(Svd& svd, const KoArray2D<double>& a, bool sort) {
  svd.GetFlags().Set(Svd::eSortDecreasing, sort);
  svd.SetInput(a);
  EXPECT_TRUE(svd.Compute(KoAlgorithm::eComputeDefault));
  KoArray2D<double> u(1, 7), v;  // wrong shapes on purpose: the getters resize
  KbArray<double> w(9);
  svd.GetU(u), svd.GetW(w), svd.GetV(v);
  return {ToEigen(u), ToEigen(v), Eigen::Map<Eigen::VectorXd>(w.GetData(), w.GetSize())};
}
Factors Decompose(const KoArray2D<double>& a, bool sort) {
  Svd svd;
  return Decompose(svd, a, sort);
}

// The selection sort written out on unsorted factors: strict greater-than,
// and each swap followed by negating all of U and all of V.
Factors SortedByHand(Factors f) {
  for (Eigen::Index k = 0; k + 1 < f.w.size(); ++k) {
    Eigen::Index j = k;
    for (Eigen::Index i = k + 1; i < f.w.size(); ++i) j = f.w(i) > f.w(j) ? i : j;
    if (j == k) continue;
    f.u.col(k).swap(f.u.col(j));
    std::swap(f.w(k), f.w(j));
    f.v.col(k).swap(f.v.col(j));
    f.u = -f.u, f.v = -f.v;
  }
  return f;
}

TEST(SvdTest, ReconstructsEveryKindOfInputWithOrthogonalFactors) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  Svd reused;  // 4 x 3 before 3 x 3: the 3 x 3 factors replace taller ones
  for (const auto& [m, n] : {std::pair{1, 1}, {2, 2}, {4, 3}, {3, 3}, {6, 4}, {5, 1}, {8, 8}}) {
    const Eigen::MatrixXd dense = Eigen::MatrixXd::NullaryExpr(m, n, [&] { return value(random); });
    Eigen::MatrixXd lowRank = dense;  // the last column depends on the others
    lowRank.col(n - 1) =
        n > 1 ? Eigen::VectorXd(0.5 * dense.col(0) - 2.0 * dense.col(1)) : Eigen::VectorXd::Zero(m);
    Eigen::MatrixXd zeroFirst = dense;  // a zero diagonal element: the cancellation branch
    zeroFirst.col(0).setZero();
    Eigen::MatrixXd diagonal = Eigen::MatrixXd::Zero(m, n);
    for (int i = 0; i < n; ++i) diagonal(i, i) = (i % 2 == 0 ? -1.0 : 1.0) * (i + 0.5);
    // Tiny entries: the split tests compare against the matrix's own norm.
    for (const Eigen::MatrixXd& a : {dense, lowRank, zeroFirst, diagonal,
                                     Eigen::MatrixXd::Zero(m, n).eval(), (1e-150 * dense).eval()}) {
      const double tolerance = 64 * m * std::numeric_limits<double>::epsilon();
      const double scale = a.norm();
      const Eigen::VectorXd reference = Eigen::JacobiSVD<Eigen::MatrixXd>(a).singularValues();
      for (bool sort : {false, true}) {
        SCOPED_TRACE(testing::Message() << m << "x" << n << " sort " << sort << "\n" << a);
        const KoArray2D<double> input = FromEigen(a);
        const Factors f = Decompose(reused, input, sort);
        ASSERT_TRUE(f.u.rows() == m && f.u.cols() == n && f.v.rows() == n && f.w.size() == n);
        EXPECT_LE((f.u * f.w.asDiagonal() * f.v.transpose() - a).norm(), tolerance * scale);
        EXPECT_LE((f.u.transpose() * f.u - Eigen::MatrixXd::Identity(n, n)).norm(), tolerance);
        EXPECT_LE((f.v.transpose() * f.v - Eigen::MatrixXd::Identity(n, n)).norm(), tolerance);
        EXPECT_GE(f.w.minCoeff(), 0.0);
        Eigen::VectorXd values = f.w;
        std::sort(values.data(), values.data() + n, std::greater<>());
        EXPECT_LE((values - reference).norm(), tolerance * scale);
        EXPECT_TRUE(!sort || values == f.w) << "not in decreasing order";
        // Diagonal: the magnitudes in the input's order, the signs gone to V.
        EXPECT_TRUE(sort || a != diagonal || f.w == diagonal.diagonal().cwiseAbs());
      }
    }
  }
}

// The sweeps' arithmetic is fixed, so are these values (printed from this implementation;
// numpy's LAPACK agrees within 5 ulps): the 3 x 3 path and the general one.
TEST(SvdTest, SingularValuesOfFixedMatricesBitForBit) {
  Eigen::MatrixXd a(4, 3);
  a << 4, 1, -2, 3, 5, 1, -1, 2, 6, 0.5, -3, 2;
  const KoArray2D<double> square = FromEigen(a.topRows(3)), tall = FromEigen(a);
  EXPECT_EQ(Decompose(square, false).w,
            Eigen::Vector3d(0x1.81332159ea97bp+0, 0x1.a4be62bbb2ec9p+2, 0x1.cb5c90ec9e646p+2));
  EXPECT_EQ(Decompose(tall, false).w,
            Eigen::Vector3d(0x1.a25dcc39e7454p+1, 0x1.bb398a81454d5p+2, 0x1.cbc2437a4978ap+2));
}

TEST(SvdTest, SortingNegatesBothFactorsWithEverySwap) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  int swapped3 = 0;
  for (int trial = 0; trial < 300; ++trial) {
    const int n = trial % 3 == 0 ? 2 : 3;
    KoArray2D<double> a(n, n);
    for (int i = 0; i < n * n; ++i) a.GetData()[i] = value(random);
    const Factors unsorted = Decompose(a, false);
    const Factors sorted = Decompose(a, true);
    const Factors expected = SortedByHand(unsorted);
    // Exact: so a 3x3 keeps the determinant signs of U and V through every
    // swap, and a 2x2 flips them.
    EXPECT_TRUE(sorted.u == expected.u && sorted.w == expected.w && sorted.v == expected.v);
    swapped3 += n == 3 && sorted.w != unsorted.w ? 1 : 0;
  }
  EXPECT_GT(swapped3, 0);
  // Among equal values the first stays first: (1, 2, 2) swaps columns 0 and
  // 1, then 1 and 2; taking the last maximum would swap 0 and 2 once.
  KoArray2D<double> tied(3, 3);
  tied(0, 0) = 1.0, tied(1, 1) = 2.0, tied(2, 2) = 2.0;
  const Factors unsorted = Decompose(tied, false), sorted = Decompose(tied, true);
  ASSERT_EQ(unsorted.w, Eigen::Vector3d(1, 2, 2));
  const Factors expected = SortedByHand(unsorted);
  EXPECT_TRUE(sorted.u == expected.u && sorted.v == expected.v);
}

TEST(SvdTest, BreakdownThrowsWithoutMessageAndLeavesTheObjectUsable) {
  Svd svd;
  KbArray<double> w;
  EXPECT_FALSE(svd.Compute(KoAlgorithm::eComputeDefault));  // no input
  KoArray2D<double> a(3, 3);
  a(0, 0) = 1.0, a(1, 1) = NAN, a(2, 1) = 2.0;
  svd.SetInput(a);
  try {
    svd.Compute(KoAlgorithm::eComputeDefault);
    ADD_FAILURE() << "a NaN input converged";
  } catch (const KbException& e) {
    EXPECT_EQ(e.GetMessage(), "");
  }
  EXPECT_THROW(svd.GetW(w), KbException);
  a = KoArray2D<double>(2, 3);
  a(0, 0) = 4.0, a(1, 2) = -1.0;
  svd.SetInput(a);
  ASSERT_TRUE(svd.Compute(KoAlgorithm::eComputeDefault));
  svd.GetW(w);
  EXPECT_TRUE(w.GetSize() == 2 && w[0] == 4.0 && w[1] == 1.0);
  svd.SetInput(a);  // the results are stale until the next Compute
  EXPECT_THROW(svd.GetW(w), KbException);
}

}  // namespace
