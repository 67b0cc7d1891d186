#include <gtest/gtest.h>

#include "RecordTestSupport.h"
#include "math/KoMath.h"

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
  ko_test::RecordBytes record;
  record.U32(count).Put(0.0f).Put(2.0f);
  if (marker) record.U32(0xFFFFFFFF).U32(1);
  record.U32(3).U32(elementSize).Put(0.0f).Put(1.0f).Put(2.0f).Put(5.0f).Put(0.0f).Put(0.0f);
  return record.bytes;
}

TEST(NonUniformRecordTest, ExactBytesOlderLayoutAndFieldsOutsideTheRecordKept) {
  EXPECT_EQ(ko_test::Write(TwoOfThree()), NonUniformRecord(2, 8, true));
  NonUniformF read;  // the mode and the range are not in the record
  read.SetInterpolationType(read.eNone);
  ko_test::Read(read, NonUniformRecord(2, 8, false));
  EXPECT_TRUE(read(1) == 1.0f && ko_test::Write(read) == ko_test::Write(TwoOfThree()));
  KbStreamWriteASCIIStringT<wchar_t> text;  // the used samples, one per line
  read.Dump(text);
  EXPECT_EQ(text.GetString(), L"0, 1\n2, 5\n");
  ko_test::Read(read, NonUniformRecord(7, 8, true)), read.AppendSorted(3, 9);  // 7 of 3 slots
  EXPECT_EQ(read.GetTable().GetSize(), 4u);  // the missing samples are dropped, not written past
}

// Element size 0 with a huge count (two changed fields, beyond a one-byte
// corruption) still may not allocate slots past the stream; a double
// table's element size in a float table is a wrong version.
TEST(TableRecordTest, ZeroElementSizeWithAHugeCountAndAForeignElementSizeThrow) {
  ko_test::RecordBytes slots;
  slots.U32(0).Put(0.0f).Put(0.0f).U32(0xFFFFFFF0).U32(0);
  NonUniformF nonUniform = TwoOfThree();
  EXPECT_THROW(ko_test::Read(nonUniform, slots.bytes), KbExceptionEndOfStream);
  EXPECT_EQ(nonUniform.GetTable().GetSize(), 0u);  // the slots were emptied first
  auto bytes = ko_test::Write(KoFunctionTableUniform<float, float>(4, -1, 1));
  bytes[44] = 8;
  KoFunctionTableUniform<float, float> read;
  EXPECT_THROW(ko_test::Read(read, bytes), KbExceptionWrongFileVersion);
}

}  // namespace
