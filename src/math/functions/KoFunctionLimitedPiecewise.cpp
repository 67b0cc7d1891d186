#include "math/functions/KoFunctionLimitedPiecewise.h"

#include <utility>

template <class In, class Out>
KoFunctionLimitedPiecewise<In, Out>::KoFunctionLimitedPiecewise()
    : KoFunctionLimited<In, Out>(0, 0, 0) {}

template <class In, class Out>
KoFunctionLimitedPiecewise<In, Out>::KoFunctionLimitedPiecewise(T minX, T maxX,
                                                                KbArray<SDomain> pieces)
    : KoFunctionLimited<In, Out>(minX, maxX, 0), m_pieces(std::move(pieces)) {}

template <class In, class Out>
KoFunctionLimitedPiecewise<In, Out>::~KoFunctionLimitedPiecewise() = default;

template <class In, class Out>
Out KoFunctionLimitedPiecewise<In, Out>::operator()(In x) const {
  if (this->IsOutside(x)) return this->GetInvalidY();
  for (const SDomain& piece : m_pieces) {
    if (x >= piece.from && piece.to > x) return (*piece.function)(x);
  }
  return this->GetInvalidY();
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionLimitedPiecewise<In, Out>::Clone() const {
  return std::make_unique<KoFunctionLimitedPiecewise>(*this);
}

template class KoFunctionLimitedPiecewise<float, float>;
template class KoFunctionLimitedPiecewise<double, double>;
