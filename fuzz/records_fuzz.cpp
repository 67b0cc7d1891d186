// Standalone records: arrays of every element type, exact numbers, function
// objects and tables, each read into a fresh object of its class. The first
// input byte selects the catalog case (modulo their count), the rest is the
// record.
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto cases = fuzz::CasesOfKind(records::SRecordCase::eObject);
  if (size == 0 || cases.empty()) return 0;
  fuzz::ReadCase(*cases[data[0] % cases.size()], data + 1, size - 1);
  return 0;
}
