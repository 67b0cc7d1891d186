// KoFunctionTable<In, Out>: the abstract base of the sampled functions
// (KoFunctionTableUniform, KoFunctionTableNonUniform).
//
// It adds to a limited function the choice of interpolation between samples
// and finite-difference derivatives that evaluate the table only through its
// virtual operator(), so they work for any derived table. The samples belong
// to the derived classes.
//
// Derivative kernels, with MinX/MaxX the limited function's range:
//   first:  forward  (f(x+h) − f(x)) / h        when MinX > x − h,
//           backward (f(x) − f(x−h)) / h        else when x + h > MaxX,
//           central  (f(x+h) − f(x−h)) / (h+h)  otherwise.
//   second: the three-point stencil f(l) − 2·f(m) + f(r), moved to start at
//           MinX or to end at MaxX when it would leave the range, and divided
//           by h ONCE, not by h²: a table of x² yields 2h, not 2. That scaling
//           is part of the contract and callers rely on it.
// The scalar forms divide by h; the <float,KbVector3f> form multiplies every
// component by the reciprocal 1/h (or 1/(h+h)), formed once. h = 0 gives the
// IEEE results of a division by zero.
//
// Record of this base part: version 2, the KoFunctionLimited record, the
// interpolation type as u32 (any value is accepted and kept).
//
// Instantiated for <float,float>, <double,double> and <float,KbVector3f>.
#pragma once

#include <cstdint>

#include "base/ISerializable.h"
#include "base/KbIDumpable.h"
#include "math/functions/KoFunctionLimited.h"

template <class In, class Out>
class KOMATH_API KoFunctionTable : public KoFunctionLimited<In, Out>,
                                   public KbIDumpable<1>,
                                   public ISerializable {
 public:
  // Stored as u32. Values other than these two are kept as they are; each
  // table documents what it evaluates to with them.
  enum EInterpolationType : std::uint32_t {
    eNone = 0,    // a sample value as it stands
    eLinear = 1,  // linear between neighbouring samples
  };

  static constexpr std::uint32_t c_uiVersion = 2;

  ~KoFunctionTable() override;

  EInterpolationType GetInterpolationType() const { return m_interpolationType; }
  // No range check.
  void SetInterpolationType(EInterpolationType type) { m_interpolationType = type; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

  virtual Out GetDerivative(In x) const = 0;
  virtual Out GetSecondDerivative(In x) const = 0;

 protected:
  // Range [0, 1], invalid y 0, linear interpolation.
  KoFunctionTable();
  KoFunctionTable(const KoFunctionTable& other);
  KoFunctionTable(KoFunctionTable&& other) noexcept;
  KoFunctionTable& operator=(const KoFunctionTable& other);
  KoFunctionTable& operator=(KoFunctionTable&& other) noexcept;

  // The kernels described above; the derived tables pass their own step.
  Out getDerivative(In x, In h) const;
  Out getSecondDerivative(In x, In h) const;

 private:
  EInterpolationType m_interpolationType;
};

extern template class KoFunctionTable<float, float>;
extern template class KoFunctionTable<double, double>;
extern template class KoFunctionTable<float, KbVector3f>;
