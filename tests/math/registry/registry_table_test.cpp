// The algorithm families in the registry. The
// stored names of the classes a stream can create are pinned where they are
// read: the record catalog's by-name round trip (tests/records) and the
// golden file names of each algorithm.
#include <gtest/gtest.h>

#include "math/KoMath.h"

namespace {

TEST(RegistryTableTest, AlgorithmsSitInTheirFrameworkFamilies) {
  for (const KbRTTI* record :
       {&KoFtArrayConvolution<float>::RTTI, &KoFtArrayConvolution<KbVector2f>::RTTI,
        &KoFtArrayConvolution<KbVector3f>::RTTI}) {
    EXPECT_EQ(record->GetParent(), &KoFtAlgorithm::RTTI);
  }
  for (const KbRTTI* record : {&KoMpGeneralizedProcrustesAnalysis::RTTI,
                               &KoMpMatrixToDeterminantExactSign::RTTI, &KoProcrustesBase::RTTI}) {
    EXPECT_EQ(record->GetParent(), &KoMpAlgorithm::RTTI);
  }
  EXPECT_EQ(KoProcrustes::RTTI.GetParent(), &KoProcrustesBase::RTTI);
  EXPECT_EQ(KoPolynomFit<float>::RTTI.GetParent(), &KoAlgorithm::RTTI);
}

}  // namespace
