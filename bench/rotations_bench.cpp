// Rotations and random numbers against their peers:
//   - KoRandomNumberGenerator::RandInt against std::mt19937 (the same
//     sequence), 1024 outputs per iteration folded into one word;
//   - KoQuaternion::Slerp and GetRotationMatrix against Eigen's
//     Quaternionf::slerp and toRotationMatrix over batches of 256 unit
//     quaternions, results stored to memory.
// Items per second are outputs, interpolations and matrices.
#include <benchmark/benchmark.h>

#include <Eigen/Geometry>
#include <random>
#include <vector>

#include "BenchMain.h"
#include "math/rotations/KoQuaternion.h"
#include "math/rotations/KoRandomNumberGenerator.h"

namespace {

constexpr int kOutputs = 1024;
constexpr int kBatch = 256;

void BM_KoRandInt(benchmark::State& state) {
  KoRandomNumberGenerator rng(5489);
  for (auto _ : state) {
    std::uint32_t folded = 0;
    for (int i = 0; i < kOutputs; ++i) folded ^= rng.RandInt();
    benchmark::DoNotOptimize(folded);
  }
  state.SetItemsProcessed(state.iterations() * kOutputs);
}

void BM_StdMt19937(benchmark::State& state) {
  std::mt19937 rng(5489);
  for (auto _ : state) {
    std::uint32_t folded = 0;
    for (int i = 0; i < kOutputs; ++i) folded ^= static_cast<std::uint32_t>(rng());
    benchmark::DoNotOptimize(folded);
  }
  state.SetItemsProcessed(state.iterations() * kOutputs);
}

struct Inputs {
  std::vector<KoQuaternion> a, b;
  std::vector<float> t;
  std::vector<Eigen::Quaternionf> ea, eb;
};

const Inputs& TestInputs() {
  static const Inputs inputs = [] {
    Inputs in;
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-1, 1), ut(0, 1);
    auto unit = [&] { return KoQuaternion(u(rng), u(rng), u(rng), u(rng)).Unit(); };
    for (int i = 0; i < kBatch; ++i) {
      in.a.push_back(unit());
      in.b.push_back(unit());
      in.t.push_back(ut(rng));
      in.ea.emplace_back(in.a.back().w, in.a.back().x, in.a.back().y, in.a.back().z);
      in.eb.emplace_back(in.b.back().w, in.b.back().x, in.b.back().y, in.b.back().z);
    }
    return in;
  }();
  return inputs;
}

void BM_KoSlerp(benchmark::State& state) {
  const Inputs& in = TestInputs();
  std::vector<KoQuaternion> out(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) out[i] = KoQuaternion::Slerp(in.a[i], in.b[i], in.t[i]);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_EigenSlerp(benchmark::State& state) {
  const Inputs& in = TestInputs();
  std::vector<Eigen::Quaternionf> out(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) out[i] = in.ea[i].slerp(in.t[i], in.eb[i]);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_KoGetRotationMatrix(benchmark::State& state) {
  const Inputs& in = TestInputs();
  std::vector<KbMatrix4Rf> out(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) out[i] = in.a[i].GetRotationMatrix();
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_EigenToRotationMatrix(benchmark::State& state) {
  const Inputs& in = TestInputs();
  std::vector<Eigen::Matrix3f> out(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) out[i] = in.ea[i].toRotationMatrix();
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

// The same work as ours: GetRotationMatrix scales by 2 / |q|^2 and so
// accepts non-unit quaternions, which toRotationMatrix alone does not.
void BM_EigenNormalizedToRotationMatrix(benchmark::State& state) {
  const Inputs& in = TestInputs();
  std::vector<Eigen::Matrix3f> out(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) out[i] = in.ea[i].normalized().toRotationMatrix();
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

}  // namespace

BENCHMARK(BM_KoRandInt);
BENCHMARK(BM_StdMt19937);
BENCHMARK(BM_KoSlerp);
BENCHMARK(BM_EigenSlerp);
BENCHMARK(BM_KoGetRotationMatrix);
BENCHMARK(BM_EigenToRotationMatrix);
BENCHMARK(BM_EigenNormalizedToRotationMatrix);

KOMATH_BENCHMARK_MAIN()
