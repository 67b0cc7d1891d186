#include "math/functions/IFunction.h"

#include <string>

#include "base/KbException.h"

template <class In, class Out>
IFunction<In, Out>::~IFunction() = default;

template <class In, class Out>
const KbReferenceCounter<unsigned int>& IFunction<In, Out>::getReferenceCounter() const {
  return m_referenceCounter;
}

template <class In, class Out>
void IFunction<In, Out>::checkBatchSizes(std::size_t xSize, std::size_t ySize) {
  if (xSize == ySize) return;
  throw KbException("IFunction::Evaluate: " + std::to_string(xSize) + " arguments but " +
                    std::to_string(ySize) + " results");
}

template <class In, class Out>
void IFunction<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  checkBatchSizes(x.size(), y.size());
  for (std::size_t i = 0; i < x.size(); ++i) y[i] = (*this)(x[i]);
}

template class IFunction<float, float>;
template class IFunction<double, double>;
template class IFunction<float, KbVector3f>;
template class IFunction<KbVector3f, float>;
template class IFunction<KbVector3d, double>;
