// The text reader of the komath tool (apps/komath/Reader.cpp) on arbitrary
// bytes. The first byte is ignored (the corpus keeps one), the rest is the
// file. A run is clean when reading ends or throws InputError; besides
// crashes and sanitizer reports, a finding is a value that is not finite, a
// line number that does not advance, or a line whose values, printed
// shortest and read again, do not come back bit for bit.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "Errors.h"
#include "Reader.h"

namespace {

// The lines of `size` > 0 bytes (fmemopen refuses an empty buffer on some C
// libraries), or nothing when the reader rejects them.
std::optional<std::vector<std::vector<double>>> ReadAll(const char* data, std::size_t size) {
  std::vector<std::vector<double>> lines;
  std::vector<char> copy(data, data + size);
  std::FILE* stream = ::fmemopen(copy.data(), size, "rb");
  if (stream == nullptr) std::abort();
  try {
    komath::NumberReader reader(stream, "fuzz");
    std::uint64_t line = 0;
    while (reader.Next()) {
      if (reader.Line() <= line) std::abort();
      line = reader.Line();
      for (double v : reader.Values()) {
        if (!std::isfinite(v)) std::abort();
      }
      lines.emplace_back(reader.Values().begin(), reader.Values().end());
    }
  } catch (const komath::InputError&) {
    std::fclose(stream);
    return std::nullopt;
  }
  std::fclose(stream);
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const auto read = ReadAll(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (!read || read->empty()) return 0;
  const auto& lines = *read;
  // The values as the tool prints them (shortest text), one line each, read
  // again.
  std::string text;
  for (const auto& values : lines) {
    for (double v : values) {
      char digits[64];
      text.append(digits, std::to_chars(digits, digits + sizeof digits, v).ptr);
      text += ' ';
    }
    text += '\n';
  }
  const auto reread = ReadAll(text.data(), text.size());
  if (!reread) std::abort();
  const auto& again = *reread;
  if (again.size() != lines.size()) std::abort();
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (again[i].size() != lines[i].size()) std::abort();
    for (std::size_t j = 0; j < lines[i].size(); ++j) {
      if (std::memcmp(&again[i][j], &lines[i][j], sizeof(double)) != 0) std::abort();
    }
  }
  return 0;
}
