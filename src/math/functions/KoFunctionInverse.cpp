#include "math/functions/KoFunctionInverse.h"

#include "base/KoStreamValue.h"

template <class In, class Out>
KoFunctionInverse<In, Out>::~KoFunctionInverse() = default;

template <class In, class Out>
Out KoFunctionInverse<In, Out>::operator()(In x) const {
  // Subtract first, then scale: the pole sits exactly at x offset.
  const T shifted = x - m_xOffset;
  const T product = shifted * m_xFactor;
  return T(1) / product;
}

template <class In, class Out>
void KoFunctionInverse<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T offset = m_xOffset, factor = m_xFactor;
  for (std::size_t i = 0; i < x.size(); ++i) y[i] = T(1) / ((x[i] - offset) * factor);
}

template <class In, class Out>
void KoFunctionInverse<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoWriteValue(stream, m_xFactor);
  KoWriteValue(stream, m_xOffset);
}

template <class In, class Out>
void KoFunctionInverse<In, Out>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoReadValue(stream, m_xFactor);
  KoReadValue(stream, m_xOffset);
}

template class KoFunctionInverse<float, float>;
template class KoFunctionInverse<double, double>;
