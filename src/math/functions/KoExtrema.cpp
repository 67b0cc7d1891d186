#include "math/functions/KoExtrema.h"

#include "base/KoStreamValue.h"

template <class T>
KoExtrema<T>::~KoExtrema() = default;

template <class T>
int KoExtrema<T>::IsValid(T x) const {
  return (x >= m_min && m_max >= x) ? 1 : 0;
}

template <class T>
void KoExtrema<T>::Serialize(KbStreamWriteBinary& stream) const {
  KoWriteValue(stream, m_min);
  KoWriteValue(stream, m_max);
}

template <class T>
void KoExtrema<T>::Serialize(KbStreamReadBinary& stream) {
  KoReadValue(stream, m_min);
  KoReadValue(stream, m_max);
}

template class KoExtrema<float>;
template class KoExtrema<double>;
