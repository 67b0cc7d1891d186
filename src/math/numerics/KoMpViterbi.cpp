#include "math/numerics/KoMpViterbi.h"

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t c_uiNoState = 0xFFFFFFFFu;

// One recursion step for every state j at once: over i = 0 .. n-1 in
// increasing order, x = best(i) + A(i, j), and x >= m(j) makes x the new
// m(j) and i the new arg(j), m(j) starting at -DBL_MAX with no arg. Running
// i outermost keeps that order for each j while the states j form vector
// lanes reading A's rows contiguously. The indices ride along as doubles
// (exact below 2^53), -1 for none.
typedef double V4 __attribute__((vector_size(32)));
constexpr unsigned int c_uiLanes = 4;
constexpr unsigned int c_uiBlock = 4 * c_uiLanes;

inline __attribute__((always_inline)) void Take(V4& m, V4& arg, const V4& x, const V4& i) {
  const auto take = x >= m;  // false for NaN, and for -inf below -DBL_MAX
  m = take ? x : m;
  arg = take ? i : arg;
}

#if defined(__x86_64__) || defined(__i386__)
__attribute__((target_clones("avx2", "default")))
#endif
void BestPredecessors(const double* best, const double* transition, unsigned int n, double* m,
                      double* arg) {
  unsigned int j = 0;
  for (; j + c_uiBlock <= n; j += c_uiBlock) {
    V4 lanes[4], args[4];
    std::fill(std::begin(lanes), std::end(lanes), V4{} - DBL_MAX);
    std::fill(std::begin(args), std::end(args), V4{} - 1.0);
    for (unsigned int i = 0; i < n; ++i) {
      const V4 index = V4{} + double(i);
      const double* row = transition + std::size_t(i) * n + j;
      for (unsigned int l = 0; l < 4; ++l) {
        V4 a;
        std::memcpy(&a, row + l * c_uiLanes, sizeof a);
        Take(lanes[l], args[l], best[i] + a, index);
      }
    }
    std::memcpy(m + j, lanes, sizeof lanes);
    std::memcpy(arg + j, args, sizeof args);
  }
  for (; j < n; ++j) {
    m[j] = -DBL_MAX;
    arg[j] = -1.0;
    for (unsigned int i = 0; i < n; ++i) {
      const double x = best[i] + transition[std::size_t(i) * n + j];
      if (x >= m[j]) m[j] = x, arg[j] = i;
    }
  }
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

  // A(i, j) at i * n + j, in the order the scores are asked for.
  std::vector<double> transition(std::size_t(n) * n);
  for (std::size_t k = 0, i = 0; i < n; ++i) {
    for (unsigned int j = 0; j < n; ++j) transition[k++] = input.transitionScore(i, j);
  }
  // Only two columns of best scores are alive at a time; the back-pointers
  // of every step are kept, step by step (entry t * n + j).
  std::vector<double> previous(n), current(n), m(n), arg(n);
  std::vector<std::uint32_t> back(std::size_t(n) * steps, c_uiNoState);
  for (unsigned int s = 0; s < n; ++s) {
    const double emission = input.emissionScore(s, o[0]);
    previous[s] = input.initialScore(s) + emission;
  }
  for (unsigned int t = 1; t < steps; ++t) {
    BestPredecessors(previous.data(), transition.data(), n, m.data(), arg.data());
    std::uint32_t* backOfStep = back.data() + std::size_t(t) * n;
    for (unsigned int j = 0; j < n; ++j) {
      current[j] = input.emissionScore(j, o[t]) + m[j];
      backOfStep[j] = arg[j] < 0 ? c_uiNoState : static_cast<std::uint32_t>(arg[j]);
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
