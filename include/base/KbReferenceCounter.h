// KbReferenceCounter<T>: the count that holders of a shared object keep.
//
// A counter belongs to its object, not to the object's value: it starts at
// zero on construction and on copy, and assignment leaves it alone.
#pragma once

#include "base/KbExport.h"

template <class T>
class KOBASE_API KbReferenceCounter {
 public:
  constexpr KbReferenceCounter() = default;
  constexpr KbReferenceCounter(const KbReferenceCounter&) {}
  constexpr KbReferenceCounter& operator=(const KbReferenceCounter&) { return *this; }

  T Get() const { return m_count; }
  T Increment() { return ++m_count; }
  T Decrement() { return --m_count; }

 private:
  T m_count = 0;
};
