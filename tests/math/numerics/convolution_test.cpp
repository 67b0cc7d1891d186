#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "RecordTestSupport.h"
#include "math/KoMath.h"

namespace {

using Case = std::tuple<float, bool, float>;  // h, periodic, period

// Independent reference in double: the value of the nearest sample (over
// all copies on a circle) times the tent, by the midpoint rule on pieces cut
// at every cell boundary, at x_i and at x_i +- h, where the rule is exact.
double Quadrature(const KbArray<float>& x, const KbArray<float>& v, double h, bool periodic,
                  double period, unsigned int i) {
  const unsigned int n = x.GetSize();
  const double xi = x[i];
  std::vector<double> cuts = {xi - h, xi, xi + h};
  const int laps = periodic ? int(std::ceil((h + x[n - 1] - x[0]) / period)) + 1 : 0;
  for (int j = -laps; j <= laps; ++j) {
    for (unsigned int k = 0; k + (periodic ? 0 : 1) < n; ++k) {
      const double cut = (double(x[k]) + (k + 1 < n ? x[k + 1] : x[0] + period)) / 2 + j * period;
      if (std::abs(cut - xi) < h) cuts.push_back(cut);
    }
  }
  std::sort(cuts.begin(), cuts.end());
  double sum = 0;
  for (std::size_t c = 0; c + 1 < cuts.size(); ++c) {
    const double mid = (cuts[c] + cuts[c + 1]) / 2;
    auto distance = [&](unsigned int k) {
      const double d = mid - x[k];
      return std::abs(periodic ? d - period * std::round(d / period) : d);
    };
    unsigned int nearest = 0;
    for (unsigned int k = 1; k < n; ++k) nearest = distance(k) < distance(nearest) ? k : nearest;
    sum += (cuts[c + 1] - cuts[c]) * (1 - std::abs(mid - xi) / h) * v[nearest];
  }
  return sum / h;
}

template <class T = float>
KbArray<T> Smooth(const KbArray<float>& x, KbArray<T> values, Case c) {
  KoFtArrayConvolution<T> convolution;
  convolution.SetInput(std::get<0>(c), x, std::get<1>(c), std::get<2>(c), values);
  EXPECT_TRUE(convolution.Compute(0));
  return values;
}

// Irregular positions in [0, 4) on a line and on a circle of length 5, h
// from 0 to beyond the period. Vectors go by component: (v, -v, v/2) must
// give exactly (r, -r, r/2), which also catches swapped components. (The
// golden files below pin the operation order bit for bit.)
TEST(KoFtArrayConvolution, SweepsMatchTheQuadrature) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> position(0, 4), value(-1, 1);
  for (int run = 0; run < 60; ++run) {
    const unsigned int n = 1 + run % 13;
    KbArray<float> x(n), v(n);
    for (unsigned int k = 0; k < n; ++k) x[k] = position(rng), v[k] = value(rng);
    std::sort(x.begin(), x.end());
    const float h = std::array<float, 6>{0.0f, 0.03f, 0.4f, 1.7f, 2.6f, 7.3f}[run % 6];
    const Case c{h, run % 2, 5.0f};
    const KbArray<float> r = Smooth(x, v, c);
    KbArray<KbVector3f> v3(n);
    KbArray<KbVector2f> v2(n);
    for (unsigned int k = 0; k < n; ++k) v3[k] = {v[k], -v[k], v[k] / 2}, v2[k] = {-v[k], v[k] / 2};
    v3 = Smooth(x, v3, c), v2 = Smooth(x, v2, c);
    // A few roundings per visited cell (about 2h / 0.05 of them), each
    // relative to position / h: this bounds what is seen by 30x.
    const double tolerance =
        2 * std::numeric_limits<float>::epsilon() * (1 + 9 / (h + 1e-3)) * (1 + h / 0.05);
    for (unsigned int i = 0; i < n; ++i) {
      EXPECT_EQ(v3[i], KbVector3f(r[i], -r[i], r[i] / 2)) << run << " " << i;
      EXPECT_EQ(v2[i], KbVector2f(-r[i], r[i] / 2)) << run << " " << i;
      const double expected = h == 0 ? 0 : Quadrature(x, v, h, run % 2, 5.0, i);
      EXPECT_NEAR(r[i], expected, tolerance) << run << " " << i;
    }
  }
  // 3e7 + 0.5 rounds back to 3e7: no cell boundary lies below x + h, so that
  // sample gets nothing, as for h = 0, while the one at 0 keeps its value.
  EXPECT_EQ(Smooth({0, 3e7f}, {2, 5}, Case{0.5f, false, 0}), (KbArray<float>{2, 0}));
}

TEST(KoFtArrayConvolution, UnmetPreconditionsLeaveTheValuesAndBadInputTerminates) {
  const KbArray<float> x{0, 1, 2}, longer{0, 1, 2, 3};
  KbArray<float> v{1, 2, 3};
  KoFtArrayConvolution<float> convolution;
  EXPECT_FALSE(convolution.Compute(0));  // nothing set
  for (Case c : {Case{-0.5f, false, 0}, Case{NAN, false, 0}, Case{1, true, 0}, Case{1, true, NAN},
                 Case{1025, true, 1}, Case{INFINITY, true, 3}}) {
    convolution.SetInput(std::get<0>(c), x, std::get<1>(c), std::get<2>(c), v);
    EXPECT_FALSE(convolution.Compute(0)) << std::get<0>(c);
  }
  convolution.SetInput(1, longer, false, 0, v);  // more positions than values
  EXPECT_TRUE(!convolution.Compute(0) && v == (KbArray<float>{1, 2, 3}));
  convolution.SetInput(1, x, false, 0, v);
  ASSERT_TRUE(convolution.Compute(0));
  convolution.SetInput(1, x, false, 0, v);  // the result is stale again
  EXPECT_FALSE(convolution.IsCalculated());
  // Finite work: unsorted, NaN positions or values, a period far below the
  // span, an infinite h on a line, the widest kernel allowed on a circle.
  for (const KbArray<float>& positions : {KbArray<float>{3, 0, 2, 1}, KbArray<float>{0, NAN, 2, 3},
                                          KbArray<float>{0, 1e6f, 2e6f, 3e6f}}) {
    for (Case c : {Case{1.5f, false, 0}, Case{1.5f, true, 0.01f}, Case{INFINITY, false, 0},
                   Case{1024, true, 1}}) {
      Smooth(positions, {1, NAN, 3, 4}, c);
    }
  }
}

template <class T>
using CProbe = ko_test::UnitTestProbe<KoFtArrayConvolution<T>>;

// The unit-test record of one run: input, then output.
template <class T>
ko_test::Bytes Record(CProbe<T>& probe) {
  ko_test::Bytes record = probe.Input();
  EXPECT_TRUE(probe.Compute(0));
  const ko_test::Bytes output = probe.Output();
  record.insert(record.end(), output.begin(), output.end());
  return record;
}

TEST(KoFtArrayConvolutionRecords, BytesReplayNaNAndMissingRecords) {
  const KbArray<float> x{0.5f, 2.0f};
  KbArray<KbVector2f> v{{1, 2}, {3, 4}};
  CProbe<KbVector2f> probe, replay;
  probe.SetInput(0.75f, x, true, 4.0f, v);
  const std::vector<std::uint8_t> record = Record(probe);
  // Versions, h, the positions, periodic, the period, the values, the
  // output versions and the smoothed values.
  ko_test::Bytes expected = ko_test::Pack(1u, 1u, 0.75f, ~0u, 1u, 2u, 4u, 0.5f, 2.0f, true, 4.0f);
  ko_test::Append(expected, ~0u, 1u, 2u, 8u, 1.0f, 2.0f, 3.0f, 4.0f, 1u, 1u, ~0u, 1u, 2u, 8u);
  for (const KbVector2f& value : v) ko_test::Append(expected, value.x, value.y);
  ASSERT_EQ(record, expected);

  EXPECT_THROW(replay.compareUnitTestResult(), KbException);  // nothing read
  CProbe<KbVector2f>().ReadOutput(probe.Output());            // an output before any input
  KbStreamReadBinaryMemory stream(record);
  replay.serializeUnitTestInput(stream);
  EXPECT_THROW(replay.compareUnitTestResult(), KbException);  // no output yet
  ASSERT_TRUE(replay.Compute(0));
  replay.serializeUnitTestOutput(stream);
  EXPECT_TRUE(replay.compareUnitTestResult());
  replay.ReadInput(record);  // a new input drops the expected output
  EXPECT_THROW(replay.compareUnitTestResult(), KbException);
  KbArray<KbVector2f> other{{5, 6}, {7, 8}};
  replay.SetInput(0.75f, x, true, 4.0f, other);  // the caller's values are written
  const ko_test::Bytes rewritten = replay.Input(), tail = ko_test::Pack(5.f, 6.f, 7.f, 8.f);
  EXPECT_TRUE(std::equal(tail.begin(), tail.end(), rewritten.end() - 16));

  KbArray<float> nan{1, NAN};  // a NaN result differs from itself, also the last one
  CProbe<float> floats;
  floats.SetInput(0.5f, x, false, 0, nan);
  KbStreamReadBinaryMemory nanStream(Record(floats));
  floats.serializeUnitTestInput(nanStream), floats.Compute(0);
  floats.serializeUnitTestOutput(nanStream);
  EXPECT_FALSE(floats.compareUnitTestResult());
}

// Golden files per value type: 17 samples on a line (h 0.6) and on a circle
// of 4.5 (h 1.1, 3.4), bit for bit, written as Record() does (CreateUnitTest would record
// the in-place result as input). Recreate must not do that either.
template <class T>
void ReplayAndRecreate() {
  KoFtArrayConvolution<T> convolution;
  convolution.SetUnitTestDirectory(KOMATH_TEST_DATA_DIR "/math/numerics/unittests");
  convolution.initSubtests();
  ASSERT_EQ(convolution.getSubtestCount(), 3u);
  const ko_test::ScratchDirectory scratch;
  const auto& copies = scratch.Path();
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_EQ(convolution.runUnitTest(i), KoUnitTest::ePassed) << i;
    std::filesystem::copy_file(convolution.GetUnitTestPath(i),
                               copies / convolution.getSubtestName(i));
  }
  convolution.SetUnitTestDirectory(copies);
  convolution.initSubtests();
  for (unsigned int i = 0; i < 3; ++i) {
    ASSERT_TRUE(convolution.Recreate(i));
    EXPECT_EQ(convolution.runUnitTest(i), KoUnitTest::ePassed) << i;
  }
}

TEST(KoFtArrayConvolutionGolden, ReplayThroughFrameworkAndRecreate) {
  ReplayAndRecreate<float>(), ReplayAndRecreate<KbVector2f>(), ReplayAndRecreate<KbVector3f>();
}

}  // namespace
