#include "math/tables/KoPolynomFit.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "KoGaussJordan.h"

namespace {

// Sums the weighted normal equations point by point: for every point the
// powers p, w = 1/(sigma·sigma), and for each column j with f = w·p[j] the
// terms f·p[k] (k <= j) and f·y. Only that lower half is stored, at (row j,
// column k); the caller mirrors it into the upper half, which is left as it
// was. `powers` fills p as the class's powers() does.
template <class T, class Powers>
void AccumulateAnySize(const KbArray<KoPoint<T>>& points, const KbArray<T>& sigmas, unsigned int m,
                       T* a, T* b, Powers powers) {
  KbArray<T> p(m);
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    const KoPoint<T> point = points[i];
    powers(point.x, p);
    const T weight = T(1) / (sigmas[i] * sigmas[i]);
    for (unsigned int j = 0; j < m; ++j) {
      const T f = weight * p[j];
      for (unsigned int k = 0; k <= j; ++k) a[j * m + k] += f * p[k];
      b[j] += f * point.y;
    }
  }
}

// The same sums for a size M known at compile time, one column of sums per
// SIMD register (the compilers' vector extension): lane k of column j adds
// f·p[k], lane j of the right-hand side f·y, each exactly the scalar
// operation, so every sum is formed in the same order as above. The columns
// are summed whole (a register per column), the lower half stored.
template <class T, unsigned int Lanes>
struct SimdLanes {
  typedef T Type __attribute__((vector_size(Lanes * sizeof(T))));
};

template <unsigned int M, class T>
void AccumulateFixedSize(const KbArray<KoPoint<T>>& points, const KbArray<T>& sigmas, T* a, T* b) {
  using V = typename SimdLanes<T, (M <= 4 ? 4 : 8)>::Type;
  V columns[M] = {};
  V rhs = {};
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    const KoPoint<T> point = points[i];
    V p = {};
    T power = 1;
#pragma GCC unroll 8
    for (unsigned int k = 0; k < M; ++k, power = point.x * power) p[k] = power;
    const T weight = T(1) / (sigmas[i] * sigmas[i]);
    const V f = weight * p;
    // Unrolled so that the columns stay in registers.
#pragma GCC unroll 8
    for (unsigned int j = 0; j < M; ++j) columns[j] += f[j] * p;
    rhs += f * point.y;
  }
  for (unsigned int j = 0; j < M; ++j) {
    for (unsigned int k = 0; k <= j; ++k) a[j * M + k] = columns[j][k];
    b[j] = rhs[j];
  }
}

// Runs kernel.template operator()<M>() with M = m for sizes up to this many
// coefficients, and with M = 0 (size known only at run time) above.
constexpr unsigned int c_uiLargestFixedSize = 8;

template <unsigned int M = 1, class Kernel>
decltype(auto) WithFixedSize(unsigned int m, Kernel&& kernel) {
  if constexpr (M > c_uiLargestFixedSize) {
    return kernel.template operator()<0>();
  } else {
    if (m == M) return kernel.template operator()<M>();
    return WithFixedSize<M + 1>(m, kernel);
  }
}

// sum_i ((y_i − sum_k c[k]·x_i^k) / sigma_i)², the inner sum from k = 0 up,
// accumulated point by point. M as above (0: `m` at run time).
template <unsigned int M, class T>
T ChiSquareSized(const KbArray<KoPoint<T>>& points, const KbArray<T>& sigmas, const T* c,
                 unsigned int m) {
  const unsigned int size = M != 0 ? M : m;
  T sum = 0;
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    const KoPoint<T> point = points[i];
    T fitted = 0;
    T power = 1;
#pragma GCC unroll 8
    for (unsigned int k = 0; k < size; ++k, power = point.x * power) fitted += c[k] * power;
    const T residual = (point.y - fitted) / sigmas[i];
    sum += residual * residual;
  }
  return sum;
}

}  // namespace

template <class T>
KoPolynomFit<T>::KoPolynomFit() = default;
template <class T>
KoPolynomFit<T>::KoPolynomFit(const KoPolynomFit&) = default;
template <class T>
KoPolynomFit<T>& KoPolynomFit<T>::operator=(const KoPolynomFit&) = default;
template <class T>
KoPolynomFit<T>::~KoPolynomFit() = default;

template <class T>
void KoPolynomFit<T>::SetInput(const KbArray<KoPoint<T>>& points, const KbArray<T>& sigmas,
                               unsigned int degree, KbArray<T>& coefficients) {
  m_points = &points;
  m_sigmas = &sigmas;
  m_coefficients = &coefficients;
  m_degree = degree;
  setInputChanged();
}

template <class T>
T KoPolynomFit<T>::GetOutput() const {
  checkOutputData();
  return m_chiSquare;
}

template <class T>
bool KoPolynomFit<T>::checkPreConditions() const {
  return m_points != nullptr && m_sigmas != nullptr && m_coefficients != nullptr &&
         m_points->GetSize() == m_sigmas->GetSize() && m_points->GetSize() > m_degree;
}

template <class T>
void KoPolynomFit<T>::powers(T x, KbArray<T>& p) {
  T power = 1;
  std::generate(p.begin(), p.end(), [&] { return std::exchange(power, x * power); });
}

template <class T>
void KoPolynomFit<T>::compute() {
  const unsigned int m = m_degree + 1;
  m_coefficients->Resize(m);
  m_normalMatrix = KoArray2D<T>(m, m);
  KbArray<T> rhs(m);
  accumulateNormalEquations(rhs);
  KoSolveGaussJordan(m_normalMatrix.GetData(), rhs.GetData(), m);
  std::copy_n(rhs.GetData(), m, m_coefficients->GetData());
  m_chiSquare = chiSquare();
}

template <class T>
void KoPolynomFit<T>::accumulateNormalEquations(KbArray<T>& rhs) {
  const unsigned int m = m_degree + 1;
  T* a = m_normalMatrix.GetData();
  WithFixedSize(m, [&]<unsigned int M>() {
    if constexpr (M == 0) {
      AccumulateAnySize(*m_points, *m_sigmas, m, a, rhs.GetData(), &KoPolynomFit::powers);
    } else {
      AccumulateFixedSize<M>(*m_points, *m_sigmas, a, rhs.GetData());
    }
  });
  for (unsigned int j = 1; j < m; ++j) {
    for (unsigned int k = 0; k != j; ++k) a[k * m + j] = a[j * m + k];
  }
}

template <class T>
T KoPolynomFit<T>::chiSquare() const {
  const unsigned int m = m_coefficients->GetSize();
  return WithFixedSize(m, [&]<unsigned int M>() {
    return ChiSquareSized<M>(*m_points, *m_sigmas, m_coefficients->GetData(), m);
  });
}

template class KoPolynomFit<float>;
