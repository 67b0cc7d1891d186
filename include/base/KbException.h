// Exceptions of the base layer and of the library.
//
// Error policy: exceptions are reserved for bad records (wrong version,
// truncated or corrupt streams), numerical breakdown and a broken
// environment. Evaluation of function objects never throws; algorithms
// report unmet pre-conditions by returning false from Compute.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "base/KbExport.h"

// Root interface of every exception the library throws.
class KOBASE_API IException : public std::exception {
 public:
  ~IException() override;
};

// The concrete exception: default-constructible, copyable, thrown by value.
// The message is optional; what() falls back to the class name.
class KOBASE_API KbException : public IException {
 public:
  KbException() = default;
  explicit KbException(std::string message) : m_message(std::move(message)) {}
  ~KbException() override;

  const char* what() const noexcept override;
  const std::string& GetMessage() const { return m_message; }

 private:
  std::string m_message;
};

// A record's stored version number differs from the one its reader accepts.
class KOBASE_API KbExceptionWrongFileVersion : public KbException {
 public:
  KbExceptionWrongFileVersion(std::uint32_t expected, std::uint32_t found);
  // For a record whose format, not its version number, is wrong.
  KbExceptionWrongFileVersion(std::uint32_t expected, std::uint32_t found, std::string message);
  ~KbExceptionWrongFileVersion() override;

  std::uint32_t GetExpectedVersion() const { return m_expected; }
  std::uint32_t GetFoundVersion() const { return m_found; }

 private:
  std::uint32_t m_expected;
  std::uint32_t m_found;
};

// A read ran past the end of the stream, or a record announced more data
// than the stream still holds.
class KOBASE_API KbExceptionEndOfStream : public KbException {
 public:
  KbExceptionEndOfStream(std::uint64_t requested, std::uint64_t available);
  ~KbExceptionEndOfStream() override;
};
