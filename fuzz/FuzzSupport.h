// Shared pieces of the fuzz targets.
//
// A run is clean when the reader succeeds or throws a KbException; any
// other exception escapes and libFuzzer reports it, like a crash, a
// sanitizer report, a leak, an allocation beyond -malloc_limit_mb or a
// timeout. An object that read successfully must also write a record that
// reads back: a writer that produces what its own reader rejects is a
// finding too.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/KbException.h"
#include "base/KbStreamBinaryMemory.h"
#include "records/RecordCatalog.h"

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

// Reads `body` from an object record with the case's holder, then checks
// the round trip.
inline void ReadCase(const records::SRecordCase& entry, const std::uint8_t* data,
                     std::size_t size) {
  const auto holder = entry.create();
  try {
    KbStreamReadBinaryMemory in(data, size);
    holder->Read(in);
  } catch (const KbException&) {
    return;
  }
  KbStreamWriteBinaryMemory out;
  holder->Write(out);
  const auto again = entry.create();
  KbStreamReadBinaryMemory back(out.GetBuffer());
  try {
    again->Read(back);
  } catch (const KbException& error) {
    std::fprintf(stderr, "%s: written record does not read back: %s\n", entry.name.c_str(),
                 error.what());
    std::abort();
  }
}

// The cases of one kind, in the catalog's (name) order.
inline std::vector<const records::SRecordCase*> CasesOfKind(records::SRecordCase::EKind kind) {
  std::vector<const records::SRecordCase*> cases;
  for (const auto& entry : records::RecordCases()) {
    if (entry.kind == kind) cases.push_back(&entry);
  }
  return cases;
}

}  // namespace fuzz
