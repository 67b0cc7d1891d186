// KoFunctionRampCircular<T>: a ramp from `low` to `high` whose rise is a
// straight line with circularly rounded corners.
//
// Below start the value is low, beyond start + length it is high; in
// between (both ends included) the curve answers at x itself. The rise
// leaves (start, low) horizontally along an arc, continues on the common
// tangent of the two corner circles and reaches (start + length, high)
// horizontally along a second arc. The corner radii are
//   r1 = startRoundness·m/4,  r2 = endRoundness·m/4,
// with m the smaller of length and |high − low|: 0 gives a sharp corner, a
// negative or non-finite roundness counts as 1 (the default), and when
// r1 + r2 would exceed 0.9·m both are scaled down by one factor to fill
// exactly 0.9·m. A radius whose square would overflow T is capped at
// √(largest T)/2, and one whose square would not be a normal number gives a
// sharp corner. The curve is continuous to rounding and monotone between the
// two levels.
//
// The straight piece is a line x·gradient + intercept evaluated at x itself,
// so its rounding grows with |x|·|gradient|: with start far larger than
// length, or a gradient below the normal range, the values near the line
// are only as good as that product.
//
// The curve is a KoFunctionLimitedPiecewise on [0, start + length]; its
// domain begins at 0, not at start, so with a negative start the arguments
// in [start, 0) fall outside it and give its invalid value 0. With
// low = high the rise is one constant piece; with length ≤ 0 there is none.
// Construction never produces NaN as long as start + length and
// high − low are finite.
//
// Not registered, not serializable; copies build their own curve.
#pragma once

#include <memory>

#include "math/functions/IFunction.h"
#include "math/functions/KoFunctionLimitedPiecewise.h"

template <class T>
class KOMATH_API KoFunctionRampCircular : public IFunction<T, T> {
 public:
  // From 0 to 1 over [0, 1], both corners rounded with a quarter of m.
  KoFunctionRampCircular();
  KoFunctionRampCircular(T low, T high, T length, T start, T startRoundness, T endRoundness);
  // Copies rebuild the curve with pieces of their own; a move copies as
  // well, so no ramp is ever left without its curve.
  KoFunctionRampCircular(const KoFunctionRampCircular& other);
  KoFunctionRampCircular& operator=(const KoFunctionRampCircular& other);
  ~KoFunctionRampCircular() override;

  T operator()(T x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const T> x, std::span<T> y) const override;

  // The rise; its pieces point to functions this ramp owns.
  const KoFunctionLimitedPiecewise<T, T>& GetCurve() const;

 private:
  struct SParameters;
  std::unique_ptr<SParameters> m_parameters;
};

extern template class KoFunctionRampCircular<float>;
extern template class KoFunctionRampCircular<double>;
