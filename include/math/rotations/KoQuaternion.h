// KoQuaternion: a single-precision quaternion for rotations.
//
// Stored as x, y, z (the vector part) then w (the scalar part), four packed
// floats in the order of a KbVector4f, so the two convert by copying.
// Rotation matrices follow KbMatrix4R.h: row vectors times M. For a unit
// quaternion q, q.Transform(v) equals v * q.GetRotationMatrix(), the
// transpose of the matrix applied to v as a column.
//
//   KoQuaternion q(KbVector3f(0, 0, 1), 1.5707964f);  // 90 degrees about z
//   KbVector3f v = q.Transform(KbVector3f(1, 0, 0));  // (0, -1, 0)
//
// Everything is float, trigonometry included. Operations that only copy,
// negate, or apply one addition or one product per component are inline;
// everything that multiplies and then adds lives in the library, compiled
// without fused multiply-adds, so its bits do not depend on the caller's
// compiler flags. The two exceptions, GetRotationMatrix and Slerp, are
// inline because a call costs more than their arithmetic; every product of
// theirs that meets an addition passes a KbRounded barrier, with the same
// effect. Nothing throws and nothing allocates; degenerate inputs
// give infinities or NaN unless a comment says otherwise.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "base/KbMatrix4R.h"
#include "base/KbRounded.h"
#include "base/KbVector.h"
#include "math/KoMathExport.h"

class KOMATH_API KoQuaternion {
 public:
  float x = 0, y = 0, z = 0, w = 0;

  static const KoQuaternion ONE;   // (0, 0, 0, 1): the identity rotation
  static const KoQuaternion ZERO;  // (0, 0, 0, 0)
  // From this |Dot(a, b)| on, Slerp and SlerpNoInvert interpolate linearly.
  static constexpr float SLERP_LINEAR_FROM = 0.95f;

  // (0, 0, 0, 0), not the identity.
  constexpr KoQuaternion() = default;
  constexpr KoQuaternion(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}
  // The pure quaternion (v, 0).
  constexpr explicit KoQuaternion(const KbVector3f& v) : x(v.x), y(v.y), z(v.z), w(0) {}
  constexpr KoQuaternion(const KbVector4f& v) : x(v.x), y(v.y), z(v.z), w(v.w) {}
  // (axis sin(angle/2), cos(angle/2)), then Normalize(). The axis is not
  // normalised first, so a non-unit axis changes the effective angle.
  KoQuaternion(const KbVector3f& axis, float angle);
  // The rotation of the upper 3x3 block (the rest is not read). Trace + 1 >
  // 0.2 takes the trace formula, whose result is not normalised; otherwise
  // the largest diagonal element decides (ties to the earlier one) and the
  // result is normalised. Inverts GetRotationMatrix for unit quaternions, up
  // to sign.
  explicit KoQuaternion(const KbMatrix4Rf& m);

  constexpr operator KbVector4f() const { return {x, y, z, w}; }

  // The rotation as a matrix, scaled by s = 2 / Norm(): a non-unit
  // quaternion still gives a pure rotation, and the zero quaternion gives
  // the identity (s = 0) rather than dividing by zero. Inline, because a
  // call costs three times the arithmetic; every product that meets an
  // addition goes through KbRounded, so the bits are the library's.
  KbMatrix4Rf GetRotationMatrix() const {
    using kb_detail::KbRounded;
    const float n = KbRounded(x * x) + KbRounded(y * y) + KbRounded(z * z) + KbRounded(w * w);
    const float s = n > 0 ? 2 / n : 0;
    const float ys = y * s;
    const float zs = z * s;
    const float xsx = KbRounded(x * s * x);
    const float xsw = KbRounded(x * s * w);
    // Whole rows, so that they are stored four floats at a time.
    using Row = float __attribute__((vector_size(16)));
    const Row rows[4] = {
        {1 - KbRounded(ys * y) - KbRounded(zs * z), KbRounded(ys * x) - KbRounded(zs * w),
         KbRounded(ys * w) + KbRounded(zs * x), 0},
        {KbRounded(zs * w) + KbRounded(ys * x), (1 - xsx) - KbRounded(zs * z),
         KbRounded(zs * y) - xsw, 0},
        {KbRounded(zs * x) - KbRounded(ys * w), KbRounded(zs * y) + xsw,
         (1 - xsx) - KbRounded(ys * y), 0},
        {0, 0, 0, 1}};
    KbMatrix4Rf m;
    std::memcpy(m.GetData(), rows, sizeof rows);
    return m;
  }
  // 2 atan2(|(x, y, z)|, w), in [0, 2 pi]; 0 for the zero quaternion.
  float GetRotationAngle() const;
  // (x, y, z) / |(x, y, z)|; the zero vector when the squared length is at
  // most 1.17549435e-38 (the smallest normal float), where the direction is
  // lost to underflow.
  KbVector3f GetRotationAxis() const;

  // The sum of squares x^2 + y^2 + z^2 + w^2 (not its root).
  float Norm() const;
  // Summed as y, x, z, w.
  float Dot(const KoQuaternion& q) const;
  // |Norm() - 1| <= 2^-21 (four float epsilons).
  bool IsNormalized() const;
  constexpr KoQuaternion Conj() const { return {-x, -y, -z, w}; }
  // Times 1 / sqrt(Norm()); no test for zero.
  KoQuaternion Unit() const;
  KoQuaternion& Normalize();

  // The vector part of (Conj() * (v, 0)) * this, in that order of products.
  // No normalisation: meant for unit quaternions.
  KbVector3f Transform(const KbVector3f& v) const;

  // For unit quaternions: (theta (x, y, z) / sin theta, 0) with theta =
  // acos(w), and (0, 0, 0, 0) when sin theta is not positive: w = +-1, and
  // also |w| > 1 (not a unit quaternion) or a NaN w, whose acos is NaN.
  KoQuaternion Log() const;
  // (x, y, z) sin(theta) / theta with theta = |(x, y, z)|, and w = cos theta;
  // the scalar part of this is ignored. (0, 0, 0, 1) for a zero vector part.
  KoQuaternion Exp() const;

  // The Hamilton product this * q (q applied after this when rotating with
  // Transform).
  KoQuaternion operator*(const KoQuaternion& q) const;
  KoQuaternion& operator*=(const KoQuaternion& q);
  // (this * Conj(q)) times 1 / q.Norm(). The compound form scales Conj(q)
  // first and then multiplies, so the two may differ in the last bit.
  KoQuaternion operator/(const KoQuaternion& q) const;
  KoQuaternion& operator/=(const KoQuaternion& q);

  constexpr KoQuaternion operator*(float s) const { return {x * s, y * s, z * s, w * s}; }
  constexpr KoQuaternion& operator*=(float s) { return *this = *this * s; }
  // One reciprocal, then four products (not four divisions).
  constexpr KoQuaternion operator/(float s) const { return *this * (1.0f / s); }
  constexpr KoQuaternion& operator/=(float s) { return *this = *this / s; }
  constexpr KoQuaternion operator+(const KoQuaternion& q) const {
    return {x + q.x, y + q.y, z + q.z, w + q.w};
  }
  constexpr KoQuaternion operator-(const KoQuaternion& q) const {
    return {x - q.x, y - q.y, z - q.z, w - q.w};
  }
  constexpr KoQuaternion& operator+=(const KoQuaternion& q) { return *this = *this + q; }
  constexpr KoQuaternion& operator-=(const KoQuaternion& q) { return *this = *this - q; }
  constexpr KoQuaternion operator-() const { return {-x, -y, -z, -w}; }

  // Exact, component by component: q and -q (the same rotation) differ,
  // NaN never compares equal, 0 equals -0.
  constexpr bool operator==(const KoQuaternion& q) const {
    return x == q.x && y == q.y && z == q.z && w == q.w;
  }

  // ((b - a) t + a) normalised: no sign flip and no zero test, so b = -a at
  // t = 0.5 gives NaN.
  // Pure, so that a loop around an inline Slerp need not reload what it
  // holds after the rare call.
  [[gnu::pure]] static KoQuaternion Lerp(const KoQuaternion& a, const KoQuaternion& b, float t);
  // Spherical interpolation along the shorter arc: b is negated when
  // Dot(a, b) < 0; from |Dot| >= 0.95 on, Lerp, whose error is then below a
  // float's resolution and which avoids dividing by a vanishing sin theta.
  // Inline: a loop of slerps is bound by the path from the loads through
  // acos and the sines, and a call of its own (with the reloads after it)
  // lengthened that path by about a tenth. The products that meet an
  // addition go through KbRoundedLanes, so the bits are the library's.
  static KoQuaternion Slerp(const KoQuaternion& a, const KoQuaternion& b, float t) {
    // Four lanes at once: each lane is (a s0 + b s1) / sin theta, and the
    // dot product is summed as y, x, z, w, as Dot does.
    using kb_detail::KbRoundedLanes;
    using Lanes = float __attribute__((vector_size(16)));
    Lanes va, vb;
    std::memcpy(&va, &a, sizeof va);
    std::memcpy(&vb, &b, sizeof vb);
    const Lanes products = KbRoundedLanes(va * vb);
    const float d = ((products[1] + products[0]) + products[2]) + products[3];
    // The shorter arc: -b is the same rotation as b. d < 0 rather than the
    // sign bit, so that d = -0 keeps b as it is. Without a branch: the sign
    // of d is a coin toss in a loop over unrelated rotations. |d| for the
    // angle is exact, and acos(-0) = acos(+0).
    const bool flip = d < 0;
    const float cosine = std::fabs(d);
    if (!(cosine < SLERP_LINEAR_FROM)) [[unlikely]] {
      return Lerp(a, flip ? -b : b, t);
    }
    const float theta = std::acos(cosine);
    const float inverse = 1 / std::sin(theta);
    const float s0 = std::sin((1 - t) * theta);
    const float s1 = std::sin(t * theta);
    // b is negated rather than s1 (by its sign bits): the same products, but
    // a NaN s1 (from an infinite or NaN t) must keep its own sign bit.
    using Bits = std::uint32_t __attribute__((vector_size(16)));
    const std::uint32_t negate = flip ? 0x80000000u : 0u;
    const Lanes vc = reinterpret_cast<Lanes>(reinterpret_cast<Bits>(vb) ^ negate);
    const Lanes r = (KbRoundedLanes(va * s0) + KbRoundedLanes(vc * s1)) * inverse;
    KoQuaternion result;
    std::memcpy(static_cast<void*>(&result), &r, sizeof result);
    return result;
  }
  // Slerp without the sign flip (may take the longer arc); Lerp unless
  // -0.95 < Dot(a, b) < 0.95.
  static KoQuaternion SlerpNoInvert(const KoQuaternion& a, const KoQuaternion& b, float t);
  // Spherical quadrangle interpolation from p to q with inner control points
  // a and b (see SquadPoint): SlerpNoInvert(SlerpNoInvert(p, q, t),
  // SlerpNoInvert(a, b, t), 2t(1 - t)). Shoemake, "Animating rotation with
  // quaternion curves", SIGGRAPH 1985.
  static KoQuaternion Squad(const KoQuaternion& p, const KoQuaternion& q, const KoQuaternion& a,
                            const KoQuaternion& b, float t);
  // The inner control point at `cur` for a Squad through prev, cur, next:
  // cur * Exp(-(Log(c * prev) + Log(c * next)) / 4) with c = Conj(cur). The
  // conjugate stands for the inverse, so `cur` must be unit.
  static KoQuaternion SquadPoint(const KoQuaternion& prev, const KoQuaternion& cur,
                                 const KoQuaternion& next);
};

static_assert(sizeof(KoQuaternion) == sizeof(KbVector4f), "four packed floats");
