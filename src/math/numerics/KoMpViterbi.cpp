#include "math/numerics/KoMpViterbi.h"

#include <cfloat>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t c_uiNoState = 0xFFFFFFFFu;

// The decision of one recursion step over x_i = best(i, t-1) + A(i, j),
// i = 0 .. n-1: the last i with x_i >= the running maximum, started at
// -DBL_MAX. That is the last i whose x_i equals the largest x that is at
// least -DBL_MAX (a NaN or -inf never replaces anything, and every later
// candidate below the maximum is skipped), so the maximum is found first
// with four independent running maxima, which breaks the dependency chain
// of one, and the position by a scan from the end. The maximum returned is
// x_arg itself, so even the sign of a zero matches the one-pass rule.
inline double BestPredecessor(const double* best, const double* column, unsigned int n,
                              std::uint32_t& arg) {
  double lane[4] = {-DBL_MAX, -DBL_MAX, -DBL_MAX, -DBL_MAX};
  unsigned int i = 0;
  for (; i + 4 <= n; i += 4) {
    for (unsigned int l = 0; l < 4; ++l) {
      const double x = best[i + l] + column[i + l];
      if (x >= lane[l]) lane[l] = x;
    }
  }
  for (; i < n; ++i) {
    const double x = best[i] + column[i];
    if (x >= lane[0]) lane[0] = x;
  }
  double maximum = lane[0];
  for (unsigned int l = 1; l < 4; ++l) {
    if (lane[l] >= maximum) maximum = lane[l];
  }
  for (unsigned int k = n; k-- > 0;) {
    const double x = best[k] + column[k];
    if (x == maximum) {
      arg = k;
      return x;
    }
  }
  arg = c_uiNoState;  // no candidate counted
  return -DBL_MAX;
}

}  // namespace

struct KoMpViterbi::SInput {
  std::uint32_t stateCount = 0;
  std::uint32_t symbolCount = 0;
  const KbArray<unsigned int>* observations = nullptr;
  InitialScore initialScore;
  TransitionScore transitionScore;
  EmissionScore emissionScore;
  KbArray<unsigned int>* path = nullptr;
  double* score = nullptr;
};

KoMpViterbi::KoMpViterbi() : m_pInput(std::make_unique<SInput>()) {}
KoMpViterbi::~KoMpViterbi() = default;

void KoMpViterbi::SetInput(unsigned int stateCount, unsigned int symbolCount,
                           const KbArray<unsigned int>& observations, InitialScore initialScore,
                           TransitionScore transitionScore, EmissionScore emissionScore,
                           KbArray<unsigned int>& path, double& score) {
  SInput& input = *m_pInput;
  input.stateCount = stateCount;
  input.symbolCount = symbolCount;
  input.observations = &observations;
  input.initialScore = std::move(initialScore);
  input.transitionScore = std::move(transitionScore);
  input.emissionScore = std::move(emissionScore);
  input.path = &path;
  input.score = &score;
  setInputChanged();
}

bool KoMpViterbi::checkPreConditions() const {
  const SInput& input = *m_pInput;
  return input.initialScore && input.transitionScore && input.emissionScore &&
         input.stateCount != 0 && input.observations != nullptr && !input.observations->IsEmpty() &&
         input.path != nullptr;
}

void KoMpViterbi::compute() {
  const SInput& input = *m_pInput;
  const unsigned int n = input.stateCount;
  const KbArray<unsigned int>& o = *input.observations;
  const unsigned int steps = o.GetSize();

  // A(i, j) stored transposed, at j * n + i, so that the recursion reads
  // the candidates of one state contiguously.
  std::vector<double> transition(std::size_t(n) * n);
  for (unsigned int i = 0; i < n; ++i) {
    for (unsigned int j = 0; j < n; ++j)
      transition[std::size_t(j) * n + i] = input.transitionScore(i, j);
  }
  // Only two columns of best scores are alive at a time; the back-pointers
  // of every step are kept, step by step (entry t * n + j).
  std::vector<double> previous(n), current(n);
  std::vector<std::uint32_t> back(std::size_t(n) * steps, c_uiNoState);
  for (unsigned int s = 0; s < n; ++s) {
    const double emission = input.emissionScore(s, o[0]);
    previous[s] = input.initialScore(s) + emission;
  }
  for (unsigned int t = 1; t < steps; ++t) {
    std::uint32_t* backOfStep = back.data() + std::size_t(t) * n;
    for (unsigned int j = 0; j < n; ++j) {
      const double m = BestPredecessor(previous.data(), transition.data() + std::size_t(j) * n, n,
                                       backOfStep[j]);
      current[j] = input.emissionScore(j, o[t]) + m;
    }
    previous.swap(current);
  }
  std::uint32_t state = c_uiNoState;
  double maximum = -DBL_MAX;
  for (unsigned int s = 0; s < n; ++s) {
    if (previous[s] >= maximum) {
      maximum = previous[s];
      state = s;
    }
  }

  KbArray<unsigned int>& path = *input.path;
  path.Resize(steps);
  path[steps - 1] = state;
  for (unsigned int t = steps - 1; t-- > 0;) {
    if (state != c_uiNoState) state = back[std::size_t(t + 1) * n + state];
    path[t] = state;
  }
}
