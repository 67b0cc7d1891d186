#include <gtest/gtest.h>

#include <cfenv>
#include <limits>

#include "RecordTestSupport.h"
#include "base/KbException.h"
#include "base/KbStreamBinaryMemory.h"
#include "math/numerics/ExactReference.h"

namespace {

using Components = std::vector<std::pair<double, std::int32_t>>;

Components ComponentsOf(const KoFloatExact& x) {
  Components list;
  for (std::uint32_t i = 0; i < x.GetComponentCount(); ++i)
    list.emplace_back(x.GetMantissa(i), x.GetExponent(i));
  return list;
}

KoFloatExact ReadNumber(const ko_test::Bytes& bytes) {
  KoFloatExact x;
  ko_test::Read(x, bytes);
  return x;
}

KoFloatExact Pow2(int exponent) {
  return KoFloatExact(std::ldexp(1.0, exponent));
}

TEST(KoFloatExact, CanonicalFormsOfOneZeroPowersTwoPartSumsAndCancellation) {
  EXPECT_TRUE(KoFloatExact().IsZero());
  EXPECT_EQ(ComponentsOf(KoFloatExact(1.0)), (Components{{0.5, 1}}));
  EXPECT_TRUE(KoFloatExact(1.0f).IsOne() && KoFloatExact(-1.0).IsMinusOne());

  const KoFloatExact big = Pow2(600) * Pow2(600);
  EXPECT_EQ(ComponentsOf(big), (Components{{0.5, 1201}}));
  double approximation = 0.0;
  EXPECT_TRUE(big.GetApproximation(approximation));
  EXPECT_EQ(approximation, std::numeric_limits<double>::infinity());
  const double below = (Pow2(-600) * -Pow2(-600)).GetApproximation();
  EXPECT_TRUE(below == 0.0 && std::signbit(below));
  EXPECT_EQ((KoFloatExact(0.75) * KoFloatExact(0x1p-1022)).GetApproximation(),
            0x1p-1023);  // field 0: the fraction kept

  // 2^53 + 1: the 1 sits exactly half an ulp below 2^53 and stays apart.
  const KoFloatExact twoParts = Pow2(53) + KoFloatExact(1.0);
  EXPECT_EQ(ComponentsOf(twoParts), (Components{{0.5, 1}, {0.5, 54}}));
  EXPECT_FALSE(KoFloatExact(1.0) == twoParts);  // its first component alone
  EXPECT_TRUE(!twoParts.GetApproximation(approximation) && approximation == std::ldexp(1.0, 53));

  const KoFloatExact a = twoParts * KoFloatExact(0.1);
  EXPECT_EQ(ComponentsOf(a + (-a)), (Components{{0.0, 0}}));
  EXPECT_EQ(ComponentsOf(a - a), (Components{{0.0, 0}}));
  EXPECT_TRUE((KoFloatExact() * a).IsZero() && KoFloatExact().Negate().IsZero());
}

TEST(KoFloatExact, FloatApproximationSubnormalInfinityNaNQuirksAndAssignment) {
  float f = 0.0f;
  EXPECT_TRUE(!KoFloatExact(0.1).GetApproximation(f) && f == 0.1f);
  EXPECT_TRUE(KoFloatExact(0.5).GetApproximation(f));
  EXPECT_FALSE((KoFloatExact(0.5) + KoFloatExact(1e-30)).GetApproximation(f));

  // A subnormal is read as if its hidden bit were set: not exact, on purpose.
  const double tiny = std::numeric_limits<double>::denorm_min();
  EXPECT_EQ(ComponentsOf(KoFloatExact(tiny)), (Components{{0.5 + 0x1p-53, -1022}}));
  const double inf = std::numeric_limits<double>::infinity();
  const KoFloatExact nan(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(ComponentsOf(KoFloatExact(-inf)), (Components{{-inf, 0}}));
  EXPECT_TRUE(KoFloatExact(-inf).GetApproximation() == -inf && nan.GetApproximation() == inf);
  // An infinity takes the units of each step as its exponent (here those of
  // 4 = (0.5, 3); the error term inf - inf is a NaN), records keep them, and
  // below exponent 0 the approximation leaves infinity: inf * 0.25 gives
  // the exponent field 2046, i.e. 2^1023.
  const KoFloatExact infSum = KoFloatExact(inf) + KoFloatExact(4.0);
  ASSERT_EQ(infSum.GetComponentCount(), 2u);
  EXPECT_TRUE(std::isnan(infSum.GetMantissa(0)) && infSum.GetMantissa(1) == inf);
  EXPECT_TRUE(infSum.GetExponent(0) == 3 && infSum.GetExponent(1) == 3);
  EXPECT_EQ(ko_test::Write(ReadNumber(ko_test::Write(infSum))), ko_test::Write(infSum));
  EXPECT_EQ((KoFloatExact(inf) * KoFloatExact(0.25)).GetApproximation(), 0x1p1023);
  EXPECT_TRUE(nan.IsPositive() && !nan.IsNegative() && nan != nan);
  EXPECT_FALSE(KoFloatExact().IsPositive() || KoFloatExact().IsNegative());

  KoFloatExact assigned = KoFloatExact(3.0) + KoFloatExact(1e-40);
  assigned = 2.0;
  EXPECT_EQ(ComponentsOf(assigned), (Components{{0.5, 2}}));
}

TEST(KoFloatExact, RecordBytesRoundTripNoComponentsAndRenormalisation) {
  const KoFloatExact x = Pow2(54) + KoFloatExact(-1.0);
  // Version 0, two components, each mantissa with its exponent.
  EXPECT_EQ(ko_test::Write(x), ko_test::Pack(0u, 2u, -0.5, 1, 0.5, 55));
  KoFloatExact target(7.0);
  // Versions and truncation are swept in tests/records; a zero count must throw.
  EXPECT_THROW(ko_test::Read(target, ko_test::Pack(0u, 0u)), KbException);
  EXPECT_EQ(ComponentsOf(target), (Components{{0.875, 3}}));

  // Hand-made pairs are renormalised: the stored exponent is added to the
  // mantissa's own (in 32-bit wrap-around), a zero mantissa drops its exponent.
  EXPECT_EQ(ComponentsOf(ReadNumber(ko_test::Pack(0u, 2u, 0.0, 9, -6.0, INT32_MAX))),
            (Components{{0.0, 0}, {-0.75, INT32_MIN + 2}}));
}

TEST(KoFloatExact, ArrayRecordMarkerLayoutOlderLayoutAndMarkerAsCount) {
  const KbArray<KoFloatExact> numbers{KoFloatExact(1.0), KoFloatExact(0.1) * KoFloatExact(0.1)};
  KbStreamWriteBinaryMemory written;
  KoWriteFloatExactArray(written, numbers);
  const std::vector<std::uint8_t>& bytes = written.GetBuffer();
  const auto header = ko_test::Pack(0xFFFFFFFFu, 1u, 2u, 56u);
  EXPECT_TRUE(std::equal(header.begin(), header.end(), bytes.begin()));

  KbArray<KoFloatExact> read, readOlder;
  KbStreamReadBinaryMemory current(bytes);
  KoReadFloatExactArray(current, read);
  EXPECT_EQ(read, numbers);
  KbStreamWriteBinaryMemory older;  // the older layout: the count first, no marker or version
  older.WriteUInt32(2), older.WriteUInt32(56);
  for (const KoFloatExact& f : numbers) f.Serialize(older);
  KbStreamReadBinaryMemory olderStream(older.GetBuffer());
  KoReadFloatExactArray(olderStream, readOlder);
  EXPECT_EQ(readOlder, numbers);
  std::vector<std::uint8_t> corrupt(bytes.begin(), bytes.begin() + 16);
  std::fill(corrupt.begin() + 8, corrupt.begin() + 12, 0xFF);
  KbStreamReadBinaryMemory markerCount(corrupt);
  EXPECT_THROW(KoReadFloatExactArray(markerCount, read), KbExceptionWrongFileVersion);
  EXPECT_EQ(read, numbers);
}

TEST(KoFloatExact, ArithmeticCheckPassesNearestEvenAndRejectsDirectedRounding) {
  EXPECT_NO_THROW(KoFloatExact::CheckArithmetic());
  const int mode = std::fegetround();
  for (int directed : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    std::fesetround(directed);
    EXPECT_THROW(KoFloatExact::CheckArithmetic(), KbException) << directed;
  }
  std::fesetround(mode);
}

// Random expansions of up to six doubles from the whole exponent range
// (clustered or spread up to 2^+-1000), against GMP: sums, differences and
// products exact, canonical (normalised, strictly increasing exponents), with
// the sign on the last component, and round-tripping through the record.
// Chains of products of values near 2^+-1000 reach 2^+-8000 exactly.
TEST(KoFloatExact, RandomSumsDifferencesProductsAcrossExponentRangeMatchGmp) {
  std::mt19937_64 rng(20240611);
  auto randomExpansion = [&](int terms) {
    KoFloatExact x;
    const int centre = int(rng() % 2001) - 1000;
    for (int t = 0; t < terms; ++t) {
      const int spread = rng() % 4 == 0 ? 1000 : 60;
      x = x + KoFloatExact(RandomDouble(rng, std::max(-1000, centre - spread),
                                        std::min(1000, centre + spread)));
    }
    return x;
  };
  auto expectCanonical = [](const KoFloatExact& x) {
    for (std::uint32_t i = 0; i < x.GetComponentCount() && !x.IsZero(); ++i) {
      ASSERT_TRUE(std::fabs(x.GetMantissa(i)) >= 0.5 && std::fabs(x.GetMantissa(i)) < 1.0);
      ASSERT_TRUE(i == 0 || x.GetExponent(i - 1) < x.GetExponent(i));
    }
    ASSERT_EQ(x.IsNegative(), sgn(ToRational(x)) < 0);
    ASSERT_EQ(ReadNumber(ko_test::Write(x)), x);
  };
  for (int trial = 0; trial < 3000; ++trial) {
    const KoFloatExact a = randomExpansion(1 + trial % 6), b = randomExpansion(1 + trial / 6 % 5);
    const KoFloatExact sum = a + b, difference = a - b, product = a * b;
    ASSERT_EQ(ToRational(sum), ToRational(a) + ToRational(b)) << trial;
    ASSERT_EQ(ToRational(difference), ToRational(a) - ToRational(b)) << trial;
    ASSERT_EQ(ToRational(product), ToRational(a) * ToRational(b)) << trial;
    for (const KoFloatExact* x : {&a, &b, &sum, &difference, &product}) expectCanonical(*x);
    if (HasFailure()) FAIL() << trial;
  }
  for (int trial = 0; trial < 50; ++trial) {
    KoFloatExact product(1.0);
    mpq_class reference = 1;
    for (int i = 0; i < 8; ++i) {
      const double factor =
          trial % 2 ? RandomDouble(rng, 990, 1000) : RandomDouble(rng, -1000, -990);
      product = product * KoFloatExact(factor);
      reference *= mpq_class(factor);
    }
    ASSERT_EQ(ToRational(product), reference);
  }
}

}  // namespace
