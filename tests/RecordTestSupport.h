// Record helpers shared by every test folder: expected bytes written by
// hand, independent of the streams (little-endian, each value as wide as its
// type: std::uint32_t for versions and counts, float, double, bool or
// std::uint8_t for one byte), and records through memory streams.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "base/KbStreamBinaryMemory.h"

namespace ko_test {

using Bytes = std::vector<std::uint8_t>;

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

// The same, as a chain: RecordBytes().U32(1).Put(0.5f).bytes.
struct RecordBytes {
  Bytes bytes;

  template <class V>
  RecordBytes& Put(V value) {
    Append(bytes, value);
    return *this;
  }
  RecordBytes& U32(std::uint32_t value) { return Put(value); }
};

// Any class with a Serialize pair, not only ISerializable ones.
template <class Serializable>
Bytes Write(const Serializable& object) {
  KbStreamWriteBinaryMemory out;
  object.Serialize(out);
  return out.GetBuffer();
}

template <class Serializable>
void Read(Serializable& object, const Bytes& bytes) {
  KbStreamReadBinaryMemory in(bytes);
  object.Serialize(in);
}

}  // namespace ko_test
