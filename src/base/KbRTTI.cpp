#include "base/KbRTTI.h"

#include <cwchar>

#include "base/ISerializable.h"

namespace {

// Head of the registry list. Constant-initialised, so it is valid before any
// record's dynamic initialisation runs, in whatever order the libraries load.
constinit const KbRTTI* g_registryHead = nullptr;

}  // namespace

KbRTTI::KbRTTI(const wchar_t* name, Factory factory, CopyFactory copyFactory)
    : m_name(name), m_parent(nullptr), m_factory(factory), m_copyFactory(copyFactory) {
  Link();
}

KbRTTI::KbRTTI(const wchar_t* name, const KbRTTI& parent, Factory factory, CopyFactory copyFactory)
    : m_name(name), m_parent(&parent), m_factory(factory), m_copyFactory(copyFactory) {
  Link();
}

void KbRTTI::Link() {
  m_next = g_registryHead;
  g_registryHead = this;
}

KbRTTI::~KbRTTI() {
  // Records die in reverse order of construction, so this one is normally
  // the head; the walk covers libraries unloaded out of order.
  const KbRTTI** link = &g_registryHead;
  while (*link != nullptr && *link != this) link = &const_cast<KbRTTI*>(*link)->m_next;
  if (*link == this) *link = m_next;
}

bool KbRTTI::IsKindOf(const KbRTTI& other) const {
  for (const KbRTTI* record = this; record != nullptr; record = record->m_parent) {
    if (record == &other) return true;
  }
  return false;
}

std::unique_ptr<IObject> KbRTTI::Create() const {
  return m_factory != nullptr ? m_factory() : nullptr;
}

std::unique_ptr<IObject> KbRTTI::CreateCopy(const IObject& source) const {
  return m_copyFactory != nullptr ? m_copyFactory(source) : nullptr;
}

const KbRTTI* KbRTTI::GetFirst() {
  return g_registryHead;
}

const KbRTTI* KbRTTI::Find(const wchar_t* name) {
  for (const KbRTTI* record = g_registryHead; record != nullptr; record = record->m_next) {
    if (std::wcscmp(record->m_name, name) == 0) return record;
  }
  return nullptr;
}
