#include "base/KbStreamBinary.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "base/KbException.h"

namespace {

// Records are little-endian; on a big-endian host the bytes are reversed.
template <class T>
T ToLittleEndian(T value) {
  if constexpr (std::endian::native == std::endian::little) {
    return value;
  } else {
    auto bytes = std::bit_cast<std::array<unsigned char, sizeof(T)>>(value);
    std::reverse(bytes.begin(), bytes.end());
    return std::bit_cast<T>(bytes);
  }
}

template <class T>
void WriteElement(KbStreamWriteBinary& stream, T value) {
  const T little = ToLittleEndian(value);
  stream.WriteBuffer(&little, sizeof(T));
}

template <class T>
T ReadElement(KbStreamReadBinary& stream) {
  T value;
  stream.ReadBuffer(&value, sizeof(T));
  return ToLittleEndian(value);
}

}  // namespace

KbStreamWriteBinary::~KbStreamWriteBinary() = default;

void KbStreamWriteBinary::WriteVersion(std::uint32_t version) {
  WriteUInt32(version);
}
void KbStreamWriteBinary::WriteBool(bool value) {
  WriteElement<std::uint8_t>(*this, value ? 1 : 0);
}
void KbStreamWriteBinary::WriteInt32(std::int32_t value) {
  WriteElement(*this, value);
}
void KbStreamWriteBinary::WriteUInt32(std::uint32_t value) {
  WriteElement(*this, value);
}
void KbStreamWriteBinary::WriteInt64(std::int64_t value) {
  WriteElement(*this, value);
}
void KbStreamWriteBinary::WriteUInt64(std::uint64_t value) {
  WriteElement(*this, value);
}
void KbStreamWriteBinary::WriteFloat(float value) {
  WriteElement(*this, value);
}
void KbStreamWriteBinary::WriteDouble(double value) {
  WriteElement(*this, value);
}

KbStreamReadBinary::~KbStreamReadBinary() = default;

std::uint32_t KbStreamReadBinary::ReadAndCompareVersion(std::uint32_t expected) {
  const std::uint32_t found = ReadUInt32();
  if (found != expected) throw KbExceptionWrongFileVersion(expected, found);
  return found;
}

bool KbStreamReadBinary::ReadBool() {
  const auto byte = ReadElement<std::uint8_t>(*this);
  if (byte > 1) throw KbException("corrupt record: a bool byte is " + std::to_string(byte));
  return byte == 1;
}

std::int32_t KbStreamReadBinary::ReadInt32() {
  return ReadElement<std::int32_t>(*this);
}
std::uint32_t KbStreamReadBinary::ReadUInt32() {
  return ReadElement<std::uint32_t>(*this);
}
std::int64_t KbStreamReadBinary::ReadInt64() {
  return ReadElement<std::int64_t>(*this);
}
std::uint64_t KbStreamReadBinary::ReadUInt64() {
  return ReadElement<std::uint64_t>(*this);
}
float KbStreamReadBinary::ReadFloat() {
  return ReadElement<float>(*this);
}
double KbStreamReadBinary::ReadDouble() {
  return ReadElement<double>(*this);
}

void KbStreamReadBinary::EnsureAvailable(std::uint64_t count, std::uint64_t elementSize) const {
  const std::uint64_t available = GetRemainingBytes();
  const bool overflows =
      elementSize != 0 && count > std::numeric_limits<std::uint64_t>::max() / elementSize;
  if (overflows) throw KbExceptionEndOfStream(std::numeric_limits<std::uint64_t>::max(), available);
  if (count * elementSize > available) throw KbExceptionEndOfStream(count * elementSize, available);
}
