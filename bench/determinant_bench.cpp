// Sign of a determinant: KoMpMatrixToDeterminantExactSign (sign-only mode,
// filter plus exact fallback) against a GMP mpq_class Bareiss elimination,
// with a plain double LU determinant as the floor. Matrices are random,
// near-singular (a repeated row moved by one ulp) or singular (a repeated
// row), of order 3, 4, 6 and 10.
#include <benchmark/benchmark.h>

#include <gmpxx.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "BenchMain.h"
#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"

namespace {

enum EKind { eRandom = 0, eNearSingular = 1, eSingular = 2 };
constexpr int c_iMatricesPerSet = 16;

// Entries in (-1, 1) with full 53-bit mantissas.
double RandomEntry(std::mt19937_64& rng) {
  const std::uint64_t bits = rng();
  const std::uint64_t field = 1019 + bits % 4;
  return std::bit_cast<double>((bits >> 63 << 63) | (field << 52) | (rng() >> 12));
}

std::vector<std::vector<double>> MakeSet(unsigned int order, EKind kind) {
  std::mt19937_64 rng(order * 10 + kind);
  std::vector<std::vector<double>> set(c_iMatricesPerSet);
  for (std::vector<double>& m : set) {
    m.resize(std::size_t(order) * order);
    for (double& v : m) v = RandomEntry(rng);
    if (kind == eRandom) continue;
    const unsigned int a = rng() % order;
    const unsigned int b = (a + 1) % order;
    for (unsigned int j = 0; j < order; ++j) m[b * order + j] = m[a * order + j];
    if (kind == eNearSingular) {
      double& entry = m[b * order + rng() % order];
      entry = std::nextafter(entry, 2.0);
    }
  }
  return set;
}

int GmpBareissSign(const std::vector<double>& values, unsigned int order) {
  std::vector<mpq_class> m(values.begin(), values.end());
  mpq_class previous = 1;
  int sign = 1;
  for (unsigned int k = 0; k + 1 < order; ++k) {
    if (m[k * order + k] == 0) {
      unsigned int r = k + 1;
      while (r < order && m[r * order + k] == 0) ++r;
      if (r == order) return 0;
      for (unsigned int c = 0; c < order; ++c) std::swap(m[k * order + c], m[r * order + c]);
      sign = -sign;
    }
    for (unsigned int i = k + 1; i < order; ++i) {
      for (unsigned int j = k + 1; j < order; ++j) {
        m[i * order + j] =
            (m[i * order + j] * m[k * order + k] - m[i * order + k] * m[k * order + j]) / previous;
      }
    }
    previous = m[k * order + k];
  }
  return sign * sgn(m[order * order - 1]);
}

// Partial-pivoting LU in doubles: fast and wrong near singularity.
double LuDeterminant(std::vector<double> m, unsigned int order) {
  double det = 1.0;
  for (unsigned int k = 0; k < order; ++k) {
    unsigned int p = k;
    for (unsigned int i = k + 1; i < order; ++i) {
      if (std::fabs(m[i * order + k]) > std::fabs(m[p * order + k])) p = i;
    }
    if (p != k) {
      for (unsigned int j = 0; j < order; ++j) std::swap(m[p * order + j], m[k * order + j]);
      det = -det;
    }
    const double pivot = m[k * order + k];
    det *= pivot;
    if (pivot == 0.0) return 0.0;
    for (unsigned int i = k + 1; i < order; ++i) {
      const double l = m[i * order + k] / pivot;
      for (unsigned int j = k + 1; j < order; ++j) m[i * order + j] -= l * m[k * order + j];
    }
  }
  return det;
}

template <class Body>
void RunOverSet(benchmark::State& state, Body body) {
  const auto order = static_cast<unsigned int>(state.range(0));
  const auto set = MakeSet(order, static_cast<EKind>(state.range(1)));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(body(set[i], order));
    i = (i + 1) % set.size();
  }
}

void BM_ExactSign(benchmark::State& state) {
  RunOverSet(state, [](const std::vector<double>& m, unsigned int order) {
    std::int32_t sign = 0;
    KoMpMatrixToDeterminantExactSign::Compute(m.data(), order, sign);
    return sign;
  });
}

void BM_GmpBareissSign(benchmark::State& state) {
  RunOverSet(state, GmpBareissSign);
}

void BM_DoubleLu(benchmark::State& state) {
  RunOverSet(state, LuDeterminant);
}

void Arguments(benchmark::internal::Benchmark* b) {
  b->ArgNames({"order", "kind"});
  for (int kind : {eRandom, eNearSingular, eSingular}) {
    for (int order : {3, 4, 6, 10}) b->Args({order, kind});
  }
}

BENCHMARK(BM_ExactSign)->Apply(Arguments)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GmpBareissSign)->Apply(Arguments)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DoubleLu)->Apply(Arguments)->Unit(benchmark::kMicrosecond);

}  // namespace

KOMATH_BENCHMARK_MAIN()
