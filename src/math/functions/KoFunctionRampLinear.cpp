#include "math/functions/KoFunctionRampLinear.h"

#include <limits>

#include "KoFunctionFormulas.h"
#include "base/KoStreamValue.h"

template <class T>
KoFunctionRampLinear<T>::KoFunctionRampLinear()
    : KoExtrema<T>(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()),
      m_length(0),
      m_start(0) {}

// The y intercept is min itself, not min − gradient·0: with a zero length
// the gradient is infinite and the product would turn the intercept NaN.
template <class T>
KoFunctionRampLinear<T>::KoFunctionRampLinear(T min, T max, T length)
    : KoExtrema<T>(min, max), m_length(length), m_start(0), m_line((max - min) / length, min) {}

template <class T>
KoFunctionRampLinear<T>::KoFunctionRampLinear(T min, T max, T length, T start)
    : KoExtrema<T>(min, max), m_length(length), m_start(start) {
  const T gradient = (max - min) / length;
  m_line = KoFunctionLinear<T>(gradient, min - gradient * start);
}

template <class T>
KoFunctionRampLinear<T>::~KoFunctionRampLinear() = default;

template <class T>
T KoFunctionRampLinear<T>::operator()(T x) const {
  // The line's own formula, inline rather than a second call across the
  // library's exported symbols.
  const T y = ko_formula::Line(x, m_line.GetGradient(), m_line.GetYIntercept());
  if (y > this->GetMax()) return this->GetMax();
  if (this->GetMin() > y) return this->GetMin();
  return y;
}

template <class T>
void KoFunctionRampLinear<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T gradient = m_line.GetGradient(), yIntercept = m_line.GetYIntercept();
  const T low = this->GetMin(), high = this->GetMax();
  for (std::size_t i = 0; i < x.size(); ++i) {
    const T v = ko_formula::Line(x[i], gradient, yIntercept);
    y[i] = v > high ? high : (low > v ? low : v);
  }
}

template <class T>
void KoFunctionRampLinear<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoExtrema<T>::Serialize(stream);
  m_line.Serialize(stream);
  KoWriteValue(stream, m_length);
  KoWriteValue(stream, m_start);
}

template <class T>
void KoFunctionRampLinear<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoExtrema<T>::Serialize(stream);
  m_line.Serialize(stream);
  KoReadValue(stream, m_length);
  KoReadValue(stream, m_start);
}

template class KoFunctionRampLinear<float>;
template class KoFunctionRampLinear<double>;
