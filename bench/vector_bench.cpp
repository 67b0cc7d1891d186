// Protecting the inline vector products against a host's contraction:
// KbRounded in the header (what KbVector.h does) against a call to an
// out-of-line function (what moving Dot and Cross into the library's
// translation units would cost; noinline stands in for the call into the
// shared library, minus the PLT jump) and against the unprotected inline
// expression as the floor. Per iteration: 1024 dot or cross products of
// independent pairs, summed.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "base/KbVector.h"

namespace {

constexpr int kPairs = 1024;

std::vector<KbVector3f> Vectors(unsigned int seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> entry(-1.0f, 1.0f);
  std::vector<KbVector3f> v(kPairs);
  for (auto& x : v) x = KbVector3f(entry(rng), entry(rng), entry(rng));
  return v;
}

float PlainDot(const KbVector3f& a, const KbVector3f& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
KbVector3f PlainCross(const KbVector3f& a, const KbVector3f& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
[[gnu::noinline]] float CalledDot(const KbVector3f& a, const KbVector3f& b) {
  return PlainDot(a, b);
}
[[gnu::noinline]] KbVector3f CalledCross(const KbVector3f& a, const KbVector3f& b) {
  return PlainCross(a, b);
}

template <class Dot>
void DotSum(benchmark::State& state, Dot dot) {
  const auto a = Vectors(1), b = Vectors(2);
  for (auto _ : state) {
    float sum = 0.0f;
    for (int i = 0; i < kPairs; ++i) sum += dot(a[i], b[i]);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kPairs);
}

template <class Cross>
void CrossSum(benchmark::State& state, Cross cross) {
  const auto a = Vectors(3), b = Vectors(4);
  for (auto _ : state) {
    KbVector3f sum;
    for (int i = 0; i < kPairs; ++i) sum += cross(a[i], b[i]);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kPairs);
}

void BM_DotRounded(benchmark::State& s) {
  DotSum(s, [](const KbVector3f& a, const KbVector3f& b) { return a.Dot(b); });
}
void BM_DotOutOfLine(benchmark::State& s) {
  DotSum(s, CalledDot);
}
void BM_DotUnprotected(benchmark::State& s) {
  DotSum(s, PlainDot);
}
void BM_CrossRounded(benchmark::State& s) {
  CrossSum(s, [](const KbVector3f& a, const KbVector3f& b) { return a.Cross(b); });
}
void BM_CrossOutOfLine(benchmark::State& s) {
  CrossSum(s, CalledCross);
}
void BM_CrossUnprotected(benchmark::State& s) {
  CrossSum(s, PlainCross);
}

BENCHMARK(BM_DotRounded);
BENCHMARK(BM_DotOutOfLine);
BENCHMARK(BM_DotUnprotected);
BENCHMARK(BM_CrossRounded);
BENCHMARK(BM_CrossOutOfLine);
BENCHMARK(BM_CrossUnprotected);

}  // namespace

BENCHMARK_MAIN();
