#include "math/registration/KoExceptionNotInvertible.h"

KoExceptionNotInvertible::~KoExceptionNotInvertible() = default;

const char* KoExceptionNotInvertible::what() const noexcept {
  return "KoExceptionNotInvertible: the matrix has no inverse";
}

std::unique_ptr<IException> KoExceptionNotInvertible::Clone() const {
  return std::make_unique<KoExceptionNotInvertible>(*this);
}
