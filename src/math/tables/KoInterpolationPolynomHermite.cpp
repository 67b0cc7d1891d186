#include "math/tables/KoInterpolationPolynomHermite.h"

#include "../functions/KoFunctionFormulas.h"
#include "base/KoStreamValue.h"

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
T KoInterpolationPolynomHermite<T>::operator()(T t) const {
  return ko_formula::HermiteTerms(t, m_coefficients, [this](unsigned c) { return isUsed(c); });
}

template <class T>
void KoInterpolationPolynomHermite<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  evaluateBatch<false>(x, y, 0);
}

template <class T>
template <bool kOverscale>
void KoInterpolationPolynomHermite<T>::evaluateBatch(std::span<const T> x, std::span<T> y,
                                                     T overscale) const {
  // The coefficients in locals: y cannot alias them, and the loop vectorises.
  const T c[] = {m_coefficients[0], m_coefficients[1], m_coefficients[2], m_coefficients[3],
                 overscale};
  ko_formula::WithFixedHermiteTerms(GetTermMask(), [&](auto used) {
    for (std::size_t i = 0; i < x.size(); ++i) {
      if constexpr (kOverscale) {
        y[i] = ko_formula::HermiteOverscaleTerms(x[i], c, used);
      } else {
        y[i] = ko_formula::HermiteTerms(x[i], c, used);
      }
    }
  });
}

template <class T>
unsigned int KoInterpolationPolynomHermite<T>::GetTermMask() const {
  unsigned int mask = 0;
  for (unsigned int c = 0; c < 4; ++c) mask |= unsigned(isUsed(c)) << c;
  return mask;
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
  const T c[] = {this->coefficient(Base::eP0), this->coefficient(Base::eM0),
                 this->coefficient(Base::eP1), this->coefficient(Base::eM1), m_overscale};
  return ko_formula::HermiteOverscaleTerms(t, c, [this](unsigned k) { return this->isUsed(k); });
}

template <class T>
void KoInterpolationPolynomHermiteOverscale<T>::Evaluate(std::span<const T> x,
                                                         std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  this->template evaluateBatch<true>(x, y, m_overscale);
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
