// Linked against libKoMath alone, with a run path to the install's lib/:
// starting it must find libKoBase beside libKoMath (the installed libraries
// carry the run path $ORIGIN). Uses only KoMath's own symbols.
#include <math/foundations/KbMatrixInternal.h>

#include <cstdio>

int main() {
  KbMatrix4Rf matrix(2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 8, 0, 1, 2, 3, 1);
  float det = 0;
  KbMatrixInternal::Invert(matrix, &det);
  const bool ok = det == 64.0f && matrix(0, 0) == 0.5f && matrix(3, 0) == -0.5f;
  std::puts(ok ? "rpath probe: ok" : "rpath probe: FAILED");
  return ok ? 0 : 1;
}
