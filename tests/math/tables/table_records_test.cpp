#include <gtest/gtest.h>

#include "base/KbException.h"
#include "math/tables/KoFunctionTableNonUniform.h"
#include "math/tables/KoFunctionTableUniform.h"
#include "math/tables/TableTestSupport.h"

namespace {

using NonUniformF = KoFunctionTableNonUniform<float, float>;

// (0, 1) and (2, 5) in a table of three slots.
NonUniformF TwoOfThree() {
  NonUniformF table(3);
  table.AppendSorted(0, 1);
  table.AppendSorted(2, 5);
  return table;
}

std::vector<std::uint8_t> NonUniformRecord(std::uint32_t count, std::uint32_t elementSize,
                                           bool marker) {
  RecordBytes record;
  record.U32(count).Put(0.0f).Put(2.0f);
  if (marker) record.U32(0xFFFFFFFF).U32(1);
  record.U32(3).U32(elementSize).Put(0.0f).Put(1.0f).Put(2.0f).Put(5.0f).Put(0.0f).Put(0.0f);
  return record.bytes;
}

TEST(NonUniformRecordTest, ExactBytesOlderLayoutAndFieldsOutsideTheRecordKept) {
  EXPECT_EQ(WriteRecord(TwoOfThree()), NonUniformRecord(2, 8, true));
  NonUniformF read;  // the mode and the range are not in the record
  read.SetInterpolationType(read.eNone);
  ReadRecord(read, NonUniformRecord(2, 8, false));
  EXPECT_EQ(read(1), 1.0f);
  EXPECT_EQ(WriteRecord(read), WriteRecord(TwoOfThree()));
}

TEST(NonUniformRecordTest, CorruptOrTruncatedRecordsThrowAndLeaveTheTableAsItWas) {
  const auto before = WriteRecord(TwoOfThree());
  auto expectRejected = [&](const std::vector<std::uint8_t>& bytes) {
    NonUniformF table = TwoOfThree();
    EXPECT_THROW(ReadRecord(table, bytes), KbException);
    EXPECT_EQ(WriteRecord(table), before);
  };
  expectRejected(NonUniformRecord(4, 8, true));   // more samples in use than stored
  expectRejected(NonUniformRecord(2, 16, true));  // a double table's slots
  for (std::size_t length = 0; length < before.size(); ++length) {
    expectRejected({before.begin(), before.begin() + length});
  }
}

// A reader that allocated for the stored count before checking the stream
// would ask for 32 GiB here and fail with bad_alloc, not end of stream.
TEST(TableRecordTest, TruncatedRecordsAndHugeStoredCountsThrowBeforeAllocating) {
  RecordBytes uniform;
  uniform.U32(3).U32(2).U32(2).Put(0.0).Put(1.0).Put(0.0).U32(0).Put(0.5);
  uniform.U32(0xFFFFFFFF).U32(1).U32(0xFFFFFFF0).U32(8).Put(1.0);
  KoFunctionTableUniform<double, double> uniformTable;
  EXPECT_THROW(ReadRecord(uniformTable, uniform.bytes), KbExceptionEndOfStream);

  auto bytes = WriteRecord(KoFunctionTableUniform<float, float>(4, -1, 1));
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    KoFunctionTableUniform<float, float> read;
    EXPECT_THROW(ReadRecord(read, {bytes.begin(), bytes.begin() + length}), KbException);
  }
  bytes[44] = 8;  // the element size: a double table's samples
  KoFunctionTableUniform<float, float> read;
  EXPECT_THROW(ReadRecord(read, bytes), KbExceptionWrongFileVersion);
}

// Created by name, written with its name, read back as the same class with
// the same record.
template <class Table>
void ExpectRoundTripByName(const wchar_t* name, const Table& table) {
  const KbRTTI* record = KbRTTI::Find(name);
  ASSERT_EQ(record, &Table::RTTI);
  KbStreamWriteBinaryMemory out;
  KbWriteObject(out, table);
  KbStreamReadBinaryMemory in(out.GetBuffer());
  const std::unique_ptr<ISerializable> copy = KbReadObject(in);
  ASSERT_NE(dynamic_cast<Table*>(copy.get()), nullptr);
  EXPECT_STREQ(copy->GetClassNameW(), name);
  EXPECT_EQ(WriteRecord(*copy), WriteRecord(table));
}

TEST(TableRegistryTest, EveryTableIsCreatedByNameAndRoundTripsThroughObjectRecords) {
  KoFunctionTableNonUniform<float, KbVector3f> nonUniformV;
  nonUniformV.AppendSorted(1, {1, 2, 3});
  ExpectRoundTripByName(L"KoFunctionTableUniform<float>",
                        KoFunctionTableUniform<float, float>(3, 0, 2));
  ExpectRoundTripByName(L"KoFunctionTableUniform<double>",
                        KoFunctionTableUniform<double, double>(2, -1, 1));
  ExpectRoundTripByName(L"KoFunctionTableNonUniform<float>", TwoOfThree());
  ExpectRoundTripByName(L"KoFunctionTableNonUniform<double>",
                        KoFunctionTableNonUniform<double, double>(2));
  ExpectRoundTripByName(L"KoFunctionTableNonUniform<float, KbVector3f>", nonUniformV);
}

}  // namespace
