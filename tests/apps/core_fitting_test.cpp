// Fit and Smooth of komath_core against numpy (data/make_numpy_references.py)
// and exact properties of the tent smoothing.
#include <gtest/gtest.h>

#include <cmath>

#include "CoreTestSupport.h"
#include "Errors.h"
#include "Fitting.h"

namespace {

struct Series {
  std::vector<double> x, y;
};

Series LoadCo2() {
  std::ifstream in(std::string(KOMATH_APPS_TEST_DATA) + "/co2.txt");
  Series s;
  for (double x, y; in >> x >> y;) s.x.push_back(x), s.y.push_back(y);
  return s;
}

// The monthly co2 series against x = the year, the case where the power
// form in x is hopeless: the fit in u = (x - shift) / scale matches numpy's
// Polynomial.fit coefficient by coefficient, and its chi-square is numpy's
// least-squares minimum.
TEST(FitTest, BadlyConditionedYearsMatchNumpy) {
  const Series co2 = LoadCo2();
  const Sections numpy = ReadSections("numpy_references.txt");
  for (const unsigned degree : {2u, 6u, 8u}) {
    const std::vector<double>& ref = numpy.at("co2_degree_" + std::to_string(degree));
    const komath::FitResult r = komath::Fit(co2.x, co2.y, {}, degree);
    ASSERT_EQ(r.scaledCoefficients.size(), degree + 1);
    // The float solves of the refinement round their right-hand side: a
    // float epsilon of y's spread (31 here) per coefficient is the floor of
    // the fitted values. The chi-square, second order in it, is numpy's.
    const double floor = 31 * 0x1p-24 * (degree + 1);
    double largest = 0;
    for (std::size_t i = 0; i < co2.x.size(); ++i) {
      const double u = (co2.x[i] - r.shift) / r.scale;
      double mine = 0, theirs = 0;
      for (unsigned k = degree + 1; k-- > 0;)
        mine = mine * u + r.scaledCoefficients[k], theirs = theirs * u + ref[k];
      largest = std::max(largest, std::abs(mine - theirs));
    }
    EXPECT_LE(largest, floor) << degree;
    EXPECT_NEAR(r.chiSquare, ref.back(), 1e-12 * ref.back()) << degree;
    EXPECT_EQ(r.illConditioned, degree > 2) << degree;
    // y in other units, past float's range too, keeps the flag and scales the chi-square.
    for (const double unit : {1e-12, 1e-45, 1e45}) {
      std::vector<double> scaled = co2.y;
      for (double& v : scaled) v *= unit;
      const komath::FitResult s = komath::Fit(co2.x, scaled, {}, degree);
      EXPECT_EQ(s.illConditioned, degree > 2) << degree;
      EXPECT_NEAR(s.chiSquare / unit / unit, r.chiSquare, 1e-9 * r.chiSquare) << unit;
    }
  }
}

// Sigmas weigh by their ratios only: 1e-30 and 1e30 scale just the chi-square.
TEST(FitTest, SigmasWeighOnlyByTheirRatios) {
  const Series co2 = LoadCo2();
  const komath::FitResult plain = komath::Fit(co2.x, co2.y, {}, 3);
  for (const double sigma : {1e-30, 1e30}) {
    const std::vector<double> sigmas(co2.x.size(), sigma);
    const komath::FitResult r = komath::Fit(co2.x, co2.y, sigmas, 3);
    for (unsigned k = 0; k <= 3; ++k)
      EXPECT_NEAR(r.scaledCoefficients[k], plain.scaledCoefficients[k], 1e-9 * 335);
    EXPECT_NEAR(r.chiSquare * sigma * sigma, plain.chiSquare, 1e-9 * plain.chiSquare);
  }
}

TEST(FitTest, BadInputIsAnInputError) {
  const std::vector<double> x{1, 2, 3}, y{1, 2, 3}, same{5, 5, 5};
  EXPECT_THROW(komath::Fit(x, y, {}, 3), komath::InputError);  // too few points
  EXPECT_EQ(komath::Fit(same, y, {}, 0).coefficients[0], 2);   // a constant has one
  EXPECT_EQ(komath::Fit(x, same, {}, 1).coefficients, (std::vector<double>{5, 0}));
  EXPECT_THROW(komath::Fit(x, std::span<const double>(y).first(2), {}, 1), komath::InputError);
  try {  // a sigma of 0 is refused as such, not by what it would break later
    komath::Fit(x, y, std::vector<double>{1, 0, 1}, 1);
    ADD_FAILURE() << "sigma 0 accepted";
  } catch (const komath::InputError& e) {
    EXPECT_STREQ(e.what(), "fit: sigma 0.000000 is not positive");
  }
}

// One sample keeps its value (the tool's tests smooth a step exactly);
// a negative or infinite half-width is refused.
TEST(SmoothTest, OneSampleKeepsItsValue) {
  const std::vector<double> x{-2, -1, 0, 1, 2}, y{0, 0, 0.5, 1, 1};
  std::vector<double> out(5);
  double single = 0;
  komath::Smooth(std::vector<double>{5}, std::vector<double>{3}, 1, 1.0, std::nullopt,
                 {&single, 1});
  EXPECT_EQ(single, 3);
  for (const double bad : {-1.0, double(INFINITY)})
    EXPECT_THROW(komath::Smooth(x, y, 1, bad, std::nullopt, out), komath::InputError) << bad;
}

// The tent's weights sum to one and it is symmetric: a line on a uniform
// grid stays that line away from the ends, whatever its offset (1e7 here,
// where float steps by 1); smoothing in place gives the same values.
TEST(SmoothTest, LinesStayLinesAtLargeOffsets) {
  const std::size_t n = 200;
  std::vector<double> x(n), y(n), out(n);
  for (std::size_t i = 0; i < n; ++i) x[i] = 1e7 + 0.25 * double(i), y[i] = 1e7 + 0.5 * double(i);
  komath::Smooth(x, y, 1, 2.0, std::nullopt, out);
  for (std::size_t i = 10; i + 10 < n; ++i) {
    EXPECT_NEAR(out[i], y[i], 1e-6 * 50) << i;  // float rounding of the unit-size values
  }
  komath::Smooth(x, y, 1, 2.0, std::nullopt, y);
  EXPECT_EQ(y, out);
  // Positions and values far beyond float's range are scaled into it first.
  std::vector<double> huge(n), scaled(n);
  for (std::size_t i = 0; i < n; ++i) huge[i] = 1e300 * 0.5 * double(i);
  komath::Smooth(huge, huge, 1, 4e300, std::nullopt, scaled);
  for (std::size_t i = 10; i + 10 < n; ++i) EXPECT_NEAR(scaled[i], huge[i], 1e300 * 1e-6 * 50) << i;
  // Constant values stay exact (of spread exactly 0 too); zero half-width gives zeros.
  std::vector<double> triple(3 * n, 1.0), smoothed(3 * n);
  for (std::size_t i = 0; i < n; ++i) triple[3 * i] = 0;
  komath::Smooth(x, triple, 3, 2.0, std::nullopt, smoothed);
  EXPECT_EQ(smoothed, triple);
  komath::Smooth(x, triple, 3, 0.0, std::nullopt, smoothed);
  EXPECT_EQ(smoothed, std::vector<double>(3 * n, 0.0));
  const std::vector<double> ends{-5, 5};  // a span of 10 needs a period above 10
  EXPECT_THROW(komath::Smooth(ends, ends, 1, 1.0, 10.0, {smoothed.data(), 2}), komath::InputError);
  const std::vector<double> down{5, -5};
  EXPECT_THROW(komath::Smooth(down, ends, 1, 1.0, {}, {smoothed.data(), 2}), komath::InputError);
  const std::span<double> short_(triple.data(), 3 * n - 1);  // y and out alike one short
  EXPECT_THROW(komath::Smooth(x, short_, 3, 1.0, {}, short_), komath::InputError);
  triple[5] = NAN;
  EXPECT_THROW(komath::Smooth(x, triple, 3, 1.0, {}, smoothed), komath::InputError);
  x[5] = NAN;
  EXPECT_THROW(komath::Smooth(x, smoothed, 3, 1.0, {}, smoothed), komath::InputError);
  EXPECT_THROW(komath::Smooth({x.data() + 6, 50}, y, 4, 1.0, {}, out),
               komath::InputError);  // four components, all else right
}

}  // namespace
