// KoProcrustesBase: the abstract base of the point-set alignment
// algorithms.
//
// It holds no state of its own beyond the algorithm framework; it exists so
// that the registry can name the family ("KoProcrustesBase", without a
// factory: the class cannot be created by name). checkPreConditions and
// compute stay pure.
#pragma once

#include "base/KoAlgorithm.h"
#include "math/KoMathExport.h"

class KOMATH_API KoProcrustesBase : public KoMpAlgorithm {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  ~KoProcrustesBase() override;

  // The name of GetRTTI()'s record.
  const wchar_t* GetClassNameW() const override;

 protected:
  KoProcrustesBase();

  bool checkPreConditions() const override = 0;
  void compute() override = 0;
};
