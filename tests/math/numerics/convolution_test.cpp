#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

#include "base/KbException.h"
#include "base/KbStreamBinaryFile.h"
#include "base/KbStreamBinaryMemory.h"
#include "math/numerics/KoFtArrayConvolution.h"

namespace {

using Convolution = KoFtArrayConvolution<float>;
const float c_inf = std::numeric_limits<float>::infinity();

// The two sweeps transcribed word by word in float, without the reuse of
// quotients that the library does: the library must match it bit for bit.
float FLiteral(float u) {
  return (1 - std::fabs(u) / 2) * u;
}
KbArray<float> LiteralSweeps(const KbArray<float>& x, const KbArray<float>& v, float h,
                             bool periodic, float period) {
  const unsigned int n = x.GetSize();
  KbArray<float> r(n);
  for (unsigned int i = 0; i < n; ++i) {
    if (x[i] + h > x[i]) {
      float b = x[i], p = x[i], s = 0;
      unsigned int k = i;
      do {
        unsigned int next = k + 1;
        if (next == n) periodic ? (s = s + period, next = 0) : (s = c_inf, next = k);
        const float m = ((x[next] + s) + p) / 2;
        const float lo = std::max(-1.0f, (b - x[i]) / h), hi = std::min(1.0f, (m - x[i]) / h);
        r[i] += (FLiteral(hi) - FLiteral(lo)) * v[k];
        b = m, p = x[next] + s, k = next;
      } while (b < x[i] + h);
    }
    if (x[i] - h < x[i]) {
      float b = x[i], p = x[i], s = 0;
      unsigned int k = i;
      do {
        unsigned int next = k - 1;
        if (k == 0) periodic ? (s = s - period, next = n - 1) : (s = -c_inf, next = 0);
        const float m = ((x[next] + s) + p) / 2;
        const float lo = std::max(-1.0f, (m - x[i]) / h), hi = std::min(1.0f, (b - x[i]) / h);
        r[i] += (FLiteral(hi) - FLiteral(lo)) * v[k];
        b = m, p = x[next] + s, k = next;
      } while (b > x[i] - h);
    }
  }
  return r;
}

// Independent reference in double: the piecewise-constant function (value
// of the nearest sample, nearest over all copies on a circle) times the
// tent, integrated by the midpoint rule on pieces split at every cell
// boundary, at x_i and at x_i +- h, where the rule is exact.
double Quadrature(const KbArray<float>& x, const KbArray<float>& v, double h, bool periodic,
                  double period, unsigned int i) {
  const unsigned int n = x.GetSize();
  const double xi = x[i];
  std::vector<double> cuts = {xi - h, xi, xi + h};
  const int laps = periodic ? int(std::ceil((h + x[n - 1] - x[0]) / period)) + 1 : 0;
  for (int j = -laps; j <= laps; ++j) {
    for (unsigned int k = 0; k < n; ++k) {
      const double next = k + 1 < n ? x[k + 1] : (periodic ? x[0] + period : NAN);
      const double cut = (double(x[k]) + next) / 2 + j * period;
      if (std::abs(cut - xi) < h) cuts.push_back(cut);
    }
  }
  std::sort(cuts.begin(), cuts.end());
  double sum = 0;
  for (std::size_t c = 0; c + 1 < cuts.size(); ++c) {
    const double mid = (cuts[c] + cuts[c + 1]) / 2;
    unsigned int nearest = 0;
    double best = INFINITY;
    for (unsigned int k = 0; k < n; ++k) {
      double d = mid - x[k];
      if (periodic) d -= period * std::round(d / period);
      if (std::abs(d) < best) best = std::abs(d), nearest = k;
    }
    sum += (cuts[c + 1] - cuts[c]) * (1 - std::abs(mid - xi) / h) * v[nearest];
  }
  return sum / h;
}

struct SSamples {
  KbArray<float> x, v;
};

SSamples RandomSamples(std::mt19937& rng, unsigned int n, float span) {
  std::uniform_real_distribution<float> position(0, span), value(-1, 1);
  SSamples s{KbArray<float>(n), KbArray<float>(n)};
  for (unsigned int k = 0; k < n; ++k) s.x[k] = position(rng), s.v[k] = value(rng);
  std::sort(s.x.begin(), s.x.end());
  return s;
}

KbArray<float> Smooth(const SSamples& s, float h, bool periodic, float period) {
  KbArray<float> values = s.v;
  Convolution convolution;
  convolution.SetInput(h, s.x, periodic, period, values);
  EXPECT_TRUE(convolution.Compute(0));
  return values;
}

// Irregular positions in [0, 4) on a line and on a circle of length 5, h
// from 0 to beyond the period: bit-identical to the literal sweeps, and
// within float rounding of the double quadrature.
TEST(KoFtArrayConvolution, SweepsAreBitIdenticalAndMatchTheQuadrature) {
  std::mt19937 rng(7);
  for (int run = 0; run < 60; ++run) {
    const SSamples s = RandomSamples(rng, 1 + run % 13, 4.0f);
    const bool periodic = run % 2 == 1;
    const float h = std::array<float, 6>{0.0f, 0.03f, 0.4f, 1.7f, 2.6f, 7.3f}[run % 6];
    const KbArray<float> result = Smooth(s, h, periodic, 5.0f);
    ASSERT_EQ(result, LiteralSweeps(s.x, s.v, h, periodic, 5.0f)) << run;
    // A few float roundings per visited cell (about 2h / 0.05 of them),
    // each relative to position / h: twice that bounds what is seen by 30x.
    const double tolerance =
        2 * std::numeric_limits<float>::epsilon() * (1 + 9 / (h + 1e-3)) * (1 + h / 0.05);
    for (unsigned int i = 0; i < s.x.GetSize(); ++i) {
      const double expected = h == 0 ? 0 : Quadrature(s.x, s.v, h, periodic, 5.0, i);
      EXPECT_NEAR(result[i], expected, tolerance) << run << " " << i;
    }
  }
}

TEST(KoFtArrayConvolution, ZeroWidthSingleSampleConstantsAndVectorsByComponent) {
  const KbArray<float> x{0.0f, 0.25f, 1.5f, 1.75f, 3.0f};
  EXPECT_EQ(Smooth({x, {1, 2, 3, 4, 5}}, 0.0f, true, 4.0f), KbArray<float>(5));  // zeros
  EXPECT_EQ(Smooth({{2.0f}, {-3.5f}}, 9.0f, false, 0.0f), KbArray<float>{-3.5f});
  for (bool periodic : {false, true}) {
    for (float h : {0.1f, 1.3f, 2.5f, 11.0f}) {
      for (float value : Smooth({x, {7, 7, 7, 7, 7}}, h, periodic, 4.0f))
        EXPECT_NEAR(value, 7, 2e-5);
    }
  }
  // A vector convolution equals the float convolution of each component.
  std::mt19937 rng(3);
  const SSamples a = RandomSamples(rng, 9, 3), b = RandomSamples(rng, 9, 3),
                 c = RandomSamples(rng, 9, 3);
  KbArray<KbVector3f> v3(9);
  KbArray<KbVector2f> v2(9);
  for (unsigned int k = 0; k < 9; ++k) v3[k] = {a.v[k], b.v[k], c.v[k]}, v2[k] = {a.v[k], b.v[k]};
  KoFtArrayConvolution<KbVector3f> c3;
  KoFtArrayConvolution<KbVector2f> c2;
  c3.SetInput(2.2f, a.x, true, 3.5f, v3);
  c2.SetInput(2.2f, a.x, true, 3.5f, v2);
  ASSERT_TRUE(c3.Compute(0) && c2.Compute(0));
  const KbArray<float> rx = Smooth({a.x, a.v}, 2.2f, true, 3.5f),
                       ry = Smooth({a.x, b.v}, 2.2f, true, 3.5f),
                       rz = Smooth({a.x, c.v}, 2.2f, true, 3.5f);
  for (unsigned int k = 0; k < 9; ++k) {
    EXPECT_EQ(v3[k], KbVector3f(rx[k], ry[k], rz[k])) << k;
    EXPECT_EQ(v2[k], KbVector2f(rx[k], ry[k])) << k;
  }
}

TEST(KoFtArrayConvolution, UnmetPreconditionsLeaveTheValuesAndBadInputTerminates) {
  const KbArray<float> x{0, 1, 2}, longer{0, 1, 2, 3};
  KbArray<float> v{1, 2, 3};
  Convolution convolution;
  EXPECT_FALSE(convolution.Compute(0));  // nothing set
  for (auto [h, periodic, period] : std::vector<std::tuple<float, bool, float>>{{-0.5f, false, 0},
                                                                                {NAN, false, 0},
                                                                                {1, true, 0},
                                                                                {1, true, NAN},
                                                                                {1025, true, 1},
                                                                                {c_inf, true, 3}}) {
    convolution.SetInput(h, x, periodic, period, v);
    EXPECT_FALSE(convolution.Compute(0)) << h << " " << period;
  }
  convolution.SetInput(1, longer, false, 0, v);
  EXPECT_FALSE(convolution.Compute(0));
  EXPECT_EQ(v, (KbArray<float>{1, 2, 3}));

  // Finite work and no crash: unsorted, NaN positions and values, a period
  // far below the span, an infinite h on a line, the widest allowed kernel.
  const KbArray<float> unsorted{3, 0, 2, 1}, nanAt{0, NAN, 2, 3}, wide{0, 1e6f, 2e6f, 3e6f};
  KbArray<float> w{1, NAN, 3, 4};
  for (const KbArray<float>* positions : {&unsorted, &nanAt, &wide}) {
    for (auto [h, periodic, period] : std::vector<std::tuple<float, bool, float>>{
             {1.5f, false, 0}, {1.5f, true, 0.01f}, {c_inf, false, 0}, {1024, true, 1}}) {
      convolution.SetInput(h, *positions, periodic, period, w);
      EXPECT_TRUE(convolution.Compute(0));
      w = {1, NAN, 3, 4};
    }
  }
}

// Exposes the record hooks.
template <class T>
class CProbe : public KoFtArrayConvolution<T> {
 public:
  using KoFtArrayConvolution<T>::compareUnitTestResult;
  using KoFtArrayConvolution<T>::serializeUnitTestInput;
  using KoFtArrayConvolution<T>::serializeUnitTestOutput;
};

void PutArray(KbStreamWriteBinaryMemory& out, std::initializer_list<float> floats, unsigned count,
              unsigned size) {
  for (std::uint32_t u : {0xFFFFFFFFu, 1u, count, size}) out.WriteUInt32(u);
  for (float f : floats) out.WriteFloat(f);
}

TEST(KoFtArrayConvolutionRecords, BytesRoundTripNaNCorruptionAndMissingRecords) {
  const KbArray<float> x{0.5f, 2.0f};
  KbArray<KbVector2f> v{{1, 2}, {3, 4}};
  CProbe<KbVector2f> probe, replay;
  probe.SetInput(0.75f, x, true, 4.0f, v);
  KbStreamWriteBinaryMemory record, expected;
  probe.serializeUnitTestInput(record);
  for (std::uint32_t u : {1u, 1u}) expected.WriteUInt32(u);
  expected.WriteFloat(0.75f);
  PutArray(expected, {0.5f, 2.0f}, 2, 4);
  expected.WriteBool(true);
  expected.WriteFloat(4.0f);
  PutArray(expected, {1, 2, 3, 4}, 2, 8);
  ASSERT_EQ(record.GetBuffer(), expected.GetBuffer());
  ASSERT_TRUE(probe.Compute(0));
  const std::size_t inputSize = record.GetBuffer().size();
  probe.serializeUnitTestOutput(record);
  KbStreamWriteBinaryMemory output;
  for (std::uint32_t u : {1u, 1u}) output.WriteUInt32(u);
  v.Serialize(output);
  ASSERT_EQ(
      std::vector<std::uint8_t>(record.GetBuffer().begin() + inputSize, record.GetBuffer().end()),
      output.GetBuffer());

  EXPECT_THROW(replay.compareUnitTestResult(), KbException);
  KbStreamReadBinaryMemory stream(record.GetBuffer());
  replay.serializeUnitTestInput(stream);
  EXPECT_THROW(replay.compareUnitTestResult(), KbException);  // no output yet
  ASSERT_TRUE(replay.Compute(0));
  replay.serializeUnitTestOutput(stream);
  EXPECT_TRUE(replay.compareUnitTestResult());

  // A truncated record throws and leaves the replayed inputs in place; a
  // changed result byte and a NaN (even bit-equal) are differences.
  std::vector<std::uint8_t> bytes = record.GetBuffer();
  KbStreamReadBinaryMemory truncated(bytes.data(), inputSize - 3);
  EXPECT_THROW(replay.serializeUnitTestInput(truncated), KbExceptionEndOfStream);
  ASSERT_TRUE(replay.Compute(0));
  EXPECT_TRUE(replay.compareUnitTestResult());
  bytes.back() ^= 1;
  KbStreamReadBinaryMemory changed(bytes);
  replay.serializeUnitTestInput(changed);
  replay.Compute(0);
  replay.serializeUnitTestOutput(changed);
  EXPECT_FALSE(replay.compareUnitTestResult());

  KbArray<float> nan{NAN, 1};
  CProbe<float> floats;
  floats.SetInput(0.5f, x, false, 0, nan);
  KbStreamWriteBinaryMemory nanRecord;
  floats.serializeUnitTestInput(nanRecord);
  ASSERT_TRUE(floats.Compute(0));
  floats.serializeUnitTestOutput(nanRecord);
  KbStreamReadBinaryMemory nanStream(nanRecord.GetBuffer());
  floats.serializeUnitTestInput(nanStream);
  floats.Compute(0);
  floats.serializeUnitTestOutput(nanStream);
  EXPECT_FALSE(floats.compareUnitTestResult());
}

TEST(KoFtArrayConvolutionRecords, RegistryNamesParentsAndFactories) {
  const KbRTTI* records[] = {&KoFtArrayConvolution<float>::RTTI,
                             &KoFtArrayConvolution<KbVector2f>::RTTI,
                             &KoFtArrayConvolution<KbVector3f>::RTTI};
  const wchar_t* names[] = {L"KoFtArrayConvolution(float)", L"KoFtArrayConvolution(KbVector2f)",
                            L"KoFtArrayConvolution(KbVector3f)"};
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(KbRTTI::Find(names[k]), records[k]);
    EXPECT_EQ(records[k]->GetParent(), &KoFtAlgorithm::RTTI);
    const std::unique_ptr<IObject> object = records[k]->Create();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(&object->GetRTTI(), records[k]);
  }
}

// Golden files: three per value type, on a line and on circles with h
// below and beyond half the period.
const std::filesystem::path c_goldenDirectory = KOMATH_TEST_DATA_DIR "/math/numerics/unittests";

template <class T>
void RewriteGolden(std::mt19937& rng) {
  constexpr unsigned int components = sizeof(T) / sizeof(float);
  const std::tuple<float, bool, float> cases[] = {
      {0.6f, false, 0}, {1.1f, true, 4.5f}, {3.4f, true, 4.5f}};
  for (unsigned int i = 0; i < 3; ++i) {
    const SSamples s = RandomSamples(rng, 17, 4);
    KbArray<T> values(17);
    for (unsigned int k = 0; k < 17 * components; ++k) {
      reinterpret_cast<float*>(values.GetData())[k] = RandomSamples(rng, 1, 1).v[0];
    }
    // Written by hand: CreateUnitTest computes before it records the input,
    // which an in-place algorithm has overwritten by then.
    CProbe<T> convolution;
    convolution.SetInput(std::get<0>(cases[i]), s.x, std::get<1>(cases[i]), std::get<2>(cases[i]),
                         values);
    convolution.SetUnitTestDirectory(c_goldenDirectory);
    KbStreamWriteBinaryFile file(convolution.GetUnitTestPath(i).string());
    convolution.serializeUnitTestInput(file);
    ASSERT_TRUE(convolution.Compute(0));
    convolution.serializeUnitTestOutput(file);
    file.Close();
  }
}

TEST(KoFtArrayConvolutionGolden, DISABLED_RewriteGoldenFiles) {
  std::mt19937 rng(11);
  RewriteGolden<float>(rng);
  RewriteGolden<KbVector2f>(rng);
  RewriteGolden<KbVector3f>(rng);
}

// Replays every file, then recreates copies of them: the in-place
// computation must not leak its results into the rewritten input.
template <class T>
void ReplayAndRecreate() {
  KoFtArrayConvolution<T> convolution;
  convolution.SetUnitTestDirectory(c_goldenDirectory);
  convolution.initSubtests();
  ASSERT_EQ(convolution.getSubtestCount(), 3u);
  const std::filesystem::path copies =
      std::filesystem::temp_directory_path() / "komath_convolution";
  std::filesystem::create_directories(copies);
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_EQ(convolution.runUnitTest(i), KoUnitTest::ePassed) << i;
    std::filesystem::copy_file(convolution.GetUnitTestPath(i),
                               copies / convolution.getSubtestName(i),
                               std::filesystem::copy_options::overwrite_existing);
  }
  KoFtArrayConvolution<T> recreator;
  recreator.SetUnitTestDirectory(copies);
  recreator.initSubtests();
  for (unsigned int i = 0; i < 3; ++i) {
    ASSERT_TRUE(recreator.Recreate(i));
    std::ifstream a(convolution.GetUnitTestPath(i), std::ios::binary),
        b(recreator.GetUnitTestPath(i), std::ios::binary);
    EXPECT_TRUE(
        std::equal(std::istreambuf_iterator<char>(a), {}, std::istreambuf_iterator<char>(b), {}))
        << i;
  }
}

TEST(KoFtArrayConvolutionGolden, ReplayThroughFramework) {
  ReplayAndRecreate<float>();
  ReplayAndRecreate<KbVector2f>();
  ReplayAndRecreate<KbVector3f>();
}

}  // namespace
