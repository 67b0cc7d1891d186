// The formulas of the analytic function objects, for the library's own
// translation units: a class's operator(), its batch loop and the ramps
// assembled from such pieces evaluate through these, so that every caller
// computes the same bits. (Inline here, the arithmetic is compiled with the
// library's flags; in a public header it would follow the host's.)
#pragma once

#include <cmath>

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

}  // namespace ko_formula
