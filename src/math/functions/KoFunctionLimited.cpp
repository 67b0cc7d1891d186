#include "math/functions/KoFunctionLimited.h"

#include <utility>

#include "base/KoStreamValue.h"

template <class In, class Out>
KoFunctionLimited<In, Out>::KoFunctionLimited(In minX, In maxX, Out invalidY)
    : m_minX(minX), m_maxX(maxX), m_invalidY(invalidY) {}

template <class In, class Out>
KoFunctionLimited<In, Out>::KoFunctionLimited(const KoFunctionLimited& other)
    : IFunction<In, Out>(other),
      m_minX(other.m_minX),
      m_maxX(other.m_maxX),
      m_invalidY(other.m_invalidY) {}

template <class In, class Out>
KoFunctionLimited<In, Out>::KoFunctionLimited(KoFunctionLimited&& other) noexcept
    : IFunction<In, Out>(std::move(other)),
      m_minX(other.m_minX),
      m_maxX(other.m_maxX),
      m_invalidY(other.m_invalidY) {}

template <class In, class Out>
KoFunctionLimited<In, Out>& KoFunctionLimited<In, Out>::operator=(const KoFunctionLimited& other) {
  m_minX = other.m_minX;
  m_maxX = other.m_maxX;
  m_invalidY = other.m_invalidY;
  return *this;
}

template <class In, class Out>
KoFunctionLimited<In, Out>& KoFunctionLimited<In, Out>::operator=(
    KoFunctionLimited&& other) noexcept {
  return *this = static_cast<const KoFunctionLimited&>(other);
}

template <class In, class Out>
KoFunctionLimited<In, Out>::~KoFunctionLimited() = default;

template <class In, class Out>
void KoFunctionLimited<In, Out>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoWriteValue(stream, m_minX);
  KoWriteValue(stream, m_maxX);
  KoWriteValue(stream, m_invalidY);
}

template <class In, class Out>
void KoFunctionLimited<In, Out>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoReadValue(stream, m_minX);
  KoReadValue(stream, m_maxX);
  KoReadValue(stream, m_invalidY);
}

template class KoFunctionLimited<float, float>;
template class KoFunctionLimited<double, double>;
template class KoFunctionLimited<float, KbVector3f>;
