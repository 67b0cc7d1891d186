#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "RecordTestSupport.h"
#include "math/rotations/KoTangentBasis.h"

namespace {

constexpr float c_eps = std::numeric_limits<float>::epsilon();

KbVector3f RandomUnit(std::mt19937& rng) {
  std::uniform_real_distribution<float> u(-1, 1);
  const KbVector3f v(u(rng), u(rng), u(rng));
  return v / v.Length();
}

TEST(TangentBasisTest, HandednessValidityAndEdgeCases) {
  const KbVector3f n(0, 0, 1), t(1, 0, 0);
  const KoTangentBasis right(n, t, 1.0f);
  EXPECT_EQ(right.GetBitangent(), KbVector3f(0, -1, 0));
  KoTangentBasis scaled(KbVector3f(2, 0, 4), KbVector3f(1, 1, 1), 2.0f);
  EXPECT_EQ(scaled.GetBitangent(), KbVector3f(8, -4, -4));
  scaled.Normalize();  // each vector on its own
  for (const KbVector3f& v : {scaled.GetNormal(), scaled.GetTangent(), scaled.GetBitangent()})
    EXPECT_NEAR(v.Length(), 1, c_eps);
  EXPECT_TRUE(right.GetDeterminant() == -1.0f && !right.IsValid());
  KoTangentBasis left(n, t, -1.0f);
  EXPECT_TRUE(left.GetDeterminant() == 1.0f && left.IsValid() && !KoTangentBasis().IsValid());
  EXPECT_EQ(left.Transform(KbVector3f(1, 0, 0)), t);

  left.Rotate(KbVector3f(0, 0, -1));  // opposite normal: N deliberately kept
  EXPECT_TRUE(left.GetNormal() == n && left.GetTangent() == KbVector3f(-1, 0, 0));
  EXPECT_EQ(left.GetBitangent(), KbVector3f(0, -1, 0));
  EXPECT_FALSE(std::signbit(left.GetTangent().y));  // 0 - 0 is +0

  KoTangentBasis parallel(KbVector3f(0, 0, 2), KbVector3f(0, 0, -5), KbVector3f(1, 1, 0));
  parallel.Orthonormalize();
  EXPECT_TRUE(parallel.GetNormal() == n && parallel.GetTangent() == KbVector3f(0, 0, 0));
}

TEST(TangentBasisTest, RandomFramesInvertOrthonormalizeAndRotate) {
  std::mt19937 rng(2);
  for (int i = 0; i < 3000; ++i) {
    KoTangentBasis b(RandomUnit(rng), RandomUnit(rng), RandomUnit(rng));
    const float det = b.GetDeterminant();
    if (std::fabs(det) < 0.1f) continue;  // keep the condition number moderate
    const KbVector3f v = RandomUnit(rng);
    const KbVector3f back = b.TransformInverse(b.Transform(v));
    for (unsigned int k = 0; k < 3; ++k) EXPECT_NEAR(back[k], v[k], 64 * c_eps / std::fabs(det));

    b.Orthonormalize();
    EXPECT_EQ(b.GetHandedness(), det > 0 ? 1.0f : -1.0f);
    EXPECT_NEAR(b.GetDeterminant(), b.GetHandedness(), 32 * c_eps);  // orthonormal
    const KbVector3f target = RandomUnit(rng);
    if (b.GetNormal().Dot(target) < -0.9f) continue;  // rounding grows with 1 / (1 + c)
    b.Rotate(target);
    EXPECT_EQ(b.GetNormal(), target);
    EXPECT_NEAR(b.GetTangent().Dot(target), 0, 64 * c_eps);
    EXPECT_NEAR(b.GetDeterminant(), b.GetHandedness(), 64 * c_eps);  // still rigid
  }
}

// Truncations and round trips are swept in tests/records.
TEST(TangentBasisRecordTest, BytesAreTheVersionThenNormalTangentBitangent) {
  const KoTangentBasis basis(KbVector3f(1, 2, 3), KbVector3f(4, 5, 6), KbVector3f(7, 8, 9.5f));
  const ko_test::Bytes bytes = ko_test::Write(basis);
  EXPECT_EQ(bytes, ko_test::Pack(0u, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 9.5f));
  KoTangentBasis read;  // every vector read, into a basis that held other ones
  ko_test::Read(read, bytes);
  EXPECT_EQ(ko_test::Write(read), bytes);
}

}  // namespace
