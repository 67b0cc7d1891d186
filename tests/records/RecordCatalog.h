// One table of every record reader of the library, shared by the exhaustive
// corruption sweep (record_sweep_test.cpp), the fuzz targets and their seed
// generator (fuzz/). Each case knows how to make a valid record and a fresh
// object to read one into; adding a serializable class or an algorithm with
// unit-test records is one line in RecordCatalog.cpp.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/ISerializable.h"
#include "base/KbStreamBinary.h"

namespace records {

// An object of one case, read and written through its record.
class IRecordHolder {
 public:
  virtual ~IRecordHolder() = default;
  virtual void Read(KbStreamReadBinary& stream) = 0;
  virtual void Write(KbStreamWriteBinary& stream) const = 0;
};

struct SRecordCase {
  enum EKind { eObject, eUnitTest };

  std::string name;  // unique; the fuzzers select cases by position in name order
  EKind kind;
  // Unit-test cases: the registered class name that golden .kut files start with.
  std::wstring className;
  // A new object. A unit-test holder reads an input record and then an output record.
  std::function<std::unique_ptr<IRecordHolder>()> create;
  // A valid record (for unit-test cases: input and output as in a .kut file).
  std::function<std::vector<std::uint8_t>()> validRecord;
};

// The record `holder` writes.
std::vector<std::uint8_t> Written(const IRecordHolder& holder);

// Every case, sorted by name.
const std::vector<SRecordCase>& RecordCases();

// The registry's records, sorted by name: the classes a stream can name.
std::vector<const KbRTTI*> RegisteredClasses();

// The golden .kut files of a class under `root` (searched recursively).
std::vector<std::string> GoldenUnitTestFiles(const std::string& root,
                                             const std::wstring& className);

}  // namespace records
