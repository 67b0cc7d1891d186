#include "math/functions/KoFunctionRampSpline.h"

#include "KoFunctionFormulas.h"

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

// One pass: the curve parameter, the polynomial's own sum (one loop per set
// of its term flags, as its batch has) and the levels, selected in
// operator()'s order. t is computed for the clamped arguments too and thrown
// away; each x is read before its y is written, so y may be x.
template <class T>
void KoFunctionRampSpline<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T start = this->GetStart(), length = this->GetLength(), end = length + start;
  const T low = this->GetMin(), high = this->GetMax(), range = high - low;
  const KoInterpolationPolynomHermite<T>& polynom = *m_polynom;
  const T c[] = {polynom.GetStartValue(), polynom.GetStartTangent(), polynom.GetEndValue(),
                 polynom.GetEndTangent()};
  ko_formula::WithFixedHermiteTerms(polynom.GetTermMask(), [&](auto used) {
    for (std::size_t i = 0; i < x.size(); ++i) {
      const T v = x[i];
      const T h = ko_formula::HermiteTerms((v - start) / length, c, used);
      const T value = range * h - low;
      y[i] = v > end ? high : (start > v ? low : value);
    }
  });
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
