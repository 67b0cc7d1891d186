#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "math/foundations/KbOrthogonalMatrices.h"

namespace {

namespace OM = KbOrthogonalMatrices;

constexpr float kUlp = std::numeric_limits<float>::epsilon();  // 2^-23
constexpr float kPi = std::numbers::pi_v<float>;
// Float rotations (sines, cosines, Gram-Schmidt) agree with exact ones to a few ulps.
constexpr float kTolerance = 8 * kUlp;

KbVector3f Row(const KbMatrix4Rf& m, unsigned int r) {
  return {m(r, 0), m(r, 1), m(r, 2)};
}

KbMatrix4Rf Diagonal(float a, float b, float c) {
  return KbMatrix4Rf(a, 0, 0, 0, 0, b, 0, 0, 0, 0, c, 0, 0, 0, 0, 1);
}

KbVector3f RandomAngles(std::mt19937& rng, float maxY) {
  std::uniform_real_distribution<float> xz(-3.1f, 3.1f), y(-maxY, maxY);
  return {xz(rng), y(rng), xz(rng)};
}

void ExpectBlockNear(const KbMatrix4Rf& actual, const KbMatrix4Rf& expected, float tolerance) {
  for (unsigned int i = 0; i < 12; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << i;
}

TEST(OrthogonalityTests, InclusiveThresholdsExactAffineElementsAndReflections) {
  // |det| - 1 limit 3 * 2^-23 on both sides of 1; identity limit 9 * 2^-23 (det exactly 1).
  EXPECT_TRUE(OM::IsRigidTransform(Diagonal(1 + 3 * kUlp, 1, 1)));
  EXPECT_FALSE(OM::IsRigidTransform(Diagonal(1 + 4 * kUlp, 1, 1)));
  EXPECT_FALSE(OM::IsRigidTransform(Diagonal(1, std::numeric_limits<float>::quiet_NaN(), 1)));
  KbMatrix4Rf shear;
  shear(1, 0) = 9 * kUlp;
  EXPECT_TRUE(OM::IsRigidTransform(shear));
  shear(1, 0) = 10 * kUlp;
  EXPECT_FALSE(OM::IsRigidTransform(shear));

  KbMatrix4Rf moved = OM::MakeXYZRotation({0.5f, 0.2f, -1.0f});
  moved(3, 0) = 5.0f;
  EXPECT_TRUE(OM::IsRigidTransform(moved) && !OM::IsOrthogonalTransform3D(moved));
  KbMatrix4Rf almostAffine;
  almostAffine[15] = 0.999999f;
  EXPECT_FALSE(OM::IsRigidTransform(almostAffine));
  for (unsigned int i : {3u, 7u, 11u}) {  // any one projective element
    KbMatrix4Rf projective;
    projective[i] = 0.5f;
    EXPECT_FALSE(OM::IsRigidTransform(projective)) << i;
  }

  EXPECT_TRUE(OM::IsRotation(Diagonal(1, 1, -1)));     // reflections pass
  EXPECT_FALSE(OM::IsRotation(Diagonal(2, 0.5f, 1)));  // det 1, not orthogonal
}

TEST(GramSchmidtTests, DriftedRotationsReflectionsLeadingRowsAndVanishingRows) {
  std::mt19937 rng(11u);
  std::uniform_real_distribution<float> noise(-0.2f, 0.2f);
  for (int trial = 0; trial < 200; ++trial) {
    KbMatrix4Rf drifted = OM::MakeXYZRotation(RandomAngles(rng, 1.5f));
    for (unsigned int i = 0; i < 12; ++i) drifted[i] += noise(rng);  // incl. the fourth column
    for (unsigned int c = 0; c < 4; ++c) drifted(3, c) = 3.0f;       // a whole row to reset
    if (trial % 2 == 1) drifted = Diagonal(1, 1, -1) * drifted;      // reflection

    for (unsigned int lead = 0; lead < 3; ++lead) {
      KbMatrix4Rf m = drifted;
      OM::GramSchmidtOrthonormalization(m, lead);
      EXPECT_TRUE(OM::IsOrthogonalTransform3D(m));     // also the exact 0s and 1
      const KbVector3f original = Row(drifted, lead);  // keeps direction and sense
      EXPECT_NEAR(Row(m, lead).Dot(original), original.Length(), 4 * kUlp * original.Length());
    }
    KbMatrix4Rf plain = drifted, aggressive = drifted;
    OM::GramSchmidtOrthonormalization(plain);
    // Row 1 stays in the plane of old rows 0 and 1; rows 1 and 2 keep their sides.
    const KbVector3f normal01 = Row(drifted, 0).Cross(Row(drifted, 1));
    EXPECT_NEAR(Row(plain, 1).Dot(normal01), 0.0f, 8 * kUlp * normal01.Length());
    EXPECT_GT(Row(plain, 1).Dot(Row(drifted, 1)), 0.0f);
    EXPECT_GT(Row(plain, 2).Dot(Row(drifted, 2)), 0.0f);
    OM::GramSchmidtOrthonormalizationAggressive(aggressive);
    EXPECT_TRUE(OM::IsOrthogonalTransform3D(aggressive));
    ExpectBlockNear(aggressive, plain, kTolerance);
  }

  // Dependent and below-threshold rows become zero.
  KbMatrix4Rf m(2, 0, 0, 0, 4, 0, 0, 0, 1e-19f, 0, 0, 0, 0, 0, 0, 1);
  OM::GramSchmidtOrthonormalization(m);
  EXPECT_TRUE(m == KbMatrix4Rf(1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1));
  // Squared length 1.44e-38 is just above the smallest normal float.
  KbMatrix4Rf tiny = Diagonal(1.2e-19f, 1, 1);
  OM::GramSchmidtOrthonormalization(tiny);
  EXPECT_TRUE(tiny == KbMatrix4Rf());
}

TEST(IterativeOrthonormalizationTests,
     StretchedRotationsConvergeAndZeroIterationsGiveTheTraceQuaternion) {
  // The polar factor of S R, S symmetric positive definite, is R: an exact
  // reference. Random angles give positive and negative traces; 16 steps
  // converge on all of them.
  std::mt19937 rng(23u);
  std::uniform_real_distribution<float> noise(-0.15f, 0.15f);
  for (int trial = 0; trial < 200; ++trial) {
    const KbMatrix4Rf rotation = OM::MakeXYZRotation(RandomAngles(rng, 1.5f));
    KbMatrix4Rf stretch;
    for (unsigned int r = 0; r < 3; ++r)
      for (unsigned int c = r; c < 3; ++c)
        stretch(r, c) = stretch(c, r) = stretch(r, c) + noise(rng);
    KbMatrix4Rf m = stretch * rotation;
    m(3, 1) = 2.0f;
    OM::IterativeOrthonormalization(m, 20);
    EXPECT_TRUE(OM::IsOrthogonalTransform3D(m));  // also the exact 0s and 1
    ExpectBlockNear(m, rotation, 2e-6f);
  }
  // Rz(theta) scaled by 1.5: the quaternion is proportional to (sqrt(T + 1) / 2, 0, 0,
  // 1.5 sin(theta) / sqrt(T + 1)), T = 1.5 (1 + 2 cos theta): a turn by 2 atan2(3 sin, T + 1).
  const double theta = 0.3, trace = 1.5 * (1 + 2 * std::cos(theta));
  const float phi = static_cast<float>(2 * std::atan2(3 * std::sin(theta), trace + 1));
  KbMatrix4Rf scaled = Diagonal(1.5f, 1.5f, 1.5f) * OM::MakeXYZRotation({0, 0, float(theta)});
  OM::IterativeOrthonormalization(scaled, 0);
  ExpectBlockNear(scaled, OM::MakeXYZRotation({0, 0, phi}), kTolerance);
  // Rotations of negative trace (the diagonal branch) and positive are their own start.
  for (const KbVector3f angles : {KbVector3f(2.5f, 0.4f, -2.0f), KbVector3f(0.3f, -0.2f, 0.4f)}) {
    const KbMatrix4Rf turn = OM::MakeXYZRotation(angles);
    KbMatrix4Rf start = turn;
    OM::IterativeOrthonormalization(start, 0);
    ExpectBlockNear(start, turn, kTolerance);
  }
}

// Well inside (-90, 90) degrees on Y the angles come back; near and at
// +-90 degrees only x -+ z is determined, so the angles must rebuild the
// same rotation, wrapped into range.
TEST(RotationAngleTests, AnglesRoundTripInsideAndRebuildTheRotationNearNinetyDegreesY) {
  std::mt19937 rng(31u);
  std::uniform_real_distribution<float> offset(0.0f, 0.09f);
  for (int trial = 0; trial < 2000; ++trial) {
    KbVector3f v = RandomAngles(rng, 1.4f);  // cos y > 0.1: no gimbal handling
    if (trial % 2 == 0) {
      const KbVector3f angles = OM::GetAnglesXYZ(OM::MakeXYZRotation(v));
      for (unsigned int i = 0; i < 3; ++i) EXPECT_NEAR(angles[i], v[i], 16 * kUlp) << i;
      continue;
    }
    v.y = (trial % 4 == 1 ? -1 : 1) * (kPi / 2 - (trial % 10 < 2 ? 0 : offset(rng)));
    const KbMatrix4Rf m = OM::MakeXYZRotation(v);
    const KbVector3f angles = OM::GetAnglesXYZ(m);
    EXPECT_NEAR(angles.y, v.y, 1e-3f);
    EXPECT_LE(std::fabs(angles.x), kPi + kUlp);
    EXPECT_LE(std::fabs(angles.z), kPi + kUlp);
    ExpectBlockNear(OM::MakeXYZRotation(angles), m, 32 * kUlp);
  }
}

TEST(RotationAngleTests, MakeXYRotationTurnsRandomVectorsOntoPlusZ) {
  std::mt19937 rng(41u);
  std::uniform_real_distribution<float> coordinate(-10.0f, 10.0f);
  for (int trial = 0; trial < 300; ++trial) {
    const KbVector3f v{coordinate(rng), coordinate(rng), coordinate(rng)};
    const KbMatrix4Rf m = OM::MakeXYRotation(v);
    EXPECT_TRUE(OM::IsRotation(m));
    const KbVector3f turned = m.TransformPoint(v), expected(0, 0, v.Length());
    for (unsigned int i = 0; i < 3; ++i) EXPECT_NEAR(turned[i], expected[i], 4 * kUlp * v.Length());
  }
}

}  // namespace
