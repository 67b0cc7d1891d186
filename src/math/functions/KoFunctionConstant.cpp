#include "math/functions/KoFunctionConstant.h"

#include "base/KoStreamValue.h"

template <class In, class Out>
KoFunctionConstant<In, Out>::~KoFunctionConstant() = default;

template <class In, class Out>
Out KoFunctionConstant<In, Out>::operator()(In /*x*/) const {
  return m_value;
}

template <class In, class Out>
void KoFunctionConstant<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const Out value = m_value;
  for (std::size_t i = 0; i < y.size(); ++i) y[i] = value;
}

template <class In, class Out>
void KoFunctionConstant<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoWriteValue(stream, m_value);
}

template <class In, class Out>
void KoFunctionConstant<In, Out>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoReadValue(stream, m_value);
}

template class KoFunctionConstant<float, float>;
template class KoFunctionConstant<double, double>;
