// KoFunctionRampSpline<T>: a ramp whose rise follows a cubic Hermite curve.
//
// Below start the value is min, beyond start + length it is max (both ends
// belong to the rise). Inside, with t = (x − start) / length and h the
// Hermite polynomial at t, the value is (max − min)·h − min. The final
// subtraction of min is deliberate and kept: with min = 0 the rise runs from
// 0 to max, with another min the inner values are shifted down by min
// (min 1, max 3, h ½ gives 0 while the level below start is 1). A zero
// length makes t infinite or NaN inside the rise; it is not checked.
//
// The ramp owns its polynomial (P0 = 0, M0 = tangent, P1 = 1, M1 = 0) and
// copies give the copy a polynomial of its own.
//
// Registered as "KoFunctionRampSpline<float>" / "...<double>" with a
// factory. Record (version 1): version 1, then the whole
// KoFunctionRampLinear record, so it starts with the number 1 twice. The
// tangent is not stored: reading keeps the current polynomial.
#pragma once

#include <memory>

#include "math/functions/KoFunctionRampLinear.h"
#include "math/tables/KoInterpolationPolynomHermite.h"

template <class T>
class KOMATH_API KoFunctionRampSpline : public KoFunctionRampLinear<T> {
  KB_DECLARE_RTTI(KoFunctionRampSpline)

 public:
  static constexpr unsigned int c_uiVersion = 1;

  // The default linear ramp with the zero polynomial.
  KoFunctionRampSpline();
  // Starts at 0. Note the tangent comes before the start in the next form.
  KoFunctionRampSpline(T min, T max, T length, T tangent);
  KoFunctionRampSpline(T min, T max, T length, T tangent, T start);
  // Deep copies; a move copies as well, so no ramp is ever left without a
  // polynomial.
  KoFunctionRampSpline(const KoFunctionRampSpline& other);
  KoFunctionRampSpline& operator=(const KoFunctionRampSpline& other);
  ~KoFunctionRampSpline() override;

  T operator()(T x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const T> x, std::span<T> y) const override;

  const KoInterpolationPolynomHermite<T>& GetPolynom() const { return *m_polynom; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  std::unique_ptr<KoInterpolationPolynomHermite<T>> m_polynom;
};

template <>
const KbRTTI KoFunctionRampSpline<float>::RTTI;
template <>
const KbRTTI KoFunctionRampSpline<double>::RTTI;

extern template class KoFunctionRampSpline<float>;
extern template class KoFunctionRampSpline<double>;
