// The exact sign of a determinant by modular arithmetic (internal).
//
// Each row of the matrix is scaled by a power of two that makes its entries
// integers (a positive factor, so the sign is unchanged), the determinant of
// the integer matrix is computed modulo enough 62-bit primes that their
// product M exceeds twice Hadamard's bound, and the residues are combined
// in mixed radix by Garner's algorithm. The sign follows from comparing the
// mixed-radix digits with those of (M - 1) / 2, which are (p_i - 1) / 2, so
// the integer itself is never built.
//
// Orders up to six whose scaled entries fit 64 bits take a cheaper route:
// the Laplace expansion in W-limb integers that wrap modulo 2^(64 W), with
// 2^(64 W) above twice the bound, read off as a two's-complement sign.
// Order 3 with every row spread over at most nine binary orders is cheaper
// still: the same expansion in 128-bit integers, with no bound needed.
//
// Entries are read as the exact numbers read them: a subnormal double d
// with fraction f counts as (2^52 + f) * 2^-1075, the value KoFloatExact
// gives it, so this path agrees with the exact elimination on every input.
#pragma once

#include <cstdint>

#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"

// True with the exact sign in `sign`, the route taken in `trace.stage` (the
// zero-row, order-three, power-of-two or prime stage) and the limbs or
// primes used in `trace.width`; false, leaving all three untouched, for a
// matrix whose bound needs more than 448 primes (never up to order 12;
// beyond it, rows spanning thousands of binary orders of magnitude, or very
// large orders).
//
// `trace.magnitudeBits`, when known (from the floating-point filters), says
// that |det| < 2^magnitudeBits for the entries read as above; the primes
// then only need to exceed twice that bound in the scaled integers, when it
// is below Hadamard's. The order must be at least 1 (the filter decides the
// empty matrix) and every entry finite.
bool KoModularDeterminantSign(const double* values, unsigned int order, std::int32_t& sign,
                              KoMpMatrixToDeterminantExactSign::STrace& trace);
