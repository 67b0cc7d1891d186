#include "math/registration/KoProcrustesBase.h"

KoProcrustesBase::KoProcrustesBase() = default;
KoProcrustesBase::~KoProcrustesBase() = default;

const wchar_t* KoProcrustesBase::GetClassNameW() const {
  return GetRTTI().GetName();
}
