// Binary streams backed by files. Opening fails with a KbException that
// names the path.
#pragma once

#include <cstdio>
#include <string>

#include "base/KbStreamBinary.h"

class KOBASE_API KbStreamWriteBinaryFile : public KbStreamWriteBinary {
 public:
  // Creates or truncates the file.
  explicit KbStreamWriteBinaryFile(const std::string& path);
  ~KbStreamWriteBinaryFile() override;

  KbStreamWriteBinaryFile(const KbStreamWriteBinaryFile&) = delete;
  KbStreamWriteBinaryFile& operator=(const KbStreamWriteBinaryFile&) = delete;

  void WriteBuffer(const void* data, std::size_t size) override;

  // Flushes and closes; throws when the data could not be written. The
  // destructor closes too, but cannot report a failure.
  void Close();

 private:
  std::FILE* m_file;
  std::string m_path;
};

class KOBASE_API KbStreamReadBinaryFile : public KbStreamReadBinary {
 public:
  explicit KbStreamReadBinaryFile(const std::string& path);
  ~KbStreamReadBinaryFile() override;

  KbStreamReadBinaryFile(const KbStreamReadBinaryFile&) = delete;
  KbStreamReadBinaryFile& operator=(const KbStreamReadBinaryFile&) = delete;

  void ReadBuffer(void* data, std::size_t size) override;
  std::uint64_t GetRemainingBytes() const override { return m_size - m_position; }

 private:
  std::FILE* m_file;
  std::string m_path;
  std::uint64_t m_size = 0;
  std::uint64_t m_position = 0;
};
