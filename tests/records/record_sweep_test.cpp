// The corruption sweep over a valid record of every case of the record
// catalog (see RecordSweep.h).
#include <gtest/gtest.h>

#include <algorithm>

#include "records/RecordSweep.h"

namespace {

using records::SRecordCase;

TEST(RecordSweepTest, EveryCorruptionOfEveryCatalogRecordThrowsCleanlyOrReads) {
  for (const SRecordCase& entry : records::RecordCases()) {
    SCOPED_TRACE(entry.name);
    records::Sweep(entry, entry.validRecord(), entry.name);
    if (HasFatalFailure()) return;
  }
}

TEST(RecordSweepTest, CatalogCoversEveryRegisteredSerializableClassWithFactory) {
  // A registered class that a stream can create by name needs a catalog
  // case, so that its reader is swept and seeded for the fuzzers.
  std::vector<std::string> names;
  for (const SRecordCase& entry : records::RecordCases()) names.push_back(entry.name);
  for (const KbRTTI* record : records::RegisteredClasses()) {
    if (!record->HasFactory()) continue;
    const auto object = record->Create();
    if (dynamic_cast<const ISerializable*>(object.get()) == nullptr) continue;
    std::string name;
    for (const wchar_t* c = record->GetName(); *c != L'\0'; ++c)
      name.push_back(static_cast<char>(*c));
    EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
  }
}

}  // namespace
