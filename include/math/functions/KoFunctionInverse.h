// KoFunctionInverse<T, T>: the reciprocal 1 / ((x − x offset) · x factor).
//
// The factor multiplies the shifted argument; it does not divide it. At the
// pole the result is an infinity whose sign is that of the zero product
// (a negative factor gives −infinity at x = x offset); a zero factor gives
// an infinity everywhere. Nothing is checked.
//
// Registered as "KoFunctionInverse<float>" / "KoFunctionInverse<double>"
// with a factory. Record (version 1): x factor, x offset.
#pragma once

#include <type_traits>

#include "base/ISerializable.h"
#include "math/functions/IFunction.h"

// The second parameter mirrors the first: only <float,float> and
// <double,double> exist.
template <class In, class Out>
class KOMATH_API KoFunctionInverse : public IFunction<In, Out>, public ISerializable {
  static_assert(std::is_same_v<In, Out>, "instantiated for <float,float> and <double,double>");

  KB_DECLARE_RTTI(KoFunctionInverse)

 public:
  using T = In;
  static constexpr unsigned int c_uiVersion = 1;

  // 1/x.
  KoFunctionInverse() = default;
  KoFunctionInverse(T xFactor, T xOffset) : m_xFactor(xFactor), m_xOffset(xOffset) {}
  KoFunctionInverse(const KoFunctionInverse&) = default;
  KoFunctionInverse(KoFunctionInverse&&) = default;
  KoFunctionInverse& operator=(const KoFunctionInverse&) = default;
  KoFunctionInverse& operator=(KoFunctionInverse&&) = default;
  ~KoFunctionInverse() override;

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;

  T GetXFactor() const { return m_xFactor; }
  void SetXFactor(T xFactor) { m_xFactor = xFactor; }
  T GetXOffset() const { return m_xOffset; }
  void SetXOffset(T xOffset) { m_xOffset = xOffset; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  T m_xFactor = 1;
  T m_xOffset = 0;
};

template <>
const KbRTTI KoFunctionInverse<float, float>::RTTI;
template <>
const KbRTTI KoFunctionInverse<double, double>::RTTI;

extern template class KoFunctionInverse<float, float>;
extern template class KoFunctionInverse<double, double>;
