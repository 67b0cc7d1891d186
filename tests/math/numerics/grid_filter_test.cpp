#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "math/numerics/ExactReference.h"
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

// Direct correlation of a w x h x d grid with a kw x kh x kd kernel: kernel
// slices outer, then rows, then columns, summed onto 0.
std::vector<float> Reference(const float* in, long w, long h, long d, const float* k, long kw,
                             long kh, long kd, Filter::EBorder border) {
  std::vector<float> out;
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
        out.push_back(sum);
      }
    }
  }
  return out;
}

template <class Grid>
std::vector<float> Randomize(Grid& grid, std::size_t cells, std::mt19937& rng) {
  std::uniform_real_distribution<float> value(-1, 1);
  for (std::size_t k = 0; k < cells; ++k) grid.GetData()[k] = value(rng);
  return std::vector<float>(grid.GetData(), grid.GetData() + cells);
}

std::vector<float> Cells(const float* data, std::size_t n) {
  return std::vector<float>(data, data + n);
}

// Widths exercise the 32- and 8-wide blocks and the scalar tail; kernels
// larger than the grid make the wrap visit cells several times.
TEST(KoGridFilter, FullKernelsEqualTheDirectCorrelationForEveryBorder) {
  std::mt19937 rng(1);
  for (auto [w, h, d, kw, kh, kd] : std::vector<std::array<unsigned int, 6>>{
           {45, 6, 1, 5, 5, 1}, {3, 2, 1, 9, 3, 1}, {70, 1, 1, 1, 7, 1}, {37, 4, 3, 3, 5, 7}}) {
    KoArray3D<float> in(w, h, d), kernel(kw, kh, kd), out(w, h, d);
    KoArray2D<float> in2(w, h), kernel2(kw, kh), out2(w, h);
    Randomize(in, w * h * d, rng), Randomize(kernel, kw * kh * kd, rng);
    std::copy_n(in.GetData(), w * h, in2.GetData());
    std::copy_n(kernel.GetData(), kw * kh, kernel2.GetData());
    for (Filter::EBorder border : c_borders) {
      Filter::Apply(in, kernel, out, border);
      EXPECT_EQ(Cells(out.GetData(), w * h * d),
                Reference(in.GetData(), w, h, d, kernel.GetData(), kw, kh, kd, border))
          << w << " " << kw << " " << border;
      Filter::Apply(in2, kernel2, out2, border);
      EXPECT_EQ(Cells(out2.GetData(), w * h),
                Reference(in.GetData(), w, h, 1, kernel.GetData(), kw, kh, 1, border));
    }
  }
}

// The separable path (along z, then each plane as a 2-D grid) equals the
// full kernel of the rows' outer product up to the rounding of three float
// sums; in == out is safe.
TEST(KoGridFilter, SeparableEqualsTheOuterProductKernelAndAliasingIsSafe) {
  std::mt19937 rng(2);
  for (unsigned int r : {0u, 1u, 3u}) {
    KbArray<float> row;
    KoConvolutionKernelFactory::CreateGaussFilter(r, row);
    const unsigned int n = 2 * r + 1;
    KoArray3D<float> in(41, 9, 4), out(41, 9, 4), full(41, 9, 4), kernel(n, n, n);
    const std::vector<float> cells = Randomize(in, 41 * 9 * 4, rng);
    for (unsigned int k = 0; k < n * n * n; ++k) {
      kernel.GetData()[k] = row[k % n] * row[k / n % n] * row[k / n / n];
    }
    for (Filter::EBorder border : c_borders) {
      Filter::ApplySeparable(in, row, out, border);
      Filter::Apply(in, kernel, full, border);
      for (unsigned int k = 0; k < 41 * 9 * 4; ++k) {
        ASSERT_NEAR(out.GetData()[k], full.GetData()[k],
                    8 * n * std::numeric_limits<float>::epsilon());
      }
      Filter::ApplySeparable(in, row, in, border);
      EXPECT_EQ(Cells(in.GetData(), 41 * 9 * 4), Cells(out.GetData(), 41 * 9 * 4));
      std::copy(cells.begin(), cells.end(), in.GetData());
    }
  }
}

TEST(KoGridFilter, BadArgumentsThrowNamingThemAndWriteNothing) {
  KoArray2D<float> in(4, 4), out(4, 4), small(3, 4);
  KoArray3D<float> in3(2, 2, 2), out3(2, 2, 3);
  const KbArray<float> even{1, 2}, one{1};
  out(0, 0) = 5;
  ExpectThrowNaming([&] { Filter::Apply(in, KoArray2D<float>(2, 3), out, Filter::eZero); },
                    "kernel");
  ExpectThrowNaming([&] { Filter::ApplySeparable(in, even, out, Filter::eClamp); }, "row");
  ExpectThrowNaming([&] { Filter::ApplySeparable(in, one, small, Filter::eClamp); }, "out");
  ExpectThrowNaming([&] { Filter::Apply(in3, KoArray3D<float>(1, 1, 1), out3, Filter::eWrap); },
                    "out");
  ExpectThrowNaming([&] { Filter::Apply(in, KoArray2D<float>(1, 1), out, Filter::EBorder(7)); },
                    "border");
  EXPECT_EQ(out(0, 0), 5.0f);
  KoArray3D<float> empty(0, 3, 2);  // no cells: nothing to wrap around
  Filter::Apply(empty, KoArray3D<float>(3, 3, 3), empty, Filter::eWrap);
  Filter::ApplySeparable(empty, KbArray<float>{1, 2, 1}, empty, Filter::eWrap);
}

}  // namespace
