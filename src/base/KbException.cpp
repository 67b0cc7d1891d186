#include "base/KbException.h"

IException::~IException() = default;

KbException::~KbException() = default;

const char* KbException::what() const noexcept {
  return m_message.empty() ? "KbException" : m_message.c_str();
}

KbExceptionWrongFileVersion::KbExceptionWrongFileVersion(std::uint32_t expected,
                                                         std::uint32_t found)
    : KbException("wrong record version: expected " + std::to_string(expected) + ", found " +
                  std::to_string(found)),
      m_expected(expected),
      m_found(found) {}

KbExceptionWrongFileVersion::KbExceptionWrongFileVersion(std::uint32_t expected,
                                                         std::uint32_t found, std::string message)
    : KbException(std::move(message)), m_expected(expected), m_found(found) {}

KbExceptionWrongFileVersion::~KbExceptionWrongFileVersion() = default;

KbExceptionEndOfStream::KbExceptionEndOfStream(std::uint64_t requested, std::uint64_t available)
    : KbException("end of stream: " + std::to_string(requested) + " bytes requested, " +
                  std::to_string(available) + " available") {}

KbExceptionEndOfStream::~KbExceptionEndOfStream() = default;
