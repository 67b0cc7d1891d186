// The algorithm framework.
//
// An algorithm object takes inputs, runs once and hands out results:
//
//   algorithm.SetInput(&points, &result);   // stores pointers, never copies
//   if (algorithm.Compute(0)) { ... read results ... }
//
// SetInput overloads (defined by each algorithm) store pointers to
// caller-owned inputs and outputs and end with setInputChanged(). Compute
// runs the initialisation stage, checkPreConditions() (false: Compute
// returns false and nothing is written), compute(), checkPostConditions(),
// and only then marks the results calculated. Every result getter calls
// checkOutputData() first, which throws KbException when the results are
// not calculated. An exception from compute() leaves them not calculated.
//
// Class tree: KoAlgorithm derives from IExtendable (the algorithm interface
// and reference counting) and from KoUnitTestFileBasedRecreate (the object
// and unit-test interface). KoMpAlgorithm and KoFtAlgorithm are its two
// registered families.
#pragma once

#include <cstdint>

#include "base/KbReferenceCounter.h"
#include "base/KoUnitTest.h"

class KOBASE_API IExtensionInterface {
 public:
  virtual ~IExtensionInterface();
  virtual const IExtensionInterface* GetExtension(const char* name, bool recursive) const = 0;
  virtual IExtensionInterface* GetExtension(const char* name, bool recursive) = 0;
};

class KOBASE_API IReferenceCounted {
 public:
  virtual ~IReferenceCounted();
  virtual const KbReferenceCounter<unsigned int>& getReferenceCounter() const = 0;
};

class KOBASE_API IExtendable : public IExtensionInterface, public IReferenceCounted {
 public:
  ~IExtendable() override;
  // No extensions are registered: both forms return null.
  const IExtensionInterface* GetExtension(const char* name, bool recursive) const override;
  IExtensionInterface* GetExtension(const char* name, bool recursive) override;
  const KbReferenceCounter<unsigned int>& getReferenceCounter() const override;

 private:
  KbReferenceCounter<unsigned int> m_referenceCounter;
};

class KOBASE_API KoAlgorithm : public IExtendable, public KoUnitTestFileBasedRecreate {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  // Bits of Compute's argument. eComputeNested marks a computation driven
  // by another algorithm's compute(); it runs exactly like a plain one.
  using EComputeFlags = unsigned int;
  static constexpr EComputeFlags eComputeDefault = 0;
  static constexpr EComputeFlags eComputeNested = 1;

  KoAlgorithm();
  ~KoAlgorithm() override;

  // Runs one computation; true when it succeeded.
  bool Compute(EComputeFlags flags);
  // True after a successful Compute until the next change of input.
  bool IsCalculated() const { return m_calculated; }

  // Records the current inputs, computes, and writes inputs and results as
  // unit-test file `number` of the test directory. False (and no file) when
  // Compute fails.
  bool CreateUnitTest(unsigned int number);

  using KoUnitTestFileBased::runUnitTest;

 protected:
  // Algorithm interface, continuing IExtensionInterface's slots.
  virtual bool checkPreConditionsInit() const;
  virtual void init();
  virtual bool checkPostConditionsInit() const;
  virtual bool checkPreConditions() const = 0;
  virtual void compute() = 0;
  virtual bool checkPostConditions() const;
  virtual void onReadOldFlags(std::uint32_t flags);
  // Compares fresh results with those read from an output record; the base
  // has nothing to compare and returns false.
  virtual bool compareUnitTestResult() const;

  // The KoAlgorithm part of both records is the version number 1 alone.
  void serializeUnitTestInput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestInput(KbStreamReadBinary& stream) override;
  void serializeUnitTestOutput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestOutput(KbStreamReadBinary& stream) override;
  EResult runUnitTest() override;
  void releaseUnitTestInput() override;
  void releaseUnitTestOutput() override;
  bool recreate(KbStreamWriteBinary& out) override;

  // Marks the results stale; call after every change of input.
  void setInputChanged() { m_calculated = false; }
  // Throws KbException unless the results are calculated.
  void checkOutputData() const;

 private:
  bool m_calculated = false;
};

class KOBASE_API KoMpAlgorithm : public KoAlgorithm {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  ~KoMpAlgorithm() override;
};

class KOBASE_API KoFtAlgorithm : public KoAlgorithm {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  ~KoFtAlgorithm() override;
};
