// Registry records of the exact numerics, in the order of the library's
// registry table. The check of the arithmetic environment runs right after
// the KoFloatExact record, before any other code of the library can use
// the exact arithmetic; it throws (and so stops the load) when doubles do
// not round to nearest even.
#include "math/numerics/KoFloatExact.h"
#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"

const KbRTTI KoFloatExact::RTTI(L"KoFloatExact", nullptr);

namespace {
[[maybe_unused]] const bool c_bArithmeticChecked = (KoFloatExact::CheckArithmetic(), true);
}  // namespace

const KbRTTI KoMpMatrixToDeterminantExactSign::RTTI(
    L"KoMpMatrixToDeterminantExactSign", KoMpAlgorithm::RTTI,
    &KoMpMatrixToDeterminantExactSign::CreateByFactory);
