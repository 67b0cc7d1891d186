// KoFunctionCubic<T, T>: the cubic through (a, y0) and (b, y1) with slopes
// s0 at a and s1 at b, defined on [a, b].
//
// p(x) = c0 + c1·x + c2·x² + c3·x³ in the global x (not in a parameter
// running from 0 to 1), evaluated in Horner form. Outside [a, b] the value
// is invalid y, the largest finite T; NaN passes the domain test and gives
// NaN. a = b divides by zero on construction and leaves infinite or NaN
// coefficients; a > b leaves an empty domain. Neither is checked.
//
// Not registered. Its record is the plain KoFunctionLimited record: the
// coefficients are not stored, and reading keeps them as they are.
#pragma once

#include <memory>
#include <type_traits>

#include "math/functions/KoFunctionLimited.h"

// The second parameter mirrors the first: only <float,float> and
// <double,double> exist.
template <class In, class Out>
class KOMATH_API KoFunctionCubic : public KoFunctionLimited<In, Out> {
  static_assert(std::is_same_v<In, Out>, "instantiated for <float,float> and <double,double>");

 public:
  using T = In;

  // (start x, value at start, end x, value at end, slope at start, slope at
  // end): note the slopes come last.
  KoFunctionCubic(T a, T y0, T b, T y1, T s0, T s1);
  KoFunctionCubic(const KoFunctionCubic&) = default;
  KoFunctionCubic(KoFunctionCubic&&) = default;
  KoFunctionCubic& operator=(const KoFunctionCubic&) = default;
  KoFunctionCubic& operator=(KoFunctionCubic&&) = default;
  ~KoFunctionCubic() override;

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;
  std::unique_ptr<KoFunctionLimited<In, Out>> Clone() const override;

  // c0, c1, c2, c3 for i = 0 to 3 (not checked).
  T GetCoefficient(unsigned int i) const { return m_coefficients[i]; }

 private:
  // a², a³, b², b³: kept (and copied) although evaluation does not use them.
  T m_x0Squared;
  T m_x0Cubed;
  T m_x1Squared;
  T m_x1Cubed;
  T m_coefficients[4];
};

extern template class KoFunctionCubic<float, float>;
extern template class KoFunctionCubic<double, double>;
