// The exhaustive corruption sweep of one record: every truncation and every
// single-byte change (set to 0x00, to 0xFF, and each of its eight bits
// flipped) is read into a fresh object of the case. Each read must succeed
// or throw a KbException and must not allocate more than a small multiple
// of the bytes the stream holds; after a throw the object must still be
// writable, read a valid record (then writing what a fresh object writes)
// and be destructible; a throw caused by the first four bytes (the version,
// or an array's marker) must leave it as it was. Failures are reported
// through GoogleTest. The program that links this gets a global operator
// new that records the largest allocation.
#pragma once

#include <string>
#include <vector>

#include "records/RecordCatalog.h"

namespace records {

void Sweep(const SRecordCase& entry, const std::vector<std::uint8_t>& valid,
           const std::string& label);

}  // namespace records
