#include "math/rotations/KoTangentBasis.h"

#include <cmath>

#include "base/KoStreamValue.h"

namespace {

constexpr float c_smallestNormal = 1.17549435e-38f;

float dot(const KbVector3f& a, const KbVector3f& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

KbVector3f divided(const KbVector3f& v, float length) {
  return KbVector3f(v.x / length, v.y / length, v.z / length);
}

// v / |v|, or zero when |v|^2 has underflowed below the normal range (a NaN
// vector stays NaN).
KbVector3f normalized(const KbVector3f& v) {
  const float squared = dot(v, v);
  if (squared <= c_smallestNormal) return KbVector3f(0, 0, 0);
  return divided(v, std::sqrt(squared));
}

// Gram-Schmidt's form: only a squared length above the threshold is divided,
// so a vector that lost everything to the projection (NaN included) is zero.
KbVector3f normalizedOrZero(const KbVector3f& v) {
  const float squared = dot(v, v);
  if (!(squared > c_smallestNormal)) return KbVector3f(0, 0, 0);
  return divided(v, std::sqrt(squared));
}

// v - along (along . v), the projection step of Gram-Schmidt.
KbVector3f reject(const KbVector3f& v, const KbVector3f& along) {
  const float d = dot(along, v);
  return KbVector3f(v.x - along.x * d, v.y - along.y * d, v.z - along.z * d);
}

KbVector3f cross(const KbVector3f& a, const KbVector3f& b) {
  return KbVector3f(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}

}  // namespace

KoTangentBasis::KoTangentBasis(const KbVector3f& n, const KbVector3f& t, float handedness)
    : m_normal(n),
      m_tangent(t),
      m_bitangent((t.y * n.z - t.z * n.y) * handedness, (t.z * n.x - t.x * n.z) * handedness,
                  (t.x * n.y - t.y * n.x) * handedness) {}

float KoTangentBasis::GetDeterminant() const {
  const KbVector3f& n = m_normal;
  const KbVector3f& t = m_tangent;
  const KbVector3f& b = m_bitangent;
  return t.x * b.y * n.z - t.z * b.y * n.x + t.y * b.z * n.x - b.x * t.y * n.z + b.x * t.z * n.y -
         b.z * t.x * n.y;
}

float KoTangentBasis::GetHandedness() const {
  return GetDeterminant() > 0 ? 1.0f : -1.0f;
}

bool KoTangentBasis::IsValid() const {
  const KbVector3f zero(0, 0, 0);
  if (m_normal == zero || m_tangent == zero || m_bitangent == zero) return false;
  return GetDeterminant() > 0;
}

void KoTangentBasis::Normalize() {
  m_normal = normalized(m_normal);
  m_tangent = normalized(m_tangent);
  m_bitangent = normalized(m_bitangent);
}

void KoTangentBasis::Orthonormalize() {
  m_normal = normalized(m_normal);
  m_tangent = normalizedOrZero(reject(m_tangent, m_normal));
  m_bitangent = normalizedOrZero(reject(reject(m_bitangent, m_normal), m_tangent));
}

void KoTangentBasis::Rotate(const KbVector3f& n) {
  const float c = dot(m_normal, n);
  if (c <= -1) {
    // 0 - v rather than -v: a zero component stays +0.
    m_tangent = KbVector3f(0 - m_tangent.x, 0 - m_tangent.y, 0 - m_tangent.z);
    m_bitangent = KbVector3f(0 - m_bitangent.x, 0 - m_bitangent.y, 0 - m_bitangent.z);
    return;
  }
  const KbVector3f u(n.x - m_normal.x * c, n.y - m_normal.y * c, n.z - m_normal.z * c);
  const float k = 1 / (c + 1);
  const KbVector3f f((m_normal.x + n.x) * k, (m_normal.y + n.y) * k, (m_normal.z + n.z) * k);
  auto turn = [&u, &f](KbVector3f& v) {
    const float d = dot(u, v);
    v = KbVector3f(v.x - d * f.x, v.y - d * f.y, v.z - d * f.z);
  };
  turn(m_tangent);
  turn(m_bitangent);
  m_normal = n;
}

KbVector3f KoTangentBasis::Transform(const KbVector3f& v) const {
  const KbVector3f& n = m_normal;
  const KbVector3f& t = m_tangent;
  const KbVector3f& b = m_bitangent;
  return KbVector3f(t.x * v.x + b.x * v.y + n.x * v.z, t.y * v.x + b.y * v.y + n.y * v.z,
                    t.z * v.x + b.z * v.y + n.z * v.z);
}

KbVector3f KoTangentBasis::TransformInverse(const KbVector3f& v) const {
  // The rows of the inverse of the column matrix [T B N] are the cofactor
  // vectors B x N, N x T and T x B, each over the determinant.
  const float r = 1 / GetDeterminant();
  return KbVector3f(dot(cross(m_bitangent, m_normal), v) * r,
                    dot(cross(m_normal, m_tangent), v) * r,
                    dot(cross(m_tangent, m_bitangent), v) * r);
}

void KoTangentBasis::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(0);
  KoWriteValue(stream, m_normal);
  KoWriteValue(stream, m_tangent);
  KoWriteValue(stream, m_bitangent);
}

void KoTangentBasis::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(0);
  const KbVector3f n = KoReadValue<KbVector3f>(stream);
  const KbVector3f t = KoReadValue<KbVector3f>(stream);
  const KbVector3f b = KoReadValue<KbVector3f>(stream);
  m_normal = n;
  m_tangent = t;
  m_bitangent = b;
}
