// Writes the seed corpora of the fuzz targets: a valid record of every
// catalog case and every golden .kut file, each behind the selector byte
// its target expects. Run it again after adding a catalog case:
//   komath_fuzz_seeds <fuzz/corpus> <tests>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "FuzzSupport.h"

namespace {

namespace fs = std::filesystem;

std::string FileName(const std::string& name) {
  std::string file;
  for (char c : name) file.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
  return file;
}

void Write(const fs::path& path, std::uint8_t selector, const fuzz::Bytes& body) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.put(static_cast<char>(selector));
  file.write(reinterpret_cast<const char*>(body.data()), static_cast<std::streamsize>(body.size()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: komath_fuzz_seeds <corpus directory> <tests directory>\n";
    return 2;
  }
  const fs::path corpus = argv[1];
  for (const char* target : {"records", "unit_tests", "read_object"}) {
    fs::remove_all(corpus / target);
    fs::create_directories(corpus / target);
  }
  const auto objects = fuzz::CasesOfKind(records::SRecordCase::eObject);
  for (std::size_t i = 0; i < objects.size(); ++i) {
    Write(corpus / "records" / FileName(objects[i]->name), static_cast<std::uint8_t>(i),
          objects[i]->validRecord());
  }
  const auto algorithms = fuzz::CasesOfKind(records::SRecordCase::eUnitTest);
  for (std::size_t i = 0; i < algorithms.size(); ++i) {
    const auto& entry = *algorithms[i];
    Write(corpus / "unit_tests" / FileName(entry.name), static_cast<std::uint8_t>(i),
          entry.validRecord());
    for (const std::string& golden : records::GoldenUnitTestFiles(argv[2], entry.className)) {
      std::ifstream file(golden, std::ios::binary);
      const fuzz::Bytes bytes{std::istreambuf_iterator<char>(file), {}};
      Write(corpus / "unit_tests" / fs::path(golden).filename(), static_cast<std::uint8_t>(i),
            bytes);
    }
  }
  // Registered classes by position, and the same records as whole streams
  // (selector 0xFF), which stay valid when classes are added.
  const auto classes = records::RegisteredClasses();
  for (std::size_t i = 0; i < classes.size(); ++i) {
    std::string name;
    for (const wchar_t* c = classes[i]->GetName(); *c != L'\0'; ++c) name.push_back(char(*c));
    const auto entry = std::find_if(objects.begin(), objects.end(),
                                    [&](const auto* object) { return object->name == name; });
    if (entry == objects.end()) continue;
    const fuzz::Bytes record = (*entry)->validRecord();
    Write(corpus / "read_object" / FileName(name), static_cast<std::uint8_t>(i), record);
    fuzz::Bytes stream{static_cast<std::uint8_t>(name.size()), 0, 0, 0};
    for (char c : name) stream.insert(stream.end(), {static_cast<std::uint8_t>(c), 0});
    stream.insert(stream.end(), record.begin(), record.end());
    Write(corpus / "read_object" / (FileName(name) + "_stream"), 0xFF, stream);
  }
  std::cout << "seeds written to " << corpus << "\n";
  return 0;
}
