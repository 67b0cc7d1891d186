#include "math/tables/KoInterpolationPolynomHermite.h"

#include "math/functions/KoStreamValue.h"

template <class T>
KoInterpolationPolynomHermite<T>::KoInterpolationPolynomHermite(T p0, T m0, T p1, T m1)
    : m_coefficients{p0, m0, p1, m1}, m_termFlags{1, 1, 1, 1} {
  // -0 compares equal to 0 and is skipped too.
  for (ECoefficient c : {eP0, eP1, eM0, eM1}) {
    if (m_coefficients[c] == 0) m_termFlags[c] = 0;
  }
}

template <class T>
KoInterpolationPolynomHermite<T>::~KoInterpolationPolynomHermite() = default;

template <class T>
T KoInterpolationPolynomHermite<T>::evaluateValueTerms(T t) const {
  T result = 0;
  // 2t³ − 3t² + 1 and 3t² − 2t³, each factored as written.
  if (isUsed(eP0)) result = result + ((t + t - 3) * (t * t) + 1) * m_coefficients[eP0];
  if (isUsed(eP1)) result = result + (t * t) * m_coefficients[eP1] * (3 - (t + t));
  return result;
}

template <class T>
T KoInterpolationPolynomHermite<T>::operator()(T t) const {
  T result = evaluateValueTerms(t);
  // t³ − 2t² + t and t³ − t².
  if (isUsed(eM0)) result = result + ((t - 2) * t + 1) * (t * m_coefficients[eM0]);
  if (isUsed(eM1)) result = result + (t * t) * m_coefficients[eM1] * (t - 1);
  return result;
}

template <class T>
void KoInterpolationPolynomHermite<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  for (std::size_t i = 0; i < x.size(); ++i) y[i] = KoInterpolationPolynomHermite::operator()(x[i]);
}

template <class T>
void KoInterpolationPolynomHermite<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  for (T c : m_coefficients) KoWriteValue(stream, c);
  for (std::int32_t flag : m_termFlags) stream.WriteInt32(flag);
}

template <class T>
void KoInterpolationPolynomHermite<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  for (T& c : m_coefficients) KoReadValue(stream, c);
  for (std::int32_t& flag : m_termFlags) flag = stream.ReadInt32();
}

template <class T>
KoInterpolationPolynomHermiteOverscale<T>::KoInterpolationPolynomHermiteOverscale(T p0, T m0, T p1,
                                                                                  T m1, T s)
    : KoInterpolationPolynomHermite<T>(p0, m0, p1, m1), m_overscale(s) {}

template <class T>
KoInterpolationPolynomHermiteOverscale<T>::~KoInterpolationPolynomHermiteOverscale() = default;

template <class T>
T KoInterpolationPolynomHermiteOverscale<T>::operator()(T t) const {
  using Base = KoInterpolationPolynomHermite<T>;
  const T S = m_overscale;
  const T half = T(0.5);
  const T g = S - (S - 1) * 4 * (t - half) * (t - half);
  T result = this->evaluateValueTerms(t);
  if (this->isUsed(Base::eM0)) {
    result = result + g * this->coefficient(Base::eM0) * t * ((t - 2) * t + 1);
  }
  if (this->isUsed(Base::eM1)) {
    result = result + g * this->coefficient(Base::eM1) * (t * t) * (t - 1);
  }
  return result;
}

template <class T>
void KoInterpolationPolynomHermiteOverscale<T>::Evaluate(std::span<const T> x,
                                                         std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    y[i] = KoInterpolationPolynomHermiteOverscale::operator()(x[i]);
  }
}

template <class T>
void KoInterpolationPolynomHermiteOverscale<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoInterpolationPolynomHermite<T>::Serialize(stream);
  KoWriteValue(stream, m_overscale);
}

template <class T>
void KoInterpolationPolynomHermiteOverscale<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoInterpolationPolynomHermite<T>::Serialize(stream);
  KoReadValue(stream, m_overscale);
}

template class KoInterpolationPolynomHermite<float>;
template class KoInterpolationPolynomHermite<double>;
template class KoInterpolationPolynomHermiteOverscale<float>;
template class KoInterpolationPolynomHermiteOverscale<double>;
