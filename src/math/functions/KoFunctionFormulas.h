// The formulas of the analytic function objects, for the library's own
// translation units: a class's operator(), its batch loop and the ramps
// assembled from such pieces evaluate through these, so that every caller
// computes the same bits. (Inline here, the arithmetic is compiled with the
// library's flags; in a public header it would follow the host's.)
#pragma once

#include <cmath>
#include <utility>

namespace ko_formula {

// x·gradient + intercept.
template <class T>
inline T Line(T x, T gradient, T intercept) {
  return x * gradient + intercept;
}

// r² − (x − cx)²: negative where x is outside the circle.
template <class T>
inline T SquaredHalfChord(T x, T cx, T radius) {
  const T d = x - cx;
  return radius * radius - d * d;
}

// The half circle's height at a squared half chord q ≥ 0: cy ± √q, sign ±1.
template <class T>
inline T Arc(T q, T sign, T cy) {
  return std::sqrt(q) * sign + cy;
}

// The Hermite sums: the terms are added to 0 in the order P0, P1, M0, M1,
// each only where `used(term)` says so. c holds P0, M0, P1, M1 (the
// polynomial's member order), then the overscale S where one is used.
// Per-element calls pass the object's flags; batch loops pass a mask fixed
// at compile time (WithFixedHermiteTerms), so that the skipped terms vanish
// from the loop.
template <class T, class Used>
inline T HermiteValueTerms(T t, const T* c, Used used) {
  T result = 0;
  // 2t³ − 3t² + 1 and 3t² − 2t³, each factored as written.
  if (used(0)) result = result + ((t + t - 3) * (t * t) + 1) * c[0];
  if (used(2)) result = result + (t * t) * c[2] * (3 - (t + t));
  return result;
}

template <class T, class Used>
inline T HermiteTerms(T t, const T* c, Used used) {
  T result = HermiteValueTerms(t, c, used);
  // t³ − 2t² + t and t³ − t².
  if (used(1)) result = result + ((t - 2) * t + 1) * (t * c[1]);
  if (used(3)) result = result + (t * t) * c[3] * (t - 1);
  return result;
}

// The tangent terms weighted by g(t) = S − (S − 1)·4·(t − ½)², S = c[4].
template <class T, class Used>
inline T HermiteOverscaleTerms(T t, const T* c, Used used) {
  const T S = c[4];
  const T half = T(0.5);
  const T g = S - (S - 1) * 4 * (t - half) * (t - half);
  T result = HermiteValueTerms(t, c, used);
  if (used(1)) result = result + g * c[1] * t * ((t - 2) * t + 1);
  if (used(3)) result = result + g * c[3] * (t * t) * (t - 1);
  return result;
}

// The term flags as a compile-time mask (bit k for coefficient k).
template <unsigned kMask>
struct FixedHermiteTerms {
  constexpr bool operator()(unsigned term) const { return (kMask >> term & 1u) != 0; }
};

// Calls loop(FixedHermiteTerms<mask>{}) for a run-time mask below 16: one
// instantiation of the loop per set of flags.
template <class Loop>
inline void WithFixedHermiteTerms(unsigned mask, Loop&& loop) {
  [&]<unsigned... kMasks>(std::integer_sequence<unsigned, kMasks...>) {
    ((mask == kMasks ? loop(FixedHermiteTerms<kMasks>{}) : void()), ...);
  }
  (std::make_integer_sequence<unsigned, 16>{});
}

}  // namespace ko_formula
