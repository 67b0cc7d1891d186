#include "math/foundations/KbMatrixInternal.h"

#include <cstring>

#include "KbMatrixInvertPortable.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__SSE__)
#include <xmmintrin.h>
#endif

// Cofactor inversion through the twelve 2x2 minors of the row pairs (a, b)
// and (c, d), where a, b, c, d are the four rows of the block:
//   s_ij = a_i b_j - a_j b_i,   k_ij = c_i d_j - c_j d_i   (i < j).
// By Laplace expansion along the row pairs, each row of the adjugate is a
// three-term combination of one such minor per lane with a column of the
// block. With
//   P_k = (b_k, -a_k, d_k, -c_k)        (column k, rows reordered and signed)
//   K_ij = (k_ij, k_ij, s_ij, s_ij)     (the complementary minor per lane)
// the adjugate rows are
//   adj_0 = (P_1 K_23 - P_2 K_13) + P_3 K_12
//   adj_1 = (P_2 K_03 - P_0 K_23) - P_3 K_02
//   adj_2 = (P_0 K_13 - P_1 K_03) + P_3 K_01
//   adj_3 = (P_1 K_02 - P_0 K_12) - P_2 K_01
// The determinant comes straight from the minors (Laplace expansion along
// rows a and b), so that it is ready as soon as the adjugate is:
//   det = ((s01 k23 + s23 k01) - (s02 k13 + s13 k02)) + (s03 k12 + s12 k03).
// Like Intel's application note "Streaming SIMD Extensions - Inverse of 4x4
// Matrix", all cofactors are built from products of row pairs computed four at
// a time; here the terms are arranged so that every lane of a row does the
// same operations.
//
// Three forms evaluate exactly the same expressions in the same order and so
// give identical bits: the portable scalar template of
// KbMatrixInvertPortable.h (used for a precision whose vector instructions
// are unavailable, and compiled by the tests on every target so that it is
// checked against the vector forms), the four-lane SSE float form and the
// two-lane SSE2 double form.

namespace {

#if defined(__SSE__)

template <int I0, int I1, int I2, int I3>
__m128 Shuffle(__m128 x, __m128 y) {
  return _mm_shuffle_ps(x, y, _MM_SHUFFLE(I3, I2, I1, I0));
}

// Lane l is x_Il y_Jl - x_Jl y_Il, where lanes 0, 1 take x and y from the
// "low" rows and lanes 2, 3 from the "high" rows.
template <int I0, int I1, int I2, int I3, int J0, int J1, int J2, int J3>
__m128 Minors(__m128 xLow, __m128 xHigh, __m128 yLow, __m128 yHigh) {
  const __m128 left =
      _mm_mul_ps(Shuffle<I0, I1, I2, I3>(xLow, xHigh), Shuffle<J0, J1, J2, J3>(yLow, yHigh));
  const __m128 right =
      _mm_mul_ps(Shuffle<J0, J1, J2, J3>(xLow, xHigh), Shuffle<I0, I1, I2, I3>(yLow, yHigh));
  return _mm_sub_ps(left, right);
}

void InvertAligned(float* m, float* det) {
  const __m128 a = _mm_load_ps(m), b = _mm_load_ps(m + 4);
  const __m128 c = _mm_load_ps(m + 8), d = _mm_load_ps(m + 12);

  // (s01, s02, s03, s12), (k01, k02, k03, k12) and (s13, s23, k13, k23).
  const __m128 ab = Minors<0, 0, 0, 1, 1, 2, 3, 2>(a, a, b, b);
  const __m128 cd = Minors<0, 0, 0, 1, 1, 2, 3, 2>(c, c, d, d);
  const __m128 rest = Minors<1, 2, 1, 2, 3, 3, 3, 3>(a, c, b, d);
  const __m128 k01 = Shuffle<0, 0, 0, 0>(cd, ab), k02 = Shuffle<1, 1, 1, 1>(cd, ab);
  const __m128 k03 = Shuffle<2, 2, 2, 2>(cd, ab), k12 = Shuffle<3, 3, 3, 3>(cd, ab);
  const __m128 k13 = Shuffle<2, 2, 0, 0>(rest, rest), k23 = Shuffle<3, 3, 1, 1>(rest, rest);

  // Transposing the rows (b, -a, d, -c) yields the columns P_0 .. P_3.
  const __m128 signBit = _mm_set1_ps(-0.0f);
  __m128 p0 = b, p1 = _mm_xor_ps(a, signBit), p2 = d, p3 = _mm_xor_ps(c, signBit);
  _MM_TRANSPOSE4_PS(p0, p1, p2, p3);

  const __m128 adj0 =
      _mm_add_ps(_mm_sub_ps(_mm_mul_ps(p1, k23), _mm_mul_ps(p2, k13)), _mm_mul_ps(p3, k12));
  const __m128 adj1 =
      _mm_sub_ps(_mm_sub_ps(_mm_mul_ps(p2, k03), _mm_mul_ps(p0, k23)), _mm_mul_ps(p3, k02));
  const __m128 adj2 =
      _mm_add_ps(_mm_sub_ps(_mm_mul_ps(p0, k13), _mm_mul_ps(p1, k03)), _mm_mul_ps(p3, k01));
  const __m128 adj3 =
      _mm_sub_ps(_mm_sub_ps(_mm_mul_ps(p1, k02), _mm_mul_ps(p0, k12)), _mm_mul_ps(p2, k01));

  // Lanes 0..2 of (s01, s02, s03) (k23, k13, k12) + (s23, s13, s12) (k01, k02, k03)
  // hold the three paired terms of the determinant; lane 3 is not used.
  const __m128 paired = _mm_add_ps(_mm_mul_ps(ab, Shuffle<3, 2, 3, 2>(rest, cd)),
                                   _mm_mul_ps(Shuffle<1, 0, 3, 3>(rest, ab), cd));
  const __m128 determinant = _mm_add_ps(
      _mm_sub_ps(Shuffle<0, 0, 0, 0>(paired, paired), Shuffle<1, 1, 1, 1>(paired, paired)),
      Shuffle<2, 2, 2, 2>(paired, paired));
  if (det != nullptr) *det = _mm_cvtss_f32(determinant);

  const __m128 reciprocal = _mm_div_ps(_mm_set1_ps(1.0f), determinant);
  _mm_store_ps(m, _mm_mul_ps(adj0, reciprocal));
  _mm_store_ps(m + 4, _mm_mul_ps(adj1, reciprocal));
  _mm_store_ps(m + 8, _mm_mul_ps(adj2, reciprocal));
  _mm_store_ps(m + 12, _mm_mul_ps(adj3, reciprocal));
}

#else

void InvertAligned(float* m, float* det) {
  KbMatrixInvertPortable::Invert(m, det);
}

#endif

#if defined(__SSE2__)

// The double form of the same scheme: each four-lane row is split into the
// lane pairs (0, 1), which use the (c, d) minors, and (2, 3), which use the
// (a, b) minors. Every minor is computed once as the pair (k_ij, s_ij).
__m128d Swapped(__m128d v) {
  return _mm_shuffle_pd(v, v, 1);
}

// The paired determinant term s_ij k_uv + s_uv k_ij, in both lanes.
__m128d PairedTerm(__m128d minorIJ, __m128d minorUV) {
  const __m128d products = _mm_mul_pd(minorIJ, Swapped(minorUV));
  return _mm_add_pd(products, Swapped(products));
}

// (P_u K_x - P_v K_y) + P_w K_z, or with `subtractLast` (P_u K_x - P_v K_y) - P_w K_z.
__m128d Combine(__m128d pu, __m128d kx, __m128d pv, __m128d ky, __m128d pw, __m128d kz,
                bool subtractLast) {
  const __m128d head = _mm_sub_pd(_mm_mul_pd(pu, kx), _mm_mul_pd(pv, ky));
  return subtractLast ? _mm_sub_pd(head, _mm_mul_pd(pw, kz)) : _mm_add_pd(head, _mm_mul_pd(pw, kz));
}

void InvertAligned(double* m, double* det) {
  __m128d row[4][2];
  for (unsigned int r = 0; r < 4; ++r) {
    row[r][0] = _mm_load_pd(m + 4 * r);
    row[r][1] = _mm_load_pd(m + 4 * r + 2);
  }
  // x[i] = (c_i, a_i), y[i] = (d_i, b_i); minor[ij] = (k_ij, s_ij).
  __m128d x[4], y[4];
  for (unsigned int h = 0; h < 2; ++h) {
    x[2 * h] = _mm_unpacklo_pd(row[2][h], row[0][h]);
    x[2 * h + 1] = _mm_unpackhi_pd(row[2][h], row[0][h]);
    y[2 * h] = _mm_unpacklo_pd(row[3][h], row[1][h]);
    y[2 * h + 1] = _mm_unpackhi_pd(row[3][h], row[1][h]);
  }
  const auto minor = [&](unsigned int i, unsigned int j) {
    return _mm_sub_pd(_mm_mul_pd(x[i], y[j]), _mm_mul_pd(x[j], y[i]));
  };
  const __m128d m01 = minor(0, 1), m02 = minor(0, 2), m03 = minor(0, 3);
  const __m128d m12 = minor(1, 2), m13 = minor(1, 3), m23 = minor(2, 3);

  const __m128d determinant =
      _mm_add_pd(_mm_sub_pd(PairedTerm(m01, m23), PairedTerm(m02, m13)), PairedTerm(m03, m12));
  if (det != nullptr) *det = _mm_cvtsd_f64(determinant);
  if (_mm_cvtsd_f64(determinant) == 0.0) return;  // singular: keep the caller's matrix
  const __m128d reciprocal = _mm_div_pd(_mm_set1_pd(1.0), determinant);

  const __m128d signBit = _mm_set1_pd(-0.0);
  for (unsigned int h = 0; h < 2; ++h) {
    // Lane pair h of P_k is (b_k, -a_k) for h = 0 and (d_k, -c_k) for h = 1;
    // K_ij is k_ij broadcast for h = 0 and s_ij for h = 1.
    const __m128d upper = row[2 * h + 1][0], upperHigh = row[2 * h + 1][1];
    const __m128d lower = _mm_xor_pd(row[2 * h][0], signBit);
    const __m128d lowerHigh = _mm_xor_pd(row[2 * h][1], signBit);
    const __m128d p0 = _mm_unpacklo_pd(upper, lower), p1 = _mm_unpackhi_pd(upper, lower);
    const __m128d p2 = _mm_unpacklo_pd(upperHigh, lowerHigh);
    const __m128d p3 = _mm_unpackhi_pd(upperHigh, lowerHigh);
    const auto k = [h](__m128d pair) {
      return h == 0 ? _mm_unpacklo_pd(pair, pair) : _mm_unpackhi_pd(pair, pair);
    };
    const __m128d k01 = k(m01), k02 = k(m02), k03 = k(m03), k12 = k(m12), k13 = k(m13),
                  k23 = k(m23);
    _mm_store_pd(m + 2 * h, _mm_mul_pd(Combine(p1, k23, p2, k13, p3, k12, false), reciprocal));
    _mm_store_pd(m + 4 + 2 * h, _mm_mul_pd(Combine(p2, k03, p0, k23, p3, k02, true), reciprocal));
    _mm_store_pd(m + 8 + 2 * h, _mm_mul_pd(Combine(p0, k13, p1, k03, p3, k01, false), reciprocal));
    _mm_store_pd(m + 12 + 2 * h, _mm_mul_pd(Combine(p1, k02, p0, k12, p2, k01, true), reciprocal));
  }
}

#else

void InvertAligned(double* m, double* det) {
  KbMatrixInvertPortable::Invert(m, det);
}

#endif

// memcpy of a constant 64 or 128 bytes compiles to a few vector moves; the
// copy cannot overlap the caller's block.
template <class T>
void InvertUnaligned(SDataMat<T, 4, 4, 0>& block, T* det) {
  alignas(16) T copy[16];
  std::memcpy(copy, block.data, sizeof(copy));
  InvertAligned(copy, det);
  std::memcpy(block.data, copy, sizeof(copy));
}

}  // namespace

namespace KbMatrixInternal {

void Invert(SDataMat<float, 4, 4, 1>& block, float* det) {
  InvertAligned(block.data, det);
}
void Invert(SDataMat<float, 4, 4, 0>& block, float* det) {
  InvertUnaligned(block, det);
}
void Invert(SDataMat<double, 4, 4, 1>& block, double* det) {
  InvertAligned(block.data, det);
}
void Invert(SDataMat<double, 4, 4, 0>& block, double* det) {
  InvertUnaligned(block, det);
}

void Invert(KbMatrix4Rf& matrix, float* det) {
  InvertAligned(matrix.GetData(), det);
}
void Invert(KbMatrix4Rd& matrix, double* det) {
  InvertAligned(matrix.GetData(), det);
}

}  // namespace KbMatrixInternal
