#include "math/tables/KoFunctionTableNonUniform.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>

#include "base/KbException.h"
#include "math/functions/KoStreamValue.h"

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
// and size = hi − lo (mid = lo + size / 2; mid == lo when size < 2), which
// gives the same indices. The size shrinks on every step whatever the order
// of the abscissae; a NaN argument, which compares neither way, stops at the
// first step instead of never moving the bounds.
template <class Sample, class In>
unsigned int Bisect(const Sample* s, unsigned int n, In x) {
  unsigned int lo = 0;
  unsigned int size = n;
  while (size >= 2) {
    const unsigned int half = size / 2;
    const unsigned int mid = lo + half;
    if (s[mid].x > x) {
      size = half;
    } else if (x > s[mid].x) {
      lo = mid;
      size -= half;
    } else {
      return mid;
    }
  }
  return lo;
}

}  // namespace

template <class In, class Out>
KoFunctionTableNonUniform<In, Out>::KoFunctionTableNonUniform() = default;

template <class In, class Out>
KoFunctionTableNonUniform<In, Out>::KoFunctionTableNonUniform(unsigned int size) {
  this->SetMinX(std::numeric_limits<In>::max());
  this->SetMaxX(-std::numeric_limits<In>::max());
  this->SetInterpolationType(eLinear);
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
  if (m_count > 0 && x == m_table[m_count - 1].x) --m_count;
  // Growing by doubling keeps a long run of unreserved appends linear.
  if (m_count >= m_table.GetSize()) m_table.Resize(std::max(m_count + 1, 2 * m_table.GetSize()));
  m_table[m_count] = SCoord2D{x, y};
  if (m_count > 0) {
    const In spacing = x - m_table[m_count - 1].x;
    if (m_automaticStep > spacing) m_automaticStep = spacing;
  }
  ++m_count;
}

template <class In, class Out>
unsigned int KoFunctionTableNonUniform<In, Out>::findX(In x) const {
  return Bisect(m_table.GetData(), m_count, x);
}

template <class In, class Out>
Out KoFunctionTableNonUniform<In, Out>::operator()(In x) const {
  const unsigned int n = m_count;
  if (n < 2 || std::isnan(x)) return evaluateDegenerate(x);
  const SCoord2D* s = m_table.GetData();
  const unsigned int i = Bisect(s, n, x);
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

// Fewer than two samples, or a NaN argument (which would stall the
// bisection). A single sample is still returned by the modes that only read
// y[i]; eLinear and eNone would need a second one.
template <class In, class Out>
Out KoFunctionTableNonUniform<In, Out>::evaluateDegenerate(In x) const {
  const auto type = this->GetInterpolationType();
  if (m_count == 0) return this->GetInvalidY();
  if (m_count == 1) return type == eLinear || type == eNone ? this->GetInvalidY() : m_table[0].y;
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
  auto table = std::make_unique<KoFunctionTableNonUniform>(m_count);
  for (unsigned int i = 0; i < m_count; ++i) {
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

// Everything is read into locals and committed at the end, so a corrupt
// record cannot leave a count that outruns the slots.
template <class In, class Out>
void KoFunctionTableNonUniform<In, Out>::Serialize(KbStreamReadBinary& stream) {
  const std::uint32_t count = stream.ReadUInt32();
  In h = 0;
  In automaticStep = 0;
  KoReadValue(stream, h);
  KoReadValue(stream, automaticStep);
  KbArray<SCoord2D> table;
  table.Serialize(stream);
  if (count > table.GetSize()) {
    throw KbExceptionWrongFileVersion(table.GetSize(), count,
                                      "corrupt table record: " + std::to_string(count) +
                                          " samples in use but " + std::to_string(table.GetSize()) +
                                          " stored");
  }
  m_count = count;
  m_h = h;
  m_automaticStep = automaticStep;
  m_table.Swap(table);
}

template <class In, class Out>
void KoFunctionTableNonUniform<In, Out>::dump(KbStreamWriteASCIIT<wchar_t>& stream) const {
  for (unsigned int i = 0; i < m_count; ++i) {
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
