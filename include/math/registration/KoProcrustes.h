// KoProcrustes: the rigid motion (and, on request, the uniform scale) that
// best moves a second set of 3-D points onto a first set of corresponding
// points in the least-squares sense.
//
// Method (Arun, Huang and Blostein 1987; the reflection correction of
// Umeyama 1991): both centroids are matched, the rotation comes from the
// singular value decomposition H = U W V^T of the cross-covariance of the
// centred sets, and R = V D U^T with D = diag(1, 1, d), d = det(V U^T),
// keeps it a proper rotation.
//
//   KoProcrustes procrustes;
//   procrustes.SetInput(target, moving);       // keeps pointers to both
//   procrustes.GetFlags().Set(KoProcrustes::eNormalizeScale);
//   if (procrustes.Compute(KoAlgorithm::eComputeDefault)) {
//     KoTransformation t;
//     procrustes.GetOutput(t);                 // maps moving onto target
//   }
//
// Conventions: point arithmetic is float, everything from the covariance
// on is double. The rotation is handed out in the row-vector convention of
// KbMatrix4Rf (p' = p * M), so it is the transpose of the column-vector
// rotation R that maps a centred second point onto a centred first one.
// The translation is c1 - c2 and is not corrected for the rotation: the
// rotation acts about c2 (see GetOutput(KoTransformation&)).
//
// Exactness: every sum runs over the points in index order (float for the
// centroids and the squared lengths, double for the covariance), so the
// results are bit-identical to that order on every host.
//
// Bad input: fewer than 3 points, unequal counts or a missing set make
// Compute return false. Nothing else is guarded, on purpose: a set whose
// points are all equal has a zero sum of squares, so eNormalizeScale gives
// an infinite scaling and NaN points. NaN (or infinite) values that reach
// the covariance keep the decomposition from converging, and Compute throws
// KbException; a NaN that does not reach it (a z coordinate with ePlanar
// and no normalisation) only shows in the centroids and the translation.
// Collinear and coplanar sets succeed with whatever rotation the
// decomposition gives.
#pragma once

#include <cstdint>
#include <memory>

#include "base/KbArray.h"
#include "base/KbFlags.h"
#include "base/KbMatrix4R.h"
#include "base/KbVector.h"
#include "math/KoMathExport.h"
#include "math/registration/KoProcrustesBase.h"

class KoTransformation;

class KOMATH_API KoProcrustes : public KoProcrustesBase {
  KB_DECLARE_RTTI(KoProcrustes)

 public:
  // Option bits; the values are part of the unit-test record.
  enum EFlags : std::uint32_t {
    // Only the centroids are matched: the rotation stays the identity and
    // HasRotation is false.
    eTranslationOnly = 1,
    // Both centred sets are scaled to unit root-sum-of-squares before the
    // rotation is sought; the two factors are kept (GetScalings).
    eNormalizeScale = 2,
    // GetOutput(KoTransformation&) also sets the uniform scale; only
    // together with eNormalizeScale.
    eApplyScaling = 4,
    // No determinant correction: the result may be a reflection.
    eAllowReflection = 8,
    // The rotation is sought in the XY plane only (about the z axis); the
    // z coordinates still take part in the centroids and the scalings.
    ePlanar = 16,
  };

  KoProcrustes();
  ~KoProcrustes() override;
  KoProcrustes(const KoProcrustes&) = delete;
  KoProcrustes& operator=(const KoProcrustes&) = delete;

  const wchar_t* GetClassNameW() const override;

  // Keeps pointers to both sets; the caller keeps them alive and unchanged
  // until the results have been read (never pass temporaries). `second` is
  // moved onto `first`. Marks the results stale.
  void SetInput(const KbArray<KbVector3f>& first, const KbArray<KbVector3f>& second);

  // The options; edit them before Compute (the edit does not mark results
  // stale, and the GetOutput forms read the flags when they are called).
  const KbFlags<EFlags>& GetFlags() const { return m_flags; }
  KbFlags<EFlags>& GetFlags() { return m_flags; }

  // Result getters. All but GetRotationCenter throw KbException before a
  // successful Compute.
  // The translation c1 - c2.
  void GetOutput(KbVector3f& translation) const;
  // The translation and the rotation (row-vector convention).
  void GetOutput(KbVector3f& translation, KbMatrix4Rf& rotation) const;
  // Fills `t`, in this order: SetRotationPivot(c1 - translation, keep = true)
  // (the pivot is c2 up to rounding), SetRotation, SetTranslation, and, only
  // when eApplyScaling and eNormalizeScale are both set, SetScaling(s) with
  // s = second scaling / first scaling. Otherwise t's scaling is left as it
  // was. The result maps p of the second set to (p - c2) s R + c1.
  void GetOutput(KoTransformation& t) const;
  // The composed matrix of a default KoTransformation filled as above.
  void GetOutput(KbMatrix4Rf& matrix) const;
  void GetCenters(KbVector3f& first, KbVector3f& second) const;
  // c1, the rotation centre. No output check: it is zero before the first
  // Compute.
  const KbVector3f& GetRotationCenter() const { return m_firstCenter; }
  // The normalising factors 1 / sqrt(sum of squared centred lengths) of
  // both sets. They are those of the last run with eNormalizeScale: a later
  // run without it leaves them (and HasScalings) alone, while HasRotation is
  // rewritten by every run.
  void GetScalings(float& first, float& second) const;
  bool HasRotation() const { return m_hasRotation; }
  bool HasScalings() const { return m_hasScalings; }

 protected:
  // True when both sets are given, have the same size, and that is >= 3.
  bool checkPreConditions() const override;
  // Throws KbException when the decomposition does not converge.
  void compute() override;

  // Unit-test records.
  // Input, version 1: the KoAlgorithm part, the flags (u32), the first and
  // the second set as array records. Writing without both sets throws
  // KbException. Reading replaces the owned record's sets and points the
  // inputs at them; a truncated or corrupt record throws and changes
  // nothing.
  void serializeUnitTestInput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestInput(KbStreamReadBinary& stream) override;
  // Output, version 1: the KoAlgorithm part, c1, c2 and the translation
  // (3 floats each), HasRotation (bool) and, when true, a version marker 1
  // and the 16 rotation floats, HasScalings (bool) and, when true, the first
  // and the second scaling. The members are written as they stand (there is
  // no "calculated" flag). Reading needs an input record read first
  // (KbException otherwise).
  void serializeUnitTestOutput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestOutput(KbStreamReadBinary& stream) override;
  // Clears both input pointers and drops the whole unit-test record.
  void releaseUnitTestInput() override;
  // Drops the expected output.
  void releaseUnitTestOutput() override;
  // Centres and translation within a squared distance of 2^-46, the
  // rotation within a summed squared difference of 2^-46, the scalings
  // within (strictly) 2^-23 each; both presence flags equal. A NaN on either
  // side fails. Throws KbException without an input record and
  // std::bad_optional_access without an expected output.
  bool compareUnitTestResult() const override;

 private:
  struct SUnitTestData;

  KbFlags<EFlags> m_flags;
  const KbArray<KbVector3f>* m_pFirst = nullptr;
  const KbArray<KbVector3f>* m_pSecond = nullptr;
  KbVector3f m_firstCenter;
  KbVector3f m_secondCenter;
  KbVector3f m_translation;
  KbMatrix4Rf m_rotation;
  float m_firstScaling = 0.0f;
  float m_secondScaling = 0.0f;
  bool m_hasRotation = false;
  bool m_hasScalings = false;
  // Present only between reading a unit-test input and its release.
  std::unique_ptr<SUnitTestData> m_pUnitTest;
};
