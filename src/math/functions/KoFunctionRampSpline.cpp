#include "math/functions/KoFunctionRampSpline.h"

#include <algorithm>

template <class T>
KoFunctionRampSpline<T>::KoFunctionRampSpline()
    : m_polynom(std::make_unique<KoInterpolationPolynomHermite<T>>(0, 0, 0, 0)) {}

template <class T>
KoFunctionRampSpline<T>::KoFunctionRampSpline(T min, T max, T length, T tangent)
    : KoFunctionRampLinear<T>(min, max, length),
      m_polynom(std::make_unique<KoInterpolationPolynomHermite<T>>(0, tangent, 1, 0)) {}

template <class T>
KoFunctionRampSpline<T>::KoFunctionRampSpline(T min, T max, T length, T tangent, T start)
    : KoFunctionRampLinear<T>(min, max, length, start),
      m_polynom(std::make_unique<KoInterpolationPolynomHermite<T>>(0, tangent, 1, 0)) {}

template <class T>
KoFunctionRampSpline<T>::KoFunctionRampSpline(const KoFunctionRampSpline& other)
    : KoFunctionRampLinear<T>(other),
      m_polynom(std::make_unique<KoInterpolationPolynomHermite<T>>(*other.m_polynom)) {}

template <class T>
KoFunctionRampSpline<T>& KoFunctionRampSpline<T>::operator=(const KoFunctionRampSpline& other) {
  KoFunctionRampLinear<T>::operator=(other);
  *m_polynom = *other.m_polynom;
  return *this;
}

template <class T>
KoFunctionRampSpline<T>::~KoFunctionRampSpline() = default;

template <class T>
T KoFunctionRampSpline<T>::operator()(T x) const {
  const T start = this->GetStart();
  const T length = this->GetLength();
  if (x > length + start) return this->GetMax();
  if (start > x) return this->GetMin();
  const T t = (x - start) / length;
  // The ramp made the polynomial itself, so its type is known: a qualified
  // call skips the virtual dispatch.
  const T h = m_polynom->KoInterpolationPolynomHermite<T>::operator()(t);
  return (this->GetMax() - this->GetMin()) * h - this->GetMin();
}

// In blocks: the curve parameters t of a block go to the polynomial's own
// batch (a qualified call, as in operator()), then the levels are selected.
// t is computed for the clamped arguments too and thrown away; the block
// buffer keeps x intact when y is x itself.
template <class T>
void KoFunctionRampSpline<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T start = this->GetStart(), length = this->GetLength(), end = length + start;
  const T low = this->GetMin(), high = this->GetMax(), range = high - low;
  constexpr std::size_t kBlock = 256;
  T t[kBlock];
  for (std::size_t first = 0; first < x.size(); first += kBlock) {
    const std::size_t count = std::min(kBlock, x.size() - first);
    const T* v = x.data() + first;
    for (std::size_t i = 0; i < count; ++i) t[i] = (v[i] - start) / length;
    m_polynom->KoInterpolationPolynomHermite<T>::Evaluate({t, count}, {t, count});
    T* out = y.data() + first;
    for (std::size_t i = 0; i < count; ++i) {
      const T value = range * t[i] - low;
      out[i] = v[i] > end ? high : (start > v[i] ? low : value);
    }
  }
}

template <class T>
void KoFunctionRampSpline<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoFunctionRampLinear<T>::Serialize(stream);
}

template <class T>
void KoFunctionRampSpline<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoFunctionRampLinear<T>::Serialize(stream);
}

template class KoFunctionRampSpline<float>;
template class KoFunctionRampSpline<double>;
