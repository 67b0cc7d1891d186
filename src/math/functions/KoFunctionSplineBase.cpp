#include "math/functions/KoFunctionSplineBase.h"

template <class T>
KoFunctionSplineBase<T>::KoFunctionSplineBase() : KoFunctionLimited<T, T>(0, 1, 0) {}

template <class T>
KoFunctionSplineBase<T>::~KoFunctionSplineBase() = default;

template <class T>
void KoFunctionSplineBase<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoFunctionLimited<T, T>::Serialize(stream);
  stream.WriteUInt32(m_degree);
  stream.WriteUInt32(m_index);
}

template <class T>
void KoFunctionSplineBase<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoFunctionLimited<T, T>::Serialize(stream);
  m_degree = stream.ReadUInt32();
  m_index = stream.ReadUInt32();
}

template class KoFunctionSplineBase<float>;
template class KoFunctionSplineBase<double>;
