// KoFloatExact: an exact number, closed under +, -, negation and *.
//
// The number is an expansion in the sense of Shewchuk, "Adaptive Precision
// Floating-Point Arithmetic and Fast Robust Geometric Predicates" (Discrete &
// Computational Geometry 18, 1997): a sum of non-overlapping floating-point
// components, built with Knuth's Two-Sum, Dekker's Fast-Two-Sum and Dekker's
// Two-Product on Veltkamp's split, with zero elimination. Unlike Shewchuk's
// doubles, every component keeps its binary exponent in an integer of its own
// (value = mantissa * 2^exponent, mantissa 0.0 or of magnitude in [0.5, 1)),
// so components never overflow or underflow: 2^600 * 2^600 is exactly the
// one component (0.5, 1201).
//
// Canonical form. Components are stored in increasing order of magnitude;
// the last one is the largest and carries the sign of the whole number. No
// component is zero except the single component (0.0, 0) of the number zero.
// One is (0.5, 1), minus one (-0.5, 1). The arithmetic always produces this
// form, so equal values built the same way have equal component lists.
//
// Deliberate quirks of the conversion from double (kept for compatibility of
// stored records, see Normalize in the .cpp):
//   - a subnormal double is read as if its hidden bit were set, i.e. as
//     (1.fraction) * 2^-1022; subnormal inputs are therefore NOT exact;
//   - an infinity or NaN becomes a component (d, 0) and propagates through
//     the arithmetic without any check. Its mantissa is never rescaled, but
//     each arithmetic step adds its units to the exponent like for any other
//     component, and the approximation follows the component rule below:
//     (+-inf or NaN, e >= 0) approximates to a signed infinity, while a
//     negative e (an infinity times 0.25, say) yields a finite number or a
//     signed zero.
//
// Storage: up to two components live inside the object (no heap allocation,
// which covers every number made from one double and most two-term sums);
// longer expansions move to a heap array that grows by doubling and never
// shrinks during arithmetic.
//
// Record (version 0): WriteVersion(0), u32 component count, then per
// component the mantissa (double) and the exponent (i32). The reader
// renormalises every pair, so hand-made records with unnormalised mantissas
// are accepted.
#pragma once

#include <cstdint>

#include "base/ISerializable.h"
#include "base/KbArray.h"
#include "math/KoMathExport.h"

#if defined(__FAST_MATH__)
#error "KoFloatExact needs strict IEEE arithmetic; do not compile it with -ffast-math."
#endif

class KOMATH_API KoFloatExact : public ISerializable {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  // The number zero.
  KoFloatExact();
  // Exact for every finite normal value (see the quirks above).
  KoFloatExact(float value);
  KoFloatExact(double value);
  KoFloatExact(const KoFloatExact& other);
  // Leaves `other` with no components: it may only be destroyed or assigned.
  KoFloatExact(KoFloatExact&& other) noexcept;
  ~KoFloatExact() override;

  // Reuses this object's storage when it is large enough, otherwise
  // allocates exactly the source's component count.
  KoFloatExact& operator=(const KoFloatExact& other);
  KoFloatExact& operator=(KoFloatExact&& other) noexcept;
  // The number becomes exactly one component; storage is kept.
  KoFloatExact& operator=(const double& value);

  // Exact results; neither operand changes, and an operand may alias the
  // other (a * a, a - a).
  KoFloatExact operator+(const KoFloatExact& other) const;
  KoFloatExact operator-(const KoFloatExact& other) const;  // this + (-other)
  KoFloatExact operator-() const;
  KoFloatExact operator*(const KoFloatExact& other) const;

  // Multiplies every mantissa by -1 in place (zero becomes (-0.0, 0), which
  // still IsZero and compares equal to zero).
  KoFloatExact& Negate();

  // Representation equality: the same component list, compared mantissa by
  // mantissa with double == (so a NaN never compares equal). Two different
  // lists of equal value compare unequal; the canonical form makes that rare.
  bool operator==(const KoFloatExact& other) const;
  bool operator!=(const KoFloatExact& other) const { return !(*this == other); }

  bool IsZero() const;
  bool IsOne() const;
  bool IsMinusOne() const;
  // Sign of the largest component. A NaN counts as positive, not negative.
  bool IsNegative() const;
  bool IsPositive() const;

  // The largest component as a double: a signed zero below the double
  // range, a signed infinity above it. Not rounded to nearest: the other
  // components are ignored.
  double GetApproximation() const;
  // Writes GetApproximation(); true when the number has one component, i.e.
  // the value written is exact.
  bool GetApproximation(double& value) const;
  // Writes the approximation narrowed to float; true only when the number
  // has one component and the float equals it exactly.
  bool GetApproximation(float& value) const;

  // Read access to the expansion, smallest component first: component i is
  // GetMantissa(i) * 2^GetExponent(i).
  std::uint32_t GetComponentCount() const { return m_uiCount; }
  double GetMantissa(std::uint32_t index) const { return m_pComponents[index].mantissa; }
  std::int32_t GetExponent(std::uint32_t index) const { return m_pComponents[index].exponent; }
  // Components that fit before the storage has to grow (2 while inline).
  std::uint32_t GetCapacity() const { return m_uiCapacity; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  // Throws KbExceptionWrongFileVersion for another version, KbException for
  // a record without components; the number is unchanged when it throws.
  void Serialize(KbStreamReadBinary& stream) override;

  // Shewchuk's check of the arithmetic environment, run once at load:
  // derives the splitter 2^27 + 1 from the machine epsilon, checks rounding
  // to nearest with ties to even and that the splitter normalises to
  // exponent 28. Throws KbException when any of this fails (for example
  // under x87 extended precision or a directed rounding mode), because the
  // error-free transformations would then silently lose exactness.
  static void CheckArithmetic();

 private:
  // One component: mantissa 0.0 or of magnitude in [0.5, 1) (or an
  // infinity/NaN with exponent 0), value mantissa * 2^exponent.
  struct CNormalizedFloat {
    double mantissa;
    std::int32_t exponent;
  };
  // The expansion kernels (merge, Two-Sum, scale-expansion); .cpp only.
  class CArithmetic;

  explicit KoFloatExact(const CNormalizedFloat& component);
  KoFloatExact& operator=(const CNormalizedFloat& component);

  const CNormalizedFloat& largest() const { return m_pComponents[m_uiCount - 1]; }
  bool isSingle(double mantissa, std::int32_t exponent) const;
  // A number with no components yet, for the kernels to append to.
  static KoFloatExact empty();
  // Appends one component, doubling the storage when it is full.
  void append(const CNormalizedFloat& component);
  void appendNonZero(const CNormalizedFloat& component);
  // Appends the running sum of a kernel as the largest component.
  void finish(const CNormalizedFloat& sum);
  // Frees a heap array and returns to the empty inline storage.
  void releaseHeap();
  void takeFrom(KoFloatExact& other) noexcept;

  static constexpr std::uint32_t c_uiInlineCapacity = 2;

  // Every constructor starts from empty inline storage.
  std::uint32_t m_uiCount = 0;
  std::uint32_t m_uiCapacity = c_uiInlineCapacity;
  CNormalizedFloat* m_pComponents = m_inline;
  CNormalizedFloat m_inline[c_uiInlineCapacity] = {};
};

// The array record of exact numbers: u32 marker 0xFFFFFFFF, version 1, u32
// count, u32 element size (always written as 56, the historical in-memory
// size of a number; readers ignore it), then each number's own record.
KOMATH_API void KoWriteFloatExactArray(KbStreamWriteBinary& stream,
                                       const KbArray<KoFloatExact>& numbers);
// Accepts the current layout and the older one that starts with the count.
// Leaves `numbers` unchanged when the record is bad (wrong version, a count
// equal to the marker, truncated).
KOMATH_API void KoReadFloatExactArray(KbStreamReadBinary& stream, KbArray<KoFloatExact>& numbers);
