#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "base/KbException.h"
#include "math/rotations/KoTangentBasis.h"
#include "math/rotations/RotationsTestSupport.h"

namespace {

using ko_test::Bytes;
using ko_test::Near;
using ko_test::Pack;

constexpr float c_eps = std::numeric_limits<float>::epsilon();

KbVector3f RandomVector(std::mt19937& rng) {
  std::uniform_real_distribution<float> u(-1, 1);
  return KbVector3f(u(rng), u(rng), u(rng));
}

KbVector3f RandomUnit(std::mt19937& rng) {
  const KbVector3f v = RandomVector(rng);
  return v / v.Length();
}

double Det(const KbVector3f& t, const KbVector3f& b, const KbVector3f& n) {
  return double(n.x) * (double(t.y) * b.z - double(t.z) * b.y) +
         double(n.y) * (double(t.z) * b.x - double(t.x) * b.z) +
         double(n.z) * (double(t.x) * b.y - double(t.y) * b.x);
}

TEST(TangentBasisTest, HandednessDeterminantAndValidity) {
  const KbVector3f n(0, 0, 1), t(1, 0, 0);
  const KoTangentBasis right(n, t, 1.0f);
  EXPECT_EQ(right.GetBitangent(), KbVector3f(0, -1, 0));
  EXPECT_EQ(right.GetDeterminant(), -1.0f);
  EXPECT_EQ(right.GetHandedness(), -1.0f);
  EXPECT_FALSE(right.IsValid());
  const KoTangentBasis left(n, t, -1.0f);
  EXPECT_EQ(left.GetBitangent(), KbVector3f(0, 1, 0));
  EXPECT_EQ(left.GetDeterminant(), 1.0f);
  EXPECT_EQ(left.GetHandedness(), 1.0f);
  EXPECT_TRUE(left.IsValid());

  EXPECT_FALSE(KoTangentBasis().IsValid());
  EXPECT_EQ(KoTangentBasis().GetHandedness(), -1.0f);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(KoTangentBasis(KbVector3f(nan, 0, 1), t, KbVector3f(0, 1, 0)).GetHandedness(), -1.0f);
  // A zero vector is invalid even when the others would pass.
  EXPECT_FALSE(KoTangentBasis(n, KbVector3f(0, 0, 0), KbVector3f(0, 1, 0)).IsValid());

  KoTangentBasis mutableBasis;
  mutableBasis.GetNormal() = n;
  mutableBasis.GetTangent() = t;
  mutableBasis.GetBitangent() = KbVector3f(0, 1, 0);
  EXPECT_TRUE(mutableBasis.IsValid());
  EXPECT_EQ(mutableBasis.Transform(KbVector3f(1, 0, 0)), t);
  EXPECT_EQ(mutableBasis.Transform(KbVector3f(2, 3, 4)), KbVector3f(2, 3, 4));
}

TEST(TangentBasisTest, DeterminantMatchesDoubleOnRandomBases) {
  std::mt19937 rng(1);
  for (int i = 0; i < 2000; ++i) {
    const KoTangentBasis b(RandomVector(rng), RandomVector(rng), RandomVector(rng));
    EXPECT_NEAR(b.GetDeterminant(), Det(b.GetTangent(), b.GetBitangent(), b.GetNormal()),
                8 * c_eps);
  }
}

TEST(TangentBasisTest, TransformInverseUndoesTransformOnNonSingularBases) {
  std::mt19937 rng(2);
  int checked = 0;
  while (checked < 3000) {
    const KoTangentBasis b(RandomVector(rng), RandomVector(rng), RandomVector(rng));
    const double det = Det(b.GetTangent(), b.GetBitangent(), b.GetNormal());
    if (std::fabs(det) < 0.05) continue;  // keep the condition number moderate
    ++checked;
    const KbVector3f v = RandomVector(rng);
    const KbVector3f back = b.TransformInverse(b.Transform(v));
    const float tolerance = 64 * c_eps / static_cast<float>(std::fabs(det));
    ASSERT_TRUE(Near(back, v, 0, tolerance)) << checked;
    ASSERT_TRUE(Near(b.TransformInverse(b.GetTangent()), KbVector3f(1, 0, 0), 0, tolerance));
  }
  const KoTangentBasis singular(KbVector3f(0, 0, 1), KbVector3f(1, 0, 0), KbVector3f(1, 0, 0));
  EXPECT_FALSE(std::isfinite(singular.TransformInverse(KbVector3f(1, 2, 3)).x));
}

TEST(TangentBasisTest, OrthonormalizeKeepsNormalDirectionAndHandedness) {
  std::mt19937 rng(3);
  for (int i = 0; i < 2000; ++i) {
    const KbVector3f n0 = RandomUnit(rng) * 3.0f;
    KoTangentBasis b(n0, RandomUnit(rng), RandomUnit(rng));
    // Nearly dependent inputs lose orthogonality in proportion to 1 / |det|.
    if (std::fabs(Det(b.GetTangent(), b.GetBitangent(), b.GetNormal())) < 3 * 0.1) continue;
    const float handedness = b.GetHandedness();
    b.Orthonormalize();
    const KbVector3f &n = b.GetNormal(), &t = b.GetTangent(), &bt = b.GetBitangent();
    EXPECT_TRUE(Near(n, n0 / n0.Length(), 4, 4 * c_eps));
    EXPECT_NEAR(n.Length(), 1, 4 * c_eps);
    EXPECT_NEAR(t.Length(), 1, 4 * c_eps);
    EXPECT_NEAR(bt.Length(), 1, 4 * c_eps);
    EXPECT_NEAR(n.Dot(t), 0, 32 * c_eps);
    EXPECT_NEAR(n.Dot(bt), 0, 32 * c_eps);
    EXPECT_NEAR(t.Dot(bt), 0, 32 * c_eps);
    EXPECT_EQ(b.GetHandedness(), handedness);
  }
  KoTangentBasis parallel(KbVector3f(0, 0, 2), KbVector3f(0, 0, -5), KbVector3f(1, 1, 1));
  parallel.Orthonormalize();
  EXPECT_EQ(parallel.GetNormal(), KbVector3f(0, 0, 1));
  EXPECT_EQ(parallel.GetTangent(), KbVector3f(0, 0, 0));
  EXPECT_TRUE(Near(parallel.GetBitangent(), KbVector3f(0.70710677f, 0.70710677f, 0), 1, 0));

  KoTangentBasis tiny(KbVector3f(1e-20f, 0, 0), KbVector3f(0, 2, 0), KbVector3f(0, 0, 4));
  tiny.Normalize();  // the normal's squared length underflows: zero
  EXPECT_EQ(tiny.GetNormal(), KbVector3f(0, 0, 0));
  EXPECT_EQ(tiny.GetTangent(), KbVector3f(0, 1, 0));
  EXPECT_EQ(tiny.GetBitangent(), KbVector3f(0, 0, 1));
}

TEST(TangentBasisTest, RotateCarriesTheFrameRigidlyOntoTheNewNormal) {
  std::mt19937 rng(4);
  for (int i = 0; i < 2000; ++i) {
    const KbVector3f n = RandomUnit(rng);
    KoTangentBasis b(n, RandomVector(rng), -1.0f);
    b.Orthonormalize();
    const KoTangentBasis before = b;
    const KbVector3f target = RandomUnit(rng);
    if (n.Dot(target) < -0.9f) continue;  // rounding grows with 1 / (1 + c)
    b.Rotate(target);
    EXPECT_EQ(b.GetNormal(), target);
    // A rotation keeps lengths, angles, handedness and the angle to N.
    EXPECT_NEAR(b.GetTangent().Length(), 1, 64 * c_eps);
    EXPECT_NEAR(b.GetBitangent().Length(), 1, 64 * c_eps);
    EXPECT_NEAR(b.GetTangent().Dot(target), 0, 64 * c_eps);
    EXPECT_NEAR(b.GetBitangent().Dot(target), 0, 64 * c_eps);
    EXPECT_NEAR(b.GetDeterminant(), before.GetDeterminant(), 64 * c_eps);
  }

  KoTangentBasis flipped(KbVector3f(0, 0, 1), KbVector3f(1, 0, 0), KbVector3f(0, 1, 0));
  flipped.Rotate(KbVector3f(0, 0, -1));
  EXPECT_EQ(flipped.GetNormal(), KbVector3f(0, 0, 1));  // kept, deliberately
  EXPECT_EQ(flipped.GetTangent(), KbVector3f(-1, 0, 0));
  EXPECT_EQ(flipped.GetBitangent(), KbVector3f(0, -1, 0));
  EXPECT_FALSE(std::signbit(flipped.GetTangent().y));  // 0 - 0 is +0
}

TEST(TangentBasisRecordTest, BytesRoundTripAndBadRecordsKeepTheBasis) {
  const KoTangentBasis basis(KbVector3f(1, 2, 3), KbVector3f(4, 5, 6), KbVector3f(7, 8, 9.5f));
  const Bytes bytes = ko_test::Write(basis);
  EXPECT_EQ(bytes, Pack(std::uint32_t{0}, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 9.5f));

  KoTangentBasis read;
  ko_test::Read(read, bytes);
  EXPECT_EQ(ko_test::Write(read), bytes);

  KoTangentBasis kept(KbVector3f(0, 0, 1), KbVector3f(1, 0, 0), -1.0f);
  const Bytes before = ko_test::Write(kept);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_THROW(ko_test::Read(kept, Bytes(bytes.begin(), bytes.begin() + length)),
                 KbExceptionEndOfStream);
    EXPECT_EQ(ko_test::Write(kept), before);
  }
  Bytes version = bytes;
  version[0] = 1;
  EXPECT_THROW(ko_test::Read(kept, version), KbExceptionWrongFileVersion);
  EXPECT_EQ(ko_test::Write(kept), before);
}

}  // namespace
