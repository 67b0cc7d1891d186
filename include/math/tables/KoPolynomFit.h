// KoPolynomFit<T>: weighted linear least-squares fit of a polynomial.
//
// Fits c[0] + c[1]·x + … + c[degree]·x^degree to points (x_i, y_i) with
// standard deviations sigma_i by solving the normal equations of the
// monomial basis with Gauss–Jordan elimination and full pivoting (the
// method of Numerical Recipes, "gaussj"), then reports the chi-square
// sum_i ((y_i − p(x_i)) / sigma_i)². Everything is computed in T.
//
//   KoPolynomFit<float> fit;
//   fit.SetInput(points, sigmas, 3, coefficients);   // stores references
//   if (fit.Compute(KoAlgorithm::eComputeDefault)) chi2 = fit.GetOutput();
//
// Only the float form exists.
#pragma once

#include <cstdint>

#include "base/KbArray.h"
#include "base/KoAlgorithm.h"
#include "base/KoArray2D.h"
#include "base/KoPoint.h"
#include "math/KoMathExport.h"

template <class T>
class KOMATH_API KoPolynomFit : public KoAlgorithm {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  KoPolynomFit();
  KoPolynomFit(const KoPolynomFit& other);
  KoPolynomFit& operator=(const KoPolynomFit& other);
  ~KoPolynomFit() override;

  // Stores references to the caller's arrays (they must outlive every
  // Compute) and the degree; marks the results stale. `coefficients` is
  // resized to degree + 1 by Compute and must not be one of the inputs.
  void SetInput(const KbArray<KoPoint<T>>& points, const KbArray<T>& sigmas, unsigned int degree,
                KbArray<T>& coefficients);

  // The chi-square of the last fit. Throws KbException before a successful
  // Compute.
  T GetOutput() const;

 protected:
  // True when inputs are set, there is one sigma per point and more points
  // than the degree.
  bool checkPreConditions() const override;

  // A singular normal matrix does not fail: the coefficients are whatever
  // the interrupted elimination left, and the chi-square is computed with
  // them. A sigma of 0 gives non-finite results.
  void compute() override;

  // p[0] = 1, p[k] = x·p[k−1]; p's own size decides how many powers.
  static void powers(T x, KbArray<T>& p);

 private:
  void accumulateNormalEquations(KbArray<T>& rhs);
  T chiSquare() const;

  const KbArray<KoPoint<T>>* m_points = nullptr;
  const KbArray<T>* m_sigmas = nullptr;
  KbArray<T>* m_coefficients = nullptr;
  // The normal matrix; after compute it holds its own inverse (left there by
  // the elimination) with the columns in pivot order.
  KoArray2D<T> m_normalMatrix;
  std::uint32_t m_degree = 0;
  T m_chiSquare = 0;
};

template <>
const KbRTTI KoPolynomFit<float>::RTTI;

extern template class KoPolynomFit<float>;
