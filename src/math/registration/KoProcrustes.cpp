#include "math/registration/KoProcrustes.h"

#include <cmath>
#include <optional>
#include <utility>

#include "base/KbException.h"
#include "base/KoArray2D.h"
#include "base/KoStreamValue.h"
#include "math/foundations/KoMatrixFixed.h"
#include "math/registration/KoSingularValueDecomposition.h"
#include "math/registration/KoTransformation.h"

namespace {

constexpr std::uint32_t c_uiInputVersion = 1;
constexpr std::uint32_t c_uiOutputVersion = 1;
constexpr std::uint32_t c_uiRotationVersion = 1;

// Unit-test tolerances: 2^-46 on squared distances, 2^-23 on the scalings.
constexpr float c_fSquaredDistanceTolerance = 0x1p-46f;
constexpr float c_fScalingTolerance = 0x1p-23f;

using Matrix3d = KoMatrixFixed<double, 3, 3>;

// a * diag(1, d1, d2) * b^T, each element summed over k = 0, 1, 2 in that
// order, with the diagonal applied to a's columns first. The first axis
// never takes the reflection correction, so it has no factor.
Matrix3d TimesDiagonalTimesTransposed(const Matrix3d& a, double d1, double d2, const Matrix3d& b) {
  Matrix3d m;
  for (unsigned int i = 0; i < 3; ++i) {
    for (unsigned int j = 0; j < 3; ++j) {
      double sum = a(i, 0) * b(j, 0);
      sum += (a(i, 1) * d1) * b(j, 1);
      sum += (a(i, 2) * d2) * b(j, 2);
      m(i, j) = sum;
    }
  }
  return m;
}

// det(V U^T) by cofactors: of the upper-left 2x2 block in the planar case,
// else along the first row of the 3x3 product.
double DeterminantOfProduct(const Matrix3d& v, const Matrix3d& u, bool planar) {
  const Matrix3d m = TimesDiagonalTimesTransposed(v, 1.0, 1.0, u);
  if (planar) return m(0, 0) * m(1, 1) - m(0, 1) * m(1, 0);
  return m(0, 0) * (m(1, 1) * m(2, 2) - m(1, 2) * m(2, 1)) -
         m(0, 1) * (m(1, 0) * m(2, 2) - m(1, 2) * m(2, 0)) +
         m(0, 2) * (m(1, 0) * m(2, 1) - m(1, 1) * m(2, 0));
}

// Both centroids in one pass: six independent float sums in index order,
// then each sum times 1/n (itself rounded to float).
void Centroids(const KbVector3f* a, const KbVector3f* b, unsigned int n, KbVector3f& c1,
               KbVector3f& c2) {
  KbVector3f sumA, sumB;
  for (unsigned int i = 0; i < n; ++i) {
    sumA += a[i];
    sumB += b[i];
  }
  const float inverse = 1.0f / static_cast<float>(n);
  c1 = sumA * inverse;
  c2 = sumB * inverse;
}

// Adds the squared lengths of both centred sets to sumA and sumB, in index
// order.
void SquaredSums(const KbVector3f* a, const KbVector3f* b, unsigned int n, const KbVector3f& c1,
                 const KbVector3f& c2, float& sumA, float& sumB) {
  for (unsigned int i = 0; i < n; ++i) {
    sumA += (a[i] - c1).SquaredLength();
    sumB += (b[i] - c2).SquaredLength();
  }
}

// H(r, c) = sum over i of b_i[r] * a_i[c] in double, a_i = (A_i - c1) * s1
// and b_i = (B_i - c2) * s2 recomputed in float on the fly (the same bits
// as stored centred copies, without the memory traffic). The float
// products are exact in double; only the sums round, each in index order.
// `Scale` is false when there is no normalisation: a multiplication by 1
// would change nothing, so it is skipped.
template <unsigned int Order, bool Scale>
KoMatrixFixed<double, Order, Order> CrossCovariance(const KbVector3f* a, const KbVector3f* b,
                                                    unsigned int n, const KbVector3f& c1,
                                                    const KbVector3f& c2, float s1, float s2) {
  KoMatrixFixed<double, Order, Order> sum;
  for (unsigned int i = 0; i < n; ++i) {
    KbVector3f ai = a[i] - c1;
    KbVector3f bi = b[i] - c2;
    if constexpr (Scale) {
      ai = ai * s1;
      bi = bi * s2;
    }
    double ad[Order], bd[Order];
    for (unsigned int k = 0; k < Order; ++k) {
      ad[k] = ai[k];
      bd[k] = bi[k];
    }
    for (unsigned int r = 0; r < Order; ++r) {
      for (unsigned int c = 0; c < Order; ++c) sum(r, c) += bd[r] * ad[c];
    }
  }
  return sum;
}

template <unsigned int Order>
KoArray2D<double> CovarianceMatrix(const KbVector3f* a, const KbVector3f* b, unsigned int n,
                                   const KbVector3f& c1, const KbVector3f& c2, bool scale, float s1,
                                   float s2) {
  const KoMatrixFixed<double, Order, Order> h =
      scale ? CrossCovariance<Order, true>(a, b, n, c1, c2, s1, s2)
            : CrossCovariance<Order, false>(a, b, n, c1, c2, s1, s2);
  KoArray2D<double> matrix;
  ToArray2D(h, Order, Order, matrix);
  return matrix;
}

bool IsWithinSquaredDistance(const KbVector3f& a, const KbVector3f& b) {
  return (a - b).SquaredLength() <= c_fSquaredDistanceTolerance;
}

}  // namespace

// The owned side of a unit test: the two sets the inputs point at while a
// record is replayed, and the results the record expects.
struct KoProcrustes::SUnitTestData {
  struct SExpected {
    KbVector3f firstCenter;
    KbVector3f secondCenter;
    KbVector3f translation;
    std::optional<KbMatrix4Rf> rotation;
    std::optional<std::pair<float, float>> scalings;
  };

  KbArray<KbVector3f> first;
  KbArray<KbVector3f> second;
  std::optional<SExpected> expected;
};

KoProcrustes::KoProcrustes() = default;
KoProcrustes::~KoProcrustes() = default;

const wchar_t* KoProcrustes::GetClassNameW() const {
  return GetRTTI().GetName();
}

void KoProcrustes::SetInput(const KbArray<KbVector3f>& first, const KbArray<KbVector3f>& second) {
  m_pFirst = &first;
  m_pSecond = &second;
  setInputChanged();
}

bool KoProcrustes::checkPreConditions() const {
  return m_pFirst != nullptr && m_pSecond != nullptr &&
         m_pFirst->GetSize() == m_pSecond->GetSize() && m_pFirst->GetSize() >= 3;
}

void KoProcrustes::compute() {
  const KbVector3f* a = m_pFirst->GetData();
  const KbVector3f* b = m_pSecond->GetData();
  const unsigned int n = m_pFirst->GetSize();

  Centroids(a, b, n, m_firstCenter, m_secondCenter);
  m_translation = m_firstCenter - m_secondCenter;
  m_rotation = KbMatrix4Rf();
  if (m_flags.IsSet(eTranslationOnly)) {
    m_hasRotation = false;
    return;
  }

  const bool normalize = m_flags.IsSet(eNormalizeScale);
  if (normalize) {
    float sumA = 0.0f, sumB = 0.0f;
    SquaredSums(a, b, n, m_firstCenter, m_secondCenter, sumA, sumB);
    m_hasScalings = true;
    m_firstScaling = 1.0f / std::sqrt(sumA);
    m_secondScaling = 1.0f / std::sqrt(sumB);
  }

  const bool planar = m_flags.IsSet(ePlanar);
  const KoArray2D<double> h = planar
                                  ? CovarianceMatrix<2>(a, b, n, m_firstCenter, m_secondCenter,
                                                        normalize, m_firstScaling, m_secondScaling)
                                  : CovarianceMatrix<3>(a, b, n, m_firstCenter, m_secondCenter,
                                                        normalize, m_firstScaling, m_secondScaling);

  KoSingularValueDecomposition<double> svd;
  svd.GetFlags().Set(KoSingularValueDecomposition<double>::eSortDecreasing);
  svd.SetInput(h);
  // A square two-dimensional input always meets the decomposition's
  // pre-conditions; non-convergence throws out of Compute.
  if (!svd.Compute(KoAlgorithm::eComputeNested)) throw KbException();
  KoArray2D<double> uFactor, vFactor;
  svd.GetU(uFactor);
  svd.GetV(vFactor);
  // In the planar case the 2x2 factors fill the upper-left blocks of
  // identities.
  const Matrix3d u = ToFixed<double, 3, 3>(uFactor);
  const Matrix3d v = ToFixed<double, 3, 3>(vFactor);

  // The last axis of the problem (y in the plane, else z) takes det(V U^T),
  // about +1 or -1 and used unrounded.
  const double d = m_flags.IsSet(eAllowReflection) ? 1.0 : DeterminantOfProduct(v, u, planar);
  const Matrix3d r = planar ? TimesDiagonalTimesTransposed(v, d, 1.0, u)
                            : TimesDiagonalTimesTransposed(v, 1.0, d, u);

  // R maps column vectors; the row-vector matrix is its transpose.
  for (unsigned int i = 0; i < 3; ++i) {
    for (unsigned int j = 0; j < 3; ++j) m_rotation(i, j) = static_cast<float>(r(j, i));
  }
  m_hasRotation = true;
}

void KoProcrustes::GetOutput(KbVector3f& translation) const {
  checkOutputData();
  translation = m_translation;
}

void KoProcrustes::GetOutput(KbVector3f& translation, KbMatrix4Rf& rotation) const {
  checkOutputData();
  translation = m_translation;
  rotation = m_rotation;
}

void KoProcrustes::GetOutput(KoTransformation& t) const {
  checkOutputData();
  t.SetRotationPivot(m_firstCenter - m_translation, true);
  t.SetRotation(m_rotation);
  t.SetTranslation(m_translation);
  if (m_flags.IsSet(eApplyScaling) && m_flags.IsSet(eNormalizeScale)) {
    t.SetScaling(m_secondScaling / m_firstScaling);
  }
}

void KoProcrustes::GetOutput(KbMatrix4Rf& matrix) const {
  KoTransformation t;
  GetOutput(t);
  matrix = static_cast<const KbMatrix4Rf&>(t);
}

void KoProcrustes::GetCenters(KbVector3f& first, KbVector3f& second) const {
  checkOutputData();
  first = m_firstCenter;
  second = m_secondCenter;
}

void KoProcrustes::GetScalings(float& first, float& second) const {
  checkOutputData();
  first = m_firstScaling;
  second = m_secondScaling;
}

void KoProcrustes::serializeUnitTestInput(KbStreamWriteBinary& stream) const {
  if (m_pFirst == nullptr || m_pSecond == nullptr) throw KbException();
  stream.WriteVersion(c_uiInputVersion);
  KoProcrustesBase::serializeUnitTestInput(stream);
  stream.WriteUInt32(m_flags.GetBits());
  m_pFirst->Serialize(stream);
  m_pSecond->Serialize(stream);
}

// Everything is read into locals first, so a truncated or corrupt record
// throws with the object as it was.
void KoProcrustes::serializeUnitTestInput(KbStreamReadBinary& stream) {
  const std::uint32_t version = stream.ReadAndCompareVersion(c_uiInputVersion);
  if (version != c_uiInputVersion) throw KbExceptionWrongFileVersion(c_uiInputVersion, version);
  KoProcrustesBase::serializeUnitTestInput(stream);
  const std::uint32_t flags = stream.ReadUInt32();
  KbArray<KbVector3f> first, second;
  first.Serialize(stream);
  second.Serialize(stream);

  if (!m_pUnitTest) m_pUnitTest = std::make_unique<SUnitTestData>();
  m_pUnitTest->first = std::move(first);
  m_pUnitTest->second = std::move(second);
  m_pUnitTest->expected.reset();
  m_flags.SetBits(flags);
  SetInput(m_pUnitTest->first, m_pUnitTest->second);
}

void KoProcrustes::serializeUnitTestOutput(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiOutputVersion);
  KoProcrustesBase::serializeUnitTestOutput(stream);
  KoWriteValue(stream, m_firstCenter);
  KoWriteValue(stream, m_secondCenter);
  KoWriteValue(stream, m_translation);
  stream.WriteBool(m_hasRotation);
  if (m_hasRotation) {
    stream.WriteVersion(c_uiRotationVersion);
    for (unsigned int i = 0; i < 16; ++i) stream.WriteFloat(m_rotation[i]);
  }
  stream.WriteBool(m_hasScalings);
  if (m_hasScalings) {
    stream.WriteFloat(m_firstScaling);
    stream.WriteFloat(m_secondScaling);
  }
}

void KoProcrustes::serializeUnitTestOutput(KbStreamReadBinary& stream) {
  const std::uint32_t version = stream.ReadAndCompareVersion(c_uiOutputVersion);
  if (!m_pUnitTest) throw KbException();
  if (version != c_uiOutputVersion) throw KbExceptionWrongFileVersion(c_uiOutputVersion, version);
  KoProcrustesBase::serializeUnitTestOutput(stream);
  SUnitTestData::SExpected expected;
  expected.firstCenter = KoReadValue<KbVector3f>(stream);
  expected.secondCenter = KoReadValue<KbVector3f>(stream);
  expected.translation = KoReadValue<KbVector3f>(stream);
  if (stream.ReadBool()) {
    // The marker's own check is the stream's; its value is not needed.
    stream.ReadAndCompareVersion(c_uiRotationVersion);
    KbMatrix4Rf rotation;
    for (unsigned int i = 0; i < 16; ++i) rotation[i] = stream.ReadFloat();
    expected.rotation = rotation;
  }
  if (stream.ReadBool()) {
    const float first = stream.ReadFloat();
    expected.scalings.emplace(first, stream.ReadFloat());
  }
  m_pUnitTest->expected = expected;
}

void KoProcrustes::releaseUnitTestInput() {
  m_pFirst = nullptr;
  m_pSecond = nullptr;
  m_pUnitTest.reset();
}

void KoProcrustes::releaseUnitTestOutput() {
  if (m_pUnitTest) m_pUnitTest->expected.reset();
}

bool KoProcrustes::compareUnitTestResult() const {
  if (!m_pUnitTest) throw KbException();
  const SUnitTestData::SExpected& expected = m_pUnitTest->expected.value();
  if (!IsWithinSquaredDistance(m_firstCenter, expected.firstCenter) ||
      !IsWithinSquaredDistance(m_secondCenter, expected.secondCenter) ||
      !IsWithinSquaredDistance(m_translation, expected.translation)) {
    return false;
  }
  if (m_hasRotation != expected.rotation.has_value()) return false;
  if (m_hasRotation) {
    float sum = 0.0f;
    for (unsigned int i = 0; i < 16; ++i) {
      const float difference = m_rotation[i] - expected.rotation.value()[i];
      sum += difference * difference;
    }
    if (!(sum <= c_fSquaredDistanceTolerance)) return false;
  }
  if (m_hasScalings != expected.scalings.has_value()) return false;
  return !m_hasScalings ||
         (std::fabs(m_firstScaling - expected.scalings.value().first) < c_fScalingTolerance &&
          std::fabs(m_secondScaling - expected.scalings.value().second) < c_fScalingTolerance);
}
