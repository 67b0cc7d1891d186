// KoFunctionLimitedPyramid<T, T>: a triangle over [min x, max x] whose apex
// is (peak x, height).
//
// Left of the peak the value rises as (x − min x)·height / (peak x − min x);
// from the peak on it falls as (max x − x)·height / (max x − peak x). At the
// peak itself the falling side answers, so peak x = max x gives 0/0 = NaN
// at max x; nothing is checked. NaN passes the domain test.
//
// Registered as "KoFunctionLimitedPyramid<float>" / "...<double>" with a
// factory. Record (version 1): the KoFunctionLimited record (version 2),
// peak x, height.
#pragma once

#include <memory>
#include <type_traits>

#include "base/ISerializable.h"
#include "math/functions/KoFunctionLimited.h"

// The second parameter mirrors the first: only <float,float> and
// <double,double> exist.
template <class In, class Out>
class KOMATH_API KoFunctionLimitedPyramid : public KoFunctionLimited<In, Out>,
                                            public ISerializable {
  static_assert(std::is_same_v<In, Out>, "instantiated for <float,float> and <double,double>");

  KB_DECLARE_RTTI(KoFunctionLimitedPyramid)

 public:
  using T = In;
  static constexpr unsigned int c_uiVersion = 1;

  // Domain [0, 0], invalid y 0, peak x 0, height 0.
  KoFunctionLimitedPyramid();
  // invalid y is 0.
  KoFunctionLimitedPyramid(T minX, T peakX, T maxX, T height);
  KoFunctionLimitedPyramid(const KoFunctionLimitedPyramid&) = default;
  KoFunctionLimitedPyramid& operator=(const KoFunctionLimitedPyramid&) = default;
  ~KoFunctionLimitedPyramid() override;

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;
  std::unique_ptr<KoFunctionLimited<In, Out>> Clone() const override;

  T GetPeakX() const { return m_peakX; }
  T GetHeight() const { return m_height; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  T m_peakX = 0;
  T m_height = 0;
};

template <>
const KbRTTI KoFunctionLimitedPyramid<float, float>::RTTI;
template <>
const KbRTTI KoFunctionLimitedPyramid<double, double>::RTTI;

extern template class KoFunctionLimitedPyramid<float, float>;
extern template class KoFunctionLimitedPyramid<double, double>;
