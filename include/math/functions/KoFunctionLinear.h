// KoFunctionLinear<T>: the straight line x·gradient + y intercept.
//
// Registered as "KoFunctionLinear(float)" / "KoFunctionLinear(double)" (the
// parentheses are part of the stored name) without a factory: it cannot be
// created by name. Record (version 1): gradient, y intercept.
#pragma once

#include "base/ISerializable.h"
#include "math/functions/IFunction.h"

template <class T>
class KOMATH_API KoFunctionLinear : public IFunction<T, T>, public ISerializable {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  static constexpr unsigned int c_uiVersion = 1;

  KoFunctionLinear() = default;
  KoFunctionLinear(T gradient, T yIntercept) : m_gradient(gradient), m_yIntercept(yIntercept) {}
  // Copy takes both members; the reference counter starts fresh.
  KoFunctionLinear(const KoFunctionLinear&) = default;
  KoFunctionLinear& operator=(const KoFunctionLinear&) = default;
  ~KoFunctionLinear() override;

  // One multiplication, then one addition, both in T (never fused).
  T operator()(T x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const T> x, std::span<T> y) const override;

  T GetGradient() const { return m_gradient; }
  void SetGradient(T gradient) { m_gradient = gradient; }
  T GetYIntercept() const { return m_yIntercept; }
  void SetYIntercept(T yIntercept) { m_yIntercept = yIntercept; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  T m_gradient = 0;
  T m_yIntercept = 0;
};

template <>
const KbRTTI KoFunctionLinear<float>::RTTI;
template <>
const KbRTTI KoFunctionLinear<double>::RTTI;

extern template class KoFunctionLinear<float>;
extern template class KoFunctionLinear<double>;
