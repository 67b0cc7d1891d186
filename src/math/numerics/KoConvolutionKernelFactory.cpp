#include "math/numerics/KoConvolutionKernelFactory.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "base/KbException.h"
#include "math/foundations/KoMathScalar.h"

namespace {

using Factory = KoConvolutionKernelFactory;

[[noreturn]] void ThrowBadArgument(const char* function, const char* argument,
                                   const std::string& why) {
  throw KbException(std::string("KoConvolutionKernelFactory::") + function + ": " + argument + " " +
                    why);
}

[[noreturn]] void ThrowTooLarge(const char* function, const char* argument,
                                const std::vector<std::uint64_t>& sides) {
  std::string size;
  for (std::uint64_t side : sides) size += (size.empty() ? "" : " x ") + std::to_string(side);
  ThrowBadArgument(function, argument,
                   "asks for a " + size + " kernel, more than " +
                       std::to_string(Factory::c_uiMaxKernelCells) + " cells");
}

// The sides 2h + 1 of half-sides h (below 2^32, so no side overflows),
// checked against c_uiMaxKernelCells together before anything is allocated.
std::vector<unsigned int> Sides(const char* function, const char* argument,
                                const std::vector<std::uint64_t>& halfSides) {
  std::vector<std::uint64_t> sides;
  for (std::uint64_t h : halfSides) sides.push_back(2 * h + 1);
  std::uint64_t cells = 1;
  for (std::uint64_t side : sides) {
    if (side > Factory::c_uiMaxKernelCells / cells) ThrowTooLarge(function, argument, sides);
    cells *= side;
  }
  return std::vector<unsigned int>(sides.begin(), sides.end());
}

// The side 2r + 1 of an integer radius, for a kernel of `dimensions` such
// sides.
unsigned int Side(const char* function, const char* argument, std::uint64_t halfSide,
                  unsigned int dimensions) {
  return Sides(function, argument, std::vector<std::uint64_t>(dimensions, halfSide))[0];
}

// floor(r) of a float radius, rejecting negative, NaN and oversized ones.
std::uint64_t HalfSide(const char* function, const char* argument, float radius) {
  if (!(radius >= 0.0f)) {
    ThrowBadArgument(function, argument, "is negative or NaN (" + std::to_string(radius) + ")");
  }
  // Beyond 2^32 the side is far too large anyway; the bound keeps 2h + 1
  // within 64 bits.
  const float halfSide = std::min(std::floor(radius), 0x1p32f);
  return static_cast<std::uint64_t>(halfSide);
}

// (offset / radius)^2, with a radius of 0 meaning a degenerate axis whose
// only offset 0 contributes nothing (0 / 0 would be NaN).
double Term(std::int64_t offset, float radius) {
  if (offset == 0) return 0.0;
  const double ratio = double(offset) / double(radius);
  return ratio * ratio;
}

KoArray2D<float> Filled2D(unsigned int side, float value) {
  KoArray2D<float> grid(side, side);
  std::fill_n(grid.GetData(), std::size_t(side) * side, value);
  return grid;
}

KoArray3D<float> Filled3D(unsigned int side, float value) {
  KoArray3D<float> grid(side, side, side);
  std::fill_n(grid.GetData(), std::size_t(side) * side * side, value);
  return grid;
}

}  // namespace

void KoConvolutionKernelFactory::CreateGaussFilter(unsigned int radius, KbArray<float>& row) {
  if (radius > c_uiMaxGaussRadius) {
    ThrowBadArgument("CreateGaussFilter", "radius",
                     std::to_string(radius) + " exceeds " + std::to_string(c_uiMaxGaussRadius));
  }
  const unsigned int n = 2 * radius;
  const float scale = std::ldexp(1.0f, static_cast<int>(n));  // 4^r
  KbArray<float> weights(n + 1);
  for (unsigned int k = 0; k <= n; ++k) {
    weights[k] = static_cast<float>(KoMath::BinomialCoefficient(n, k)) / scale;
  }
  row = std::move(weights);
}

void KoConvolutionKernelFactory::CreateGaussFilterSigma(float sigma, float truncate,
                                                        KbArray<float>& row) {
  if (!(sigma >= 0.0f) || !std::isfinite(sigma)) {
    ThrowBadArgument("CreateGaussFilterSigma", "sigma",
                     "is negative or not finite (" + std::to_string(sigma) + ")");
  }
  if (!(truncate >= 0.0f) || !std::isfinite(truncate)) {
    ThrowBadArgument("CreateGaussFilterSigma", "truncate",
                     "is negative or not finite (" + std::to_string(truncate) + ")");
  }
  // Both below 2^128, so the product is finite in double.
  const double reach = std::floor(double(truncate) * double(sigma) + 0.5);
  const std::uint64_t radius = static_cast<std::uint64_t>(std::min(reach, 0x1p32));
  const unsigned int side = Side("CreateGaussFilterSigma", "sigma * truncate", radius, 1);
  KbArray<float> weights(side);
  if (radius == 0) {  // a single weight: 1, also for sigma 0 (0 / 0 in the exponent)
    weights[0] = 1.0f;
    row = std::move(weights);
    return;
  }
  // scipy's order of operations: phi(x) = exp((-0.5 / sigma^2) * x^2).
  const double factor = -0.5 / (double(sigma) * double(sigma));
  std::vector<double> phi(side);
  double sum = 0.0;
  for (unsigned int k = 0; k < side; ++k) {
    const double x = double(k) - double(radius);
    phi[k] = std::exp(factor * (x * x));
    sum += phi[k];
  }
  std::transform(phi.begin(), phi.end(), weights.begin(),
                 [sum](double p) { return static_cast<float>(p / sum); });
  row = std::move(weights);
}

void KoConvolutionKernelFactory::CreateMeanFilter(unsigned int radius, KbArray<float>& row) {
  const unsigned int side = Side("CreateMeanFilter", "radius", radius, 1);
  KbArray<float> weights(side);
  const float weight = 1.0f / static_cast<float>(side);
  for (float& w : weights) w = weight;
  row = std::move(weights);
}

void KoConvolutionKernelFactory::CreateLaplaceFilter(KoArray2D<float>& kernel) {
  KoArray2D<float> stencil = Filled2D(3, 0.0f);
  stencil(1, 1) = -4.0f;
  stencil(0, 1) = stencil(2, 1) = stencil(1, 0) = stencil(1, 2) = 1.0f;
  kernel = std::move(stencil);
}

void KoConvolutionKernelFactory::CreateLaplaceFilter(KoArray3D<float>& kernel) {
  KoArray3D<float> stencil = Filled3D(3, 0.0f);
  stencil(1, 1, 1) = -6.0f;
  stencil(0, 1, 1) = stencil(2, 1, 1) = 1.0f;
  stencil(1, 0, 1) = stencil(1, 2, 1) = 1.0f;
  stencil(1, 1, 0) = stencil(1, 1, 2) = 1.0f;
  kernel = std::move(stencil);
}

void KoConvolutionKernelFactory::CreateSobelKernels(KoArray2D<float>& dx, KoArray2D<float>& dy) {
  KoArray2D<float> x(3, 3), y(3, 3);
  for (int j = 0; j < 3; ++j) {
    for (int i = 0; i < 3; ++i) {
      x(i, j) = static_cast<float>((i - 1) * (2 - std::abs(j - 1)));
      y(j, i) = x(i, j);
    }
  }
  dx = std::move(x);
  dy = std::move(y);
}

void KoConvolutionKernelFactory::CreateSobelKernels(KoArray3D<float>& dx, KoArray3D<float>& dy,
                                                    KoArray3D<float>& dz) {
  KoArray3D<float> x(3, 3, 3), y(3, 3, 3), z(3, 3, 3);
  for (int k = 0; k < 3; ++k) {
    for (int j = 0; j < 3; ++j) {
      for (int i = 0; i < 3; ++i) {
        x(i, j, k) = static_cast<float>((i - 1) * (2 - std::abs(j - 1)) * (2 - std::abs(k - 1)));
        y(j, i, k) = z(j, k, i) = x(i, j, k);
      }
    }
  }
  dx = std::move(x);
  dy = std::move(y);
  dz = std::move(z);
}

void KoConvolutionKernelFactory::CreateScharrKernels(KoArray2D<float>& dx, KoArray2D<float>& dy) {
  const int smoothing[] = {3, 10, 3};
  KoArray2D<float> x(3, 3), y(3, 3);
  for (int j = 0; j < 3; ++j) {
    for (int i = 0; i < 3; ++i) {
      x(i, j) = static_cast<float>((i - 1) * smoothing[j]);
      y(j, i) = x(i, j);
    }
  }
  dx = std::move(x);
  dy = std::move(y);
}

void KoConvolutionKernelFactory::CreateNeighbourhoodCount(unsigned int radius,
                                                          KoArray2D<float>& kernel) {
  KoArray2D<float> ones = Filled2D(Side("CreateNeighbourhoodCount", "radius", radius, 2), 1.0f);
  ones(radius, radius) = 0.0f;
  kernel = std::move(ones);
}

void KoConvolutionKernelFactory::CreateNeighbourhoodCount(unsigned int radius,
                                                          KoArray3D<float>& kernel) {
  KoArray3D<float> ones = Filled3D(Side("CreateNeighbourhoodCount", "radius", radius, 3), 1.0f);
  ones(radius, radius, radius) = 0.0f;
  kernel = std::move(ones);
}

void KoConvolutionKernelFactory::CreateNeighbourhoodExistence(unsigned int radius,
                                                              KoArray2D<float>& kernel) {
  kernel = Filled2D(Side("CreateNeighbourhoodExistence", "radius", radius, 2), 1.0f);
}

void KoConvolutionKernelFactory::CreateNeighbourhoodExistence(unsigned int radius,
                                                              KoArray3D<float>& kernel) {
  kernel = Filled3D(Side("CreateNeighbourhoodExistence", "radius", radius, 3), 1.0f);
}

void KoConvolutionKernelFactory::CreateEllipse(float rx, float ry, KoArray2D<float>& kernel) {
  const std::uint64_t hx = HalfSide("CreateEllipse", "rx", rx);
  const std::uint64_t hy = HalfSide("CreateEllipse", "ry", ry);
  const std::vector<unsigned int> sides = Sides("CreateEllipse", "rx, ry", {hx, hy});
  const unsigned int width = sides[0], height = sides[1];
  KoArray2D<float> shape(width, height);
  for (unsigned int y = 0; y < height; ++y) {
    for (unsigned int x = 0; x < width; ++x) {
      const double sum = Term(std::int64_t(x) - std::int64_t(hx), rx) +
                         Term(std::int64_t(y) - std::int64_t(hy), ry);
      shape(x, y) = sum <= 1.0 ? 1.0f : 0.0f;
    }
  }
  kernel = std::move(shape);
}

void KoConvolutionKernelFactory::CreateEllipsoid(float rx, float ry, float rz,
                                                 KoArray3D<float>& kernel) {
  const std::uint64_t hx = HalfSide("CreateEllipsoid", "rx", rx);
  const std::uint64_t hy = HalfSide("CreateEllipsoid", "ry", ry);
  const std::uint64_t hz = HalfSide("CreateEllipsoid", "rz", rz);
  const std::vector<unsigned int> sides = Sides("CreateEllipsoid", "rx, ry, rz", {hx, hy, hz});
  const unsigned int width = sides[0], height = sides[1], depth = sides[2];
  KoArray3D<float> shape(width, height, depth);
  for (unsigned int z = 0; z < depth; ++z) {
    for (unsigned int y = 0; y < height; ++y) {
      for (unsigned int x = 0; x < width; ++x) {
        const double sum = Term(std::int64_t(x) - std::int64_t(hx), rx) +
                           Term(std::int64_t(y) - std::int64_t(hy), ry) +
                           Term(std::int64_t(z) - std::int64_t(hz), rz);
        shape(x, y, z) = sum <= 1.0 ? 1.0f : 0.0f;
      }
    }
  }
  kernel = std::move(shape);
}

void KoConvolutionKernelFactory::CreateSphere(float r, KoArray3D<float>& kernel) {
  Side("CreateSphere", "r", HalfSide("CreateSphere", "r", r), 3);  // to name `r` in errors
  CreateEllipsoid(r, r, r, kernel);
}
