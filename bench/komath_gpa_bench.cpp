// komath's generalized Procrustes analysis (komath::Gpa: conditioning in
// double, the float library, results mapped back in double) on 1,000 shapes
// of 100 3-D landmarks, full and partial estimators, against a plain loop
// over Eigen's umeyama in double that computes the same estimators: every
// shape centred and of unit size, each aligned to the mean (umeyama with
// scaling gives the full estimator's least-squares scale, without it the
// partial one's rotation), the mean averaged and normalised, until no mean
// landmark moves by more than 1e-6 (komath's default tolerance).
// The noise (sd 2 on landmarks 5 to 20 from their centroid) makes the mean take a
// few rounds.
#include <benchmark/benchmark.h>

#include <Eigen/Geometry>
#include <random>
#include <vector>

#include "Registration.h"

namespace {

constexpr std::size_t c_shapes = 1000, c_landmarks = 100;

// Noisy similarity copies of one random shape, shape after shape.
std::vector<double> MakeShapes() {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> coordinate(-10, 10), scale(0.5, 2);
  std::normal_distribution<double> normal, noise(0, 2.0);
  Eigen::Matrix3Xd shape(3, c_landmarks);
  for (Eigen::Index j = 0; j < shape.cols(); ++j) {
    shape.col(j) << coordinate(random), coordinate(random), coordinate(random);
  }
  std::vector<double> out;
  for (std::size_t i = 0; i < c_shapes; ++i) {
    const Eigen::Quaterniond q(normal(random), normal(random), normal(random), normal(random));
    const Eigen::Matrix3d r = q.normalized().toRotationMatrix();
    const double s = scale(random);
    const Eigen::Vector3d t(coordinate(random), coordinate(random), coordinate(random));
    for (Eigen::Index j = 0; j < shape.cols(); ++j) {
      const Eigen::Vector3d p = s * r * shape.col(j) + t;
      out.insert(out.end(), {p.x() + noise(random), p.y() + noise(random), p.z() + noise(random)});
    }
  }
  return out;
}

void BM_KomathGpa(benchmark::State& state) {
  const std::vector<double> shapes = MakeShapes();
  const komath::GpaOptions options{.method = state.range(0) == 0 ? komath::GpaMethod::eFull
                                                                 : komath::GpaMethod::ePartial};
  unsigned rounds = 0;
  for (auto _ : state) {
    const komath::GpaResult result = komath::Gpa(shapes, c_shapes, c_landmarks, 3, options);
    rounds = result.rounds;
    benchmark::DoNotOptimize(result.mean.data());
  }
  state.counters["rounds"] = rounds;
  state.SetLabel(state.range(0) == 0 ? "full" : "partial");
}
BENCHMARK(BM_KomathGpa)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_EigenUmeyamaGpa(benchmark::State& state) {
  const std::vector<double> input = MakeShapes();
  const bool full = state.range(0) == 0;
  unsigned rounds = 0;
  for (auto _ : state) {
    std::vector<Eigen::Matrix3Xd> shapes(c_shapes), aligned(c_shapes);
    for (std::size_t i = 0; i < c_shapes; ++i) {
      shapes[i] = Eigen::Map<const Eigen::Matrix3Xd>(&input[i * c_landmarks * 3], 3, c_landmarks);
      shapes[i].colwise() -= shapes[i].rowwise().mean();
      shapes[i] /= shapes[i].norm();
    }
    Eigen::Matrix3Xd mean = shapes[0];
    for (rounds = 0; rounds < 10000; ++rounds) {
      Eigen::Matrix3Xd candidate = Eigen::Matrix3Xd::Zero(3, c_landmarks);
      for (std::size_t i = 0; i < c_shapes; ++i) {
        const Eigen::Matrix4d t = Eigen::umeyama(shapes[i], mean, full);
        aligned[i] = t.topLeftCorner<3, 3>() * shapes[i];
        candidate += aligned[i];
      }
      candidate.colwise() -= candidate.rowwise().mean();
      candidate /= candidate.norm();
      const bool settled = (candidate - mean).colwise().norm().maxCoeff() <= 1e-6;
      mean = candidate;
      if (settled) break;
    }
    benchmark::DoNotOptimize(mean.data());
  }
  state.counters["rounds"] = rounds;
  state.SetLabel(full ? "full" : "partial");
}
BENCHMARK(BM_EigenUmeyamaGpa)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
