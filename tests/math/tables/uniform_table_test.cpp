#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "RecordTestSupport.h"
#include "math/functions/FunctionTestSupport.h"
#include "math/tables/KoFunctionTableUniform.h"

namespace {

using ko_test::ExpectValues;

template <class T>
using Uniform = KoFunctionTableUniform<T, T>;

template <class T>
class UniformTableTest : public ::testing::Test {};
using Scalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(UniformTableTest, Scalars);

// With s[1] = 1/3 and s[2] = 19/7 the weights (1 − f)·s[1] + f·s[2] round
// differently from s[1] + f·(s[2] − s[1]) in float and in double.
TYPED_TEST(UniformTableTest, LookupInBothModesAndAnUnknownOneInsideBelowAndBeyondTheGrid) {
  using T = TypeParam;
  Uniform<T> table(5, 0, 1);  // step 0.25
  const T s[] = {10, T(1) / 3, T(19) / 7, 40, 50};
  for (unsigned int i = 0; i < 5; ++i) table[i] = s[i];
  ExpectValues<T>(table,
                  {{0.124, 10}, {0.125, s[1]}, {1.2, 50}, {7, 50}, {-1, 10}});  // halves round up
  table.SetInterpolationType(table.eLinear);
  const T f = T(0.3) / T(0.25) - 1;
  EXPECT_EQ(table(T(0.3)), (1 - f) * s[1] + f * s[2]);
  ExpectValues<T>(table, {{1, 50}, {1.1, 50}, {-0.1, 10}});
  Uniform<T> assigned;
  assigned = table;  // the mode goes with the samples
  EXPECT_EQ(assigned(T(0.3)), table(T(0.3)));
  table.SetInterpolationType(static_cast<typename Uniform<T>::EInterpolationType>(2));
  EXPECT_EQ(table(T(0.5)), 0);
  Uniform<T> unit(3, 0, 2);  // step 1
  unit.SetInterpolationType(unit.eLinear);
  unit[1] = 10, unit[2] = 30;
  EXPECT_EQ(unit(T(1.5)), 20);
  // MinX itself is interpolated (t = 0), not clamped: 0·∞ from s[1].
  unit[1] = std::numeric_limits<T>::infinity();
  EXPECT_TRUE(std::isnan(unit(0)));
}

TYPED_TEST(UniformTableTest, SetAndAddSpreadOrRoundAndDropValuesBeyondTheGrid) {
  using T = TypeParam;
  Uniform<T> table(5, -1, 0);  // MinX −1: positions are measured from it
  table.SetInterpolationType(table.eLinear);
  const T f = (T(-0.7) + 1) / T(0.25) - 1;  // 0.2 up to rounding
  table.Set(T(-0.7), 10);
  EXPECT_TRUE(table[1] == (1 - f) * 10 && table[2] == f * 10);
  table.Add(T(-0.7), 10);
  table.Set(T(1e30), 99);  // far beyond the grid: dropped
  EXPECT_TRUE(table[1] == (1 - f) * 10 + (1 - f) * 10 && table[2] == f * 10 + f * 10);
  table.Set(0, 99);  // the last grid point: dropped in this mode
  EXPECT_EQ(table[4], 0);
  table.Set(T(-0.125), 4);  // the last interval still has its upper neighbour
  EXPECT_EQ(table[4], 2);
  table.Reset(5, -1, 0);  // back to nearest-sample mode, all zero
  EXPECT_EQ(table.GetInterpolationType(), table.eNone);
  table.Set(T(-0.7), 10);
  table.Add(T(-0.7), 5);
  table.Add(0, 7);
  table.Add(1, 7);  // beyond the grid
  EXPECT_TRUE(table[1] == 15 && table[4] == 7);
}

// None of these may read outside the samples.
TYPED_TEST(UniformTableTest, EmptyAndReversedTablesAndNaNArgumentsStayInsideTheSamples) {
  using T = TypeParam;
  Uniform<T> empty, reversed(2, 1, 0);  // step −1
  reversed.SetInvalidY(-7);
  reversed[0] = 1, reversed[1] = 2;
  EXPECT_EQ(empty(0), 0);  // InvalidY, on [0, 0]
  EXPECT_TRUE(empty.GetMaxX() == 0 && empty.GetInterpolationType() == empty.eNone);
  empty.SetInterpolationType(empty.eLinear);
  EXPECT_EQ(empty(0), 0);
  Uniform<T> point(3, 1, 1);  // step 0: the last sample answers beyond MinX
  point[2] = 4;
  EXPECT_TRUE(point(5) == 4 && point(1) == 4);  // at MinX too: 0 / 0 is never formed
  point.SetInterpolationType(point.eLinear);
  EXPECT_TRUE(point(5) == 4 && point(1) == 4);
  reversed.SetInterpolationType(reversed.eLinear);
  const T t = (T(1.1) - 1) / T(-1);  // in (−1, 0): the first interval
  EXPECT_EQ(reversed(T(1.1)), (1 - t) * 1 + t * 2);
  EXPECT_EQ(reversed(3), -7);  // t = −2: no sample there
  EXPECT_EQ(reversed(2), -7);  // t = −1 already
  EXPECT_TRUE(std::isnan(reversed(std::numeric_limits<T>::quiet_NaN())));
  Uniform<T> forward(2, 0, 1);
  forward[0] = 1, forward[1] = 2;
  EXPECT_EQ(forward(T(0x1p63)), 2);  // position 2^63, the first without a 64-bit index
}

// x³ on a dyadic grid from MinX = 2: exact differences show each kernel's branch exactly.
TYPED_TEST(UniformTableTest, DerivativeTablesOfACubicAreItsExactFiniteDifferences) {
  using T = TypeParam;
  const T h = T(0.125);
  Uniform<T> cube(17, 2, 4);
  cube.SetInterpolationType(cube.eLinear);
  for (unsigned int i = 0; i < 17; ++i) cube[i] = (2 + T(i) * h) * (2 + T(i) * h) * (2 + T(i) * h);
  const auto first = cube.GetDerivativeFunction();
  const auto second = cube.GetSecondDerivativeFunction();
  EXPECT_EQ(first->GetInterpolationType(), cube.eNone);
  EXPECT_EQ((*first)[0], 12 + 6 * h + h * h);       // forward at MinX
  EXPECT_EQ((*first)[16], 48 - 3 * 4 * h + h * h);  // backward at MaxX
  EXPECT_EQ((*second)[0], 6 * (2 + h) * h);         // anchored at MinX
  EXPECT_EQ((*second)[16], 6 * (4 - h) * h);        // anchored at MaxX
  for (unsigned int i = 1; i < 16; ++i) {
    const T x = 2 + T(i) * h;
    EXPECT_EQ((*first)[i], 3 * x * x + h * h) << i;  // central
    EXPECT_EQ((*second)[i], 6 * x * h) << i;         // 6x·h², divided by h once
  }
  EXPECT_EQ(cube.GetSecondDerivative(2 + h / 2), cube.GetSecondDerivative(2));
}

TYPED_TEST(UniformTableTest, RecordBytesOlderArrayLayoutAndDumpWithAStepThatDisagrees) {
  using T = TypeParam;
  Uniform<T> table(3, 0, 1);
  table.SetInterpolationType(table.eLinear);
  table.SetInvalidY(-1);
  table[0] = 1, table[1] = 2, table[2] = 3;
  ko_test::RecordBytes expected;
  expected.U32(3).U32(2).U32(2).Put(T(0)).Put(T(1)).Put(T(-1)).U32(1).Put(T(0.5));
  expected.U32(0xFFFFFFFF).U32(1).U32(3).U32(sizeof(T)).Put(T(1)).Put(T(2)).Put(T(3));
  EXPECT_EQ(ko_test::Write(table), expected.bytes);

  ko_test::RecordBytes older;  // no marker and version; a step of 0.25
  older.U32(3).U32(2).U32(2).Put(T(0)).Put(T(1)).Put(T(-1)).U32(1).Put(T(0.25));
  older.U32(3).U32(sizeof(T)).Put(T(1)).Put(T(2)).Put(T(3));
  Uniform<T> read;
  ko_test::Read(read, older.bytes);
  EXPECT_EQ(read(T(0.375)), T(2.5));
  KbStreamWriteASCIIStringT<wchar_t> text;  // the stored step, no separators
  read.Dump(text);
  EXPECT_EQ(text.GetString(), L"0, 10.25, 20.5, 3");
}

}  // namespace
