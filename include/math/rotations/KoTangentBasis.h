// KoTangentBasis: the local frame of a surface point, normal N, tangent T
// and bitangent B, in single precision.
//
// Frame coordinates (a, b, c) stand for a T + b B + c N: x runs along the
// tangent, y along the bitangent, z along the normal. The frame is valid
// when no vector is zero and det[T B N] = N . (T x B) > 0, so a left-handed
// frame counts as invalid.
//
//   KoTangentBasis frame(normal, tangent, -1.0f);    // B = -(T x N) = N x T
//   KbVector3f world = frame.Transform(KbVector3f(0.5f, 0, 1));
//
// Everything that multiplies and adds is compiled in the library without
// fused multiply-adds, so results do not depend on the caller's flags.
#pragma once

#include "base/KbStreamBinary.h"
#include "base/KbVector.h"
#include "math/KoMathExport.h"

class KOMATH_API KoTangentBasis {
 public:
  // All three vectors zero: an invalid basis.
  KoTangentBasis() = default;
  KoTangentBasis(const KbVector3f& n, const KbVector3f& t, const KbVector3f& b)
      : m_normal(n), m_tangent(t), m_bitangent(b) {}
  // B = handedness (t x n), so handedness -1 with a unit n perpendicular to
  // a unit t gives a valid (right-handed, determinant 1) frame.
  KoTangentBasis(const KbVector3f& n, const KbVector3f& t, float handedness);

  KbVector3f& GetNormal() { return m_normal; }
  const KbVector3f& GetNormal() const { return m_normal; }
  KbVector3f& GetTangent() { return m_tangent; }
  const KbVector3f& GetTangent() const { return m_tangent; }
  KbVector3f& GetBitangent() { return m_bitangent; }
  const KbVector3f& GetBitangent() const { return m_bitangent; }

  // N . (T x B), summed as T.x B.y N.z - T.z B.y N.x + T.y B.z N.x
  // - B.x T.y N.z + B.x T.z N.y - B.z T.x N.y.
  float GetDeterminant() const;
  // 1 for a positive determinant, else -1 (also for 0 and NaN).
  float GetHandedness() const;
  // False when N, T or B is exactly zero, otherwise GetDeterminant() > 0.
  bool IsValid() const;

  // Each vector divided by its length; one whose squared length is at most
  // 1.17549435e-38 (the smallest normal float) becomes zero, since its
  // direction is lost to underflow.
  void Normalize();
  // Gram-Schmidt in the order N, T, B with the same zero threshold: N is
  // normalised, T loses its N component, B its N and then (new) T
  // components. B keeps its side, so the handedness is the input's. A
  // tangent parallel to the normal becomes zero.
  void Orthonormalize();
  // Turns the frame by the smallest rotation taking N to `n` (taken to be
  // unit): T and B get V - (u . V)(N + n) / (1 + N . n) with u = n - N (N . n),
  // then N = n. For opposite normals (N . n <= -1) that rotation is not
  // unique: T and B are negated and N deliberately stays as it is.
  void Rotate(const KbVector3f& n);

  // From frame coordinates to space: v.x T + v.y B + v.z N.
  KbVector3f Transform(const KbVector3f& v) const;
  // The inverse of Transform for any non-singular frame (orthogonality is
  // not assumed): Cramer's rule, each component a cofactor dot product times
  // 1 / GetDeterminant(). A singular frame gives infinities or NaN.
  KbVector3f TransformInverse(const KbVector3f& v) const;

  // Record, version 0: u32 version, then N, T, B as three floats each.
  void Serialize(KbStreamWriteBinary& stream) const;
  // A truncated record or a wrong version throws and leaves the basis as it
  // was (the floats are read into temporaries first).
  void Serialize(KbStreamReadBinary& stream);

 private:
  KbVector3f m_normal;
  KbVector3f m_tangent;
  KbVector3f m_bitangent;
};
