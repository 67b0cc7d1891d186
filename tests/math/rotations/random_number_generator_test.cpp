#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <random>
#include <sstream>

#include "RecordTestSupport.h"
#include "base/KbException.h"
#include "math/rotations/KoRandomNumberGenerator.h"

namespace {

using ko_test::Bytes;
using ko_test::Pack;
using Rng = KoRandomNumberGenerator;

// The state word whose tempered output is y.
std::uint32_t Untemper(std::uint32_t y) {
  y ^= y >> 18;
  y ^= (y << 15) & 0xEFC60000u;
  std::uint32_t t = y;
  for (int i = 0; i < 5; ++i) t = y ^ ((t << 7) & 0x9D2C5680u);
  return t ^ (t >> 11) ^ (t >> 22);
}

// A record whose next outputs are `first` and `second`.
Bytes RecordYielding(std::uint32_t first, std::uint32_t second, std::int64_t position = 0,
                     std::int32_t left = 624) {
  Bytes record = Pack(std::uint32_t{0}, std::int32_t{624}, Untemper(first), Untemper(second));
  record.resize(record.size() + 622 * 4, 0x5A);
  ko_test::Append(record, position, left);
  return record;
}

// std::mt19937 is required to give 4123659995 as the 10000th output of
// seed 5489: a million outputs each of five seeds against it.
TEST(RandomNumberGeneratorTest, SeedsFollowTheReferenceSequences) {
  for (std::uint32_t seed : {5489u, 0u, 0x80000000u, 0xFFFFFFFFu, 2718281828u}) {
    Rng ours(seed);
    std::mt19937 reference(seed);
    int mismatches = 0;
    for (int i = 0; i < 1000000; ++i) mismatches += ours.RandInt() != reference();
    EXPECT_EQ(mismatches, 0) << "seed " << seed;
  }
  const std::uint32_t key[] = {0x123, 0x234, 0x345, 0x456};
  Rng keyed(key, 4);
  for (std::uint32_t expected : {1067595299u, 955945823u, 477289528u, 4107218783u, 4228976476u,
                                 3344332714u, 3355579695u, 227628506u, 810200273u, 2591290167u}) {
    EXPECT_EQ(keyed.RandInt(), expected);
  }
  keyed.Seed(key, 4);  // reseeding a generator in use starts the sequence afresh
  EXPECT_EQ(keyed.RandInt(), 1067595299u);
  // A key longer than the state mixes max(624, length) rounds. The outputs
  // are numpy's: RandomState(key)._bit_generator.random_raw(3) seeds an
  // array by the same init_by_array.
  std::uint32_t longKey[700];
  for (std::uint32_t i = 0; i < 700; ++i) longKey[i] = i * 2654435761u + 12345u;
  Rng longKeyed(longKey, 700);
  for (std::uint32_t expected : {1635820964u, 1788933857u, 9490523u})
    EXPECT_EQ(longKeyed.RandInt(), expected);
  const std::uint32_t zero = 0;  // CPython's random.seed(0) is init_by_array of {0}
  EXPECT_EQ(Rng(&zero, 1).RandInt(), 3626764237u);
#ifdef NDEBUG
  EXPECT_EQ(Rng(nullptr, 0).RandInt(), 3626764237u);  // as the key {0}
#endif
}

// The clock seed by its recipe: the bytes of the time and of the tick count
// least significant first, each step h * 257 + byte, then (h1 + counter) ^ h2.
// Some seed of the seconds and ticks around the construction and of the
// counter values a test process can have reached must give its first word.
TEST(RandomNumberGeneratorTest, ClockSeedHashesTimeTicksAndTheCounter) {
  const std::int64_t t0 = std::time(nullptr);
  const auto c0 = static_cast<std::uint32_t>(std::clock());
  Rng earlier, rng;  // the second of two: its counter is not 0
  const auto c1 = static_cast<std::uint32_t>(std::clock());
  const std::int64_t t1 = std::time(nullptr);
  const std::uint32_t first = rng.RandInt();
  bool found = false;
  for (std::int64_t t = t0; t <= t1; ++t) {
    std::uint32_t h1 = 0;
    for (int i = 0; i < 8; ++i) h1 = h1 * 257 + std::uint8_t(std::uint64_t(t) >> (8 * i));
    for (std::uint32_t c = c0; c - c0 <= c1 - c0; ++c) {
      std::uint32_t h2 = 0;
      for (int i = 0; i < 4; ++i) h2 = h2 * 257 + std::uint8_t(c >> (8 * i));
      for (std::uint32_t counter = 0; counter < 16 && !found; ++counter)
        found = std::mt19937((h1 + counter) ^ h2)() == first;
    }
  }
  EXPECT_TRUE(found) << "ticks " << c0 << " to " << c1;
}

TEST(RandomNumberGeneratorTest, BoundedIntegersMaskAndRejectOneOutputPerTry) {
  Rng rng;  // mask 7: 0x17 ends in 111 and is rejected, 0x2E gives 6
  ko_test::Read(rng, RecordYielding(0x17, 0x2E));
  EXPECT_EQ(rng.RandInt(6), 6u);
  ko_test::Read(rng, RecordYielding(0x17, 0x2E));
  EXPECT_EQ(rng.RandInt(0), 0u);  // one draw, masked to 0
  EXPECT_EQ(rng.RandInt(), 0x2Eu);
  ko_test::Read(rng, RecordYielding(1000, 0x2E));
  EXPECT_EQ(rng.RandInt(999), 0x2Eu);  // mask 1023 rejects 1000
}

TEST(RandomNumberGeneratorTest, DoublesReachTheirEndsOnlyWhereDocumented) {
  Rng top;
  ko_test::Read(top, RecordYielding(0xFFFFFFFF, 0xFFFFFFFF));
  Rng copy = top, scaled = top;
  EXPECT_TRUE(top.Rand() == 1.0 && top.Rand(3.0) == 3.0);
  EXPECT_TRUE(copy.RandExc() == 1 - 0x1p-32 && copy.RandDblExc() == 1 - 0x1p-33);
  EXPECT_TRUE(scaled.RandExc(2.0) == 2 - 0x1p-31 && scaled.RandDblExc(4.0) == 4 - 0x1p-31);
  ko_test::Read(top, RecordYielding(0, 0));
  EXPECT_EQ(top.RandExc(), 0.0);

  Rng rng(2024);  // RandNorm: Box-Muller on exactly two outputs
  std::mt19937 reference(2024);
  for (int i = 0; i < 1000; ++i) {
    const double r = std::sqrt(-2.0 * std::log(1.0 - (reference() + 0.5) * 0x1p-32)) * 0.5;
    const double phi = reference() * 0x1p-32 * 6.283185307179586;
    ASSERT_EQ(rng.RandNorm(3.0, 0.5), std::cos(phi) * r + 3.0);
  }
}

// The state words after one draw must be those std::mt19937 prints.
TEST(RandomNumberGeneratorRecordTest, BytesMatchTheReferenceStateAndReadBackContinues) {
  Rng rng(4357);
  std::mt19937 reference(4357);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(rng.RandInt(), reference());
  std::stringstream text;
  text << reference;
  Bytes expected = Pack(std::uint32_t{0}, std::int32_t{624});
  for (int i = 0; i < 624; ++i) {
    std::uint32_t word;
    text >> word;
    ko_test::Append(expected, word);
  }
  ko_test::Append(expected, std::int64_t{5}, std::int32_t{619});
  EXPECT_EQ(ko_test::Write(rng), expected);

  Rng reader(1);
  ko_test::Read(reader, expected);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(reader.RandInt(), rng.RandInt()) << i;
}

TEST(RandomNumberGeneratorRecordTest, PositionsOutsideTheStateThrowAndLeaveTheGeneratorAsItWas) {
  Rng rng(8);
  const Bytes before = ko_test::Write(rng);
  const std::pair<std::int64_t, std::int32_t> bad[] = {
      {625, 0}, {-1, 624}, {0, 625}, {0, -1}, {1, 624}, {std::int64_t{1} << 32, 0}};
  for (auto [position, left] : bad)
    EXPECT_THROW(ko_test::Read(rng, RecordYielding(1, 2, position, left)), KbException);
  EXPECT_EQ(ko_test::Write(rng), before);
}

}  // namespace
