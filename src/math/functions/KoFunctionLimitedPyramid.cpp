#include "math/functions/KoFunctionLimitedPyramid.h"

#include "base/KoStreamValue.h"

template <class In, class Out>
KoFunctionLimitedPyramid<In, Out>::KoFunctionLimitedPyramid()
    : KoFunctionLimited<In, Out>(0, 0, 0) {}

template <class In, class Out>
KoFunctionLimitedPyramid<In, Out>::KoFunctionLimitedPyramid(T minX, T peakX, T maxX, T height)
    : KoFunctionLimited<In, Out>(minX, maxX, 0), m_peakX(peakX), m_height(height) {}

template <class In, class Out>
KoFunctionLimitedPyramid<In, Out>::~KoFunctionLimitedPyramid() = default;

template <class In, class Out>
Out KoFunctionLimitedPyramid<In, Out>::operator()(In x) const {
  if (this->IsOutside(x)) return this->GetInvalidY();
  const T a = this->GetMinX();
  const T b = this->GetMaxX();
  if (m_peakX > x) return (x - a) * m_height / (m_peakX - a);
  return (b - x) * m_height / (b - m_peakX);
}

// The side is chosen before the division, so each element divides once; the
// operands are those of operator()'s branch, so is the quotient. The
// outside test comes last and selects, which vectorises.
template <class In, class Out>
void KoFunctionLimitedPyramid<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T a = this->GetMinX(), b = this->GetMaxX(), invalid = this->GetInvalidY();
  const T peak = m_peakX, height = m_height;
  const T rise = peak - a, fall = b - peak;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const T v = x[i];
    const bool rising = peak > v;
    const T value = (rising ? v - a : b - v) * height / (rising ? rise : fall);
    y[i] = (a > v || v > b) ? invalid : value;
  }
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionLimitedPyramid<In, Out>::Clone() const {
  return std::make_unique<KoFunctionLimitedPyramid>(*this);
}

template <class In, class Out>
void KoFunctionLimitedPyramid<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoFunctionLimited<In, Out>::Serialize(stream);
  KoWriteValue(stream, m_peakX);
  KoWriteValue(stream, m_height);
}

template <class In, class Out>
void KoFunctionLimitedPyramid<In, Out>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoFunctionLimited<In, Out>::Serialize(stream);
  KoReadValue(stream, m_peakX);
  KoReadValue(stream, m_height);
}

template class KoFunctionLimitedPyramid<float, float>;
template class KoFunctionLimitedPyramid<double, double>;
