#include "math/functions/KoFunctionLinear.h"

#include "math/functions/KoStreamValue.h"

template <class T>
KoFunctionLinear<T>::~KoFunctionLinear() = default;

template <class T>
T KoFunctionLinear<T>::operator()(T x) const {
  return x * m_gradient + m_yIntercept;
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
