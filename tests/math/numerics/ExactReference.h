// Shared support of the numerics tests: GMP rationals, a Bareiss
// determinant, random matrices from raw generator bits (golden data must
// not depend on the standard library's distributions), argument checks.
#pragma once

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "math/KoMath.h"

// `call` must throw a KbException whose message names `argument`.
template <class Call>
void ExpectThrowNaming(Call call, const std::string& argument) {
  try {
    call();
    ADD_FAILURE() << "no exception for " << argument;
  } catch (const KbException& e) {
    EXPECT_NE(std::string(e.what()).find(argument), std::string::npos) << e.what();
  }
}

inline mpq_class ToRational(const KoFloatExact& number) {
  mpq_class sum = 0;
  for (std::uint32_t i = 0; i < number.GetComponentCount(); ++i) {
    mpq_class c(number.GetMantissa(i));
    const std::int32_t e = number.GetExponent(i);
    if (e >= 0) mpq_mul_2exp(c.get_mpq_t(), c.get_mpq_t(), e);
    if (e < 0) mpq_div_2exp(c.get_mpq_t(), c.get_mpq_t(), -e);
    sum += c;
  }
  return sum;
}

// Bareiss' fraction-free elimination with row swaps; every division is exact.
inline mpq_class BareissDeterminant(const std::vector<double>& values, unsigned int n) {
  std::vector<mpq_class> m(values.begin(), values.end());
  auto at = [&](unsigned int r, unsigned int c) -> mpq_class& { return m[r * n + c]; };
  mpq_class previous = 1, sign = 1;
  for (unsigned int k = 0; k + 1 < n; ++k) {
    unsigned int r = k;
    while (r < n && at(r, k) == 0) ++r;
    if (r == n) return 0;
    if (r != k) sign = -sign;
    for (unsigned int c = 0; c < n; ++c) std::swap(at(k, c), at(r, c));
    for (unsigned int i = k + 1; i < n; ++i)
      for (unsigned int j = k + 1; j < n; ++j)
        at(i, j) = (at(i, j) * at(k, k) - at(i, k) * at(k, j)) / previous;
    previous = at(k, k);
  }
  return n == 0 ? mpq_class(1) : mpq_class(sign * at(n - 1, n - 1));
}

// Random sign, 52 random fraction bits, binary exponent in [low, high].
inline double RandomDouble(std::mt19937_64& rng, int low, int high) {
  const std::uint64_t bits = rng();
  const auto field = static_cast<std::uint64_t>(low + 1023 + int(bits % (high - low + 1)));
  return std::bit_cast<double>((bits >> 63 << 63) | (field << 52) | (rng() >> 12));
}

enum class EMatrixKind {
  eIntegers,      // in [-3, 3]: equal pivots (+-p updates), zeros, row swaps
  eDoubles,       // full mantissas, exponents in [-20, 20]
  eWideDoubles,   // exponents in [-400, 400]: pivots far beyond double range
  eDuplicateRow,  // exactly singular
  eDependentRow,  // exactly singular: a row is the exact sum of two others
  eNearSingular,  // a duplicate row moved by one ulp in one entry
  eSparse,        // two thirds zeros: pivots found only after row swaps
};
inline constexpr EMatrixKind c_allKinds[] = {EMatrixKind::eIntegers,     EMatrixKind::eDoubles,
                                             EMatrixKind::eWideDoubles,  EMatrixKind::eDuplicateRow,
                                             EMatrixKind::eDependentRow, EMatrixKind::eNearSingular,
                                             EMatrixKind::eSparse};

inline double RandomEntry(std::mt19937_64& rng, EMatrixKind kind) {
  switch (kind) {
    case EMatrixKind::eIntegers:
      return double(int(rng() % 7) - 3);
    case EMatrixKind::eWideDoubles:
      return RandomDouble(rng, -400, 400);
    case EMatrixKind::eDependentRow:  // 2^-30 times integers below 2^40: sums stay exact
      return std::ldexp(double(std::int64_t(rng() % (1ULL << 41)) - (1LL << 40)), -30);
    case EMatrixKind::eSparse:
      return rng() % 3 == 0 ? RandomDouble(rng, -4, 4) : 0.0;
    default:
      return RandomDouble(rng, -20, 20);
  }
}

inline std::vector<double> RandomMatrix(std::mt19937_64& rng, unsigned int n, EMatrixKind kind) {
  std::vector<double> m(std::size_t(n) * n);
  for (double& v : m) v = RandomEntry(rng, kind);
  if (n < 3) return m;
  const unsigned int a = rng() % n, b = (a + 1) % n, c = (a + 2) % n;
  for (unsigned int j = 0; j < n; ++j) {
    if (kind == EMatrixKind::eDuplicateRow || kind == EMatrixKind::eNearSingular)
      m[b * n + j] = m[a * n + j];
    if (kind == EMatrixKind::eDependentRow) m[a * n + j] = m[b * n + j] + m[c * n + j];
  }
  if (kind == EMatrixKind::eNearSingular) {
    double& entry = m[b * n + rng() % n];
    entry = std::nextafter(entry, entry + 1.0);
  }
  return m;
}

// Multiplies column j by 2^shifts[j]: duplicates and one-ulp moves survive.
inline void ScaleColumns(std::vector<double>& values, const std::vector<int>& shifts) {
  for (std::size_t e = 0; e < values.size(); ++e)
    values[e] = std::ldexp(values[e], shifts[e % shifts.size()]);
}

// Sign-only mode on `values` against GMP on `reference`; returns the route.
inline KoMpMatrixToDeterminantExactSign::STrace ExpectExactSign(
    const std::vector<double>& values, const std::vector<double>& reference, unsigned int n) {
  std::int32_t sign = 7;
  KoMpMatrixToDeterminantExactSign::STrace trace;
  EXPECT_TRUE(KoMpMatrixToDeterminantExactSign::Compute(values.data(), n, sign, trace));
  EXPECT_EQ(sign, sgn(BareissDeterminant(reference, n)))
      << "order " << n << ::testing::PrintToString(values);
  return trace;
}

inline KoArray2D<double> MakeMatrix(const std::vector<double>& values) {
  const auto n = static_cast<unsigned int>(std::lround(std::sqrt(double(values.size()))));
  KoArray2D<double> matrix(n, n);
  std::copy(values.begin(), values.end(), matrix.GetData());
  return matrix;
}

// Every mode against GMP: the filter (when it decides) and the sign-only
// mode give the exact sign; the factors' quotient is the exact value, with
// positive denominators and the sign on the first numerator; the double
// carries the sign (its magnitude is only as good as the pivots' largest
// components). Wide entries may leave the double range: no double check.
inline void ExpectMatchesGmp(const std::vector<double>& values, EMatrixKind kind) {
  using Determinant = KoMpMatrixToDeterminantExactSign;
  const KoArray2D<double> matrix = MakeMatrix(values);
  const unsigned int n = matrix.GetWidth();
  const mpq_class reference = BareissDeterminant(values, n);
  const int referenceSign = sgn(reference);
  std::int32_t sign = 7;
  EXPECT_TRUE(!Determinant::TrySignInDoubles(values.data(), n, sign) || sign == referenceSign);
  ASSERT_TRUE(Determinant::Compute(matrix, sign));
  EXPECT_EQ(sign, referenceSign) << "sign only";

  KbArray<KoFloatExact> numerator, denominator;
  ASSERT_TRUE(Determinant::Compute(matrix, numerator, denominator, sign));
  EXPECT_EQ(sign, referenceSign) << "factors";
  mpq_class quotient = 1;
  for (const KoFloatExact& factor : numerator) quotient *= ToRational(factor);
  for (const KoFloatExact& factor : denominator) quotient /= ToRational(factor);
  EXPECT_EQ(quotient, reference);
  for (const KoFloatExact& factor : denominator) EXPECT_TRUE(factor.IsPositive());
  for (unsigned int i = 0; i < numerator.GetSize(); ++i)
    EXPECT_EQ(numerator[i].IsNegative(), i == 0 && referenceSign < 0) << i;
  if (kind == EMatrixKind::eWideDoubles) return;

  Determinant algorithm;
  double determinant = 0.0;
  algorithm.SetInput(matrix, determinant);
  ASSERT_TRUE(algorithm.Compute(0));
  EXPECT_EQ((determinant > 0.0) - (determinant < 0.0), referenceSign) << "double";
}
