// 4x4 inversion: KbMatrixInternal::Invert against Eigen's Matrix4f / Matrix4d inverse().
//
// Two regimes, both without timed copies (ours inverts in place, Eigen writes
// into a second matrix and the two swap roles):
//   - latency: one matrix inverted again and again, each call waiting for the last;
//   - throughput: a batch of independent matrices per iteration.
// The matrices are diagonally dominant, so repeated inversion stays bounded.
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "math/foundations/KbMatrixInternal.h"

namespace {

constexpr int kBatch = 256;

template <class T>
using KoMatrix = kb_detail::KbMatrix4RT<T>;
template <class T>
using EigenMatrix = Eigen::Matrix<T, 4, 4>;  // Matrix4f / Matrix4d

template <class T>
std::vector<KoMatrix<T>> TestMatrices(int count) {
  std::mt19937 rng(99u);
  std::uniform_real_distribution<T> entry(T(-1), T(1));
  std::vector<KoMatrix<T>> matrices(count);
  for (KoMatrix<T>& m : matrices) {
    for (unsigned int i = 0; i < 16; ++i) m[i] = entry(rng) + (i % 5 == 0 ? T(4) : T(0));
  }
  return matrices;
}

// Read column-major, each matrix is the transpose of ours: just as well conditioned.
template <class T>
std::vector<EigenMatrix<T>> ToEigen(const std::vector<KoMatrix<T>>& matrices) {
  std::vector<EigenMatrix<T>> result;
  for (const KoMatrix<T>& m : matrices) {
    result.emplace_back(Eigen::Map<const EigenMatrix<T>>(m.GetData()));
  }
  return result;
}

template <class T>
void BM_KoLatency(benchmark::State& state) {
  KoMatrix<T> m = TestMatrices<T>(1)[0];
  T det = 0;
  for (auto _ : state) {
    KbMatrixInternal::Invert(m, &det);
    benchmark::DoNotOptimize(m.GetData());
    benchmark::ClobberMemory();
  }
}

void BM_KoLatencyUnalignedFloat(benchmark::State& state) {
  alignas(16) float buffer[17];
  const KbMatrix4Rf source = TestMatrices<float>(1)[0];
  std::copy(source.GetData(), source.GetData() + 16, buffer + 1);
  SDataMat<float, 4, 4, 0> view(buffer + 1);
  for (auto _ : state) {
    KbMatrixInternal::Invert(view);
    benchmark::DoNotOptimize(buffer);
    benchmark::ClobberMemory();
  }
}

template <class T>
void BM_EigenLatency(benchmark::State& state) {
  EigenMatrix<T> a = ToEigen(TestMatrices<T>(1))[0], b;
  EigenMatrix<T>* from = &a;
  EigenMatrix<T>* to = &b;
  for (auto _ : state) {
    to->noalias() = from->inverse();
    benchmark::DoNotOptimize(to->data());
    benchmark::ClobberMemory();
    std::swap(from, to);
  }
}

template <class T>
void BM_KoThroughput(benchmark::State& state) {
  std::vector<KoMatrix<T>> matrices = TestMatrices<T>(kBatch);
  for (auto _ : state) {
    for (KoMatrix<T>& m : matrices) KbMatrixInternal::Invert(m);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

template <class T>
void BM_EigenThroughput(benchmark::State& state) {
  std::vector<EigenMatrix<T>> a = ToEigen(TestMatrices<T>(kBatch)), b(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) b[i].noalias() = a[i].inverse();
    benchmark::ClobberMemory();
    a.swap(b);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

BENCHMARK(BM_KoLatency<float>)->Name("latency/KoInvert/float");
BENCHMARK(BM_KoLatencyUnalignedFloat)->Name("latency/KoInvert/float/unaligned");
BENCHMARK(BM_EigenLatency<float>)->Name("latency/Eigen/Matrix4f");
BENCHMARK(BM_KoLatency<double>)->Name("latency/KoInvert/double");
BENCHMARK(BM_EigenLatency<double>)->Name("latency/Eigen/Matrix4d");
BENCHMARK(BM_KoThroughput<float>)->Name("throughput/KoInvert/float");
BENCHMARK(BM_EigenThroughput<float>)->Name("throughput/Eigen/Matrix4f");
BENCHMARK(BM_KoThroughput<double>)->Name("throughput/KoInvert/double");
BENCHMARK(BM_EigenThroughput<double>)->Name("throughput/Eigen/Matrix4d");

}  // namespace

BENCHMARK_MAIN();
