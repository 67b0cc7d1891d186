// KoFunctionDifferentiable<In, S, G>: a function with a scalar value S that
// also gives its first derivative (scalar argument) or gradient (3-D point)
// of type G.
//
// Virtual slots after those of IFunction: GetDerivative. No members; copy
// takes nothing and assignment copies nothing (the reference counter rule).
// Instantiated for <float,float,float>, <KbVector3f,float,KbVector3f> and
// <KbVector3d,double,KbVector3d>.
#pragma once

#include "math/functions/IFunction.h"

template <class In, class S, class G>
class KOMATH_API KoFunctionDifferentiable : public IFunction<In, S> {
 public:
  ~KoFunctionDifferentiable() override;

  virtual G GetDerivative(In x) const = 0;

  KoFunctionDifferentiable() = default;
  KoFunctionDifferentiable(const KoFunctionDifferentiable&) = default;
  KoFunctionDifferentiable& operator=(const KoFunctionDifferentiable&) = default;
};

extern template class KoFunctionDifferentiable<float, float, float>;
extern template class KoFunctionDifferentiable<KbVector3f, float, KbVector3f>;
extern template class KoFunctionDifferentiable<KbVector3d, double, KbVector3d>;
