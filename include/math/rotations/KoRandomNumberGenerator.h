// KoRandomNumberGenerator: 32-bit integers and doubles from MT19937.
//
// The core is the 32-bit Mersenne Twister of M. Matsumoto and T. Nishimura,
// "Mersenne Twister: A 623-Dimensionally Equidistributed Uniform Pseudo-
// Random Number Generator" (ACM TOMACS 8(1), 1998): 624 state words,
// recurrence offset 397, twist constant 0x9908B0DF and the standard
// tempering. Integer and key-array seeding give exactly the published
// reference sequences (and the sequence of std::mt19937 for an integer seed).
//
//   KoRandomNumberGenerator rng(5489);
//   std::uint32_t word = rng.RandInt();   // 3499211612
//   double u = rng.RandExc();             // in [0, 1)
//
// A generator is a value: copies and moves continue the sequence of the
// source independently. Not thread-safe; give each thread its own.
#pragma once

#include <cstdint>

#include "base/KbStreamBinary.h"
#include "math/KoMathExport.h"

class KOMATH_API KoRandomNumberGenerator {
 public:
  static constexpr std::uint32_t c_uiStateSize = 624;

  // Seeds from the clock (Seed()).
  KoRandomNumberGenerator();
  explicit KoRandomNumberGenerator(std::uint32_t seed);
  // Key-array seeding; `key` holds `length` >= 1 words (not kept).
  KoRandomNumberGenerator(const std::uint32_t* key, std::uint32_t length);

  KoRandomNumberGenerator(const KoRandomNumberGenerator&) = default;
  KoRandomNumberGenerator(KoRandomNumberGenerator&&) = default;
  KoRandomNumberGenerator& operator=(const KoRandomNumberGenerator&) = default;
  KoRandomNumberGenerator& operator=(KoRandomNumberGenerator&&) = default;

  // The integer seeding of MT19937 (init_genrand).
  void Seed(std::uint32_t seed);
  // The key-array seeding of MT19937 (init_by_array). Precondition:
  // length >= 1 (checked only by a debug assertion; the algorithm reads
  // key[0] whatever the length).
  void Seed(const std::uint32_t* key, std::uint32_t length);
  // Seeds from a hash of the calendar time (seconds) and the processor tick
  // count, plus a class-wide counter that grows by one per clock seeding, so
  // generators seeded within the same tick still differ.
  void Seed();

  // The next 32-bit output. Integer operations only: inline, and its result
  // cannot depend on the caller's compiler flags.
  std::uint32_t RandInt() {
    if (m_next >= m_end) reload();
    std::uint32_t y = m_state[m_next++];
    y ^= y >> 11;
    y ^= (y << 7) & 0x9D2C5680u;
    y ^= (y << 15) & 0xEFC60000u;
    return y ^ (y >> 18);
  }

  // Uniform in [0, n], both ends included: outputs masked to the bit width
  // of n, rejecting those above n (each try consumes one output, so n = 6
  // rejects 7). RandInt(0) consumes one output and returns 0.
  std::uint32_t RandInt(std::uint32_t n) {
    std::uint32_t mask = n;
    mask |= mask >> 1;
    mask |= mask >> 2;
    mask |= mask >> 4;
    mask |= mask >> 8;
    mask |= mask >> 16;
    std::uint32_t y;
    do {
      y = RandInt() & mask;
    } while (y > n);
    return y;
  }

  // RandInt() / (2^32 - 1): in [0, 1]; 0xFFFFFFFF gives exactly 1.0.
  double Rand();
  // Rand() * n: in [0, n].
  double Rand(double n);
  // RandInt() * 2^-32: in [0, 1), never 1.
  double RandExc();
  // RandExc() * n: in [0, n).
  double RandExc(double n);
  // (RandInt() + 0.5) * 2^-32: in (0, 1), never 0 or 1.
  double RandDblExc();
  // RandDblExc() * n: in (0, n).
  double RandDblExc(double n);

  // One normal deviate by Box and Muller's transform, consuming exactly two
  // outputs: r = sqrt(-2 ln(1 - u1)) * stddev with u1 from RandDblExc, then
  // cos(2 pi u2) * r + mean with u2 from RandExc. The sine partner is
  // dropped, so every call starts afresh.
  double RandNorm(double mean, double stddev);

  // Record, version 0: u32 version, int32 624, 624 u32 state words, int64
  // position of the next word, int32 words left before the next reload. A
  // record read back continues the writer's sequence exactly.
  void Serialize(KbStreamWriteBinary& stream) const;
  // Reads into temporaries and commits only a complete, consistent record:
  // a position or left count outside 0...624, or a position and left count
  // that together reach past the state, throw KbException; a truncated
  // record throws KbExceptionEndOfStream. Either way the generator is left
  // as it was.
  void Serialize(KbStreamReadBinary& stream);

 private:
  // init_genrand: state[i] = 1812433253 (state[i-1] ^ (state[i-1] >> 30)) + i.
  void initialize(std::uint32_t seed);
  // Regenerates all 624 words in one pass and restarts at word 0.
  void reload();
  static std::uint32_t hash(std::int64_t time, std::uint32_t clock);

  // Invariant: m_next <= m_end <= c_uiStateSize. Words [m_next, m_end) are
  // still to be handed out; m_end is c_uiStateSize except after reading a
  // record whose position and left count do not add up to it.
  std::uint32_t m_state[c_uiStateSize];
  std::uint32_t m_next = 0;
  std::uint32_t m_end = 0;
};
