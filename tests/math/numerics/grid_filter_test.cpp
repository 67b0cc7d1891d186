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

template <class Grid>
std::vector<float> Randomize(Grid& grid, std::size_t cells, std::mt19937& rng) {
  std::uniform_real_distribution<float> value(-1, 1);
  for (std::size_t k = 0; k < cells; ++k) grid.GetData()[k] = value(rng);
  return std::vector<float>(grid.GetData(), grid.GetData() + cells);
}

std::vector<float> Cells(const float* data, std::size_t n) {
  return std::vector<float>(data, data + n);
}

// The separable path (along z, then each plane as a 2-D grid) equals the
// full kernel of the rows' outer product up to the rounding of three float
// sums; in == out is safe.
TEST(KoGridFilter, SeparableEqualsTheOuterProductKernelAndAliasingIsSafe) {
  std::mt19937 rng(2);
  for (auto [w, h, d, r] : std::vector<std::array<unsigned int, 4>>{
           {41, 9, 4, 0}, {41, 9, 4, 1}, {41, 9, 4, 3}, {13, 5, 3, 2}, {37, 2, 2, 1}}) {
    KbArray<float> row;
    KoConvolutionKernelFactory::CreateGaussFilter(r, row);
    const unsigned int n = 2 * r + 1, cells = w * h * d;
    KoArray3D<float> in(w, h, d), out(w, h, d), full(w, h, d), kernel(n, n, n);
    const std::vector<float> values = Randomize(in, cells, rng);
    for (unsigned int k = 0; k < n * n * n; ++k)  // exact: the rows are dyadic
      kernel.GetData()[k] = row[k % n] * row[k / n % n] * row[k / n / n];
    for (Filter::EBorder border : c_borders) {
      Filter::ApplySeparable(in, row, out, border);
      Filter::Apply(in, kernel, full, border);
      for (unsigned int k = 0; k < cells; ++k)
        ASSERT_NEAR(out.GetData()[k], full.GetData()[k], 8 * n * FLT_EPSILON);
      Filter::ApplySeparable(in, row, in, border);
      EXPECT_EQ(Cells(in.GetData(), cells), Cells(out.GetData(), cells));
      std::copy(values.begin(), values.end(), in.GetData());
    }
  }
}

// scipy.ndimage on small integers (exact in float and double), made by
// data/make_grid_filter_data.py: every mode in 1, 2 and 3 dimensions with
// kernels larger than the grid, full (correlate) and per-axis rows
// (correlate1d along z, y, x). Widths up to 83 exercise the 64-, 32- and
// 8-wide blocks, the overlapping last block and the scalar tail, in the
// middle columns read in place and in the padded ones at either end. Cases
// of depth 1 run through both APIs. One grid is its own kernel: out may
// alias the grid, the kernel or both.
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
    KoArray3D<float> in(w, h, d), kernel(k[0], k[1], k[2]), out(w, h, d);
    KoArray2D<float> in2(w, h), kernel2(k[0], k[1]), out2(w, h);
    KbArray<float> rows[3] = {KbArray<float>(k[0]), KbArray<float>(k[1]), KbArray<float>(k[2])};
    read(in.GetData(), w * h * d), std::copy_n(in.GetData(), w * h, in2.GetData());
    if (kind == "F") read(kernel.GetData(), k[0] * k[1] * k[2]);
    std::copy_n(kernel.GetData(), k[0] * k[1], kernel2.GetData());
    for (int a = 0; kind == "S" && a < 3; ++a) read(rows[a].GetData(), k[a]);
    for (Filter::EBorder border : c_borders) {
      std::vector<float> expected(w * h * d);
      read(expected.data(), expected.size());
      if (kind == "F") Filter::Apply(in, kernel, out, border);
      if (kind == "S") Filter::ApplySeparable(in, rows[0], rows[1], rows[2], out, border);
      EXPECT_EQ(Cells(out.GetData(), w * h * d), expected) << line << " " << border;
      if (kind == "F" && k[0] == w && k[1] == h && k[2] == d) {  // the grid is the kernel
        KoArray3D<float> a = in, b = in, c = in;
        Filter::Apply(a, kernel, a, border), Filter::Apply(in, b, b, border);
        Filter::Apply(c, c, c, border);
        for (auto* g : {&a, &b, &c}) EXPECT_EQ(Cells(g->GetData(), w * h * d), expected);
      }
      if (d > 1 || k[2] > 1) continue;
      if (kind == "F") Filter::Apply(in2, kernel2, out2, border);
      if (kind == "S") Filter::ApplySeparable(in2, rows[0], rows[1], out2, border);
      EXPECT_EQ(Cells(out2.GetData(), w * h), expected) << line << " " << border;
    }
  }
  EXPECT_EQ(cases, 16);
}

// eZero's outside cells are zeros in the arithmetic along every axis: an
// infinite weight at the first offset gives inf over ones inside and
// inf * 0 = NaN over outside cells, so exactly the first column, row or
// slice (or all three, bits 1, 2, 4 of `axes`) are NaN.
TEST(KoGridFilter, NonFiniteWeightsOverZeroCellsGiveNaNAlongEveryAxis) {
  const float inf = std::numeric_limits<float>::infinity();
  KoArray3D<float> ones(4, 3, 3), kernel(3, 3, 3), out(4, 3, 3);
  std::fill_n(ones.GetData(), 36, 1.0f);
  kernel(0, 0, 0) = inf;
  const KbArray<float> first{inf, 1, 1}, one{1};
  for (unsigned int axes : {7u, 1u, 2u, 4u}) {
    if (axes == 7) Filter::Apply(ones, kernel, out, Filter::eZero);
    auto row = [&](unsigned int axis) { return axes == axis ? first : one; };
    if (axes != 7) Filter::ApplySeparable(ones, row(1), row(2), row(4), out, Filter::eZero);
    for (unsigned int i = 0; i < 36; ++i) {
      const bool nan =
          (axes & 1 && i % 4 == 0) || (axes & 2 && i / 4 % 3 == 0) || (axes & 4 && i / 12 == 0);
      EXPECT_TRUE(nan ? std::isnan(out.GetData()[i]) : out.GetData()[i] == inf) << axes << i;
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
  ExpectThrowNaming([&] { Filter::ApplySeparable(in, one, even, out, Filter::eClamp); }, "rowY");
  ExpectThrowNaming([&] { Filter::ApplySeparable(in3, one, one, even, out3, Filter::eZero); },
                    "rowZ");
  ExpectThrowNaming([&] { Filter::ApplySeparable(in3, one, even, one, out3, Filter::eZero); },
                    "rowY");
  ExpectThrowNaming([&] { Filter::Apply(in3, KoArray3D<float>(1, 1, 1), out3, Filter::eWrap); },
                    "out");
  ExpectThrowNaming([&] { Filter::Apply(in3, KoArray3D<float>(1, 2, 1), out3, Filter::eWrap); },
                    "kernel");
  ExpectThrowNaming([&] { Filter::Apply(in, KoArray2D<float>(1, 1), out, Filter::EBorder(7)); },
                    "border");
  ExpectThrowNaming([&] { Filter::ApplySeparable(in, one, out, Filter::EBorder(7)); }, "border");
  ExpectThrowNaming([&] { Filter::ApplySeparable(in3, one, out3, Filter::EBorder(7)); }, "border");
  EXPECT_EQ(out(0, 0), 5.0f);
  KoArray3D<float> empty(0, 3, 2);  // no cells: nothing to wrap around
  KoArray2D<float> empty2(0, 3);
  Filter::Apply(empty, KoArray3D<float>(3, 3, 3), empty, Filter::eWrap);
  Filter::ApplySeparable(empty, KbArray<float>{1, 2, 1}, empty, Filter::eWrap);
  Filter::Apply(empty2, KoArray2D<float>(3, 3), empty2, Filter::eWrap);
  Filter::ApplySeparable(empty2, KbArray<float>{1, 2, 1}, empty2, Filter::eWrap);
}

}  // namespace
