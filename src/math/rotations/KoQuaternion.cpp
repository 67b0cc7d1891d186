#include "math/rotations/KoQuaternion.h"

#include <cmath>

namespace {

constexpr float c_smallestNormal = 1.17549435e-38f;
constexpr float c_normTolerance = 4.7683716e-7f;  // 2^-21
// From this |cos theta| on, Lerp replaces the spherical formula.
constexpr float c_slerpLinear = 0.95f;

// The vector part of the logarithm of a unit quaternion (w of the result
// is 0); shared by Log and SquadPoint.
KoQuaternion logarithm(const KoQuaternion& q) {
  const float theta = std::acos(q.w);
  const float s = std::sin(theta);
  if (!(s > 0)) return KoQuaternion(0, 0, 0, 0);  // w = +-1: no rotation, no axis
  return KoQuaternion(theta * q.x / s, theta * q.y / s, theta * q.z / s, 0);
}

KoQuaternion spherical(const KoQuaternion& a, const KoQuaternion& b, float t, float d) {
  const float theta = std::acos(d);
  return (a * std::sin((1 - t) * theta) + b * std::sin(t * theta)) * (1 / std::sin(theta));
}

}  // namespace

const KoQuaternion KoQuaternion::ONE(0, 0, 0, 1);
const KoQuaternion KoQuaternion::ZERO(0, 0, 0, 0);

KoQuaternion::KoQuaternion(const KbVector3f& axis, float angle) {
  const float s = std::sin(angle * 0.5f);
  x = axis.x * s;
  y = axis.y * s;
  z = axis.z * s;
  w = std::cos(angle * 0.5f);
  Normalize();
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
  Normalize();
}

KbMatrix4Rf KoQuaternion::GetRotationMatrix() const {
  const float n = Norm();
  const float s = n > 0 ? 2 / n : 0;
  const float ys = y * s;
  const float zs = z * s;
  const float xsx = x * s * x;
  const float xsw = x * s * w;
  return KbMatrix4Rf(1 - ys * y - zs * z, ys * x - zs * w, ys * w + zs * x, 0,  //
                     zs * w + ys * x, (1 - xsx) - zs * z, zs * y - xsw, 0,      //
                     zs * x - ys * w, zs * y + xsw, (1 - xsx) - ys * y, 0,      //
                     0, 0, 0, 1);
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
  return x * x + y * y + z * z + w * w;
}

float KoQuaternion::Dot(const KoQuaternion& q) const {
  return y * q.y + x * q.x + z * q.z + w * q.w;
}

bool KoQuaternion::IsNormalized() const {
  return std::fabs(Norm() - 1) <= c_normTolerance;
}

KoQuaternion KoQuaternion::Unit() const {
  return *this * (1 / std::sqrt(Norm()));
}

KoQuaternion& KoQuaternion::Normalize() {
  return *this = Unit();
}

KbVector3f KoQuaternion::Transform(const KbVector3f& v) const {
  const KoQuaternion r = (Conj() * KoQuaternion(v)) * *this;
  return KbVector3f(r.x, r.y, r.z);
}

KoQuaternion KoQuaternion::Log() const {
  return logarithm(*this);
}

KoQuaternion KoQuaternion::Exp() const {
  const float theta = std::sqrt(x * x + y * y + z * z);
  const float c = std::cos(theta);
  if (!(theta > 0)) return KoQuaternion(0, 0, 0, c);  // sin(theta)/theta -> 1, times 0
  const float s = std::sin(theta);
  return KoQuaternion(x * s / theta, y * s / theta, z * s / theta, c);
}

KoQuaternion KoQuaternion::operator*(const KoQuaternion& q) const {
  return KoQuaternion(x * q.w + q.x * w + y * q.z - z * q.y,  //
                      y * q.w + q.y * w + z * q.x - q.z * x,  //
                      z * q.w + q.z * w + x * q.y - y * q.x,  //
                      q.w * w - x * q.x - y * q.y - z * q.z);
}

KoQuaternion& KoQuaternion::operator*=(const KoQuaternion& q) {
  return *this = *this * q;
}

KoQuaternion KoQuaternion::operator/(const KoQuaternion& q) const {
  return (*this * q.Conj()) * (1 / q.Norm());
}

KoQuaternion& KoQuaternion::operator/=(const KoQuaternion& q) {
  return *this = *this * (q.Conj() * (1 / q.Norm()));
}

KoQuaternion KoQuaternion::Lerp(const KoQuaternion& a, const KoQuaternion& b, float t) {
  return ((b - a) * t + a).Unit();
}

KoQuaternion KoQuaternion::Slerp(const KoQuaternion& a, const KoQuaternion& b, float t) {
  float d = a.Dot(b);
  const KoQuaternion near = d < 0 ? -b : b;
  if (d < 0) d = -d;
  return d < c_slerpLinear ? spherical(a, near, t, d) : Lerp(a, near, t);
}

KoQuaternion KoQuaternion::SlerpNoInvert(const KoQuaternion& a, const KoQuaternion& b, float t) {
  const float d = a.Dot(b);
  return (d > -c_slerpLinear && d < c_slerpLinear) ? spherical(a, b, t, d) : Lerp(a, b, t);
}

KoQuaternion KoQuaternion::Squad(const KoQuaternion& p, const KoQuaternion& q,
                                 const KoQuaternion& a, const KoQuaternion& b, float t) {
  const KoQuaternion inner = SlerpNoInvert(a, b, t);
  const KoQuaternion outer = SlerpNoInvert(p, q, t);
  return SlerpNoInvert(outer, inner, (t + t) * (1 - t));
}

KoQuaternion KoQuaternion::SquadPoint(const KoQuaternion& prev, const KoQuaternion& cur,
                                      const KoQuaternion& next) {
  const KoQuaternion c = cur.Conj();
  const KoQuaternion l1 = logarithm(c * prev);
  const KoQuaternion l2 = logarithm(c * next);
  // The scalar part comes out as (0 + 0) * -0.25 = -0; Exp ignores it.
  const KoQuaternion e = (l2 + l1) * -0.25f;
  return cur * e.Exp();
}
