// DetExact and DetSign of komath_core against GMP's rational Bareiss
// elimination, which shares nothing with the residues of DetExact.
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <stdexcept>
#include <vector>

#include "Errors.h"
#include "ExactDeterminant.h"
#include "math/numerics/ExactReference.h"

namespace {

// The determinant as integer * 2^power, from DetExact's decimal text.
mpq_class Value(const komath::ExactDeterminant& det) {
  mpq_class value(mpz_class(det.integer, 10));
  if (det.powerOfTwo >= 0) mpq_mul_2exp(value.get_mpq_t(), value.get_mpq_t(), det.powerOfTwo);
  if (det.powerOfTwo < 0) mpq_div_2exp(value.get_mpq_t(), value.get_mpq_t(), -det.powerOfTwo);
  return value;
}

// The canonical form: an odd integer (or 0 with power 0), the same integer
// in hexadecimal, the sign of both.
void ExpectCanonical(const komath::ExactDeterminant& det) {
  const mpz_class integer(det.integer, 10);
  EXPECT_EQ(integer.get_str(10), det.integer);  // no leading zeros or '+'
  EXPECT_EQ((integer < 0 ? "-0x" : "0x") + mpz_class(abs(integer)).get_str(16), det.hexadecimal);
  EXPECT_EQ(sgn(integer), det.sign);
  if (integer == 0) {
    EXPECT_EQ(det.powerOfTwo, 0);
  } else {
    EXPECT_TRUE(mpz_odd_p(integer.get_mpz_t())) << det.integer;
  }
}

void ExpectExact(const std::vector<double>& a, std::size_t n) {
  const komath::ExactDeterminant det = komath::DetExact(a, n);
  ExpectCanonical(det);
  const mpq_class expected = BareissDeterminant(a, static_cast<unsigned int>(n));
  EXPECT_TRUE(Value(det) == expected) << "n = " << n << ": " << det.integer << " * 2^"
                                      << det.powerOfTwo << ", expected " << expected.get_str();
  EXPECT_EQ(komath::DetSign(a, n), sgn(expected));
}

// Beyond the double range, subnormal entries, rows and columns of very different
// scale, a cancellation that doubles give as 0, 2^53 times a two-limb odd integer,
// exact singularity, a zero row and column, and a Hadamard matrix (2^80, the bound).
TEST(ExactDeterminantTest, EdgeCasesEqualGmpBareiss) {
  const std::vector<double> cases[] = {
      {0.75},
      {4503599627370497.0, 4503599627370496.0, 4503599627370496.0, 4503599627370495.0},
      {0x1p+1023, 0, 0, 0, 0x1p+1023, 0, 0, 0, 3},
      {0x1p-1074, 0, 0, -0x1.8p-1070},
      {0x1p+500, 0x1p+501, 0x1.8p+101, 0x1p+102},
      {1, 0x1p+600, 1, 1},
      {0x1p52 + 1, 1, 0, 1, 0x1p52 + 1, 0, 0, 0, 0x1p52 + 1},  // 2^53 (2^51 + 1)(2^52 + 1)
      {1, 1, 1, 1, 1 + 0x1p40, 1, 1, 1, 1 + 0x1p40},           // 2^80
      {1, 1, 0, 1, 1, 1, 0, 1, 1},                             // -1, a zero pivot after one step
      {1, 2, 2, 4},
      {0, 0, 1, 2},
      {0, 1, 0, 2},
  };
  for (const std::vector<double>& a : cases) ExpectExact(a, std::size_t(std::sqrt(a.size())));
  std::vector<double> hadamard(32 * 32);  // Sylvester's: (-1)^popcount(i & j)
  for (std::size_t i = 0; i < hadamard.size(); ++i)
    hadamard[i] = std::popcount(i / 32 & i % 32) % 2 ? -1 : 1;
  ExpectExact(hadamard, 32);
}

TEST(ExactDeterminantTest, RandomMatricesEqualGmpBareiss) {
  std::mt19937_64 rng(17);
  std::uniform_real_distribution<double> uniform(-1, 1);
  // Rows and columns differing in scale by up to 2^80; integer matrices with
  // many zeros (pivots that vanish modulo a prime need a row swap).
  for (std::size_t n : {2, 3, 5, 8, 13}) {
    std::vector<double> a(n * n);
    std::vector<double> scaled(n * n);
    std::vector<double> small(n * n);
    for (std::size_t i = 0; i < n * n; ++i) {
      a[i] = uniform(rng);
      scaled[i] = std::ldexp(a[i], int(rng() % 41) - 20);
      small[i] = double(int(rng() % 5) - 2);
    }
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t j = 0; j < n; ++j)
        scaled[i * n + j] = std::ldexp(scaled[i * n + j], 40 * int(i % 3) - 40 * int(j % 2));
    ExpectExact(a, n);
    ExpectExact(scaled, n);
    ExpectExact(small, n);
  }
}

TEST(ExactDeterminantTest, RefusesWhatIsNotAFiniteSquareMatrix) {
  const std::vector<double> four{1, 2, 3, 4};
  EXPECT_THROW(komath::DetExact(four, 3), std::invalid_argument);
  EXPECT_THROW(komath::DetSign(four, 0), std::invalid_argument);
  EXPECT_THROW(komath::DetExact(std::vector<double>{1, 2, 3, 4, 5}, 2), std::invalid_argument);
  const std::vector<double> infinite{1, 2, INFINITY, 4};
  try {
    komath::DetSign(infinite, 2);
    ADD_FAILURE() << "no exception for an infinite entry";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "matrix entry (2, 1) is not finite");
  }
}

}  // namespace
