#include "math/registration/KoSingularValueDecomposition.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "base/KbException.h"
#include "math/foundations/KoMatrixFixed.h"

namespace {

// |a| with the sign of b, where -0 counts as positive (b >= 0).
template <class T>
T Sign(T a, T b) {
  return b >= T(0) ? std::fabs(a) : -std::fabs(a);
}

// sqrt(a² + b²) without destructive overflow or underflow: the larger
// magnitude is factored out. Both zero gives 0.
template <class T>
[[gnu::always_inline]] inline T Hypotenuse(T a, T b) {
  const T p = std::fabs(a);
  const T q = std::fabs(b);
  if (p > q) return p * std::sqrt(T(1) + (q / p) * (q / p));
  return q == T(0) ? p : q * std::sqrt(T(1) + (p / q) * (p / q));
}

// The rounded-sum split test: x is negligible against the norm when adding
// it does not change the norm in T. Deliberately not an epsilon comparison.
template <class T>
bool Negligible(T x, T anorm) {
  return std::fabs(x) + anorm == anorm;
}

// Golub–Reinsch on a (m x n, overwritten by U), w (n) and v (n x n, zero on
// entry), as "svdcmp" of Numerical Recipes in C, 2nd ed., shifted to
// zero-based indices. Every expression keeps the published operation order,
// sums included (they start from 0), so the results are the routine's bit
// for bit. The matrices are KoMatrixView for any shape or KoMatrixFixed for
// the 3x3 case, where the shape is known to the compiler and the loops
// unroll; both run the same operations in the same order.
template <class T, class MatrixA, class MatrixV>
void Decompose(MatrixA& a, T* const w, MatrixV& v) {
  const int m = int(a.GetRows());
  const int n = int(a.GetColumns());
  // The superdiagonal work vector, on the stack for the small shapes.
  T rv1Small[4] = {};
  std::vector<T> rv1Large(n > 4 ? std::size_t(n) : 0, T(0));
  T* const rv1 = n > 4 ? rv1Large.data() : rv1Small;
  T g = 0, scale = 0, anorm = 0, s = 0, f = 0, h = 0;
  int l = 0;

  // Householder reduction to bidiagonal form.
  for (int i = 0; i < n; ++i) {
    l = i + 1;
    rv1[i] = scale * g;
    g = s = scale = 0;
    if (i < m) {
      for (int k = i; k < m; ++k) scale += std::fabs(a(k, i));
      if (scale != T(0)) {
        for (int k = i; k < m; ++k) {
          a(k, i) /= scale;
          s += a(k, i) * a(k, i);
        }
        f = a(i, i);
        g = -Sign(std::sqrt(s), f);
        h = f * g - s;
        a(i, i) = f - g;
        for (int j = l; j < n; ++j) {
          s = 0;
          for (int k = i; k < m; ++k) s += a(k, i) * a(k, j);
          f = s / h;
          for (int k = i; k < m; ++k) a(k, j) += f * a(k, i);
        }
        for (int k = i; k < m; ++k) a(k, i) *= scale;
      }
    }
    w[i] = scale * g;
    g = s = scale = 0;
    // For the last column (l = n) the row is empty and scale stays 0.
    if (i < m) {
      for (int k = l; k < n; ++k) scale += std::fabs(a(i, k));
      if (scale != T(0)) {
        for (int k = l; k < n; ++k) {
          a(i, k) /= scale;
          s += a(i, k) * a(i, k);
        }
        f = a(i, l);
        g = -Sign(std::sqrt(s), f);
        h = f * g - s;
        a(i, l) = f - g;
        for (int k = l; k < n; ++k) rv1[k] = a(i, k) / h;
        for (int j = l; j < m; ++j) {
          s = 0;
          for (int k = l; k < n; ++k) s += a(j, k) * a(i, k);
          for (int k = l; k < n; ++k) a(j, k) += s * rv1[k];
        }
        for (int k = l; k < n; ++k) a(i, k) *= scale;
      }
    }
    const T bound = std::fabs(w[i]) + std::fabs(rv1[i]);
    anorm = std::max(bound, anorm);  // a NaN bound becomes the norm
  }

  // Accumulation of the right-hand transformations.
  for (int i = n - 1; i >= 0; --i) {
    if (i < n - 1) {
      if (g != T(0)) {
        // Divided twice, not by the product, to avoid a possible underflow.
        for (int j = l; j < n; ++j) v(j, i) = (a(i, j) / a(i, l)) / g;
        for (int j = l; j < n; ++j) {
          s = 0;
          for (int k = l; k < n; ++k) s += a(i, k) * v(k, j);
          for (int k = l; k < n; ++k) v(k, j) += s * v(k, i);
        }
      }
      for (int j = l; j < n; ++j) v(i, j) = v(j, i) = 0;
    }
    v(i, i) = 1;
    g = rv1[i];
    l = i;
  }

  // Accumulation of the left-hand transformations.
  for (int i = (m < n ? m : n) - 1; i >= 0; --i) {
    l = i + 1;
    g = w[i];
    for (int j = l; j < n; ++j) a(i, j) = 0;
    if (g != T(0)) {
      g = T(1) / g;
      for (int j = l; j < n; ++j) {
        s = 0;
        for (int k = l; k < m; ++k) s += a(k, i) * a(k, j);
        f = (s / a(i, i)) * g;
        for (int k = i; k < m; ++k) a(k, j) += f * a(k, i);
      }
      for (int j = i; j < m; ++j) a(j, i) *= g;
    } else {
      for (int j = i; j < m; ++j) a(j, i) = 0;
    }
    ++a(i, i);
  }

  // Diagonalisation of the bidiagonal form: for each singular value from the
  // last, split tests and QR sweeps until its superdiagonal element is
  // negligible.
  constexpr int c_maxSweeps = 29;
  for (int k = n - 1; k >= 0; --k) {
    for (int sweeps = 0;; ++sweeps) {
      bool cancel = true;
      int nm = 0;
      for (l = k; l >= 0; --l) {
        nm = l - 1;
        // rv1[0] is always 0, so a finite norm always splits at 0; asking for
        // l == 0 directly keeps a NaN norm from reaching w(-1).
        if (l == 0 || Negligible(rv1[l], anorm)) {
          cancel = false;
          break;
        }
        if (Negligible(w[nm], anorm)) break;
      }
      if (cancel) {
        // w[nm] is negligible: chase rv1[l] out of the matrix by Givens
        // rotations from the left, applied to U.
        T c = 0;
        s = 1;
        for (int i = l; i <= k; ++i) {
          f = s * rv1[i];
          rv1[i] = c * rv1[i];
          if (Negligible(f, anorm)) break;
          g = w[i];
          h = Hypotenuse(f, g);
          w[i] = h;
          h = T(1) / h;
          c = g * h;
          s = -f * h;
          for (int j = 0; j < m; ++j) {
            const T y = a(j, nm);
            const T z = a(j, i);
            a(j, nm) = y * c + z * s;
            a(j, i) = z * c - y * s;
          }
        }
      }
      T z = w[k];
      if (l == k) {
        // Converged; the value is made non-negative with the sign moved into
        // V's column.
        if (z < T(0)) {
          w[k] = -z;
          for (int j = 0; j < n; ++j) v(j, k) = -v(j, k);
        }
        break;
      }
      if (sweeps == c_maxSweeps) throw KbException();

      // Shift from the bottom 2x2 minor.
      T x = w[l];
      nm = k - 1;
      T y = w[nm];
      g = rv1[nm];
      h = rv1[k];
      f = ((y - z) * (y + z) + (g - h) * (g + h)) / (T(2) * h * y);
      g = Hypotenuse(f, T(1));
      f = ((x - z) * (x + z) + h * ((y / (f + Sign(g, f))) - h)) / x;

      // One QR sweep from l to k.
      T c = 1;
      s = 1;
      for (int j = l; j <= nm; ++j) {
        const int i = j + 1;
        g = rv1[i];
        y = w[i];
        h = s * g;
        g = c * g;
        z = Hypotenuse(f, h);
        rv1[j] = z;
        c = f / z;
        s = h / z;
        f = x * c + g * s;
        g = g * c - x * s;
        h = y * s;
        y *= c;
        for (int jj = 0; jj < n; ++jj) {
          x = v(jj, j);
          z = v(jj, i);
          v(jj, j) = x * c + z * s;
          v(jj, i) = z * c - x * s;
        }
        z = Hypotenuse(f, h);
        w[j] = z;
        // A zero z (rotation undefined) keeps the previous c and s.
        if (z != T(0)) {
          z = T(1) / z;
          c = f * z;
          s = h * z;
        }
        f = c * g + s * y;
        x = c * y - s * g;
        for (int jj = 0; jj < m; ++jj) {
          y = a(jj, j);
          z = a(jj, i);
          a(jj, j) = y * c + z * s;
          a(jj, i) = z * c - y * s;
        }
      }
      rv1[l] = 0;
      rv1[k] = f;
      w[k] = x;
    }
  }
}

template <class T>
void SwapColumns(KoArray2D<T>& array, unsigned int first, unsigned int second) {
  for (unsigned int y = 0; y < array.GetHeight(); ++y) std::swap(array(first, y), array(second, y));
}

template <class T>
void Negate(KoArray2D<T>& array) {
  T* data = array.GetData();
  const std::size_t count = std::size_t(array.GetWidth()) * array.GetHeight();
  for (std::size_t i = 0; i < count; ++i) data[i] = -data[i];
}

}  // namespace

template <class T>
KoSingularValueDecomposition<T>::KoSingularValueDecomposition() = default;

template <class T>
KoSingularValueDecomposition<T>::~KoSingularValueDecomposition() = default;

template <class T>
void KoSingularValueDecomposition<T>::SetInput(const KoArray2D<T>& a) {
  m_input = &a;
  setInputChanged();
}

template <class T>
void KoSingularValueDecomposition<T>::GetU(KoArray2D<T>& u) const {
  checkOutputData();
  u = m_u;
}

template <class T>
void KoSingularValueDecomposition<T>::GetW(KbArray<T>& w) const {
  checkOutputData();
  w.Resize(m_w.GetSize());
  for (unsigned int i = 0; i < m_w.GetSize(); ++i) w[i] = m_w.GetData()[i];
}

template <class T>
void KoSingularValueDecomposition<T>::GetV(KoArray2D<T>& v) const {
  checkOutputData();
  v = m_v;
}

template <class T>
bool KoSingularValueDecomposition<T>::checkPreConditions() const {
  return m_input != nullptr;
}

template <class T>
void KoSingularValueDecomposition<T>::compute() {
  const unsigned int n = m_input->GetWidth();
  if (m_w.GetSize() != n) m_w = KoMatrixDiagonal<T>(n);
  // Straight to the diagonal's storage: through its virtual accessor every
  // element access would be an opaque call.
  T* const w = m_w.GetData();
  std::fill(w, w + n, T(0));
  if (n == 3 && m_input->GetHeight() == 3) {
    // The Procrustes case, on the stack with the shape known to the compiler.
    KoMatrixFixed<T, 3, 3> a = ToFixed<T, 3, 3>(*m_input);
    KoMatrixFixed<T, 3, 3> v;
    Decompose(a, w, v);
    ToArray2D(a, 3, 3, m_u);
    ToArray2D(v, 3, 3, m_v);
  } else {
    m_u = *m_input;
    m_v = KoArray2D<T>(n, n);
    KoMatrixView<T> a(m_u);
    KoMatrixView<T> v(m_v);
    Decompose(a, w, v);
  }
  if (m_flags.IsSet(eSortDecreasing)) sortDecreasing();
}

template <class T>
void KoSingularValueDecomposition<T>::sortDecreasing() {
  KoMatrixDiagonal<T>& w = m_w;
  const unsigned int n = w.GetSize();
  for (unsigned int k = 0; k + 1 < n; ++k) {
    unsigned int largest = k;
    for (unsigned int j = k + 1; j < n; ++j) {
      if (w(j) > w(largest)) largest = j;
    }
    if (largest == k) continue;
    SwapColumns(m_u, k, largest);
    Negate(m_u);
    std::swap(w(k), w(largest));
    SwapColumns(m_v, k, largest);
    Negate(m_v);
  }
}

template class KoSingularValueDecomposition<double>;
