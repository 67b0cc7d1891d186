// Binary streams backed by memory.
#pragma once

#include <cstdint>
#include <vector>

#include "base/KbStreamBinary.h"

// Appends every record to a growing byte vector.
class KOBASE_API KbStreamWriteBinaryMemory : public KbStreamWriteBinary {
 public:
  ~KbStreamWriteBinaryMemory() override;

  void WriteBuffer(const void* data, std::size_t size) override;

  // The bytes written so far.
  const std::vector<std::uint8_t>& GetBuffer() const { return m_bytes; }

 private:
  std::vector<std::uint8_t> m_bytes;
};

// Reads from a byte block. The pointer form does not copy: the caller keeps
// the block alive for the reader's lifetime; the vector form owns a copy.
class KOBASE_API KbStreamReadBinaryMemory : public KbStreamReadBinary {
 public:
  KbStreamReadBinaryMemory(const void* data, std::size_t size);
  explicit KbStreamReadBinaryMemory(std::vector<std::uint8_t> bytes);
  ~KbStreamReadBinaryMemory() override;

  KbStreamReadBinaryMemory(const KbStreamReadBinaryMemory&) = delete;
  KbStreamReadBinaryMemory& operator=(const KbStreamReadBinaryMemory&) = delete;

  void ReadBuffer(void* data, std::size_t size) override;
  std::uint64_t GetRemainingBytes() const override { return m_size - m_position; }

  std::size_t GetPosition() const { return m_position; }

 private:
  std::vector<std::uint8_t> m_owned;
  const std::uint8_t* m_data;
  std::size_t m_size;
  std::size_t m_position = 0;
};
