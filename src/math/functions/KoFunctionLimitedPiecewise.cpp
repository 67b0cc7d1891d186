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

// Each piece is a function object of its own: the loop saves the dispatch
// into this one only.
template <class In, class Out>
void KoFunctionLimitedPiecewise<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  for (std::size_t i = 0; i < x.size(); ++i) y[i] = KoFunctionLimitedPiecewise::operator()(x[i]);
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionLimitedPiecewise<In, Out>::Clone() const {
  return std::make_unique<KoFunctionLimitedPiecewise>(*this);
}

template class KoFunctionLimitedPiecewise<float, float>;
template class KoFunctionLimitedPiecewise<double, double>;
