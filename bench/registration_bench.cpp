// Rigid registration.
//
// KoProcrustes::Compute on 10^3 .. 10^6 point pairs against Eigen's umeyama
// (rotation and translation, no scale) on the same float data, mapped in
// place (no copy on Eigen's side either).
//
// Generalized Procrustes analysis of 1,000 shapes x 64 landmarks: the whole
// analysis (counter "rounds"), one pass (eSinglePass: every shape aligned
// to the reference once) and, for comparison, 1,000 standalone KoProcrustes
// computes with scale normalisation on the same shapes.
#include <benchmark/benchmark.h>

// Eigen's fixed-size float paths load four floats from a three-float
// vector; GCC 12 flags that inside umeyama.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#include <Eigen/Geometry>
#pragma GCC diagnostic pop
#include <random>

#include "math/registration/KoMpGeneralizedProcrustesAnalysis.h"
#include "math/registration/KoProcrustes.h"

namespace {

using Points = KbArray<KbVector3f>;

static_assert(sizeof(KbVector3f) == 3 * sizeof(float), "points are mapped as a 3 x n float block");

Eigen::Matrix3d RandomRotation(std::mt19937& random) {
  std::normal_distribution<double> normal;
  return Eigen::Quaterniond(normal(random), normal(random), normal(random), normal(random))
      .normalized()
      .toRotationMatrix();
}

// `moving` and its rotated, shifted and perturbed copy `target`.
void MakePair(std::mt19937& random, unsigned int n, Points& target, Points& moving) {
  std::uniform_real_distribution<float> coordinate(-10.0f, 10.0f);
  std::normal_distribution<float> noise(0.0f, 0.01f);
  const Eigen::Matrix3d r = RandomRotation(random);
  target.Resize(n);
  moving.Resize(n);
  for (unsigned int i = 0; i < n; ++i) {
    moving[i] = {coordinate(random), coordinate(random), coordinate(random)};
    const Eigen::Vector3d q = r * Eigen::Vector3d(moving[i].x, moving[i].y, moving[i].z);
    target[i] = {float(q.x()) + 3 + noise(random), float(q.y()) - 1 + noise(random),
                 float(q.z()) + 2 + noise(random)};
  }
}

Eigen::Map<const Eigen::Matrix3Xf> Map(const Points& points) {
  return {reinterpret_cast<const float*>(points.GetData()), 3, Eigen::Index(points.GetSize())};
}

void BM_KoProcrustes(benchmark::State& state) {
  std::mt19937 random(1);
  Points target, moving;
  MakePair(random, unsigned(state.range(0)), target, moving);
  KoProcrustes procrustes;
  procrustes.SetInput(target, moving);
  KbVector3f translation;
  KbMatrix4Rf rotation;
  for (auto _ : state) {
    benchmark::DoNotOptimize(procrustes.Compute(KoAlgorithm::eComputeDefault));
    procrustes.GetOutput(translation, rotation);
    benchmark::DoNotOptimize(rotation.GetData());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_KoProcrustes)->RangeMultiplier(10)->Range(1000, 1000000);

void BM_EigenUmeyama(benchmark::State& state) {
  std::mt19937 random(1);
  Points target, moving;
  MakePair(random, unsigned(state.range(0)), target, moving);
  for (auto _ : state) {
    Eigen::Matrix4f m = Eigen::umeyama(Map(moving), Map(target), false);
    benchmark::DoNotOptimize(m.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EigenUmeyama)->RangeMultiplier(10)->Range(1000, 1000000);

constexpr unsigned int c_uiShapes = 1000;
constexpr unsigned int c_uiLandmarks = 64;

const KbArray<Points>& GetShapes() {
  static const KbArray<Points> shapes = [] {
    std::mt19937 random(2);
    Points template_, unused;
    MakePair(random, c_uiLandmarks, template_, unused);
    std::uniform_real_distribution<float> scale(0.5f, 2.0f);
    std::normal_distribution<float> noise(0.0f, 0.05f);
    KbArray<Points> result(c_uiShapes);
    for (Points& shape : result) {
      const Eigen::Matrix3d r = RandomRotation(random);
      const float s = scale(random);
      shape.Resize(c_uiLandmarks);
      for (unsigned int j = 0; j < c_uiLandmarks; ++j) {
        const KbVector3f& p = template_[j];
        const Eigen::Vector3d q = r * Eigen::Vector3d(p.x, p.y, p.z);
        shape[j] = {s * float(q.x()) + noise(random) + 5, s * float(q.y()) + noise(random),
                    s * float(q.z()) + noise(random) - 5};
      }
    }
    return result;
  }();
  return shapes;
}

void RunGpa(benchmark::State& state, std::uint32_t flags) {
  KbArray<Points> shapes = GetShapes();
  KoMpGeneralizedProcrustesAnalysis gpa;
  gpa.GetFlags().SetBits(flags);
  gpa.SetInput(shapes, 0);
  for (auto _ : state) benchmark::DoNotOptimize(gpa.Compute(KoAlgorithm::eComputeDefault));
  state.counters["rounds"] = gpa.GetRoundCount();
}

void BM_Gpa(benchmark::State& state) {
  RunGpa(state, 0);
}
BENCHMARK(BM_Gpa)->Unit(benchmark::kMillisecond);

void BM_GpaOnePass(benchmark::State& state) {
  RunGpa(state, KoMpGeneralizedProcrustesAnalysis::eSinglePass);
}
BENCHMARK(BM_GpaOnePass)->Unit(benchmark::kMicrosecond);

void BM_StandaloneProcrustes1000(benchmark::State& state) {
  const KbArray<Points>& shapes = GetShapes();
  KbVector3f translation;
  KbMatrix4Rf rotation;
  for (auto _ : state) {
    for (unsigned int i = 0; i < c_uiShapes; ++i) {
      KoProcrustes procrustes;
      procrustes.GetFlags().Set(KoProcrustes::eNormalizeScale);
      procrustes.SetInput(shapes[0], shapes[i]);
      benchmark::DoNotOptimize(procrustes.Compute(KoAlgorithm::eComputeDefault));
      procrustes.GetOutput(translation, rotation);
      benchmark::DoNotOptimize(rotation.GetData());
    }
  }
}
BENCHMARK(BM_StandaloneProcrustes1000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
