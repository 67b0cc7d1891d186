// KoFunctionSplineBase<T>: the abstract base of spline segments on a
// limited domain, carrying the segment's degree and its index in a spline.
// Descendants supply the call operator and Clone.
//
// Record (version 1): the KoFunctionLimited record (version 2), then degree
// and index as unsigned 32-bit integers.
#pragma once

#include <cstdint>

#include "math/functions/KoFunctionLimited.h"

template <class T>
class KOMATH_API KoFunctionSplineBase : public KoFunctionLimited<T, T> {
 public:
  static constexpr unsigned int c_uiVersion = 1;

  ~KoFunctionSplineBase() override;

  std::uint32_t GetDegree() const { return m_degree; }
  void SetDegree(std::uint32_t degree) { m_degree = degree; }
  std::uint32_t GetIndex() const { return m_index; }
  void SetIndex(std::uint32_t index) { m_index = index; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  // A wrong outer version throws before anything changes; a wrong embedded
  // version throws before the domain, degree and index change.
  void Serialize(KbStreamReadBinary& stream) override;

  // Domain [0, 1], invalid y 0, degree 0, index 0.
  KoFunctionSplineBase();
  KoFunctionSplineBase(const KoFunctionSplineBase&) = default;
  KoFunctionSplineBase(KoFunctionSplineBase&&) = default;
  KoFunctionSplineBase& operator=(const KoFunctionSplineBase&) = default;
  KoFunctionSplineBase& operator=(KoFunctionSplineBase&&) = default;

 private:
  std::uint32_t m_degree = 0;
  std::uint32_t m_index = 0;
};

extern template class KoFunctionSplineBase<float>;
extern template class KoFunctionSplineBase<double>;
