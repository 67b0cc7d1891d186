// KbIDumpable<N>: objects that describe themselves as text (N is the dump
// interface's revision; the library uses 1).
#pragma once

#include "base/KbStreamWriteASCII.h"

template <int N>
class KOBASE_API KbIDumpable {
 public:
  virtual ~KbIDumpable() = default;

  // Writes the object's description to `stream`.
  void Dump(KbStreamWriteASCIIT<wchar_t>& stream) const { dump(stream); }

 protected:
  virtual void dump(KbStreamWriteASCIIT<wchar_t>& stream) const = 0;
};
