// KoFunctionRampLinear<T>: a straight rise from min to max over `length`,
// beginning at `start`.
//
// The value is the line x·gradient + y intercept clamped to [min, max]: the
// clamp acts on the value, not on x. A NaN value passes both tests and is
// returned. With min > max the result is max wherever the line exceeds max
// and min elsewhere; the levels are deliberately not swapped. A zero length
// gives an infinite or NaN gradient, used as it is.
//
// Registered as "KoFunctionRampLinear<float>" / "...<double>" with a
// factory. Record (version 1): min and max of the KoExtrema base (no
// version of their own), the line's record (version 1, gradient, y
// intercept), then length and start.
#pragma once

#include "base/ISerializable.h"
#include "math/functions/IFunction.h"
#include "math/functions/KoExtrema.h"
#include "math/functions/KoFunctionLinear.h"

template <class T>
class KOMATH_API KoFunctionRampLinear : public IFunction<T, T>,
                                        public KoExtrema<T>,
                                        public ISerializable {
  KB_DECLARE_RTTI(KoFunctionRampLinear)

 public:
  static constexpr unsigned int c_uiVersion = 1;

  // min = smallest positive normal T, max = largest finite T, length 0,
  // start 0 and a zero line.
  KoFunctionRampLinear();
  // Starts at 0: gradient (max − min) / length, y intercept min.
  KoFunctionRampLinear(T min, T max, T length);
  // Gradient (max − min) / length, y intercept min − gradient·start.
  KoFunctionRampLinear(T min, T max, T length, T start);
  KoFunctionRampLinear(const KoFunctionRampLinear&) = default;
  KoFunctionRampLinear(KoFunctionRampLinear&&) = default;
  KoFunctionRampLinear& operator=(const KoFunctionRampLinear&) = default;
  KoFunctionRampLinear& operator=(KoFunctionRampLinear&&) = default;
  ~KoFunctionRampLinear() override;

  T operator()(T x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const T> x, std::span<T> y) const override;

  T GetLength() const { return m_length; }
  T GetStart() const { return m_start; }
  const KoFunctionLinear<T>& GetLine() const { return m_line; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  // A wrong line version throws after min and max have been read into the
  // object; a wrong outer version throws before anything changes.
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  T m_length;
  T m_start;
  KoFunctionLinear<T> m_line;
};

template <>
const KbRTTI KoFunctionRampLinear<float>::RTTI;
template <>
const KbRTTI KoFunctionRampLinear<double>::RTTI;

extern template class KoFunctionRampLinear<float>;
extern template class KoFunctionRampLinear<double>;
