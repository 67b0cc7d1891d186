#include "math/tables/KoFunctionTableNonUniform.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>

#include "base/KbException.h"
#include "base/KoStreamValue.h"

namespace {

// y + (x − x0)·dy / dx, in that order, for scalars.
template <class T>
T LinearFrom(T y, T x0, T x, T dy, T dx) {
  return y + (x - x0) * dy / dx;
}

// For vectors the reciprocal of dx is formed once and every component's
// slope is its difference times it.
KbVector3f LinearFrom(const KbVector3f& y, float x0, float x, const KbVector3f& dy, float dx) {
  const float reciprocal = 1.0f / dx;
  return y + dy * reciprocal * (x - x0);
}

// The scalar `value` in every component of Out (a NaN result for a NaN x).
template <class Out, class In>
Out Broadcast(In value) {
  if constexpr (std::is_same_v<Out, KbVector3f>) {
    return Out(value, value, value);
  } else {
    return Out(value);
  }
}

template <class T>
void WriteText(KbStreamWriteASCIIT<wchar_t>& stream, T value) {
  stream << value;
}
void WriteText(KbStreamWriteASCIIT<wchar_t>& stream, const KbVector3f& value) {
  stream << L"(" << value.x << L", " << value.y << L", " << value.z << L")";
}

// The bisection of findX over the first n samples: lo = 0, hi = n,
// mid = n / 2; while mid != lo, x[mid] > x keeps the lower half (hi = mid),
// x > x[mid] the upper one (lo = mid), mid moving to the middle of what is
// left, and an exact hit ends the search at once. The state is kept as lo
// and size = hi - lo (mid = lo + size / 2 is (lo + hi) / 2, and mid == lo
// exactly when size < 2), which visits the same indices for any order of
// the abscissae, sorted or not, and cannot overflow. The size shrinks on
// every step, so nothing loops forever: a NaN, which compares neither way,
// stops at the first probe like a hit (evaluation filters it out before).
//
// Without branches on the comparisons: a hit sets size to 1, which ends the
// loop with lo = mid, and both outcomes are selects. On random arguments
// half the probes would otherwise be mispredicted jumps, which cost more
// than the whole search (about 0.6 of std::upper_bound's time with, 1.0
// without); the loop's own test only varies after a hit. Prefetching both
// possible next probes was slower: typical tables sit in the first-level
// cache.
//
// One step on the state (lo, size); once size < 2 a step keeps lo (mid is
// lo then) and size below 2.
template <class Sample, class In>
inline void BisectStep(const Sample* s, In x, unsigned int& lo, unsigned int& size) {
  const unsigned int half = size / 2;
  const unsigned int mid = lo + half;
  const In probe = s[mid].x;
  // All ones when the argument lies below the probe, else zero; written
  // as masks because the compiler turns the plain selects back into jumps.
  const unsigned int below = 0u - unsigned(probe > x);
  const unsigned int above = 1 + unsigned(x > probe) * (size - half - 1);
  lo = (lo & below) | (mid & ~below);
  size = (half & below) | (above & ~below);
}

template <class Sample, class In>
unsigned int Bisect(const Sample* s, unsigned int n, In x) {
  unsigned int lo = 0;
  unsigned int size = n;
  while (size >= 2) BisectStep(s, x, lo, size);
  return lo;
}

// K bisections advanced together: one alone is a chain of dependent loads
// and selects that leaves the core idle between its probes, K of them fill
// those gaps. A search that has ended keeps its lo, so all run as many
// steps as the longest can take: the larger half every time, ceil(log2 n).
template <std::size_t K, class Sample, class In>
void BisectLanes(const Sample* s, unsigned int n, const In* x, unsigned int* lo) {
  unsigned int size[K];
  std::fill_n(lo, K, 0u);
  std::fill_n(size, K, n);
  for (unsigned int longest = n; longest >= 2; longest -= longest / 2) {
    for (std::size_t k = 0; k < K; ++k) BisectStep(s, x[k], lo[k], size[k]);
  }
}

}  // namespace

template <class In, class Out>
KoFunctionTableNonUniform<In, Out>::KoFunctionTableNonUniform() = default;

template <class In, class Out>
KoFunctionTableNonUniform<In, Out>::KoFunctionTableNonUniform(unsigned int size) {
  this->SetMinX(std::numeric_limits<In>::max());
  this->SetMaxX(-std::numeric_limits<In>::max());
  m_table.Resize(size);
}

template <class In, class Out>
KoFunctionTableNonUniform<In, Out>::KoFunctionTableNonUniform(const KoFunctionTableNonUniform&) =
    default;
template <class In, class Out>
KoFunctionTableNonUniform<In, Out>::KoFunctionTableNonUniform(
    KoFunctionTableNonUniform&&) noexcept = default;
template <class In, class Out>
KoFunctionTableNonUniform<In, Out>& KoFunctionTableNonUniform<In, Out>::operator=(
    const KoFunctionTableNonUniform&) = default;
template <class In, class Out>
KoFunctionTableNonUniform<In, Out>& KoFunctionTableNonUniform<In, Out>::operator=(
    KoFunctionTableNonUniform&&) noexcept = default;
template <class In, class Out>
KoFunctionTableNonUniform<In, Out>::~KoFunctionTableNonUniform() = default;

template <class In, class Out>
void KoFunctionTableNonUniform<In, Out>::AppendSorted(In x, Out y) {
  this->SetMaxX(x);
  // Tested on the reserved size, not on the count: deliberate, see header.
  if (m_table.GetSize() == 0) this->SetMinX(x);
  // A count beyond the slots (only a corrupt record has one) names samples
  // that do not exist and that evaluation never saw: they are dropped.
  m_count = std::min(m_count, m_table.GetSize());
  if (m_count > 0 && x == m_table[m_count - 1].x) --m_count;
  if (m_count == m_table.GetSize()) {
    // Beyond the reserved slots the table grows by exactly one slot, so its
    // record still holds no unused slot; the capacity doubles so that a
    // long run of such appends stays linear.
    if (m_count == m_table.GetCapacity()) m_table.Reserve(std::max(1u, 2 * m_count));
    m_table.Resize(m_count + 1);
  }
  m_table[m_count] = SCoord2D{x, y};
  if (m_count > 0) {
    const In spacing = x - m_table[m_count - 1].x;
    if (m_automaticStep > spacing) m_automaticStep = spacing;
  }
  ++m_count;
}

template <class In, class Out>
unsigned int KoFunctionTableNonUniform<In, Out>::usedCount() const {
  return std::min(m_count, m_table.GetSize());
}

template <class In, class Out>
unsigned int KoFunctionTableNonUniform<In, Out>::findX(In x) const {
  return Bisect(m_table.GetData(), usedCount(), x);
}

template <class In, class Out>
Out KoFunctionTableNonUniform<In, Out>::operator()(In x) const {
  const unsigned int n = usedCount();
  if (n < 2 || std::isnan(x)) return evaluateDegenerate(x, n);
  return interpolate(n, Bisect(m_table.GetData(), n, x), x);
}

template <class In, class Out>
Out KoFunctionTableNonUniform<In, Out>::interpolate(unsigned int n, unsigned int i, In x) const {
  const SCoord2D* s = m_table.GetData();
  switch (this->GetInterpolationType()) {
    case eLinear:
      if (i + 1 != n)
        return LinearFrom(s[i].y, s[i].x, x, s[i + 1].y - s[i].y, s[i + 1].x - s[i].x);
      return LinearFrom(s[i].y, s[i].x, x, s[i].y - s[i - 1].y, s[i].x - s[i - 1].x);
    case eNone:
      return s[i + 1 == n ? n - 2 : i].y;
    default:
      return s[i].y;
  }
}

template <class In, class Out>
void KoFunctionTableNonUniform<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  constexpr std::size_t c_lanes = 8;
  const unsigned int n = usedCount();
  std::size_t e = 0;
  if (n >= 2) {
    for (; e + c_lanes <= x.size(); e += c_lanes) {
      unsigned int found[c_lanes];
      BisectLanes<c_lanes>(m_table.GetData(), n, x.data() + e, found);
      for (std::size_t k = 0; k < c_lanes; ++k) {
        const In v = x[e + k];
        y[e + k] = std::isnan(v) ? evaluateDegenerate(v, n) : interpolate(n, found[k], v);
      }
    }
  }
  for (; e < x.size(); ++e) y[e] = KoFunctionTableNonUniform::operator()(x[e]);
}

// Fewer than two samples, or a NaN argument (which would stall the
// bisection). A single sample is still returned by the modes that only read
// y[i]; eLinear and eNone would need a second one.
template <class In, class Out>
Out KoFunctionTableNonUniform<In, Out>::evaluateDegenerate(In x, unsigned int n) const {
  const auto type = this->GetInterpolationType();
  if (n == 0) return this->GetInvalidY();
  if (n == 1) return type == eLinear || type == eNone ? this->GetInvalidY() : m_table[0].y;
  return Broadcast<Out>(x);
}

template <class In, class Out>
Out KoFunctionTableNonUniform<In, Out>::GetDerivative(In x) const {
  return this->getDerivative(x, getH());
}

template <class In, class Out>
Out KoFunctionTableNonUniform<In, Out>::GetSecondDerivative(In x) const {
  return this->getSecondDerivative(x, getH());
}

template <class In, class Out>
template <class Derivative>
std::unique_ptr<KoFunctionTableNonUniform<In, Out>> KoFunctionTableNonUniform<In, Out>::tabulate(
    Derivative derivative) const {
  const unsigned int n = usedCount();
  auto table = std::make_unique<KoFunctionTableNonUniform>(n);
  for (unsigned int i = 0; i < n; ++i) {
    table->AppendSorted(m_table[i].x, derivative(m_table[i].x));
  }
  return table;
}

template <class In, class Out>
std::unique_ptr<KoFunctionTableNonUniform<In, Out>>
KoFunctionTableNonUniform<In, Out>::GetDerivativeFunction() const {
  return tabulate([this](In x) { return GetDerivative(x); });
}

template <class In, class Out>
std::unique_ptr<KoFunctionTableNonUniform<In, Out>>
KoFunctionTableNonUniform<In, Out>::GetSecondDerivativeFunction() const {
  return tabulate([this](In x) { return GetSecondDerivative(x); });
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionTableNonUniform<In, Out>::Clone() const {
  return std::make_unique<KoFunctionTableNonUniform>(*this);
}

template <class In, class Out>
void KoFunctionTableNonUniform<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteUInt32(m_count);
  KoWriteValue(stream, m_h);
  KoWriteValue(stream, m_automaticStep);
  m_table.Serialize(stream);
}

// Fields go straight into the members, so a failure leaves the ones read
// before it. The stored element size is taken as it comes (a smaller one
// fills only the front of the slots' bytes) except where it would write
// past the slots; the stream's length is checked before the slots are
// allocated, counting at least one byte per slot so that an element size of
// 0 cannot ask for an allocation the stream does not back.
template <class In, class Out>
void KoFunctionTableNonUniform<In, Out>::Serialize(KbStreamReadBinary& stream) {
  m_count = stream.ReadUInt32();
  KoReadValue(stream, m_h);
  KoReadValue(stream, m_automaticStep);
  m_table.Resize(0);
  const KbArrayHeader header = KbReadArrayHeader(stream);
  const std::uint64_t bytes = std::uint64_t(header.count) * header.elementSize;
  if (header.elementSize > sizeof(SCoord2D)) {
    throw KbExceptionWrongFileVersion(sizeof(SCoord2D), header.elementSize,
                                      "table record of element size " +
                                          std::to_string(header.elementSize) + ", more than " +
                                          std::to_string(sizeof(SCoord2D)));
  }
  stream.EnsureAvailable(header.count, std::max<std::uint32_t>(header.elementSize, 1));
  m_table.Resize(header.count);
  if (bytes != 0) stream.ReadBuffer(m_table.GetData(), bytes);
}

template <class In, class Out>
void KoFunctionTableNonUniform<In, Out>::dump(KbStreamWriteASCIIT<wchar_t>& stream) const {
  for (unsigned int i = 0; i < usedCount(); ++i) {
    WriteText(stream, m_table[i].x);
    stream << L", ";
    WriteText(stream, m_table[i].y);
    stream << L"\n";
  }
}

template class KoFunctionTableNonUniform<float, float>;
template class KoFunctionTableNonUniform<double, double>;
template class KoFunctionTableNonUniform<float, KbVector3f>;

// The record stores the slots as raw bytes: no padding may creep in.
static_assert(sizeof(KoFunctionTableNonUniform<float, float>::SCoord2D) == 8);
static_assert(sizeof(KoFunctionTableNonUniform<double, double>::SCoord2D) == 16);
static_assert(sizeof(KoFunctionTableNonUniform<float, KbVector3f>::SCoord2D) == 16);
