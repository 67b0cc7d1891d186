// Signal algorithms against straightforward or library peers:
// - the tent-kernel array convolution on 10^4 .. 10^6 irregular samples
//   (mean spacing 1) with kernels covering about 3, 30 and 300 cells;
//   counters give the time per sample and per visited cell;
// - Viterbi decoding with 64 states over 10^4 observations, against the
//   textbook loop (full score table, transition table row-major, candidates
//   read down a column), both from the same tabulated scores;
// - grid filters on a 2048 x 2048 float grid (full 3 x 3, 5 x 5 and 9 x 9
//   kernels, separable Gauss rows of radius 2 and 8) under every border mode
//   OpenCV shares with us, against OpenCV's filter2D / sepFilter2D on one
//   thread, and a radius-2 separable Gauss on 256^3 (eClamp). Each
//   iteration runs both, back to back on the same input, and times each:
//   the machine may be loaded by others, and interleaving keeps the ratio
//   fair. The reported time is ours; the counters are OpenCV's time and
//   the ratio ours / OpenCV's (below 1: we are faster). OpenCV has no 3-D
//   filter: its volume is filtered along z by sepFilter2D on the volume seen
//   as a depth x (width * height) image, then slice by slice.
// The benchmark context names the processor (from /proc/cpuinfo).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cfloat>
#include <chrono>
#include <fstream>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "math/numerics/KoConvolutionKernelFactory.h"
#include "math/numerics/KoFtArrayConvolution.h"
#include "math/numerics/KoGridFilter.h"
#include "math/numerics/KoMpViterbi.h"

namespace {

// ---- array convolution ------------------------------------------------

void BM_ArrayConvolution(benchmark::State& state) {
  const unsigned int n = static_cast<unsigned int>(state.range(0));
  const float cells = static_cast<float>(state.range(1));
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> position(0, float(n)), value(-1, 1);
  KbArray<float> x(n), v(n);
  for (unsigned int k = 0; k < n; ++k) x[k] = position(rng), v[k] = value(rng);
  std::sort(x.begin(), x.end());
  KoFtArrayConvolution<float> convolution;
  // Both sweeps together cover 2h, so about 2h + 2 cells per sample.
  convolution.SetInput(cells / 2, x, false, 0.0f, v);
  for (auto _ : state) {
    benchmark::DoNotOptimize(convolution.Compute(0));  // smooths v again each time
    benchmark::DoNotOptimize(v.GetData());
  }
  state.counters["per_sample"] = benchmark::Counter(
      n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["per_cell"] =
      benchmark::Counter(double(n) * (cells + 2), benchmark::Counter::kIsIterationInvariantRate |
                                                      benchmark::Counter::kInvert);
}
BENCHMARK(BM_ArrayConvolution)
    ->ArgsProduct({{10000, 100000, 1000000}, {3, 30, 300}})
    ->Unit(benchmark::kMillisecond);

// ---- Viterbi ----------------------------------------------------------

constexpr unsigned int kStates = 64, kSymbols = 16, kSteps = 10000;

struct SViterbiData {
  std::vector<double> initial, transition, emission;  // transition(i, j) at i * N + j
  KbArray<unsigned int> observations{};
  SViterbiData() : initial(kStates), transition(kStates * kStates), emission(kStates * kSymbols) {
    std::mt19937 rng(2);
    std::uniform_real_distribution<double> logp(-8, 0);
    for (double& s : initial) s = logp(rng);
    for (double& s : transition) s = logp(rng);
    for (double& s : emission) s = logp(rng);
    observations.Resize(kSteps);
    for (unsigned int& o : observations) o = rng() % kSymbols;
  }
};

const SViterbiData& ViterbiData() {
  static const SViterbiData data;
  return data;
}

void SetViterbiCounters(benchmark::State& state) {
  state.counters["per_pair_step"] = benchmark::Counter(
      double(kStates) * kStates * (kSteps - 1),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_KoMpViterbi(benchmark::State& state) {
  const SViterbiData& d = ViterbiData();
  KbArray<unsigned int> path;
  double score = 0;
  KoMpViterbi viterbi;
  for (auto _ : state) {
    viterbi.SetInput(
        kStates, kSymbols, d.observations, [&](unsigned int s) { return d.initial[s]; },
        [&](unsigned int i, unsigned int j) { return d.transition[i * kStates + j]; },
        [&](unsigned int s, unsigned int o) { return d.emission[s * kSymbols + o]; }, path, score);
    benchmark::DoNotOptimize(viterbi.Compute(0));
    benchmark::DoNotOptimize(path.GetData());
  }
  SetViterbiCounters(state);
}
BENCHMARK(BM_KoMpViterbi)->Unit(benchmark::kMillisecond);

void BM_TextbookViterbi(benchmark::State& state) {
  const SViterbiData& d = ViterbiData();
  const unsigned int n = kStates, t = kSteps;
  std::vector<unsigned int> path(t);
  for (auto _ : state) {
    std::vector<double> delta(std::size_t(n) * t);
    std::vector<unsigned int> psi(std::size_t(n) * t, 0xFFFFFFFFu);
    for (unsigned int s = 0; s < n; ++s) {
      delta[s] = d.initial[s] + d.emission[s * kSymbols + d.observations[0]];
    }
    for (unsigned int k = 1; k < t; ++k) {
      for (unsigned int j = 0; j < n; ++j) {
        double m = -DBL_MAX;
        unsigned int arg = 0xFFFFFFFFu;
        for (unsigned int i = 0; i < n; ++i) {
          const double x = delta[(k - 1) * n + i] + d.transition[i * n + j];
          if (x >= m) m = x, arg = i;
        }
        delta[k * n + j] = d.emission[j * kSymbols + d.observations[k]] + m;
        psi[k * n + j] = arg;
      }
    }
    unsigned int best = 0;
    for (unsigned int s = 0; s < n; ++s) {
      if (delta[(t - 1) * n + s] >= delta[(t - 1) * n + best]) best = s;
    }
    path[t - 1] = best;
    for (unsigned int k = t - 1; k-- > 0;) path[k] = psi[(k + 1) * n + path[k + 1]];
    benchmark::DoNotOptimize(path.data());
  }
  SetViterbiCounters(state);
}
BENCHMARK(BM_TextbookViterbi)->Unit(benchmark::kMillisecond);

// ---- grid filters -----------------------------------------------------

constexpr unsigned int kSide = 2048, kVolumeSide = 256;

template <class Grid>
void Fill(Grid& grid, std::size_t cells) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> value(0, 1);
  for (std::size_t k = 0; k < cells; ++k) grid.GetData()[k] = value(rng);
}

// Our border modes and OpenCV's for the same cells. OpenCV's filters reject
// BORDER_WRAP; its way to wrap is to pad the grid with copyMakeBorder and
// filter the inner region, whose outside cells it then reads from the
// padding (OpenCV filters a region of a larger image with the cells around
// it), so that is what it is timed doing.
constexpr KoGridFilter::EBorder kBorders[] = {KoGridFilter::eClamp, KoGridFilter::eZero,
                                              KoGridFilter::eWrap, KoGridFilter::eReflect,
                                              KoGridFilter::eMirror};
constexpr int kOpenCVBorders[] = {cv::BORDER_REPLICATE, cv::BORDER_CONSTANT, cv::BORDER_WRAP,
                                  cv::BORDER_REFLECT, cv::BORDER_REFLECT_101};
const char* const kBorderNames[] = {"clamp", "zero", "wrap", "reflect", "mirror"};

// Times `ours` and `theirs` in turn each iteration; ours is the reported
// time, OpenCV's and the ratio go into counters.
template <class Ours, class Theirs>
void TimePair(benchmark::State& state, Ours ours, Theirs theirs) {
  using Clock = std::chrono::steady_clock;
  double oursTotal = 0, theirsTotal = 0;
  for (auto _ : state) {
    const auto t0 = Clock::now();
    ours();
    const auto t1 = Clock::now();
    theirs();
    const auto t2 = Clock::now();
    const double o = std::chrono::duration<double>(t1 - t0).count();
    oursTotal += o;
    theirsTotal += std::chrono::duration<double>(t2 - t1).count();
    state.SetIterationTime(o);
  }
  state.counters["opencv_ms"] = 1e3 * theirsTotal / double(state.iterations());
  state.counters["ratio"] = oursTotal / theirsTotal;
  state.SetLabel(kBorderNames[state.range(0)]);
}

// Grids of the 2-D benchmarks: ours and OpenCV's view of the same cells.
struct SPlane {
  KoArray2D<float> in{kSide, kSide}, out{kSide, kSide};
  cv::Mat source, padded, target;
  SPlane() {
    Fill(in, std::size_t(kSide) * kSide);
    source = cv::Mat(kSide, kSide, CV_32F, in.GetData());
  }
  // OpenCV's source and border for border index b and a kernel radius r.
  template <class Filter>
  void OpenCV(int b, int r, Filter filter) {
    if (kBorders[b] != KoGridFilter::eWrap) return filter(source, kOpenCVBorders[b]);
    cv::copyMakeBorder(source, padded, r, r, r, r, cv::BORDER_WRAP);
    filter(padded(cv::Rect(r, r, kSide, kSide)), cv::BORDER_REPLICATE);
  }
};

// Args: border index, kernel side.
void BM_GridFull(benchmark::State& state) {
  cv::setNumThreads(1);
  const int b = int(state.range(0)), side = int(state.range(1));
  SPlane plane;
  KoArray2D<float> kernel(side, side);
  Fill(kernel, std::size_t(side) * side);
  const cv::Mat k(side, side, CV_32F, kernel.GetData());
  TimePair(
      state, [&] { KoGridFilter::Apply(plane.in, kernel, plane.out, kBorders[b]); },
      [&] {
        plane.OpenCV(b, side / 2, [&](const cv::Mat& source, int border) {
          cv::filter2D(source, plane.target, CV_32F, k, cv::Point(-1, -1), 0, border);
        });
      });
}
BENCHMARK(BM_GridFull)
    ->ArgsProduct({{0, 1, 2, 3, 4}, {3, 5, 9}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Args: border index, radius of the binomial row.
void BM_GridSeparable(benchmark::State& state) {
  cv::setNumThreads(1);
  const int b = int(state.range(0));
  SPlane plane;
  KbArray<float> row;
  KoConvolutionKernelFactory::CreateGaussFilter(static_cast<unsigned int>(state.range(1)), row);
  const cv::Mat kernel(1, int(row.GetSize()), CV_32F, row.GetData());
  TimePair(
      state, [&] { KoGridFilter::ApplySeparable(plane.in, row, plane.out, kBorders[b]); },
      [&] {
        plane.OpenCV(b, int(row.GetSize() / 2), [&](const cv::Mat& source, int border) {
          cv::sepFilter2D(source, plane.target, CV_32F, kernel, kernel, cv::Point(-1, -1), 0,
                          border);
        });
      });
}
BENCHMARK(BM_GridSeparable)
    ->ArgsProduct({{0, 1, 2, 3, 4}, {2, 8}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void BM_GridSeparable3D(benchmark::State& state) {
  cv::setNumThreads(1);
  const int side = int(kVolumeSide), slice = side * side;
  KoArray3D<float> in(kVolumeSide, kVolumeSide, kVolumeSide),
      out(kVolumeSide, kVolumeSide, kVolumeSide);
  Fill(in, std::size_t(kVolumeSide) * kVolumeSide * kVolumeSide);
  const cv::Mat source(side, slice, CV_32F, in.GetData());  // row z = one slice
  cv::Mat alongZ, target(side, slice, CV_32F);
  KbArray<float> row;
  KoConvolutionKernelFactory::CreateGaussFilter(2, row);
  const cv::Mat kernel(1, int(row.GetSize()), CV_32F, row.GetData()),
      one = cv::Mat::ones(1, 1, CV_32F);
  TimePair(
      state, [&] { KoGridFilter::ApplySeparable(in, row, out, KoGridFilter::eClamp); },
      [&] {
        cv::sepFilter2D(source, alongZ, CV_32F, one, kernel, cv::Point(-1, -1), 0,
                        cv::BORDER_REPLICATE);
        for (int z = 0; z < side; ++z) {
          const cv::Mat from(side, side, CV_32F, alongZ.ptr<float>(z));
          cv::Mat to(side, side, CV_32F, target.ptr<float>(z));
          cv::sepFilter2D(from, to, CV_32F, kernel, kernel, cv::Point(-1, -1), 0,
                          cv::BORDER_REPLICATE);
        }
      });
}
BENCHMARK(BM_GridSeparable3D)->Arg(0)->UseManualTime()->Unit(benchmark::kMillisecond);

// The "model name" line of /proc/cpuinfo, or "unknown".
std::string ProcessorModel() {
  std::ifstream cpuinfo("/proc/cpuinfo");
  for (std::string line; std::getline(cpuinfo, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown";
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::AddCustomContext("processor", ProcessorModel());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
