// Signal algorithms against straightforward or library peers:
// - the tent-kernel array convolution on 10^4 .. 10^6 irregular samples
//   (mean spacing 1) with kernels covering about 3, 30 and 300 cells;
//   counters give the time per sample and per visited cell;
// - Viterbi decoding with 64 states over 10^4 observations, against the
//   textbook loop (full score table, transition table row-major, candidates
//   read down a column), both from the same tabulated scores;
// - grid filters on a 2048 x 2048 float grid (separable Gauss of radius 2
//   and 8, a full 5 x 5 kernel) and a radius-2 separable Gauss on 256^3,
//   against OpenCV's sepFilter2D / filter2D on one thread with replicated
//   borders (our eClamp). OpenCV has no 3-D filter: its volume is filtered
//   along z by sepFilter2D on the volume seen as a depth x (width * height)
//   image, then slice by slice.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cfloat>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
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

KoArray2D<float> FullKernel5() {
  KoArray2D<float> kernel(5, 5);
  Fill(kernel, 25);
  return kernel;
}

void BM_KoGridSeparable2D(benchmark::State& state) {
  KoArray2D<float> in(kSide, kSide), out(kSide, kSide);
  Fill(in, std::size_t(kSide) * kSide);
  KbArray<float> row;
  KoConvolutionKernelFactory::CreateGaussFilter(static_cast<unsigned int>(state.range(0)), row);
  for (auto _ : state) {
    KoGridFilter::ApplySeparable(in, row, out, KoGridFilter::eClamp);
    benchmark::DoNotOptimize(out.GetData());
  }
}
BENCHMARK(BM_KoGridSeparable2D)->Arg(2)->Arg(8)->Unit(benchmark::kMillisecond);

void BM_OpenCVSepFilter2D(benchmark::State& state) {
  cv::setNumThreads(1);
  cv::Mat in(kSide, kSide, CV_32F), out;
  cv::randu(in, 0.0f, 1.0f);
  KbArray<float> row;
  KoConvolutionKernelFactory::CreateGaussFilter(static_cast<unsigned int>(state.range(0)), row);
  const cv::Mat kernel(1, int(row.GetSize()), CV_32F, row.GetData());
  for (auto _ : state) {
    cv::sepFilter2D(in, out, CV_32F, kernel, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}
BENCHMARK(BM_OpenCVSepFilter2D)->Arg(2)->Arg(8)->Unit(benchmark::kMillisecond);

void BM_KoGridFull5x5(benchmark::State& state) {
  KoArray2D<float> in(kSide, kSide), out(kSide, kSide);
  Fill(in, std::size_t(kSide) * kSide);
  const KoArray2D<float> kernel = FullKernel5();
  for (auto _ : state) {
    KoGridFilter::Apply(in, kernel, out, KoGridFilter::eClamp);
    benchmark::DoNotOptimize(out.GetData());
  }
}
BENCHMARK(BM_KoGridFull5x5)->Unit(benchmark::kMillisecond);

void BM_OpenCVFilter2D5x5(benchmark::State& state) {
  cv::setNumThreads(1);
  cv::Mat in(kSide, kSide, CV_32F), out;
  cv::randu(in, 0.0f, 1.0f);
  KoArray2D<float> kernel = FullKernel5();
  const cv::Mat k(5, 5, CV_32F, kernel.GetData());
  for (auto _ : state) {
    cv::filter2D(in, out, CV_32F, k, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}
BENCHMARK(BM_OpenCVFilter2D5x5)->Unit(benchmark::kMillisecond);

void BM_KoGridSeparable3D(benchmark::State& state) {
  KoArray3D<float> in(kVolumeSide, kVolumeSide, kVolumeSide),
      out(kVolumeSide, kVolumeSide, kVolumeSide);
  Fill(in, std::size_t(kVolumeSide) * kVolumeSide * kVolumeSide);
  KbArray<float> row;
  KoConvolutionKernelFactory::CreateGaussFilter(2, row);
  for (auto _ : state) {
    KoGridFilter::ApplySeparable(in, row, out, KoGridFilter::eClamp);
    benchmark::DoNotOptimize(out.GetData());
  }
}
BENCHMARK(BM_KoGridSeparable3D)->Unit(benchmark::kMillisecond);

void BM_OpenCVSeparable3D(benchmark::State& state) {
  cv::setNumThreads(1);
  const int side = int(kVolumeSide), slice = side * side;
  cv::Mat in(side, slice, CV_32F), alongZ, out(side, slice, CV_32F);  // row z = one slice
  cv::randu(in, 0.0f, 1.0f);
  KbArray<float> row;
  KoConvolutionKernelFactory::CreateGaussFilter(2, row);
  const cv::Mat kernel(1, int(row.GetSize()), CV_32F, row.GetData()),
      one = cv::Mat::ones(1, 1, CV_32F);
  for (auto _ : state) {
    cv::sepFilter2D(in, alongZ, CV_32F, one, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    for (int z = 0; z < side; ++z) {
      const cv::Mat source(side, side, CV_32F, alongZ.ptr<float>(z));
      cv::Mat target(side, side, CV_32F, out.ptr<float>(z));
      cv::sepFilter2D(source, target, CV_32F, kernel, kernel, cv::Point(-1, -1), 0,
                      cv::BORDER_REPLICATE);
    }
    benchmark::DoNotOptimize(out.data);
  }
}
BENCHMARK(BM_OpenCVSeparable3D)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
