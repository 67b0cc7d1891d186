// Table lookups: the uniform table in both modes, and the non-uniform table's
// bisection against std::upper_bound with the same linear interpolation over
// the same samples. Every benchmark evaluates the same random arguments and
// stores the results. The peer runs twice: inlined into the loop, and behind
// a call as the table is (its evaluation lives in the shared library). The
// Batch lines evaluate all arguments through one IFunction::Evaluate call;
// their floor is the same lookup written inline (UniformInline for the
// uniform table, UpperBoundLookup for the non-uniform one).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "BenchMain.h"
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
  std::vector<float> values(queries.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < queries.size(); ++i) values[i] = lookup(queries[i]);
    benchmark::DoNotOptimize(values.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
}

void RunBatch(benchmark::State& state, const IFunction<float, float>& function) {
  const std::vector<float>& queries = GetSamples().queries;
  std::vector<float> values(queries.size());
  for (auto _ : state) {
    function.Evaluate(queries, values);
    benchmark::DoNotOptimize(values.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
}

KoFunctionTableUniform<float, float> MakeUniformTable(bool linear) {
  const Samples& samples = GetSamples();
  KoFunctionTableUniform<float, float> table(kSamples, 0, samples.xs.back());
  for (unsigned int i = 0; i < kSamples; ++i) table[i] = samples.ys[i];
  table.SetInterpolationType(linear ? table.eLinear : table.eNone);
  return table;
}

KoFunctionTableNonUniform<float, float> MakeNonUniformTable() {
  const Samples& samples = GetSamples();
  KoFunctionTableNonUniform<float, float> table(kSamples);
  for (unsigned int i = 0; i < kSamples; ++i) table.AppendSorted(samples.xs[i], samples.ys[i]);
  return table;
}

void BM_UniformLookup(benchmark::State& state) {
  const KoFunctionTableUniform<float, float> table = MakeUniformTable(state.range(0));
  RunQueries(state, [&](float x) { return table(x); });
}
BENCHMARK(BM_UniformLookup)->ArgName("linear")->Arg(0)->Arg(1);

void BM_UniformBatch(benchmark::State& state) {
  RunBatch(state, MakeUniformTable(true));
}
BENCHMARK(BM_UniformBatch);

// The linear lookup of the uniform table written inline: clamp below the
// first and from the last sample on, else blend the two samples around t.
void BM_UniformInline(benchmark::State& state) {
  const KoFunctionTableUniform<float, float> table = MakeUniformTable(true);
  const float* s = GetSamples().ys.data();
  const float min = table.GetMinX(), step = table.GetSampleStep(), last = float(kSamples - 1);
  RunQueries(state, [=](float x) {
    if (min > x) return s[0];
    const float t = (x - min) / step;
    if (t >= last) return s[kSamples - 1];
    const auto i = static_cast<unsigned int>(static_cast<std::int64_t>(t));
    const float f = t - static_cast<float>(i);
    return (1 - f) * s[i] + f * s[i + 1];
  });
}
BENCHMARK(BM_UniformInline);

void BM_NonUniformLookup(benchmark::State& state) {
  const Samples& samples = GetSamples();
  const KoFunctionTableNonUniform<float, float> table = MakeNonUniformTable();
  // Same results up to rounding (beyond the last sample the table anchors the
  // line at the last point, the peer at the one before).
  for (float x : samples.queries) {
    const float expected = UpperBoundLookup(samples.xs, samples.ys, x);
    if (std::fabs(table(x) - expected) > 1e-4f * (1 + std::fabs(expected))) std::abort();
  }
  RunQueries(state, [&](float x) { return table(x); });
}
BENCHMARK(BM_NonUniformLookup);

void BM_NonUniformBatch(benchmark::State& state) {
  RunBatch(state, MakeNonUniformTable());
}
BENCHMARK(BM_NonUniformBatch);

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

KOMATH_BENCHMARK_MAIN()
