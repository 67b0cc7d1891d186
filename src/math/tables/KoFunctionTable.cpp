#include "math/tables/KoFunctionTable.h"

namespace {

// The one place where the scalar and the vector tables differ: scalars are
// divided by the step, vectors multiplied by its reciprocal, formed once.
// The two round differently, so neither form may be swapped for the other.
template <class T>
T ScaleByStep(T difference, T step) {
  return difference / step;
}
KbVector3f ScaleByStep(const KbVector3f& difference, float step) {
  const float reciprocal = 1.0f / step;
  return difference * reciprocal;
}

// f(outer1) − 2·f(mid) + f(outer2), summed as outer1 + ((outer2 − mid) − mid).
template <class Out>
Out SecondDifference(const Out& outer1, const Out& mid, const Out& outer2) {
  return outer1 + ((outer2 - mid) - mid);
}

}  // namespace

template <class In, class Out>
KoFunctionTable<In, Out>::KoFunctionTable()
    : KoFunctionLimited<In, Out>(In(0), In(1), Out{}), m_interpolationType(eLinear) {}

template <class In, class Out>
KoFunctionTable<In, Out>::KoFunctionTable(const KoFunctionTable& other)
    : KoFunctionLimited<In, Out>(other),
      KbIDumpable<1>(other),
      ISerializable(other),
      m_interpolationType(other.m_interpolationType) {}

template <class In, class Out>
KoFunctionTable<In, Out>::KoFunctionTable(KoFunctionTable&& other) noexcept
    : KoFunctionTable(static_cast<const KoFunctionTable&>(other)) {}

template <class In, class Out>
KoFunctionTable<In, Out>& KoFunctionTable<In, Out>::operator=(const KoFunctionTable& other) {
  KoFunctionLimited<In, Out>::operator=(other);
  m_interpolationType = other.m_interpolationType;
  return *this;
}

template <class In, class Out>
KoFunctionTable<In, Out>& KoFunctionTable<In, Out>::operator=(KoFunctionTable&& other) noexcept {
  return *this = static_cast<const KoFunctionTable&>(other);
}

template <class In, class Out>
KoFunctionTable<In, Out>::~KoFunctionTable() = default;

template <class In, class Out>
void KoFunctionTable<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoFunctionLimited<In, Out>::Serialize(stream);
  stream.WriteUInt32(m_interpolationType);
}

template <class In, class Out>
void KoFunctionTable<In, Out>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoFunctionLimited<In, Out>::Serialize(stream);
  m_interpolationType = static_cast<EInterpolationType>(stream.ReadUInt32());
}

// The evaluations are sequenced through locals: the order in which the
// table is sampled is fixed, right point first.
template <class In, class Out>
Out KoFunctionTable<In, Out>::getDerivative(In x, In h) const {
  const KoFunctionTable& f = *this;
  if (this->GetMinX() > x - h) {
    const Out right = f(x + h);
    const Out here = f(x);
    return ScaleByStep(right - here, h);
  }
  if (x + h > this->GetMaxX()) {
    const Out here = f(x);
    const Out left = f(x - h);
    return ScaleByStep(here - left, h);
  }
  const Out right = f(x + h);
  const Out left = f(x - h);
  return ScaleByStep(right - left, h + h);
}

// Near an edge the stencil is anchored at the edge itself, so there the
// result does not depend on x at all.
template <class In, class Out>
Out KoFunctionTable<In, Out>::getSecondDerivative(In x, In h) const {
  const KoFunctionTable& f = *this;
  const In minX = this->GetMinX();
  const In maxX = this->GetMaxX();
  if (minX > x - h) {
    const Out mid = f(minX + h);
    const Out far = f((minX + h) + h);
    const Out edge = f(minX);
    return ScaleByStep(SecondDifference(edge, mid, far), h);
  }
  if (x + h > maxX) {
    const Out mid = f(maxX - h);
    const Out far = f((maxX - h) - h);
    const Out edge = f(maxX);
    return ScaleByStep(SecondDifference(edge, mid, far), h);
  }
  const Out mid = f(x);
  const Out right = f(x + h);
  const Out left = f(x - h);
  return ScaleByStep(SecondDifference(left, mid, right), h);
}

template class KoFunctionTable<float, float>;
template class KoFunctionTable<double, double>;
template class KoFunctionTable<float, KbVector3f>;
