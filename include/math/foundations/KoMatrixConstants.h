// The library's matrix constants.
//
// The "invalid" matrices (every element the largest finite value) mark an
// absent result: a matrix is invalid when it equals them element by element.
#pragma once

#include "base/KbMatrix4R.h"
#include "math/KoMathExport.h"

KOMATH_API extern const KbMatrix4Rf c_matIdentity;
KOMATH_API extern const KbMatrix4Rd c_matIdentityD;
KOMATH_API extern const KbMatrix4Rf c_matInvalid;   // all 3.4028235e38
KOMATH_API extern const KbMatrix4Rd c_matInvalidD;  // all 1.7976931348623157e308
