// KbArray and its stream record.
#include <gtest/gtest.h>

#include <string>

#include "RecordTestSupport.h"
#include "base/KbArray.h"
#include "base/KbException.h"

namespace {

using ko_test::Bytes;
using ko_test::Pack;

// Marker, version, count, element size, elements; the older layout starts
// with the count. (Round trips of every element type: tests/records.)
TEST(ArrayTest, RecordLayoutAndTheOlderLayoutWithoutMarker) {
  EXPECT_EQ(ko_test::Write(KbArray<float>{0.0f, 1.0f}), Pack(~0u, 1u, 2u, 4u, 0.0f, 1.0f));
  EXPECT_EQ(ko_test::Write(KbArray<float>()), Pack(~0u, 1u, 0u, 4u));
  KbArray<float> fromOlder;
  ko_test::Read(fromOlder, Pack(1u, 4u, 2.5f));
  EXPECT_EQ(fromOlder, KbArray<float>{2.5f});
}

TEST(ArrayTest, BadRecordsThrowAndLeaveTheArrayUnchanged) {
  const KbArray<float> original{1.0f, 2.0f, 3.0f};
  KbArray<float> target = original;
  // A double record read into a float array; a wrong array version; a count
  // equal to the marker.
  EXPECT_THROW(ko_test::Read(target, ko_test::Write(KbArray<double>{1.0})),
               KbExceptionWrongFileVersion);
  EXPECT_EQ(target, original);
  EXPECT_THROW(ko_test::Read(target, Pack(~0u, 2u, 0u, 4u)), KbExceptionWrongFileVersion);
  EXPECT_THROW(ko_test::Read(target, Pack(~0u, 1u, ~0u, 4u)), KbExceptionWrongFileVersion);
  // Another array's record with its last element cut short: the length is
  // verified before the array is resized.
  Bytes cut = ko_test::Write(KbArray<float>{4.0f, 5.0f});
  cut.pop_back();
  EXPECT_THROW(ko_test::Read(target, cut), KbExceptionEndOfStream);
  EXPECT_EQ(target, original);
}

TEST(ArrayTest, StorageGrowsKeepsElementsAndReleases) {
  KbArray<std::string> names;  // a non-trivial element type checks construction and destruction
  for (int i = 0; i < 100; ++i) names.PushBack(std::to_string(i));
  EXPECT_TRUE(names.GetSize() == 100u && names[57] == "57");

  KbArray<std::string> copy = names;
  copy[0] = "changed";
  EXPECT_EQ(names[0], "0");

  names.Resize(3);
  names.Resize(5);
  EXPECT_TRUE(names[2] == "2" && names[4] == "");  // new elements are value-initialised
  EXPECT_EQ(KbArray<float>(4), KbArray<float>({0, 0, 0, 0}));

  names.Release();
  EXPECT_TRUE(names.GetSize() == 0 && names.GetCapacity() == 0 && names.GetData() == nullptr);

  KbArray<std::string> moved = std::move(copy);
  EXPECT_TRUE(moved.GetSize() == 100u && copy.GetData() == nullptr);
}

TEST(ArrayTest, PushBackOfOwnElementSurvivesGrowth) {
  KbArray<std::string> names{"a long string that lives on the heap", "b", "c", "d"};
  ASSERT_EQ(names.GetSize(), names.GetCapacity());  // the next append reallocates
  names.PushBack(names[0]);
  EXPECT_EQ(names[4], names[0]);
}

}  // namespace
