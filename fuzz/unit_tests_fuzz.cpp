// The unit-test readers of every algorithm of the catalog: an input record
// followed by an output record, as in a .kut file. The first input byte
// selects the algorithm (modulo their count), the rest is the file.
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto cases = fuzz::CasesOfKind(records::SRecordCase::eUnitTest);
  if (size == 0 || cases.empty()) return 0;
  fuzz::ReadCase(*cases[data[0] % cases.size()], data + 1, size - 1);
  return 0;
}
