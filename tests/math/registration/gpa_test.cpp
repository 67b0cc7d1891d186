#include <gtest/gtest.h>

#include <Eigen/Eigenvalues>
#include <complex>
#include <limits>

#include "math/registration/KoMpGeneralizedProcrustesAnalysis.h"
#include "math/registration/KoTransformation.h"
#include "math/registration/RegistrationTestSupport.h"

namespace {

using Gpa = KoMpGeneralizedProcrustesAnalysis;
using Shapes = KbArray<Points>;

// k copies of a random shape of n landmarks, each rotated, scaled (0.5 to
// 2), shifted and perturbed by Gaussian noise.
Shapes PerturbedCopies(std::mt19937& random, unsigned int n, unsigned int k, float noise) {
  const Points original = RandomPoints(random, n);
  std::uniform_real_distribution<double> shift(-20, 20), scale(0.5, 2.0);
  std::normal_distribution<float> perturbation(0.0f, noise);
  Shapes shapes(k);
  for (Points& copy : shapes) {
    const Eigen::Matrix3d r = RandomRotation(random);
    const Eigen::Vector3d t{shift(random), shift(random), shift(random)};
    copy = Similarity(original, r, t, scale(random));
    for (KbVector3f& p : copy)
      p += KbVector3f{perturbation(random), perturbation(random), perturbation(random)};
  }
  return shapes;
}

// The same in the plane z = 0: rotations about z only, noise in x and y.
Shapes PlaneCopies(std::mt19937& random, unsigned int n, unsigned int k, float noise) {
  Shapes shapes = PerturbedCopies(random, n, k, 0.0f);
  std::uniform_real_distribution<double> angle(-3, 3);
  std::normal_distribution<float> perturbation(0.0f, noise);
  for (Points& copy : shapes) {
    const Eigen::Matrix3d r(Eigen::AngleAxisd(angle(random), Eigen::Vector3d::UnitZ()));
    copy = Similarity(shapes[0], r, Eigen::Vector3d(angle(random), angle(random), 0));
    for (KbVector3f& p : copy) p = {p.x + perturbation(random), p.y + perturbation(random), 0};
  }
  return shapes;
}

// With eSinglePass every shape is aligned to the reference only: exact
// copies map onto it, and the reference's own results are exact (its
// transformation the identity). The output flags act when read.
TEST(KoMpGeneralizedProcrustesAnalysisTest, SinglePassReferenceAndOutputFlags) {
  std::mt19937 random(99);
  Shapes shapes = PerturbedCopies(random, 10, 4, 0.0f);
  Gpa gpa;
  gpa.GetFlags().Set(Gpa::eSinglePass);
  gpa.SetInput(shapes, 2);
  KbArray<KoTransformation> placements;
  EXPECT_THROW(gpa.GetOutput(placements), KbException);  // not computed yet
  ASSERT_TRUE(gpa.Compute(0));
  EXPECT_EQ(gpa.GetRoundCount(), 0u);
  KbArray<float> scalings;
  KbArray<KbVector3f> centers, translations;
  KbArray<KbMatrix4Rf> rotations;
  gpa.GetScalings(scalings);
  gpa.GetCenters(centers);
  gpa.GetOutput(translations, rotations);
  const Eigen::Matrix3Xd reference = ToEigen(shapes[2]);
  const Eigen::Vector3d centre = reference.rowwise().mean();
  EXPECT_NEAR(centers[2].x, centre.x(), 1e-5);
  EXPECT_TRUE(translations[2] == -centers[2] && rotations[2] == KbMatrix4Rf());
  EXPECT_NEAR(scalings[2], 1.0 / (reference.colwise() - centre).norm(), 1e-6 * scalings[2]);
  EXPECT_EQ(gpa.GetRotationCenterOfShape(2), centers[2]);
  gpa.GetOutput(placements);
  ASSERT_EQ(placements.GetSize(), shapes.GetSize());
  for (unsigned int i = 0; i < shapes.GetSize(); ++i) {
    EXPECT_TRUE(i != 2 || placements[i] == KbMatrix4Rf());
    EXPECT_LE(MaxDistance(shapes[i], shapes[2], placements[i]), 1e-3) << i;
  }
  KoTransformation scaled;
  scaled.SetScaling(7.0f);
  gpa.GetFlags().Set(Gpa::eNoScaling);
  gpa.GetOutputOfShape(1, scaled);
  EXPECT_EQ(scaled.GetScaling(), KbVector3f(7, 7, 7));
  gpa.GetFlags().SetBits(Gpa::eSinglePass | Gpa::eAbsoluteScaling | Gpa::eNoReferenceOffset);
  gpa.GetOutputOfShape(1, scaled);
  EXPECT_TRUE(scaled.GetScaling().y == scalings[1] && scaled.GetTranslation() == translations[1]);
  // The mean in the reference's size is the centred reference.
  gpa.GetFlags().Set(Gpa::eMeanShapeInReferenceScale);
  Points mean;
  gpa.GetMeanShape(mean);
  for (unsigned int j = 0; j < mean.GetSize(); ++j)
    EXPECT_LE((mean[j] - (shapes[2][j] - centers[2])).Length(), 1e-4) << j;
}

// Two identical shapes converge at once with identity rotations; the
// two-set form copies its arguments.
TEST(KoMpGeneralizedProcrustesAnalysisTest, TwoIdenticalShapesAreCopiedAndAlignAtOnce) {
  std::mt19937 random(3);
  Points first = RandomPoints(random, 6), second = first;
  Gpa gpa;
  gpa.SetInput(first, second);
  first[0] = {1e6f, 0, 0};
  second.Release();
  ASSERT_TRUE(gpa.Compute(0));
  EXPECT_EQ(gpa.GetRoundCount(), 0u);
  KbArray<KbVector3f> translations;
  KbArray<KbMatrix4Rf> rotations;
  gpa.GetOutput(translations, rotations);
  for (const KbMatrix4Rf& rotation : rotations)
    EXPECT_LE((ColumnRotation(rotation) - Eigen::Matrix3d::Identity()).norm(), 1e-6);
  EXPECT_EQ(translations[0], translations[1]);
}

// Unmet pre-conditions give false; NaN landmarks, a degenerate reference
// and a mean that never settles give KbException, never a hang.
TEST(KoMpGeneralizedProcrustesAnalysisTest, BadInputFailsOrThrows) {
  std::mt19937 random(8);
  Gpa gpa;
  EXPECT_FALSE(gpa.Compute(0));  // no input
  KbArray<float> scalings;
  EXPECT_THROW(gpa.GetScalings(scalings), KbException);
  Shapes one = PerturbedCopies(random, 5, 1, 0.0f), tiny = PerturbedCopies(random, 2, 3, 0.0f);
  Shapes shapes = PerturbedCopies(random, 5, 3, 0.01f);
  for (const auto& [input, reference] : {std::pair{&one, 0u}, {&shapes, 3u}, {&tiny, 0u}}) {
    gpa.SetInput(*input, reference);  // one shape, reference out of range, 2 landmarks
    EXPECT_FALSE(gpa.Compute(0));
  }
  gpa.SetInput(shapes, 0);
  shapes[1].PushBack({});
  EXPECT_FALSE(gpa.Compute(0));  // unequal sizes
  shapes[1].Resize(5);
  shapes.PushBack(Points(shapes[0]));
  EXPECT_FALSE(gpa.Compute(0));  // the shape count changed since SetInput
  shapes.Resize(3);
  ASSERT_TRUE(gpa.Compute(0));
  KoTransformation t;
  KbVector3f translation;
  KbMatrix4Rf rotation;
  EXPECT_THROW(gpa.GetOutputOfShape(3, t), KbException);
  EXPECT_THROW(gpa.GetOutputOfShape(3, translation, rotation), KbException);
  EXPECT_THROW(gpa.GetRotationCenterOfShape(3), KbException);
  shapes[1][2].x = std::numeric_limits<float>::quiet_NaN();
  EXPECT_THROW(gpa.Compute(0), KbException);
  EXPECT_FALSE(gpa.IsCalculated());
  EXPECT_THROW(gpa.GetRotationCenterOfShape(0), KbException);  // sized, but stale
  shapes = PerturbedCopies(random, 5, 3, 0.01f);
  for (KbVector3f& p : shapes[0]) p = {1, 2, 3};  // all reference landmarks equal
  EXPECT_THROW(gpa.Compute(0), KbException);
  // Tolerance 0: these copies cycle until the round cap, those reach an
  // exactly stationary mean (the comparison is inclusive), counting their
  // rounds afresh.
  for (const bool settles : {false, true}) {
    std::mt19937 seeded(settles ? 8 : 1);
    shapes = PerturbedCopies(seeded, 5, 3, 0.1f);
    gpa.SetParameters(0.0f);
    if (settles) {
      EXPECT_TRUE(gpa.Compute(0));
    } else {
      EXPECT_THROW(gpa.Compute(0), KbException);
    }
    EXPECT_EQ(gpa.GetRoundCount() == Gpa::c_uiMaxRounds, !settles);
  }
}

// Planar copies of a plane shape, one of them mirrored: with ePlanar every
// rotation turns about z only and keeps the plane's orientation (the mirror
// stays a mirror image); without it the mirror's rotation turns the plane
// over; with eAllowReflection too the mirror is reflected in the plane.
TEST(KoMpGeneralizedProcrustesAnalysisTest, PlanarShapesAreNeverTurnedOver) {
  std::mt19937 random(17);
  Shapes shapes = PlaneCopies(random, 12, 5, 0.05f);
  for (KbVector3f& p : shapes[3]) p.x = -p.x;
  for (const std::uint32_t bits : {0u, 64u, 64u | 256u}) {
    Gpa gpa;
    gpa.GetFlags().SetBits(bits);
    gpa.SetInput(shapes, 0);
    ASSERT_TRUE(gpa.Compute(0));
    KbArray<KbVector3f> translations;
    KbArray<KbMatrix4Rf> rotations;
    gpa.GetOutput(translations, rotations);
    for (unsigned int i = 0; i < shapes.GetSize(); ++i) {
      const Eigen::Matrix3d r = ColumnRotation(rotations[i]);
      const bool mirrored = i == 3;
      EXPECT_NEAR(r(2, 2), bits == 0 && mirrored ? -1.0 : 1.0, 1e-5) << bits << " " << i;
      const double inPlane = r.topLeftCorner<2, 2>().determinant();
      EXPECT_NEAR(inPlane, mirrored && bits != 64 ? -1.0 : 1.0, 1e-5) << bits << " " << i;
    }
  }
}

// The full estimator of plane shapes has a closed form (Kent 1994): with
// the centred unit-size shapes as complex vectors z_i, the mean is the
// dominant eigenvector of sum z_i z_i^*, and each shape's least-squares
// scale onto it is |z_i^* mean|. Eigen's Hermitian solver is the reference.
// The partial mean is another shape.
TEST(KoMpGeneralizedProcrustesAnalysisTest, FullProcrustesMeanIsTheDominantEigenvector) {
  std::mt19937 random(23);
  Shapes shapes = PlaneCopies(random, 10, 6, 8.0f);
  std::vector<Eigen::VectorXcd> z;
  Eigen::MatrixXcd moments = Eigen::MatrixXcd::Zero(10, 10);
  for (const Points& shape : shapes) {
    Eigen::VectorXcd v(10);
    for (unsigned int j = 0; j < 10; ++j) v(j) = {shape[j].x, shape[j].y};
    v.array() -= v.mean();
    z.push_back(v.normalized());
    moments += z.back() * z.back().adjoint();
  }
  const Eigen::VectorXcd expected =
      Eigen::SelfAdjointEigenSolver<Eigen::MatrixXcd>(moments).eigenvectors().col(9);
  for (const bool full : {true, false}) {
    Gpa gpa;
    gpa.GetFlags().Set(Gpa::eFullProcrustes, full);
    gpa.GetFlags().Set(Gpa::ePlanar);
    gpa.SetInput(shapes, 0);
    gpa.SetParameters(1e-6f);
    ASSERT_TRUE(gpa.Compute(0));
    Points mean;
    gpa.GetMeanShape(mean);
    Eigen::VectorXcd m(10);
    for (unsigned int j = 0; j < 10; ++j) m(j) = {mean[j].x, mean[j].y};
    // 1 - |<m, expected>| is half the squared distance up to a phase.
    const double gap = 1 - std::abs(expected.dot(m));
    if (full) {
      EXPECT_LE(gap, 4 * 0x1p-24);  // float rounding of a unit vector
      Shapes corrected;
      gpa.GetCorrectedLandmarks(corrected);
      for (unsigned int i = 0; i < shapes.GetSize(); ++i)
        EXPECT_NEAR(ToEigen(corrected[i]).norm(), std::abs(z[i].dot(m)), 1e-5) << i;
    } else {
      EXPECT_GE(gap, 1e-5);
    }
  }
}

}  // namespace
