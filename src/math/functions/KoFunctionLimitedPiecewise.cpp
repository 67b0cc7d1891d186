#include "math/functions/KoFunctionLimitedPiecewise.h"

#include <algorithm>
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

// The first piece that holds x, or the piece count when x is outside the
// domain or in a gap.
template <class In, class Out>
unsigned int KoFunctionLimitedPiecewise<In, Out>::pieceOf(In x) const {
  const unsigned int count = m_pieces.GetSize();
  if (this->IsOutside(x)) return count;
  for (unsigned int p = 0; p < count; ++p) {
    if (x >= m_pieces[p].from && m_pieces[p].to > x) return p;
  }
  return count;
}

template <class In, class Out>
Out KoFunctionLimitedPiecewise<In, Out>::operator()(In x) const {
  const unsigned int p = pieceOf(x);
  return p == m_pieces.GetSize() ? this->GetInvalidY() : (*m_pieces[p].function)(x);
}

// Consecutive arguments that the same piece answers go to it as one batch:
// sorted arguments, such as a curve sampled along x, cost a few piece
// batches; scattered ones about a call per argument, as operator() does. A
// run is classified before it is evaluated, so y may be x itself.
template <class In, class Out>
void KoFunctionLimitedPiecewise<In, Out>::Evaluate(std::span<const In> x, std::span<Out> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const unsigned int none = m_pieces.GetSize();
  std::size_t first = 0;
  while (first < x.size()) {
    const unsigned int p = pieceOf(x[first]);
    std::size_t last = first + 1;
    while (last < x.size() && pieceOf(x[last]) == p) ++last;
    const std::size_t count = last - first;
    if (p == none) {
      std::fill_n(y.data() + first, count, this->GetInvalidY());
    } else {
      m_pieces[p].function->Evaluate(x.subspan(first, count), y.subspan(first, count));
    }
    first = last;
  }
}

template <class In, class Out>
std::unique_ptr<KoFunctionLimited<In, Out>> KoFunctionLimitedPiecewise<In, Out>::Clone() const {
  return std::make_unique<KoFunctionLimitedPiecewise>(*this);
}

template class KoFunctionLimitedPiecewise<float, float>;
template class KoFunctionLimitedPiecewise<double, double>;
