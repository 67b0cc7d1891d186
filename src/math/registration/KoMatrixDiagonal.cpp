#include "math/registration/KoMatrixDiagonal.h"

template <class T>
KoMatrixDiagonal<T>::KoMatrixDiagonal(unsigned int n) : m_diagonal(n, T(0)) {}

template <class T>
KoMatrixDiagonal<T>::KoMatrixDiagonal(const KoMatrixDiagonal&) = default;

template <class T>
KoMatrixDiagonal<T>& KoMatrixDiagonal<T>::operator=(const KoMatrixDiagonal&) = default;

template <class T>
KoMatrixDiagonal<T>::~KoMatrixDiagonal() = default;

template <class T>
T& KoMatrixDiagonal<T>::operator()(unsigned int i) {
  return m_diagonal[i];
}

template <class T>
const T& KoMatrixDiagonal<T>::operator()(unsigned int i) const {
  return m_diagonal[i];
}

template class KoMatrixDiagonal<double>;
