// IFunction<In, Out>: the interface of every one-dimensional function object.
//
// A function object maps an argument of type In to a value of type Out
// through a const call operator that never throws; failures show in the
// value (an invalid marker, an infinity or NaN, or a clamp).
//
// Every function object carries a reference counter for holders outside the
// library. The counter belongs to the object, not to its value: copies and
// moves start with a fresh zero counter, and assignment never touches it.
//
// Virtual slots in order: destructor, getReferenceCounter, operator().
// Instantiated for <float,float>, <double,double>, <float,KbVector3f>,
// <KbVector3f,float> and <KbVector3d,double>.
#pragma once

#include "base/KbReferenceCounter.h"
#include "base/KbVector.h"
#include "math/KoMathExport.h"

template <class In, class Out>
class KOMATH_API IFunction {
 public:
  virtual ~IFunction();

 protected:
  virtual const KbReferenceCounter<unsigned int>& getReferenceCounter() const;

 public:
  // Pure: the value at x. Const, free of side effects and never throws.
  virtual Out operator()(In x) const = 0;

  IFunction() = default;
  // Copy and move give the new object its own zero counter.
  IFunction(const IFunction&) noexcept {}
  IFunction(IFunction&&) noexcept {}
  // Assignment copies nothing: an object's counter never changes by it.
  IFunction& operator=(const IFunction&) noexcept { return *this; }
  IFunction& operator=(IFunction&&) noexcept { return *this; }

 private:
  KbReferenceCounter<unsigned int> m_referenceCounter;
};

extern template class IFunction<float, float>;
extern template class IFunction<double, double>;
extern template class IFunction<float, KbVector3f>;
extern template class IFunction<KbVector3f, float>;
extern template class IFunction<KbVector3d, double>;
