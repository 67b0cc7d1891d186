// KoMpViterbi: the highest-scoring hidden-state sequence (Viterbi decoding).
//
// Given N states, observations o_0 .. o_{T-1} and three additive scores
// (pass log-probabilities, or any scores whose sum is to be maximised),
// finds the states s_0 .. s_{T-1} that maximise
//
//   initial(s_0) + sum_t emission(s_t, o_t) + sum_t transition(s_{t-1}, s_t)
//
// by dynamic programming (A. J. Viterbi, "Error bounds for convolutional
// codes and an asymptotically optimum decoding algorithm", IEEE Trans.
// Inf. Theory 13(2), 1967), in O(N^2 T) time and O(N T) memory.
//
// Order of evaluation (callers may count on it):
// 1. transition(i, j) for i = 0 .. N-1, inside it j = 0 .. N-1: each pair
//    exactly once, tabulated, so the recursion touches only memory;
// 2. for s = 0 .. N-1: emission(s, o_0), then initial(s);
// 3. for t = 1 .. T-1, for j = 0 .. N-1: emission(j, o_t), once.
//
// Decisions and ties (all ">=", starting from -DBL_MAX):
// - best(j, t) = emission(j, o_t) + max_i (best(i, t-1) + A(i, j)); among
//   equal candidates the highest-numbered i wins, and a candidate equal to
//   -DBL_MAX still counts. NaN and -inf candidates never count (NaN >= m
//   is false, and -inf < -DBL_MAX): a state none of whose candidates counts
//   gets the back-pointer 0xFFFFFFFF and the score -DBL_MAX + emission.
// - The final state is the highest-numbered state of largest best(s, T-1),
//   by the same rule; 0xFFFFFFFF when none counts.
// - Back-tracking stops at a 0xFFFFFFFF: that entry and every earlier one of
//   `path` are 0xFFFFFFFF (there is no state to trace back from).
//
// The best total score is not delivered: `score` is stored by SetInput and
// never written, by design of the interface this class keeps.
//
//   KoMpViterbi viterbi;
//   viterbi.SetInput(n, symbols, observations, initial, transition, emission, path, score);
//   if (viterbi.Compute(0)) ... path holds T states
#pragma once

#include <functional>
#include <memory>

#include "base/KbArray.h"
#include "base/KoAlgorithm.h"
#include "math/KoMathExport.h"

class KOMATH_API KoMpViterbi : public KoMpAlgorithm {
 public:
  using InitialScore = std::function<double(unsigned int state)>;
  using TransitionScore = std::function<double(unsigned int from, unsigned int to)>;
  using EmissionScore = std::function<double(unsigned int state, unsigned int symbol)>;

  KoMpViterbi();
  ~KoMpViterbi() override;
  KoMpViterbi(const KoMpViterbi&) = delete;
  KoMpViterbi& operator=(const KoMpViterbi&) = delete;

  // Stores pointers to `observations`, `path` and `score` (all must outlive
  // every Compute; pass no temporaries) and takes over the three callables,
  // releasing those of an earlier SetInput; marks the results stale.
  // `symbolCount` is kept for the caller and not used. `path` is resized to
  // T by Compute (keeping its storage when large enough; it may be
  // `observations` itself, which is read completely before).
  void SetInput(unsigned int stateCount, unsigned int symbolCount,
                const KbArray<unsigned int>& observations, InitialScore initialScore,
                TransitionScore transitionScore, EmissionScore emissionScore,
                KbArray<unsigned int>& path, double& score);

  using KoAlgorithm::Compute;

 protected:
  // True when the three callables are set, there is at least one state, and
  // the observation sequence is set and not empty (with T = 0 there is no
  // path to back-track, with N = 0 no state to end in).
  bool checkPreConditions() const override;
  // Exceptions thrown by a score function pass through; the working tables
  // are freed and `path` is left untouched.
  void compute() override;

 private:
  struct SInput;
  std::unique_ptr<SInput> m_pInput;  // never null
};
