// Everything: the base layer and every subsystem of the library.
#pragma once

#include "base/KoBase.h"
#include "math/foundations/KbMatrixInternal.h"
#include "math/foundations/KbOrthogonalMatrices.h"
#include "math/foundations/KoMathScalar.h"
#include "math/foundations/KoMatrixConstants.h"
