#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <vector>

#include "math/numerics/ExactReference.h"
#include "math/numerics/KoConvolutionKernelFactory.h"

namespace {

using Factory = KoConvolutionKernelFactory;

TEST(KoConvolutionKernelFactory, GaussRowsArePascalsTriangleOverFourToTheRadius) {
  std::vector<std::uint64_t> pascal{1};
  for (unsigned int r = 0; r <= Factory::c_uiMaxGaussRadius; ++r) {
    KbArray<float> row;
    Factory::CreateGaussFilter(r, row);
    ASSERT_EQ(row.GetSize(), 2 * r + 1);
    float sum = 0;
    for (unsigned int k = 0; k <= 2 * r; ++k) {
      EXPECT_EQ(row[k], float(pascal[k]) / std::ldexp(1.0f, 2 * r)) << r << " " << k;
      sum += row[k];
    }
    EXPECT_TRUE(r > 12 || sum == 1.0f) << r;
    for (int step = 0; step < 2; ++step) {  // two rows further down the triangle
      pascal.push_back(0);
      for (std::size_t k = pascal.size() - 1; k > 0; --k) pascal[k] += pascal[k - 1];
    }
  }
  KbArray<float> row{5};
  ExpectThrowNaming([&] { Factory::CreateGaussFilter(16, row); }, "radius");
  ExpectThrowNaming([&] { Factory::CreateMeanFilter(0x80000000u, row); }, "radius");
  EXPECT_EQ(row, KbArray<float>{5});  // untouched
  Factory::CreateMeanFilter(2, row);
  EXPECT_EQ(row, (KbArray<float>{0.2f, 0.2f, 0.2f, 0.2f, 0.2f}));
}

// gaussian_filter1d's weights (impulse responses in double, made by
// data/make_grid_filter_data.py) rounded to float: within half an ulp of
// the double, one ulp leaving room for the last bit of exp and of the sum.
TEST(KoConvolutionKernelFactory, GaussRowsBySigmaAreScipysWeights) {
  std::ifstream file(KOMATH_TEST_DATA_DIR "/math/numerics/data/gauss_rows_scipy.txt");
  KbArray<float> row{5};
  int rows = 0;
  for (std::string line; std::getline(file, line); ++rows) {
    std::istringstream fields(line);
    float sigma, truncate;
    fields >> sigma >> truncate;
    Factory::CreateGaussFilterSigma(sigma, truncate, row);
    std::size_t k = 0;
    for (double w; fields >> w; ++k)
      EXPECT_NEAR(row[k], w, std::ldexp(FLT_EPSILON, std::ilogb(w))) << line;
    EXPECT_EQ(row.GetSize(), k) << line;
  }
  EXPECT_EQ(rows, 5);
  Factory::CreateGaussFilterSigma(1000, 4, row);  // a row is checked as one side, not a square
  EXPECT_EQ(row.GetSize(), 8001u);
  for (const auto& [sigma, truncate] : {std::pair(0.f, 4.f), std::pair(3.f, 0.f)}) {
    Factory::CreateGaussFilterSigma(sigma, truncate, row);  // radius 0: the identity, as scipy
    EXPECT_EQ(row, KbArray<float>{1});                      // skips sigma 0
  }
  ExpectThrowNaming([&] { Factory::CreateGaussFilterSigma(-1, 4, row); }, "sigma is");
  ExpectThrowNaming([&] { Factory::CreateGaussFilterSigma(INFINITY, 4, row); }, "sigma is");
  ExpectThrowNaming([&] { Factory::CreateGaussFilterSigma(1, NAN, row); }, "truncate is");
  ExpectThrowNaming([&] { Factory::CreateGaussFilterSigma(1e30f, 4, row); }, "8589934593");
  EXPECT_EQ(row, KbArray<float>{1});
}

TEST(KoConvolutionKernelFactory, StencilsAndSobelPairRowByRow) {
  KoArray2D<float> laplace, dx, dy;
  KoArray3D<float> laplace3;
  Factory::CreateLaplaceFilter(laplace), Factory::CreateLaplaceFilter(laplace3);
  Factory::CreateSobelKernels(dx, dy);
  auto cells = [](const float* p, int n) { return std::vector<float>(p, p + n); };
  EXPECT_EQ(cells(laplace.GetData(), 9), (std::vector<float>{0, 1, 0, 1, -4, 1, 0, 1, 0}));
  EXPECT_EQ(cells(dx.GetData(), 9), (std::vector<float>{-1, 0, 1, -2, 0, 2, -1, 0, 1}));
  EXPECT_EQ(cells(dy.GetData(), 9), (std::vector<float>{-1, -2, -1, 0, 0, 0, 1, 2, 1}));
  auto is3x3 = [](const KoArray2D<float>& a, const KoArray2D<float>& b) {
    return a.GetWidth() == 3 && a.GetHeight() == 3 && b.GetWidth() == 3 && b.GetHeight() == 3;
  };
  EXPECT_TRUE(is3x3(dx, dy));
  Factory::CreateScharrKernels(dx, dy);
  EXPECT_TRUE(is3x3(dx, dy));
  EXPECT_EQ(cells(dx.GetData(), 9), (std::vector<float>{-3, 0, 3, -10, 0, 10, -3, 0, 3}));
  EXPECT_EQ(cells(dy.GetData(), 9), (std::vector<float>{-3, -10, -3, 0, 0, 0, 3, 10, 3}));
  KoArray3D<float> sobel[3];
  Factory::CreateSobelKernels(sobel[0], sobel[1], sobel[2]);
  for (const auto& k : sobel) EXPECT_EQ(k.GetWidth() * k.GetHeight() * k.GetDepth(), 27u);
  for (int i = 0; i < 81; ++i) {  // -1 0 1 along the kernel's axis a, 1 2 1 along the others
    const int a = i / 27, at[3] = {i % 3 - 1, i / 3 % 3 - 1, i / 9 % 3 - 1};
    const int expected = at[a] * (2 - std::abs(at[(a + 1) % 3])) * (2 - std::abs(at[(a + 2) % 3]));
    EXPECT_EQ(sobel[a].GetData()[i % 27], float(expected)) << i;
  }
  const float* cube = laplace3.GetData();  // six 1s at the faces, -6 in the middle
  EXPECT_TRUE(cube[13] == -6 && cube[4] == 1 && cube[22] == 1 && cube[10] == 1 && cube[12] == 1);
  EXPECT_TRUE(std::count(cube, cube + 27, 0.0f) == 20 && std::count(cube, cube + 27, 1.0f) == 6);
}

// Ones on the cube, the count kernel without its centre: correlated with a
// 0/1 grid they count the set neighbours, or show any set cell (> 0).
TEST(KoConvolutionKernelFactory, NeighbourhoodKernelsAreOnesOnTheCube) {
  KoArray2D<float> count, exists;
  KoArray3D<float> count3, exists3;
  Factory::CreateNeighbourhoodCount(2, count), Factory::CreateNeighbourhoodExistence(2, exists);
  Factory::CreateNeighbourhoodCount(1, count3), Factory::CreateNeighbourhoodExistence(1, exists3);
  ASSERT_TRUE(count.GetWidth() == 5 && exists.GetHeight() == 5 && count3.GetDepth() == 3);
  EXPECT_EQ(std::count(count.GetData(), count.GetData() + 25, 1.0f), 24);
  EXPECT_EQ(std::count(exists.GetData(), exists.GetData() + 25, 1.0f), 25);
  EXPECT_TRUE(count(2, 2) == 0 && count3(1, 1, 1) == 0);
  EXPECT_EQ(std::count(count3.GetData(), count3.GetData() + 27, 1.0f), 26);
  EXPECT_EQ(std::count(exists3.GetData(), exists3.GetData() + 27, 1.0f), 27);
}

TEST(KoConvolutionKernelFactory, EllipsesOnTheSmallestOddGridAndBadRadii) {
  for (auto [rx, ry, rz] :
       std::vector<std::array<float, 3>>{{0, 0, 0}, {2, 1, 3}, {2.5f, 0.5f, 1.9f}}) {
    KoArray2D<float> ellipse;
    KoArray3D<float> ellipsoid;
    Factory::CreateEllipse(rx, ry, ellipse), Factory::CreateEllipsoid(rx, ry, rz, ellipsoid);
    const int hx = int(rx), hy = int(ry), hz = int(rz);
    ASSERT_TRUE(ellipse.GetWidth() == 2u * hx + 1 && ellipse.GetHeight() == 2u * hy + 1);
    ASSERT_EQ(ellipsoid.GetDepth(), 2u * hz + 1);
    auto term = [](int offset, long double r) {
      return offset == 0 ? 0 : offset * offset / (r * r);
    };
    for (int z = -hz; z <= hz; ++z) {
      for (int y = -hy; y <= hy; ++y) {
        for (int x = -hx; x <= hx; ++x) {
          const long double q = term(x, rx) + term(y, ry);
          EXPECT_TRUE(z != 0 || ellipse(x + hx, y + hy) == float(q <= 1));
          EXPECT_EQ(ellipsoid(x + hx, y + hy, z + hz), float(q + term(z, rz) <= 1));
        }
      }
    }
  }
  KoArray3D<float> sphere(1, 1, 1);
  ExpectThrowNaming([&] { Factory::CreateSphere(-1, sphere); }, "r ");
  ExpectThrowNaming([&] { Factory::CreateEllipsoid(1, NAN, 1, sphere); }, "ry");
  ExpectThrowNaming([&] { Factory::CreateEllipsoid(1, 1, 3e9f, sphere); }, "rz");
  ExpectThrowNaming([&] { Factory::CreateNeighbourhoodCount(1u << 22, sphere); }, "radius");
  // Beyond 2^24 cells: the size asked for, before allocating (not bad_alloc).
  KoArray2D<float> square;
  KbArray<float> row;
  ExpectThrowNaming([&] { Factory::CreateNeighbourhoodCount(100000, square); }, "200001 x 200001");
  ExpectThrowNaming([&] { Factory::CreateNeighbourhoodExistence(128, sphere); }, "257 x 257 x 257");
  ExpectThrowNaming([&] { Factory::CreateEllipse(2049, 2048, square); }, "4099 x 4097");
  ExpectThrowNaming([&] { Factory::CreateMeanFilter(1u << 23, row); }, "16777217 kernel");
  Factory::CreateMeanFilter((1u << 23) - 1, row);  // 2^24 - 1 cells: within the bound
  EXPECT_EQ(sphere.GetWidth(), 1u);
  // 3 x 5592405 cells, where 5592405 = 2^24 / 3 rounded down: on the bound.
  Factory::CreateEllipse(1, 2796202, square);
  Factory::CreateEllipsoid(0, 5000, 0, sphere);
  EXPECT_TRUE(square.GetHeight() == 5592405 && sphere.GetHeight() == 10001);
  // 257^2 cells in the plane, 65^3 in space: each within its own bound.
  Factory::CreateNeighbourhoodExistence(32, sphere), Factory::CreateNeighbourhoodCount(32, sphere);
  Factory::CreateNeighbourhoodExistence(128, square), Factory::CreateSphere(32, sphere);
  EXPECT_TRUE(square.GetWidth() == 257 && sphere.GetDepth() == 65);
  Factory::CreateSphere(1, sphere);
  EXPECT_EQ(std::count(sphere.GetData(), sphere.GetData() + 27, 1.0f), 7);  // centre and faces
}

}  // namespace
