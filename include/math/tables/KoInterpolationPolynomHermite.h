// Cubic Hermite polynomials on the unit interval.
//
// KoInterpolationPolynomHermite<T> blends a start value P0, a start tangent
// M0, an end value P1 and an end tangent M1 with the four Hermite basis
// functions of a parameter t (0 at the start, 1 at the end; not clamped,
// values outside [0, 1] continue the cubic).
//
// Every coefficient has a term flag: the constructor sets it exactly when
// the coefficient is non-zero, and evaluation adds only the flagged terms.
// A skipped term contributes nothing at all, so a zero coefficient never
// turns an infinite t into NaN through 0·∞. A record stores the flags as
// they are; after reading, the flags and not the coefficients decide.
//
// KoInterpolationPolynomHermiteOverscale<T> multiplies the two tangent terms
// by g(t) = S − (S − 1)·4·(t − ½)², which is 1 at both ends and S in the
// middle: it bulges the curve without changing end values or end slopes.
//
// Both are registered without a factory ("KoInterpolationPolynomHermite<float>",
// "KoInterpolationPolynomHermiteOverscale<float>" and the double forms).
// Records (version 1): P0, M0, P1, M1 as T, then the four flags as signed
// 32-bit integers; the overscale kind writes version 1, the whole base
// record (with its own version 1), then S.
#pragma once

#include <cstdint>

#include "base/ISerializable.h"
#include "math/functions/IFunction.h"

template <class T>
class KOMATH_API KoInterpolationPolynomHermite : public IFunction<T, T>, public ISerializable {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  static constexpr unsigned int c_uiVersion = 1;

  // Note the argument order: start value, start tangent, end value, end
  // tangent (the member order).
  KoInterpolationPolynomHermite(T p0, T m0, T p1, T m1);
  KoInterpolationPolynomHermite(const KoInterpolationPolynomHermite&) = default;
  KoInterpolationPolynomHermite(KoInterpolationPolynomHermite&&) = default;
  KoInterpolationPolynomHermite& operator=(const KoInterpolationPolynomHermite&) = default;
  KoInterpolationPolynomHermite& operator=(KoInterpolationPolynomHermite&&) = default;
  ~KoInterpolationPolynomHermite() override;

  // Terms are added to 0 in the order P0, P1, M0, M1, each only when flagged.
  T operator()(T t) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const T> x, std::span<T> y) const override;

  T GetStartValue() const { return m_coefficients[eP0]; }
  T GetStartTangent() const { return m_coefficients[eM0]; }
  T GetEndValue() const { return m_coefficients[eP1]; }
  T GetEndTangent() const { return m_coefficients[eM1]; }
  // The term flags as bits: bit k is set when the term of coefficient k
  // (in the order P0, M0, P1, M1) is added.
  unsigned int GetTermMask() const;

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 protected:
  enum ECoefficient { eP0 = 0, eM0 = 1, eP1 = 2, eM1 = 3 };

  // c is an ECoefficient.
  bool isUsed(unsigned c) const { return m_termFlags[c] != 0; }
  T coefficient(ECoefficient c) const { return m_coefficients[c]; }
  // The batch of either kind: one loop per set of flags, so that the loop
  // holds only the flagged terms; the overscale kind passes its S.
  template <bool kOverscale>
  void evaluateBatch(std::span<const T> x, std::span<T> y, T overscale) const;

 private:
  T m_coefficients[4];
  std::int32_t m_termFlags[4];
};

template <class T>
class KOMATH_API KoInterpolationPolynomHermiteOverscale : public KoInterpolationPolynomHermite<T> {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  static constexpr unsigned int c_uiVersion = 1;

  // With s = 1 the values equal those of the plain polynomial.
  KoInterpolationPolynomHermiteOverscale(T p0, T m0, T p1, T m1, T s);
  KoInterpolationPolynomHermiteOverscale(const KoInterpolationPolynomHermiteOverscale&) = default;
  KoInterpolationPolynomHermiteOverscale(KoInterpolationPolynomHermiteOverscale&&) = default;
  KoInterpolationPolynomHermiteOverscale& operator=(const KoInterpolationPolynomHermiteOverscale&) =
      default;
  KoInterpolationPolynomHermiteOverscale& operator=(KoInterpolationPolynomHermiteOverscale&&) =
      default;
  ~KoInterpolationPolynomHermiteOverscale() override;

  T operator()(T t) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const T> x, std::span<T> y) const override;

  T GetOverscale() const { return m_overscale; }

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 private:
  T m_overscale;
};

template <>
const KbRTTI KoInterpolationPolynomHermite<float>::RTTI;
template <>
const KbRTTI KoInterpolationPolynomHermite<double>::RTTI;
template <>
const KbRTTI KoInterpolationPolynomHermiteOverscale<float>::RTTI;
template <>
const KbRTTI KoInterpolationPolynomHermiteOverscale<double>::RTTI;

extern template class KoInterpolationPolynomHermite<float>;
extern template class KoInterpolationPolynomHermite<double>;
extern template class KoInterpolationPolynomHermiteOverscale<float>;
extern template class KoInterpolationPolynomHermiteOverscale<double>;
