// KoGridFilter: correlation of 2-D and 3-D float grids with kernels.
//
//   out(x, y) = sum over j, then i, of kernel(i, j) * in(x + i - cx, y + j - cy)
//
// with (cx, cy) the kernel's middle cell: correlation, the kernel is not
// flipped. This is scipy.ndimage.correlate (not convolve) and OpenCV's
// filter2D; convolution is correlation with the kernel turned by 180
// degrees. Every output cell is computed in float with that order of
// summation (kernel rows outer, columns inner; for 3-D slices outermost).
// The kernels come from KoConvolutionKernelFactory or from the caller.
//
// Cells outside the grid are supplied by the border mode, shown for an axis
// a b c d (the scipy.ndimage mode and OpenCV border of the same cells in
// brackets):
//   eClamp    a a a | a b c d | d d d   the edge cell continues
//                                       [nearest, BORDER_REPLICATE];
//   eZero     0 0 0 | a b c d | 0 0 0   [constant with cval 0,
//                                       BORDER_CONSTANT];
//   eWrap     b c d | a b c d | a b c   the axis repeats [wrap,
//                                       BORDER_WRAP];
//   eReflect  c b a | a b c d | d c b   reflected about the edge, edge cell
//                                       repeated [reflect, BORDER_REFLECT];
//   eMirror   d c b | a b c d | c b a   reflected about the edge cell, not
//                                       repeated [mirror, BORDER_REFLECT_101].
// The patterns continue without end, so kernels larger than the grid are
// fine (cells are then visited more than once): eWrap has period n,
// eReflect 2n and eMirror 2n - 2 (an axis of one cell supplies that cell
// everywhere), exactly as scipy.ndimage extends its lines.
//
// eZero's outside cells are zeros that take part in the arithmetic like any
// other cell, along every axis: a finite weight over them adds nothing,
// while a NaN or infinite weight over them makes that output cell NaN
// (0 * NaN, 0 * inf), as in scipy.ndimage.
//
// ApplySeparable applies odd-length rows of weights, one per axis (or one
// row for every axis), first along z, then y, then x, at O(r) per cell
// instead of O(r^2) or O(r^3); it equals Apply with the outer product of
// the rows up to float rounding (scipy.ndimage.correlate1d along each axis
// in turn). The rows may differ in length.
//
// `out` must already have the size of `in`. It may be the same grid as `in`
// or as `kernel` (or both): whatever `out` aliases is copied first, so the
// result is the one of distinct grids. Bad arguments (an even-sized kernel
// or row, `out` of another size, an unknown border mode) throw KbException
// with a message naming the argument, and nothing is written.
#pragma once

#include <cstdint>

#include "base/KbArray.h"
#include "base/KoArray2D.h"
#include "base/KoArray3D.h"
#include "math/KoMathExport.h"

class KOMATH_API KoGridFilter {
 public:
  // Fixed underlying type: a value outside the five (say from a cast) is
  // still a valid EBorder, which every function rejects with KbException.
  enum EBorder : std::uint32_t { eClamp = 0, eZero = 1, eWrap = 2, eReflect = 3, eMirror = 4 };

  KoGridFilter() = delete;

  // out = in correlated with kernel (scipy.ndimage.correlate, not convolve:
  // the kernel is not flipped); out may be in, kernel or both (copied first).
  static void Apply(const KoArray2D<float>& in, const KoArray2D<float>& kernel,
                    KoArray2D<float>& out, EBorder border);
  static void Apply(const KoArray3D<float>& in, const KoArray3D<float>& kernel,
                    KoArray3D<float>& out, EBorder border);

  // `row` along every axis.
  static void ApplySeparable(const KoArray2D<float>& in, const KbArray<float>& row,
                             KoArray2D<float>& out, EBorder border);
  static void ApplySeparable(const KoArray3D<float>& in, const KbArray<float>& row,
                             KoArray3D<float>& out, EBorder border);
  // `rowX` along x (within a grid row), `rowY` along y, `rowZ` along z; for
  // instance ApplySeparable(in, {-1, 0, 1}, {1, 2, 1}, out, border) is
  // Apply with the Sobel kernel dx of KoConvolutionKernelFactory.
  static void ApplySeparable(const KoArray2D<float>& in, const KbArray<float>& rowX,
                             const KbArray<float>& rowY, KoArray2D<float>& out, EBorder border);
  static void ApplySeparable(const KoArray3D<float>& in, const KbArray<float>& rowX,
                             const KbArray<float>& rowY, const KbArray<float>& rowZ,
                             KoArray3D<float>& out, EBorder border);
};
