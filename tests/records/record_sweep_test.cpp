// The corruption sweep over a valid record of every case of the record
// catalog (see RecordSweep.h), and the round trips of those records.
#include <gtest/gtest.h>

#include <algorithm>

#include "RecordTestSupport.h"
#include "records/RecordSweep.h"

namespace {

using ko_test::Bytes;
using records::SRecordCase;

using records::Written;

TEST(RecordSweepTest, EveryCorruptionOfEveryCatalogRecordThrowsCleanlyOrReads) {
  for (const SRecordCase& entry : records::RecordCases()) {
    SCOPED_TRACE(entry.name);
    records::Sweep(entry, entry.validRecord(), entry.name);
    if (HasFatalFailure()) return;
  }
}

// A reader that skips or misplaces a field still reads without a throw;
// writing back what it read shows it. (A unit-test holder writes the outputs
// it computed, not those it read.)
TEST(RecordSweepTest, EveryCatalogObjectRecordReadsBackToItsOwnBytes) {
  for (const SRecordCase& entry : records::RecordCases()) {
    if (entry.kind != SRecordCase::eObject) continue;
    const Bytes valid = entry.validRecord();
    const auto holder = entry.create();
    KbStreamReadBinaryMemory in(valid);
    holder->Read(in);
    EXPECT_EQ(in.GetRemainingBytes(), 0u) << entry.name;
    EXPECT_EQ(Written(*holder), valid) << entry.name;
  }
}

// A registered class that a stream can create by name needs a catalog case,
// so that its reader is swept and seeded for the fuzzers; its catalog record
// goes through the registry by name and back to the same class and bytes.
TEST(RecordSweepTest, EveryRegisteredSerializableClassWithFactoryHasACaseThatRoundTripsByName) {
  for (const KbRTTI* record : records::RegisteredClasses()) {
    if (!record->HasFactory()) continue;
    const auto object = record->Create();
    auto* serializable = dynamic_cast<ISerializable*>(object.get());
    if (serializable == nullptr) continue;
    std::string name;
    for (const wchar_t* c = record->GetName(); *c != L'\0'; ++c)
      name.push_back(static_cast<char>(*c));
    const auto& cases = records::RecordCases();
    const auto entry = std::find_if(cases.begin(), cases.end(),
                                    [&](const SRecordCase& c) { return c.name == name; });
    ASSERT_NE(entry, cases.end()) << name;
    const Bytes valid = entry->validRecord();
    ko_test::Read(*serializable, valid);
    KbStreamWriteBinaryMemory out;
    KbWriteObject(out, *serializable);
    KbStreamReadBinaryMemory in(out.GetBuffer());
    const std::unique_ptr<ISerializable> copy = KbReadObject(in);
    EXPECT_EQ(in.GetRemainingBytes(), 0u) << name;
    EXPECT_EQ(&copy->GetRTTI(), record) << name;
    EXPECT_EQ(ko_test::Write(*copy), valid) << name;
  }
}

}  // namespace
