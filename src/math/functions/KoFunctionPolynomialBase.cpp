#include "math/functions/KoFunctionPolynomialBase.h"

#include <algorithm>
#include <utility>

#include "math/foundations/KoMathScalar.h"

template <class T>
typename KoFunctionPolynomialBase<T>::MonomIterator&
KoFunctionPolynomialBase<T>::MonomIterator::operator++() {
  unsigned int* e = m_exponents;
  const unsigned int t = m_degree;
  if constexpr (c_uiVariables == 1) {
    e[0] = m_degree = t + 1;
  } else if (e[0] == t) {
    // Last monomial of degree t, (t, 0, 0): the next degree starts at (0, 0, t + 1).
    e[0] = 0;
    m_degree = t + 1;
    e[2] = t + 1;
  } else if (e[0] + e[1] == t) {
    // (s, t − s, 0) is followed by (s + 1, 0, t − s − 1).
    const unsigned int s = e[0];
    e[1] = 0;
    e[0] = s + 1;
    e[2] = t - s - 1;
  } else {
    // (e0, e1, e2) with e2 > 0 is followed by (e0, e1 + 1, e2 − 1).
    const unsigned int s = e[0] + e[1];
    e[1] += 1;
    e[2] = t - s - 1;
  }
  return *this;
}

template <class T>
KoFunctionPolynomialBase<T>::KoFunctionPolynomialBase() : m_coefficients(1) {}

template <class T>
KoFunctionPolynomialBase<T>::~KoFunctionPolynomialBase() = default;

template <class T>
void KoFunctionPolynomialBase<T>::SetDegree(std::uint32_t degree) {
  const unsigned int count = KoMath::BinomialCoefficient(degree + c_uiVariables, degree);
  if (count != m_coefficients.GetSize()) m_coefficients.Resize(count);
  std::fill(m_coefficients.begin(), m_coefficients.end(), S(0));
  m_degree = degree;
}

template <class T>
void KoFunctionPolynomialBase<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  m_coefficients.Serialize(stream);
  stream.WriteUInt32(m_degree);
}

template <class T>
void KoFunctionPolynomialBase<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KbArray<S> coefficients;
  coefficients.Serialize(stream);
  const std::uint32_t degree = stream.ReadUInt32();
  m_coefficients = std::move(coefficients);
  m_degree = degree;
}

template class KoFunctionPolynomialBase<float>;
template class KoFunctionPolynomialBase<KbVector3f>;
template class KoFunctionPolynomialBase<KbVector3d>;
