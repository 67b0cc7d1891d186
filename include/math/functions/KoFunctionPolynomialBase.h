// KoFunctionPolynomialBase<T>: the abstract base of polynomials up to a
// total degree in one variable (T = float) or three (T = KbVector3f or
// KbVector3d). It owns one coefficient per monomial and fixes the order of
// the monomials; descendants evaluate and differentiate.
//
// Monomial order (MonomIterator): by total degree, and within one total
// degree t ascending in the first exponent, then in the second, the third
// being t minus both. One variable: 1, x, x², ...; three variables:
//   t = 0: (0,0,0)
//   t = 1: (0,0,1) (0,1,0) (1,0,0)
//   t = 2: (0,0,2) (0,1,1) (0,2,0) (1,0,1) (1,1,0) (2,0,0)
// Coefficient k belongs to the k-th monomial of this order.
//
// Record (version 1): the coefficient array record (marker 0xFFFFFFFF,
// version 1, count, element size 4 or 8, raw elements), then the degree as
// an unsigned 32-bit integer. The count comes from the record and is not
// recomputed from the degree.
#pragma once

#include <cstdint>
#include <type_traits>

#include "base/KbArray.h"
#include "math/functions/KoFunctionDifferentiable.h"

namespace ko_detail {
// The scalar of a polynomial's argument: float for float and KbVector3f,
// double for KbVector3d.
template <class T>
using KoPolynomialScalar = std::conditional_t<std::is_same_v<T, KbVector3d>, double, float>;
}  // namespace ko_detail

template <class T>
class KOMATH_API KoFunctionPolynomialBase
    : public KoFunctionDifferentiable<T, ko_detail::KoPolynomialScalar<T>, T> {
 public:
  using S = ko_detail::KoPolynomialScalar<T>;
  static constexpr unsigned int c_uiVariables = std::is_same_v<T, float> ? 1 : 3;
  static constexpr unsigned int c_uiVersion = 1;

  // Enumerates the exponents of the monomials up to a maximum total degree.
  class MonomIterator {
   public:
    using Exponents = unsigned int[c_uiVariables];

    explicit MonomIterator(unsigned int maxDegree) : m_maxDegree(maxDegree) {}

    // True while the current monomial's total degree is within the maximum.
    operator bool() const { return m_degree <= m_maxDegree; }
    const Exponents& operator*() const { return m_exponents; }
    MonomIterator& operator++();

   private:
    Exponents m_exponents{};
    unsigned int m_degree = 0;
    unsigned int m_maxDegree;
  };

  ~KoFunctionPolynomialBase() override;

  std::uint32_t GetDegree() const { return m_degree; }
  unsigned int GetCoefficientCount() const { return m_coefficients.GetSize(); }
  // The index is not checked.
  S GetCoefficient(unsigned int i) const { return m_coefficients[i]; }
  void SetCoefficient(unsigned int i, S value) { m_coefficients[i] = value; }

  // Sizes the coefficients for `degree` (one per monomial of total degree at
  // most `degree`) and sets all of them to 0, also when the degree is
  // unchanged. Storage grows as needed and is never shrunk.
  void SetDegree(std::uint32_t degree);

  MonomIterator GetMonomIterator() const { return MonomIterator(m_degree); }

  virtual void Serialize(KbStreamWriteBinary& stream) const;
  // Replaces coefficients and degree together: a bad or truncated record
  // throws and leaves both as they were.
  virtual void Serialize(KbStreamReadBinary& stream);

 protected:
  // Degree 0 with one coefficient 0.
  KoFunctionPolynomialBase();
  // The moves copy too: a moved-from polynomial keeps its degree and the
  // coefficients that go with it, never a degree without coefficients.
  KoFunctionPolynomialBase(const KoFunctionPolynomialBase&) = default;
  KoFunctionPolynomialBase(KoFunctionPolynomialBase&& other)
      : KoFunctionPolynomialBase(static_cast<const KoFunctionPolynomialBase&>(other)) {}
  KoFunctionPolynomialBase& operator=(const KoFunctionPolynomialBase&) = default;
  KoFunctionPolynomialBase& operator=(KoFunctionPolynomialBase&& other) {
    return *this = static_cast<const KoFunctionPolynomialBase&>(other);
  }

 private:
  KbArray<S> m_coefficients;
  std::uint32_t m_degree = 0;
};

extern template class KoFunctionPolynomialBase<float>;
extern template class KoFunctionPolynomialBase<KbVector3f>;
extern template class KoFunctionPolynomialBase<KbVector3d>;
