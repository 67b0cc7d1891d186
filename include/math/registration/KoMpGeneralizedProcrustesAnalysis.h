// KoMpGeneralizedProcrustesAnalysis: brings k shapes of m corresponding
// 3-D landmarks each into one common frame (Gower 1975).
//
// Each shape is aligned to a mean shape by KoProcrustes with scale
// normalisation; the mean is recomputed from the aligned shapes, and the
// two steps repeat until no landmark of the mean moves by more than the
// tolerance. The mean starts as the reference shape, centred and scaled to
// unit root-sum-of-squares, and stays centred and of unit size.
//
//   KoMpGeneralizedProcrustesAnalysis gpa;
//   gpa.SetInput(shapes, 0);                 // keeps a pointer to shapes
//   if (gpa.Compute(KoAlgorithm::eComputeDefault)) {
//     KbArray<KoTransformation> placements;
//     gpa.GetOutput(placements);             // shape i -> reference frame
//   }
//
// Results per shape i: its centroid (the rotation centre), its normalising
// factor (scaling i), the Procrustes translation and rotation onto the mean,
// and its landmarks moved into the mean's frame and scale (the corrected
// landmarks). The transformations of GetOutput map a shape into the frame
// and scale of the reference shape (see the flags for the variants).
//
// Termination: the mean iteration stops when it converges; after 10,000
// rounds without convergence (a NaN mean, or a tolerance so small that
// float rounding keeps the mean circling) Compute throws KbException
// without a message. Every converging run takes the same steps as an
// uncapped one.
//
// Errors follow the family's convention: KbException without a message,
// whatever the cause (a bad shape index included).
//
// Bad input: Compute returns false unless the pre-conditions hold (see
// checkPreConditions). A shape whose alignment fails (the decomposition
// does not converge, for instance on NaN coordinates) makes Compute throw
// KbException. A degenerate reference (all landmarks equal) has an infinite
// scale and a NaN mean, which never converges, so it ends in KbException
// too. After a throw the results count as not calculated.
#pragma once

#include <cstdint>
#include <memory>

#include "base/KbArray.h"
#include "base/KbFlags.h"
#include "base/KbMatrix4R.h"
#include "base/KbVector.h"
#include "base/KoAlgorithm.h"
#include "math/KoMathExport.h"

class KoProcrustes;
class KoTransformation;

class KOMATH_API KoMpGeneralizedProcrustesAnalysis : public KoMpAlgorithm {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  // Option bits (the values are fixed).
  enum EFlags : std::uint32_t {
    // Align every shape to the reference once; no mean iteration.
    eSinglePass = 2,
    // The transformations of GetOutput keep their scaling untouched.
    eNoScaling = 4,
    // Output translations are the Procrustes translations alone, without
    // the reference centre added.
    eNoReferenceOffset = 8,
    // Output scalings are the shapes' own factors, not relative to the
    // reference's.
    eAbsoluteScaling = 16,
    // GetMeanShape returns the mean in the reference's size (times
    // 1 / reference scale); it stays centred at the origin.
    eMeanShapeInReferenceScale = 32,
    // Every alignment runs with KoProcrustes::ePlanar: rotations about the
    // z axis only. Shapes in the plane z = 0 then stay in it and are never
    // mirrored (a 3-D rotation could turn the plane over).
    ePlanar = 64,
    // The full Procrustes estimator: after its alignment each shape is
    // scaled by its least-squares scale onto the current mean,
    // beta = <shape, mean> / <shape, shape>, and the mean is recomputed from
    // these scaled shapes (and normalised) until it settles. The mean is
    // then the dominant eigenvector of the shapes' second-moment matrix, as
    // in the morphometrics literature. Without the bit every shape keeps
    // unit size (the partial estimator). The scalings include beta.
    eFullProcrustes = 128,
    // Every alignment runs with KoProcrustes::eAllowReflection.
    eAllowReflection = 256,
  };

  // The largest number of mean-iteration rounds before Compute gives up.
  static constexpr std::uint32_t c_uiMaxRounds = 10000;

  KoMpGeneralizedProcrustesAnalysis();
  ~KoMpGeneralizedProcrustesAnalysis() override;
  KoMpGeneralizedProcrustesAnalysis(const KoMpGeneralizedProcrustesAnalysis&) = delete;
  KoMpGeneralizedProcrustesAnalysis& operator=(const KoMpGeneralizedProcrustesAnalysis&) = delete;

  const wchar_t* GetClassNameW() const override;

  // Keeps a pointer to `shapes` (not owned; keep it alive and unchanged
  // until the results have been read, never a temporary). k and m are taken
  // now: the number of shapes and the size of the first one. `reference`
  // names the shape that seeds the mean.
  void SetInput(KbArray<KbArray<KbVector3f>>& shapes, std::uint32_t reference);
  // Two shapes, copied into an array this object owns; the reference index
  // keeps its previous value.
  void SetInput(const KbArray<KbVector3f>& first, const KbArray<KbVector3f>& second);
  // The convergence distance of a mean landmark (default 1e-4f). 0 demands
  // an exactly stationary mean.
  void SetParameters(float tolerance);

  const KbFlags<EFlags>& GetFlags() const { return m_flags; }
  KbFlags<EFlags>& GetFlags() { return m_flags; }
  std::uint32_t GetReferenceIndex() const { return m_referenceIndex; }
  // Mean-iteration rounds of the last Compute (0 with eSinglePass or when
  // the first mean already converged).
  std::uint32_t GetRoundCount() const { return m_roundCount; }

  // Result getters: each throws KbException before a successful Compute,
  // and for a shape index >= k.
  // Fills `t` for shape i: SetRotationPivot(centre i, keep = true),
  // SetRotation(rotation i), unless eNoScaling the uniform scaling
  // scaling i / reference scale (scaling i alone with eAbsoluteScaling),
  // then SetTranslation(translation i + reference centre; without the
  // centre with eNoReferenceOffset).
  void GetOutputOfShape(std::uint32_t i, KoTransformation& t) const;
  void GetOutputOfShape(std::uint32_t i, KbVector3f& translation, KbMatrix4Rf& rotation) const;
  // The same for every shape; the arrays are resized to k. Transformations
  // already in `transformations` are filled, not reset.
  void GetOutput(KbArray<KoTransformation>& transformations) const;
  void GetOutput(KbArray<KbVector3f>& translations, KbArray<KbMatrix4Rf>& rotations) const;
  void GetScalings(KbArray<float>& scalings) const;
  void GetCenters(KbArray<KbVector3f>& centers) const;
  const KbVector3f& GetRotationCenterOfShape(std::uint32_t i) const;
  void GetCorrectedLandmarks(KbArray<KbArray<KbVector3f>>& landmarks) const;
  // The mean, centred and of unit size (see eMeanShapeInReferenceScale).
  void GetMeanShape(KbArray<KbVector3f>& mean) const;

 protected:
  // True when the input is set and still has k shapes, k >= 2, the
  // reference index is below k, and every shape has m >= 3 landmarks.
  bool checkPreConditions() const override;
  void compute() override;

 private:
  void setShapes(KbArray<KbArray<KbVector3f>>* shapes);
  void checkShapeIndex(std::uint32_t i) const;
  // The reference shape, centred and normalised, becomes the mean; its
  // centroid and factor are kept as reference centre and scale.
  void initializeMeanShape();
  // Aligns shape i to the mean with `procrustes` (reused across shapes) and
  // fills its results and corrected landmarks (scaled onto the mean with
  // eFullProcrustes); false when the alignment fails. On the first pass the
  // reference is taken as it is.
  bool alignShape(KoProcrustes& procrustes, std::uint32_t i);
  void alignAllShapes(KoProcrustes& procrustes);
  // Fills `candidate` with the normalised mean of the corrected landmarks;
  // true when no landmark is farther than the tolerance from the current
  // mean.
  bool computeMeanShapeAndCompare(KbArray<KbVector3f>& candidate) const;

  KbFlags<EFlags> m_flags;
  std::uint32_t m_referenceIndex = 0;
  KbArray<KbVector3f> m_meanShape;
  KbArray<KbArray<KbVector3f>>* m_pInput = nullptr;
  std::uint32_t m_shapeCount = 0;
  std::uint32_t m_landmarkCount = 0;
  KbArray<float> m_scalings;
  KbArray<KbVector3f> m_centers;
  KbArray<KbVector3f> m_translations;
  KbArray<KbMatrix4Rf> m_rotations;
  KbArray<KbArray<KbVector3f>> m_correctedLandmarks;
  bool m_firstPass = false;
  // The two-set SetInput's copies; m_pInput points at it then.
  std::unique_ptr<KbArray<KbArray<KbVector3f>>> m_pOwnedInput;
  KbVector3f m_referenceCenter;
  float m_referenceScale = 0.0f;
  float m_tolerance = 1e-4f;
  std::uint32_t m_roundCount = 0;
};
