// Export macro of the KoMath library (see base/KbExport.h).
#pragma once

#include "base/KbExport.h"
