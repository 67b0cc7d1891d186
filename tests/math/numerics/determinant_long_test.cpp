// Slow exactness checks against GMP: orders 7 to 10, whose exact pivots
// reach thousands of components, and many more matrices of small order.
// Wide exponent ranges stop at order 7: beyond it the division-free
// elimination's pivots (degree 2^(n-1) in the entries) spread over so many
// exponents that they hold millions of components.
#include <gtest/gtest.h>

#include "math/numerics/ExactReference.h"

namespace {

TEST(KoMpMatrixToDeterminantExactSignLong, AllKindsOrders7To10AndManyOrders1To5MatchGmp) {
  std::mt19937_64 rng(1010);
  for (unsigned int n = 7; n <= 10; ++n) {
    for (EMatrixKind kind : c_allKinds) {
      if (kind == EMatrixKind::eWideDoubles && n > 7) continue;
      ExpectMatchesGmp(RandomMatrix(rng, n, kind), kind);
      if (HasFailure()) FAIL() << "order " << n << " kind " << int(kind);
    }
  }
  for (int trial = 0; trial < 400; ++trial) {
    const EMatrixKind kind = c_allKinds[(trial / 5) % std::size(c_allKinds)];
    ExpectMatchesGmp(RandomMatrix(rng, 1 + trial % 5, kind), kind);
    if (HasFailure()) FAIL() << "trial " << trial;
  }
}

}  // namespace
