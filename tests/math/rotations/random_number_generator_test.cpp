#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

#include "base/KbException.h"
#include "math/rotations/KoRandomNumberGenerator.h"
#include "math/rotations/RotationsTestSupport.h"

namespace {

using ko_test::Bytes;
using ko_test::Pack;
using Rng = KoRandomNumberGenerator;

// The state word whose tempered output is y (each tempering step undone).
std::uint32_t Untemper(std::uint32_t y) {
  y ^= y >> 18;
  y ^= (y << 15) & 0xEFC60000u;
  std::uint32_t t = y;
  for (int i = 0; i < 5; ++i) t = y ^ ((t << 7) & 0x9D2C5680u);
  return t ^ (t >> 11) ^ (t >> 22);
}

// A record whose next outputs are `first` and `second` (state words 0, 1).
Bytes RecordYielding(std::uint32_t first, std::uint32_t second) {
  Bytes record = Pack(std::uint32_t{0}, std::int32_t{624}, Untemper(first), Untemper(second));
  record.resize(record.size() + 622 * 4, 0x5A);
  const Bytes tail = Pack(std::int64_t{0}, std::int32_t{624});
  record.insert(record.end(), tail.begin(), tail.end());
  return record;
}

TEST(RandomNumberGeneratorTest, IntegerSeedsFollowTheReferenceSequence) {
  Rng rng(5489);
  EXPECT_EQ(rng.RandInt(), 3499211612u);
  EXPECT_EQ(rng.RandInt(), 581869302u);
  EXPECT_EQ(rng.RandInt(), 3890346734u);
  for (int i = 4; i < 10000; ++i) rng.RandInt();
  EXPECT_EQ(rng.RandInt(), 4123659995u);

  for (std::uint32_t seed : {0u, 1u, 5489u, 0x80000000u, 0xFFFFFFFFu, 2718281828u}) {
    Rng ours(seed);
    std::mt19937 reference(seed);
    int mismatches = 0;
    for (int i = 0; i < 1000000; ++i) mismatches += ours.RandInt() != reference();
    EXPECT_EQ(mismatches, 0) << "seed " << seed;
  }
}

TEST(RandomNumberGeneratorTest, KeyArraySeedFollowsTheReferenceSequence) {
  const std::uint32_t key[] = {0x123, 0x234, 0x345, 0x456};
  Rng rng(key, 4);
  for (std::uint32_t expected : {1067595299u, 955945823u, 477289528u, 4107218783u, 4228976476u,
                                 3344332714u, 3355579695u, 227628506u, 810200273u, 2591290167u}) {
    EXPECT_EQ(rng.RandInt(), expected);
  }
  // A key longer than the state takes the other loop bound; std::seed_seq
  // is a different algorithm, so the check is against a re-seeded copy.
  std::vector<std::uint32_t> longKey(700);
  for (std::uint32_t i = 0; i < 700; ++i) longKey[i] = i * 2654435761u;
  Rng a(longKey.data(), 700);
  Rng b(5);
  b.Seed(longKey.data(), 700);
  EXPECT_EQ(a.RandInt(), b.RandInt());
  Rng shorter(longKey.data(), 624);
  EXPECT_NE(Rng(longKey.data(), 700).RandInt(), shorter.RandInt());
}

TEST(RandomNumberGeneratorTest, BoundedIntegersMaskAndRejectOneOutputPerTry) {
  for (std::uint32_t n : {0u, 1u, 6u, 8u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    Rng rng(77);
    std::mt19937 reference(77);
    std::uint32_t mask = 0;
    while (mask < n) mask = mask * 2 + 1;
    for (int i = 0; i < 2000; ++i) {
      std::uint32_t expected;
      do {
        expected = static_cast<std::uint32_t>(reference()) & mask;
      } while (expected > n);
      ASSERT_EQ(rng.RandInt(n), expected) << "n = " << n << ", draw " << i;
    }
    EXPECT_EQ(rng.RandInt(), reference()) << "the same number of outputs consumed";
  }
  Rng sevens;  // mask 7: 0x17 ends in 111 and is rejected, 0x2E gives 6
  ko_test::Read(sevens, RecordYielding(0x17, 0x2E));
  EXPECT_EQ(sevens.RandInt(6), 6u);
}

TEST(RandomNumberGeneratorTest, DoubleFormsReachTheirEndsExactlyWhereDocumented) {
  Rng top;
  ko_test::Read(top, RecordYielding(0xFFFFFFFF, 0xFFFFFFFF));
  Rng copy = top;
  EXPECT_EQ(top.Rand(), 1.0);
  EXPECT_EQ(top.Rand(3.0), 3.0);
  EXPECT_LT(copy.RandExc(), 1.0);
  EXPECT_LT(copy.RandDblExc(), 1.0);

  Rng bottom;
  ko_test::Read(bottom, RecordYielding(0, 0));
  copy = bottom;
  EXPECT_EQ(bottom.Rand(), 0.0);
  EXPECT_EQ(bottom.RandExc(2.0), 0.0);
  EXPECT_EQ(copy.RandDblExc(), 0.5 * 0x1p-32);
  EXPECT_EQ(copy.RandDblExc(4.0), 2.0 * 0x1p-32);

  Rng rng(99);
  std::mt19937 reference(99);
  EXPECT_EQ(rng.Rand(), reference() * 2.3283064370807974e-10);
  EXPECT_EQ(rng.RandExc(0.5), reference() * 0x1p-32 * 0.5);
  EXPECT_EQ(rng.RandDblExc(), (reference() + 0.5) * 0x1p-32);
}

TEST(RandomNumberGeneratorTest, NormalDrawsConsumeTwoOutputsAndFollowBoxMuller) {
  Rng rng(2024);
  std::mt19937 reference(2024);
  for (int i = 0; i < 1000; ++i) {
    const double u = (reference() + 0.5) * 0x1p-32;
    const double r = std::sqrt(-2.0 * std::log(1.0 - u)) * 0.5;
    const double phi = reference() * 0x1p-32 * 6.283185307179586;
    ASSERT_EQ(rng.RandNorm(3.0, 0.5), std::cos(phi) * r + 3.0);
  }
  EXPECT_EQ(rng.RandInt(), reference());
}

TEST(RandomNumberGeneratorTest, CopiesAndClockSeedsAreIndependent) {
  Rng a(11);
  for (int i = 0; i < 700; ++i) a.RandInt();  // past the first reload
  Rng b = a;
  const std::uint32_t next = a.RandInt();
  for (int i = 0; i < 1000; ++i) a.RandInt();
  EXPECT_EQ(b.RandInt(), next);
  Rng moved = std::move(b);
  Rng reference(11);
  for (int i = 0; i < 701; ++i) reference.RandInt();
  EXPECT_EQ(moved.RandInt(), reference.RandInt());

  // Same second and most likely the same tick: the class-wide counter
  // still separates the two seeds.
  Rng first;
  Rng second;
  EXPECT_NE(first.RandInt(), second.RandInt());
}

// The state words must match those of std::mt19937 after one draw, whose
// text form lists the 624 words and its position.
TEST(RandomNumberGeneratorRecordTest, BytesHoldTheStateWordsPositionAndLeftCount) {
  Rng rng(4357);
  std::mt19937 reference(4357);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(rng.RandInt(), reference());
  std::stringstream text;
  text << reference;
  Bytes expected = Pack(std::uint32_t{0}, std::int32_t{624});
  for (int i = 0; i < 624; ++i) {
    std::uint32_t word;
    text >> word;
    const Bytes bytes = Pack(word);
    expected.insert(expected.end(), bytes.begin(), bytes.end());
  }
  const Bytes tail = Pack(std::int64_t{5}, std::int32_t{619});
  expected.insert(expected.end(), tail.begin(), tail.end());
  EXPECT_EQ(ko_test::Write(rng), expected);
}

TEST(RandomNumberGeneratorRecordTest, ReadBackContinuesTheWritersSequence) {
  Rng writer(31337);
  for (int i = 0; i < 600; ++i) writer.RandInt();
  Rng reader(1);
  ko_test::Read(reader, ko_test::Write(writer));
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(reader.RandInt(), writer.RandInt()) << i;

  // A record with fewer words left than the state holds reloads early.
  Bytes early = RecordYielding(42, 43);
  Bytes late = early;
  std::memcpy(&early[early.size() - 4], "\x01\x00\x00\x00", 4);                 // left 1
  std::memcpy(&late[late.size() - 12], "\x70\x02\x00\x00\x00\x00\x00\x00", 8);  // position 624
  std::memcpy(&late[late.size() - 4], "\x00\x00\x00\x00", 4);                   // left 0
  Rng shortRun;
  Rng reloaded;
  ko_test::Read(shortRun, early);
  ko_test::Read(reloaded, late);
  EXPECT_EQ(shortRun.RandInt(), 42u);
  for (int i = 0; i < 700; ++i) ASSERT_EQ(shortRun.RandInt(), reloaded.RandInt());
}

TEST(RandomNumberGeneratorRecordTest, BadRecordsThrowAndLeaveTheGeneratorAsItWas) {
  Rng rng(8);
  rng.RandInt();
  const Bytes before = ko_test::Write(rng);
  const Bytes good = RecordYielding(1, 2);
  auto patched = [&good](std::int64_t position, std::int32_t left) {
    Bytes bytes(good.begin(), good.end() - 12);
    const Bytes tail = Pack(position, left);
    bytes.insert(bytes.end(), tail.begin(), tail.end());
    return bytes;
  };
  for (auto [position, left] : {std::pair<std::int64_t, std::int32_t>{625, 0},
                                {-1, 624},
                                {0, 625},
                                {0, -1},
                                {1, 624},
                                {std::int64_t{1} << 32, 0}}) {
    EXPECT_THROW(ko_test::Read(rng, patched(position, left)), KbException);
    EXPECT_EQ(ko_test::Write(rng), before);
  }
  for (std::size_t length = 0; length < good.size(); length += 97) {
    EXPECT_THROW(ko_test::Read(rng, Bytes(good.begin(), good.begin() + length)), KbException);
  }
  EXPECT_THROW(ko_test::Read(rng, Bytes(good.begin(), good.end() - 1)), KbExceptionEndOfStream);
  Bytes version = good;
  version[0] = 1;
  EXPECT_THROW(ko_test::Read(rng, version), KbExceptionWrongFileVersion);
  EXPECT_EQ(ko_test::Write(rng), before);
  ko_test::Read(rng, patched(0, 624));
  EXPECT_EQ(rng.RandInt(), 1u);
}

}  // namespace
