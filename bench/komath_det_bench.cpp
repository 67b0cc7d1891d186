// komath det --exact: DetExact (integer matrix modulo primes below 2^62,
// Chinese remaindering) against a GMP mpz Bareiss elimination of the same
// matrix scaled to integers, with the library's exact sign (which DetExact
// also computes) as the floor. The library's exact-factor mode, which the
// tool used before and whose cost grows exponentially with the order, is
// measured up to order 10 for comparison. Entries are uniform in (-1, 1)
// with full mantissas.
#include <benchmark/benchmark.h>
#include <gmpxx.h>

#include <cmath>
#include <random>
#include <vector>

#include "ExactDeterminant.h"
#include "GmpBareiss.h"
#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"

namespace {

std::vector<double> RandomMatrix(std::size_t n) {
  std::mt19937_64 rng(n);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::vector<double> a(n * n);
  for (double& x : a) x = uniform(rng);
  return a;
}

// Bareiss on the matrix times 2^shift, the smallest power making every entry
// an integer.
mpz_class GmpBareiss(const std::vector<double>& a, std::size_t n) {
  long shift = 0;
  return ko_test::GmpBareiss(a, n, shift);
}

void BM_DetExact(benchmark::State& state) {
  const auto n = std::size_t(state.range(0));
  const std::vector<double> a = RandomMatrix(n);
  for (auto _ : state) benchmark::DoNotOptimize(komath::DetExact(a, n));
}

void BM_GmpBareiss(benchmark::State& state) {
  const auto n = std::size_t(state.range(0));
  const std::vector<double> a = RandomMatrix(n);
  for (auto _ : state) benchmark::DoNotOptimize(GmpBareiss(a, n));
}

void BM_LibrarySign(benchmark::State& state) {
  const auto n = std::size_t(state.range(0));
  const std::vector<double> a = RandomMatrix(n);
  for (auto _ : state) benchmark::DoNotOptimize(komath::DetSign(a, n));
}

void BM_LibraryExactFactors(benchmark::State& state) {
  const auto n = unsigned(state.range(0));
  const std::vector<double> a = RandomMatrix(n);
  KoArray2D<double> matrix(n, n);
  std::copy(a.begin(), a.end(), matrix.GetData());
  for (auto _ : state) {
    KbArray<KoFloatExact> numerator, denominator;
    std::int32_t sign = 0;
    KoMpMatrixToDeterminantExactSign::Compute(matrix, numerator, denominator, sign);
    benchmark::DoNotOptimize(sign);
  }
}

BENCHMARK(BM_DetExact)->Arg(10)->Arg(30)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GmpBareiss)->Arg(10)->Arg(30)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibrarySign)->Arg(10)->Arg(30)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibraryExactFactors)->Arg(6)->Arg(8)->Arg(10)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
