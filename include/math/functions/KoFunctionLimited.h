// KoFunctionLimited<In, Out>: a function defined on the closed interval
// [min x, max x] that returns a fixed invalid y for arguments outside it.
//
// The domain test every descendant uses (unless its own header says
// otherwise) is IsOutside: min x > x or x > max x. Both ends are inclusive
// and a NaN argument is never outside; it reaches the descendant's formula.
// Nothing is validated: min x above max x makes the domain empty.
//
// Virtual slots after those of IFunction: Clone, Serialize(write),
// Serialize(read). Registered descendants also derive from ISerializable,
// whose Serialize slots have the same signatures, so one override serves
// both bases.
//
// Record (version 2): min x, max x, invalid y, each as an element of its
// type (for <float,KbVector3f> invalid y is three floats x, y, z).
//
// Instantiated for <float,float>, <double,double> and <float,KbVector3f>.
#pragma once

#include <memory>

#include "base/KbStreamBinary.h"
#include "math/functions/IFunction.h"

template <class In, class Out>
class KOMATH_API KoFunctionLimited : public IFunction<In, Out> {
 public:
  static constexpr unsigned int c_uiVersion = 2;

  ~KoFunctionLimited() override;

  // A new object of the most-derived class, equal to this one in every
  // member except the reference counter, which starts at zero.
  virtual std::unique_ptr<KoFunctionLimited> Clone() const = 0;

  virtual void Serialize(KbStreamWriteBinary& stream) const;
  // Reads min x, max x and invalid y in place; a wrong version throws
  // KbExceptionWrongFileVersion before anything changes.
  virtual void Serialize(KbStreamReadBinary& stream);

  In GetMinX() const { return m_minX; }
  void SetMinX(In minX) { m_minX = minX; }
  In GetMaxX() const { return m_maxX; }
  void SetMaxX(In maxX) { m_maxX = maxX; }
  Out GetInvalidY() const { return m_invalidY; }
  void SetInvalidY(Out invalidY) { m_invalidY = invalidY; }

  // No default constructor: a limited function always states its domain.
  KoFunctionLimited(In minX, In maxX, Out invalidY);
  // Copy and move take the three members; the counter starts fresh. The
  // assignments copy the three members only, whatever the derived class.
  KoFunctionLimited(const KoFunctionLimited& other);
  KoFunctionLimited(KoFunctionLimited&& other) noexcept;
  KoFunctionLimited& operator=(const KoFunctionLimited& other);
  KoFunctionLimited& operator=(KoFunctionLimited&& other) noexcept;

 protected:
  // The shared domain test: true when x lies outside [min x, max x].
  bool IsOutside(In x) const { return m_minX > x || x > m_maxX; }

 private:
  In m_minX;
  In m_maxX;
  Out m_invalidY;
};

extern template class KoFunctionLimited<float, float>;
extern template class KoFunctionLimited<double, double>;
extern template class KoFunctionLimited<float, KbVector3f>;
