// KbRounded: pins one intermediate result of inline header arithmetic to
// its type, so that the host's compiler flags cannot change the bits.
//
// The library is compiled with -ffp-contract=off, but arithmetic defined
// inline in a public header is compiled with the host's flags. A host built
// with -O2 -march=haswell (or any -ffp-contract=fast default) fuses
// `a * b + c` into one fused multiply-add, which skips the rounding of the
// product: KbVector3f::Dot would then give different bits in the host than
// in the library. Wrapping each product that feeds an addition in
// KbRounded(...) forbids that fusion: the empty assembly statement claims to
// read and rewrite the value in a register, so the compiler must first
// produce the product rounded to T and cannot see that the addition's
// operand is a product any more. The statement emits no instruction.
//
// Only multiplications that feed an addition or subtraction need it; a
// single operation is rounded once under any flags. At compile time
// (constant evaluation) nothing is fused, and the value passes unchanged.
//
// For g++ and clang (the supported compilers): a register operand on x86
// with SSE and on ARM, a memory operand on other targets (slower, equally
// exact). Chosen over moving the operations out of line because it keeps
// them inline at no measurable cost (bench/vector_bench.cpp).
#pragma once

#include <type_traits>

namespace kb_detail {

// The empty statement itself: `value` (a float, a double or a 16-byte
// vector, one register in each case) is claimed to be read and rewritten.
template <class T>
inline void KbRegisterBarrier(T& value) {
#if defined(__GNUC__) && (defined(__x86_64__) || (defined(__i386__) && defined(__SSE2__)))
  asm("" : "+x"(value));
#elif defined(__GNUC__) && (defined(__aarch64__) || defined(__ARM_NEON))
  asm("" : "+w"(value));
#elif defined(__GNUC__)
  asm("" : "+m"(value));
#endif
}

template <class T>
constexpr T KbRounded(T value) {
  static_assert(std::is_floating_point_v<T>);
  if (std::is_constant_evaluated()) return value;
  KbRegisterBarrier(value);
  return value;
}

// The same barrier for a whole 16-byte vector of the compilers' vector
// extension (four floats or two doubles: one SSE or NEON register), so that
// lane-wise products stay rounded without taking the vector apart.
template <class V>
V KbRoundedLanes(V value) {
  static_assert(sizeof(V) == 16, "one 16-byte vector register");
  KbRegisterBarrier(value);
  return value;
}

}  // namespace kb_detail
