// Weighted least-squares fit of 10^5 points at degree 3: KoPolynomFit<float>
// against Eigen's normal equations (AᵀWA).ldlt().solve(AᵀWy), both from the
// same points and sigmas, both in float; Eigen's time includes building A.
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>

#include "math/tables/KoPolynomFit.h"

namespace {

constexpr unsigned int kPoints = 100000;
constexpr unsigned int kDegree = 3;

struct Data {
  KbArray<KoPoint<float>> points = KbArray<KoPoint<float>>(kPoints);
  KbArray<float> sigmas = KbArray<float>(kPoints);

  Data() {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> xs(-1.5f, 2.0f), ss(0.05f, 1.0f);
    std::normal_distribution<float> noise(0.0f, 1.0f);
    for (unsigned int i = 0; i < kPoints; ++i) {
      const float x = xs(random);
      sigmas[i] = ss(random);
      points[i] = {x, ((0.5f * x - 1.0f) * x + 2.0f) * x + 0.25f + sigmas[i] * noise(random)};
    }
  }
};

const Data& GetData() {
  static const Data data;
  return data;
}

void BM_KoPolynomFit(benchmark::State& state) {
  const Data& data = GetData();
  KbArray<float> coefficients;
  KoPolynomFit<float> fit;
  for (auto _ : state) {
    fit.SetInput(data.points, data.sigmas, kDegree, coefficients);
    benchmark::DoNotOptimize(fit.Compute(KoAlgorithm::eComputeDefault));
    benchmark::DoNotOptimize(coefficients.GetData());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_KoPolynomFit)->Unit(benchmark::kMicrosecond);

void BM_EigenNormalEquations(benchmark::State& state) {
  const Data& data = GetData();
  Eigen::MatrixXf a(kPoints, kDegree + 1);
  Eigen::VectorXf w(kPoints), y(kPoints);
  for (auto _ : state) {
    for (unsigned int i = 0; i < kPoints; ++i) {
      float power = 1;
      for (unsigned int k = 0; k <= kDegree; ++k, power *= data.points[i].x) a(i, k) = power;
      w(i) = 1.0f / (data.sigmas[i] * data.sigmas[i]);
      y(i) = data.points[i].y;
    }
    const Eigen::MatrixXf weighted = w.asDiagonal() * a;
    const Eigen::VectorXf c = (a.transpose() * weighted).ldlt().solve(weighted.transpose() * y);
    benchmark::DoNotOptimize(c.data());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_EigenNormalEquations)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
