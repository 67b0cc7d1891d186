// Everything: the base layer and every subsystem of the library.
#pragma once

#include "base/KoBase.h"
#include "math/foundations/KoMatrixConstants.h"
