// General inversion of a 4x4 element block, float and double.
//
// The routines work on the raw element block of a matrix through the view
// SDataMat: sixteen elements stored row by row, element (r, c) at 4r + c
// (the layout of KbMatrix4Rf / KbMatrix4Rd). The inverse of a row-major
// block is the row-major inverse, so the storage order does not matter for
// the result; it matters only for where `det` comes from (the same value in
// either reading).
//
// The two precisions deliberately differ on a singular block:
//   - double: a determinant of exactly 0.0 leaves the block untouched;
//   - float:  there is no test; 1/det is taken unconditionally, so a singular
//             block is overwritten with infinities or NaN.
// A nearly singular block is inverted in both precisions, however poor the
// result; callers who care check `det` themselves.
#pragma once

#include "base/KbMatrix4R.h"
#include "math/KoMathExport.h"

// A non-owning view of the sixteen elements of a 4x4 block.
// Aligned == 1 promises that `data` is 16-byte aligned (the aligned Invert
// uses aligned vector loads and faults otherwise); Aligned == 0 promises
// nothing and costs a copy to aligned storage and back.
template <class T, int Rows, int Cols, int Aligned>
struct SDataMat {
  static_assert(Rows == 4 && Cols == 4, "only 4x4 blocks are supported");
  static_assert(Aligned == 0 || Aligned == 1, "Aligned is 0 or 1");

  explicit SDataMat(T* elements) : data(elements) {}
  // A KbMatrix4R element block is always 16-byte aligned, so either form may view it.
  explicit SDataMat(kb_detail::KbMatrix4RT<T>& matrix) : data(matrix.GetData()) {}

  T* data;
};

namespace KbMatrixInternal {

// Inverts the block in place by cofactor expansion (adjugate over determinant).
// The determinant is written to *det first, when det is not null; det must
// not point into the block. Never throws, never allocates.
// Float: no singularity test (see the file comment).
KOMATH_API void Invert(SDataMat<float, 4, 4, 1>& block, float* det = nullptr);
KOMATH_API void Invert(SDataMat<float, 4, 4, 0>& block, float* det = nullptr);
// Double: a block whose determinant is exactly 0.0 is left unchanged.
KOMATH_API void Invert(SDataMat<double, 4, 4, 1>& block, double* det = nullptr);
KOMATH_API void Invert(SDataMat<double, 4, 4, 0>& block, double* det = nullptr);

// The same on a whole matrix (its block is aligned, so no copy is made).
KOMATH_API void Invert(KbMatrix4Rf& matrix, float* det = nullptr);
KOMATH_API void Invert(KbMatrix4Rd& matrix, double* det = nullptr);

}  // namespace KbMatrixInternal
