// Table lookups: the uniform table in both modes, and the non-uniform table's
// bisection against std::upper_bound with the same linear interpolation over
// the same samples. Every benchmark evaluates the same random arguments. The
// peer runs twice: inlined into the loop, and behind a call as the table is
// (its evaluation lives in the shared library).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "math/tables/KoFunctionTableNonUniform.h"
#include "math/tables/KoFunctionTableUniform.h"

namespace {

constexpr unsigned int kSamples = 1024;
constexpr unsigned int kQueries = 4096;

struct Samples {
  std::vector<float> xs, ys, queries;

  Samples() {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> spacing(0.01f, 1.0f);
    float x = 0;
    for (unsigned int i = 0; i < kSamples; ++i) {
      xs.push_back(x);
      ys.push_back(std::sin(x));
      x += spacing(random);
    }
    std::uniform_real_distribution<float> argument(-1.0f, x + 1.0f);
    for (unsigned int i = 0; i < kQueries; ++i) queries.push_back(argument(random));
  }
};

const Samples& GetSamples() {
  static const Samples samples;
  return samples;
}

// The peer: the interval whose right end is the first abscissa above x,
// clamped to the first and last interval (so it extrapolates on both sides).
inline float UpperBoundLookup(const std::vector<float>& xs, const std::vector<float>& ys, float x) {
  const auto above = std::upper_bound(xs.begin(), xs.end(), x) - xs.begin();
  const std::size_t i = std::clamp<std::ptrdiff_t>(above, 1, std::ptrdiff_t(xs.size()) - 1);
  return ys[i - 1] + (x - xs[i - 1]) * (ys[i] - ys[i - 1]) / (xs[i] - xs[i - 1]);
}

template <class Lookup>
void RunQueries(benchmark::State& state, Lookup lookup) {
  const std::vector<float>& queries = GetSamples().queries;
  for (auto _ : state) {
    float sum = 0;
    for (float x : queries) sum += lookup(x);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
}

void BM_UniformLookup(benchmark::State& state) {
  const Samples& samples = GetSamples();
  KoFunctionTableUniform<float, float> table(kSamples, 0, samples.xs.back());
  for (unsigned int i = 0; i < kSamples; ++i) table[i] = samples.ys[i];
  table.SetInterpolationType(state.range(0) ? table.eLinear : table.eNone);
  RunQueries(state, [&](float x) { return table(x); });
}
BENCHMARK(BM_UniformLookup)->ArgName("linear")->Arg(0)->Arg(1);

void BM_NonUniformLookup(benchmark::State& state) {
  const Samples& samples = GetSamples();
  KoFunctionTableNonUniform<float, float> table(kSamples);
  for (unsigned int i = 0; i < kSamples; ++i) table.AppendSorted(samples.xs[i], samples.ys[i]);
  // Same results up to rounding (beyond the last sample the table anchors the
  // line at the last point, the peer at the one before).
  for (float x : samples.queries) {
    const float expected = UpperBoundLookup(samples.xs, samples.ys, x);
    if (std::fabs(table(x) - expected) > 1e-4f * (1 + std::fabs(expected))) std::abort();
  }
  RunQueries(state, [&](float x) { return table(x); });
}
BENCHMARK(BM_NonUniformLookup);

void BM_UpperBoundLookup(benchmark::State& state) {
  const Samples& samples = GetSamples();
  RunQueries(state, [&](float x) { return UpperBoundLookup(samples.xs, samples.ys, x); });
}
BENCHMARK(BM_UpperBoundLookup);

__attribute__((noinline)) float UpperBoundLookupCalled(const std::vector<float>& xs,
                                                       const std::vector<float>& ys, float x) {
  return UpperBoundLookup(xs, ys, x);
}

void BM_UpperBoundLookupCalled(benchmark::State& state) {
  const Samples& samples = GetSamples();
  RunQueries(state, [&](float x) { return UpperBoundLookupCalled(samples.xs, samples.ys, x); });
}
BENCHMARK(BM_UpperBoundLookupCalled);

}  // namespace

BENCHMARK_MAIN();
