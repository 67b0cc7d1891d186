// KbArray and its stream record.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/KbArray.h"
#include "base/KbException.h"
#include "base/KbStreamBinaryMemory.h"
#include "base/KbVector.h"
#include "base/KoArray2D.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes RecordOf(const KbArray<float>& array) {
  KbStreamWriteBinaryMemory out;
  array.Serialize(out);
  return out.GetBuffer();
}

TEST(ArrayTest, RecordLayoutIsMarkerVersionCountSizeElements) {
  const Bytes expected = {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0, 2,    0,    0,    0,  // header
                          4,    0,    0,    0,    0, 0, 0, 0, 0x00, 0x00, 0x80, 0x3F};
  EXPECT_EQ(RecordOf(KbArray<float>{0.0f, 1.0f}), expected);

  const Bytes empty = {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0};
  EXPECT_EQ(RecordOf(KbArray<float>()), empty);
}

TEST(ArrayTest, RecordRoundTripsBothLayoutsAndVectorElements) {
  KbArray<KbVector3d> vectors{{1, 2, 3}, {-4, 5.5, 1e-300}};
  KbStreamWriteBinaryMemory out;
  vectors.Serialize(out);
  KbArray<KbVector3d> back(7);
  KbStreamReadBinaryMemory in(out.GetBuffer());
  back.Serialize(in);
  EXPECT_EQ(back, vectors);

  // The older layout starts with the count and has no marker or version.
  const Bytes older = {1, 0, 0, 0, 4, 0, 0, 0, 0x00, 0x00, 0x20, 0x40};
  KbArray<float> fromOlder;
  KbStreamReadBinaryMemory olderIn(older);
  fromOlder.Serialize(olderIn);
  ASSERT_EQ(fromOlder.GetSize(), 1u);
  EXPECT_EQ(fromOlder[0], 2.5f);
}

TEST(ArrayTest, BadRecordsThrowAndLeaveTheArrayUnchanged) {
  const KbArray<float> original{1.0f, 2.0f, 3.0f};
  KbArray<float> target = original;

  // A double record read into a float array.
  KbArray<double> doubles{1.0};
  KbStreamWriteBinaryMemory out;
  doubles.Serialize(out);
  KbStreamReadBinaryMemory wrongSizeIn(out.GetBuffer());
  EXPECT_THROW(target.Serialize(wrongSizeIn), KbExceptionWrongFileVersion);
  EXPECT_EQ(target, original);

  // Wrong array version; and a count equal to the marker.
  const Bytes wrongVersion = {0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0};
  KbStreamReadBinaryMemory wrongVersionIn(wrongVersion);
  EXPECT_THROW(target.Serialize(wrongVersionIn), KbExceptionWrongFileVersion);
  const Bytes markerCount = {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0,
                             0xFF, 0xFF, 0xFF, 0xFF, 4, 0, 0, 0};
  KbStreamReadBinaryMemory markerCountIn(markerCount);
  EXPECT_THROW(target.Serialize(markerCountIn), KbExceptionWrongFileVersion);

  // Another array's record with its last element cut short: the length is
  // verified before the array is resized.
  const Bytes valid = RecordOf(KbArray<float>{4.0f, 5.0f});
  KbStreamReadBinaryMemory shortIn(valid.data(), valid.size() - 1);
  EXPECT_THROW(target.Serialize(shortIn), KbExceptionEndOfStream);
  EXPECT_EQ(target, original);
}

TEST(ArrayTest, StorageGrowsKeepsElementsAndReleases) {
  KbArray<std::string> names;  // a non-trivial element type checks construction and destruction
  for (int i = 0; i < 100; ++i) names.PushBack(std::to_string(i));
  EXPECT_EQ(names.GetSize(), 100u);
  EXPECT_GE(names.GetCapacity(), 100u);
  EXPECT_EQ(names[57], "57");

  KbArray<std::string> copy = names;
  copy[0] = "changed";
  EXPECT_EQ(names[0], "0");

  names.Resize(3);
  EXPECT_TRUE(names.GetSize() == 3 && names[2] == "2");
  names.Resize(5);
  EXPECT_EQ(names[4], "");  // new elements are value-initialised

  KbArray<float> zeros(4);
  for (float value : zeros) EXPECT_EQ(value, 0.0f);

  names.Release();
  EXPECT_TRUE(names.GetSize() == 0 && names.GetCapacity() == 0 && names.GetData() == nullptr);

  KbArray<std::string> moved = std::move(copy);
  EXPECT_EQ(moved.GetSize(), 100u);
  EXPECT_EQ(copy.GetData(), nullptr);
}

TEST(ArrayTest, PushBackOfOwnElementSurvivesGrowth) {
  KbArray<std::string> names{"a long string that lives on the heap", "b", "c", "d"};
  ASSERT_EQ(names.GetSize(), names.GetCapacity());  // the next append reallocates
  names.PushBack(names[0]);
  EXPECT_EQ(names[4], names[0]);
}

TEST(ArrayTest, Array2DIsRowMajorWithXAsColumn) {
  KoArray2D<int> grid(3, 2);
  EXPECT_TRUE(grid.GetWidth() == 3 && grid.GetHeight() == 2);
  grid(2, 1) = 7;
  EXPECT_EQ(grid.GetData()[1 * 3 + 2], 7);
}

}  // namespace
