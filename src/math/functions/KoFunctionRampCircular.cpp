#include "math/functions/KoFunctionRampCircular.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "KoFunctionFormulas.h"
#include "math/functions/KoFunctionConstant.h"
#include "math/functions/KoFunctionLimitedHemisphere.h"
#include "math/functions/KoFunctionLinear.h"

namespace {

// A half circle as its hemisphere holds it: centre, radius and the sign of
// the root (+1 for the upper half).
template <class T>
struct SArc {
  T cx, cy, radius, sign;
};

// The rise of a ramp, as its pieces hold it: the first arc on [x0, p1), the
// line on [p1, p2), the second arc on [p2, x1); an empty range is no piece.
template <class T>
struct SRise {
  T x0, p1, p2, x1;
  SArc<T> arc1, arc2;
  T gradient, intercept;
};

}  // namespace

template <class T>
struct KoFunctionRampCircular<T>::SParameters {
  T low;
  T high;
  T length;
  T start;
  T startRoundness;
  T endRoundness;
  std::unique_ptr<KoFunctionLimitedPiecewise<T, T>> curve;
  // The functions the curve's pieces point to.
  std::vector<std::unique_ptr<IFunction<T, T>>> pieceFunctions;
  // The rise once more, for the batch, when it has one: a finite end and the
  // pieces in increasing order (x0 ≤ p1 ≤ p2 ≤ x1).
  std::optional<SRise<T>> rise;
};

namespace {

// Collects the pieces of a curve and keeps their functions alive.
template <class T>
class PieceList {
 public:
  using SDomain = typename KoFunctionLimitedPiecewise<T, T>::SDomain;

  // Leaves out empty pieces (from ≥ to); a NaN bound leaves the piece out too.
  void Add(std::unique_ptr<IFunction<T, T>> function, T from, T to) {
    if (!(from < to)) return;
    m_domains.PushBack(SDomain{function.get(), from, to});
    m_functions.push_back(std::move(function));
  }

  KbArray<SDomain> m_domains;
  std::vector<std::unique_ptr<IFunction<T, T>>> m_functions;
};

// A negative or non-finite roundness counts as the default 1.
template <class T>
T SanitizedRoundness(T roundness) {
  return (roundness >= 0 && std::isfinite(roundness)) ? roundness : T(1);
}

// A hemisphere evaluates r² − (x − cx)² in T. A radius whose square
// overflows would make the arc infinite; one whose square is subnormal or
// zero loses the arc's shape (at worst a flat arc that starts with a jump of
// r). The first is capped where its square is safely finite, the second
// becomes a sharp corner: the curve stays continuous and monotone.
template <class T>
T UsableRadius(T r) {
  static const T largest = std::sqrt(std::numeric_limits<T>::max()) / 2;
  static const T smallest = std::sqrt(std::numeric_limits<T>::min());
  if (r > largest) return largest;
  return r < smallest ? T(0) : r;
}

// r1 = w1·m/4 and r2 = w2·m/4, scaled down together to r1 + r2 = 0.9·m when
// they would exceed it. The scaling works on the roundness ratio, never on
// w·m itself, so huge roundness values cannot overflow into inf·0 = NaN.
template <class T>
std::pair<T, T> CornerRadii(T w1, T w2, T m) {
  w1 = SanitizedRoundness(w1);
  w2 = SanitizedRoundness(w2);
  const T quarter = m / 4;
  const T limit = T(0.9) * m;
  T r1 = w1 * quarter;
  T r2 = w2 * quarter;
  if (r1 + r2 > limit) {
    const T wMax = std::max(w1, w2);
    const T u1 = w1 / wMax;
    const T u2 = w2 / wMax;
    const T total = u1 + u2;
    r1 = limit * (u1 / total);
    r2 = limit * (u2 / total);
  }
  return {UsableRadius(r1), UsableRadius(r2)};
}

// The rise from (x0, y0) to (x1, y1), y0 ≠ y1 and x0 < x1, as up to three
// pieces: first arc, tangent line, second arc.
//
// Geometry in the frame where the rise goes up (v = σ·(y − y0)): the first
// circle is centred (0, r1), the second (a, h − r2) with a = x1 − x0 and
// h = |y1 − y0|. Their inner common tangent has the angle θ with
// a·sin θ − b·cos θ = s, where b = h − r1 − r2 and s = r1 + r2, hence
// θ = atan2(b, a) + asin(s / hypot(a, b)); since s ≤ 0.9·min(a, h) the
// argument of asin stays below 1 and θ below π/2. The tangent touches the
// circles at u = r1·sin θ and u = a − r2·sin θ.
template <class T>
SRise<T> AddRise(PieceList<T>& pieces, T x0, T y0, T x1, T y1, T startRoundness, T endRoundness) {
  using Hemisphere = KoFunctionLimitedHemisphere<T, T>;
  const T a = x1 - x0;
  const T dy = y1 - y0;
  const T sigma = dy > 0 ? T(1) : T(-1);
  const T h = std::abs(dy);
  const auto [r1, r2] = CornerRadii(startRoundness, endRoundness, std::min(a, h));
  const T s = r1 + r2;
  const T b = h - r1 - r2;
  const T theta = std::atan2(b, a) + std::asin(s / std::hypot(a, b));
  const T sinTheta = std::sin(theta);
  const T cosTheta = std::cos(theta);

  // The first arc is the lower half circle for a rise, the upper for a fall;
  // the second the other way round.
  auto arc1 = std::make_unique<Hemisphere>(std::pair<T, T>(x0, y0 + sigma * r1), r1, x0 - r1,
                                           x0 + r1, sigma < 0);
  auto arc2 = std::make_unique<Hemisphere>(std::pair<T, T>(x1, y1 - sigma * r2), r2, x1 - r2,
                                           x1 + r2, sigma > 0);

  // The tangent line through the first tangent point. Its slope comes from
  // the differences in the local frame, where a − s·sin θ ≥ 0.1·a keeps the
  // division away from zero; only an overflowing slope is clamped.
  const T xT1 = x0 + r1 * sinTheta;
  const T yT1 = y0 + sigma * (r1 - r1 * cosTheta);
  const T xT2 = x1 - r2 * sinTheta;
  const T localSlope =
      std::min((b + s * cosTheta) / (a - s * sinTheta), std::numeric_limits<T>::max());
  const T gradient = sigma * localSlope;
  auto line = std::make_unique<KoFunctionLinear<T>>(gradient, yT1 - gradient * xT1);

  // The piece boundaries. Rounded naively, the last argument before P1 or
  // the first from P2 on can land just outside its arc's circle, where the
  // hemisphere answers its invalid value 0. Step each boundary, an ulp at a
  // time, until every argument of an arc's piece is inside its circle in
  // T's own arithmetic. Moving P1 down or P2 up hands those few arguments
  // to the line, which is defined everywhere; P2 never precedes P1.
  T p1 = xT1;
  while (p1 > x0 && !arc1->IsInsideCircle(std::nextafter(p1, x0))) p1 = std::nextafter(p1, x0);
  T p2 = std::max(xT2, p1);
  while (p2 < x1 && !arc2->IsInsideCircle(p2)) p2 = std::nextafter(p2, x1);

  const auto arcOf = [](const Hemisphere& arc, bool upper) {
    return SArc<T>{arc.GetCentre().first, arc.GetCentre().second, arc.GetRadius(),
                   upper ? T(1) : T(-1)};
  };
  const SRise<T> rise{x0,
                      p1,
                      p2,
                      x1,
                      arcOf(*arc1, sigma < 0),
                      arcOf(*arc2, sigma > 0),
                      line->GetGradient(),
                      line->GetYIntercept()};
  pieces.Add(std::move(arc1), x0, p1);
  pieces.Add(std::move(line), p1, p2);
  pieces.Add(std::move(arc2), p2, x1);
  return rise;
}

}  // namespace

template <class T>
KoFunctionRampCircular<T>::KoFunctionRampCircular() : KoFunctionRampCircular(0, 1, 1, 0, 1, 1) {}

template <class T>
KoFunctionRampCircular<T>::KoFunctionRampCircular(T low, T high, T length, T start,
                                                  T startRoundness, T endRoundness)
    : m_parameters(
          new SParameters{low, high, length, start, startRoundness, endRoundness, {}, {}, {}}) {
  SParameters& p = *m_parameters;
  const T x1 = p.start + p.length;
  PieceList<T> pieces;
  if (p.length > 0) {
    if (p.high == p.low) {
      pieces.Add(std::make_unique<KoFunctionConstant<T, T>>(p.low), p.start, x1);
    } else {
      const SRise<T> rise =
          AddRise(pieces, p.start, p.low, x1, p.high, p.startRoundness, p.endRoundness);
      if (std::isfinite(x1) && rise.x0 <= rise.p1 && rise.p1 <= rise.p2 && rise.p2 <= rise.x1) {
        p.rise = rise;
      }
    }
  }
  // From x1 on the high level answers, so x = start + length gives exactly high.
  pieces.Add(std::make_unique<KoFunctionConstant<T, T>>(p.high), x1,
             std::numeric_limits<T>::infinity());
  p.curve =
      std::make_unique<KoFunctionLimitedPiecewise<T, T>>(T(0), x1, std::move(pieces.m_domains));
  p.pieceFunctions = std::move(pieces.m_functions);
}

template <class T>
KoFunctionRampCircular<T>::KoFunctionRampCircular(const KoFunctionRampCircular& other)
    : KoFunctionRampCircular(other.m_parameters->low, other.m_parameters->high,
                             other.m_parameters->length, other.m_parameters->start,
                             other.m_parameters->startRoundness, other.m_parameters->endRoundness) {
}

template <class T>
KoFunctionRampCircular<T>& KoFunctionRampCircular<T>::operator=(
    const KoFunctionRampCircular& other) {
  if (this != &other) {
    KoFunctionRampCircular copy(other);
    std::swap(m_parameters, copy.m_parameters);
  }
  return *this;
}

template <class T>
KoFunctionRampCircular<T>::~KoFunctionRampCircular() = default;

template <class T>
T KoFunctionRampCircular<T>::operator()(T x) const {
  const SParameters& p = *m_parameters;
  if (x > p.start + p.length) return p.high;
  if (p.start > x) return p.low;
  return (*p.curve)(x);
}

// One pass over the rise's formulas, in operator()'s order: the levels
// outside the rise, the curve's invalid value outside its domain or where
// no piece holds x (NaN), else the piece that holds x. The pieces lie in
// increasing order, so that is the last one starting at or before x; the
// arcs' parameters are chosen before their one square root. Every value is
// computed and selected, which vectorises; the values are those of the
// pieces' own formulas. A ramp without a rise, or with a non-finite end,
// evaluates element by element.
template <class T>
void KoFunctionRampCircular<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  const SParameters& p = *m_parameters;
  if (!p.rise) {
    for (std::size_t i = 0; i < x.size(); ++i) y[i] = KoFunctionRampCircular::operator()(x[i]);
    return;
  }
  // Every field in a local of its own: the results cannot alias them, and
  // the selects below stay selects of registers.
  const SRise<T> r = *p.rise;
  const T x0 = r.x0, p1 = r.p1, p2 = r.p2, x1 = r.x1, gradient = r.gradient,
          intercept = r.intercept;
  const SArc<T> arc1 = r.arc1, arc2 = r.arc2;
  const T start = p.start, end = p.start + p.length, low = p.low, high = p.high;
  const KoFunctionLimitedPiecewise<T, T>& curve = *p.curve;
  const T curveMin = curve.GetMinX(), curveMax = curve.GetMaxX(), invalid = curve.GetInvalidY();
  for (std::size_t i = 0; i < x.size(); ++i) {
    const T a = x[i];
    const bool second = a >= p2;
    const T cx = second ? arc2.cx : arc1.cx, cy = second ? arc2.cy : arc1.cy;
    const T radius = second ? arc2.radius : arc1.radius, sign = second ? arc2.sign : arc1.sign;
    const T q = ko_formula::SquaredHalfChord(a, cx, radius);
    // Outside its circle a hemisphere answers its invalid value, 0.
    const T arcValue = 0 > q ? T(0) : ko_formula::Arc(q, sign, cy);
    T value = a >= x0 ? arcValue : invalid;
    const bool onLine = (a >= p1) & !second;
    value = onLine ? ko_formula::Line(a, gradient, intercept) : value;
    value = a >= x1 ? high : value;  // the high level's piece [x1, inf)
    const bool outside = (curveMin > a) | (a > curveMax);
    value = outside ? invalid : value;
    y[i] = a > end ? high : (start > a ? low : value);
  }
}

template <class T>
const KoFunctionLimitedPiecewise<T, T>& KoFunctionRampCircular<T>::GetCurve() const {
  return *m_parameters->curve;
}

template class KoFunctionRampCircular<float>;
template class KoFunctionRampCircular<double>;
