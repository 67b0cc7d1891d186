#include "math/functions/KoFunctionCubic.h"

#include <limits>

template <class In, class Out>
KoFunctionCubic<In, Out>::KoFunctionCubic(T a, T y0, T b, T y1, T s0, T s1)
    : KoFunctionLimited<In, Out>(a, b, std::numeric_limits<T>::max()),
      m_x0Squared(a * a),
      m_x0Cubed(m_x0Squared * a),
      m_x1Squared(b * b),
      m_x1Cubed(m_x1Squared * b) {
  // The stored powers are the ones the coefficients are formed from.
  const T A2 = m_x0Squared;
  const T A3 = m_x0Cubed;
  const T B2 = m_x1Squared;
  const T B3 = m_x1Cubed;

  // The closed-form solution of p(a) = y0, p(b) = y1, p'(a) = s0,
  // p'(b) = s1. Each numerator is summed strictly left to right as written;
  // regrouping changes the rounding. D equals (a − b)³.
  const T D = A3 - (3 * b) * A2 - B3 + (3 * a) * B2;
  m_coefficients[0] = (3 * y0 * a * B2 - B3 * y0 + B3 * (a * s0) - A2 * s0 * B2 + A3 * y1 -
                       A3 * b * s1 - 3 * A2 * b * y1 + B2 * A2 * s1) /
                      D;
  m_coefficients[1] = -(B3 * s0 - 2 * A2 * b * s0 + B2 * a * s0 - A3 * s1 - A2 * b * s1 -
                        6 * a * b * y1 + 2 * B2 * a * s1 + 6 * a * b * y0) /
                      D;
  m_coefficients[2] = (-A2 * s0 - 2 * A2 * s1 - 3 * a * y1 + a * b * s1 + 3 * a * y0 - a * b * s0 +
                       2 * B2 * s0 - 3 * b * y1 + B2 * s1 + 3 * b * y0) /
                      D;
  m_coefficients[3] = -(2 * y0 - 2 * y1 - a * s0 - a * s1 + b * s0 + b * s1) / D;
}

template <class In, class Out>
KoFunctionCubic<In, Out>::~KoFunctionCubic() = default;

template <class In, class Out>
Out KoFunctionCubic<In, Out>::operator()(In x) const {
  if (this->IsOutside(x)) return this->GetInvalidY();
  const T* c = m_coefficients;
  return ((x * c[3] + c[2]) * x + c[1]) * x + c[0];
}

// Both branches are computed and one is selected, which vectorises; the
// selected value is the one operator() returns.
template <class In, class Out>
void KoFunctionCubic<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T minX = this->GetMinX(), maxX = this->GetMaxX(), invalid = this->GetInvalidY();
  const T c0 = m_coefficients[0], c1 = m_coefficients[1], c2 = m_coefficients[2],
          c3 = m_coefficients[3];
  for (std::size_t i = 0; i < x.size(); ++i) {
    const T v = x[i];
    const T value = ((v * c3 + c2) * v + c1) * v + c0;
    y[i] = (minX > v || v > maxX) ? invalid : value;
  }
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionCubic<In, Out>::Clone() const {
  return std::make_unique<KoFunctionCubic>(*this);
}

template class KoFunctionCubic<float, float>;
template class KoFunctionCubic<double, double>;
