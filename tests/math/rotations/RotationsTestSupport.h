// Helpers shared by the rotation, frame and generator tests.
#pragma once

#include <cstdint>
#include <vector>

#include "base/KbStreamBinaryMemory.h"

namespace ko_test {

using Bytes = std::vector<std::uint8_t>;

// The little-endian bytes of the values, each as wide as its type.
template <class... V>
Bytes Pack(V... values) {
  Bytes bytes;
  (bytes.insert(bytes.end(), reinterpret_cast<const std::uint8_t*>(&values),
                reinterpret_cast<const std::uint8_t*>(&values) + sizeof(values)),
   ...);
  return bytes;
}

template <class... V>
void Append(Bytes& bytes, V... values) {
  const Bytes more = Pack(values...);
  bytes.insert(bytes.end(), more.begin(), more.end());
}

template <class T>
Bytes Write(const T& object) {
  KbStreamWriteBinaryMemory out;
  object.Serialize(out);
  return out.GetBuffer();
}

template <class T>
void Read(T& object, const Bytes& bytes) {
  KbStreamReadBinaryMemory in(bytes);
  object.Serialize(in);
}

}  // namespace ko_test
