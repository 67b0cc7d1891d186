#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include "math/numerics/ExactReference.h"
#include "math/numerics/KoConvolutionKernelFactory.h"
#include "math/numerics/KoGridFilter.h"

namespace {

using Filter = KoGridFilter;
// In scipy.ndimage's order of modes: nearest, constant, wrap, reflect, mirror.
const Filter::EBorder c_borders[] = {Filter::eClamp, Filter::eZero, Filter::eWrap, Filter::eReflect,
                                     Filter::eMirror};

// The cell that supplies index i of an axis of n cells, or -1 for none: the
// periodic modes repeat n, 2n (reflect) or 2n - 2 (mirror) cells.
long Source(long i, long n, Filter::EBorder border) {
  if (border == Filter::eClamp) return std::min(std::max(i, 0L), n - 1);
  if (border == Filter::eZero) return i >= 0 && i < n ? i : -1;
  const long p = border == Filter::eWrap ? n : border == Filter::eReflect ? 2 * n : 2 * n - 2;
  if (p == 0) return 0;
  const long m = (i % p + p) % p;
  return m < n ? m : p - m - (border == Filter::eReflect);
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

// Widths exercise the 32- and 8-wide blocks and the scalar tail, in the
// middle columns read in place and in the padded ones at either end;
// kernels larger than the grid visit cells several times.
TEST(KoGridFilter, FullKernelsEqualTheDirectCorrelationForEveryBorder) {
  std::mt19937 rng(1);
  for (auto [w, h, d, kw, kh, kd] : std::vector<std::array<unsigned int, 6>>{{45, 6, 1, 5, 5, 1},
                                                                             {3, 2, 1, 9, 3, 1},
                                                                             {70, 1, 1, 1, 7, 1},
                                                                             {37, 4, 3, 3, 5, 7},
                                                                             {83, 3, 1, 17, 3, 1},
                                                                             {20, 3, 2, 3, 3, 1}}) {
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
  for (auto [w, h, d, r] : std::vector<std::array<unsigned int, 4>>{
           {41, 9, 4, 0}, {41, 9, 4, 1}, {41, 9, 4, 3}, {13, 5, 3, 2}}) {
    KbArray<float> row;
    KoConvolutionKernelFactory::CreateGaussFilter(r, row);
    const unsigned int n = 2 * r + 1, cells = w * h * d;
    KoArray3D<float> in(w, h, d), out(w, h, d), full(w, h, d), kernel(n, n, n);
    const std::vector<float> values = Randomize(in, cells, rng);
    for (unsigned int k = 0; k < n * n * n; ++k) {  // exact: the rows are dyadic
      kernel.GetData()[k] = row[k % n] * row[k / n % n] * row[k / n / n];
    }
    for (Filter::EBorder border : c_borders) {
      Filter::ApplySeparable(in, row, out, border);
      Filter::Apply(in, kernel, full, border);
      for (unsigned int k = 0; k < cells; ++k) {
        ASSERT_NEAR(out.GetData()[k], full.GetData()[k],
                    8 * n * std::numeric_limits<float>::epsilon());
      }
      Filter::ApplySeparable(in, row, in, border);
      EXPECT_EQ(Cells(in.GetData(), cells), Cells(out.GetData(), cells));
      std::copy(values.begin(), values.end(), in.GetData());
    }
  }
}

// scipy.ndimage on small integers (exact in float and double), made by
// data/make_grid_filter_data.py: every mode in 1, 2 and 3 dimensions with
// kernels larger than the grid, full (correlate) and per-axis separable
// (correlate1d along z, y, x). Cases of depth 1 run through both APIs.
TEST(KoGridFilter, EqualsScipyForEveryBorderWithKernelsLargerThanTheGrid) {
  std::ifstream file(KOMATH_TEST_DATA_DIR "/math/numerics/data/grid_filter_scipy.txt");
  std::string kind, line;
  int cases = 0;
  for (; std::getline(file, line); ++cases) {
    std::istringstream fields(line);
    unsigned int w, h, d, k[3];
    fields >> kind >> w >> h >> d >> k[0] >> k[1] >> k[2];
    auto read = [&](float* cells, std::size_t n) {
      for (std::size_t i = 0; i < n; ++i) fields >> cells[i];
    };
    KoArray3D<float> in(w, h, d), kernel(k[0], k[1], k[2]), out(w, h, d), expected(w, h, d);
    KoArray2D<float> in2(w, h), kernel2(k[0], k[1]), out2(w, h);
    KbArray<float> rows[3] = {KbArray<float>(k[0]), KbArray<float>(k[1]), KbArray<float>(k[2])};
    read(in.GetData(), w * h * d);
    std::copy_n(in.GetData(), w * h, in2.GetData());
    if (kind == "F") read(kernel.GetData(), k[0] * k[1] * k[2]);
    if (kind == "F") std::copy_n(kernel.GetData(), k[0] * k[1], kernel2.GetData());
    for (int a = 0; kind == "S" && a < 3; ++a) read(rows[a].GetData(), k[a]);
    for (Filter::EBorder border : c_borders) {
      read(expected.GetData(), w * h * d);
      const std::vector<float> cells = Cells(expected.GetData(), w * h * d);
      if (kind == "F") Filter::Apply(in, kernel, out, border);
      if (kind == "S") Filter::ApplySeparable(in, rows[0], rows[1], rows[2], out, border);
      EXPECT_EQ(Cells(out.GetData(), w * h * d), cells) << line << " " << border;
      if (d > 1 || k[2] > 1) continue;
      if (kind == "F") Filter::Apply(in2, kernel2, out2, border);
      if (kind == "S") Filter::ApplySeparable(in2, rows[0], rows[1], out2, border);
      EXPECT_EQ(Cells(out2.GetData(), w * h), cells) << line << " " << border;
    }
  }
  EXPECT_EQ(cases, 7);
}

// Rows per axis are the outer product's full kernel: the separable Sobel
// (difference along one axis, smoothing along the others) on integers,
// exactly.
TEST(KoGridFilter, PerAxisRowsEqualTheFullKernelOfTheirOuterProduct) {
  std::mt19937 rng(3);
  KoArray3D<float> in(35, 6, 5), full(35, 6, 5), out(35, 6, 5), dx, dy, dz;
  KoArray2D<float> in2(35, 6), full2(35, 6), out2(35, 6), dx2, dy2;
  for (unsigned int i = 0; i < 35 * 6 * 5; ++i) in.GetData()[i] = float(rng() % 19) - 9;
  std::copy_n(in.GetData(), 35 * 6, in2.GetData());
  KoConvolutionKernelFactory::CreateSobelKernels(dx, dy, dz);
  KoConvolutionKernelFactory::CreateSobelKernels(dx2, dy2);
  const KbArray<float> difference{-1, 0, 1}, smoothing{1, 2, 1};
  for (Filter::EBorder border : c_borders) {
    Filter::ApplySeparable(in, smoothing, difference, smoothing, out, border);
    Filter::Apply(in, dy, full, border);
    EXPECT_EQ(Cells(out.GetData(), 35 * 6 * 5), Cells(full.GetData(), 35 * 6 * 5)) << border;
    Filter::ApplySeparable(in, smoothing, smoothing, difference, out, border);
    Filter::Apply(in, dz, full, border);
    EXPECT_EQ(Cells(out.GetData(), 35 * 6 * 5), Cells(full.GetData(), 35 * 6 * 5)) << border;
    Filter::ApplySeparable(in2, difference, smoothing, out2, border);
    Filter::Apply(in2, dx2, full2, border);
    EXPECT_EQ(Cells(out2.GetData(), 35 * 6), Cells(full2.GetData(), 35 * 6)) << border;
  }
}

// out may be in, the kernel, or both: the result of distinct grids.
TEST(KoGridFilter, OutAliasingAnInputIsCopiedFirst) {
  const std::vector<float> expected{4, 6, 4, 6, 9, 6, 4, 6, 4};
  KoArray2D<float> ones(3, 3), kernel(3, 3), grid(3, 3);
  std::fill_n(ones.GetData(), 9, 1.0f), std::fill_n(kernel.GetData(), 9, 1.0f);
  Filter::Apply(ones, kernel, kernel, Filter::eZero);
  EXPECT_EQ(Cells(kernel.GetData(), 9), expected);
  std::fill_n(grid.GetData(), 9, 1.0f);
  Filter::Apply(grid, grid, grid, Filter::eZero);
  EXPECT_EQ(Cells(grid.GetData(), 9), expected);
  std::mt19937 rng(4);
  KoArray3D<float> in(5, 3, 3), kernel3(5, 3, 3), out(5, 3, 3);
  Randomize(in, 45, rng), Randomize(kernel3, 45, rng);
  for (Filter::EBorder border : c_borders) {
    Filter::Apply(in, kernel3, out, border);
    KoArray3D<float> aliased = kernel3;
    Filter::Apply(in, aliased, aliased, border);
    EXPECT_EQ(Cells(aliased.GetData(), 45), Cells(out.GetData(), 45));
    Filter::Apply(in, in, out, border);
    aliased = in;
    Filter::Apply(aliased, aliased, aliased, border);
    EXPECT_EQ(Cells(aliased.GetData(), 45), Cells(out.GetData(), 45));
  }
}

// eZero's outside cells are zeros in the arithmetic along every axis: an
// infinite weight at the first offset gives inf over ones inside and
// inf * 0 = NaN over the outside cells, so exactly the first column, row
// and slice are NaN (full kernels and per-axis rows alike).
TEST(KoGridFilter, NonFiniteWeightsOverZeroCellsGiveNaNAlongEveryAxis) {
  const float inf = std::numeric_limits<float>::infinity();
  KoArray3D<float> ones(4, 3, 3), kernel(3, 3, 3), out(4, 3, 3);
  KoArray2D<float> ones2(4, 3), kernel2(3, 3), out2(4, 3);
  std::fill_n(ones.GetData(), 36, 1.0f), std::fill_n(ones2.GetData(), 12, 1.0f);
  kernel(0, 0, 0) = kernel2(0, 0) = inf;
  const KbArray<float> first{inf, 1, 1}, one{1};
  // NaN where a coordinate of `axes` (bits x, y, z) is 0, inf elsewhere.
  auto pattern = [](const float* cells, unsigned int depth, unsigned int axes) {
    for (unsigned int i = 0; i < 12 * depth; ++i) {
      const unsigned int at[3] = {i % 4, i / 4 % 3, i / 12};
      bool nan = false;
      for (int a = 0; a < 3; ++a) nan = nan || (axes >> a & 1 && at[a] == 0);
      if (nan ? !std::isnan(cells[i]) : cells[i] != INFINITY) return false;
    }
    return true;
  };
  Filter::Apply(ones, kernel, out, Filter::eZero);
  EXPECT_TRUE(pattern(out.GetData(), 3, 7));
  Filter::ApplySeparable(ones, first, one, one, out, Filter::eZero);
  EXPECT_TRUE(pattern(out.GetData(), 3, 1));
  Filter::ApplySeparable(ones, one, first, one, out, Filter::eZero);
  EXPECT_TRUE(pattern(out.GetData(), 3, 2));
  Filter::ApplySeparable(ones, one, one, first, out, Filter::eZero);
  EXPECT_TRUE(pattern(out.GetData(), 3, 4));
  Filter::Apply(ones2, kernel2, out2, Filter::eZero);
  EXPECT_TRUE(pattern(out2.GetData(), 1, 3));
  Filter::ApplySeparable(ones2, one, first, out2, Filter::eZero);
  EXPECT_TRUE(pattern(out2.GetData(), 1, 2));
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
  ExpectThrowNaming([&] { Filter::ApplySeparable(in3, one, one, even, out3, Filter::eZero); },
                    "rowZ");
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
