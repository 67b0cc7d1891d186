#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "base/KbException.h"
#include "math/numerics/KoConvolutionKernelFactory.h"
#include "math/numerics/KoGridFilter.h"

namespace {

using Factory = KoConvolutionKernelFactory;

template <class Call>
void ExpectThrowNaming(Call call, const std::string& argument) {
  try {
    call();
    ADD_FAILURE() << "no exception for " << argument;
  } catch (const KbException& e) {
    EXPECT_NE(std::string(e.what()).find(argument), std::string::npos) << e.what();
  }
}

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
    if (r <= 12) {
      EXPECT_EQ(sum, 1.0f) << r;
    }
    for (int step = 0; step < 2; ++step) {  // two rows of the triangle further
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

TEST(KoConvolutionKernelFactory, StencilsAndSobelPair) {
  KoArray2D<float> laplace, dx, dy;
  KoArray3D<float> laplace3;
  Factory::CreateLaplaceFilter(laplace);
  Factory::CreateLaplaceFilter(laplace3);
  Factory::CreateSobelKernels(dx, dy);
  const std::vector<float> expected2 = {0, 1, 0, 1, -4, 1, 0, 1, 0};
  const std::vector<float> expectedDx = {-1, 0, 1, -2, 0, 2, -1, 0, 1};
  const std::vector<float> expectedDy = {-1, -2, -1, 0, 0, 0, 1, 2, 1};
  EXPECT_EQ(std::vector<float>(laplace.GetData(), laplace.GetData() + 9), expected2);
  EXPECT_EQ(std::vector<float>(dx.GetData(), dx.GetData() + 9), expectedDx);
  EXPECT_EQ(std::vector<float>(dy.GetData(), dy.GetData() + 9), expectedDy);
  for (unsigned int z = 0; z < 3; ++z) {
    for (unsigned int y = 0; y < 3; ++y) {
      for (unsigned int x = 0; x < 3; ++x) {
        const unsigned int away = (x != 1) + (y != 1) + (z != 1);
        EXPECT_EQ(laplace3(x, y, z), away == 0 ? -6.0f : away == 1 ? 1.0f : 0.0f);
      }
    }
  }
}

// Correlating a random 0/1 grid with the count kernel counts set cells in
// the (2r + 1) square without the centre; the existence kernel is > 0
// exactly where the square holds any set cell.
TEST(KoConvolutionKernelFactory, NeighbourhoodKernelsCountAndDilate) {
  std::mt19937 rng(9);
  const int w = 11, h = 7, d = 5;
  KoArray3D<float> grid(w, h, d), counted(w, h, d), dilated(w, h, d);
  for (int k = 0; k < w * h * d; ++k) grid.GetData()[k] = float(rng() % 5 == 0);
  for (unsigned int r : {0u, 1u, 2u}) {
    KoArray3D<float> count, exists;
    Factory::CreateNeighbourhoodCount(r, count);
    Factory::CreateNeighbourhoodExistence(r, exists);
    KoGridFilter::Apply(grid, count, counted, KoGridFilter::eZero);
    KoGridFilter::Apply(grid, exists, dilated, KoGridFilter::eZero);
    for (int z = 0; z < d; ++z) {
      for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
          float n = 0;
          for (int c = z - int(r); c <= z + int(r); ++c) {
            for (int b = y - int(r); b <= y + int(r); ++b) {
              for (int a = x - int(r); a <= x + int(r); ++a) {
                const bool inside = a >= 0 && a < w && b >= 0 && b < h && c >= 0 && c < d;
                if (inside && (a != x || b != y || c != z)) n += grid(a, b, c);
              }
            }
          }
          EXPECT_EQ(counted(x, y, z), n);
          EXPECT_EQ(dilated(x, y, z) > 0, n + grid(x, y, z) > 0);
        }
      }
    }
  }
  KoArray2D<float> count2, exists2;
  Factory::CreateNeighbourhoodCount(1, count2);
  Factory::CreateNeighbourhoodExistence(1, exists2);
  EXPECT_EQ(count2(1, 1), 0.0f);
  EXPECT_EQ(count2(0, 2) + exists2(1, 1) + exists2(2, 0), 3.0f);
}

TEST(KoConvolutionKernelFactory, EllipsesOnTheSmallestOddGridAndBadRadii) {
  for (auto [rx, ry, rz] : std::vector<std::array<float, 3>>{
           {0, 0, 0}, {2, 1, 3}, {2.5f, 0.5f, 1.9f}, {3.2f, 3.2f, 3.2f}}) {
    KoArray2D<float> ellipse;
    KoArray3D<float> ellipsoid;
    Factory::CreateEllipse(rx, ry, ellipse);
    Factory::CreateEllipsoid(rx, ry, rz, ellipsoid);
    const int hx = int(rx), hy = int(ry), hz = int(rz);
    ASSERT_EQ(ellipse.GetWidth(), 2u * hx + 1);
    ASSERT_EQ(ellipse.GetHeight(), 2u * hy + 1);
    ASSERT_EQ(ellipsoid.GetDepth(), 2u * hz + 1);
    auto term = [](int offset, long double r) {
      return offset == 0 ? 0 : offset * offset / (r * r);
    };
    for (int z = -hz; z <= hz; ++z) {
      for (int y = -hy; y <= hy; ++y) {
        for (int x = -hx; x <= hx; ++x) {
          const long double q = term(x, rx) + term(y, ry);
          if (z == 0) {
            EXPECT_EQ(ellipse(x + hx, y + hy), q <= 1 ? 1.0f : 0.0f);
          }
          EXPECT_EQ(ellipsoid(x + hx, y + hy, z + hz), q + term(z, rz) <= 1 ? 1.0f : 0.0f);
        }
      }
    }
  }
  KoArray3D<float> sphere(1, 1, 1);
  ExpectThrowNaming([&] { Factory::CreateSphere(-1, sphere); }, "r ");
  ExpectThrowNaming([&] { Factory::CreateEllipsoid(1, NAN, 1, sphere); }, "ry");
  ExpectThrowNaming([&] { Factory::CreateEllipsoid(1, 1, 3e9f, sphere); }, "rz");
  ExpectThrowNaming([&] { Factory::CreateNeighbourhoodCount(1u << 22, sphere); }, "radius");
  EXPECT_EQ(sphere.GetWidth(), 1u);
  Factory::CreateSphere(1, sphere);
  float volume = 0;
  for (int k = 0; k < 27; ++k) volume += sphere.GetData()[k];
  EXPECT_EQ(volume, 7);  // centre and the six face neighbours
}

}  // namespace
