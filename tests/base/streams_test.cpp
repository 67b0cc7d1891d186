// Binary streams: little-endian element layout, version checks, and reads
// that stop at the end of the stream instead of running past it.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <limits>

#include "RecordTestSupport.h"
#include "base/KoBase.h"

namespace {

using ko_test::Bytes;

TEST(StreamsTest, ElementsAreWrittenLittleEndianWithFixedWidths) {
  KbStreamWriteBinaryMemory out;
  out.WriteVersion(3);
  out.WriteBool(true);
  out.WriteBool(false);
  out.WriteInt32(-2);
  out.WriteUInt32(0x01020304u);
  out.WriteInt64(-1);
  out.WriteUInt64(0x0102030405060708u);
  out.WriteFloat(2.5f);
  out.WriteDouble(-0.5);
  const Bytes expected = {3,    0,    0,    0,                              // version
                          1,    0,                                          // two bools
                          0xFE, 0xFF, 0xFF, 0xFF,                           // int32 -2
                          4,    3,    2,    1,                              // uint32
                          0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,   // int64 -1
                          8,    7,    6,    5,    4,    3,    2,    1,      // uint64
                          0,    0,    0x20, 0x40,                           // 2.5f
                          0,    0,    0,    0,    0,    0,    0xE0, 0xBF};  // -0.5
  EXPECT_EQ(out.GetBuffer(), expected);

  KbStreamReadBinaryMemory in(out.GetBuffer());
  EXPECT_EQ(in.ReadAndCompareVersion(3), 3u);
  EXPECT_TRUE(in.ReadBool() && !in.ReadBool());  // read in order: && evaluates left first
  EXPECT_TRUE(in.ReadInt32() == -2 && in.ReadUInt32() == 0x01020304u);
  EXPECT_TRUE(in.ReadInt64() == -1 && in.ReadUInt64() == 0x0102030405060708u);
  EXPECT_TRUE(in.ReadFloat() == 2.5f && in.ReadDouble() == -0.5 && in.GetRemainingBytes() == 0u);
}

TEST(StreamsTest, TruncatedAndCorruptReadsThrowWithoutConsuming) {
  const Bytes bytes = {1, 2, 3};
  KbStreamReadBinaryMemory in(bytes);
  EXPECT_THROW(in.ReadUInt32(), KbExceptionEndOfStream);
  EXPECT_EQ(in.GetPosition(), 0u);  // the short read took nothing

  EXPECT_THROW(KbStreamReadBinaryMemory(Bytes{2}).ReadBool(), KbException);

  EXPECT_NO_THROW(in.EnsureAvailable(3, 1));
  EXPECT_THROW(in.EnsureAvailable(2, 2), KbExceptionEndOfStream);
  // A count whose byte size overflows 64 bits must not wrap to a small
  // number (here to 0); elements of size 0 never overflow.
  EXPECT_THROW(in.EnsureAvailable(std::uint64_t(1) << 62, 4), KbExceptionEndOfStream);
  EXPECT_NO_THROW(in.EnsureAvailable(std::numeric_limits<std::uint64_t>::max(), 0));
  try {  // the largest count that does not overflow: its byte size is reported
    in.EnsureAvailable(std::numeric_limits<std::uint64_t>::max() / 4, 4);
    ADD_FAILURE() << "no exception";
  } catch (const KbExceptionEndOfStream& e) {
    EXPECT_STREQ(e.what(), "end of stream: 18446744073709551612 bytes requested, 3 available");
  }
}

TEST(StreamsTest, FileStreamsRoundTripAndReportMissingFiles) {
  const ko_test::ScratchDirectory scratch;
  const auto path = scratch / "record.bin";
  {
    KbStreamWriteBinaryFile out(path.string());
    out.WriteVersion(1);
    out.WriteDouble(1e300);
    out.WriteBool(true);  // one byte
    out.Close();
    out.Close();                                     // a second Close does nothing
    EXPECT_THROW(out.WriteBool(true), KbException);  // closed
  }
  KbStreamReadBinaryFile in(path.string());
  EXPECT_EQ(in.GetRemainingBytes(), 13u);
  in.ReadAndCompareVersion(1);
  EXPECT_TRUE(in.ReadDouble() == 1e300 && in.ReadBool());
  try {
    in.ReadFloat();
    ADD_FAILURE() << "no exception";
  } catch (const KbExceptionEndOfStream& e) {
    EXPECT_STREQ(e.what(), "end of stream: 4 bytes requested, 0 available");
  }

  EXPECT_THROW(KbStreamReadBinaryFile("/nonexistent/komath.bin"), KbException);
  EXPECT_THROW(KbStreamWriteBinaryFile("/nonexistent/komath.bin"), KbException);

  // A block too large for the buffer fails at once; the stream's error flag
  // then fails Close too, although nothing is left to flush.
  KbStreamWriteBinaryFile full("/dev/full");
  const Bytes block(1 << 20);
  EXPECT_THROW(full.WriteBuffer(block.data(), block.size()), KbException);
  EXPECT_THROW(full.Close(), KbException);

  // Readers and unclosed writers give their descriptors back: far more of
  // them than the limit.
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit low{64, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  for (int i = 0; i < 200; ++i) {
    EXPECT_NO_THROW(KbStreamReadBinaryFile{path.string()});
    EXPECT_NO_THROW(KbStreamWriteBinaryFile{(scratch / "unclosed.bin").string()});
    EXPECT_NO_THROW(KbStreamWriteBinaryFile((scratch / "closed.bin").string()).Close());
  }
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(KbStreamReadBinaryFile((scratch / "closed.bin").string()).GetRemainingBytes(), 0u);
}

}  // namespace
