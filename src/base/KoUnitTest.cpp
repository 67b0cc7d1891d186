#include "base/KoUnitTest.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "base/KbException.h"
#include "base/KbStreamBinaryFile.h"
#include "base/KbStreamBinaryMemory.h"

namespace {

constexpr std::wstring_view c_kutExtension = L".kut";
// GetUnitTestPath writes the number with at least four digits, and up to
// ten for the largest unsigned 32-bit number.
constexpr std::size_t c_minNumberDigits = 4;
constexpr std::size_t c_maxNumberDigits = 10;

std::filesystem::path DefaultDirectory() {
  const char* fromEnvironment = std::getenv("KOMATH_UNITTEST_DIR");
  return fromEnvironment != nullptr && *fromEnvironment != '\0' ? fromEnvironment : "unittests";
}

// The number of "<prefix>NNNN.kut" (four to ten digits), or nothing for
// another name.
std::optional<std::uint64_t> UnitTestFileNumber(const std::wstring& name,
                                                const std::wstring& prefix) {
  if (name.size() < prefix.size() + c_minNumberDigits + c_kutExtension.size()) return {};
  const std::size_t digits = name.size() - prefix.size() - c_kutExtension.size();
  if (digits > c_maxNumberDigits) return {};
  if (name.compare(0, prefix.size(), prefix) != 0) return {};
  if (name.compare(name.size() - c_kutExtension.size(), c_kutExtension.size(), c_kutExtension) !=
      0) {
    return {};
  }
  std::uint64_t number = 0;
  for (std::size_t i = prefix.size(); i < prefix.size() + digits; ++i) {
    if (name[i] < L'0' || name[i] > L'9') return {};
    number = 10 * number + static_cast<std::uint64_t>(name[i] - L'0');
  }
  return number;
}

std::vector<std::uint8_t> ReadWholeFile(const std::filesystem::path& path) {
  KbStreamReadBinaryFile file(path.string());
  std::vector<std::uint8_t> bytes(file.GetRemainingBytes());
  file.ReadBuffer(bytes.data(), bytes.size());
  return bytes;
}

void WriteWholeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
  KbStreamWriteBinaryFile file(path.string());
  file.WriteBuffer(bytes.data(), bytes.size());
  file.Close();
}

}  // namespace

KoUnitTest::~KoUnitTest() = default;

void KoUnitTest::PreallocateStaticData() {}

KoUnitTestFileBased::KoUnitTestFileBased() : m_directory(DefaultDirectory()) {}

KoUnitTestFileBased::~KoUnitTestFileBased() = default;

void KoUnitTestFileBased::SetUnitTestDirectory(std::filesystem::path directory) {
  m_directory = std::move(directory);
  m_files.clear();
}

// The number as "%04u" would write it: zeros in front up to four digits.
std::filesystem::path KoUnitTestFileBased::GetUnitTestPath(unsigned int number) const {
  const std::wstring digits = std::to_wstring(number);
  const std::wstring zeros(c_minNumberDigits - std::min(digits.size(), c_minNumberDigits), L'0');
  return m_directory / (std::wstring(GetClassNameW()) + L"_" + zeros + digits + L".kut");
}

void KoUnitTestFileBased::initSubtests() {
  m_files.clear();
  std::error_code error;
  const std::wstring prefix = std::wstring(GetClassNameW()) + L"_";
  // Sorted by number, so that file 10000 follows file 9999 (by name it
  // would come first); equal numbers ("0007" and "00007") by name.
  std::vector<std::pair<std::uint64_t, std::filesystem::path>> found;
  for (const auto& entry : std::filesystem::directory_iterator(m_directory, error)) {
    if (!entry.is_regular_file()) continue;
    if (const auto number = UnitTestFileNumber(entry.path().filename().wstring(), prefix)) {
      found.emplace_back(*number, entry.path());
    }
  }
  std::sort(found.begin(), found.end());
  for (auto& file : found) m_files.push_back(std::move(file.second));
}

unsigned int KoUnitTestFileBased::getSubtestCount() const {
  return static_cast<unsigned int>(m_files.size());
}

std::wstring KoUnitTestFileBased::getSubtestName(unsigned int index) const {
  return index < m_files.size() ? m_files[index].filename().wstring() : std::wstring();
}

// An index out of range is an error like a file that cannot be read (at()
// throws std::out_of_range).
KoUnitTest::EResult KoUnitTestFileBased::runUnitTest(unsigned int index) {
  try {
    const std::unique_ptr<KbStreamReadBinary> stream = createStream(m_files.at(index).wstring());
    return withUnitTestStream(*stream, [this] { return runUnitTest(); });
  } catch (const std::exception&) {
    return eError;
  }
}

std::unique_ptr<KbStreamReadBinary> KoUnitTestFileBased::createStream(const std::wstring& path) {
  return std::make_unique<KbStreamReadBinaryFile>(std::filesystem::path(path).string());
}

std::wstring KoUnitTestFileBased::getPattern() const {
  return std::wstring(GetClassNameW()) + L"_*.kut";
}

unsigned int KoUnitTestFileBased::getSubtestsBaseIndex() const {
  return 0;
}

IUnitTestRecreate::~IUnitTestRecreate() = default;

KoUnitTestFileBasedRecreate::~KoUnitTestFileBasedRecreate() = default;

bool KoUnitTestFileBasedRecreate::CanRecreate(unsigned int index) const {
  return index < getSubtestCount();
}

bool KoUnitTestFileBasedRecreate::Recreate(unsigned int index) {
  if (!CanRecreate(index)) return false;
  const std::filesystem::path path = getSubtestFiles()[index];
  // The whole file is read first: the output replaces it in place.
  KbStreamReadBinaryMemory in(ReadWholeFile(path));
  KbStreamWriteBinaryMemory out;
  if (!withUnitTestStream(in, [&] { return recreate(out); })) return false;
  WriteWholeFile(path, out.GetBuffer());
  return true;
}
