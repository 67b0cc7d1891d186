#include "math/registration/KoMpGeneralizedProcrustesAnalysis.h"

#include <cmath>

#include "base/KbException.h"
#include "math/registration/KoProcrustes.h"
#include "math/registration/KoTransformation.h"

namespace {

// Moves `points` to their centroid (the float sum in index order times
// 1/size) and scales them to unit root-sum-of-squares. Returns the factor
// 1 / sqrt(sum of squared lengths) and the centroid.
float CentreAndNormalize(KbArray<KbVector3f>& points, KbVector3f& centroid) {
  KbVector3f sum;
  for (const KbVector3f& p : points) sum += p;
  centroid = sum * (1.0f / static_cast<float>(points.GetSize()));
  float squares = 0.0f;
  for (KbVector3f& p : points) {
    p -= centroid;
    squares += p.SquaredLength();
  }
  const float factor = 1.0f / std::sqrt(squares);
  for (KbVector3f& p : points) p *= factor;
  return factor;
}

}  // namespace

KoMpGeneralizedProcrustesAnalysis::KoMpGeneralizedProcrustesAnalysis() = default;
KoMpGeneralizedProcrustesAnalysis::~KoMpGeneralizedProcrustesAnalysis() = default;

const wchar_t* KoMpGeneralizedProcrustesAnalysis::GetClassNameW() const {
  return GetRTTI().GetName();
}

void KoMpGeneralizedProcrustesAnalysis::SetInput(KbArray<KbArray<KbVector3f>>& shapes,
                                                 std::uint32_t reference) {
  setShapes(&shapes);
  m_pOwnedInput.reset();
  m_referenceIndex = reference;
}

void KoMpGeneralizedProcrustesAnalysis::SetInput(const KbArray<KbVector3f>& first,
                                                 const KbArray<KbVector3f>& second) {
  // Copied before the previous copies go: the arguments may be among them.
  auto copies = std::make_unique<KbArray<KbArray<KbVector3f>>>(2);
  (*copies)[0] = first;
  (*copies)[1] = second;
  setShapes(copies.get());
  m_pOwnedInput = std::move(copies);
}

void KoMpGeneralizedProcrustesAnalysis::setShapes(KbArray<KbArray<KbVector3f>>* shapes) {
  m_pInput = shapes;
  m_shapeCount = shapes->GetSize();
  m_landmarkCount = m_shapeCount == 0 ? 0 : (*shapes)[0].GetSize();
  setInputChanged();
}

void KoMpGeneralizedProcrustesAnalysis::SetParameters(float tolerance) {
  setInputChanged();
  m_tolerance = tolerance;
}

bool KoMpGeneralizedProcrustesAnalysis::checkPreConditions() const {
  if (m_pInput == nullptr || m_pInput->GetSize() != m_shapeCount || m_shapeCount < 2 ||
      m_referenceIndex >= m_shapeCount || m_landmarkCount < 3) {
    return false;
  }
  for (const KbArray<KbVector3f>& shape : *m_pInput) {
    if (shape.GetSize() != m_landmarkCount) return false;
  }
  return true;
}

void KoMpGeneralizedProcrustesAnalysis::compute() {
  // Every alignment pass writes all results of every shape (or throws), and
  // initializeMeanShape assigns the whole mean: only the sizes are set here.
  const std::uint32_t k = m_shapeCount;
  m_scalings.Resize(k);
  m_centers.Resize(k);
  m_translations.Resize(k);
  m_rotations.Resize(k);
  m_correctedLandmarks.Resize(k);
  for (KbArray<KbVector3f>& corrected : m_correctedLandmarks) corrected.Resize(m_landmarkCount);
  m_firstPass = true;
  m_roundCount = 0;

  initializeMeanShape();
  KoProcrustes procrustes;
  procrustes.GetFlags().Set(KoProcrustes::eNormalizeScale);
  procrustes.GetFlags().Set(KoProcrustes::ePlanar, m_flags.IsSet(ePlanar));
  procrustes.GetFlags().Set(KoProcrustes::eAllowReflection, m_flags.IsSet(eAllowReflection));
  alignAllShapes(procrustes);
  if (m_flags.IsSet(eSinglePass)) return;  // the first-pass flag stays set

  m_firstPass = false;
  KbArray<KbVector3f> candidate(m_landmarkCount);
  // On convergence the mean stays the previous one, not the candidate.
  while (!computeMeanShapeAndCompare(candidate)) {
    if (m_roundCount == c_uiMaxRounds) throw KbException();
    ++m_roundCount;
    m_meanShape.Swap(candidate);
    alignAllShapes(procrustes);
  }
}

void KoMpGeneralizedProcrustesAnalysis::initializeMeanShape() {
  m_meanShape = (*m_pInput)[m_referenceIndex];
  KbVector3f centroid;
  const float factor = CentreAndNormalize(m_meanShape, centroid);
  if (m_firstPass) {
    m_referenceCenter = centroid;
    m_referenceScale = factor;
  }
}

void KoMpGeneralizedProcrustesAnalysis::alignAllShapes(KoProcrustes& procrustes) {
  for (std::uint32_t i = 0; i < m_shapeCount; ++i) {
    if (!alignShape(procrustes, i)) throw KbException();
  }
}

bool KoMpGeneralizedProcrustesAnalysis::alignShape(KoProcrustes& procrustes, std::uint32_t i) {
  const KbArray<KbVector3f>& shape = (*m_pInput)[i];
  KbArray<KbVector3f>& corrected = m_correctedLandmarks[i];
  if (m_firstPass && i == m_referenceIndex) {
    corrected = m_meanShape;
    m_scalings[i] = m_referenceScale;
    m_translations[i] = -m_referenceCenter;
    m_rotations[i] = KbMatrix4Rf();
    m_centers[i] = m_referenceCenter;
    return true;
  }

  procrustes.SetInput(m_meanShape, shape);
  try {
    if (!procrustes.Compute(KoAlgorithm::eComputeNested)) return false;
  } catch (...) {
    // Whatever went wrong inside, this shape cannot be aligned; the caller
    // turns that into its own exception.
    return false;
  }
  procrustes.GetOutput(m_translations[i], m_rotations[i]);
  float meanScaling = 0.0f;
  procrustes.GetScalings(meanScaling, m_scalings[i]);
  KbVector3f meanCenter;
  procrustes.GetCenters(meanCenter, m_centers[i]);
  KoTransformation t;
  procrustes.GetOutput(t);  // no scaling: the shape's factor follows

  const KbMatrix4Rf& matrix = t;
  const float scaling = m_scalings[i];
  for (std::uint32_t j = 0; j < m_landmarkCount; ++j) {
    corrected[j] = matrix.TransformPoint(shape[j]) * scaling;
  }
  if (m_flags.IsSet(eFullProcrustes)) {
    // beta = <corrected, mean> / <corrected, corrected>: the corrected shape
    // is of unit size up to rounding, but the quotient keeps beta exact for
    // what was computed. Sums in double, in landmark order.
    double product = 0.0, squares = 0.0;
    for (std::uint32_t j = 0; j < m_landmarkCount; ++j) {
      const KbVector3f& p = corrected[j];
      const KbVector3f& q = m_meanShape[j];
      product += double(p.x) * q.x + double(p.y) * q.y + double(p.z) * q.z;
      squares += double(p.x) * p.x + double(p.y) * p.y + double(p.z) * p.z;
    }
    const float beta = static_cast<float>(product / squares);
    for (KbVector3f& p : corrected) p *= beta;
    m_scalings[i] = scaling * beta;
  }
  return true;
}

bool KoMpGeneralizedProcrustesAnalysis::computeMeanShapeAndCompare(
    KbArray<KbVector3f>& candidate) const {
  const float inverseCount = 1.0f / static_cast<float>(m_shapeCount);
  for (std::uint32_t j = 0; j < m_landmarkCount; ++j) {
    KbVector3f sum;
    for (std::uint32_t i = 0; i < m_shapeCount; ++i) sum += m_correctedLandmarks[i][j];
    candidate[j] = sum * inverseCount;
  }
  KbVector3f centroid;
  CentreAndNormalize(candidate, centroid);

  const float squaredTolerance = m_tolerance * m_tolerance;
  for (std::uint32_t j = 0; j < m_landmarkCount; ++j) {
    if (!((m_meanShape[j] - candidate[j]).SquaredLength() <= squaredTolerance)) return false;
  }
  return true;
}

void KoMpGeneralizedProcrustesAnalysis::checkShapeIndex(std::uint32_t i) const {
  if (i >= m_translations.GetSize()) throw KbException();
}

void KoMpGeneralizedProcrustesAnalysis::GetOutputOfShape(std::uint32_t i,
                                                         KoTransformation& t) const {
  checkOutputData();
  checkShapeIndex(i);
  t.SetRotationPivot(m_centers[i], true);
  t.SetRotation(m_rotations[i]);
  if (!m_flags.IsSet(eNoScaling)) {
    float scaling = m_scalings[i];
    if (!m_flags.IsSet(eAbsoluteScaling)) scaling = scaling / m_referenceScale;
    t.SetScaling(scaling);
  }
  KbVector3f translation = m_translations[i];
  if (!m_flags.IsSet(eNoReferenceOffset)) translation = translation + m_referenceCenter;
  t.SetTranslation(translation);
}

void KoMpGeneralizedProcrustesAnalysis::GetOutputOfShape(std::uint32_t i, KbVector3f& translation,
                                                         KbMatrix4Rf& rotation) const {
  checkOutputData();
  checkShapeIndex(i);
  translation = m_translations[i];
  rotation = m_rotations[i];
}

void KoMpGeneralizedProcrustesAnalysis::GetOutput(
    KbArray<KoTransformation>& transformations) const {
  checkOutputData();
  transformations.Resize(m_translations.GetSize());
  for (std::uint32_t i = 0; i < transformations.GetSize(); ++i) {
    GetOutputOfShape(i, transformations[i]);
  }
}

void KoMpGeneralizedProcrustesAnalysis::GetOutput(KbArray<KbVector3f>& translations,
                                                  KbArray<KbMatrix4Rf>& rotations) const {
  checkOutputData();
  translations = m_translations;
  rotations = m_rotations;
}

void KoMpGeneralizedProcrustesAnalysis::GetScalings(KbArray<float>& scalings) const {
  checkOutputData();
  scalings = m_scalings;
}

void KoMpGeneralizedProcrustesAnalysis::GetCenters(KbArray<KbVector3f>& centers) const {
  checkOutputData();
  centers = m_centers;
}

const KbVector3f& KoMpGeneralizedProcrustesAnalysis::GetRotationCenterOfShape(
    std::uint32_t i) const {
  checkOutputData();
  checkShapeIndex(i);
  return m_centers[i];
}

void KoMpGeneralizedProcrustesAnalysis::GetCorrectedLandmarks(
    KbArray<KbArray<KbVector3f>>& landmarks) const {
  checkOutputData();
  landmarks = m_correctedLandmarks;
}

void KoMpGeneralizedProcrustesAnalysis::GetMeanShape(KbArray<KbVector3f>& mean) const {
  checkOutputData();
  mean = m_meanShape;
  if (m_flags.IsSet(eMeanShapeInReferenceScale)) {
    const float factor = 1.0f / m_referenceScale;
    for (KbVector3f& p : mean) p *= factor;
  }
}
