// Registry records of the function objects and of the Hermite polynomials,
// in the order of the library's registry table. The wide names are part of
// the stored format, spelling included.
#include "math/functions/KoFunctionConstant.h"
#include "math/functions/KoFunctionInverse.h"
#include "math/functions/KoFunctionLimitedHemisphere.h"
#include "math/functions/KoFunctionLimitedPyramid.h"
#include "math/functions/KoFunctionLinear.h"
#include "math/functions/KoFunctionRampLinear.h"
#include "math/functions/KoFunctionRampSpline.h"
#include "math/tables/KoInterpolationPolynomHermite.h"

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
