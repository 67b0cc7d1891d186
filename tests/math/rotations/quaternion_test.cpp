#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "math/rotations/KoQuaternion.h"

namespace {

using Q = KoQuaternion;
constexpr float c_eps = std::numeric_limits<float>::epsilon();

// Unit quaternions; `dominant` < 3 makes x, y or z the largest component and
// keeps |w| < 0.2, so trace + 1 = 4w^2 selects that diagonal branch.
Q RandomUnit(std::mt19937& rng, int dominant = 3) {
  std::uniform_real_distribution<float> u(-1, 1);
  float c[4] = {u(rng), u(rng), u(rng), u(rng)};
  if (dominant < 3) c[3] *= 0.15f;
  c[dominant] = std::copysign(1.5f, c[dominant]);
  return Q(c[0], c[1], c[2], c[3]).Unit();
}

void ExpectNear(const Q& a, const Q& b, double tolerance) {
  for (unsigned int k = 0; k < 4; ++k) EXPECT_NEAR(KbVector4f(a)[k], KbVector4f(b)[k], tolerance);
}

TEST(QuaternionTest, HandCheckedValues) {
  EXPECT_TRUE(Q() == Q::ZERO && Q::ONE == Q(0, 0, 0, 1));
  EXPECT_TRUE(Q().GetRotationMatrix() == KbMatrix4Rf() && Q().GetRotationAngle() == 0.0f);
  const Q quarter(KbVector3f(0, 0, 1), 1.5707964f);
  ExpectNear(Q(KbVector3f(0.6f, 0, -0.8f), 1),
             Q(0.6f * 0.47942554f, 0, -0.8f * 0.47942554f, 0.87758256f), c_eps);
  ExpectNear(quarter, Q(0, 0, 0.70710677f, 0.70710677f), c_eps);
  EXPECT_NEAR(quarter.GetRotationMatrix()(0, 1), -1.0f, 2 * c_eps);
  EXPECT_NEAR(quarter.GetRotationMatrix()(1, 0), 1.0f, 2 * c_eps);
  EXPECT_NEAR(quarter.GetRotationAngle(), 1.5707964f, 2 * c_eps);
  EXPECT_NEAR(Q(0.48f, -0.6f, 0.64f, -0.8f).GetRotationAngle(), 2 * std::atan2(1, -0.8), 8 * c_eps);
  // Trace + 1 = 0.25 > 0.2: the trace formula, not normalised; the
  // diagonal branch would give (0, 1, 0, 0).
  EXPECT_EQ(Q(KbMatrix4Rf(-0.75f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1)), Q(0, 0, 0, 0.25f));
  // Trace + 1 = -14: the largest diagonal element picks y (x would give
  // (1, 0, 0, 0)), and (0, 2, 0, 0) is normalised.
  EXPECT_EQ(Q(KbMatrix4Rf(-7.5f, 0, 0, 0, 0, 0, 0, 0, 0, 0, -7.5f, 0, 0, 0, 0, 1)), Q(0, 1, 0, 0));
  EXPECT_EQ(Q(KbMatrix4Rf(1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1)), Q(1, 0, 0, 0));
  // Half turns about (-1, 1, 1), (0, 1, -1): the signs show the branch; ties go to x, then y.
  const float t = 1.0f / 3, d = 2.0f / 3;
  const Q third(KbMatrix4Rf(-t, -d, -d, 0, -d, -t, d, 0, -d, d, -t, 0, 0, 0, 0, 1));
  EXPECT_TRUE(third.x > 0 && third.y < 0 && third.z < 0 && third.w == 0);
  const Q half(KbMatrix4Rf(-1, 0, 0, 0, 0, 0, -1, 0, 0, -1, 0, 0, 0, 0, 0, 1));
  EXPECT_TRUE(half.x == 0 && half.y > 0 && half.z < 0 && half.w == 0);
  EXPECT_TRUE(Q(0x1p-11f, 0x1p-11f, 0, 1).IsNormalized());  // norm 1 + 2^-21 exactly
  EXPECT_FALSE(Q(0, 0, 0, 1 + 3 * 0x1p-23f).IsNormalized());
  EXPECT_TRUE(Q(0.5f, 0, 0, 5).Exp() == Q(0.5f, 0, 0, 0).Exp() && Q(0, 0, 0, 5).Exp() == Q::ONE);
  EXPECT_EQ(Q(2, -3, 6, 1).GetRotationAxis(), KbVector3f(2.0f / 7, -3.0f / 7, 6.0f / 7));
  EXPECT_EQ(Q(0.6f, 0, 0, 1.25f).Log(), Q());  // acos(|w| > 1) is NaN, caught as no rotation
  // (4; 1, 2, 3) (1; 1, 0, 0)^-1 = (4; 1, 2, 3) (1; -1, 0, 0) / 2 by hand.
  EXPECT_EQ(Q(1, 2, 3, 4) / Q(1, 0, 0, 1), Q(-1.5f, -0.5f, 2.5f, 2.5f));
  Q quotient(1, 2, 3, 4);
  EXPECT_EQ(quotient /= Q(0, 0, 0, 2), Q(0.5f, 1, 1.5f, 2));
  EXPECT_EQ(Q(1e-20f, 0, 0, 1).GetRotationAxis(), KbVector3f(0, 0, 0));  // squares underflow
}

// Round trips in every branch, and Transform(v) = v * matrix (row vector).
TEST(QuaternionTest, MatrixRoundTripsAndTransformAgreesWithTheMatrix) {
  std::mt19937 rng(2);
  std::uniform_real_distribution<float> u(-10, 10);
  for (int i = 0; i < 8000; ++i) {
    const Q q = RandomUnit(rng, i % 4);
    const KbMatrix4Rf m = q.GetRotationMatrix();
    const Q back(m);
    EXPECT_NEAR(std::fabs(double(back.Dot(q))), 1.0, 16 * c_eps) << i;
    const KbVector3f v(u(rng), u(rng), u(rng));
    const KbVector3f r = q.Transform(v);
    for (unsigned int k = 0; k < 3; ++k)
      EXPECT_NEAR(r[k], v.x * m(0, k) + v.y * m(1, k) + v.z * m(2, k), 16 * c_eps * v.Length());
  }
}

using D = std::array<double, 4>;

// The great arc from a to b at t in double, and whether |a . b| > 0.94, past
// which the library's normalised lerp strays from the arc by up to ~5e-4.
D Arc(const D& a, const D& b, double t, bool& flat) {
  const double d = a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
  flat = flat || std::fabs(d) > 0.94;
  const double theta = std::acos(d), s0 = std::sin((1 - t) * theta) / std::sin(theta),
               s1 = std::sin(t * theta) / std::sin(theta);
  return {a[0] * s0 + b[0] * s1, a[1] * s0 + b[1] * s1, a[2] * s0 + b[2] * s1,
          a[3] * s0 + b[3] * s1};
}

D Wide(const Q& q) {
  return {q.x, q.y, q.z, q.w};
}

void ExpectNear(const Q& q, const D& d, bool flat) {
  ExpectNear(q, Q(float(d[0]), float(d[1]), float(d[2]), float(d[3])), flat ? 1e-3 : 64 * c_eps);
}

TEST(QuaternionTest, SlerpFollowsTheShorterGreatArcInDouble) {
  std::mt19937 rng(4);
  std::uniform_real_distribution<float> ut(0, 1);
  for (int i = 0; i < 5000; ++i) {
    const Q a = RandomUnit(rng), b = RandomUnit(rng);
    const float t = ut(rng);
    bool flat = false;
    const D expected = Arc(Wide(a), Wide(a.Dot(b) < 0 ? -b : b), t, flat);
    ExpectNear(Q::Slerp(a, b, t), expected, flat);
  }
}

TEST(QuaternionTest, InterpolationEdgeCases) {
  const Q a = Q(0.1f, 0.2f, 0.3f, 0.9f).Unit();
  for (float t : {0.0f, 0.3f, 1.0f}) EXPECT_EQ(Q::Slerp(a, -a, t), a.Unit());
  EXPECT_TRUE(std::isnan(Q::SlerpNoInvert(a, -a, 0.5f).w));
  const Q p(0, 0, 0, 1), q(0.28f, 0, 0, 0.96f);  // dot 0.96: lerp
  EXPECT_EQ(Q::Slerp(p, q, 0.3f), Q::Lerp(p, q, 0.3f));
  EXPECT_EQ(Q::SlerpNoInvert(p, q, 0.3f), Q::Lerp(p, q, 0.3f));
  const Q far(0, 0, 0.6f, -0.8f);  // the longer arc, then the shorter
  EXPECT_NEAR(Q::SlerpNoInvert(p, far, 0.5f).w, std::sqrt(0.1f), 16 * c_eps);
  EXPECT_NEAR(Q::Slerp(p, far, 0.5f).w, std::sqrt(0.9f), 16 * c_eps);
  // Control points of equally spaced points on one arc lie on the arc.
  const KbVector3f axis(0.6f, 0, 0.8f);
  const Q cur(axis, 0.7f);
  ExpectNear(Q::SquadPoint(Q(axis, 0.4f), cur, Q(axis, 1.0f)), cur, 8 * c_eps);
  // Log(prev) = (0, 0, 0.5), Log(next) = 0: Exp((0, 0, -0.125)).
  ExpectNear(Q::SquadPoint(Q(KbVector3f(0, 0, 1), 1.0f), Q::ONE, Q::ONE),
             Q(0, 0, std::sin(-0.125f), std::cos(0.125f)), 4 * c_eps);
}

// Squad(p, q, a, b, t) = slerp(slerp(p, q, t), slerp(a, b, t), 2t(1 - t)),
// each slerp along the arc as given (no sign flip).
TEST(QuaternionTest, SquadNestsThreeSlerpsInDouble) {
  std::mt19937 rng(6);
  std::uniform_real_distribution<float> ut(0, 1);
  for (int i = 0; i < 2000; ++i) {
    const Q p = RandomUnit(rng), q = RandomUnit(rng), a = RandomUnit(rng), b = RandomUnit(rng);
    const float t = ut(rng);
    bool flat = false;
    const D outer = Arc(Wide(p), Wide(q), t, flat), inner = Arc(Wide(a), Wide(b), t, flat);
    const D expected = Arc(outer, inner, 2.0 * t * (1 - t), flat);
    if (!flat) ExpectNear(Q::Squad(p, q, a, b, t), expected, false);  // lerp: no arc
  }
}

TEST(QuaternionTest, LogAndExpAreInverseOnUnitQuaternions) {
  std::mt19937 rng(5);
  for (int i = 0; i < 5000; ++i) {
    // w >= 0: near theta = pi the last-bit misfit between w and |(x, y, z)|
    // is amplified by theta / sin(theta)^2; acos amplifies it by 1 / sin.
    Q q = RandomUnit(rng);
    if (q.w < 0) q = -q;
    const Q l = q.Log();
    EXPECT_EQ(l.w, 0.0f);
    ExpectNear(l.Exp(), q, 16 * c_eps * (1 + 1 / std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z)));
  }
}

// The branch points of Slerp: a dot product of exactly +-0.95 takes Lerp
// (of -b for -0.95), and one of +0 or -0 keeps b (the flip is for d < 0, not
// for a sign bit).
TEST(QuaternionTest, SlerpAtItsThresholdsAndAtSignedZeroDots) {
  const Q a(0, 0, 0, 1), b(0.31224987f, 0, 0, 0.95f);
  EXPECT_EQ(Q::Slerp(a, b, 0.3f), Q::Lerp(a, b, 0.3f));
  EXPECT_EQ(Q::Slerp(a, -b, 0.3f), Q::Lerp(a, b, 0.3f));
  const Q plusZero(1, 0, 0, 0), minusZero(-1, -0.0f, -0.0f, -0.0f);
  const float half = std::sqrt(0.5f);
  ExpectNear(Q::Slerp(a, plusZero, 0.5f), Q(half, 0, 0, half), 4 * c_eps);
  ExpectNear(Q::Slerp(a, minusZero, 0.5f), Q(-half, 0, 0, half), 4 * c_eps);
}

}  // namespace
