// A short tour of KoMath: vectors and matrices in the row-vector
// convention, a versioned binary record, creation by registered name, a
// lookup table, and the exact sign of a determinant that doubles get wrong.
#include <math/KoMath.h>
#include <cstdio>

namespace {

void VectorsAndMatrices() {
  const KbVector3f a(1, 2, 3), b(0, 1, 0);
  const KbVector3f c = a.Cross(b);
  std::printf("a x b = (%g, %g, %g), |a| = %g\n", c.x, c.y, c.z, a.Length());

  // Row vectors times matrices: the translation sits in the fourth row.
  KbMatrix4Rf m = KbOrthogonalMatrices::MakeXYZRotation(KbVector3f(0.0f, 0.0f, 1.5707964f));
  m(3, 0) = 10.0f;
  const KbVector3f moved = m.TransformPoint(KbVector3f(1, 0, 0));
  std::printf("(1, 0, 0) turned 90 degrees about z, then moved 10 along x: (%.3g, %.3g, %.3g)\n",
              moved.x, moved.y, moved.z);

  float det = 0.0f;
  KbMatrixInternal::Invert(m, &det);
  const KbVector3f back = m.TransformPoint(moved);
  std::printf("inverse (det %g) brings it back to (%.3g, %.3g, %.3g)\n", det, back.x, back.y,
              back.z);
}

void RecordsAndRegistry() {
  KoFunctionTableNonUniform<float, float> table(4);
  table.AppendSorted(0.0f, 0.0f);
  table.AppendSorted(1.0f, 10.0f);
  table.AppendSorted(3.0f, 30.0f);
  std::printf("table(2) = %g, table(4) = %g (linear extrapolation)\n", table(2.0f), table(4.0f));

  // A polymorphic record names the class; reading it creates the object.
  KbStreamWriteBinaryMemory out;
  KbWriteObject(out, table);
  KbStreamReadBinaryMemory in(out.GetBuffer());
  const std::unique_ptr<ISerializable> copy = KbReadObject(in);
  const auto& restored = dynamic_cast<const KoFunctionTableNonUniform<float, float>&>(*copy);
  std::printf("record of %zu bytes read back as \"%ls\": table(2) = %g\n", out.GetBuffer().size(),
              copy->GetClassNameW(), restored(2.0f));
}

void ExactSign() {
  // det = (2^52 + 1)(2^52 - 1) - 2^104 = -1, while doubles round the first
  // product to 2^104 and answer 0.
  const double big = 4503599627370496.0;
  const double values[] = {big + 1, big, big, big - 1};
  std::int32_t sign = 0;
  KoMpMatrixToDeterminantExactSign::Compute(values, 2, sign);
  std::printf("double evaluation: %g, exact sign: %d\n",
              values[0] * values[3] - values[1] * values[2], sign);
}

}  // namespace

int main() {
  VectorsAndMatrices();
  RecordsAndRegistry();
  ExactSign();
  return 0;
}
