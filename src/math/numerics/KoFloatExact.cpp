#include "math/numerics/KoFloatExact.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "base/KbArrayRecord.h"
#include "base/KbException.h"

#if defined(__FAST_MATH__)
#error "The exact arithmetic relies on strict IEEE rounding; do not compile it with -ffast-math."
#endif

namespace {

// IEEE double layout: 52 fraction bits, an 11-bit biased exponent field.
constexpr int c_iFractionBits = 52;
constexpr std::uint64_t c_uiExponentMask = 0x7FF0000000000000ULL;
constexpr std::int32_t c_iFieldInfNaN = 2047;  // infinity or NaN
constexpr std::int32_t c_iFieldMaxFinite = 2046;
// The field of a mantissa in [0.5, 1): 2^-1 has biased exponent 1022.
constexpr std::int32_t c_iFieldHalf = 1022;

// Veltkamp's splitter for 53-bit doubles, 2^27 + 1. CheckArithmetic derives
// it from the machine at load and refuses to run when the two disagree.
constexpr double c_dSplitter = 134217729.0;
constexpr std::int32_t c_iSplitterExponent = 28;

// Pass-through bounds of a summation step, in exponent differences
// d = e(running sum) - e(new component). Beyond them the smaller operand
// lies strictly below half an ulp of the larger one, so the rounded sum is
// the larger operand and the error term the smaller one: passing them
// through unchanged is exactly what Two-Sum would compute, without
// rescaling either exponent field out of range. Inside them the rescaled
// operand stays within 2^-55 .. 2^108 and Two-Sum is exact.
constexpr std::int32_t c_iPassLargerSum = 107;   // d above: the sum stays
constexpr std::int32_t c_iPassSmallerSum = -54;  // d below: the sum passes
// The first step uses Fast-Two-Sum on merge-ordered operands (d <= 0).
constexpr std::int32_t c_iPassFirstStep = -53;

// Element size written into array records of exact numbers.
constexpr std::uint32_t c_uiArrayElementSize = 56;
// Smallest number record: version and a count (components checked later).
constexpr std::uint64_t c_uiMinimumNumberRecord = 8;
constexpr std::uint64_t c_uiComponentRecordSize = 12;  // double + i32

constexpr std::uint32_t c_uiRecordVersion = 0;

std::int32_t ExponentField(double value) {
  return static_cast<std::int32_t>((std::bit_cast<std::uint64_t>(value) & c_uiExponentMask) >>
                                   c_iFractionBits);
}

double WithExponentField(double value, std::int32_t field) {
  const std::uint64_t bits = std::bit_cast<std::uint64_t>(value) & ~c_uiExponentMask;
  return std::bit_cast<double>(bits | (static_cast<std::uint64_t>(field) << c_iFractionBits));
}

// Sum of two component exponents. Exponents only leave the 32-bit range
// for absurd numbers (about 22 squarings of 2^600) or corrupt records; the
// sum then wraps as 32-bit integers instead of overflowing.
std::int32_t AddExponents(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(std::int64_t{a} + b);
}

}  // namespace

class KoFloatExact::CArithmetic {
 public:
  using Component = CNormalizedFloat;

  static constexpr Component c_zero{0.0, 0};

  // Splits a double into a mantissa in [0.5, 1) and an exponent, and adds
  // `units` (the exponent of the scale the double was computed in). The bit
  // pattern keeps sign and fraction and gets the exponent field of 0.5.
  // Subnormals take the same path on purpose: their fraction is read as if
  // the hidden bit were set. An infinity or NaN keeps its bit pattern and
  // normalises to exponent 0, so it ends up with exponent `units`: a sum or
  // product involving one carries the units of its step, like any other
  // component, and a record holding one reads back as written.
  static Component Normalize(double value, std::int32_t units = 0) {
    if (value == 0.0) return c_zero;
    const std::int32_t field = ExponentField(value);
    if (field == c_iFieldInfNaN) return {value, units};
    return {WithExponentField(value, c_iFieldHalf), AddExponents(field - c_iFieldHalf, units)};
  }

  // The component's mantissa times 2^shift, done on the exponent field.
  // Callers keep the shifted field inside the normal range; an infinity or
  // NaN keeps its field of 2047.
  static double Rescaled(const Component& c, std::int32_t shift) {
    if (ExponentField(c.mantissa) == c_iFieldInfNaN) return c.mantissa;
    const std::uint64_t delta = static_cast<std::uint64_t>(static_cast<std::int64_t>(shift))
                                << c_iFractionBits;
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(c.mantissa) + delta);
  }

  static double AsDouble(const Component& c) {
    const std::int64_t field = std::int64_t{ExponentField(c.mantissa)} + c.exponent;
    if (field < 0) return std::copysign(0.0, c.mantissa);
    if (field > c_iFieldMaxFinite)
      return std::copysign(std::numeric_limits<double>::infinity(), c.mantissa);
    return WithExponentField(c.mantissa, static_cast<std::int32_t>(field));
  }

  // One step of Shewchuk's Grow-Expansion with a running sum q: afterwards
  // q + (returned error) == q_before + g exactly. Zero operands and
  // operands too far apart to overlap are passed through; otherwise q is
  // expressed in the units of g and Knuth's Two-Sum runs on the mantissas.
  static Component AddToSum(Component& q, const Component& g) {
    if (g.mantissa == 0.0) return c_zero;
    if (q.mantissa == 0.0) {
      q = g;
      return c_zero;
    }
    // In 64 bits: the difference of two 32-bit exponents may not fit 32.
    const std::int64_t d = std::int64_t{q.exponent} - g.exponent;
    if (d > c_iPassLargerSum) return g;
    if (d < c_iPassSmallerSum) return std::exchange(q, g);
    const double a = g.mantissa;
    const double b = Rescaled(q, static_cast<std::int32_t>(d));
    const double x = a + b;
    const double bVirtual = x - a;
    const double aVirtual = x - bVirtual;
    const double error = (a - aVirtual) + (b - bVirtual);
    q = Normalize(x, g.exponent);
    return Normalize(error, g.exponent);
  }

  // The first step of an addition: g0 is not larger than g1 (merge order),
  // so Dekker's Fast-Two-Sum in the units of g1 suffices.
  static Component FirstSum(Component& q, const Component& g0, const Component& g1) {
    if (g0.mantissa == 0.0) {
      q = g1;
      return c_zero;
    }
    const std::int64_t d = std::int64_t{g0.exponent} - g1.exponent;
    if (d < c_iPassFirstStep) {
      q = g1;
      return g0;
    }
    const double a = g1.mantissa;
    const double b = Rescaled(g0, static_cast<std::int32_t>(d));
    const double x = a + b;
    const double error = b - (x - a);
    q = Normalize(x, g1.exponent);
    return Normalize(error, g1.exponent);
  }

  // Dekker's Two-Product: high + low == a * b exactly, with both factors
  // split into 26-bit halves by Veltkamp's splitter. Mantissas lie in
  // [0.5, 1), so nothing here can overflow or underflow.
  static void TwoProduct(double a, double b, double& high, double& low) {
    high = a * b;
    double aHigh, aLow, bHigh, bLow;
    Split(a, aHigh, aLow);
    Split(b, bHigh, bLow);
    const double error1 = high - aHigh * bHigh;
    const double error2 = error1 - aLow * bHigh;
    const double error3 = error2 - aHigh * bLow;
    low = aLow * bLow - error3;
  }

  // Merges two expansions by increasing magnitude: smaller exponent first,
  // then smaller |mantissa|, ties and zeros to the left operand first (a
  // zero from either side before anything else). The right operand may be
  // read negated, which does not change the order.
  class CMerge {
   public:
    CMerge(const KoFloatExact& left, const KoFloatExact& right, bool negateRight)
        : m_left(left), m_right(right), m_rightFactor(negateRight ? -1.0 : 1.0) {}

    Component Next() {
      if (m_iRight == m_right.m_uiCount || (m_iLeft < m_left.m_uiCount && !rightFirst())) {
        return m_left.m_pComponents[m_iLeft++];
      }
      const Component& c = m_right.m_pComponents[m_iRight++];
      return {c.mantissa * m_rightFactor, c.exponent};
    }
    bool HasNext() const { return m_iLeft < m_left.m_uiCount || m_iRight < m_right.m_uiCount; }

   private:
    bool rightFirst() const {
      const Component& l = m_left.m_pComponents[m_iLeft];
      const Component& r = m_right.m_pComponents[m_iRight];
      if (l.mantissa == 0.0) return false;
      if (r.mantissa == 0.0) return true;
      if (l.exponent != r.exponent) return r.exponent < l.exponent;
      return std::fabs(r.mantissa) < std::fabs(l.mantissa);
    }

    const KoFloatExact& m_left;
    const KoFloatExact& m_right;
    double m_rightFactor;
    std::uint32_t m_iLeft = 0;
    std::uint32_t m_iRight = 0;
  };

  // Shewchuk's Linear-Expansion-Sum with zero elimination over the merged
  // sequence: every error term that is not zero becomes a component of the
  // result, the running sum becomes its last (largest) one.
  static KoFloatExact Sum(const KoFloatExact& left, const KoFloatExact& right, bool negateRight) {
    KoFloatExact result = empty();
    CMerge merge(left, right, negateRight);
    const Component g0 = merge.Next();
    const Component g1 = merge.Next();
    Component q;
    result.appendNonZero(FirstSum(q, g0, g1));
    while (merge.HasNext()) result.appendNonZero(AddToSum(q, merge.Next()));
    result.finish(q);
    return result;
  }

  // Shewchuk's Scale-Expansion with zero elimination: the expansion times
  // one component. Every partial product is exact (Two-Product, exponent
  // e(a_j) + e(b)); the low part joins the running sum before the high part,
  // as in the published algorithm, so the result stays increasing.
  static KoFloatExact Scale(const KoFloatExact& expansion, const Component& factor) {
    KoFloatExact result = empty();
    Component q = c_zero;
    for (std::uint32_t j = 0; j < expansion.m_uiCount; ++j) {
      const Component& a = expansion.m_pComponents[j];
      const std::int32_t units = AddExponents(a.exponent, factor.exponent);
      double high, low;
      TwoProduct(a.mantissa, factor.mantissa, high, low);
      if (j == 0) {
        q = Normalize(high, units);
        result.appendNonZero(Normalize(low, units));
      } else {
        result.appendNonZero(AddToSum(q, Normalize(low, units)));
        result.appendNonZero(AddToSum(q, Normalize(high, units)));
      }
    }
    result.finish(q);
    return result;
  }

 private:
  static void Split(double a, double& high, double& low) {
    const double c = c_dSplitter * a;
    const double big = c - a;
    high = c - big;
    low = a - high;
  }
};

KoFloatExact::KoFloatExact() : KoFloatExact(CArithmetic::c_zero) {}

KoFloatExact::KoFloatExact(float value) : KoFloatExact(static_cast<double>(value)) {}

KoFloatExact::KoFloatExact(double value) : KoFloatExact(CArithmetic::Normalize(value)) {}

KoFloatExact::KoFloatExact(const CNormalizedFloat& component) : m_uiCount(1) {
  m_inline[0] = component;
}

KoFloatExact::KoFloatExact(const KoFloatExact& other) {
  *this = other;
}

KoFloatExact::KoFloatExact(KoFloatExact&& other) noexcept {
  takeFrom(other);
}

KoFloatExact::~KoFloatExact() {
  releaseHeap();
}

KoFloatExact& KoFloatExact::operator=(const KoFloatExact& other) {
  if (this == &other) return *this;
  if (other.m_uiCount > m_uiCapacity) {
    releaseHeap();
    m_pComponents = new CNormalizedFloat[other.m_uiCount];
    m_uiCapacity = other.m_uiCount;
  }
  std::copy(other.m_pComponents, other.m_pComponents + other.m_uiCount, m_pComponents);
  m_uiCount = other.m_uiCount;
  return *this;
}

KoFloatExact& KoFloatExact::operator=(KoFloatExact&& other) noexcept {
  if (this != &other) {
    releaseHeap();
    takeFrom(other);
  }
  return *this;
}

KoFloatExact& KoFloatExact::operator=(const double& value) {
  return *this = CArithmetic::Normalize(value);
}

KoFloatExact& KoFloatExact::operator=(const CNormalizedFloat& component) {
  m_pComponents[0] = component;
  m_uiCount = 1;
  return *this;
}

KoFloatExact KoFloatExact::empty() {
  KoFloatExact number;
  number.m_uiCount = 0;
  return number;
}

void KoFloatExact::releaseHeap() {
  if (m_pComponents != m_inline) delete[] m_pComponents;
  m_pComponents = m_inline;
  m_uiCapacity = c_uiInlineCapacity;
  m_uiCount = 0;
}

// Expects this object empty with inline storage.
void KoFloatExact::takeFrom(KoFloatExact& other) noexcept {
  if (other.m_pComponents == other.m_inline) {
    std::copy(other.m_inline, other.m_inline + other.m_uiCount, m_inline);
  } else {
    m_pComponents = std::exchange(other.m_pComponents, other.m_inline);
    m_uiCapacity = std::exchange(other.m_uiCapacity, c_uiInlineCapacity);
  }
  m_uiCount = std::exchange(other.m_uiCount, 0);
}

void KoFloatExact::append(const CNormalizedFloat& component) {
  if (m_uiCount == m_uiCapacity) {
    const std::uint32_t count = m_uiCount;
    const std::uint32_t capacity = 2 * m_uiCapacity;
    auto* grown = new CNormalizedFloat[capacity];
    std::copy(m_pComponents, m_pComponents + count, grown);
    releaseHeap();
    m_pComponents = grown;
    m_uiCapacity = capacity;
    m_uiCount = count;
  }
  m_pComponents[m_uiCount++] = component;
}

void KoFloatExact::appendNonZero(const CNormalizedFloat& component) {
  if (component.mantissa != 0.0) append(component);
}

// The running sum becomes the largest component; a zero sum is dropped
// unless nothing else is left, which makes a total cancellation the
// canonical zero (0.0, 0).
void KoFloatExact::finish(const CNormalizedFloat& sum) {
  if (sum.mantissa != 0.0 || m_uiCount == 0)
    append(sum.mantissa != 0.0 ? sum : CArithmetic::c_zero);
}

KoFloatExact KoFloatExact::operator+(const KoFloatExact& other) const {
  return CArithmetic::Sum(*this, other, false);
}

KoFloatExact KoFloatExact::operator-(const KoFloatExact& other) const {
  return CArithmetic::Sum(*this, other, true);
}

KoFloatExact KoFloatExact::operator-() const {
  KoFloatExact negated(*this);
  return negated.Negate();
}

// The partial products a * b_i are summed in a fixed pairing: with an odd
// component count of `other` the result starts as a * b_0 itself, with an
// even count it starts at zero, and the rest is added two at a time. The
// order decides the exact component list of the result (Two-Sum rounds
// ties to even), so it is part of the canonical form.
KoFloatExact KoFloatExact::operator*(const KoFloatExact& other) const {
  std::uint32_t i = 0;
  KoFloatExact result;
  if (other.m_uiCount % 2 == 1) result = CArithmetic::Scale(*this, other.m_pComponents[i++]);
  for (; i < other.m_uiCount; i += 2) {
    result = result + CArithmetic::Scale(*this, other.m_pComponents[i]);
    result = result + CArithmetic::Scale(*this, other.m_pComponents[i + 1]);
  }
  return result;
}

KoFloatExact& KoFloatExact::Negate() {
  for (std::uint32_t i = 0; i < m_uiCount; ++i) m_pComponents[i].mantissa *= -1.0;
  return *this;
}

bool KoFloatExact::operator==(const KoFloatExact& other) const {
  if (m_uiCount != other.m_uiCount) return false;
  for (std::uint32_t i = 0; i < m_uiCount; ++i) {
    if (m_pComponents[i].exponent != other.m_pComponents[i].exponent ||
        !(m_pComponents[i].mantissa == other.m_pComponents[i].mantissa)) {
      return false;
    }
  }
  return true;
}

bool KoFloatExact::isSingle(double mantissa, std::int32_t exponent) const {
  return m_uiCount == 1 && m_pComponents[0].exponent == exponent &&
         m_pComponents[0].mantissa == mantissa;
}

bool KoFloatExact::IsZero() const {
  return isSingle(0.0, 0);
}
bool KoFloatExact::IsOne() const {
  return isSingle(0.5, 1);
}
bool KoFloatExact::IsMinusOne() const {
  return isSingle(-0.5, 1);
}

bool KoFloatExact::IsNegative() const {
  return largest().mantissa < 0.0;
}

// Written as "not (0 >= m)" so that a NaN counts as positive.
bool KoFloatExact::IsPositive() const {
  return !(0.0 >= largest().mantissa);
}

double KoFloatExact::GetApproximation() const {
  return CArithmetic::AsDouble(largest());
}

bool KoFloatExact::GetApproximation(double& value) const {
  value = GetApproximation();
  return m_uiCount == 1;
}

bool KoFloatExact::GetApproximation(float& value) const {
  const double approximation = GetApproximation();
  value = static_cast<float>(approximation);
  return m_uiCount == 1 && approximation - static_cast<double>(value) == 0.0;
}

void KoFloatExact::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiRecordVersion);
  stream.WriteUInt32(m_uiCount);
  for (std::uint32_t i = 0; i < m_uiCount; ++i) {
    stream.WriteDouble(m_pComponents[i].mantissa);
    stream.WriteInt32(m_pComponents[i].exponent);
  }
}

// A zero mantissa reads as the canonical (0.0, 0); any other mantissa is
// renormalised and its stored exponent added to what normalisation yields.
void KoFloatExact::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiRecordVersion);
  const std::uint32_t count = stream.ReadUInt32();
  if (count == 0) throw KbException("corrupt KoFloatExact record: no components");
  stream.EnsureAvailable(count, c_uiComponentRecordSize);
  KoFloatExact read = empty();
  for (std::uint32_t i = 0; i < count; ++i) {
    const double mantissa = stream.ReadDouble();
    const std::int32_t exponent = stream.ReadInt32();
    read.append(CArithmetic::Normalize(mantissa, exponent));
  }
  *this = std::move(read);
}

void KoFloatExact::CheckArithmetic() {
  // volatile: the loop has to measure the arithmetic at run time, not the
  // compiler's constant folding.
  volatile double epsilon = 1.0;
  volatile double splitter = 1.0;
  volatile double check = 1.0;
  double lastCheck;
  bool everyOther = true;
  do {
    lastCheck = check;
    epsilon = epsilon * 0.5;
    if (everyOther) splitter = splitter * 2.0;
    everyOther = !everyOther;
    check = 1.0 + epsilon;
  } while (check != 1.0 && check != lastCheck);
  epsilon = epsilon * 2.0;
  splitter = splitter + 1.0;

  const double eps = epsilon;
  volatile double half = 0.5;
  const bool roundsToNearestEven = 1.0 + eps != 1.0 && 1.0 + eps * half == 1.0 &&
                                   (eps + half) * eps + 1.0 == 1.0 + eps &&
                                   (half + 1.0) * eps + 1.0 == 1.0 + eps + eps;
  if (!roundsToNearestEven || splitter != c_dSplitter) {
    throw KbException(
        "floating-point arithmetic does not round to nearest even in double precision");
  }
  if (CArithmetic::Normalize(splitter).exponent != c_iSplitterExponent) {
    throw KbException("floating-point format is not IEEE double");
  }
}

void KoWriteFloatExactArray(KbStreamWriteBinary& stream, const KbArray<KoFloatExact>& numbers) {
  KbWriteArrayHeader(stream, numbers.GetSize(), c_uiArrayElementSize);
  for (const KoFloatExact& number : numbers) number.Serialize(stream);
}

// The stored element size is not checked: it recorded the in-memory size of
// the writer's build, which says nothing about the records that follow.
void KoReadFloatExactArray(KbStreamReadBinary& stream, KbArray<KoFloatExact>& numbers) {
  const KbArrayHeader header = KbReadArrayHeader(stream);
  stream.EnsureAvailable(header.count, c_uiMinimumNumberRecord);
  KbArray<KoFloatExact> read(header.count);
  for (KoFloatExact& number : read) number.Serialize(stream);
  numbers.Swap(read);
}
