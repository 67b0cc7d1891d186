// The registry records of the library's classes and the matrix constants:
// the names are part of the stored format, so every one is checked letter
// for letter together with its parent and factory.
#include <gtest/gtest.h>

#include <string>

#include "math/KoMath.h"

namespace {

struct SRecord {
  const KbRTTI* record;
  const wchar_t* name;
  const KbRTTI* parent;
  bool factory;
};

TEST(RegistryTableTest, EveryRecordHasItsStoredNameParentAndFactory) {
  const SRecord table[] = {
      {&KoFloatExact::RTTI, L"KoFloatExact", nullptr, false},
      {&KoFtArrayConvolution<float>::RTTI, L"KoFtArrayConvolution(float)", &KoFtAlgorithm::RTTI,
       true},
      {&KoFtArrayConvolution<KbVector2f>::RTTI, L"KoFtArrayConvolution(KbVector2f)",
       &KoFtAlgorithm::RTTI, true},
      {&KoFtArrayConvolution<KbVector3f>::RTTI, L"KoFtArrayConvolution(KbVector3f)",
       &KoFtAlgorithm::RTTI, true},
      {&KoFunctionConstant<float, float>::RTTI, L"KoFunctionConstant<float>", nullptr, true},
      {&KoFunctionConstant<double, double>::RTTI, L"KoFunctionConstant<double>", nullptr, true},
      {&KoFunctionInverse<float, float>::RTTI, L"KoFunctionInverse<float>", nullptr, true},
      {&KoFunctionInverse<double, double>::RTTI, L"KoFunctionInverse<double>", nullptr, true},
      {&KoFunctionLimitedHemisphere<float, float>::RTTI, L"KoFunctionLimitedHemisphere<float>",
       nullptr, true},
      {&KoFunctionLimitedHemisphere<double, double>::RTTI, L"KoFunctionLimitedHemisphere<double>",
       nullptr, true},
      {&KoFunctionLimitedPyramid<float, float>::RTTI, L"KoFunctionLimitedPyramid<float>", nullptr,
       true},
      {&KoFunctionLimitedPyramid<double, double>::RTTI, L"KoFunctionLimitedPyramid<double>",
       nullptr, true},
      {&KoFunctionLinear<float>::RTTI, L"KoFunctionLinear(float)", nullptr, false},
      {&KoFunctionLinear<double>::RTTI, L"KoFunctionLinear(double)", nullptr, false},
      {&KoFunctionRampLinear<float>::RTTI, L"KoFunctionRampLinear<float>", nullptr, true},
      {&KoFunctionRampLinear<double>::RTTI, L"KoFunctionRampLinear<double>", nullptr, true},
      {&KoFunctionRampSpline<float>::RTTI, L"KoFunctionRampSpline<float>", nullptr, true},
      {&KoFunctionRampSpline<double>::RTTI, L"KoFunctionRampSpline<double>", nullptr, true},
      {&KoFunctionTableNonUniform<float, float>::RTTI, L"KoFunctionTableNonUniform<float>", nullptr,
       true},
      {&KoFunctionTableNonUniform<float, KbVector3f>::RTTI,
       L"KoFunctionTableNonUniform<float, KbVector3f>", nullptr, true},
      {&KoFunctionTableNonUniform<double, double>::RTTI, L"KoFunctionTableNonUniform<double>",
       nullptr, true},
      {&KoFunctionTableUniform<float, float>::RTTI, L"KoFunctionTableUniform<float>", nullptr,
       true},
      {&KoFunctionTableUniform<double, double>::RTTI, L"KoFunctionTableUniform<double>", nullptr,
       true},
      {&KoInterpolationPolynomHermite<float>::RTTI, L"KoInterpolationPolynomHermite<float>",
       nullptr, false},
      {&KoInterpolationPolynomHermite<double>::RTTI, L"KoInterpolationPolynomHermite<double>",
       nullptr, false},
      {&KoInterpolationPolynomHermiteOverscale<float>::RTTI,
       L"KoInterpolationPolynomHermiteOverscale<float>", nullptr, false},
      {&KoInterpolationPolynomHermiteOverscale<double>::RTTI,
       L"KoInterpolationPolynomHermiteOverscale<double>", nullptr, false},
      {&KoMpGeneralizedProcrustesAnalysis::RTTI, L"KoMpGeneralizedProcrustesAnalysis",
       &KoMpAlgorithm::RTTI, false},
      {&KoMpMatrixToDeterminantExactSign::RTTI, L"KoMpMatrixToDeterminantExactSign",
       &KoMpAlgorithm::RTTI, true},
      {&KoPolynomFit<float>::RTTI, L"KoPolynomFit<float>", &KoAlgorithm::RTTI, false},
      {&KoProcrustes::RTTI, L"KoProcrustes", &KoProcrustesBase::RTTI, true},
      {&KoProcrustesBase::RTTI, L"KoProcrustesBase", &KoMpAlgorithm::RTTI, false},
  };
  for (const SRecord& entry : table) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(entry.name)));
    EXPECT_STREQ(entry.record->GetName(), entry.name);
    EXPECT_EQ(KbRTTI::Find(entry.name), entry.record);
    EXPECT_EQ(entry.record->GetParent(), entry.parent);
    EXPECT_EQ(entry.record->HasFactory(), entry.factory);
    if (!entry.factory) continue;
    const std::unique_ptr<IObject> object = entry.record->Create();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(&object->GetRTTI(), entry.record);
    EXPECT_STREQ(object->GetClassNameW(), entry.name);
  }
  EXPECT_TRUE(KoMpMatrixToDeterminantExactSign::RTTI.IsKindOf(KoAlgorithm::RTTI));
  EXPECT_FALSE(KoPolynomFit<float>::RTTI.IsKindOf(KoMpAlgorithm::RTTI));
}

TEST(RegistryTableTest, MatrixConstantsHoldIdentityAndLargestFiniteValues) {
  for (unsigned int i = 0; i < 16; ++i) {
    const bool diagonal = i % 5 == 0;
    EXPECT_EQ(c_matIdentity[i], diagonal ? 1.0f : 0.0f);
    EXPECT_EQ(c_matIdentityD[i], diagonal ? 1.0 : 0.0);
    EXPECT_EQ(c_matInvalid[i], 3.4028235e38f);
    EXPECT_EQ(c_matInvalidD[i], 1.7976931348623157e308);
  }
}

}  // namespace
