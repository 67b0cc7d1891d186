#include "base/KoObservable.h"

#include <algorithm>

IObserver::~IObserver() = default;

KoObservable::KoObservable() = default;
KoObservable::KoObservable(const KoObservable&) {}
KoObservable& KoObservable::operator=(const KoObservable&) {
  return *this;
}
KoObservable::~KoObservable() = default;

void KoObservable::AddObserver(IObserver& observer) {
  if (std::find(m_observers.begin(), m_observers.end(), &observer) == m_observers.end()) {
    m_observers.push_back(&observer);
  }
}

void KoObservable::RemoveObserver(IObserver& observer) {
  std::erase(m_observers, &observer);
}

void KoObservable::NotifyObservers(KoObservableMessage::EMessageType type, void* data) {
  // A copy, so an observer may remove itself while being notified.
  const std::vector<IObserver*> observers = m_observers;
  for (IObserver* observer : observers) observer->OnNotify(*this, type, data);
}

std::uint64_t KoObservable::GetMemoryUsage() const {
  return sizeof(*this) + m_observers.capacity() * sizeof(IObserver*);
}
