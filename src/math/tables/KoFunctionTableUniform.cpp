#include "math/tables/KoFunctionTableUniform.h"

#include <cmath>
#include <cstdint>
#include <optional>

#include "base/KoStreamValue.h"

namespace {

// The grid index of a real position t: truncated toward zero to 64 bits,
// of which the low 32 bits are kept (so the modular wrap of an index of
// 2^32 or more is part of the result). None when t has no 64-bit integer
// part (NaN or |t| >= 2^63), where the conversion itself would be undefined.
template <class T>
std::optional<unsigned int> TruncatedIndex(T t) {
  if (!(std::fabs(t) < T(0x1p63))) return std::nullopt;
  return static_cast<unsigned int>(static_cast<std::int64_t>(t));
}

// (1 − f)·s[i] + f·s[i+1] with f = t − i.
template <class T>
T Interpolate(const T* s, unsigned int i, T t) {
  const T f = t - static_cast<T>(i);
  return (T(1) - f) * s[i] + f * s[i + 1];
}

}  // namespace

template <class In, class Out>
KoFunctionTableUniform<In, Out>::KoFunctionTableUniform() {
  // The table base starts on [0, 1] in linear mode.
  this->SetInterpolationType(eNone);
  this->SetMaxX(0);
}

template <class In, class Out>
KoFunctionTableUniform<In, Out>::KoFunctionTableUniform(unsigned int count, T min, T max) {
  Reset(count, min, max);
}

template <class In, class Out>
KoFunctionTableUniform<In, Out>::KoFunctionTableUniform(const KoFunctionTableUniform&) = default;
template <class In, class Out>
KoFunctionTableUniform<In, Out>::KoFunctionTableUniform(KoFunctionTableUniform&&) noexcept =
    default;
template <class In, class Out>
KoFunctionTableUniform<In, Out>& KoFunctionTableUniform<In, Out>::operator=(
    const KoFunctionTableUniform&) = default;
template <class In, class Out>
KoFunctionTableUniform<In, Out>& KoFunctionTableUniform<In, Out>::operator=(
    KoFunctionTableUniform&&) noexcept = default;
template <class In, class Out>
KoFunctionTableUniform<In, Out>::~KoFunctionTableUniform() = default;

// The divisor is the unsigned count − 1 converted to T, so a count of 0
// divides by 2^32 − 1 and a count of 1 by zero.
template <class In, class Out>
void KoFunctionTableUniform<In, Out>::Reset(unsigned int count, T min, T max) {
  this->SetInterpolationType(eNone);
  m_samples.Resize(count);
  zeroTable();
  this->SetMaxX(max);
  this->SetMinX(min);
  m_step = (max - min) / static_cast<T>(count - 1u);
}

template <class In, class Out>
void KoFunctionTableUniform<In, Out>::zeroTable() {
  for (T& sample : m_samples) sample = 0;
}

template <class In, class Out>
Out KoFunctionTableUniform<In, Out>::Lookup::Nearest(T x) const {
  if (n == 0) return invalid;
  if (min > x) return s[0];
  if (step == 0) return s[n - 1];
  const T position = (x - min) / step + T(0.5);
  const std::optional<unsigned int> i = TruncatedIndex(position);
  if (!i) return std::isnan(position) ? position : s[n - 1];
  return *i < n ? s[*i] : s[n - 1];
}

template <class In, class Out>
Out KoFunctionTableUniform<In, Out>::Lookup::Linear(T x) const {
  if (n == 0) return invalid;
  if (min > x) return s[0];
  if (step == 0) return s[n - 1];
  const T t = (x - min) / step;
  if (t >= static_cast<T>(n - 1)) return s[n - 1];
  // Here t < n − 1, so n >= 2 whenever t >= 0. Below 0 only a NaN or a
  // reversed step lands: t in (−1, 0) still truncates to the first interval
  // and extrapolates from it (given a second sample, which a record with one
  // sample and a negative step lacks); further out there is no sample to
  // read.
  if (t > T(-1) && n >= 2) {
    return Interpolate(s, static_cast<unsigned int>(static_cast<std::int64_t>(t)), t);
  }
  return std::isnan(t) ? t : invalid;
}

template <class In, class Out>
auto KoFunctionTableUniform<In, Out>::lookup() const -> Lookup {
  return {m_samples.GetData(), m_samples.GetSize(), this->GetMinX(), m_step, this->GetInvalidY()};
}

template <class In, class Out>
Out KoFunctionTableUniform<In, Out>::operator()(In x) const {
  switch (this->GetInterpolationType()) {
    case eLinear:
      return lookup().Linear(x);
    case eNone:
      return lookup().Nearest(x);
    default:
      return 0;
  }
}

// The mode is chosen once and the table's fields are copied to locals: the
// results cannot alias them then, and each loop is the lookup alone.
template <class In, class Out>
void KoFunctionTableUniform<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const Lookup table = lookup();
  switch (this->GetInterpolationType()) {
    case eLinear:
      for (std::size_t i = 0; i < x.size(); ++i) y[i] = table.Linear(x[i]);
      return;
    case eNone:
      for (std::size_t i = 0; i < x.size(); ++i) y[i] = table.Nearest(x[i]);
      return;
    default:
      for (Out& value : y) value = 0;
  }
}

template <class In, class Out>
template <class Store>
void KoFunctionTableUniform<In, Out>::store(T x, T value, Store combine) {
  if (this->GetMinX() > x) return;
  const unsigned int n = m_samples.GetSize();
  if (this->GetInterpolationType() == eNone) {
    const T position = (x - this->GetMinX()) / m_step + T(0.5);
    const std::optional<unsigned int> i = TruncatedIndex(position);
    if (i && *i < n) combine(m_samples[*i], value);
  } else if (this->GetInterpolationType() == eLinear) {
    const T t = (x - this->GetMinX()) / m_step;
    const std::optional<unsigned int> index = TruncatedIndex(t);
    if (!index) return;
    const unsigned int i = *index;
    const T f = t - static_cast<T>(i);
    // i < n − 1, written so that an empty table stores nothing.
    if (std::uint64_t(i) + 1 < n) {
      combine(m_samples[i + 1], f * value);
      combine(m_samples[i], (T(1) - f) * value);
    }
  }
}

template <class In, class Out>
void KoFunctionTableUniform<In, Out>::Set(T x, T value) {
  store(x, value, [](T& sample, T part) { sample = part; });
}

template <class In, class Out>
void KoFunctionTableUniform<In, Out>::Add(T x, T value) {
  store(x, value, [](T& sample, T part) { sample += part; });
}

template <class In, class Out>
Out KoFunctionTableUniform<In, Out>::GetDerivative(In x) const {
  return this->getDerivative(x, m_step);
}

template <class In, class Out>
Out KoFunctionTableUniform<In, Out>::GetSecondDerivative(In x) const {
  return this->getSecondDerivative(x, m_step);
}

// The new table recomputes its step from the range while the abscissae are
// formed with this table's step: the two differ when the step was read from
// a record that disagrees with the range, and Set then rounds to the new
// table's grid.
template <class In, class Out>
template <class Derivative>
std::unique_ptr<KoFunctionTableUniform<In, Out>> KoFunctionTableUniform<In, Out>::tabulate(
    Derivative derivative) const {
  const unsigned int n = m_samples.GetSize();
  auto table = std::make_unique<KoFunctionTableUniform>(n, this->GetMinX(), this->GetMaxX());
  for (unsigned int i = 0; i < n; ++i) {
    const T x = static_cast<T>(i) * m_step + this->GetMinX();
    table->Set(x, derivative(x));
  }
  return table;
}

template <class In, class Out>
std::unique_ptr<KoFunctionTableUniform<In, Out>>
KoFunctionTableUniform<In, Out>::GetDerivativeFunction() const {
  return tabulate([this](T x) { return GetDerivative(x); });
}

template <class In, class Out>
std::unique_ptr<KoFunctionTableUniform<In, Out>>
KoFunctionTableUniform<In, Out>::GetSecondDerivativeFunction() const {
  return tabulate([this](T x) { return GetSecondDerivative(x); });
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionTableUniform<In, Out>::Clone() const {
  return std::make_unique<KoFunctionTableUniform>(*this);
}

template <class In, class Out>
void KoFunctionTableUniform<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoFunctionTable<In, Out>::Serialize(stream);
  KoWriteValue(stream, m_step);
  m_samples.Serialize(stream);
}

// The array reader accepts both array layouts, rejects a foreign element
// size and checks the stream's length before it allocates.
template <class In, class Out>
void KoFunctionTableUniform<In, Out>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoFunctionTable<In, Out>::Serialize(stream);
  KoReadValue(stream, m_step);
  m_samples.Serialize(stream);
}

// Deliberately nothing after a pair, unlike the line breaks of the
// non-uniform table's dump: the text is kept exactly as this table has
// always written it, since dumps are read by people and tools alike.
template <class In, class Out>
void KoFunctionTableUniform<In, Out>::dump(KbStreamWriteASCIIT<wchar_t>& stream) const {
  T x = this->GetMinX();
  for (const T sample : m_samples) {
    stream << x << L", " << sample;
    x += m_step;
  }
}

template class KoFunctionTableUniform<float, float>;
template class KoFunctionTableUniform<double, double>;
