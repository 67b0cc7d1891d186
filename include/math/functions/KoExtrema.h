// KoExtrema<T>: a closed interval [min, max], the levels of the ramps.
//
// Polymorphic (virtual destructor and IsValid) but not registered. Its
// record has no version number of its own: min, then max.
#pragma once

#include "base/KbStreamBinary.h"
#include "math/KoMathExport.h"

template <class T>
class KOMATH_API KoExtrema {
 public:
  KoExtrema(T min, T max) : m_min(min), m_max(max) {}
  KoExtrema(const KoExtrema&) = default;
  KoExtrema& operator=(const KoExtrema&) = default;
  virtual ~KoExtrema();

  // 1 when min ≤ x ≤ max, else 0; NaN gives 0. min > max is not swapped.
  virtual int IsValid(T x) const;

  T GetMin() const { return m_min; }
  T GetMax() const { return m_max; }

  void Serialize(KbStreamWriteBinary& stream) const;
  void Serialize(KbStreamReadBinary& stream);

 private:
  T m_min;
  T m_max;
};

extern template class KoExtrema<float>;
extern template class KoExtrema<double>;
