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
// (a negative or NaN radius, or a kernel of more than c_uiMaxKernelCells
// cells) throw KbException with a message that names the argument; nothing
// is allocated or written then.
#pragma once

#include <cstdint>

#include "base/KbArray.h"
#include "base/KoArray2D.h"
#include "base/KoArray3D.h"
#include "math/KoMathExport.h"

class KOMATH_API KoConvolutionKernelFactory {
 public:
  KoConvolutionKernelFactory() = delete;

  // Most cells of a kernel or row made here (2^24 floats, 64 MiB): sums of
  // up to 2^24 ones are exact in float, and a full kernel any larger would
  // cost as many multiplications per filtered cell. Larger requests throw,
  // naming the kernel size asked for, before anything is allocated.
  static constexpr std::uint64_t c_uiMaxKernelCells = std::uint64_t(1) << 24;

  // Largest radius of CreateGaussFilter: C(2r, k) is exact in 32-bit
  // unsigned arithmetic up to 2r = 30.
  static constexpr unsigned int c_uiMaxGaussRadius = 15;

  // The binomial row C(2r, k) / 4^r, k = 0 .. 2r: the discrete Gaussian of
  // variance r / 2, each entry computed as float(C(2r, k)) / float(4^r).
  // For r <= 12 every entry is exact and the row sums to exactly 1 in any
  // order of float summation. Radius 0 gives the identity row {1}. Throws
  // for r > c_uiMaxGaussRadius.
  static void CreateGaussFilter(unsigned int radius, KbArray<float>& row);

  // The normalised Gaussian of standard deviation `sigma`, cut at `truncate`
  // standard deviations: radius r = int(truncate * sigma + 0.5) and weights
  // exp(-x^2 / (2 sigma^2)), x = -r .. r, divided by their sum, all in
  // double, each rounded to float once. These are the weights of
  // scipy.ndimage.gaussian_filter1d (whose default truncate is 4). A radius
  // of 0 (sigma 0 among others) gives the identity row {1}. Throws for a
  // negative or non-finite sigma or truncate and for a row of more than
  // c_uiMaxKernelCells weights.
  static void CreateGaussFilterSigma(float sigma, float truncate, KbArray<float>& row);

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
  // The 3 x 3 x 3 Sobel triple (scipy.ndimage.sobel's weights): the
  // difference -1, 0, +1 along its own axis times 1, 2, 1 along each of the
  // other two, dx(x, y, z) = (x - 1) * (2 - |y - 1|) * (2 - |z - 1|), and dy,
  // dz alike. A grid rising by one per cell along x gives 32 with dx, 0 with
  // dy and dz.
  static void CreateSobelKernels(KoArray3D<float>& dx, KoArray3D<float>& dy, KoArray3D<float>& dz);
  // The 3 x 3 Scharr pair, signed like the Sobel pair: dx(x, y) = (x - 1) *
  // (3, 10, 3)[y], dy its transpose. A grid rising by one per cell along x
  // gives 32 with dx and 0 with dy.
  static void CreateScharrKernels(KoArray2D<float>& dx, KoArray2D<float>& dy);

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
