// The spline segment's record, which no catalog class carries (wrong
// versions, corruptions and round trips of every catalog class:
// tests/records).
#include <gtest/gtest.h>

#include <memory>

#include "FunctionTestSupport.h"
#include "math/functions/KoFunctionSplineBase.h"

namespace {

using ko_test::Bytes;
using ko_test::Pack;
using ko_test::Write;

// The smallest concrete spline segment: the identity on the default [0, 1].
class Segment : public KoFunctionSplineBase<double> {
 public:
  double operator()(double x) const override { return x; }
  std::unique_ptr<KoFunctionLimited> Clone() const override {
    return std::make_unique<Segment>(*this);
  }
};

TEST(FunctionRecordsTest, SplineSegmentRecordEmbedsTheLimitedRecord) {
  // Outer version, the limited record, then degree and index as u32.
  Segment segment;
  EXPECT_EQ(Write(segment), Pack(1u, 2u, 0.0, 1.0, 0.0, 0u, 0u));
  segment.SetDegree(3);
  segment.SetIndex(7);
  const Bytes segmentBytes = Write(segment);
  EXPECT_EQ(segmentBytes, Pack(1u, 2u, 0.0, 1.0, 0.0, 3u, 7u));
  Segment restored;
  ko_test::Read(restored, segmentBytes);
  EXPECT_EQ(Write(restored), segmentBytes);
}

}  // namespace
