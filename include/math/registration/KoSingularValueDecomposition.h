// KoSingularValueDecomposition<T>: A = U · W · Vᵀ for a real m x n matrix.
//
// n is the input's width (its columns), m its height (its rows). U has the
// input's shape (m x n, orthonormal columns where the rank allows), W holds
// the n non-negative singular values and V is n x n orthogonal (V itself,
// not its transpose). The factorisation is the Golub–Reinsch method in the
// form of Numerical Recipes in C, 2nd ed., "svdcmp" (Press, Teukolsky,
// Vetterling, Flannery 1992), zero-based and in double throughout:
// Householder reduction to bidiagonal form, accumulation of the right-hand
// and left-hand transformations, then implicitly shifted QR sweeps on the
// bidiagonal form. The library uses it on 3x3 and 2x2 cross-covariance
// matrices (Procrustes alignment); other shapes work as well, including
// m < n and empty inputs.
//
//   KoSingularValueDecomposition<double> svd;
//   svd.GetFlags().Set(KoSingularValueDecomposition<double>::eSortDecreasing);
//   svd.SetInput(a);                       // keeps a pointer to a
//   if (svd.Compute(KoAlgorithm::eComputeDefault)) svd.GetW(w);
//
// Numerical breakdown: a value that has not converged after 29 QR sweeps
// (the 30th split test still fails) throws KbException without a message
// out of Compute. That is what a NaN or infinite input leads to.
//
// Only the double form exists.
#pragma once

#include <cstdint>

#include "base/KbArray.h"
#include "base/KbFlags.h"
#include "base/KoAlgorithm.h"
#include "base/KoArray2D.h"
#include "math/KoMathExport.h"
#include "math/registration/KoMatrixDiagonal.h"

template <class T>
class KOMATH_API KoSingularValueDecomposition : public KoAlgorithm {
 public:
  enum EFlags : std::uint32_t {
    // Sort the singular values into decreasing order. The sort is a
    // selection sort; every swap of two columns of U and of V is followed by
    // the negation of the whole of U and of the whole of V. U·W·Vᵀ stays the
    // same; for an odd order (3x3) the negation undoes the determinant sign
    // flip of the column swap, so rotations stay rotations, while for an even
    // order (2x2) it does not. Both are relied upon. Among equal values the
    // first stays first.
    eSortDecreasing = 1,
  };

  KoSingularValueDecomposition();
  KoSingularValueDecomposition(const KoSingularValueDecomposition&) = delete;
  KoSingularValueDecomposition& operator=(const KoSingularValueDecomposition&) = delete;
  ~KoSingularValueDecomposition() override;

  // Keeps a pointer to `a` (it must stay alive and unchanged until Compute
  // has returned; the results are copies and do not need it) and marks the
  // results stale.
  void SetInput(const KoArray2D<T>& a);

  // Options; change them before Compute.
  const KbFlags<EFlags>& GetFlags() const { return m_flags; }
  KbFlags<EFlags>& GetFlags() { return m_flags; }

  // Copies of the results into the caller's arrays, which are resized to
  // fit (U: width n, height m; W: n values; V: width n, height n). Each
  // throws KbException before a successful Compute.
  void GetU(KoArray2D<T>& u) const;
  void GetW(KbArray<T>& w) const;
  void GetV(KoArray2D<T>& v) const;

 protected:
  // True when an input is set.
  bool checkPreConditions() const override;
  // Overwrites the previous results (reusing their storage when the shape
  // is the same). On a KbException the results count as not calculated.
  void compute() override;

 private:
  void sortDecreasing();

  KbFlags<EFlags> m_flags;
  const KoArray2D<T>* m_input = nullptr;
  // The results of the last Compute (partial after a throw); their storage
  // is kept from one Compute to the next.
  KoArray2D<T> m_u;
  KoMatrixDiagonal<T> m_w{0};
  KoArray2D<T> m_v;
};

extern template class KoSingularValueDecomposition<double>;
