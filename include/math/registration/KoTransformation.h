// KoTransformation: a placement in space kept as editable components, with
// the 4x4 float matrix they compose to.
//
// Components: translation t, rotation R (a 4x4 matrix, stored exactly as
// handed in, never validated or re-orthonormalised), rotation pivot p,
// per-axis scaling s, and a scaling pivot. Row vectors are multiplied from
// the left (see KbMatrix4R.h), and the composed matrix is
//
//   M = T(-p) · S · R · T(p + t)
//
// with T(v) the translation by v and S = diag(s.x, s.y, s.z, 1): a point x
// maps to ((x - p) scaled by s, then rotated by R) + p + t, so scaling and
// rotation both act about the rotation pivot. The scaling pivot is stored,
// written, dumped and returned, but takes no part in M; that is the class's
// long-standing behaviour and callers rely on it.
//
// Invariant: after every public operation the cached matrix equals the
// composition of the components (the copy operations copy a matrix that
// already does).
//
// Notifications: every change of a component sends exactly one message
// KoObservableMessage::eChanged (2) with a null payload to the observers,
// after the matrix is up to date. Constructors notify nobody (a new object
// has no observers; the copy constructor does not even recompose).
//
// No operation checks its input or throws, except reading a record: a
// non-finite component makes the matrix non-finite.
#pragma once

#include "base/KbIDumpable.h"
#include "base/KbMatrix4R.h"
#include "base/KbStreamBinary.h"
#include "base/KbVector.h"
#include "base/KoObservable.h"
#include "math/KoMathExport.h"

class KOMATH_API KoTransformation : public KoObservable, public KbIDumpable<1> {
 public:
  // The identity: no translation, identity rotation, unit scaling, both
  // pivots at the origin.
  KoTransformation();
  // Unit scaling, both pivots at the origin.
  KoTransformation(const KbVector3f& translation, const KbMatrix4Rf& rotation);
  // Both pivots at the origin.
  KoTransformation(const KbVector3f& translation, const KbMatrix4Rf& rotation,
                   const KbVector3f& scaling);
  // The decomposition of `matrix`, as operator=(const KbMatrix4Rf&) does it.
  explicit KoTransformation(const KbMatrix4Rf& matrix);
  // Copies the components and the composed matrix as they are; the copy
  // starts without observers and nobody is notified.
  KoTransformation(const KoTransformation& other);
  ~KoTransformation() override;

  // Copies the components and the composed matrix without recomposing, then
  // notifies once (also for a self-assignment). The observers stay those of
  // this object.
  KoTransformation& operator=(const KoTransformation& other);

  // Decomposes an affine matrix: translation from the fourth row, scaling
  // from the lengths of the upper-left 3x3 rows, rotation from those rows
  // divided by their lengths (fourth row and column of the rotation as in
  // the identity), both pivots at the origin; notifies once. Deliberately
  // no repair: a zero row gives an infinite reciprocal and a non-finite
  // rotation row; shear is not removed; a mirroring matrix gives a rotation
  // with negative determinant and positive scalings. `matrix` may be this
  // object's own rotation or composed matrix.
  KoTransformation& operator=(const KbMatrix4Rf& matrix);

  // Every component back to the identity's; notifies once.
  KoTransformation& Reset();

  // Each setter stores its argument, recomposes and notifies once.
  void SetTranslation(const KbVector3f& translation);
  // All sixteen elements are taken unchanged; a non-zero fourth row or
  // column takes part in the composition.
  void SetRotation(const KbMatrix4Rf& rotation);
  void SetScaling(const KbVector3f& scaling);
  void SetScaling(float x, float y, float z);
  // Uniform scaling: the same as SetScaling(s, s, s).
  void SetScaling(float s);
  // Changes nothing in the matrix (the scaling pivot is not composed) but
  // still notifies.
  void SetScalingPivot(const KbVector3f& pivot);

  // Moves the rotation pivot. With `keepTransformation` false the mapping
  // changes (scaling and rotation now act about the new pivot). With true
  // the translation absorbs the move: it grows by the difference of the
  // origin's images under the old matrix and under the one the new pivot
  // gives, so the mapping stays the same up to rounding. Notifies once.
  void SetRotationPivot(const KbVector3f& pivot, bool keepTransformation);

  const KbVector3f& GetTranslation() const { return m_translation; }
  const KbMatrix4Rf& GetRotation() const { return m_rotation; }
  const KbVector3f& GetRotationPivot() const { return m_rotationPivot; }
  const KbVector3f& GetScaling() const { return m_scaling; }
  const KbVector3f& GetScalingPivot() const { return m_scalingPivot; }

  // The composed matrix.
  operator const KbMatrix4Rf&() const { return m_matrix; }
  const KbMatrix4Rf& GetMatrix() const { return m_matrix; }

  // Exact comparison of the composed matrix, element by element (a NaN
  // element never compares equal).
  bool operator==(const KbMatrix4Rf& matrix) const;
  bool operator!=(const KbMatrix4Rf& matrix) const { return !(*this == matrix); }

  // True when the Frobenius distance between the composed matrix and
  // `matrix` is at most `tolerance`: the float sum of the sixteen squared
  // differences, in storage order, compared with tolerance² (inclusive).
  bool IsEqualTol(const KbMatrix4Rf& matrix, float tolerance) const;

  // Record: translation (3 floats), then the version 1, then the rotation
  // (16 floats in storage order), the rotation pivot, the scaling and the
  // scaling pivot (3 floats each). The version stands after the
  // translation; that placement is the stored format. The composed matrix
  // is not stored.
  void Serialize(KbStreamWriteBinary& stream) const;
  // Reads the record, recomposes and notifies once. A truncated record
  // (KbExceptionEndOfStream) or another version (KbExceptionWrongFileVersion)
  // throws before anything changes, so the object stays as it was.
  void Serialize(KbStreamReadBinary& stream);

 protected:
  // Text under fixed labels, each line ending in "\n" and each block
  // followed by an empty line:
  //   Translation: [x y z]
  //   Rotation: four rows "[" + four "%12.3f" numbers separated by " " + "]"
  //   Rotations-Pivot: [x y z]
  //   Skalierung: [x y z]
  //   Skalierungs-Pivot: [x y z]
  // Vector components are written by the text stream's own float writer.
  // The labels are part of the dump's format, read by tools as well as
  // people, and stay as they are. The composed matrix is not dumped.
  void dump(KbStreamWriteASCIIT<wchar_t>& stream) const override;

 private:
  // T(-p) · S · R · T(p + t) of the current components.
  KbMatrix4Rf compose() const;
  // Stores compose() as the cached matrix and notifies once.
  void flushTransformation();

  KbVector3f m_translation;
  KbMatrix4Rf m_rotation;
  KbVector3f m_rotationPivot;
  KbVector3f m_scaling{1.0f, 1.0f, 1.0f};
  KbVector3f m_scalingPivot;
  KbMatrix4Rf m_matrix;
};
