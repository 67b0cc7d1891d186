// Stream records of the function objects: exact bytes (wrong versions,
// corruptions and round trips of every class: tests/records).
#include <gtest/gtest.h>

#include <cfloat>
#include <memory>

#include "FunctionTestSupport.h"
#include "base/KbException.h"
#include "math/functions/KoFunctionConstant.h"
#include "math/functions/KoFunctionCubic.h"
#include "math/functions/KoFunctionLimitedHemisphere.h"
#include "math/functions/KoFunctionLinear.h"
#include "math/functions/KoFunctionRampLinear.h"
#include "math/functions/KoFunctionRampSpline.h"
#include "math/functions/KoFunctionSplineBase.h"

namespace {

using ko_test::Bytes;
using ko_test::Pack;
using ko_test::Write;

TEST(FunctionRecordsTest, ConstantHemisphereLinearAndSplineRampBytes) {
  EXPECT_EQ(Write(KoFunctionConstant<float, float>(2.5f)), Pack(1u, 2.5f));
  EXPECT_EQ(Write(KoFunctionConstant<double, double>(2.5)), Pack(1u, 2.5));
  EXPECT_EQ(Write(KoFunctionLinear<float>(2, 1)), Pack(1u, 2.f, 1.f));
  // Outer version, the embedded limited record (version 2, domain, invalid
  // y), centre, radius and the one-byte flag.
  EXPECT_EQ(Write(KoFunctionLimitedHemisphere<float, float>({1, 2}, 3, -4, 5, false)),
            Pack(1u, 2u, -4.f, 5.f, 0.f, 1.f, 2.f, 3.f, std::uint8_t(0)));
  // The spline ramp's own version, then the whole linear ramp record: the
  // number 1 twice. Min and max carry no version; the line does; the
  // tangent is not stored.
  EXPECT_EQ(Write(KoFunctionRampSpline<double>(0, 1, 2, 0.5, 3)),
            Pack(1u, 1u, 0.0, 1.0, 1u, 0.5, -1.5, 2.0, 3.0));
}

// A minimal vector-valued limited function: the record is the base's.
class VectorLimited : public KoFunctionLimited<float, KbVector3f> {
 public:
  VectorLimited() : KoFunctionLimited(-1, 2, KbVector3f(0.5f, -1, 3)) {}
  KbVector3f operator()(float x) const override { return KbVector3f(x, x, x); }
  std::unique_ptr<KoFunctionLimited> Clone() const override {
    return std::make_unique<VectorLimited>(*this);
  }
};

// The smallest concrete spline segment: the identity on the default [0, 1].
class Segment : public KoFunctionSplineBase<double> {
 public:
  double operator()(double x) const override { return x; }
  std::unique_ptr<KoFunctionLimited> Clone() const override {
    return std::make_unique<Segment>(*this);
  }
};

TEST(FunctionRecordsTest, EmbeddedLimitedRecordsOfVectorSplineSegmentAndCubic) {
  // Outer version, the limited record, then degree and index as u32.
  Segment segment;
  EXPECT_EQ(Write(segment), Pack(1u, 2u, 0.0, 1.0, 0.0, 0u, 0u));
  segment.SetDegree(3);
  segment.SetIndex(7);
  const Bytes segmentBytes = Write(segment);
  EXPECT_EQ(segmentBytes, Pack(1u, 2u, 0.0, 1.0, 0.0, 3u, 7u));
  Segment restored;
  KbStreamReadBinaryMemory segmentIn(segmentBytes);
  restored.Serialize(segmentIn);
  EXPECT_EQ(Write(restored), segmentBytes);

  const Bytes bytes = Pack(2u, -1.f, 2.f, 0.5f, -1.f, 3.f);
  EXPECT_EQ(Write(VectorLimited()), bytes);
  VectorLimited target;
  target.SetInvalidY(KbVector3f(9, 9, 9));
  KbStreamReadBinaryMemory in(bytes);
  target.Serialize(in);
  EXPECT_EQ(target.GetInvalidY(), KbVector3f(0.5f, -1, 3));

  // A cubic's coefficients are not stored: reading keeps the reader's own.
  const KoFunctionCubic<double, double> source(-1, 0, 3, 1, 0, 0);
  EXPECT_EQ(Write(source), Pack(2u, -1.0, 3.0, DBL_MAX));
  KoFunctionCubic<double, double> cubic(0, 0, 1, 1, 0, 0);
  KbStreamReadBinaryMemory cubicIn(Write(source));
  cubic.Serialize(cubicIn);
  EXPECT_EQ(cubic.GetMinX(), -1.0);
  EXPECT_EQ(cubic.GetMaxX(), 3.0);
  EXPECT_EQ(cubic(0.5), 0.5);  // still the smooth step of [0, 1]
}

}  // namespace
