// KoMatrixDiagonal<T>: a square diagonal matrix stored as its diagonal.
//
// Holds the singular values of KoSingularValueDecomposition. Only the
// double form exists.
#pragma once

#include <vector>

#include "math/KoMathExport.h"

template <class T>
class KOMATH_API KoMatrixDiagonal {
 public:
  // An n x n matrix with every diagonal element 0.
  explicit KoMatrixDiagonal(unsigned int n);
  KoMatrixDiagonal(const KoMatrixDiagonal& other);
  KoMatrixDiagonal& operator=(const KoMatrixDiagonal& other);

  // Element (i, i), the i-th singular value. No bounds check: i < GetSize().
  // The mutable accessor is the class's first virtual operation.
  virtual T& operator()(unsigned int i);
  virtual const T& operator()(unsigned int i) const;
  virtual ~KoMatrixDiagonal();

  // The order n (the count of diagonal elements).
  unsigned int GetSize() const { return static_cast<unsigned int>(m_diagonal.size()); }

  T* GetData() { return m_diagonal.data(); }
  const T* GetData() const { return m_diagonal.data(); }

 private:
  std::vector<T> m_diagonal;
};

extern template class KoMatrixDiagonal<double>;
