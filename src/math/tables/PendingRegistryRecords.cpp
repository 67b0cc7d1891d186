// Registry records of the tables subsystem, in the order of the library's
// registry table. The names are part of the stored format, spelled exactly
// so (note the blank after the comma in the vector table's name only).
#include "math/tables/KoFunctionTableNonUniform.h"
#include "math/tables/KoFunctionTableUniform.h"
#include "math/tables/KoPolynomFit.h"

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
const KbRTTI KoPolynomFit<float>::RTTI(L"KoPolynomFit<float>", KoAlgorithm::RTTI, nullptr);
