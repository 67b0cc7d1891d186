#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "base/KbException.h"
#include "math/numerics/KoConvolutionKernelFactory.h"
#include "math/numerics/KoGridFilter.h"

namespace {

using Filter = KoGridFilter;
const Filter::EBorder c_borders[] = {Filter::eClamp, Filter::eZero, Filter::eWrap};

// The cell that supplies index i of an axis of n cells, or -1 for none.
long Source(long i, long n, Filter::EBorder border) {
  if (border == Filter::eClamp) return std::min(std::max(i, 0L), n - 1);
  if (border == Filter::eWrap) return ((i % n) + n) % n;
  return i >= 0 && i < n ? i : -1;
}

// Direct correlation of a grid of w x h x d with a kernel of kw x kh x kd,
// slices outer, rows, then columns, onto 0.
std::vector<float> Reference(const float* in, long w, long h, long d, const float* k, long kw,
                             long kh, long kd, Filter::EBorder border) {
  std::vector<float> out(w * h * d);
  for (long z = 0; z < d; ++z) {
    for (long y = 0; y < h; ++y) {
      for (long x = 0; x < w; ++x) {
        float sum = 0;
        for (long c = 0; c < kd; ++c) {
          for (long b = 0; b < kh; ++b) {
            for (long a = 0; a < kw; ++a) {
              const long sx = Source(x + a - kw / 2, w, border),
                         sy = Source(y + b - kh / 2, h, border),
                         sz = Source(z + c - kd / 2, d, border);
              if (sx >= 0 && sy >= 0 && sz >= 0)
                sum += k[(c * kh + b) * kw + a] * in[(sz * h + sy) * w + sx];
            }
          }
        }
        out[(z * h + y) * w + x] = sum;
      }
    }
  }
  return out;
}

template <class Grid>
void Randomize(Grid& grid, std::size_t cells, std::mt19937& rng) {
  std::uniform_real_distribution<float> value(-1, 1);
  for (std::size_t k = 0; k < cells; ++k) grid.GetData()[k] = value(rng);
}

std::vector<float> Cells(const float* data, std::size_t n) {
  return std::vector<float>(data, data + n);
}

// Sizes exercise the 32- and 8-wide blocks and the scalar tail; kernels
// larger than the grid make the wrap visit cells several times.
TEST(KoGridFilter, FullKernelsEqualTheDirectCorrelationForEveryBorder) {
  std::mt19937 rng(1);
  const unsigned int sizes[][2] = {{45, 6}, {3, 2}, {70, 1}};
  const unsigned int kernels[][2] = {{5, 5}, {1, 7}, {9, 3}};
  for (auto [w, h] : sizes) {
    for (auto [kw, kh] : kernels) {
      KoArray2D<float> in(w, h), kernel(kw, kh), out(w, h);
      Randomize(in, w * h, rng), Randomize(kernel, kw * kh, rng);
      for (Filter::EBorder border : c_borders) {
        Filter::Apply(in, kernel, out, border);
        EXPECT_EQ(Cells(out.GetData(), w * h),
                  Reference(in.GetData(), w, h, 1, kernel.GetData(), kw, kh, 1, border))
            << w << "x" << h << " kernel " << kw << "x" << kh << " border " << border;
      }
    }
  }
  KoArray3D<float> in(37, 4, 3), kernel(3, 5, 7), out(37, 4, 3);
  Randomize(in, 37 * 4 * 3, rng), Randomize(kernel, 105, rng);
  for (Filter::EBorder border : c_borders) {
    Filter::Apply(in, kernel, out, border);
    EXPECT_EQ(Cells(out.GetData(), 37 * 4 * 3),
              Reference(in.GetData(), 37, 4, 3, kernel.GetData(), 3, 5, 7, border))
        << border;
  }
}

// The separable path equals the full kernel of the rows' outer product up
// to the rounding of two (three) float sums of r terms each.
TEST(KoGridFilter, SeparableEqualsTheOuterProductKernelAndAliasingIsSafe) {
  std::mt19937 rng(2);
  for (unsigned int r : {0u, 1u, 3u}) {
    KbArray<float> row;
    KoConvolutionKernelFactory::CreateGaussFilter(r, row);
    const unsigned int n = 2 * r + 1;
    KoArray2D<float> in(41, 9), out(41, 9), full(41, 9), kernel(n, n);
    KoArray3D<float> in3(19, 5, 4), out3(19, 5, 4), full3(19, 5, 4), kernel3(n, n, n);
    Randomize(in, 41 * 9, rng), Randomize(in3, 19 * 5 * 4, rng);
    for (unsigned int z = 0; z < n; ++z) {
      for (unsigned int y = 0; y < n; ++y) {
        for (unsigned int x = 0; x < n; ++x)
          kernel(x, y) = row[x] * row[y], kernel3(x, y, z) = row[x] * row[y] * row[z];
      }
    }
    const float tolerance = 8 * n * std::numeric_limits<float>::epsilon();
    for (Filter::EBorder border : c_borders) {
      Filter::ApplySeparable(in, row, out, border);
      Filter::Apply(in, kernel, full, border);
      Filter::ApplySeparable(in3, row, out3, border);
      Filter::Apply(in3, kernel3, full3, border);
      for (unsigned int k = 0; k < 41 * 9; ++k)
        ASSERT_NEAR(out.GetData()[k], full.GetData()[k], tolerance) << k;
      for (unsigned int k = 0; k < 19 * 5 * 4; ++k)
        ASSERT_NEAR(out3.GetData()[k], full3.GetData()[k], tolerance) << k;
      KoArray2D<float> same = in;
      Filter::ApplySeparable(same, row, same, border);
      EXPECT_EQ(Cells(same.GetData(), 41 * 9), Cells(out.GetData(), 41 * 9));
      same = in;
      Filter::Apply(same, kernel, same, border);
      EXPECT_EQ(Cells(same.GetData(), 41 * 9), Cells(full.GetData(), 41 * 9));
    }
  }
}

TEST(KoGridFilter, BadArgumentsThrowNamingThemAndWriteNothing) {
  KoArray2D<float> in(4, 4), out(4, 4), small(3, 4), even(2, 3);
  KoArray3D<float> in3(2, 2, 2), out3(2, 2, 3), kernel3(1, 1, 1);
  KbArray<float> row{1, 2};
  out(0, 0) = 5;
  auto expectNaming = [](auto call, const char* argument) {
    try {
      call();
      ADD_FAILURE() << argument;
    } catch (const KbException& e) {
      EXPECT_NE(std::string(e.what()).find(argument), std::string::npos) << e.what();
    }
  };
  expectNaming([&] { Filter::Apply(in, even, out, Filter::eZero); }, "kernel");
  expectNaming([&] { Filter::ApplySeparable(in, row, out, Filter::eClamp); }, "row");
  expectNaming([&] { Filter::ApplySeparable(in, KbArray<float>{1}, small, Filter::eClamp); },
               "out");
  expectNaming([&] { Filter::Apply(in3, kernel3, out3, Filter::eWrap); }, "out");
  expectNaming([&] { Filter::Apply(in, KoArray2D<float>(1, 1), out, Filter::EBorder(7)); },
               "border");
  EXPECT_EQ(out(0, 0), 5.0f);
}

}  // namespace
