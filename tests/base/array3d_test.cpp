#include <gtest/gtest.h>

#include "base/KbException.h"
#include "base/KoArray3D.h"

namespace {

TEST(Array3DTest, XRunsFastestThenYThenZAndTheCellCountIsChecked) {
  KoArray3D<int> grid(4, 3, 2);
  grid(3, 2, 1) = 7;
  grid(1, 0, 1) = 5;
  EXPECT_TRUE(grid.GetData()[(1 * 3 + 2) * 4 + 3] == 7 && grid.GetData()[12 + 1] == 5);
  EXPECT_THROW(KoArray3D<char>(0xFFFFFFFFu, 0xFFFFFFFFu, 2), KbException);  // 2^65 cells
  EXPECT_EQ(KoArray3D<char>(0xFFFFFFFFu, 0xFFFFFFFFu, 0).GetData(), nullptr);
}

}  // namespace
