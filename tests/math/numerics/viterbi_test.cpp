#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "math/numerics/KoMpViterbi.h"

namespace {

constexpr unsigned int c_noState = 0xFFFFFFFFu;

// Score tables, and the callables that read them.
struct SModel {
  unsigned int n = 0;
  std::vector<double> initial, transition, emission;  // emission: n x symbols
  unsigned int symbols = 0;
  KoMpViterbi::InitialScore Initial() const {
    return [this](unsigned int s) { return initial[s]; };
  }
  KoMpViterbi::TransitionScore Transition() const {
    return [this](unsigned int i, unsigned int j) { return transition[i * n + j]; };
  }
  KoMpViterbi::EmissionScore Emission() const {
    return [this](unsigned int s, unsigned int o) { return emission[s * symbols + o]; };
  }
};

KbArray<unsigned int> Decode(const SModel& model, const KbArray<unsigned int>& observations) {
  KbArray<unsigned int> path;
  double score = 42.0;
  KoMpViterbi viterbi;
  viterbi.SetInput(model.n, model.symbols, observations, model.Initial(), model.Transition(),
                   model.Emission(), path, score);
  EXPECT_TRUE(viterbi.Compute(0));
  EXPECT_EQ(score, 42.0);  // never written
  return path;
}

// Every path, scored in the decoder's order. Integer scores keep the sums
// exact, so ties are real. Among the best paths without a NaN (or -inf)
// term the decoder's tie rule picks the one that is greatest read from the
// end backwards: the highest last state, then the highest state before it.
std::vector<unsigned int> BruteForce(const SModel& model, const KbArray<unsigned int>& o) {
  const unsigned int t = o.GetSize();
  std::vector<unsigned int> path(t, 0), best;
  double bestScore = -INFINITY;
  for (;;) {
    double score = model.initial[path[0]] + model.emission[path[0] * model.symbols + o[0]];
    for (unsigned int k = 1; k < t; ++k) {
      score = score + model.transition[path[k - 1] * model.n + path[k]];
      score = model.emission[path[k] * model.symbols + o[k]] + score;
    }
    const bool later =
        std::lexicographical_compare(best.rbegin(), best.rend(), path.rbegin(), path.rend());
    if (score > bestScore || (score == bestScore && score > -INFINITY && later)) {
      bestScore = score, best = path;
    }
    unsigned int k = 0;
    while (k < t && ++path[k] == model.n) path[k++] = 0;
    if (k == t) return best;
  }
}

TEST(KoMpViterbi, MatchesBruteForceWithTiesNaNAndMinusInfinity) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<int> small(-2, 1), special(0, 19);
  auto score = [&] {
    const int kind = special(rng);
    return kind == 0 ? NAN : kind == 1 ? -INFINITY : double(small(rng));
  };
  for (int run = 0; run < 300; ++run) {
    SModel model;
    model.n = run % 4 == 3 ? 18 : 1 + run % 3;  // 18: one block of 16 lanes and a tail
    model.symbols = 2;
    for (unsigned int k = 0; k < model.n; ++k) model.initial.push_back(score());
    for (unsigned int k = 0; k < model.n * model.n; ++k) model.transition.push_back(score());
    for (unsigned int k = 0; k < model.n * 2; ++k) model.emission.push_back(score());
    KbArray<unsigned int> o(model.n > 3 ? 1 + run % 3 : 1 + run % 5);
    for (unsigned int& symbol : o) symbol = rng() % 2;
    const std::vector<unsigned int> expected = BruteForce(model, o);
    if (expected.empty()) continue;  // every path has a NaN or -inf term
    const KbArray<unsigned int> path = Decode(model, o);
    EXPECT_TRUE(std::equal(path.begin(), path.end(), expected.begin(), expected.end())) << run;
  }
}

TEST(KoMpViterbi, NamedCasesOneStateEqualScoresSingleStepAndNoCountingCandidate) {
  SModel flat{2, {0, 0}, {0, 0, 0, 0}, {0, 0}, 1};
  EXPECT_EQ(Decode(flat, {0, 0, 0, 0}), (KbArray<unsigned int>{1, 1, 1, 1}));
  SModel one{1, {-1}, {-3}, {-2, -5}, 2};
  EXPECT_EQ(Decode(one, {1, 0, 1}), (KbArray<unsigned int>{0, 0, 0}));
  SModel step{3, {1, 2, 0}, std::vector<double>(9, 0), {2, 1, 3}, 1};
  EXPECT_EQ(Decode(step, {0}), KbArray<unsigned int>{2});  // 3 ties with 3: the higher state
  // -DBL_MAX candidates count (>=), -inf and NaN ones do not: at t = 1 no
  // candidate counts (back-pointers 0xFFFFFFFF, scores -DBL_MAX), which then
  // count at t = 2.
  SModel lowest{2, {-DBL_MAX, -DBL_MAX}, {0, 0, 0, 0}, {0, 0}, 1};
  EXPECT_EQ(Decode(lowest, {0, 0}), (KbArray<unsigned int>{1, 1}));
  SModel impossible{2, {-INFINITY, NAN}, {0, 0, 0, 0}, {0, 0}, 1};
  EXPECT_EQ(Decode(impossible, {0, 0, 0}), (KbArray<unsigned int>{c_noState, 1, 1}));
  EXPECT_EQ(Decode(impossible, {0}), KbArray<unsigned int>{c_noState});
}

// Records every call as a letter and its arguments.
TEST(KoMpViterbi, CallsEachScoreInTheDocumentedOrderAndCount) {
  std::string log;
  auto note = [&log](char what, unsigned int a, unsigned int b) {
    log += what + std::to_string(a) + std::to_string(b) + ' ';
    return double(a + b);
  };
  const KbArray<unsigned int> o{1, 0, 1};
  KbArray<unsigned int> path;
  double score = 0;
  KoMpViterbi viterbi;
  viterbi.SetInput(
      2, 2, o, [&](unsigned int s) { return note('I', s, 9); },
      [&](unsigned int i, unsigned int j) { return note('T', i, j); },
      [&](unsigned int s, unsigned int x) { return note('E', s, x); }, path, score);
  ASSERT_TRUE(viterbi.Compute(0));
  EXPECT_EQ(log, "T00 T01 T10 T11 E01 I09 E11 I19 E00 E10 E01 E11 ");
}

TEST(KoMpViterbi, PreconditionsExceptionsAndPathStorage) {
  SModel model{2, {0, 1}, {0, 0, 0, 0}, {0, 0}, 1};
  const KbArray<unsigned int> empty, o{0, 0};
  KbArray<unsigned int> path{7};
  double score = 0;
  KoMpViterbi viterbi;
  EXPECT_FALSE(viterbi.Compute(0));
  viterbi.SetInput(2, 1, o, model.Initial(), nullptr, model.Emission(), path, score);
  EXPECT_FALSE(viterbi.Compute(0));
  viterbi.SetInput(2, 1, empty, model.Initial(), model.Transition(), model.Emission(), path, score);
  EXPECT_FALSE(viterbi.Compute(0));
  viterbi.SetInput(0, 1, o, model.Initial(), model.Transition(), model.Emission(), path, score);
  EXPECT_FALSE(viterbi.Compute(0));
  EXPECT_EQ(path, KbArray<unsigned int>{7});

  unsigned int calls = 0;
  auto throwing = [&](unsigned int, unsigned int) -> double {
    if (++calls == 3) throw std::runtime_error("emission");
    return 0;
  };
  viterbi.SetInput(2, 1, o, model.Initial(), model.Transition(), throwing, path, score);
  EXPECT_THROW(viterbi.Compute(0), std::runtime_error);
  EXPECT_EQ(path, KbArray<unsigned int>{7});
  EXPECT_FALSE(viterbi.IsCalculated());

  path.Reserve(8);
  const unsigned int* storage = path.GetData();
  viterbi.SetInput(2, 1, o, model.Initial(), model.Transition(), model.Emission(), path, score);
  ASSERT_TRUE(viterbi.Compute(0));
  EXPECT_EQ(path, (KbArray<unsigned int>{1, 1}));
  EXPECT_EQ(path.GetData(), storage);
}

}  // namespace
