// Uses the installed headers and libraries: a record written and read back,
// a matrix constant, and a registry lookup.
#include <math/KoMath.h>
#include <cstdio>

int main() {
  KbArray<double> values{1.0, 2.0};
  KbStreamWriteBinaryMemory out;
  values.Serialize(out);
  KbArray<double> back;
  KbStreamReadBinaryMemory in(out.GetBuffer());
  back.Serialize(in);
  const bool ok = back == values && !(c_matInvalid == c_matIdentity) &&
                  KbRTTI::Find(L"KoMpAlgorithm") != nullptr;
  std::puts(ok ? "consumer: ok" : "consumer: FAILED");
  return ok ? 0 : 1;
}
