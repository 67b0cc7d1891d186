#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "math/rotations/KoQuaternion.h"
#include "math/rotations/RotationsTestSupport.h"

namespace {

using Q = KoQuaternion;
using ko_test::Near;
using ko_test::Ulps;

constexpr float c_eps = std::numeric_limits<float>::epsilon();

struct QuatD {
  double x, y, z, w;
};

QuatD ToDouble(const Q& q) {
  return {q.x, q.y, q.z, q.w};
}

double DotD(const QuatD& a, const QuatD& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}

// Unit quaternions; `dominant` (0..3) makes that component the largest in
// magnitude, and for 0..2 also keeps |w| below 0.2 so trace + 1 = 4w^2 stays
// under the 0.2 threshold.
Q RandomUnit(std::mt19937& rng, int dominant = 3) {
  std::uniform_real_distribution<float> u(-1, 1);
  float c[4] = {u(rng), u(rng), u(rng), u(rng)};
  if (dominant < 3) c[3] *= 0.15f;
  c[dominant] = std::copysign(1.5f, c[dominant]);
  return Q(c[0], c[1], c[2], c[3]).Unit();
}

// Same rotation: q and -q are both accepted.
bool SameRotation(const Q& a, const Q& b, float tolerance) {
  return std::fabs(std::fabs(DotD(ToDouble(a), ToDouble(b))) - 1) <= tolerance;
}

TEST(QuaternionTest, HandCheckedValuesAndConstants) {
  EXPECT_EQ(Q(), Q::ZERO);
  EXPECT_EQ(Q(0, 0, 0, 1), Q::ONE);
  EXPECT_EQ(Q().GetRotationMatrix(), KbMatrix4Rf());
  EXPECT_EQ(Q().GetRotationAngle(), 0.0f);
  EXPECT_EQ(Q(1, 2, 3, 4).Conj(), Q(-1, -2, -3, 4));
  EXPECT_EQ(-Q(1, 2, 3, 4), Q(-1, -2, -3, -4));
  EXPECT_EQ(KbVector4f(Q(1, 2, 3, 4)), KbVector4f(1, 2, 3, 4));
  EXPECT_EQ(Q(KbVector4f(1, 2, 3, 4)), Q(1, 2, 3, 4));
  EXPECT_EQ(Q(KbVector3f(1, 2, 3)), Q(1, 2, 3, 0));
  EXPECT_EQ(Q(1, 2, 3, 4) / 4.0f, Q(1, 2, 3, 4) * 0.25f);
  EXPECT_NE(Q(0, 0, 0, 1), Q(0, 0, 0, -1));

  const Q quarter(KbVector3f(0, 0, 1), 1.5707964f);
  EXPECT_LE(Ulps(quarter.z, 0.70710677f), 1);
  EXPECT_LE(Ulps(quarter.w, 0.70710677f), 1);
  const KbMatrix4Rf m = quarter.GetRotationMatrix();
  EXPECT_NEAR(m(0, 1), -1.0f, 2 * c_eps);
  EXPECT_NEAR(m(1, 0), 1.0f, 2 * c_eps);
  EXPECT_TRUE(Near(quarter.Transform(KbVector3f(1, 0, 0)), KbVector3f(0, -1, 0), 2, 4 * c_eps));
  EXPECT_NEAR(quarter.GetRotationAngle(), 1.5707964f, 2 * c_eps);
  EXPECT_TRUE(Near(quarter.GetRotationAxis(), KbVector3f(0, 0, 1), 1, 0));
  EXPECT_EQ(Q(1e-20f, 0, 0, 1).GetRotationAxis(), KbVector3f(0, 0, 0));  // squares underflow

  // Trace + 1 = 0: the x branch, exactly.
  const KbMatrix4Rf halfTurn(1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1);
  EXPECT_EQ(Q(halfTurn), Q(1, 0, 0, 0));

  EXPECT_TRUE(Q(0, 0, 0, 1 + 0x1p-23f).IsNormalized());
  EXPECT_FALSE(Q(0, 0, 0, 1 + 3 * 0x1p-23f).IsNormalized());
  EXPECT_EQ(Q(0, 0, 0, 5).Exp(), Q(0, 0, 0, 1));
  EXPECT_EQ(Q(0.5f, 0, 0, 5).Exp(), Q(0.5f, 0, 0, 0).Exp());
  EXPECT_EQ(Q(0, 0, 0, 1).Log(), Q());
}

// The products, sums and the matrix must come out in the documented orders
// bit for bit; the reference formulas below are written independently in
// that order (this file, like the library, compiles without contraction).
TEST(QuaternionTest, ProductAndMatrixFollowTheirOperationOrdersExactly) {
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> u(-3, 3);
  for (int i = 0; i < 1000; ++i) {
    const Q a(u(rng), u(rng), u(rng), u(rng));
    const Q b(u(rng), u(rng), u(rng), u(rng));
    const Q p = a * b;
    ASSERT_EQ(p.x, a.x * b.w + b.x * a.w + a.y * b.z - a.z * b.y);
    ASSERT_EQ(p.y, a.y * b.w + b.y * a.w + a.z * b.x - b.z * a.x);
    ASSERT_EQ(p.z, a.z * b.w + b.z * a.w + a.x * b.y - a.y * b.x);
    ASSERT_EQ(p.w, b.w * a.w - a.x * b.x - a.y * b.y - a.z * b.z);
    ASSERT_EQ(a.Dot(b), a.y * b.y + a.x * b.x + a.z * b.z + a.w * b.w);

    const float s = 2 / (a.x * a.x + a.y * a.y + a.z * a.z + a.w * a.w);
    const float ys = a.y * s, zs = a.z * s;
    const KbMatrix4Rf m = a.GetRotationMatrix();
    ASSERT_EQ(m(0, 0), 1 - ys * a.y - zs * a.z);
    ASSERT_EQ(m(1, 1), (1 - a.x * s * a.x) - zs * a.z);
    ASSERT_EQ(m(1, 2), zs * a.y - a.x * s * a.w);
    ASSERT_EQ(m(2, 0), zs * a.x - ys * a.w);
    ASSERT_EQ(m(2, 2), (1 - a.x * s * a.x) - ys * a.y);
  }
}

TEST(QuaternionTest, MatrixRoundTripsThroughEveryBranch) {
  std::mt19937 rng(2);
  for (int dominant = 0; dominant < 4; ++dominant) {
    for (int i = 0; i < 2000; ++i) {
      const Q q = RandomUnit(rng, dominant);
      const KbMatrix4Rf m = q.GetRotationMatrix();
      // Against the rotation matrix of the same quaternion in double.
      const QuatD d = ToDouble(q);
      const double ref[3][3] = {{1 - 2 * (d.y * d.y + d.z * d.z), 2 * (d.x * d.y - d.z * d.w),
                                 2 * (d.x * d.z + d.y * d.w)},
                                {2 * (d.x * d.y + d.z * d.w), 1 - 2 * (d.x * d.x + d.z * d.z),
                                 2 * (d.y * d.z - d.x * d.w)},
                                {2 * (d.x * d.z - d.y * d.w), 2 * (d.y * d.z + d.x * d.w),
                                 1 - 2 * (d.x * d.x + d.y * d.y)}};
      for (unsigned int r = 0; r < 3; ++r) {
        for (unsigned int c = 0; c < 3; ++c) ASSERT_NEAR(m(r, c), ref[r][c], 8 * c_eps);
      }
      // A scaled quaternion gives the same rotation.
      const KbMatrix4Rf scaled = (q * 3.0f).GetRotationMatrix();
      for (unsigned int k = 0; k < 16; ++k) ASSERT_NEAR(scaled[k], m[k], 8 * c_eps);

      const Q back(m);
      ASSERT_TRUE(SameRotation(back, q, 16 * c_eps)) << "branch " << dominant << ", sample " << i;
      if (dominant < 3) {
        ASSERT_TRUE(back.IsNormalized());
      }
    }
  }
}

TEST(QuaternionTest, TransformEqualsTheRowVectorTimesTheMatrix) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> u(-10, 10);
  for (int i = 0; i < 5000; ++i) {
    const Q q = RandomUnit(rng, i % 4);
    const KbVector3f v(u(rng), u(rng), u(rng));
    const KbMatrix4Rf m = q.GetRotationMatrix();
    KbVector3f expected;
    for (unsigned int k = 0; k < 3; ++k)
      expected[k] = v.x * m(0, k) + v.y * m(1, k) + v.z * m(2, k);
    ASSERT_TRUE(Near(q.Transform(v), expected, 8, 16 * c_eps * v.Length())) << i;
  }
}

// Spherical interpolation in double along the shorter arc.
QuatD SlerpD(const QuatD& a, QuatD b, double t) {
  double d = DotD(a, b);
  if (d < 0) {
    d = -d;
    b = {-b.x, -b.y, -b.z, -b.w};
  }
  const double theta = std::acos(std::min(d, 1.0));
  const double s0 = std::sin((1 - t) * theta) / std::sin(theta);
  const double s1 = std::sin(t * theta) / std::sin(theta);
  return {a.x * s0 + b.x * s1, a.y * s0 + b.y * s1, a.z * s0 + b.z * s1, a.w * s0 + b.w * s1};
}

TEST(QuaternionTest, SlerpFollowsTheShorterGreatArc) {
  std::mt19937 rng(4);
  std::uniform_real_distribution<float> ut(0, 1);
  for (int i = 0; i < 5000; ++i) {
    const Q a = RandomUnit(rng);
    const Q b = RandomUnit(rng);
    const float t = ut(rng);
    const Q r = Q::Slerp(a, b, t);
    const QuatD ref = SlerpD(ToDouble(a), ToDouble(b), t);
    const double d = std::fabs(DotD(ToDouble(a), ToDouble(b)));
    // Below 0.95 the spherical formula (float acos near 0.95 costs a few
    // ulps); above, normalised lerp, off the arc by at most ~5e-4.
    const double tolerance = d < 0.94 ? 64 * c_eps : 1e-3;
    EXPECT_NEAR(r.x, ref.x, tolerance);
    EXPECT_NEAR(r.y, ref.y, tolerance);
    EXPECT_NEAR(r.z, ref.z, tolerance);
    EXPECT_NEAR(r.w, ref.w, tolerance);
    EXPECT_GE(DotD(ToDouble(r), ToDouble(a)), d - 1e-6) << "the shorter arc stays near a";
  }
}

TEST(QuaternionTest, InterpolationEdgeCases) {
  const Q a = Q(0.1f, 0.2f, 0.3f, 0.9f).Unit();
  for (float t : {0.0f, 0.3f, 0.5f, 1.0f}) EXPECT_EQ(Q::Slerp(a, -a, t), a.Unit());
  const Q nan = Q::SlerpNoInvert(a, -a, 0.5f);
  EXPECT_TRUE(std::isnan(nan.x) && std::isnan(nan.w));

  // Dot 0.96: both forms are the normalised lerp.
  const Q p(0, 0, 0, 1);
  const Q q(0.28f, 0, 0, 0.96f);
  EXPECT_EQ(Q::Slerp(p, q, 0.3f), Q::Lerp(p, q, 0.3f));
  EXPECT_EQ(Q::SlerpNoInvert(p, q, 0.3f), Q::Lerp(p, q, 0.3f));
  // SlerpNoInvert takes the longer arc; Slerp the shorter.
  const Q far(0, 0, 0.6f, -0.8f);
  const Q longer = Q::SlerpNoInvert(p, far, 0.5f);
  const Q shorter = Q::Slerp(p, far, 0.5f);
  EXPECT_NEAR(longer.Dot(p), std::sqrt(0.1f), 16 * c_eps);  // cos(acos(-0.8) / 2)
  EXPECT_NEAR(shorter.Dot(p), std::sqrt(0.9f), 16 * c_eps);
}

TEST(QuaternionTest, LogAndExpAreInverseOnUnitQuaternions) {
  std::mt19937 rng(5);
  for (int i = 0; i < 5000; ++i) {
    // w >= 0 (theta <= pi/2), as in every use on shorter arcs: near theta = pi
    // the last-bit misfit between w and |(x, y, z)| of a float unit
    // quaternion is amplified by theta / sin(theta)^2.
    Q q = RandomUnit(rng);
    if (q.w < 0) q = -q;
    const Q l = q.Log();
    EXPECT_EQ(l.w, 0.0f);
    const Q e = l.Exp();
    // acos amplifies the rounding of w by 1 / sin(theta) = 1 / |(x, y, z)|.
    const float tolerance = 16 * c_eps * (1 + 1 / std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z));
    EXPECT_NEAR(e.x, q.x, tolerance);
    EXPECT_NEAR(e.y, q.y, tolerance);
    EXPECT_NEAR(e.z, q.z, tolerance);
    EXPECT_NEAR(e.w, q.w, tolerance);
  }
}

TEST(QuaternionTest, DivisionUndoesTheProductInBothRoundings) {
  std::mt19937 rng(6);
  std::uniform_real_distribution<float> scale(0.5f, 2);
  for (int i = 0; i < 1000; ++i) {
    const Q a = RandomUnit(rng) * scale(rng);
    const Q b = RandomUnit(rng) * scale(rng);
    Q compound = a * b;
    compound /= b;
    const Q quotient = (a * b) / b;
    for (const Q& r : {compound, quotient}) {
      EXPECT_NEAR(r.x, a.x, 16 * c_eps);
      EXPECT_NEAR(r.w, a.w, 16 * c_eps);
    }
  }
}

TEST(QuaternionTest, SquadPassesThroughItsEndsAndControlPointsOfAnArcStayOnIt) {
  const Q identity(KbVector3f(1, 2, 2), 0.0f);
  const Q prev(KbVector3f(0.6f, 0, 0.8f), 0.4f);
  const Q cur(KbVector3f(0.6f, 0, 0.8f), 0.7f);
  const Q next(KbVector3f(0.6f, 0, 0.8f), 1.0f);
  EXPECT_TRUE(SameRotation(Q::SquadPoint(prev, cur, next), cur, 8 * c_eps));
  EXPECT_TRUE(SameRotation(Q::SquadPoint(identity, identity, identity), identity, 0));

  const Q a = Q::SquadPoint(prev, cur, next);
  const Q b = Q::SquadPoint(cur, next, Q(KbVector3f(0, 1, 0), 1.3f));
  EXPECT_TRUE(SameRotation(Q::Squad(cur, next, a, b, 0), cur, 4 * c_eps));
  EXPECT_TRUE(SameRotation(Q::Squad(cur, next, a, b, 1), next, 4 * c_eps));
  // At t = 0.5 the outer weight 2t(1 - t) is exactly 0.5.
  const Q mid = Q::Squad(cur, next, a, b, 0.5f);
  EXPECT_EQ(
      mid, Q::SlerpNoInvert(Q::SlerpNoInvert(cur, next, 0.5f), Q::SlerpNoInvert(a, b, 0.5f), 0.5f));
}

}  // namespace
