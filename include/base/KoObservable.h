// Observers: an observable keeps a list of observers and sends each of them
// every message it publishes, in the order they were added.
#pragma once

#include <cstdint>
#include <vector>

#include "base/KbExport.h"

namespace KoObservableMessage {
// Message types. The library sends eChanged (2) after a change of state and
// adds offsets to it for finer notices.
enum EMessageType : std::uint32_t {
  eDestroyed = 1,
  eChanged = 2,
};
}  // namespace KoObservableMessage

class KoObservable;

class KOBASE_API IObserver {
 public:
  virtual ~IObserver();
  virtual void OnNotify(KoObservable& sender, KoObservableMessage::EMessageType type,
                        void* data) = 0;
};

// Observers are not owned; an observer removes itself before it dies.
// Copying an observable copies no observers: the copy starts unobserved.
class KOBASE_API KoObservable {
 public:
  KoObservable();
  KoObservable(const KoObservable&);
  KoObservable& operator=(const KoObservable&);
  virtual ~KoObservable();

  // Adding an observer twice has no further effect.
  void AddObserver(IObserver& observer);
  void RemoveObserver(IObserver& observer);
  void NotifyObservers(KoObservableMessage::EMessageType type, void* data);

  // Bytes held by the object, its own size included.
  virtual std::uint64_t GetMemoryUsage() const;

 private:
  std::vector<IObserver*> m_observers;
};
