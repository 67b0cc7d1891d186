#include "base/KbStreamBinaryMemory.h"

#include <cstring>

#include "base/KbException.h"

KbStreamWriteBinaryMemory::~KbStreamWriteBinaryMemory() = default;

void KbStreamWriteBinaryMemory::WriteBuffer(const void* data, std::size_t size) {
  if (size == 0) return;
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  m_bytes.insert(m_bytes.end(), bytes, bytes + size);
}

KbStreamReadBinaryMemory::KbStreamReadBinaryMemory(const void* data, std::size_t size)
    : m_data(static_cast<const std::uint8_t*>(data)), m_size(size) {}

KbStreamReadBinaryMemory::KbStreamReadBinaryMemory(std::vector<std::uint8_t> bytes)
    : m_owned(std::move(bytes)), m_data(m_owned.data()), m_size(m_owned.size()) {}

KbStreamReadBinaryMemory::~KbStreamReadBinaryMemory() = default;

void KbStreamReadBinaryMemory::ReadBuffer(void* data, std::size_t size) {
  if (size > m_size - m_position) throw KbExceptionEndOfStream(size, m_size - m_position);
  if (size == 0) return;
  std::memcpy(data, m_data + m_position, size);
  m_position += size;
}
