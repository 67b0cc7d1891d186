// KoFunctionConstant<T, T>: returns the same value for every argument, NaN
// included.
//
// Registered as "KoFunctionConstant<float>" / "KoFunctionConstant<double>"
// with a factory. Record (version 1): the value.
#pragma once

#include <type_traits>

#include "base/ISerializable.h"
#include "math/functions/IFunction.h"

// The second parameter mirrors the first: only <float,float> and
// <double,double> exist.
template <class In, class Out>
class KOMATH_API KoFunctionConstant : public IFunction<In, Out>, public ISerializable {
  static_assert(std::is_same_v<In, Out>, "instantiated for <float,float> and <double,double>");

  KB_DECLARE_RTTI(KoFunctionConstant)

 public:
  using T = In;
  static constexpr unsigned int c_uiVersion = 1;

  KoFunctionConstant() = default;
  explicit KoFunctionConstant(T value) : m_value(value) {}
  // Copy and move take the value; the reference counter starts fresh.
  KoFunctionConstant(const KoFunctionConstant&) = default;
  KoFunctionConstant(KoFunctionConstant&&) = default;
  KoFunctionConstant& operator=(const KoFunctionConstant&) = default;
  KoFunctionConstant& operator=(KoFunctionConstant&&) = default;
  ~KoFunctionConstant() override;

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;

  T GetValue() const { return m_value; }
  void SetValue(T value) { m_value = value; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  T m_value = 0;
};

template <>
const KbRTTI KoFunctionConstant<float, float>::RTTI;
template <>
const KbRTTI KoFunctionConstant<double, double>::RTTI;

extern template class KoFunctionConstant<float, float>;
extern template class KoFunctionConstant<double, double>;
