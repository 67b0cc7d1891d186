// Record helpers shared by every test folder: expected bytes written by
// hand, independent of the streams (little-endian, each value as wide as its
// type: std::uint32_t for versions and counts, float, double, bool or
// std::uint8_t for one byte), and records through memory streams.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
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

// An algorithm with its protected unit-test hooks exposed, its records
// written and read whole through memory.
template <class Algorithm>
struct UnitTestProbe : Algorithm {
  using Algorithm::compareUnitTestResult;
  using Algorithm::serializeUnitTestInput;
  using Algorithm::serializeUnitTestOutput;

  Bytes Input() const {
    KbStreamWriteBinaryMemory out;
    serializeUnitTestInput(out);
    return out.GetBuffer();
  }
  Bytes Output() const {
    KbStreamWriteBinaryMemory out;
    serializeUnitTestOutput(out);
    return out.GetBuffer();
  }
  void ReadInput(const Bytes& bytes) {
    KbStreamReadBinaryMemory in(bytes);
    serializeUnitTestInput(in);
  }
  void ReadOutput(const Bytes& bytes) {
    KbStreamReadBinaryMemory in(bytes);
    serializeUnitTestOutput(in);
  }
};

// Records on disk: an empty directory of the running test's own, removed
// with this object. Named after the test and the process, as CTest runs
// tests in parallel processes (gtest's seed, a time, can repeat).
class ScratchDirectory {
 public:
  ScratchDirectory() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string("komath_") + info->test_suite_name() + "_" + info->name();
    for (char& c : name)
      if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';  // typed suites carry a '/'
    m_path = std::filesystem::temp_directory_path() / (name + "_" + std::to_string(::getpid()));
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
  }
  ~ScratchDirectory() {
    std::error_code ignored;  // a destructor must not throw; a leftover is harmless
    std::filesystem::remove_all(m_path, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& Path() const { return m_path; }
  std::filesystem::path operator/(const std::string& file) const { return m_path / file; }

 private:
  std::filesystem::path m_path;
};

}  // namespace ko_test
