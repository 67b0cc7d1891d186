// Helpers shared by the rotation, frame and generator tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "base/KbStreamBinaryMemory.h"

namespace ko_test {

using Bytes = std::vector<std::uint8_t>;

// Appends the little-endian bytes of the values, each as wide as its type.
template <class... V>
void Append(Bytes& bytes, V... values) {
  auto append = [&bytes](auto value) {
    std::uint8_t raw[sizeof(value)];
    std::memcpy(raw, &value, sizeof(value));
    bytes.insert(bytes.end(), raw, raw + sizeof(value));
  };
  (append(values), ...);
}

template <class... V>
Bytes Pack(V... values) {
  Bytes bytes;
  Append(bytes, values...);
  return bytes;
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
