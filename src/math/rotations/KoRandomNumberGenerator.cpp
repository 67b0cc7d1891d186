#include "math/rotations/KoRandomNumberGenerator.h"

#include <cassert>
#include <cmath>
#include <cstring>
#include <ctime>

#include <atomic>

#include "base/KbException.h"

namespace {

constexpr std::uint32_t c_offset = 397;  // the recurrence's middle word
constexpr std::uint32_t c_twist = 0x9908B0DFu;
constexpr double c_inclusive = 2.3283064370807974e-10;  // 1 / (2^32 - 1)
constexpr double c_exclusive = 2.3283064365386963e-10;  // 2^-32
constexpr double c_twoPi = 6.283185307179586;

// Incremented by every clock seeding of any generator. Relaxed atomic: the
// value only has to differ between seedings, not order anything.
std::atomic<std::uint32_t> s_clockSeedings{0};

constexpr std::uint32_t hiBit(std::uint32_t u) {
  return u & 0x80000000u;
}
constexpr std::uint32_t loBit(std::uint32_t u) {
  return u & 1u;
}
constexpr std::uint32_t loBits(std::uint32_t u) {
  return u & 0x7FFFFFFFu;
}
constexpr std::uint32_t mixBits(std::uint32_t u, std::uint32_t v) {
  return hiBit(u) | loBits(v);
}

// The twist constant enters when the low bit of s1 (not s0) is set; the mask
// 0 - loBit keeps the selection branch-free, as in the four-lane form.
constexpr std::uint32_t twist(std::uint32_t m, std::uint32_t s0, std::uint32_t s1) {
  return m ^ (mixBits(s0, s1) >> 1) ^ ((0u - loBit(s1)) & c_twist);
}

// Four words of the recurrence at once: state[i..i+3] from state[i..i+4]
// and m[0..3]. Reading s[4] before storing is what keeps the in-place pass
// equal to the word-by-word recurrence (s[4] is the next block's old word).
// GCC/Clang vector extensions: SSE2 on x86-64, NEON on ARM, no intrinsics.
using Lanes = std::uint32_t __attribute__((vector_size(16)));

Lanes load(const std::uint32_t* p) {
  Lanes v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

void twist4(std::uint32_t* s, const std::uint32_t* m) {
  const Lanes s0 = load(s);
  const Lanes s1 = load(s + 1);
  const Lanes mixed = (s0 & 0x80000000u) | (s1 & 0x7FFFFFFFu);
  const Lanes result = load(m) ^ (mixed >> 1) ^ ((0u - (s1 & 1u)) & c_twist);
  std::memcpy(s, &result, sizeof result);
}

}  // namespace

KoRandomNumberGenerator::KoRandomNumberGenerator() {
  Seed();
}

KoRandomNumberGenerator::KoRandomNumberGenerator(std::uint32_t seed) {
  Seed(seed);
}

KoRandomNumberGenerator::KoRandomNumberGenerator(const std::uint32_t* key, std::uint32_t length) {
  Seed(key, length);
}

void KoRandomNumberGenerator::Seed(std::uint32_t seed) {
  initialize(seed);
  reload();
}

void KoRandomNumberGenerator::Seed(const std::uint32_t* key, std::uint32_t length) {
  assert(length >= 1 && "key-array seeding needs at least one key word");
  // A release build seeds an empty key as the single word 0 instead of
  // reading past it.
  static constexpr std::uint32_t c_emptyKey = 0;
  if (length == 0) {
    key = &c_emptyKey;
    length = 1;
  }
  initialize(19650218u);
  std::uint32_t i = 1;
  std::uint32_t j = 0;
  for (std::uint32_t k = c_uiStateSize > length ? c_uiStateSize : length; k != 0; --k) {
    m_state[i] = (m_state[i] ^ ((m_state[i - 1] ^ (m_state[i - 1] >> 30)) * 1664525u)) + key[j] + j;
    if (++i >= c_uiStateSize) {
      m_state[0] = m_state[c_uiStateSize - 1];
      i = 1;
    }
    if (++j >= length) j = 0;
  }
  for (std::uint32_t k = c_uiStateSize - 1; k != 0; --k) {
    m_state[i] = (m_state[i] ^ ((m_state[i - 1] ^ (m_state[i - 1] >> 30)) * 1566083941u)) - i;
    if (++i >= c_uiStateSize) {
      m_state[0] = m_state[c_uiStateSize - 1];
      i = 1;
    }
  }
  m_state[0] = 0x80000000u;  // a non-zero state whatever the key
  reload();
}

void KoRandomNumberGenerator::Seed() {
  const std::int64_t time = static_cast<std::int64_t>(std::time(nullptr));
  const auto clock = static_cast<std::uint32_t>(std::clock());
  initialize(hash(time, clock));
  reload();
}

double KoRandomNumberGenerator::Rand() {
  return RandInt() * c_inclusive;
}

double KoRandomNumberGenerator::Rand(double n) {
  return RandInt() * c_inclusive * n;
}

double KoRandomNumberGenerator::RandExc() {
  return RandInt() * c_exclusive;
}

double KoRandomNumberGenerator::RandExc(double n) {
  return RandInt() * c_exclusive * n;
}

double KoRandomNumberGenerator::RandDblExc() {
  return (RandInt() + 0.5) * c_exclusive;
}

double KoRandomNumberGenerator::RandDblExc(double n) {
  return (RandInt() + 0.5) * c_exclusive * n;
}

double KoRandomNumberGenerator::RandNorm(double mean, double stddev) {
  const double u = (RandInt() + 0.5) * c_exclusive;
  const double r = std::sqrt(-2.0 * std::log(1.0 - u)) * stddev;
  const double phi = RandInt() * c_exclusive * c_twoPi;
  return std::cos(phi) * r + mean;
}

void KoRandomNumberGenerator::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(0);
  stream.WriteInt32(static_cast<std::int32_t>(c_uiStateSize));
  for (std::uint32_t word : m_state) stream.WriteUInt32(word);
  stream.WriteInt64(m_next);
  stream.WriteInt32(static_cast<std::int32_t>(m_end - m_next));
}

void KoRandomNumberGenerator::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(0);
  stream.ReadInt32();  // the state length: always 624 for this generator
  std::uint32_t state[c_uiStateSize];
  for (std::uint32_t& word : state) word = stream.ReadUInt32();
  const std::int64_t position = stream.ReadInt64();
  const std::int32_t left = stream.ReadInt32();
  // Every record this class writes has position + left == 624; a smaller sum
  // merely reloads early, a larger one would hand out words past the state.
  if (position < 0 || position > c_uiStateSize || left < 0 ||
      left > static_cast<std::int32_t>(c_uiStateSize) || position + left > c_uiStateSize) {
    throw KbException("KoRandomNumberGenerator: position or left count outside the state");
  }
  std::memcpy(m_state, state, sizeof m_state);
  m_next = static_cast<std::uint32_t>(position);
  m_end = static_cast<std::uint32_t>(position + left);
}

void KoRandomNumberGenerator::initialize(std::uint32_t seed) {
  m_state[0] = seed;
  for (std::uint32_t i = 1; i < c_uiStateSize; ++i) {
    m_state[i] = 1812433253u * (m_state[i - 1] ^ (m_state[i - 1] >> 30)) + i;
  }
}

void KoRandomNumberGenerator::reload() {
  constexpr std::uint32_t lag = c_uiStateSize - c_offset;  // 227
  std::uint32_t* s = m_state;
  // Words 0..226 take their m from the old words 397..623, which this pass
  // has not reached yet; words 227..622 take it from the new words 0..395,
  // at least 227 words behind, so four-word blocks never overlap a source.
  std::uint32_t i = 0;
  for (; i + 4 <= lag; i += 4) twist4(s + i, s + i + c_offset);
  for (; i < lag; ++i) s[i] = twist(s[i + c_offset], s[i], s[i + 1]);
  for (; i + 4 <= c_uiStateSize - 1; i += 4) twist4(s + i, s + i - lag);
  for (; i < c_uiStateSize - 1; ++i) s[i] = twist(s[i - lag], s[i], s[i + 1]);
  s[c_uiStateSize - 1] = twist(s[c_offset - 1], s[c_uiStateSize - 1], s[0]);
  m_next = 0;
  m_end = c_uiStateSize;
}

std::uint32_t KoRandomNumberGenerator::hash(std::int64_t time, std::uint32_t clock) {
  const auto t = static_cast<std::uint64_t>(time);
  std::uint32_t h1 = 0;
  for (unsigned int i = 0; i < 8; ++i) h1 = h1 * 257u + static_cast<std::uint8_t>(t >> (8 * i));
  std::uint32_t h2 = 0;
  for (unsigned int i = 0; i < 4; ++i) h2 = h2 * 257u + static_cast<std::uint8_t>(clock >> (8 * i));
  return (h1 + s_clockSeedings.fetch_add(1, std::memory_order_relaxed)) ^ h2;
}
