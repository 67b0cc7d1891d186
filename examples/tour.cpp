// A short tour of the base layer: vectors and matrices, an array written to
// a binary record and read back, and the class registry.
#include <math/KoMath.h>
#include <cstdio>

int main() {
  const KbVector3f a(1, 2, 3), b(0, 1, 0);
  const KbVector3f c = a.Cross(b);
  std::printf("a x b = (%g, %g, %g), |a| = %g\n", c.x, c.y, c.z, a.Length());

  // Row vectors times matrices: the translation sits in the fourth row.
  KbMatrix4Rf move;
  move(3, 0) = 10.0f;
  const KbVector3f moved = move.TransformPoint(a);
  std::printf("(1, 2, 3) moved by 10 along x = (%g, %g, %g)\n", moved.x, moved.y, moved.z);

  KbArray<float> samples{0.5f, 1.5f, 2.5f};
  KbStreamWriteBinaryMemory out;
  samples.Serialize(out);
  std::printf("array of %u floats as a record of %zu bytes\n", samples.GetSize(),
              out.GetBuffer().size());

  KbArray<float> back;
  KbStreamReadBinaryMemory in(out.GetBuffer());
  back.Serialize(in);
  std::printf("read back: %g %g %g\n", back[0], back[1], back[2]);

  const KbRTTI* record = KbRTTI::Find(L"KoMpAlgorithm");
  std::printf("KoMpAlgorithm is registered: %s; kind of KoAlgorithm: %s\n",
              record != nullptr ? "yes" : "no",
              record != nullptr && record->IsKindOf(KoAlgorithm::RTTI) ? "yes" : "no");
  return 0;
}
