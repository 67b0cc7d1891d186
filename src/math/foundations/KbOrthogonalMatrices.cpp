#include "math/foundations/KbOrthogonalMatrices.h"

#include <cmath>
#include <utility>

#include "math/foundations/KoMatrixFixed.h"

namespace {

using Vec3d = kb_detail::KbVector3T<double>;

constexpr float kSmallestNormal = 1.17549435e-38f;
constexpr float kDeterminantTolerance = 3.5762787e-7f;  // 3 * 2^-23
constexpr float kIdentityTolerance = 1.0728836e-6f;     // 9 * 2^-23

KbVector3f GetRow(const KbMatrix4Rf& m, unsigned int r) {
  return {m(r, 0), m(r, 1), m(r, 2)};
}

// Writes row r as (v, 0): the fourth column of an orthonormalised row is cleared.
void SetRow(KbMatrix4Rf& m, unsigned int r, const KbVector3f& v) {
  m(r, 0) = v.x;
  m(r, 1) = v.y;
  m(r, 2) = v.z;
  m(r, 3) = 0.0f;
}

void ResetTranslationRow(KbMatrix4Rf& m) {
  m(3, 0) = 0.0f;
  m(3, 1) = 0.0f;
  m(3, 2) = 0.0f;
  m(3, 3) = 1.0f;
}

KbVector3f Normalized(const KbVector3f& v) {
  const float squared = v.SquaredLength();
  if (squared <= kSmallestNormal) return {0.0f, 0.0f, 0.0f};
  const float length = std::sqrt(squared);
  return {v.x / length, v.y / length, v.z / length};
}

// v minus its component along the unit vector u.
KbVector3f Reject(const KbVector3f& v, const KbVector3f& u) {
  return v - u * v.Dot(u);
}

void SwapRows(KbMatrix4Rf& m, unsigned int r0, unsigned int r1) {
  for (unsigned int c = 0; c < 4; ++c) std::swap(m(r0, c), m(r1, c));
}

float BlockDeterminant(const KbMatrix4Rf& m) {
  return m(0, 0) * (m(1, 1) * m(2, 2) - m(1, 2) * m(2, 1)) -
         m(0, 1) * (m(1, 0) * m(2, 2) - m(2, 0) * m(1, 2)) +
         m(0, 2) * (m(1, 0) * m(2, 1) - m(2, 0) * m(1, 1));
}

// Written as "not within" so that a NaN element fails the test.
bool IsOrthonormalBlock(const KbMatrix4Rf& m) {
  if (!(std::fabs(std::fabs(BlockDeterminant(m)) - 1.0f) <= kDeterminantTolerance)) return false;
  for (unsigned int i = 0; i < 3; ++i) {
    for (unsigned int j = 0; j < 3; ++j) {
      const float deviation = GetRow(m, i).Dot(GetRow(m, j)) - (i == j ? 1.0f : 0.0f);
      if (!(std::fabs(deviation) <= kIdentityTolerance)) return false;
    }
  }
  return true;
}

// M times Ry(b) and M times Rz(c), on all four rows.
void ApplyRotationY(KbMatrix4Rf& m, float b) {
  const float c = std::cos(b), s = std::sin(b);
  for (unsigned int r = 0; r < 4; ++r) {
    const float m0 = m(r, 0), m2 = m(r, 2);
    m(r, 0) = m0 * c + m2 * s;
    m(r, 2) = m2 * c - m0 * s;
  }
}

void ApplyRotationZ(KbMatrix4Rf& m, float angle) {
  const float c = std::cos(angle), s = std::sin(angle);
  for (unsigned int r = 0; r < 4; ++r) {
    const float m0 = m(r, 0), m1 = m(r, 1);
    m(r, 0) = m0 * c - m1 * s;
    m(r, 1) = m1 * c + m0 * s;
  }
}

KbMatrix4Rf RotationX(float a) {
  const float c = std::cos(a), s = std::sin(a);
  KbMatrix4Rf m;
  m(1, 1) = c;
  m(1, 2) = s;
  m(2, 1) = -s;
  m(2, 2) = c;
  return m;
}

// A unit quaternion w + (x, y, z) in double, for the iterative extraction:
// a column of four, w first.
using Quaternion = KoMatrixFixed<double, 4, 1>;
using Matrix3d = KoMatrixFixed<double, 3, 3>;
enum : unsigned int { W, X, Y, Z };

Quaternion MakeQuaternion(double w, double x, double y, double z) {
  Quaternion q;
  q[W] = w;
  q[X] = x;
  q[Y] = y;
  q[Z] = z;
  return q;
}

Quaternion Normalized(const Quaternion& q) {
  const double length = std::sqrt(q[W] * q[W] + q[X] * q[X] + q[Y] * q[Y] + q[Z] * q[Z]);
  return MakeQuaternion(q[W] / length, q[X] / length, q[Y] / length, q[Z] / length);
}

// Hamilton product: applying the result rotates by `b` first, then by `a`.
Quaternion Product(const Quaternion& a, const Quaternion& b) {
  return MakeQuaternion(a[W] * b[W] - a[X] * b[X] - a[Y] * b[Y] - a[Z] * b[Z],
                        a[W] * b[X] + a[X] * b[W] + a[Y] * b[Z] - a[Z] * b[Y],
                        a[W] * b[Y] - a[X] * b[Z] + a[Y] * b[W] + a[Z] * b[X],
                        a[W] * b[Z] + a[X] * b[Y] - a[Y] * b[X] + a[Z] * b[W]);
}

Vec3d Column(const Matrix3d& m, unsigned int c) {
  return {m(0, c), m(1, c), m(2, c)};
}

// The rotation matrix of a unit quaternion, column-vector convention (R v);
// ToQuaternion below is its inverse, and only the pair's consistency matters.
Matrix3d ToMatrix(const Quaternion& q) {
  const double xx = q[X] * q[X], yy = q[Y] * q[Y], zz = q[Z] * q[Z];
  const double xy = q[X] * q[Y], xz = q[X] * q[Z], yz = q[Y] * q[Z];
  const double wx = q[W] * q[X], wy = q[W] * q[Y], wz = q[W] * q[Z];
  Matrix3d m;
  m(0, 0) = 1.0 - 2.0 * (yy + zz);
  m(0, 1) = 2.0 * (xy - wz);
  m(0, 2) = 2.0 * (xz + wy);
  m(1, 0) = 2.0 * (xy + wz);
  m(1, 1) = 1.0 - 2.0 * (xx + zz);
  m(1, 2) = 2.0 * (yz - wx);
  m(2, 0) = 2.0 * (xz - wy);
  m(2, 1) = 2.0 * (yz + wx);
  m(2, 2) = 1.0 - 2.0 * (xx + yy);
  return m;
}

// Trace method (Shoemake): with a non-positive trace the largest diagonal
// element gives the best conditioned component. Normalised afterwards, so a
// block that is not a rotation still yields a unit quaternion.
Quaternion ToQuaternion(const Matrix3d& a) {
  const double trace = a(0, 0) + a(1, 1) + a(2, 2);
  if (trace > 0.0) {
    const double root = std::sqrt(trace + 1.0);
    const double f = 0.5 / root;
    return Normalized(MakeQuaternion(root / 2.0, (a(2, 1) - a(1, 2)) * f, (a(0, 2) - a(2, 0)) * f,
                                     (a(1, 0) - a(0, 1)) * f));
  }
  unsigned int i = 0;
  if (a(1, 1) > a(0, 0)) i = 1;
  if (a(2, 2) > a(i, i)) i = 2;
  const unsigned int j = (i + 1) % 3, k = (i + 2) % 3;
  const double root = std::sqrt(a(i, i) - a(j, j) - a(k, k) + 1.0);
  const double f = 0.5 / root;
  double v[3];
  v[i] = root / 2.0;
  v[j] = (a(j, i) + a(i, j)) * f;
  v[k] = (a(k, i) + a(i, k)) * f;
  return Normalized(MakeQuaternion((a(k, j) - a(j, k)) * f, v[0], v[1], v[2]));
}

// One correction step of the extraction: the axis-angle vector that turns the
// columns of R towards those of A, scaled by (1 / |sum of column dots| + 1e-9)
// exactly as the paper's reference code does (the small term is added to the
// reciprocal, not to the divisor). Returns false when the step is negligible
// and the iteration should stop.
bool CorrectTowards(const Matrix3d& a, Quaternion& q) {
  const Matrix3d r = ToMatrix(q);
  Vec3d torque{0.0, 0.0, 0.0};
  double alignment = 0.0;
  for (unsigned int c = 0; c < 3; ++c) {
    torque += Column(r, c).Cross(Column(a, c));
    alignment += Column(r, c).Dot(Column(a, c));
  }
  const Vec3d omega = torque * (1.0 / std::fabs(alignment) + 1.0e-9);
  const double angle = omega.Length();
  if (angle < 1.0e-9) return false;
  const Vec3d axis = omega * (1.0 / angle);
  const double halfSine = std::sin(angle * 0.5);
  const Quaternion step = MakeQuaternion(std::cos(angle * 0.5), halfSine * axis.x,
                                         halfSine * axis.y, halfSine * axis.z);
  q = Normalized(Product(step, q));
  return true;
}

}  // namespace

namespace KbOrthogonalMatrices {

bool IsRigidTransform(const KbMatrix4Rf& m) {
  // Exact comparisons: an affine matrix has these elements set, not computed.
  if (m[3] != 0.0f || m[7] != 0.0f || m[11] != 0.0f || m[15] != 1.0f) return false;
  return IsOrthonormalBlock(m);
}

bool IsOrthogonalTransform3D(const KbMatrix4Rf& m) {
  if (m[12] != 0.0f || m[13] != 0.0f || m[14] != 0.0f) return false;
  return IsRigidTransform(m);
}

bool IsRotation(const KbMatrix4Rf& m) {
  // After the orthogonality test |det| is close to 1; its sign is deliberately ignored.
  return IsOrthogonalTransform3D(m) && BlockDeterminant(m) != 0.0f;
}

void GramSchmidtOrthonormalization(KbMatrix4Rf& m) {
  const KbVector3f row0 = Normalized(GetRow(m, 0));
  SetRow(m, 0, row0);
  const KbVector3f row1 = Normalized(Reject(GetRow(m, 1), row0));
  SetRow(m, 1, row1);
  // Modified Gram-Schmidt: the second projection uses the already reduced row.
  const KbVector3f row2 = Normalized(Reject(Reject(GetRow(m, 2), row0), row1));
  SetRow(m, 2, row2);
  ResetTranslationRow(m);
}

void GramSchmidtOrthonormalization(KbMatrix4Rf& m, unsigned int row) {
  SwapRows(m, 0, row);
  GramSchmidtOrthonormalization(m);
  SwapRows(m, 0, row);
}

void GramSchmidtOrthonormalizationAggressive(KbMatrix4Rf& m) {
  const KbVector3f row0 = Normalized(Normalized(GetRow(m, 0)));
  SetRow(m, 0, row0);
  const KbVector3f row1 = Normalized(Reject(Normalized(Reject(GetRow(m, 1), row0)), row0));
  SetRow(m, 1, row1);
  const KbVector3f oldRow2 = GetRow(m, 2);
  KbVector3f row2 = row0.Cross(row1);
  if (row2.Dot(oldRow2) < 0.0f) row2 = -row2;
  SetRow(m, 2, Normalized(row2));
  ResetTranslationRow(m);
}

void IterativeOrthonormalization(KbMatrix4Rf& m, unsigned int iterations) {
  Matrix3d a;
  for (unsigned int r = 0; r < 3; ++r) {
    for (unsigned int c = 0; c < 3; ++c) a(r, c) = m(r, c);
  }
  Quaternion q = ToQuaternion(a);
  for (unsigned int i = 0; i < iterations; ++i) {
    if (!CorrectTowards(a, q)) break;
  }
  const Matrix3d rotation = ToMatrix(q);
  for (unsigned int r = 0; r < 3; ++r) {
    SetRow(m, r,
           {static_cast<float>(rotation(r, 0)), static_cast<float>(rotation(r, 1)),
            static_cast<float>(rotation(r, 2))});
  }
  ResetTranslationRow(m);
}

KbMatrix4Rf MakeXYRotation(const KbVector3f& v) {
  KbMatrix4Rf m = RotationX(std::atan2(v.y, v.z));
  // v after the X rotation lies in the x-z plane; the Y rotation folds it onto +z.
  const KbVector3f w = m.TransformPoint(v);
  ApplyRotationY(m, -std::atan2(w.x, w.z));
  return m;
}

KbMatrix4Rf MakeXYZRotation(const KbVector3f& angles) {
  KbMatrix4Rf m = RotationX(angles.x);
  ApplyRotationY(m, angles.y);
  ApplyRotationZ(m, angles.z);
  GramSchmidtOrthonormalization(m);
  return m;
}

KbVector3f GetAnglesXYZ(const KbMatrix4Rf& m) {
  float x = std::atan2(m(1, 2), m(2, 2));
  float z = std::atan2(m(0, 1), m(0, 0));
  const float cosY = std::hypot(m(0, 1), m(0, 0));
  const float y = std::atan2(-m(0, 2), cosY);
  if (!(0.1f * std::hypot(-m(0, 2), cosY) > cosY)) return {x, y, z};

  // Near gimbal lock the small entries of row 0 carry little information, but
  // rows 1 and 2 still determine x - z (y near +90 degrees) or x + z (near -90).
  const bool zLarger = std::fabs(z) > std::fabs(x);
  float& recomputed = zLarger ? z : x;
  if (-m(0, 2) > 0.0f) {
    const float phi = std::atan2(m(1, 0) - m(2, 1), m(1, 1) + m(2, 0));  // x - z
    recomputed = zLarger ? x - phi : z + phi;
  } else {
    const float phi = std::atan2(-m(1, 0) - m(2, 1), m(1, 1) - m(2, 0));  // x + z
    recomputed = zLarger ? phi - x : phi - z;
  }
  // One wrap back into [-pi, pi] suffices: both inputs lie in that range.
  if (recomputed > 3.1415927f) {
    recomputed += -6.2831855f;
  } else if (recomputed < -3.1415927f) {
    recomputed += 6.2831855f;
  }
  return {x, y, z};
}

}  // namespace KbOrthogonalMatrices
