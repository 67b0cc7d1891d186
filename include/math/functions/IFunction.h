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
// Virtual slots in order: destructor, getReferenceCounter, operator(),
// Evaluate.
// Instantiated for <float,float>, <double,double>, <float,KbVector3f>,
// <KbVector3f,float> and <KbVector3d,double>.
#pragma once

#include <cstddef>
#include <span>

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

  // Batch evaluation: y[i] = (*this)(x[i]) for every i, bit for bit (the
  // same operations in the same order, so also the invalid value outside
  // the domain and NaN passing through), for one virtual call per batch.
  // x and y must have the same length, else KbException names both sizes
  // and nothing is written. y may be x's own storage (in place, where In
  // and Out agree); no other overlap is allowed. This implementation calls
  // operator() per element; the library's classes override it with a loop
  // over their own formula.
  virtual void Evaluate(std::span<const In> x, std::span<Out> y) const;

  IFunction() = default;
  // Copy and move give the new object its own zero counter.
  IFunction(const IFunction&) noexcept {}
  IFunction(IFunction&&) noexcept {}
  // Assignment copies nothing: an object's counter never changes by it.
  IFunction& operator=(const IFunction&) noexcept { return *this; }
  IFunction& operator=(IFunction&&) noexcept { return *this; }

 protected:
  // Throws KbException unless the batch lengths agree.
  static void checkBatchSizes(std::size_t xSize, std::size_t ySize);

 private:
  KbReferenceCounter<unsigned int> m_referenceCounter;
};

extern template class IFunction<float, float>;
extern template class IFunction<double, double>;
extern template class IFunction<float, KbVector3f>;
extern template class IFunction<KbVector3f, float>;
extern template class IFunction<KbVector3d, double>;
