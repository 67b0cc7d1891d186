#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "math/numerics/KoMpViterbi.h"

namespace {

using Path = KbArray<unsigned int>;
constexpr unsigned int c_none = 0xFFFFFFFFu;

// Score tables (transition i * n + j, emission s * symbols + o).
struct SModel {
  unsigned int n, symbols;
  std::vector<double> initial, transition, emission;
};

Path Decode(const SModel& m, const Path& observations) {
  Path path;
  double score = 42.0;
  KoMpViterbi viterbi;
  viterbi.SetInput(
      m.n, m.symbols, observations, [&](unsigned int s) { return m.initial[s]; },
      [&](unsigned int i, unsigned int j) { return m.transition[i * m.n + j]; },
      [&](unsigned int s, unsigned int o) { return m.emission[s * m.symbols + o]; }, path, score);
  EXPECT_TRUE(viterbi.Compute(0));
  EXPECT_EQ(score, 42.0);  // never written
  return path;
}

// Every path, scored in the decoder's order; integer scores keep sums exact,
// so ties are real. Among the best paths without a NaN or -inf term the
// decoder's rule picks the one greatest read backwards (the highest last
// state, then the highest state before it, ...).
std::vector<unsigned int> BruteForce(const SModel& m, const Path& o) {
  const unsigned int t = o.GetSize();
  std::vector<unsigned int> path(t, 0), best;
  double bestScore = -INFINITY;
  for (unsigned int k = 0; k < t;) {
    double score = m.initial[path[0]] + m.emission[path[0] * m.symbols + o[0]];
    for (unsigned int s = 1; s < t; ++s)
      score = m.emission[path[s] * m.symbols + o[s]] +
              (score + m.transition[path[s - 1] * m.n + path[s]]);
    const bool later =
        std::lexicographical_compare(best.rbegin(), best.rend(), path.rbegin(), path.rend());
    if (score > bestScore || (score == bestScore && score > -INFINITY && later))
      bestScore = score, best = path;
    for (k = 0; k < t && ++path[k] == m.n;) path[k++] = 0;
  }
  return best;
}

// 34 states fill two blocks of vector lanes and a scalar tail.
TEST(KoMpViterbi, MatchesBruteForceWithTiesNaNAndMinusInfinity) {
  std::mt19937 rng(5);
  auto score = [&] {
    return rng() % 20 == 0 ? NAN : rng() % 20 == 0 ? -INFINITY : double(int(rng() % 4) - 2);
  };
  for (int run = 0; run < 300; ++run) {
    SModel m{run % 4 == 3 ? 34u : 1u + run % 3, 2, {}, {}, {}};
    for (unsigned int k = 0; k < m.n; ++k) m.initial.push_back(score());
    for (unsigned int k = 0; k < m.n * m.n; ++k) m.transition.push_back(score());
    for (unsigned int k = 0; k < m.n * 2; ++k) m.emission.push_back(score());
    Path o(m.n > 3 ? 1 + run % 3 : 1 + run % 5);
    for (unsigned int& symbol : o) symbol = rng() % 2;
    const std::vector<unsigned int> expected = BruteForce(m, o);
    if (expected.empty()) continue;  // every path has a NaN or -inf term
    const Path path = Decode(m, o);
    EXPECT_TRUE(std::equal(path.begin(), path.end(), expected.begin(), expected.end())) << run;
  }
}

// -inf and NaN never count: at t = 1 no candidate does (back-pointers
// 0xFFFFFFFF, scores -DBL_MAX), and those count with >= at t = 2.
TEST(KoMpViterbi, CandidatesAtOrBelowMinusDblMax) {
  EXPECT_EQ(Decode({2, 1, {-DBL_MAX, -DBL_MAX}, {0, 0, 0, 0}, {0, 0}}, {0, 0}), (Path{1, 1}));
  const SModel impossible{2, 1, {-INFINITY, NAN}, {0, 0, 0, 0}, {0, 0}};
  EXPECT_EQ(Decode(impossible, {0, 0, 0}), (Path{c_none, 1, 1}));
  EXPECT_EQ(Decode(impossible, {0}), Path{c_none});
  // No transition is possible: back-tracking stops at the first step
  // without a predecessor.
  const SModel stuck{2, 1, {0, 0}, {-INFINITY, -INFINITY, -INFINITY, -INFINITY}, {0, 0}};
  EXPECT_EQ(Decode(stuck, {0, 0, 0}), (Path{c_none, c_none, 1}));
}

TEST(KoMpViterbi, CallOrderPreconditionsExceptionsAndPathStorage) {
  std::string log;
  auto note = [&log](char what, unsigned int a, unsigned int b) {
    log += what + std::to_string(a) + std::to_string(b) + ' ';
    if (what == 'E' && a + b == 3) throw std::runtime_error("emission");
    return 0.0;
  };
  std::function<double(unsigned int, unsigned int)> transition =
      [&](unsigned int i, unsigned int j) { return note('T', i, j); };
  const Path o{1, 0, 1}, empty;
  Path path{7};
  path.Reserve(8);
  const unsigned int* storage = path.GetData();
  double score = 0;
  KoMpViterbi viterbi;
  EXPECT_FALSE(viterbi.Compute(0));
  auto run = [&](unsigned int n, const Path& observations, auto transitionScore) {
    viterbi.SetInput(
        n, 2, observations, [&](unsigned int s) { return note('I', s, 0); }, transitionScore,
        [&](unsigned int s, unsigned int o) { return note('E', s, o); }, path, score);
    return viterbi.Compute(0);
  };
  EXPECT_FALSE(run(2, o, nullptr) || run(2, empty, transition) || run(0, o, transition));
  ASSERT_TRUE(run(2, o, transition));
  EXPECT_EQ(log, "T00 T01 T10 T11 E01 I00 E11 I10 E00 E10 E01 E11 ");
  EXPECT_EQ(path, (Path{1, 1, 1}));
  EXPECT_EQ(path.GetData(), storage);
  EXPECT_THROW(run(3, o, transition), std::runtime_error);  // E21 throws
  EXPECT_EQ(path, (Path{1, 1, 1}));
}

}  // namespace
