// KoFunctionLimitedHemisphere<T, T>: the upper or lower half of a circle.
//
// Value at x: cy ± √(r² − (x − cx)²), + for the upper half. Only the circle
// decides what is valid: an argument with r² − (x − cx)² < 0 gives invalid
// y, and the [min x, max x] domain is deliberately not consulted. NaN gives
// NaN.
//
// Registered as "KoFunctionLimitedHemisphere<float>" / "...<double>" with a
// factory. Record (version 1): the KoFunctionLimited record (version 2),
// centre x, centre y, radius, then upper as a one-byte boolean.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "base/ISerializable.h"
#include "math/functions/KoFunctionLimited.h"

// The second parameter mirrors the first: only <float,float> and
// <double,double> exist.
template <class In, class Out>
class KOMATH_API KoFunctionLimitedHemisphere : public KoFunctionLimited<In, Out>,
                                               public ISerializable {
  static_assert(std::is_same_v<In, Out>, "instantiated for <float,float> and <double,double>");

  KB_DECLARE_RTTI(KoFunctionLimitedHemisphere)

 public:
  using T = In;
  static constexpr unsigned int c_uiVersion = 1;

  // The upper unit half circle at the origin on [−1, 1], invalid y 0.
  KoFunctionLimitedHemisphere();
  // invalid y is 0.
  KoFunctionLimitedHemisphere(std::pair<T, T> centre, T radius, T minX, T maxX, bool upper);
  KoFunctionLimitedHemisphere(const KoFunctionLimitedHemisphere&) = default;
  KoFunctionLimitedHemisphere(KoFunctionLimitedHemisphere&&) = default;
  KoFunctionLimitedHemisphere& operator=(const KoFunctionLimitedHemisphere&) = default;
  KoFunctionLimitedHemisphere& operator=(KoFunctionLimitedHemisphere&&) = default;
  ~KoFunctionLimitedHemisphere() override;

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;
  std::unique_ptr<KoFunctionLimited<In, Out>> Clone() const override;

  // True when the circle answers x (r² − (x − cx)² ≥ 0 in T, the very test
  // the call operator makes); NaN counts as inside.
  bool IsInsideCircle(T x) const;

  std::pair<T, T> GetCentre() const { return m_centre; }
  T GetRadius() const { return m_radius; }
  bool IsUpper() const { return m_upper; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  // r² − (x − cx)², shared by evaluation and IsInsideCircle so that both
  // round alike (defined out of line, where contraction is off).
  T squaredHalfChord(T x) const;

  std::pair<T, T> m_centre{0, 0};
  T m_radius = 1;
  bool m_upper = true;
};

template <>
const KbRTTI KoFunctionLimitedHemisphere<float, float>::RTTI;
template <>
const KbRTTI KoFunctionLimitedHemisphere<double, double>::RTTI;

extern template class KoFunctionLimitedHemisphere<float, float>;
extern template class KoFunctionLimitedHemisphere<double, double>;
