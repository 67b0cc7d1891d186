// Tests and repairs of rotation matrices, and conversions to and from X-Y-Z angles.
//
// Matrices follow KbMatrix4R.h: row vectors times M, translation in row 3.
// "Row i" below is the 3-vector of the first three elements of row i; the
// 3x3 block is rows 0 to 2, columns 0 to 2.
//
// Normalising a row divides it by its length, except that a row whose squared
// length is at most 1.17549435e-38 (the smallest normal float) becomes zero:
// such a squared length has lost its precision to underflow, so the row's
// direction cannot be trusted.
//
// None of these functions allocates or throws.
#pragma once

#include "base/KbMatrix4R.h"
#include "base/KbVector.h"
#include "math/KoMathExport.h"

namespace KbOrthogonalMatrices {

// The 3x3 block test used below: |det| within 3.5762787e-7 (3 * 2^-23) of 1,
// and block * block^T within 1.0728836e-6 (9 * 2^-23) of the identity on
// every element (absolute). Both limits are inclusive.

// True for a pure rotation or reflection: elements 3, 7, 11, 12, 13, 14 are
// exactly 0, element 15 exactly 1, and the block passes the test.
KOMATH_API bool IsOrthogonalTransform3D(const KbMatrix4Rf& m);

// True for an orthogonal block with any translation: elements 3, 7, 11 are
// exactly 0, element 15 exactly 1 (0.999999 fails), and the block passes.
KOMATH_API bool IsRigidTransform(const KbMatrix4Rf& m);

// IsOrthogonalTransform3D and a non-zero block determinant. The sign is not
// examined: a reflection such as diag(1, 1, -1, 1) is accepted.
KOMATH_API bool IsRotation(const KbMatrix4Rf& m);

// Gram-Schmidt on rows 0, 1, 2 in that order (the modified form: row 2 is
// reduced against row 0 before its dot product with row 1): row 0 keeps its
// direction, row 1 is fitted to row 0, row 2 to both. The fourth column
// becomes (0, 0, 0, 1) and row 3 becomes (0, 0, 0, 1), dropping the
// translation. A row that vanishes (or depends on earlier rows) becomes zero.
KOMATH_API void GramSchmidtOrthonormalization(KbMatrix4Rf& m);

// The same with `row` as the leading row, which keeps its direction: rows 0
// and `row` are swapped (all four elements), orthonormalised and swapped back.
// `row` must be 0, 1 or 2 (it is not checked; 3 swaps the translation in).
KOMATH_API void GramSchmidtOrthonormalization(KbMatrix4Rf& m, unsigned int row);

// A more forceful variant for badly drifted matrices: row 0 is normalised
// twice, row 1 is projected and normalised twice, and row 2 is rebuilt as
// row 0 x row 1, negated if that points away from the old row 2 (so a
// reflection stays a reflection). Row 3 becomes (0, 0, 0, 1).
KOMATH_API void GramSchmidtOrthonormalizationAggressive(KbMatrix4Rf& m);

// Replaces the block with the rotation nearest to it (its polar factor for a
// block of positive determinant), found in double precision by the method of
// Mueller, Bender, Chentanis and Macklin, "A Robust Method to Extract the
// Rotational Part of Deformations" (MIG 2016): start from the quaternion of
// the block (trace method), then at most `iterations` corrections. Row 3
// becomes (0, 0, 0, 1). With 0 iterations the result is the rotation of the
// starting quaternion, which is the exact answer only for a pure rotation.
KOMATH_API void IterativeOrthonormalization(KbMatrix4Rf& m, unsigned int iterations);

// The rotation Rx(a) * Ry(b) that turns v onto the +z axis: v * M is
// (0, 0, |v|) up to rounding. Not re-orthonormalised. v = 0 gives the identity.
KOMATH_API KbMatrix4Rf MakeXYRotation(const KbVector3f& v);

// Rx(angles.x) * Ry(angles.y) * Rz(angles.z) in float (radians), then
// GramSchmidtOrthonormalization. In the row-vector convention
//   Rx(a) rows: (1, 0, 0), (0, cos a, sin a), (0, -sin a, cos a)
//   Ry(b) rows: (cos b, 0, -sin b), (0, 1, 0), (sin b, 0, cos b)
//   Rz(c) rows: (cos c, sin c, 0), (-sin c, cos c, 0), (0, 0, 1)
// so a point is turned about x first, then y, then z.
KOMATH_API KbMatrix4Rf MakeXYZRotation(const KbVector3f& angles);

// The angles (x, y, z) with MakeXYZRotation(angles) == m, for a rotation m:
// y in [-pi/2, pi/2], x and z in [-pi, pi]. Near y = +-pi/2 (cos y < ~0.1)
// only x - z (y > 0) or x + z (y < 0) is determined, and it is read from
// rows 1 and 2, which are better conditioned there than row 0: the angle of
// smaller magnitude is kept and the larger one is re-derived from it (an
// angle that is zero stays zero), then wrapped once into [-pi, pi].
KOMATH_API KbVector3f GetAnglesXYZ(const KbMatrix4Rf& m);

}  // namespace KbOrthogonalMatrices
