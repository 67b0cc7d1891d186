// The portable scalar form of the 4x4 cofactor inversion (see
// KbMatrixInternal.cpp for the scheme). It evaluates exactly the
// expressions of the SSE forms in the same order, so all forms give the
// same bits; KbMatrixInternal.cpp uses it where the vector instructions of
// a precision are unavailable, and the tests compile it on every target to
// compare it with the vector forms bit for bit.
//
// Internal header: header-only so that a test can build it without the
// library's vector paths; it needs the library's -ffp-contract=off.
#pragma once

namespace KbMatrixInvertPortable {

// Lane l of P_k.
template <class T>
inline T SignedColumnLane(const T* m, unsigned int k, unsigned int lane) {
  static constexpr unsigned int kRowOfLane[] = {1, 0, 3, 2};
  const T value = m[4 * kRowOfLane[lane] + k];
  return (lane & 1u) != 0 ? -value : value;
}

template <class T>
inline T Minor2x2(const T* x, const T* y, unsigned int i, unsigned int j) {
  return x[i] * y[j] - x[j] * y[i];
}

// Writes the adjugate (transposed cofactors) to adj and returns the determinant.
template <class T>
inline T AdjugateAndDeterminant(const T* m, T* adj) {
  // minor[l / 2][pair]: lanes 0, 1 use the (c, d) minors, lanes 2, 3 the (a, b) ones.
  enum { k01, k02, k03, k12, k13, k23 };
  T minor[2][6];
  for (unsigned int half = 0; half < 2; ++half) {
    const T* x = half == 0 ? m + 8 : m;
    const T* y = x + 4;
    minor[half][k01] = Minor2x2(x, y, 0, 1);
    minor[half][k02] = Minor2x2(x, y, 0, 2);
    minor[half][k03] = Minor2x2(x, y, 0, 3);
    minor[half][k12] = Minor2x2(x, y, 1, 2);
    minor[half][k13] = Minor2x2(x, y, 1, 3);
    minor[half][k23] = Minor2x2(x, y, 2, 3);
  }
  for (unsigned int l = 0; l < 4; ++l) {
    const T* kl = minor[l / 2];
    const T p0 = SignedColumnLane(m, 0, l), p1 = SignedColumnLane(m, 1, l);
    const T p2 = SignedColumnLane(m, 2, l), p3 = SignedColumnLane(m, 3, l);
    adj[0 + l] = (p1 * kl[k23] - p2 * kl[k13]) + p3 * kl[k12];
    adj[4 + l] = (p2 * kl[k03] - p0 * kl[k23]) - p3 * kl[k02];
    adj[8 + l] = (p0 * kl[k13] - p1 * kl[k03]) + p3 * kl[k01];
    adj[12 + l] = (p1 * kl[k02] - p0 * kl[k12]) - p2 * kl[k01];
  }
  const T* s = minor[1];
  const T* k = minor[0];
  return ((s[k01] * k[k23] + s[k23] * k[k01]) - (s[k02] * k[k13] + s[k13] * k[k02])) +
         (s[k03] * k[k12] + s[k12] * k[k03]);
}

// Scales the adjugate by the reciprocal (not a division per element: one
// rounding of 1/det, then one per element).
template <class T>
inline void StoreScaledAdjugate(const T* adj, T det, T* m) {
  const T reciprocal = T(1) / det;
  for (unsigned int i = 0; i < 16; ++i) m[i] = adj[i] * reciprocal;
}

// In place, the determinant to *det first when det is not null. Float
// takes 1/det unconditionally; double leaves a block of determinant
// exactly 0.0 unchanged (see KbMatrixInternal.h).
inline void Invert(float* m, float* det) {
  float adj[16];
  const float determinant = AdjugateAndDeterminant(m, adj);
  if (det != nullptr) *det = determinant;
  StoreScaledAdjugate(adj, determinant, m);
}

inline void Invert(double* m, double* det) {
  double adj[16];
  const double determinant = AdjugateAndDeterminant(m, adj);
  if (det != nullptr) *det = determinant;
  if (determinant == 0.0) return;  // singular: keep the caller's matrix
  StoreScaledAdjugate(adj, determinant, m);
}

}  // namespace KbMatrixInvertPortable
