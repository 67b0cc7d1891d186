#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "base/KbStreamWriteASCII.h"
#include "math/registration/KoTransformation.h"
#include "math/registration/RegistrationTestSupport.h"

namespace {

// T(-p) · S · R · T(p + t), written out as its four factors (the product
// itself is checked against numpy in the base tests).
KbMatrix4Rf Composed(const KbVector3f& t, const KbMatrix4Rf& r, const KbVector3f& p,
                     const KbVector3f& s) {
  const KbVector3f q = p + t;
  const KbMatrix4Rf from(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -p.x, -p.y, -p.z, 1);
  const KbMatrix4Rf scaling(s.x, 0, 0, 0, 0, s.y, 0, 0, 0, 0, s.z, 0, 0, 0, 0, 1);
  const KbMatrix4Rf to(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, q.x, q.y, q.z, 1);
  return from * scaling * r * to;
}

bool SameBits(const KbMatrix4Rf& a, const KbMatrix4Rf& b) {
  return std::memcmp(a.GetData(), b.GetData(), sizeof(float) * 16) == 0;
}

// Every component differs from the identity's; the rotation is 90° about z
// with a non-zero fourth column.
KoTransformation Sample() {
  KoTransformation t(KbVector3f(1.5f, -2.0f, 0.25f),
                     KbMatrix4Rf(0, 1, 0, 0.5f, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1),
                     KbVector3f(2.0f, 3.0f, 0.5f));
  t.SetRotationPivot(KbVector3f(0.1f, 0.7f, -3.0f), false);
  t.SetScalingPivot(KbVector3f(9.0f, 8.0f, 7.0f));
  return t;
}

TEST(TransformationTest, ComposesTheFourFactorsInOrderBitForBit) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> value(-4.0f, 4.0f);
  for (int trial = 0; trial < 200; ++trial) {
    const KbVector3f t{value(random), value(random), value(random)};
    const KbVector3f p{value(random), value(random), value(random)};
    const KbVector3f s{value(random), value(random), value(random)};
    KbMatrix4Rf r = RowRotation(RandomRotation(random));
    if (trial % 2 == 1) r(1, 3) = value(random);  // the full product, not the affine one
    KoTransformation x(t, r, s);
    x.SetRotationPivot(p, false);
    x.SetScalingPivot(s);  // stored, but not composed
    EXPECT_TRUE(SameBits(x, Composed(t, r, p, s)));
    EXPECT_TRUE(SameBits(KoTransformation(t, r), Composed(t, r, {}, {1, 1, 1})));
  }
  KoTransformation infinite;  // zeros take part, so an infinity spreads as NaN
  infinite.SetScaling(INFINITY, 1.0f, 1.0f);
  EXPECT_TRUE(std::isnan(infinite.GetMatrix()(1, 0)));
}

TEST(TransformationTest, EveryChangeNotifiesOnceAndTheCopyConstructorNever) {
  KoTransformation t;
  CountingObserver observer;
  t.AddObserver(observer);
  const Bytes record = ko_test::Write(Sample());
  KbStreamReadBinaryMemory in(record);
  const KoTransformation& self = t;
  int expected = 0;
  for (const auto& change : std::initializer_list<std::function<void()>>{
           [&] { t.SetTranslation(KbVector3f(1, 2, 3)); },
           [&] { t.SetRotation(Sample().GetRotation()); },
           [&] { t.SetScaling(KbVector3f(2, 2, 2)); }, [&] { t.SetScaling(1.0f, 2.0f, 3.0f); },
           [&] { t.SetScaling(0.5f); }, [&] { t.SetScalingPivot(KbVector3f(4, 5, 6)); },
           [&] { t.SetRotationPivot(KbVector3f(1, 1, 1), true); },
           [&] { t.SetRotationPivot(KbVector3f(2, 1, 1), false); }, [&] { t = KbMatrix4Rf(); },
           [&] { t.Reset(); },
           // Every member is read back, reset and copied, not just the matrix.
           [&] {
             t.Serialize(in);
             EXPECT_EQ(ko_test::Write(t), record);
           },
           [&] {
             t.Reset();
             EXPECT_EQ(ko_test::Write(t), ko_test::Write(KoTransformation()));
           },
           [&] {
             t = Sample();
             EXPECT_EQ(ko_test::Write(t), record);
           },
           [&] { t = self; }}) {
    change();
    EXPECT_EQ(observer.count, ++expected);
  }
  const KoTransformation copy(t);
  EXPECT_TRUE(observer.count == expected && SameBits(copy, t));
}

// The translation absorbs a kept pivot move; IsEqualTol compares the
// Frobenius distance inclusively (differences 3 and 4: distance 5).
TEST(TransformationTest, KeptPivotMoveLeavesTheMappingWithinTolerance) {
  KoTransformation t(KbVector3f(1.5f, -2.0f, 0.25f),
                     KbMatrix4Rf(0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1),
                     KbVector3f(2.0f, 3.0f, 0.5f));  // affine, unlike Sample()
  const KbMatrix4Rf before = t;
  t.SetRotationPivot(KbVector3f(-2.0f, 5.0f, 1.0f), true);
  EXPECT_TRUE(t.IsEqualTol(before, 1e-5f));

  KbMatrix4Rf off;
  off(0, 0) = 4.0f, off(3, 2) = -4.0f;
  EXPECT_TRUE(KoTransformation().IsEqualTol(off, 5.0f));
  EXPECT_FALSE(KoTransformation().IsEqualTol(off, 4.9999995f));
}

TEST(TransformationTest, RecordHasTheVersionAfterTheTranslation) {
  ko_test::RecordBytes expected;
  expected.Put(1.5f).Put(-2.0f).Put(0.25f).U32(1);
  for (float e : {0.0f, 1.0f, 0.0f, 0.5f, -1.0f, 0.0f,  0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f,
                  0.0f, 0.0f, 1.0f, 0.1f, 0.7f,  -3.0f, 2.0f, 3.0f, 0.5f, 9.0f, 8.0f, 7.0f})
    expected.Put(e);
  EXPECT_EQ(ko_test::Write(Sample()), expected.bytes);
}

TEST(TransformationTest, DumpUsesTheFixedLabelsAndTwelveColumnRotationRows) {
  KoTransformation t = Sample();
  t.SetRotation(KbMatrix4Rf(-1, 12345.6789f, 0.0005f, 1e9f, -0.0f, 0.0015f, NAN, -INFINITY, 0, 0, 1,
                            0, 0, 0, 0, 1));
  KbStreamWriteASCIIStringT<wchar_t> text;
  t.Dump(text);
  EXPECT_EQ(text.GetString(),
            L"Translation: [1.5 -2 0.25]\n\n"
            L"Rotation: [      -1.000    12345.679        0.001 1000000000.000]\n"
            L"[      -0.000        0.002          nan         -inf]\n"
            L"[       0.000        0.000        1.000        0.000]\n"
            L"[       0.000        0.000        0.000        1.000]\n\n"
            L"Rotations-Pivot: [0.1 0.7 -3]\n\n"
            L"Skalierung: [2 3 0.5]\n\n"
            L"Skalierungs-Pivot: [9 8 7]\n\n");
}

TEST(TransformationTest, MatrixAssignmentDecomposesWithoutRepairs) {
  // Scale 2 along x, then 90° about z, then shift (row vectors).
  const KbMatrix4Rf m(0, 2, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1);
  KoTransformation t(m);
  EXPECT_EQ(t.GetScaling(), KbVector3f(2, 1, 1));
  EXPECT_TRUE(t.GetRotation() == KbMatrix4Rf(0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
  EXPECT_TRUE(t.GetTranslation() == KbVector3f(5, 6, 7) && t == m);
  // A mirror stays in the rotation; a zero row makes its rotation row NaN.
  // The pivot starts over at the origin.
  t.SetRotationPivot(KbVector3f(1, 2, 3), false);
  t = KbMatrix4Rf(-3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
  EXPECT_TRUE(t.GetRotationPivot() == KbVector3f() && t.GetScaling() == KbVector3f(3, 0, 1));
  EXPECT_TRUE(t.GetRotation()(0, 0) == -1.0f && std::isnan(t.GetRotation()(1, 1)));
  // The argument may be the object's own rotation: 30 times the rotation
  // of the quaternion (1, 2, 3, 4), rows of length 30 with no zero entry.
  t.SetRotation(KbMatrix4Rf(-20, 4, 22, 0, 20, -10, 20, 0, 10, 28, 4, 0, 0, 0, 0, 1));
  t = t.GetRotation();
  EXPECT_EQ(t.GetScaling(), KbVector3f(30, 30, 30));
  EXPECT_EQ(t.GetRotation()(0, 1), 4.0f / 30.0f);  // 4 (1/30) rounds as 4/30 does
}

}  // namespace
