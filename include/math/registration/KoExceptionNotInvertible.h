// KoExceptionNotInvertible: a matrix has no inverse.
//
// Exported for callers that invert a transformation's matrix and want one
// exception type for the singular case; no operation of the library throws
// it itself.
#pragma once

#include <memory>

#include "base/KbException.h"
#include "math/KoMathExport.h"

class KOMATH_API KoExceptionNotInvertible : public IException {
 public:
  KoExceptionNotInvertible() = default;
  KoExceptionNotInvertible(const KoExceptionNotInvertible&) = default;
  KoExceptionNotInvertible(KoExceptionNotInvertible&&) = default;
  KoExceptionNotInvertible& operator=(const KoExceptionNotInvertible&) = default;
  KoExceptionNotInvertible& operator=(KoExceptionNotInvertible&&) = default;
  ~KoExceptionNotInvertible() override;

  const char* what() const noexcept override;

  // A new copy, uniquely owned, for rethrowing across a boundary that only
  // knows IException.
  virtual std::unique_ptr<IException> Clone() const;
};
