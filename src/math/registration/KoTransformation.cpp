#include "math/registration/KoTransformation.h"

#include <charconv>
#include <cstring>
#include <string>

#include "base/KoStreamValue.h"

namespace {

constexpr std::uint32_t c_uiVersion = 1;

// Four float lanes (the compilers' vector extension). With contraction off,
// every lane operation rounds exactly like the scalar one.
typedef float Lanes4 __attribute__((vector_size(16)));

Lanes4 LoadRow(const KbMatrix4Rf& m, unsigned int row) {
  Lanes4 lanes;
  std::memcpy(&lanes, m.GetData() + 4 * row, sizeof(lanes));
  return lanes;
}

// a · b, row by row: row r of the result is a(r,0)·b₀ + a(r,1)·b₁ +
// a(r,2)·b₂ + a(r,3)·b₃ (b's rows), summed left to right, which is also the
// order of each element's dot product. The full product: zero elements take
// part, so infinities and NaNs spread as the plain formula says.
KbMatrix4Rf Multiply(const KbMatrix4Rf& a, const KbMatrix4Rf& b) {
  const Lanes4 b0 = LoadRow(b, 0), b1 = LoadRow(b, 1), b2 = LoadRow(b, 2), b3 = LoadRow(b, 3);
  KbMatrix4Rf result;
  for (unsigned int r = 0; r < 4; ++r) {
    const Lanes4 row = a(r, 0) * b0 + a(r, 1) * b1 + a(r, 2) * b2 + a(r, 3) * b3;
    std::memcpy(result.GetData() + 4 * r, &row, sizeof(row));
  }
  return result;
}

// The identity with v in the fourth row.
KbMatrix4Rf Translation(const KbVector3f& v) {
  KbMatrix4Rf m;
  m(3, 0) = v.x;
  m(3, 1) = v.y;
  m(3, 2) = v.z;
  return m;
}

// The image of the origin, (0, 0, 0, 1) · m divided by its w.
KbVector3f OriginImage(const KbMatrix4Rf& m) {
  return m.TransformPoint(KbVector3f());
}

void DumpVector(KbStreamWriteASCIIT<wchar_t>& stream, const KbVector3f& v) {
  stream << L"[" << v.x << L" " << v.y << L" " << v.z << L"]\n";
}

// printf's "%12.3f" of the value promoted to double, independent of the
// C locale: fixed notation with three decimals, right-aligned in twelve
// columns, never cut when longer.
std::wstring Fixed12_3(float value) {
  char digits[400];
  const auto end =
      std::to_chars(digits, digits + sizeof(digits), double(value), std::chars_format::fixed, 3)
          .ptr;
  const std::size_t length = std::size_t(end - digits);
  std::wstring text(length < 12 ? 12 - length : 0, L' ');
  text.append(digits, end);
  return text;
}

}  // namespace

// The default members compose to the identity, bit for bit, which is what
// the matrix member starts as.
KoTransformation::KoTransformation() = default;

KoTransformation::KoTransformation(const KbVector3f& translation, const KbMatrix4Rf& rotation)
    : m_translation(translation), m_rotation(rotation) {
  m_matrix = compose();
}

KoTransformation::KoTransformation(const KbVector3f& translation, const KbMatrix4Rf& rotation,
                                   const KbVector3f& scaling)
    : m_translation(translation), m_rotation(rotation), m_scaling(scaling) {
  m_matrix = compose();
}

KoTransformation::KoTransformation(const KbMatrix4Rf& matrix) {
  *this = matrix;
}

KoTransformation::KoTransformation(const KoTransformation& other)
    : KoObservable(other),
      KbIDumpable<1>(other),
      m_translation(other.m_translation),
      m_rotation(other.m_rotation),
      m_rotationPivot(other.m_rotationPivot),
      m_scaling(other.m_scaling),
      m_scalingPivot(other.m_scalingPivot),
      m_matrix(other.m_matrix) {}

KoTransformation::~KoTransformation() = default;

KoTransformation& KoTransformation::operator=(const KoTransformation& other) {
  m_translation = other.m_translation;
  m_rotation = other.m_rotation;
  m_rotationPivot = other.m_rotationPivot;
  m_scaling = other.m_scaling;
  m_scalingPivot = other.m_scalingPivot;
  m_matrix = other.m_matrix;
  NotifyObservers(KoObservableMessage::eChanged, nullptr);
  return *this;
}

KoTransformation& KoTransformation::operator=(const KbMatrix4Rf& matrix) {
  // A copy: the argument may be one of the members rewritten below.
  const KbMatrix4Rf m = matrix;
  m_translation = KbVector3f(m(3, 0), m(3, 1), m(3, 2));
  m_scaling = KbVector3f(KbVector3f(m(0, 0), m(0, 1), m(0, 2)).Length(),
                         KbVector3f(m(1, 0), m(1, 1), m(1, 2)).Length(),
                         KbVector3f(m(2, 0), m(2, 1), m(2, 2)).Length());
  m_rotation = KbMatrix4Rf();
  for (unsigned int r = 0; r < 3; ++r) {
    const float reciprocal = 1.0f / m_scaling[r];
    for (unsigned int c = 0; c < 3; ++c) m_rotation(r, c) = m(r, c) * reciprocal;
  }
  m_rotationPivot = KbVector3f();
  m_scalingPivot = KbVector3f();
  flushTransformation();
  return *this;
}

KoTransformation& KoTransformation::Reset() {
  m_translation = KbVector3f();
  m_rotation = KbMatrix4Rf();
  m_rotationPivot = KbVector3f();
  m_scaling = KbVector3f(1.0f, 1.0f, 1.0f);
  m_scalingPivot = KbVector3f();
  flushTransformation();
  return *this;
}

void KoTransformation::SetTranslation(const KbVector3f& translation) {
  m_translation = translation;
  flushTransformation();
}

void KoTransformation::SetRotation(const KbMatrix4Rf& rotation) {
  m_rotation = rotation;
  flushTransformation();
}

void KoTransformation::SetScaling(const KbVector3f& scaling) {
  m_scaling = scaling;
  flushTransformation();
}

void KoTransformation::SetScaling(float x, float y, float z) {
  SetScaling(KbVector3f(x, y, z));
}

void KoTransformation::SetScaling(float s) {
  SetScaling(s, s, s);
}

void KoTransformation::SetScalingPivot(const KbVector3f& pivot) {
  m_scalingPivot = pivot;
  flushTransformation();
}

void KoTransformation::SetRotationPivot(const KbVector3f& pivot, bool keepTransformation) {
  m_rotationPivot = pivot;
  if (keepTransformation) {
    // The linear part S·R does not depend on the pivot, so matching the
    // origin's images matches the whole mapping.
    const KbVector3f before = OriginImage(m_matrix);
    const KbVector3f after = OriginImage(compose());
    m_translation += before - after;
  }
  flushTransformation();
}

bool KoTransformation::operator==(const KbMatrix4Rf& matrix) const {
  return m_matrix == matrix;
}

bool KoTransformation::IsEqualTol(const KbMatrix4Rf& matrix, float tolerance) const {
  float sum = 0.0f;
  for (unsigned int i = 0; i < 16; ++i) {
    const float difference = m_matrix[i] - matrix[i];
    sum += difference * difference;
  }
  return sum <= tolerance * tolerance;
}

void KoTransformation::Serialize(KbStreamWriteBinary& stream) const {
  KoWriteValue(stream, m_translation);
  stream.WriteVersion(c_uiVersion);
  for (unsigned int i = 0; i < 16; ++i) stream.WriteFloat(m_rotation[i]);
  KoWriteValue(stream, m_rotationPivot);
  KoWriteValue(stream, m_scaling);
  KoWriteValue(stream, m_scalingPivot);
}

void KoTransformation::Serialize(KbStreamReadBinary& stream) {
  // Read into locals first: a short or foreign record throws before any
  // member changes.
  const KbVector3f translation = KoReadValue<KbVector3f>(stream);
  stream.ReadAndCompareVersion(c_uiVersion);
  KbMatrix4Rf rotation;
  for (unsigned int i = 0; i < 16; ++i) rotation[i] = stream.ReadFloat();
  const KbVector3f rotationPivot = KoReadValue<KbVector3f>(stream);
  const KbVector3f scaling = KoReadValue<KbVector3f>(stream);
  const KbVector3f scalingPivot = KoReadValue<KbVector3f>(stream);
  m_translation = translation;
  m_rotation = rotation;
  m_rotationPivot = rotationPivot;
  m_scaling = scaling;
  m_scalingPivot = scalingPivot;
  flushTransformation();
}

void KoTransformation::dump(KbStreamWriteASCIIT<wchar_t>& stream) const {
  stream << L"Translation: ";
  DumpVector(stream, m_translation);
  stream << L"\n" << L"Rotation: ";
  for (unsigned int r = 0; r < 4; ++r) {
    stream << L"[";
    for (unsigned int c = 0; c < 4; ++c) {
      if (c != 0) stream << L" ";
      stream.WriteString(Fixed12_3(m_rotation(r, c)));
    }
    stream << L"]\n";
  }
  stream << L"\n" << L"Rotations-Pivot: ";
  DumpVector(stream, m_rotationPivot);
  stream << L"\n" << L"Skalierung: ";
  DumpVector(stream, m_scaling);
  stream << L"\n" << L"Skalierungs-Pivot: ";
  DumpVector(stream, m_scalingPivot);
  stream << L"\n";
}

KbMatrix4Rf KoTransformation::compose() const {
  KbMatrix4Rf scaling;
  scaling(0, 0) = m_scaling.x;
  scaling(1, 1) = m_scaling.y;
  scaling(2, 2) = m_scaling.z;
  const KbMatrix4Rf a = Multiply(Translation(-m_rotationPivot), scaling);
  const KbMatrix4Rf b = Multiply(a, m_rotation);
  return Multiply(b, Translation(m_rotationPivot + m_translation));
}

void KoTransformation::flushTransformation() {
  m_matrix = compose();
  NotifyObservers(KoObservableMessage::eChanged, nullptr);
}
