// KoConvolutionKernelFactory: convolution kernels for grids.
//
// Two kinds of kernel, both applied by KoGridFilter:
// - separable kernels: one odd-length row of 2r + 1 weights (a
//   KbArray<float>), centred on entry r and applied along every axis in
//   turn, at O(r) cost per cell;
// - full kernels: odd-sized KoArray2D<float> / KoArray3D<float> grids
//   centred on their middle cell; x runs along the width, y along the
//   height, z along the depth.
// Kernels are applied as correlation (not flipped), so an asymmetric kernel
// such as the Sobel pair responds with the sign its layout suggests.
//
// Every function replaces its output arguments completely. Bad arguments
// (a negative or NaN radius, or one so large that the kernel's cell count
// overflows) throw KbException with a message that names the argument;
// nothing is written then.
#pragma once

#include "base/KbArray.h"
#include "base/KoArray2D.h"
#include "base/KoArray3D.h"
#include "math/KoMathExport.h"

class KOMATH_API KoConvolutionKernelFactory {
 public:
  KoConvolutionKernelFactory() = delete;

  // Largest radius of CreateGaussFilter: C(2r, k) is exact in 32-bit
  // unsigned arithmetic up to 2r = 30.
  static constexpr unsigned int c_uiMaxGaussRadius = 15;

  // The binomial row C(2r, k) / 4^r, k = 0 .. 2r: the discrete Gaussian of
  // variance r / 2, each entry computed as float(C(2r, k)) / float(4^r).
  // For r <= 12 every entry is exact and the row sums to exactly 1 in any
  // order of float summation. Radius 0 gives the identity row {1}. Throws
  // for r > c_uiMaxGaussRadius.
  static void CreateGaussFilter(unsigned int radius, KbArray<float>& row);

  // 2r + 1 entries of 1.0f / (2r + 1) (the box filter; its sum is 1 only
  // to rounding unless 2r + 1 is a power of two, so only r = 0).
  static void CreateMeanFilter(unsigned int radius, KbArray<float>& row);

  // The 3 x 3 five-point stencil: -4 at the centre, 1 at the four edge
  // neighbours, 0 in the corners.
  static void CreateLaplaceFilter(KoArray2D<float>& kernel);
  // The 3 x 3 x 3 seven-point stencil: -6 at the centre, 1 at the six face
  // neighbours, 0 elsewhere.
  static void CreateLaplaceFilter(KoArray3D<float>& kernel);

  // The 3 x 3 Sobel pair. dx(x, y) = (x - 1) * (2 - |y - 1|): columns -1, 0,
  // +1 weighted 1, 2, 1 down the rows; dy is its transpose. A grid rising by
  // one per cell along x gives 8 with dx and 0 with dy (not normalised).
  static void CreateSobelKernels(KoArray2D<float>& dx, KoArray2D<float>& dy);

  // Ones on the (2r + 1) square or cube with 0 at the centre: correlating a
  // 0/1 grid with it counts the set neighbours of each cell within
  // Chebyshev distance r. Radius 0 gives the 1 x 1 kernel {0}.
  static void CreateNeighbourhoodCount(unsigned int radius, KoArray2D<float>& kernel);
  static void CreateNeighbourhoodCount(unsigned int radius, KoArray3D<float>& kernel);

  // Ones on the whole (2r + 1) square or cube: correlating a 0/1 grid with
  // it gives a value > 0 exactly where the cell itself or a cell within
  // Chebyshev distance r is set (a dilation, read by thresholding at 0).
  // Sums of up to 2^24 ones are exact in float.
  static void CreateNeighbourhoodExistence(unsigned int radius, KoArray2D<float>& kernel);
  static void CreateNeighbourhoodExistence(unsigned int radius, KoArray3D<float>& kernel);

  // 1 where the cell centre (x, y) (offsets from the middle cell) satisfies
  // x^2/rx^2 + y^2/ry^2 <= 1, else 0, evaluated in double, on the smallest
  // odd grid that holds the shape: 2 floor(rx) + 1 by 2 floor(ry) + 1. A
  // radius of 0 is a degenerate axis (only offset 0, contributing 0), so
  // CreateEllipse(0, 0) is the single cell {1}.
  static void CreateEllipse(float rx, float ry, KoArray2D<float>& kernel);
  // The same in three dimensions.
  static void CreateEllipsoid(float rx, float ry, float rz, KoArray3D<float>& kernel);
  // CreateEllipsoid(r, r, r).
  static void CreateSphere(float r, KoArray3D<float>& kernel);
};
