#include "math/functions/KoFunctionLinear.h"

#include "KoFunctionFormulas.h"
#include "base/KoStreamValue.h"

template <class T>
KoFunctionLinear<T>::~KoFunctionLinear() = default;

template <class T>
T KoFunctionLinear<T>::operator()(T x) const {
  return ko_formula::Line(x, m_gradient, m_yIntercept);
}

// Members are read into locals once: y may share their type, and the loop
// then compiles to vector instructions.
template <class T>
void KoFunctionLinear<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T gradient = m_gradient, yIntercept = m_yIntercept;
  for (std::size_t i = 0; i < x.size(); ++i) y[i] = ko_formula::Line(x[i], gradient, yIntercept);
}

template <class T>
void KoFunctionLinear<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoWriteValue(stream, m_gradient);
  KoWriteValue(stream, m_yIntercept);
}

template <class T>
void KoFunctionLinear<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoReadValue(stream, m_gradient);
  KoReadValue(stream, m_yIntercept);
}

template class KoFunctionLinear<float>;
template class KoFunctionLinear<double>;
