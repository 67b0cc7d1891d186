#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <memory>
#include <optional>

#include "math/registration/KoProcrustes.h"
#include "math/registration/KoTransformation.h"
#include "math/registration/RegistrationTestSupport.h"

namespace {

using Flags = KoProcrustes::EFlags;

// Coordinates reach about 30 (extent 10, scale up to 2, shifts up to 10):
// a float result is good to a few hundred ulps of that.
constexpr double c_mappingTolerance = 256 * FLT_EPSILON * 30;
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

struct SProbe : ko_test::UnitTestProbe<KoProcrustes> {
  using KoProcrustes::releaseUnitTestInput;
  using KoProcrustes::releaseUnitTestOutput;
};

// Computes with `flags` and returns the transformation filled by GetOutput.
KoTransformation Align(KoProcrustes& procrustes, const Points& target, const Points& moving,
                       std::uint32_t flags) {
  procrustes.GetFlags().SetBits(flags);
  procrustes.SetInput(target, moving);
  EXPECT_TRUE(procrustes.Compute(KoAlgorithm::eComputeDefault));
  KoTransformation t;
  procrustes.GetOutput(t);
  return t;
}

Eigen::Matrix3d Rotation(const KoProcrustes& procrustes) {
  KbVector3f translation;
  KbMatrix4Rf rotation;
  procrustes.GetOutput(translation, rotation);
  return ColumnRotation(rotation);
}

// An exact similarity copy far from the origin: the centroids carry
// rounding errors of a few ulps of 1e4 (2^-10), so each set must be centred
// on its own centroid before the cross-covariance, or the rotation is lost.
// At 1e4 the float coordinates are good to 2^-10 / 10 relative to the
// extent, which bounds the error of the rotation and the scale.
TEST(KoProcrustesTest, RecoversASimilarityFarFromTheOrigin) {
  std::mt19937 random(20240917);
  const Eigen::Matrix3d r = RandomRotation(random);
  Points moving = RandomPoints(random, 40);
  for (KbVector3f& p : moving) p += KbVector3f(1e4f, -2e4f, 1.5e4f);
  const Points target = Similarity(moving, r, {-2e4, 1e4, 3e4}, 1.5);
  KoProcrustes procrustes;
  const KoTransformation t =
      Align(procrustes, target, moving, Flags::eNormalizeScale | Flags::eApplyScaling);
  EXPECT_LE((Rotation(procrustes) - r).norm(), 1e-3);
  EXPECT_NEAR(t.GetScaling().x, 1.5f, 1e-3);
}

// A mirrored copy gives a proper rotation unless eAllowReflection (then the
// exact mirror). ePlanar turns about z only, whatever the z coordinates are,
// and corrects a planar mirror the same way.
TEST(KoProcrustesTest, MirrorsAndPlanarSetsGiveProperRotationsUnlessReflectionIsAllowed) {
  std::mt19937 random(7);
  const Points a = RandomPoints(random, 50);
  Points mirrored = a, flipped = a;
  for (KbVector3f& p : mirrored) p.x = -p.x;
  for (KbVector3f& p : flipped) p.y = -p.y;
  KoProcrustes procrustes;
  Align(procrustes, a, mirrored, 0);
  EXPECT_NEAR(Rotation(procrustes).determinant(), 1.0, 1e-6);
  const KoTransformation reflection = Align(procrustes, a, mirrored, Flags::eAllowReflection);
  EXPECT_NEAR(Rotation(procrustes).determinant(), -1.0, 1e-6);
  EXPECT_LE(MaxDistance(mirrored, a, reflection), c_mappingTolerance);

  Points moving = RandomPoints(random, 30);
  const Points target = Similarity(
      moving, Eigen::AngleAxisd(0.7, Eigen::Vector3d::UnitZ()).toRotationMatrix(), {1, 2, 3});
  for (KbVector3f& p : moving) p.z *= 3.0f;
  Align(procrustes, target, moving, Flags::ePlanar);
  const Eigen::Matrix3d turn = Rotation(procrustes);
  EXPECT_TRUE(turn.row(2) == Eigen::RowVector3d::UnitZ() &&
              turn.col(2) == Eigen::Vector3d::UnitZ());
  EXPECT_NEAR(std::atan2(turn(1, 0), turn(0, 0)), 0.7, 1e-6);
  Align(procrustes, a, flipped, Flags::ePlanar);
  EXPECT_NEAR(Rotation(procrustes).determinant(), 1.0, 1e-6);
  Align(procrustes, a, flipped, Flags::ePlanar | Flags::eAllowReflection);
  EXPECT_NEAR(Rotation(procrustes)(1, 1), -1.0, 1e-6);
}

// B = 2A gives the uniform scale 1/2 only with eApplyScaling;
// eTranslationOnly keeps the identity, and the scalings (and their flag)
// stay from the last normalising run while HasRotation follows every run.
TEST(KoProcrustesTest, TranslationOnlyAndScalingFlags) {
  std::mt19937 random(11);
  const Points a = RandomPoints(random, 20);
  Points doubled = a;
  for (KbVector3f& p : doubled) p *= 2.0f;
  KoProcrustes procrustes;
  KoTransformation t = Align(procrustes, a, doubled, Flags::eNormalizeScale | Flags::eApplyScaling);
  EXPECT_NEAR(t.GetScaling().x, 0.5f, 8 * FLT_EPSILON);
  float s1 = 0, s2 = 0, t1 = 0, t2 = 0;
  procrustes.GetScalings(s1, s2);
  EXPECT_EQ(Align(procrustes, a, doubled, Flags::eNormalizeScale).GetScaling(),
            KbVector3f(1, 1, 1));
  t = Align(procrustes, a, doubled, Flags::eTranslationOnly);
  EXPECT_TRUE(!procrustes.HasRotation() && procrustes.HasScalings());
  procrustes.GetScalings(t1, t2);
  EXPECT_TRUE(t1 == s1 && t2 == s2 && t.GetRotation() == KbMatrix4Rf());
  KbMatrix4Rf matrix;
  procrustes.GetOutput(matrix);
  EXPECT_TRUE(t == matrix);
}

// Fewer than 3 points or unequal counts: Compute returns false and the
// getters throw. All moving points equal: a pure translation without
// normalisation; with it NaN points, which (like NaN or infinite
// coordinates) keep the decomposition from converging: KbException, not
// calculated, the object usable afterwards.
TEST(KoProcrustesTest, BadInputFailsOrThrowsAndLeavesTheObjectUsable) {
  const Points two = {{0, 0, 0}, {1, 0, 0}}, a = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  const Points four = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
               same = {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}};
  Points withNan = a, withInf = a;
  withNan[2].y = c_nan;
  withInf[1].x = std::numeric_limits<float>::infinity();
  KoProcrustes procrustes;
  EXPECT_FALSE(procrustes.Compute(0));                      // no sets
  EXPECT_EQ(procrustes.GetRotationCenter(), KbVector3f());  // no output check
  KbVector3f translation;
  float s1 = 0, s2 = 0;
  for (const auto& [first, second] : {std::pair{&two, &two}, {&a, &four}}) {
    procrustes.SetInput(*first, *second);
    EXPECT_FALSE(procrustes.Compute(0));
    EXPECT_THROW(procrustes.GetOutput(translation), KbException);
    EXPECT_THROW(procrustes.GetOutput(translation, *std::make_unique<KbMatrix4Rf>()), KbException);
    EXPECT_THROW(procrustes.GetScalings(s1, s2), KbException);
  }
  procrustes.SetInput(a, same);
  ASSERT_TRUE(procrustes.Compute(0));
  procrustes.GetOutput(translation);
  EXPECT_NEAR(Rotation(procrustes).determinant(), 1.0, 1e-6);
  EXPECT_EQ(translation, KbVector3f(1.0f / 3.0f, 1.0f / 3.0f, 0) - KbVector3f(1, 2, 3));
  const std::pair<const Points*, std::uint32_t> cases[] = {
      {&same, Flags::eNormalizeScale}, {&withNan, 0}, {&withInf, 0}, {&withNan, Flags::ePlanar}};
  for (const auto& [bad, flags] : cases) {
    procrustes.GetFlags().SetBits(flags);
    procrustes.SetInput(a, *bad);
    EXPECT_THROW(procrustes.Compute(0), KbException);
    EXPECT_FALSE(procrustes.IsCalculated());
    procrustes.SetInput(*bad, a);
    EXPECT_THROW(procrustes.Compute(0), KbException);
  }
  procrustes.GetFlags().SetBits(0);
  procrustes.SetInput(a, a);
  EXPECT_TRUE(procrustes.Compute(0));
  procrustes.SetInput(a, same);  // stale until the next Compute
  EXPECT_THROW(procrustes.GetOutput(translation), KbException);
}

// Input and output records of a computed probe.
std::pair<Bytes, Bytes> Records(SProbe& probe, const Points& a, const Points& b,
                                std::uint32_t flags) {
  probe.GetFlags().SetBits(flags);
  probe.SetInput(a, b);
  EXPECT_TRUE(probe.Compute(0));
  return {probe.Input(), probe.Output()};
}

TEST(KoProcrustesRecordsTest, InputAndOutputBytes) {
  const Points a = {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, b = {{1, 1, 1}, {3, 1, 1}, {1, 3, 1}};
  SProbe probe;
  EXPECT_THROW(probe.serializeUnitTestInput(*std::make_unique<KbStreamWriteBinaryMemory>()),
               KbException);
  const auto [input, translationOnly] =
      Records(probe, a, b, Flags::eTranslationOnly | Flags::eNormalizeScale);
  // Versions, the flags, then both sets as array records.
  EXPECT_EQ(input,
            ko_test::Pack(1u, 1u, 3u, ~0u, 1u, 3u, 12u, 0.f, 0.f, 0.f, 2.f, 0.f, 0.f, 0.f, 2.f, 0.f,
                          ~0u, 1u, 3u, 12u, 1.f, 1.f, 1.f, 3.f, 1.f, 1.f, 1.f, 3.f, 1.f));

  // Translation only: no rotation floats; the scalings were never computed.
  // With rotation and scalings: the rotation behind its own version marker.
  const float third = 1.0f / 3.0f, c1 = 2.0f * third, c2 = 5.0f * third;
  const auto head = [&] {
    ko_test::RecordBytes bytes;
    bytes.U32(1).U32(1);
    for (float v : {c1, c1, 0.0f, c2, c2, 1.0f, c1 - c2, c1 - c2, -1.0f}) bytes.Put(v);
    return bytes;
  };
  EXPECT_EQ(translationOnly, head().Put(false).Put(false).bytes);
  const Bytes full = Records(probe, a, b, Flags::eNormalizeScale).second;
  KbVector3f translation;
  KbMatrix4Rf rotation;
  float s1 = 0, s2 = 0;
  probe.GetOutput(translation, rotation);
  probe.GetScalings(s1, s2);
  ko_test::RecordBytes withRotation = head();
  withRotation.Put(true).U32(1);
  for (unsigned int i = 0; i < 16; ++i) withRotation.Put(rotation[i]);
  EXPECT_EQ(full, withRotation.Put(true).Put(s1).Put(s2).bytes);
}

// Centred sets with a sum of squares of 4: centre 0 and scaling 0.5 are
// exact, so the expected values can sit exactly on the bounds.
const Points c_cross = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}};

TEST(KoProcrustesRecordsTest, CompareUnitTestResultToleranceBounds) {
  SProbe writer, replay;
  const auto records = Records(writer, c_cross, c_cross, Flags::eNormalizeScale);
  const Bytes &input = records.first, &output = records.second;  // lambdas capture them
  EXPECT_THROW(replay.ReadOutput(output), KbException);          // no input read
  EXPECT_THROW(replay.compareUnitTestResult(), KbException);
  const auto replayWith = [&](const Bytes& outputBytes) {
    replay.ReadInput(input);
    EXPECT_TRUE(replay.Compute(0));
    replay.ReadOutput(outputBytes);
    return replay.compareUnitTestResult();
  };
  const auto withFloat = [&](std::size_t offset, float value) {
    Bytes bytes = output;
    std::memcpy(bytes.data() + offset, &value, 4);
    return bytes;
  };
  EXPECT_TRUE(replayWith(output));
  replay.releaseUnitTestOutput();
  EXPECT_THROW(replay.compareUnitTestResult(), std::bad_optional_access);
  const std::size_t centreX = 8, firstScaling = output.size() - 8, rotation00 = 8 + 36 + 1 + 4;
  EXPECT_TRUE(replayWith(withFloat(centreX, 0x1p-23f)));  // squared 2^-46: inclusive
  EXPECT_FALSE(replayWith(withFloat(centreX, 0x1.000002p-23f)));
  EXPECT_FALSE(replayWith(withFloat(centreX, c_nan)));
  EXPECT_TRUE(replayWith(withFloat(firstScaling, 0.5f + 0x1p-24f)));
  EXPECT_FALSE(replayWith(withFloat(firstScaling, 0.5f + 0x1p-23f)));  // strict
  EXPECT_TRUE(replayWith(withFloat(rotation00, 1.0f - 0x1p-23f)));
  EXPECT_FALSE(replayWith(withFloat(rotation00, 1.0f - 0x1p-22f)));
  Bytes noRotation(output.begin(), output.begin() + 8 + 36);  // where one was computed
  noRotation.push_back(0);
  noRotation.insert(noRotation.end(), output.end() - 9, output.end());
  EXPECT_FALSE(replayWith(noRotation));
  Bytes noScalings(output.begin(), output.end() - 9);  // where they were computed
  noScalings.push_back(0);
  EXPECT_FALSE(replayWith(noScalings));
  // Centres away from 0, (1, 1, 0) and (2, 1, 0), compare by their difference.
  const Points right = {{2, 1, 0}, {0, 1, 0}, {1, 2, 0}, {1, 0, 0}},
               further = {{3, 1, 0}, {1, 1, 0}, {2, 2, 0}, {2, 0, 0}};
  const auto moved = Records(writer, right, further, Flags::eNormalizeScale);
  replay.ReadInput(moved.first);
  EXPECT_TRUE(replay.Compute(0));
  replay.ReadOutput(moved.second);
  EXPECT_TRUE(replay.compareUnitTestResult());
}

}  // namespace
