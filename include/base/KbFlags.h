// KbFlags<E>: a set of option bits named by the values of an enumeration.
// Each enumerator is a bit mask (1, 2, 4, ...); the set starts empty.
#pragma once

#include <cstdint>
#include <type_traits>

#include "base/KbExport.h"

template <class E>
class KOBASE_API KbFlags {
 public:
  using Bits = std::uint32_t;

  constexpr KbFlags() = default;
  constexpr explicit KbFlags(Bits bits) : m_bits(bits) {}

  // True when every bit of `flag` is set.
  constexpr bool IsSet(E flag) const { return (m_bits & Mask(flag)) == Mask(flag); }
  constexpr void Set(E flag, bool on = true) {
    m_bits = on ? (m_bits | Mask(flag)) : (m_bits & ~Mask(flag));
  }
  constexpr void Clear(E flag) { m_bits &= ~Mask(flag); }
  constexpr Bits GetBits() const { return m_bits; }
  constexpr void SetBits(Bits bits) { m_bits = bits; }
  constexpr bool operator==(const KbFlags&) const = default;

 private:
  static constexpr Bits Mask(E flag) { return static_cast<Bits>(flag); }
  Bits m_bits = 0;
};
