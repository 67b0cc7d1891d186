#include "math/functions/KoFunctionLimitedHemisphere.h"

#include "KoFunctionFormulas.h"
#include "base/KoStreamValue.h"

template <class In, class Out>
KoFunctionLimitedHemisphere<In, Out>::KoFunctionLimitedHemisphere()
    : KoFunctionLimited<In, Out>(-1, 1, 0) {}

template <class In, class Out>
KoFunctionLimitedHemisphere<In, Out>::KoFunctionLimitedHemisphere(std::pair<T, T> centre, T radius,
                                                                  T minX, T maxX, bool upper)
    : KoFunctionLimited<In, Out>(minX, maxX, 0),
      m_centre(centre),
      m_radius(radius),
      m_upper(upper) {}

template <class In, class Out>
KoFunctionLimitedHemisphere<In, Out>::~KoFunctionLimitedHemisphere() = default;

template <class In, class Out>
In KoFunctionLimitedHemisphere<In, Out>::squaredHalfChord(In x) const {
  return ko_formula::SquaredHalfChord(x, m_centre.first, m_radius);
}

template <class In, class Out>
bool KoFunctionLimitedHemisphere<In, Out>::IsInsideCircle(In x) const {
  return !(0 > squaredHalfChord(x));
}

template <class In, class Out>
Out KoFunctionLimitedHemisphere<In, Out>::operator()(In x) const {
  const T q = squaredHalfChord(x);
  if (0 > q) return this->GetInvalidY();
  const T sign = m_upper ? T(1) : T(-1);
  return ko_formula::Arc(q, sign, m_centre.second);
}

// The root is taken for every element and thrown away where q < 0: a select
// instead of a branch, so the loop vectorises, and the selected values are
// those of operator().
template <class In, class Out>
void KoFunctionLimitedHemisphere<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const T cx = m_centre.first, cy = m_centre.second, radius = m_radius,
          invalid = this->GetInvalidY();
  const T sign = m_upper ? T(1) : T(-1);
  for (std::size_t i = 0; i < x.size(); ++i) {
    const T q = ko_formula::SquaredHalfChord(x[i], cx, radius);
    const T value = ko_formula::Arc(q, sign, cy);
    y[i] = 0 > q ? invalid : value;
  }
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionLimitedHemisphere<In, Out>::Clone() const {
  return std::make_unique<KoFunctionLimitedHemisphere>(*this);
}

template <class In, class Out>
void KoFunctionLimitedHemisphere<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoFunctionLimited<In, Out>::Serialize(stream);
  KoWriteValue(stream, m_centre.first);
  KoWriteValue(stream, m_centre.second);
  KoWriteValue(stream, m_radius);
  stream.WriteBool(m_upper);
}

template <class In, class Out>
void KoFunctionLimitedHemisphere<In, Out>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoFunctionLimited<In, Out>::Serialize(stream);
  KoReadValue(stream, m_centre.first);
  KoReadValue(stream, m_centre.second);
  KoReadValue(stream, m_radius);
  m_upper = stream.ReadBool();
}

template class KoFunctionLimitedHemisphere<float, float>;
template class KoFunctionLimitedHemisphere<double, double>;
