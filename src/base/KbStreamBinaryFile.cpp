#include "base/KbStreamBinaryFile.h"

#include <cerrno>
#include <cstring>

#include "base/KbException.h"

namespace {

KbException OpenError(const char* what, const std::string& path) {
  return KbException(std::string("cannot open '") + path + "' for " + what + ": " +
                     std::strerror(errno));
}

}  // namespace

KbStreamWriteBinaryFile::KbStreamWriteBinaryFile(const std::string& path)
    : m_file(std::fopen(path.c_str(), "wb")), m_path(path) {
  if (m_file == nullptr) throw OpenError("writing", path);
}

KbStreamWriteBinaryFile::~KbStreamWriteBinaryFile() {
  if (m_file != nullptr) std::fclose(m_file);
}

void KbStreamWriteBinaryFile::WriteBuffer(const void* data, std::size_t size) {
  if (m_file == nullptr) throw KbException("write to closed file '" + m_path + "'");
  if (size != 0 && std::fwrite(data, 1, size, m_file) != size) {
    throw KbException("cannot write to '" + m_path + "': " + std::strerror(errno));
  }
}

void KbStreamWriteBinaryFile::Close() {
  if (m_file == nullptr) return;
  const bool failed = std::fflush(m_file) != 0 || std::ferror(m_file) != 0;
  std::fclose(m_file);
  m_file = nullptr;
  if (failed) throw KbException("cannot write to '" + m_path + "'");
}

KbStreamReadBinaryFile::KbStreamReadBinaryFile(const std::string& path)
    : m_file(std::fopen(path.c_str(), "rb")), m_path(path) {
  if (m_file == nullptr) throw OpenError("reading", path);
  const bool sized = std::fseek(m_file, 0, SEEK_END) == 0;
  const long end = sized ? std::ftell(m_file) : -1;
  if (end < 0 || std::fseek(m_file, 0, SEEK_SET) != 0) {
    std::fclose(m_file);
    throw KbException("cannot determine the size of '" + path + "'");
  }
  m_size = static_cast<std::uint64_t>(end);
}

KbStreamReadBinaryFile::~KbStreamReadBinaryFile() {
  std::fclose(m_file);
}

void KbStreamReadBinaryFile::ReadBuffer(void* data, std::size_t size) {
  if (size > m_size - m_position) throw KbExceptionEndOfStream(size, m_size - m_position);
  if (size == 0) return;
  if (std::fread(data, 1, size, m_file) != size) {
    throw KbException("cannot read from '" + m_path + "'");
  }
  m_position += size;
}
