#include "math/numerics/KoFtArrayConvolution.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/KbException.h"

namespace {

constexpr std::uint32_t c_uiInputVersion = 1;
constexpr std::uint32_t c_uiOutputVersion = 1;
constexpr float c_fInfinity = std::numeric_limits<float>::infinity();

// The tent's antiderivative, F(1) - F(-1) = 1.
inline float F(float u) {
  return (1.0f - std::fabs(u) * 0.5f) * u;
}

// Walks the cells right of x_i (Right) or left of it (!Right) and adds
// their shares to `acc`. The boundary in kernel units of one step is the
// other boundary of the next, so each step divides once and reuses that
// quotient, clamped the other way, as the next step's start: the same
// float operations on the same operands as computing both boundaries anew.
template <bool Right, class T>
void Sweep(const float* x, const T* v, unsigned int n, unsigned int i, float h, bool periodic,
           float period, unsigned int maxWraps, T& acc) {
  const float xi = x[i];
  const float reach = Right ? xi + h : xi - h;
  // Skips h = 0, a NaN or infinite x_i and an h too small to move x_i.
  if (!(Right ? reach > xi : reach < xi)) return;
  float p = xi;
  float s = 0.0f;
  unsigned int k = i;
  unsigned int wraps = 0;
  // F at the boundary shared with the previous step (lo going right, hi
  // going left); the first step starts at x_i itself, where F(0) = 0.
  float fNear = 0.0f;
  for (;;) {
    unsigned int next = k;
    float sNext = s;
    if (Right ? k + 1 == n : k == 0) {
      if (periodic) {
        if (++wraps > maxWraps) return;
        sNext = Right ? s + period : s - period;
        next = Right ? 0 : n - 1;
      } else {
        sNext = Right ? c_fInfinity : -c_fInfinity;  // the end cell reaches to infinity
      }
    } else {
      next = Right ? k + 1 : k - 1;
    }
    const float q = x[next] + sNext;
    const float m = (q + p) * 0.5f;
    const float u = (m - xi) / h;
    if (Right) {
      acc += v[k] * (F(std::min(1.0f, u)) - fNear);
    } else {
      acc += v[k] * (fNear - F(std::max(-1.0f, u)));
    }
    p = q;
    k = next;
    s = sNext;
    if (!(Right ? m < reach : m > reach)) return;
    fNear = Right ? F(std::max(-1.0f, u)) : F(std::min(1.0f, u));
  }
}

template <class T>
bool ElementsEqual(const T& a, const T& b) {
  return a == b;  // exact, NaN != NaN (component-wise for the vectors)
}

}  // namespace

template <class T>
struct KoFtArrayConvolution<T>::SUnitTestData {
  KbArray<float> positions;
  KbArray<T> values;
  // `values` as read: Compute smooths `values` in place, and a record
  // rewritten after that (Recreate) must still show the input.
  KbArray<T> recordedValues;
  KbArray<T> expected;
  bool inputRead = false;
  bool outputRead = false;
};

template <class T>
KoFtArrayConvolution<T>::KoFtArrayConvolution() = default;
template <class T>
KoFtArrayConvolution<T>::~KoFtArrayConvolution() = default;

template <class T>
void KoFtArrayConvolution<T>::SetInput(float halfWidth, const KbArray<float>& positions,
                                       bool periodic, float period, KbArray<T>& values) {
  m_halfWidth = halfWidth;
  m_pPositions = &positions;
  m_periodic = periodic;
  m_period = period;
  m_pValues = &values;
  setInputChanged();
}

template <class T>
bool KoFtArrayConvolution<T>::checkPreConditions() const {
  if (!(m_halfWidth >= 0.0f) || m_pValues == nullptr) return false;
  if (m_pPositions->GetSize() != m_pValues->GetSize()) return false;
  if (!m_periodic) return true;
  return m_period > 0.0f && m_halfWidth <= c_fMaxPeriodsPerHalfWidth * m_period;
}

template <class T>
void KoFtArrayConvolution<T>::compute() {
  const unsigned int n = m_pPositions->GetSize();
  if (n == 0) return;
  const float* x = m_pPositions->GetData();
  const T* v = m_pValues->GetData();
  KbArray<T> result(n);  // zeroed
  for (unsigned int i = 0; i < n; ++i) {
    T acc = result[i];
    Sweep<true>(x, v, n, i, m_halfWidth, m_periodic, m_period, c_uiMaxWraps, acc);
    Sweep<false>(x, v, n, i, m_halfWidth, m_periodic, m_period, c_uiMaxWraps, acc);
    result[i] = acc;
  }
  m_pValues->Swap(result);  // the old storage goes with `result`
}

template <class T>
void KoFtArrayConvolution<T>::serializeUnitTestInput(KbStreamWriteBinary& stream) const {
  if (m_pValues == nullptr) {
    throw KbException("KoFtArrayConvolution: unit-test input written without positions or values");
  }
  stream.WriteVersion(c_uiInputVersion);
  KoFtAlgorithm::serializeUnitTestInput(stream);
  stream.WriteFloat(m_halfWidth);
  m_pPositions->Serialize(stream);
  stream.WriteBool(m_periodic);
  stream.WriteFloat(m_period);
  const bool replaying = m_pUnitTest && m_pValues == &m_pUnitTest->values;
  (replaying ? m_pUnitTest->recordedValues : *m_pValues).Serialize(stream);
}

// Everything is read into locals first: a record that throws halfway leaves
// the inputs as they were.
template <class T>
void KoFtArrayConvolution<T>::serializeUnitTestInput(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiInputVersion);
  KoFtAlgorithm::serializeUnitTestInput(stream);
  const float halfWidth = stream.ReadFloat();
  KbArray<float> positions;
  positions.Serialize(stream);
  const bool periodic = stream.ReadBool();
  const float period = stream.ReadFloat();
  KbArray<T> values;
  values.Serialize(stream);
  if (!m_pUnitTest) m_pUnitTest = std::make_unique<SUnitTestData>();
  SUnitTestData& data = *m_pUnitTest;
  data.recordedValues = values;
  data.positions = std::move(positions);
  data.values = std::move(values);
  data.inputRead = true;
  data.outputRead = false;  // an earlier expected result belongs to earlier inputs
  SetInput(halfWidth, data.positions, periodic, period, data.values);
}

template <class T>
void KoFtArrayConvolution<T>::serializeUnitTestOutput(KbStreamWriteBinary& stream) const {
  if (m_pValues == nullptr) {
    throw KbException("KoFtArrayConvolution: unit-test output written without values");
  }
  stream.WriteVersion(c_uiOutputVersion);
  KoFtAlgorithm::serializeUnitTestOutput(stream);
  m_pValues->Serialize(stream);
}

template <class T>
void KoFtArrayConvolution<T>::serializeUnitTestOutput(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiOutputVersion);
  KoFtAlgorithm::serializeUnitTestOutput(stream);
  KbArray<T> expected;
  expected.Serialize(stream);
  if (!m_pUnitTest) m_pUnitTest = std::make_unique<SUnitTestData>();
  m_pUnitTest->expected = std::move(expected);
  m_pUnitTest->outputRead = true;
}

template <class T>
bool KoFtArrayConvolution<T>::compareUnitTestResult() const {
  // Reading the input record ran SetInput, so the values are set.
  if (!m_pUnitTest || !m_pUnitTest->inputRead || !m_pUnitTest->outputRead) {
    throw KbException("KoFtArrayConvolution: no stored unit-test input and output to compare");
  }
  const KbArray<T>& expected = m_pUnitTest->expected;
  const KbArray<T>& actual = *m_pValues;
  return expected.GetSize() == actual.GetSize() &&
         std::equal(expected.begin(), expected.end(), actual.begin(), &ElementsEqual<T>);
}

template class KoFtArrayConvolution<float>;
template class KoFtArrayConvolution<KbVector2f>;
template class KoFtArrayConvolution<KbVector3f>;
