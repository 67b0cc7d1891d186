// KoFunctionLimitedPiecewise<T, T>: a function assembled from other
// functions on half-open pieces [from, to).
//
// Evaluation: outside [min x, max x] (NaN is never outside) the value is
// invalid y; otherwise the first piece with from ≤ x < to answers with its
// function at x itself, not at x − from. Pieces may overlap (the earlier
// wins) and leave gaps (invalid y there), so a point inside the domain can
// still be invalid, such as max x when the last piece ends there.
//
// The pieces point to functions the piecewise function does not own: they
// must outlive it and every copy of it, which copies the pointers.
//
// Not registered. Its record is the plain KoFunctionLimited record: the
// pieces are not stored, and reading keeps them.
#pragma once

#include <memory>
#include <type_traits>

#include "base/KbArray.h"
#include "math/functions/KoFunctionLimited.h"

// The second parameter mirrors the first: only <float,float> and
// <double,double> exist.
template <class In, class Out>
class KOMATH_API KoFunctionLimitedPiecewise : public KoFunctionLimited<In, Out> {
  static_assert(std::is_same_v<In, Out>, "instantiated for <float,float> and <double,double>");

 public:
  using T = In;

  struct SDomain {
    const IFunction<In, Out>* function;  // not owned
    T from;                              // inclusive
    T to;                                // exclusive
  };

  // Domain [0, 0], invalid y 0, no pieces.
  KoFunctionLimitedPiecewise();
  // Takes the storage of `pieces` over; invalid y is 0.
  KoFunctionLimitedPiecewise(T minX, T maxX, KbArray<SDomain> pieces);
  KoFunctionLimitedPiecewise(const KoFunctionLimitedPiecewise&) = default;
  // The moves take the pieces over and leave the source without any.
  KoFunctionLimitedPiecewise(KoFunctionLimitedPiecewise&&) noexcept = default;
  KoFunctionLimitedPiecewise& operator=(const KoFunctionLimitedPiecewise&) = default;
  KoFunctionLimitedPiecewise& operator=(KoFunctionLimitedPiecewise&&) noexcept = default;
  ~KoFunctionLimitedPiecewise() override;

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate. Every
  // run of consecutive arguments in one piece is one batch of that piece,
  // which may therefore see y as x's own storage.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;
  std::unique_ptr<KoFunctionLimited<In, Out>> Clone() const override;

  const KbArray<SDomain>& GetPieces() const { return m_pieces; }

 private:
  unsigned int pieceOf(In x) const;

  KbArray<SDomain> m_pieces;
};

extern template class KoFunctionLimitedPiecewise<float, float>;
extern template class KoFunctionLimitedPiecewise<double, double>;
