// KbMatrix4Rf, KbMatrix4Rd: 4x4 matrices stored row by row.
//
// Conventions, used by every routine of the library that takes a matrix:
//   - element (r, c) is stored at index 4r + c;
//   - row vectors are multiplied from the left: p' = (x, y, z, 1) * M;
//   - the translation is the fourth row (elements 12, 13, 14) and the fourth
//     column (3, 7, 11, 15) is (0, 0, 0, 1) for an affine transform.
// The element block is 16-byte aligned, so four-lane vector code may load
// whole rows without a copy.
#pragma once

#include "base/KbExport.h"
#include "base/KbVector.h"

namespace kb_detail {

template <class T>
class KOBASE_API KbMatrix4RT {
 public:
  // The identity.
  constexpr KbMatrix4RT()
      : m_data{T(1), T(0), T(0), T(0), T(0), T(1), T(0), T(0),
               T(0), T(0), T(1), T(0), T(0), T(0), T(0), T(1)} {}

  // The sixteen values in storage order (row 0 first).
  constexpr KbMatrix4RT(T m00, T m01, T m02, T m03, T m10, T m11, T m12, T m13, T m20, T m21, T m22,
                        T m23, T m30, T m31, T m32, T m33)
      : m_data{m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33} {}

  // Every element set to `value` (the invalid-matrix constants use this).
  static constexpr KbMatrix4RT Filled(T value) {
    return KbMatrix4RT(value, value, value, value, value, value, value, value, value, value, value,
                       value, value, value, value, value);
  }

  constexpr T& operator()(unsigned int row, unsigned int col) { return m_data[4 * row + col]; }
  constexpr const T& operator()(unsigned int row, unsigned int col) const {
    return m_data[4 * row + col];
  }
  constexpr T& operator[](unsigned int index) { return m_data[index]; }
  constexpr const T& operator[](unsigned int index) const { return m_data[index]; }

  T* GetData() { return m_data; }
  const T* GetData() const { return m_data; }

  // this * other: applying the result to a row vector applies `this` first.
  KbMatrix4RT operator*(const KbMatrix4RT& other) const;

  // Exact, element by element (NaN elements never compare equal).
  bool operator==(const KbMatrix4RT& other) const;

  // (p.x, p.y, p.z, 1) * M, divided by the resulting w (no test for w == 0).
  KbVector3T<T> TransformPoint(const KbVector3T<T>& p) const;

 private:
  alignas(16) T m_data[16];
};

extern template class KbMatrix4RT<float>;
extern template class KbMatrix4RT<double>;

}  // namespace kb_detail

using KbMatrix4Rf = kb_detail::KbMatrix4RT<float>;
using KbMatrix4Rd = kb_detail::KbMatrix4RT<double>;
