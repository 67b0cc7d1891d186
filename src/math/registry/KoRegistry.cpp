// The class registry records of the library and the load-time check of
// the exact arithmetic.
//
// Everything here is built while the library loads, in the order of this
// file (one translation unit, so the order is the declaration order), and
// destroyed in reverse at unload. The order is that of the stored-format
// table of registered classes; the arithmetic check runs right after the
// KoFloatExact record, before any code can use the exact arithmetic, and
// throws (stopping the load) when doubles do not round to nearest even.
// The matrix constants are constant-initialised and so exist before all of
// this.
//
// The wide names are part of the stored format, spelling included: angle
// brackets for most classes, parentheses for "KoFunctionLinear(float)", and
// a blank after the comma only in "KoFunctionTableNonUniform<float, KbVector3f>".
#include "math/functions/KoFunctionConstant.h"
#include "math/functions/KoFunctionInverse.h"
#include "math/functions/KoFunctionLimitedHemisphere.h"
#include "math/functions/KoFunctionLimitedPyramid.h"
#include "math/functions/KoFunctionLinear.h"
#include "math/functions/KoFunctionRampLinear.h"
#include "math/functions/KoFunctionRampSpline.h"
#include "math/numerics/KoFloatExact.h"
#include "math/numerics/KoFtArrayConvolution.h"
#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"
#include "math/registration/KoMpGeneralizedProcrustesAnalysis.h"
#include "math/registration/KoProcrustes.h"
#include "math/registration/KoProcrustesBase.h"
#include "math/tables/KoFunctionTableNonUniform.h"
#include "math/tables/KoFunctionTableUniform.h"
#include "math/tables/KoInterpolationPolynomHermite.h"
#include "math/tables/KoPolynomFit.h"

const KbRTTI KoFloatExact::RTTI(L"KoFloatExact", nullptr);

namespace {
[[maybe_unused]] const bool c_bArithmeticChecked = (KoFloatExact::CheckArithmetic(), true);
}  // namespace

template <>
const KbRTTI KoFtArrayConvolution<float>::RTTI(L"KoFtArrayConvolution(float)", KoFtAlgorithm::RTTI,
                                               &KoFtArrayConvolution<float>::CreateByFactory);
template <>
const KbRTTI KoFtArrayConvolution<KbVector2f>::RTTI(
    L"KoFtArrayConvolution(KbVector2f)", KoFtAlgorithm::RTTI,
    &KoFtArrayConvolution<KbVector2f>::CreateByFactory);
template <>
const KbRTTI KoFtArrayConvolution<KbVector3f>::RTTI(
    L"KoFtArrayConvolution(KbVector3f)", KoFtAlgorithm::RTTI,
    &KoFtArrayConvolution<KbVector3f>::CreateByFactory);

template <>
const KbRTTI KoFunctionConstant<float, float>::RTTI(
    L"KoFunctionConstant<float>", &KoFunctionConstant<float, float>::CreateByFactory);
template <>
const KbRTTI KoFunctionConstant<double, double>::RTTI(
    L"KoFunctionConstant<double>", &KoFunctionConstant<double, double>::CreateByFactory);
template <>
const KbRTTI KoFunctionInverse<float, float>::RTTI(
    L"KoFunctionInverse<float>", &KoFunctionInverse<float, float>::CreateByFactory);
template <>
const KbRTTI KoFunctionInverse<double, double>::RTTI(
    L"KoFunctionInverse<double>", &KoFunctionInverse<double, double>::CreateByFactory);
template <>
const KbRTTI KoFunctionLimitedHemisphere<float, float>::RTTI(
    L"KoFunctionLimitedHemisphere<float>",
    &KoFunctionLimitedHemisphere<float, float>::CreateByFactory);
template <>
const KbRTTI KoFunctionLimitedHemisphere<double, double>::RTTI(
    L"KoFunctionLimitedHemisphere<double>",
    &KoFunctionLimitedHemisphere<double, double>::CreateByFactory);
template <>
const KbRTTI KoFunctionLimitedPyramid<float, float>::RTTI(
    L"KoFunctionLimitedPyramid<float>", &KoFunctionLimitedPyramid<float, float>::CreateByFactory);
template <>
const KbRTTI KoFunctionLimitedPyramid<double, double>::RTTI(
    L"KoFunctionLimitedPyramid<double>",
    &KoFunctionLimitedPyramid<double, double>::CreateByFactory);
template <>
const KbRTTI KoFunctionLinear<float>::RTTI(L"KoFunctionLinear(float)", nullptr);
template <>
const KbRTTI KoFunctionLinear<double>::RTTI(L"KoFunctionLinear(double)", nullptr);
template <>
const KbRTTI KoFunctionRampLinear<float>::RTTI(L"KoFunctionRampLinear<float>",
                                               &KoFunctionRampLinear<float>::CreateByFactory);
template <>
const KbRTTI KoFunctionRampLinear<double>::RTTI(L"KoFunctionRampLinear<double>",
                                                &KoFunctionRampLinear<double>::CreateByFactory);
template <>
const KbRTTI KoFunctionRampSpline<float>::RTTI(L"KoFunctionRampSpline<float>",
                                               &KoFunctionRampSpline<float>::CreateByFactory);
template <>
const KbRTTI KoFunctionRampSpline<double>::RTTI(L"KoFunctionRampSpline<double>",
                                                &KoFunctionRampSpline<double>::CreateByFactory);
template <>
const KbRTTI KoFunctionTableNonUniform<float, float>::RTTI(
    L"KoFunctionTableNonUniform<float>", &KoFunctionTableNonUniform<float, float>::CreateByFactory);
template <>
const KbRTTI KoFunctionTableNonUniform<float, KbVector3f>::RTTI(
    L"KoFunctionTableNonUniform<float, KbVector3f>",
    &KoFunctionTableNonUniform<float, KbVector3f>::CreateByFactory);
template <>
const KbRTTI KoFunctionTableNonUniform<double, double>::RTTI(
    L"KoFunctionTableNonUniform<double>",
    &KoFunctionTableNonUniform<double, double>::CreateByFactory);
template <>
const KbRTTI KoFunctionTableUniform<float, float>::RTTI(
    L"KoFunctionTableUniform<float>", &KoFunctionTableUniform<float, float>::CreateByFactory);
template <>
const KbRTTI KoFunctionTableUniform<double, double>::RTTI(
    L"KoFunctionTableUniform<double>", &KoFunctionTableUniform<double, double>::CreateByFactory);
template <>
const KbRTTI KoInterpolationPolynomHermite<float>::RTTI(L"KoInterpolationPolynomHermite<float>",
                                                        nullptr);
template <>
const KbRTTI KoInterpolationPolynomHermite<double>::RTTI(L"KoInterpolationPolynomHermite<double>",
                                                         nullptr);
template <>
const KbRTTI KoInterpolationPolynomHermiteOverscale<float>::RTTI(
    L"KoInterpolationPolynomHermiteOverscale<float>", nullptr);
template <>
const KbRTTI KoInterpolationPolynomHermiteOverscale<double>::RTTI(
    L"KoInterpolationPolynomHermiteOverscale<double>", nullptr);

const KbRTTI KoMpGeneralizedProcrustesAnalysis::RTTI(L"KoMpGeneralizedProcrustesAnalysis",
                                                     KoMpAlgorithm::RTTI, nullptr);
const KbRTTI KoMpMatrixToDeterminantExactSign::RTTI(
    L"KoMpMatrixToDeterminantExactSign", KoMpAlgorithm::RTTI,
    &KoMpMatrixToDeterminantExactSign::CreateByFactory);
template <>
const KbRTTI KoPolynomFit<float>::RTTI(L"KoPolynomFit<float>", KoAlgorithm::RTTI, nullptr);
// The parent record is defined right below: it is only held by address here.
const KbRTTI KoProcrustes::RTTI(L"KoProcrustes", KoProcrustesBase::RTTI,
                                &KoProcrustes::CreateByFactory);
const KbRTTI KoProcrustesBase::RTTI(L"KoProcrustesBase", KoMpAlgorithm::RTTI, nullptr);
