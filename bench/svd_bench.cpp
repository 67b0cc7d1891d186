// 3x3 singular value decomposition: KoSingularValueDecomposition<double>
// against Eigen's JacobiSVD<Matrix3d>, both with the full U and V and
// singular values in decreasing order (the Procrustes alignment's use).
// Each iteration decomposes a batch of random matrices and reads U, W and V
// back; ours includes SetInput, Compute and the three copies out.
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <random>
#include <vector>

#include "BenchMain.h"
#include "math/registration/KoSingularValueDecomposition.h"

namespace {

constexpr int kBatch = 256;

std::vector<Eigen::Matrix3d> TestMatrices() {
  std::mt19937 rng(17u);
  std::uniform_real_distribution<double> entry(-1.0, 1.0);
  std::vector<Eigen::Matrix3d> matrices(kBatch);
  for (Eigen::Matrix3d& m : matrices) m = Eigen::Matrix3d::NullaryExpr([&] { return entry(rng); });
  return matrices;
}

void BM_Ko(benchmark::State& state) {
  std::vector<KoArray2D<double>> inputs;
  for (const Eigen::Matrix3d& m : TestMatrices()) {
    KoArray2D<double>& a = inputs.emplace_back(3, 3);
    for (unsigned int r = 0; r < 3; ++r) {
      for (unsigned int c = 0; c < 3; ++c) a(c, r) = m(r, c);
    }
  }
  KoSingularValueDecomposition<double> svd;
  svd.GetFlags().Set(KoSingularValueDecomposition<double>::eSortDecreasing);
  KoArray2D<double> u, v;
  KbArray<double> w;
  for (auto _ : state) {
    for (const KoArray2D<double>& a : inputs) {
      svd.SetInput(a);
      svd.Compute(KoAlgorithm::eComputeDefault);
      svd.GetU(u);
      svd.GetW(w);
      svd.GetV(v);
      benchmark::DoNotOptimize(u.GetData());
      benchmark::DoNotOptimize(w.GetData());
      benchmark::DoNotOptimize(v.GetData());
    }
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_EigenJacobi(benchmark::State& state) {
  const std::vector<Eigen::Matrix3d> inputs = TestMatrices();
  Eigen::JacobiSVD<Eigen::Matrix3d> svd(3, 3, Eigen::ComputeFullU | Eigen::ComputeFullV);
  Eigen::Matrix3d u, v;
  Eigen::Vector3d w;
  for (auto _ : state) {
    for (const Eigen::Matrix3d& a : inputs) {
      svd.compute(a);
      u = svd.matrixU();
      w = svd.singularValues();
      v = svd.matrixV();
      benchmark::DoNotOptimize(u.data());
      benchmark::DoNotOptimize(w.data());
      benchmark::DoNotOptimize(v.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

BENCHMARK(BM_Ko);
BENCHMARK(BM_EigenJacobi);

}  // namespace

KOMATH_BENCHMARK_MAIN()
