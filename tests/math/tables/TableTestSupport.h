// Test helpers: an expected-record builder and records through memory streams.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "base/ISerializable.h"
#include "base/KbStreamBinaryMemory.h"

// Little-endian record bytes written by hand, independent of the streams.
struct RecordBytes {
  std::vector<std::uint8_t> bytes;

  template <class V>
  RecordBytes& Put(V value) {
    std::uint8_t raw[sizeof(V)];
    std::memcpy(raw, &value, sizeof(V));
    bytes.insert(bytes.end(), raw, raw + sizeof(V));
    return *this;
  }
  RecordBytes& U32(std::uint32_t value) { return Put(value); }
};

// Any class with a Serialize pair, not only ISerializable ones.
template <class Serializable>
std::vector<std::uint8_t> WriteRecord(const Serializable& object) {
  KbStreamWriteBinaryMemory stream;
  object.Serialize(stream);
  return stream.GetBuffer();
}

inline void ReadRecord(ISerializable& object, const std::vector<std::uint8_t>& bytes) {
  KbStreamReadBinaryMemory stream(bytes);
  object.Serialize(stream);
}
