#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "base/KbException.h"
#include "base/KbStreamBinaryMemory.h"
#include "base/KbStreamWriteASCII.h"
#include "math/registration/KoExceptionNotInvertible.h"
#include "math/registration/KoTransformation.h"
#include "math/registration/RegistrationTestSupport.h"

namespace {

using ko_test::Bytes;
using ko_test::CountingObserver;

// The plain triple loop, each element summed from its first product on.
KbMatrix4Rf Product(const KbMatrix4Rf& a, const KbMatrix4Rf& b) {
  KbMatrix4Rf c;
  for (unsigned int r = 0; r < 4; ++r) {
    for (unsigned int k = 0; k < 4; ++k) {
      float sum = a(r, 0) * b(0, k);
      for (unsigned int j = 1; j < 4; ++j) sum += a(r, j) * b(j, k);
      c(r, k) = sum;
    }
  }
  return c;
}

KbMatrix4Rf Shift(const KbVector3f& v) {
  KbMatrix4Rf m;
  m(3, 0) = v.x, m(3, 1) = v.y, m(3, 2) = v.z;
  return m;
}

// T(-p) · S · R · T(p + t), written out independently.
KbMatrix4Rf Composed(const KbVector3f& t, const KbMatrix4Rf& r, const KbVector3f& p,
                     const KbVector3f& s) {
  KbMatrix4Rf scaling;
  scaling(0, 0) = s.x, scaling(1, 1) = s.y, scaling(2, 2) = s.z;
  return Product(Product(Product(Shift(-p), scaling), r), Shift(p + t));
}

bool SameBits(const KbMatrix4Rf& a, const KbMatrix4Rf& b) {
  return std::memcmp(a.GetData(), b.GetData(), sizeof(float) * 16) == 0;
}

std::wstring DumpText(const KoTransformation& t) {
  KbStreamWriteASCIIStringT<wchar_t> text;
  t.Dump(text);
  return text.GetString();
}

// Translation, 90° about z with a non-zero fourth column, pivot, scaling and
// a scaling pivot: every component differs from the identity's.
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
    const KbVector3f t(value(random), value(random), value(random));
    const KbVector3f p(value(random), value(random), value(random));
    const KbVector3f s(value(random), value(random), value(random));
    KbMatrix4Rf r = ko_test::RandomRotation(random);
    if (trial % 2 == 1) r(1, 3) = value(random);  // the full product, not the affine one
    KoTransformation x(t, r, s);
    x.SetRotationPivot(p, false);
    EXPECT_TRUE(SameBits(x, Composed(t, r, p, s)));
    // A point moves by ((q - p) scaled, rotated) + p + t.
    if (trial % 2 == 0) {
      const KbVector3f q(1.0f, -2.0f, 3.0f);
      const KbVector3f expected =
          r.TransformPoint(KbVector3f((q.x - p.x) * s.x, (q.y - p.y) * s.y, (q.z - p.z) * s.z)) +
          p + t;
      const KbVector3f mapped = x.GetMatrix().TransformPoint(q);
      EXPECT_NEAR((mapped - expected).Length(), 0.0f, 1e-4f);
    }
  }
  // Non-finite components spread through the full products.
  KoTransformation infinite;
  infinite.SetScaling(INFINITY, 1.0f, 1.0f);
  EXPECT_TRUE(std::isnan(infinite.GetMatrix()(1, 0)));
}

TEST(TransformationTest, EveryChangeNotifiesOnceAndTheCopyConstructorNever) {
  KoTransformation t;
  CountingObserver observer;
  t.AddObserver(observer);
  int expected = 0;
  auto step = [&](auto&& change) {
    change();
    ++expected;
    EXPECT_EQ(observer.count, expected);
    EXPECT_EQ(observer.lastType, KoObservableMessage::eChanged);
    EXPECT_EQ(observer.lastData, nullptr);
  };
  step([&] { t.SetTranslation(KbVector3f(1, 2, 3)); });
  std::mt19937 random(1);
  step([&] { t.SetRotation(ko_test::RandomRotation(random)); });
  step([&] { t.SetScaling(KbVector3f(2, 2, 2)); });
  step([&] { t.SetScaling(1.0f, 2.0f, 3.0f); });
  step([&] { t.SetScaling(0.5f); });
  step([&] { t.SetScalingPivot(KbVector3f(4, 5, 6)); });
  step([&] { t.SetRotationPivot(KbVector3f(1, 1, 1), true); });
  step([&] { t.SetRotationPivot(KbVector3f(2, 1, 1), false); });
  step([&] { t = KbMatrix4Rf(); });
  step([&] { t.Reset(); });
  step([&] { t = Sample(); });
  step([&] { t = t; });
  const Bytes record = ko_test::Write(t);
  step([&] {
    KbStreamReadBinaryMemory in(record);
    t.Serialize(in);
  });

  const KoTransformation copy(t);
  EXPECT_EQ(observer.count, expected);
  EXPECT_TRUE(SameBits(copy, t));
  EXPECT_EQ(copy.GetScalingPivot(), t.GetScalingPivot());
}

TEST(TransformationTest, RecordHasTheVersionAfterTheTranslation) {
  const KoTransformation t = Sample();
  ko_test::Packer expected;
  expected(1.5f)(-2.0f)(0.25f)(std::uint32_t{1});
  for (float e : {0.0f, 1.0f, 0.0f, 0.5f, -1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f,
                  0.0f, 0.0f, 1.0f}) {
    expected(e);
  }
  expected(0.1f)(0.7f)(-3.0f)(2.0f)(3.0f)(0.5f)(9.0f)(8.0f)(7.0f);
  const Bytes record = ko_test::Write(t);
  EXPECT_EQ(record, expected.bytes);

  KoTransformation back;
  KbStreamReadBinaryMemory in(record);
  back.Serialize(in);
  EXPECT_EQ(in.GetRemainingBytes(), 0u);
  EXPECT_TRUE(SameBits(back, t));
  EXPECT_EQ(back.GetRotationPivot(), t.GetRotationPivot());
  EXPECT_EQ(back.GetScalingPivot(), t.GetScalingPivot());
}

TEST(TransformationTest, TruncatedOrForeignRecordThrowsAndChangesNothing) {
  const Bytes record = ko_test::Write(Sample());
  KoTransformation t(KbVector3f(4, 5, 6), KbMatrix4Rf());
  const KbMatrix4Rf before = t;
  CountingObserver observer;
  t.AddObserver(observer);
  for (std::size_t length = 0; length < record.size(); ++length) {
    KbStreamReadBinaryMemory in(record.data(), length);
    EXPECT_THROW(t.Serialize(in), KbExceptionEndOfStream) << length;
  }
  Bytes foreign = record;
  foreign[12] = 2;  // the version, behind the three translation floats
  KbStreamReadBinaryMemory in(foreign);
  EXPECT_THROW(t.Serialize(in), KbExceptionWrongFileVersion);
  EXPECT_EQ(observer.count, 0);
  EXPECT_TRUE(SameBits(t, before));
  EXPECT_EQ(t.GetTranslation(), KbVector3f(4, 5, 6));
  t.SetTranslation(KbVector3f());  // still usable
  EXPECT_EQ(t, KbMatrix4Rf());
}

TEST(TransformationTest, DumpUsesTheFixedLabelsAndTwelveColumnRotationRows) {
  EXPECT_EQ(DumpText(KoTransformation()),
            L"Translation: [0 0 0]\n\n"
            L"Rotation: [       1.000        0.000        0.000        0.000]\n"
            L"[       0.000        1.000        0.000        0.000]\n"
            L"[       0.000        0.000        1.000        0.000]\n"
            L"[       0.000        0.000        0.000        1.000]\n\n"
            L"Rotations-Pivot: [0 0 0]\n\n"
            L"Skalierung: [1 1 1]\n\n"
            L"Skalierungs-Pivot: [0 0 0]\n\n");
  KoTransformation t = Sample();
  t.SetRotation(KbMatrix4Rf(-1, 12345.6789f, 0.0005f, 1e9f, -0.0f, 0.0015f, NAN, -INFINITY, 0, 0, 1,
                            0, 0, 0, 0, 1));
  EXPECT_EQ(DumpText(t),
            L"Translation: [1.5 -2 0.25]\n\n"
            L"Rotation: [      -1.000    12345.679        0.001 1000000000.000]\n"
            L"[      -0.000        0.002          nan         -inf]\n"
            L"[       0.000        0.000        1.000        0.000]\n"
            L"[       0.000        0.000        0.000        1.000]\n\n"
            L"Rotations-Pivot: [0.1 0.7 -3]\n\n"
            L"Skalierung: [2 3 0.5]\n\n"
            L"Skalierungs-Pivot: [9 8 7]\n\n");
}

TEST(TransformationTest, PivotMovesKeepOrChangeTheMapping) {
  // Affine (the sample's fourth column is not): only then is the whole
  // mapping fixed by the origin's image.
  KoTransformation t = Sample();
  std::mt19937 random(3);
  t.SetRotation(ko_test::RandomRotation(random));
  const KbMatrix4Rf before = t;
  const KbVector3f translation = t.GetTranslation();
  const KbVector3f pivot(-1.0f, 2.0f, 5.0f);
  t.SetRotationPivot(pivot, true);
  const KbVector3f origin;
  const KbMatrix4Rf fresh = Composed(translation, t.GetRotation(), pivot, t.GetScaling());
  EXPECT_EQ(t.GetTranslation(),
            translation + (before.TransformPoint(origin) - fresh.TransformPoint(origin)));
  EXPECT_TRUE(t.IsEqualTol(before, 1e-5f));

  t.SetRotationPivot(KbVector3f(3.0f, 3.0f, 3.0f), false);
  EXPECT_FALSE(t.IsEqualTol(before, 1e-2f));
  const KbMatrix4Rf moved = t;
  t.SetScalingPivot(KbVector3f(-7.0f, 0.0f, 1.0f));
  EXPECT_TRUE(SameBits(t, moved));
}

TEST(TransformationTest, MatrixAssignmentDecomposesWithoutRepairs) {
  // Scale 2 along x, then 90° about z, then shift (row vectors).
  const KbMatrix4Rf m(0, 2, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1);
  KoTransformation t(m);
  EXPECT_EQ(t.GetScaling(), KbVector3f(2, 1, 1));
  EXPECT_TRUE(t.GetRotation() == KbMatrix4Rf(0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
  EXPECT_EQ(t.GetTranslation(), KbVector3f(5, 6, 7));
  EXPECT_EQ(t.GetRotationPivot(), KbVector3f());
  EXPECT_TRUE(t == m);

  // A mirror stays a mirror in the rotation; the scalings stay positive.
  t = KbMatrix4Rf(-3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
  EXPECT_EQ(t.GetScaling(), KbVector3f(3, 1, 1));
  EXPECT_EQ(t.GetRotation()(0, 0), -1.0f);

  // A zero row: infinite reciprocal, non-finite rotation row.
  t = KbMatrix4Rf(1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
  EXPECT_EQ(t.GetScaling().y, 0.0f);
  EXPECT_TRUE(std::isnan(t.GetRotation()(1, 1)));

  // The argument may be the object's own rotation.
  t.SetRotation(KbMatrix4Rf(0, 4, 0, 0, -4, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1));
  t = t.GetRotation();
  EXPECT_EQ(t.GetScaling(), KbVector3f(4, 4, 4));
  EXPECT_EQ(t.GetRotation()(0, 1), 1.0f);
}

TEST(TransformationTest, ToleranceComparisonIsInclusiveAndNaNNeverMatches) {
  const KoTransformation t = Sample();
  KbMatrix4Rf m = t;
  EXPECT_TRUE(t.IsEqualTol(m, 0.0f));
  m[12] += 0.5f;
  EXPECT_FALSE(t == m);
  EXPECT_TRUE(t != m);
  EXPECT_FALSE(t.IsEqualTol(m, 0.0f));
  EXPECT_TRUE(t.IsEqualTol(m, 0.5f));
  EXPECT_FALSE(t.IsEqualTol(m, 0.4999f));
  m[12] = NAN;
  EXPECT_FALSE(t.IsEqualTol(m, 1e30f));
}

TEST(ExceptionNotInvertibleTest, CloneKeepsTheType) {
  const KoExceptionNotInvertible original;
  const std::unique_ptr<IException> copy = original.Clone();
  EXPECT_NE(dynamic_cast<const KoExceptionNotInvertible*>(copy.get()), nullptr);
  EXPECT_THROW(throw KoExceptionNotInvertible(original), IException);
}

}  // namespace
