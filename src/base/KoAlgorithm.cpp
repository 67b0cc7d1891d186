#include "base/KoAlgorithm.h"

#include <string>

#include "base/KbException.h"
#include "base/KbStreamBinaryFile.h"
#include "base/KbStreamBinaryMemory.h"

namespace {

constexpr std::uint32_t c_uiAlgorithmRecordVersion = 1;

std::string NarrowName(const wchar_t* name) {
  std::string narrow;
  for (; *name != L'\0'; ++name) narrow.push_back(*name < 0x80 ? static_cast<char>(*name) : '?');
  return narrow;
}

}  // namespace

IExtensionInterface::~IExtensionInterface() = default;
IReferenceCounted::~IReferenceCounted() = default;
IExtendable::~IExtendable() = default;

const IExtensionInterface* IExtendable::GetExtension(const char*, bool) const {
  return nullptr;
}
IExtensionInterface* IExtendable::GetExtension(const char*, bool) {
  return nullptr;
}
const KbReferenceCounter<unsigned int>& IExtendable::getReferenceCounter() const {
  return m_referenceCounter;
}

const KbRTTI KoAlgorithm::RTTI(L"KoAlgorithm", nullptr);
const KbRTTI KoMpAlgorithm::RTTI(L"KoMpAlgorithm", KoAlgorithm::RTTI, nullptr);
const KbRTTI KoFtAlgorithm::RTTI(L"KoFtAlgorithm", KoAlgorithm::RTTI, nullptr);

KoAlgorithm::KoAlgorithm() = default;
KoAlgorithm::~KoAlgorithm() = default;
KoMpAlgorithm::~KoMpAlgorithm() = default;
KoFtAlgorithm::~KoFtAlgorithm() = default;

bool KoAlgorithm::Compute(EComputeFlags) {
  m_calculated = false;
  if (!checkPreConditionsInit()) return false;
  init();
  if (!checkPostConditionsInit()) return false;
  if (!checkPreConditions()) return false;
  compute();
  if (!checkPostConditions()) return false;
  m_calculated = true;
  return true;
}

bool KoAlgorithm::CreateUnitTest(unsigned int number) {
  // The input is recorded before Compute: an algorithm that works in place
  // (the array convolution) replaces its input by the result. Writing
  // needs the inputs set, which the pre-conditions check first.
  if (!checkPreConditions()) return false;
  KbStreamWriteBinaryMemory input;
  serializeUnitTestInput(input);
  if (!Compute(eComputeDefault)) return false;
  KbStreamWriteBinaryFile file(GetUnitTestPath(number).string());
  file.WriteBuffer(input.GetBuffer().data(), input.GetBuffer().size());
  serializeUnitTestOutput(file);
  file.Close();
  return true;
}

bool KoAlgorithm::checkPreConditionsInit() const {
  return true;
}
void KoAlgorithm::init() {}
bool KoAlgorithm::checkPostConditionsInit() const {
  return true;
}
bool KoAlgorithm::checkPostConditions() const {
  return true;
}
void KoAlgorithm::onReadOldFlags(std::uint32_t) {}
bool KoAlgorithm::compareUnitTestResult() const {
  return false;
}

void KoAlgorithm::serializeUnitTestInput(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiAlgorithmRecordVersion);
}

void KoAlgorithm::serializeUnitTestInput(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiAlgorithmRecordVersion);
}

void KoAlgorithm::serializeUnitTestOutput(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiAlgorithmRecordVersion);
}

void KoAlgorithm::serializeUnitTestOutput(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiAlgorithmRecordVersion);
}

KoUnitTest::EResult KoAlgorithm::runUnitTest() {
  KbStreamReadBinary& stream = *getUnitTestStream();
  serializeUnitTestInput(stream);
  // A failing Compute is not an error by itself: the stored output may
  // record that the inputs were rejected, and the comparison decides.
  Compute(eComputeDefault);
  serializeUnitTestOutput(stream);
  return compareUnitTestResult() ? ePassed : eFailed;
}

void KoAlgorithm::releaseUnitTestInput() {}
void KoAlgorithm::releaseUnitTestOutput() {}

bool KoAlgorithm::recreate(KbStreamWriteBinary& out) {
  serializeUnitTestInput(*getUnitTestStream());
  Compute(eComputeDefault);
  serializeUnitTestInput(out);
  serializeUnitTestOutput(out);
  return true;
}

void KoAlgorithm::checkOutputData() const {
  if (!m_calculated) {
    throw KbException(NarrowName(GetClassNameW()) + ": results read before a successful Compute");
  }
}
