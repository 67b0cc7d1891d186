#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "math/functions/FunctionTestSupport.h"
#include "math/tables/KoFunctionTableNonUniform.h"

namespace {

using ko_test::ExpectValues;

template <class T>
using NonUniform = KoFunctionTableNonUniform<T, T>;

template <class T>
class NonUniformTableTest : public ::testing::Test {};
using Scalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(NonUniformTableTest, Scalars);

TYPED_TEST(NonUniformTableTest, LinearExtrapolatesBothWaysNoneNeverReturnsTheLastSample) {
  using T = TypeParam;
  NonUniform<T> table;  // no reserved slots: the appends grow it
  EXPECT_TRUE(table.GetMinX() == 0 && table.GetMaxX() == 1);  // until the first append
  table.AppendSorted(-1, -10);
  EXPECT_EQ(table.GetTable().GetCapacity(), 1u);  // one slot, then doubling
  table.AppendSorted(1, 10);
  table.AppendSorted(3, 30);
  EXPECT_EQ(table.GetTable().GetCapacity(), 4u);
  ExpectValues<T>(table, {{2, 20}, {-1, -10}, {5, 50}});
  EXPECT_TRUE(table.GetMinX() == -1 && table.GetMaxX() == 3);
  table.SetInterpolationType(table.eNone);
  ExpectValues<T>(table, {{0.5, -10}, {3, 10}, {100, 10}});
  table.AppendSorted(3, 31);  // an equal abscissa replaces the last sample
  table.SetInterpolationType(table.eLinear);
  EXPECT_EQ(table(5), T(52));  // slope (31 − 10) / 2
  EXPECT_EQ(table.GetTable().GetSize(), 3u);
}

TYPED_TEST(NonUniformTableTest, StepChoiceAndDerivativeStencilsUpToTheEnds) {
  using T = TypeParam;
  // x² at 0, 1, 1.5, 3: all values below are exact; the second spacing is the smallest.
  NonUniform<T> square(4);
  for (T x : {T(0), T(1), T(1.5), T(3)}) square.AppendSorted(x, x * x);
  square.SetH(1);
  square.SetH(0);  // back to the automatic step
  EXPECT_EQ(square.getH(), T(0.5));
  // MinX stays huge: always forward, (f(x + 0.5) − f(x)) / 0.5.
  const auto derivative = square.GetDerivativeFunction();
  const T expected[] = {1, T(2.5), T(4.5), T(4.5)};
  ASSERT_EQ(derivative->GetSampleCount(), 4u);
  for (unsigned int i = 0; i < 4; ++i) EXPECT_EQ(derivative->GetTable()[i].y, expected[i]) << i;
  // x + h rounds onto the end: still central (0, ε, 1, not 1, 0, 0), divided by h once.
  NonUniform<T> kink;
  for (T x : {T(0), T(0.5), T(1)}) kink.AppendSorted(x, T(x == 1));
  kink.SetH(T(0.5));
  const T epsilon = std::numeric_limits<T>::epsilon();
  EXPECT_EQ(kink.GetSecondDerivative(T(0.5) + epsilon / 2), (1 - 2 * epsilon) / T(0.5));
}

TYPED_TEST(NonUniformTableTest, DegenerateTablesNaNAndGrowthBeyondTheReservedSlots) {
  using T = TypeParam;
  NonUniform<T> table(1);
  table.SetInvalidY(-7);
  EXPECT_TRUE(table(0) == -7 && table.GetMaxX() == -std::numeric_limits<T>::max());
  table.AppendSorted(2, 4);
  table.AppendSorted(2, 5);  // replaces the first sample
  EXPECT_EQ(table(2), -7);   // one sample: no interval
  table.SetInterpolationType(static_cast<typename NonUniform<T>::EInterpolationType>(2));
  EXPECT_EQ(table(9), 5);  // this mode only reads y[i]
  for (int i = 3; i < 40; ++i) table.AppendSorted(T(i), T(2 * i));
  EXPECT_EQ(table.GetTable().GetSize(), 38u);  // grown slot by slot
  EXPECT_TRUE(table.GetMinX() == std::numeric_limits<T>::max() && table(T(17.5)) == 34);
  table.SetInterpolationType(table.eLinear);
  EXPECT_TRUE(table(T(17.5)) == 35 && std::isnan(table(std::numeric_limits<T>::quiet_NaN())));
}

// With y[i] = i and a mode that returns y[i] as it stands: on ascending
// tables, random or clustered in runs of adjacent representable numbers, i
// is std::upper_bound minus one, clamped to [0, n − 1].
TYPED_TEST(NonUniformTableTest, BisectionMatchesUpperBoundOnRandomTables) {
  using T = TypeParam;
  std::mt19937 random(99);
  std::uniform_real_distribution<T> spacing(T(0.001), T(2));
  for (unsigned int n = 2; n < 70; ++n) {
    NonUniform<T> sorted(n);
    sorted.SetInterpolationType(static_cast<typename NonUniform<T>::EInterpolationType>(7));
    std::vector<T> xs;
    for (T x = spacing(random) - 1; xs.size() < n;) {
      xs.push_back(x);
      const bool clustered = n % 2 == 1 && random() % 4 != 0;
      x = clustered ? std::nextafter(x, T(1e9)) : x + spacing(random);
    }
    for (unsigned int i = 0; i < n; ++i) sorted.AppendSorted(xs[i], T(i));
    std::uniform_real_distribution<T> argument(xs.front() - 1, xs.back() + 1);
    for (int q = 0; q < 200; ++q) {
      const T hit = xs[random() % n];
      const T x = q % 4 == 0 ? hit : q % 4 == 1 ? std::nextafter(hit, T(-1e9)) : argument(random);
      const auto above = std::upper_bound(xs.begin(), xs.end(), x) - xs.begin();
      EXPECT_EQ(sorted(x), T(above == 0 ? 0 : above - 1)) << n << " " << x;
    }
  }
  // An exact hit ends the search: the smaller abscissae after it are never probed.
  NonUniform<T> unsorted(6);
  unsorted.SetInterpolationType(static_cast<typename NonUniform<T>::EInterpolationType>(7));
  for (T x : {T(0), T(1), T(2), T(3), T(1.5), T(1.75)}) unsorted.AppendSorted(x, x);
  EXPECT_EQ(unsorted(3), 3);
}

// The vector table scales its differences by a reciprocal formed once: with
// these values dividing would differ in the last bit.
TEST(NonUniformVectorTableTest, ComponentsFollowTheScalarRulesAndScaleByTheReciprocal) {
  KoFunctionTableNonUniform<float, KbVector3f> table(3);
  table.AppendSorted(0, {0, 0, 1});
  table.AppendSorted(1, {1, 1, 1});
  table.AppendSorted(3, {10 / 7.0f, 20 / 7.0f, 30 / 7.0f});
  EXPECT_EQ(table(-1), KbVector3f(-1, -1, 1));
  table.SetH(0.3f);  // MinX is huge: the forward difference
  const KbVector3f difference = table(1 + 0.3f) - table(1);
  EXPECT_EQ(table.GetDerivative(1), difference * (1 / 0.3f));
  table.SetInterpolationType(table.eNone);
  EXPECT_EQ(table(3), KbVector3f(1, 1, 1));
}

}  // namespace
