#include "math/foundations/KoMatrixConstants.h"

#include <limits>

// Constant-initialised: they exist before any dynamic initialiser of the
// library runs, the registry records included.
constinit const KbMatrix4Rf c_matIdentity{};
constinit const KbMatrix4Rd c_matIdentityD{};
constinit const KbMatrix4Rf c_matInvalid = KbMatrix4Rf::Filled(std::numeric_limits<float>::max());
constinit const KbMatrix4Rd c_matInvalidD = KbMatrix4Rd::Filled(std::numeric_limits<double>::max());
