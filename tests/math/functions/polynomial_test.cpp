// The polynomial base: coefficient counts, the monomial order in one and
// three variables, and its record.
#include <gtest/gtest.h>

#include <vector>

#include "FunctionTestSupport.h"
#include "base/KbException.h"
#include "math/functions/KoFunctionPolynomialBase.h"

namespace {

using ko_test::Pack;
using ko_test::Write;

// The base is abstract; evaluation is the descendants' business.
template <class T>
class Polynomial : public KoFunctionPolynomialBase<T> {
 public:
  using S = typename KoFunctionPolynomialBase<T>::S;
  S operator()(T) const override { return 0; }
  T GetDerivative(T) const override { return T(); }
};

template <class T>
std::vector<std::vector<unsigned int>> Enumerate(unsigned int maxDegree) {
  std::vector<std::vector<unsigned int>> monomials;
  for (auto it = typename KoFunctionPolynomialBase<T>::MonomIterator(maxDegree); it; ++it)
    monomials.emplace_back(std::begin(*it), std::end(*it));
  return monomials;
}

TEST(PolynomialBaseTest, MonomialOrderInOneAndThreeVariables) {
  EXPECT_EQ(Enumerate<float>(3), (std::vector<std::vector<unsigned int>>{{0}, {1}, {2}, {3}}));
  Polynomial<float> line;
  line.SetDegree(3);
  EXPECT_EQ(line.GetCoefficientCount(), 4u);
  // Independent order: by total degree, then lexicographic in (e0, e1).
  for (unsigned int degree : {0u, 2u, 5u, 9u}) {
    std::vector<std::vector<unsigned int>> expected;
    for (unsigned int t = 0; t <= degree; ++t)
      for (unsigned int e0 = 0; e0 <= t; ++e0)
        for (unsigned int e1 = 0; e0 + e1 <= t; ++e1) expected.push_back({e0, e1, t - e0 - e1});
    EXPECT_EQ(Enumerate<KbVector3d>(degree), expected) << degree;
    Polynomial<KbVector3d> polynomial;
    polynomial.SetDegree(degree);
    EXPECT_EQ(polynomial.GetCoefficientCount(), expected.size());
  }
}

TEST(PolynomialBaseTest, DefaultMovesAndSetDegreeAlwaysClearing) {
  Polynomial<KbVector3f> space;
  EXPECT_TRUE(space.GetDegree() == 0u && space.GetCoefficientCount() == 1u);
  space.SetDegree(2);
  space.SetCoefficient(9, 4.f);
  // A move copies: the source keeps its degree together with its coefficients.
  const Polynomial<KbVector3f> moved(std::move(space));
  EXPECT_TRUE(space.GetCoefficientCount() == 10u && moved.GetCoefficient(9) == 4.f);
  space.SetDegree(2);
  EXPECT_EQ(space.GetCoefficient(9), 0.f);
}

TEST(PolynomialBaseTest, RecordBytesAndACutRecordLeavesItUnchanged) {
  Polynomial<KbVector3d> source;
  source.SetDegree(1);
  for (unsigned int i = 0; i < 4; ++i) source.SetCoefficient(i, 0.5 * i - 1);
  // The array record (marker, version, count, element size, elements),
  // then the degree.
  const auto bytes = Pack(1u, 0xFFFFFFFFu, 1u, 4u, 8u, -1.0, -0.5, 0.0, 0.5, 1u);
  ASSERT_EQ(Write(source), bytes);

  // Cut inside the degree, which follows the coefficients: both stay.
  Polynomial<KbVector3d> target;
  target.SetDegree(2);
  const auto before = Write(target);
  EXPECT_THROW(ko_test::Read(target, {bytes.begin(), bytes.end() - 1}), KbException);
  EXPECT_EQ(Write(target), before);
  ko_test::Read(target, bytes);
  EXPECT_EQ(Write(target), bytes);
}

}  // namespace
