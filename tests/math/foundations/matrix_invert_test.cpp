#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

#include "math/foundations/KbMatrixInternal.h"
#include "math/foundations/KbMatrixInvertPortable.h"

namespace {

// Independent reference: Gauss-Jordan with partial pivoting in long double on
// a (copied) row-major block; returns the determinant.
long double ReferenceInverse(long double a[16], long double inv[16]) {
  long double det = 1.0L;
  for (int i = 0; i < 16; ++i) inv[i] = i % 5 == 0 ? 1.0L : 0.0L;
  for (int col = 0; col < 4; ++col) {
    int pivot = col;
    for (int r = col + 1; r < 4; ++r)
      if (std::fabs(a[4 * r + col]) > std::fabs(a[4 * pivot + col])) pivot = r;
    std::swap_ranges(a + 4 * col, a + 4 * col + 4, a + 4 * pivot);
    std::swap_ranges(inv + 4 * col, inv + 4 * col + 4, inv + 4 * pivot);
    const long double p = a[5 * col];
    det *= pivot != col ? -p : p;
    for (long double* row : {a + 4 * col, inv + 4 * col})
      for (int c = 0; c < 4; ++c) row[c] /= p;
    for (int r = 0; r < 4; ++r) {
      const long double f = r == col ? 0.0L : a[4 * r + col];
      for (int c = 0; c < 4; ++c) {
        a[4 * r + c] -= f * a[4 * col + c];
        inv[4 * r + c] -= f * inv[4 * col + c];
      }
    }
  }
  return det;
}

template <class T>
class MatrixInvertTest : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MatrixInvertTest, Precisions);

TYPED_TEST(MatrixInvertTest, WellConditionedRandomAlignedUnalignedMatrixFormsMatchReference) {
  using T = TypeParam;
  // Condition number below ~10 (entries in [-1, 1], diagonal shifted by 2..4):
  // the error bound is a few dozen ulps of the largest inverse element.
  const T tolerance = 64 * std::numeric_limits<T>::epsilon();
  std::mt19937 rng(20240611u);
  std::uniform_real_distribution<T> entry(T(-1), T(1)), shift(T(2), T(4));
  for (int trial = 0; trial < 500; ++trial) {
    kb_detail::KbMatrix4RT<T> m;
    for (unsigned int i = 0; i < 16; ++i) m[i] = entry(rng);
    for (unsigned int i = 0; i < 16; i += 5) m[i] += trial % 2 ? shift(rng) : -shift(rng);
    long double a[16], exact[16];
    std::copy(m.GetData(), m.GetData() + 16, a);
    const long double exactDet = ReferenceInverse(a, exact);
    long double scale = 0;
    for (long double e : exact) scale = std::max(scale, std::fabs(e));

    alignas(16) T buffer[17];  // buffer + 1 is misaligned for both precisions
    std::copy(m.GetData(), m.GetData() + 16, buffer + 1);
    SDataMat<T, 4, 4, 0> unaligned(buffer + 1);
    T det = 0, unalignedDet = 0;
    KbMatrixInternal::Invert(unaligned, &unalignedDet);
    SDataMat<T, 4, 4, 1> aligned(m);
    KbMatrixInternal::Invert(aligned, &det);
    EXPECT_LE(std::fabs(det - exactDet), tolerance * std::fabs(exactDet));
    EXPECT_EQ(det, unalignedDet);
    for (unsigned int i = 0; i < 16; ++i) {
      EXPECT_LE(std::fabs(m[i] - exact[i]), tolerance * scale) << "element " << i;
      EXPECT_EQ(m[i], buffer[i + 1]) << "element " << i;
    }
  }
}

TYPED_TEST(MatrixInvertTest, ExactIntegerInverseAndSingularZeroAndRankThreeBlocks) {
  using T = TypeParam;
  using Matrix = kb_detail::KbMatrix4RT<T>;
  // det 1 and small integers: minors, cofactors and 1/det are all exact.
  const Matrix m(2, 1, 0, 0, 1, 1, 0, 0, 0, 0, 1, 3, 5, -2, 0, 1);
  Matrix inverse = m;
  T det = 0;
  KbMatrixInternal::Invert(inverse, &det);
  EXPECT_TRUE(det == T(1) && m * inverse == Matrix() && inverse * m == Matrix());

  // Row 2 = row 0 + row 1 in exact binary arithmetic: the determinant is exactly 0.
  const Matrix rank3(1, 2, 3, 4, 0.5, -1, 2, 0, 1.5, 1, 5, 4, 7, 0, 0, 1);
  for (const Matrix& singular : {Matrix::Filled(0), rank3}) {
    Matrix result = singular;
    det = -1;
    KbMatrixInternal::Invert(result, &det);
    EXPECT_EQ(det, T(0));
    if constexpr (std::is_same_v<T, double>) {
      EXPECT_TRUE(result == singular);  // double: left unchanged
    } else {
      for (unsigned int i = 0; i < 16; ++i) EXPECT_FALSE(std::isfinite(result[i])) << i;
    }
  }
}

TYPED_TEST(MatrixInvertTest, PortablePathGivesTheBitsOfTheVectorPaths) {
  using T = TypeParam;
  // Random blocks of wide magnitude range, some singular (a repeated row)
  // and some with zeros, infinities and NaN: the scalar form must produce
  // the same determinant and elements, signs of zero included; NaN is only
  // required to stay NaN (its payload is the hardware's).
  std::mt19937 rng(20240612u);
  std::uniform_real_distribution<T> entry(T(-1), T(1));
  std::uniform_int_distribution<int> exponent(-30, 30), special(0, 40);
  const T specials[] = {T(0), -T(0), std::numeric_limits<T>::infinity(),
                        std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::denorm_min()};
  const auto same = [](T a, T b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>(a) ==
               std::bit_cast<std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>(b);
  };
  for (int trial = 0; trial < 2000; ++trial) {
    kb_detail::KbMatrix4RT<T> vector;
    for (unsigned int i = 0; i < 16; ++i) {
      const int pick = special(rng);
      vector[i] = pick < 5 ? specials[pick] : std::ldexp(entry(rng), exponent(rng));
    }
    if (trial % 7 == 0) std::copy(vector.GetData(), vector.GetData() + 4, vector.GetData() + 8);
    alignas(16) T portable[16];
    std::copy(vector.GetData(), vector.GetData() + 16, portable);
    T vectorDet = 0, portableDet = 0;
    KbMatrixInternal::Invert(vector, &vectorDet);
    KbMatrixInvertPortable::Invert(portable, &portableDet);
    ASSERT_TRUE(same(vectorDet, portableDet)) << "trial " << trial;
    for (unsigned int i = 0; i < 16; ++i)
      ASSERT_TRUE(same(vector[i], portable[i])) << "trial " << trial << ", element " << i;
  }
}

}  // namespace
