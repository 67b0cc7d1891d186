#include "math/rotations/KoQuaternion.h"

#include <cmath>
#include <cstring>

namespace {

constexpr float c_smallestNormal = 1.17549435e-38f;
constexpr float c_normTolerance = 4.7683716e-7f;  // 2^-21

// The members call these helpers rather than each other: a call between
// exported members of a shared library goes through the PLT and is never
// inlined.
float norm(const KoQuaternion& q) {
  return q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
}

float dot(const KoQuaternion& a, const KoQuaternion& b) {
  return a.y * b.y + a.x * b.x + a.z * b.z + a.w * b.w;
}

KoQuaternion unit(const KoQuaternion& q) {
  return q * (1 / std::sqrt(norm(q)));
}

// The Hamilton product a * b, term by term in the documented order.
KoQuaternion product(const KoQuaternion& a, const KoQuaternion& b) {
  return KoQuaternion(a.x * b.w + b.x * a.w + a.y * b.z - a.z * b.y,  //
                      a.y * b.w + b.y * a.w + a.z * b.x - b.z * a.x,  //
                      a.z * b.w + b.z * a.w + a.x * b.y - a.y * b.x,  //
                      b.w * a.w - a.x * b.x - a.y * b.y - a.z * b.z);
}

KoQuaternion lerp(const KoQuaternion& a, const KoQuaternion& b, float t) {
  return unit((b - a) * t + a);
}

KoQuaternion slerpNoInvert(const KoQuaternion& a, const KoQuaternion& b, float t) {
  const float d = dot(a, b);
  const float linear = KoQuaternion::SLERP_LINEAR_FROM;
  if (!(d > -linear && d < linear)) return lerp(a, b, t);
  const float theta = std::acos(d);
  return (a * std::sin((1 - t) * theta) + b * std::sin(t * theta)) * (1 / std::sin(theta));
}

// The vector part of the logarithm of a unit quaternion (w of the result is
// 0); shared by Log and SquadPoint.
KoQuaternion logarithm(const KoQuaternion& q) {
  const float theta = std::acos(q.w);
  const float s = std::sin(theta);
  if (!(s > 0)) return KoQuaternion(0, 0, 0, 0);  // w = +-1: no rotation, no axis
  return KoQuaternion(theta * q.x / s, theta * q.y / s, theta * q.z / s, 0);
}

KoQuaternion exponential(const KoQuaternion& q) {
  const float theta = std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z);
  const float c = std::cos(theta);
  if (!(theta > 0)) return KoQuaternion(0, 0, 0, c);  // sin(theta)/theta -> 1, times 0
  const float s = std::sin(theta);
  return KoQuaternion(q.x * s / theta, q.y * s / theta, q.z * s / theta, c);
}

}  // namespace

const KoQuaternion KoQuaternion::ONE(0, 0, 0, 1);
const KoQuaternion KoQuaternion::ZERO(0, 0, 0, 0);

KoQuaternion::KoQuaternion(const KbVector3f& axis, float angle) {
  const float s = std::sin(angle * 0.5f);
  *this = unit(KoQuaternion(axis.x * s, axis.y * s, axis.z * s, std::cos(angle * 0.5f)));
}

KoQuaternion::KoQuaternion(const KbMatrix4Rf& m) {
  const float trace = m(0, 0) + m(1, 1) + m(2, 2) + 1;
  // The trace formula divides by sqrt(trace); 0.2 rather than 0 keeps that
  // root away from the cancellation near 180 degrees.
  if (trace > 0.2f) {
    const float s = 0.5f / std::sqrt(trace);
    x = (m(2, 1) - m(1, 2)) * s;
    y = (m(0, 2) - m(2, 0)) * s;
    z = (m(1, 0) - m(0, 1)) * s;
    w = 0.25f / s;
    return;
  }
  if (m(0, 0) >= m(1, 1) && m(0, 0) >= m(2, 2)) {
    const float s = 2 * std::sqrt(m(0, 0) + 1 - m(1, 1) - m(2, 2));
    x = s * 0.25f;
    y = (m(1, 0) + m(0, 1)) / s;
    z = (m(2, 0) + m(0, 2)) / s;
    w = (m(2, 1) - m(1, 2)) / s;
  } else if (m(1, 1) >= m(2, 2)) {
    const float s = 2 * std::sqrt(m(1, 1) + 1 - m(0, 0) - m(2, 2));
    x = (m(1, 0) + m(0, 1)) / s;
    y = s * 0.25f;
    z = (m(2, 1) + m(1, 2)) / s;
    w = (m(0, 2) - m(2, 0)) / s;
  } else {
    const float s = 2 * std::sqrt(m(2, 2) + 1 - m(0, 0) - m(1, 1));
    x = (m(2, 0) + m(0, 2)) / s;
    y = (m(2, 1) + m(1, 2)) / s;
    z = s * 0.25f;
    w = (m(1, 0) - m(0, 1)) / s;
  }
  *this = unit(*this);
}

float KoQuaternion::GetRotationAngle() const {
  return 2 * std::atan2(std::sqrt(y * y + x * x + z * z), w);
}

KbVector3f KoQuaternion::GetRotationAxis() const {
  const float n = x * x + y * y + z * z;
  if (n <= c_smallestNormal) return KbVector3f(0, 0, 0);
  const float length = std::sqrt(n);
  return KbVector3f(x / length, y / length, z / length);
}

float KoQuaternion::Norm() const {
  return norm(*this);
}

float KoQuaternion::Dot(const KoQuaternion& q) const {
  return dot(*this, q);
}

bool KoQuaternion::IsNormalized() const {
  return std::fabs(norm(*this) - 1) <= c_normTolerance;
}

KoQuaternion KoQuaternion::Unit() const {
  return unit(*this);
}

KoQuaternion& KoQuaternion::Normalize() {
  return *this = unit(*this);
}

KbVector3f KoQuaternion::Transform(const KbVector3f& v) const {
  const KoQuaternion r = product(product(Conj(), KoQuaternion(v)), *this);
  return KbVector3f(r.x, r.y, r.z);
}

KoQuaternion KoQuaternion::Log() const {
  return logarithm(*this);
}

KoQuaternion KoQuaternion::Exp() const {
  return exponential(*this);
}

KoQuaternion KoQuaternion::operator*(const KoQuaternion& q) const {
  return product(*this, q);
}

KoQuaternion& KoQuaternion::operator*=(const KoQuaternion& q) {
  return *this = product(*this, q);
}

KoQuaternion KoQuaternion::operator/(const KoQuaternion& q) const {
  return product(*this, q.Conj()) * (1 / norm(q));
}

KoQuaternion& KoQuaternion::operator/=(const KoQuaternion& q) {
  return *this = product(*this, q.Conj() * (1 / norm(q)));
}

KoQuaternion KoQuaternion::Lerp(const KoQuaternion& a, const KoQuaternion& b, float t) {
  return lerp(a, b, t);
}

KoQuaternion KoQuaternion::SlerpNoInvert(const KoQuaternion& a, const KoQuaternion& b, float t) {
  return slerpNoInvert(a, b, t);
}

KoQuaternion KoQuaternion::Squad(const KoQuaternion& p, const KoQuaternion& q,
                                 const KoQuaternion& a, const KoQuaternion& b, float t) {
  const KoQuaternion inner = slerpNoInvert(a, b, t);
  const KoQuaternion outer = slerpNoInvert(p, q, t);
  return slerpNoInvert(outer, inner, (t + t) * (1 - t));
}

KoQuaternion KoQuaternion::SquadPoint(const KoQuaternion& prev, const KoQuaternion& cur,
                                      const KoQuaternion& next) {
  const KoQuaternion c = cur.Conj();
  const KoQuaternion l1 = logarithm(product(c, prev));
  const KoQuaternion l2 = logarithm(product(c, next));
  // The scalar part comes out as (0 + 0) * -0.25 = -0; Exp ignores it.
  const KoQuaternion e = (l2 + l1) * -0.25f;
  return product(cur, exponential(e));
}
