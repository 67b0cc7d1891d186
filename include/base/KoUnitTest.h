// File-based unit tests of algorithm objects.
//
// A test directory holds files named "<registered class name>_<NNNN>.kut",
// each an input record followed by an output record of one algorithm. The
// directory is set per object (SetUnitTestDirectory) and defaults to the
// environment variable KOMATH_UNITTEST_DIR, else "./unittests".
//
//   initSubtests()     lists the object's files, sorted by name;
//   runUnitTest(i)     replays file i: read the input, Compute, read the
//                      expected output, compare;
//   Recreate(i)        recomputes file i from its input and rewrites it with
//                      a fresh output record.
// The record hooks themselves (serializeUnitTest*) belong to the algorithm.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/ISerializable.h"
#include "base/KbExport.h"
#include "base/KbStreamBinary.h"

class KOBASE_API KoUnitTest : public IObject {
 public:
  enum EResult : unsigned int {
    ePassed = 0,
    eFailed = 1,  // the recomputed results differ from the stored ones
    eError = 2,   // reading or computing threw
  };

  ~KoUnitTest() override;
  virtual void PreallocateStaticData();
};

class KOBASE_API KoUnitTestFileBased : public KoUnitTest {
 public:
  KoUnitTestFileBased();
  ~KoUnitTestFileBased() override;

  void SetUnitTestDirectory(std::filesystem::path directory);
  const std::filesystem::path& GetUnitTestDirectory() const { return m_directory; }
  // The path of file `number` ("<dir>/<class name>_<NNNN>.kut").
  std::filesystem::path GetUnitTestPath(unsigned int number) const;

  // Slot order of this face: after KoUnitTest's slots come the file
  // enumeration, the stream factory, the record hooks that KoAlgorithm
  // implements, then the pattern and the base index.
  virtual void initSubtests();
  virtual unsigned int getSubtestCount() const;
  virtual std::wstring getSubtestName(unsigned int index) const;
  virtual EResult runUnitTest(unsigned int index);
  virtual std::unique_ptr<KbStreamReadBinary> createStream(const std::wstring& path);

  virtual void serializeUnitTestInput(KbStreamWriteBinary& stream) const = 0;
  virtual void serializeUnitTestInput(KbStreamReadBinary& stream) = 0;
  virtual void serializeUnitTestOutput(KbStreamWriteBinary& stream) const = 0;
  virtual void serializeUnitTestOutput(KbStreamReadBinary& stream) = 0;
  virtual EResult runUnitTest() = 0;
  virtual void releaseUnitTestInput() = 0;
  virtual void releaseUnitTestOutput() = 0;

  // "<class name>_*.kut".
  virtual std::wstring getPattern() const;
  virtual unsigned int getSubtestsBaseIndex() const;

 protected:
  // The stream of the file being replayed or recreated; null otherwise.
  KbStreamReadBinary* getUnitTestStream() const { return m_stream; }

  // Runs `body` with `stream` as the current unit-test stream.
  template <class Body>
  auto withUnitTestStream(KbStreamReadBinary& stream, Body&& body) {
    struct Reset {
      KbStreamReadBinary*& slot;
      ~Reset() { slot = nullptr; }
    } reset{m_stream};
    m_stream = &stream;
    return body();
  }

  const std::vector<std::filesystem::path>& getSubtestFiles() const { return m_files; }

 private:
  std::filesystem::path m_directory;
  std::vector<std::filesystem::path> m_files;
  KbStreamReadBinary* m_stream = nullptr;
};

class KOBASE_API IUnitTestRecreate {
 public:
  virtual ~IUnitTestRecreate();
  virtual bool CanRecreate(unsigned int index) const = 0;
  virtual bool Recreate(unsigned int index) = 0;
};

class KOBASE_API KoUnitTestFileBasedRecreate : public KoUnitTestFileBased,
                                               public IUnitTestRecreate {
 public:
  ~KoUnitTestFileBasedRecreate() override;

  // True for an index of a file found by initSubtests.
  bool CanRecreate(unsigned int index) const override;
  // Reads file `index`, lets recreate() recompute it and rewrites the file
  // with the input and a fresh output record. Returns false when the index
  // is unknown or recreate() declines; read errors throw.
  bool Recreate(unsigned int index) override;

 protected:
  // Reads the input from getUnitTestStream(), recomputes and writes input and
  // output records to `out`.
  virtual bool recreate(KbStreamWriteBinary& out) = 0;
};
