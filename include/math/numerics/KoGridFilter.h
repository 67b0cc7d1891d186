// KoGridFilter: correlation of 2-D and 3-D float grids with kernels.
//
//   out(x, y) = sum over j, then i, of kernel(i, j) * in(x + i - cx, y + j - cy)
//
// with (cx, cy) the kernel's middle cell: correlation, the kernel is not
// flipped (as common image libraries do), and every output cell is computed
// in float with that order of summation (kernel rows outer, columns inner;
// for 3-D slices outermost). The kernels come from
// KoConvolutionKernelFactory or from the caller.
//
// Cells outside the grid are supplied by the border mode:
//   eClamp  the nearest edge cell (the edge value continues);
//   eZero   nothing: outside cells contribute nothing, as zeros would;
//   eWrap   the grid repeats periodically, also when the kernel is larger
//           than the grid (cells are then visited more than once).
//
// ApplySeparable applies one odd-length row of weights along every axis in
// turn (first along z, then y, then x) at O(r) per cell instead of
// O(r^2) or O(r^3); it equals Apply with the outer product of the rows up
// to float rounding.
//
// `out` must already have the size of `in`; it may be `in` itself (the
// input is then copied first). Bad arguments (an even-sized kernel or row,
// `out` of another size, an unknown border mode) throw KbException with a
// message naming the argument, and nothing is written.
#pragma once

#include <cstdint>

#include "base/KbArray.h"
#include "base/KoArray2D.h"
#include "base/KoArray3D.h"
#include "math/KoMathExport.h"

class KOMATH_API KoGridFilter {
 public:
  // Fixed underlying type: a value outside the three (say from a cast) is
  // still a valid EBorder, which every function rejects with KbException.
  enum EBorder : std::uint32_t { eClamp, eZero, eWrap };

  KoGridFilter() = delete;

  static void Apply(const KoArray2D<float>& in, const KoArray2D<float>& kernel,
                    KoArray2D<float>& out, EBorder border);
  static void ApplySeparable(const KoArray2D<float>& in, const KbArray<float>& row,
                             KoArray2D<float>& out, EBorder border);
  static void Apply(const KoArray3D<float>& in, const KoArray3D<float>& kernel,
                    KoArray3D<float>& out, EBorder border);
  static void ApplySeparable(const KoArray3D<float>& in, const KbArray<float>& row,
                             KoArray3D<float>& out, EBorder border);
};
