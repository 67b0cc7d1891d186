#include "math/functions/IFunction.h"

template <class In, class Out>
IFunction<In, Out>::~IFunction() = default;

template <class In, class Out>
const KbReferenceCounter<unsigned int>& IFunction<In, Out>::getReferenceCounter() const {
  return m_referenceCounter;
}

template class IFunction<float, float>;
template class IFunction<double, double>;
template class IFunction<float, KbVector3f>;
template class IFunction<KbVector3f, float>;
template class IFunction<KbVector3d, double>;
