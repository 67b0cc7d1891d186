#include "Output.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "Commands.h"
#include "Errors.h"

namespace komath {
namespace {

template <class T>
std::string FormatShortest(T value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

nlohmann::json NonFinite(double value) {
  if (std::isnan(value)) return "nan";
  return value > 0 ? "inf" : "-inf";
}

}  // namespace

std::string Format(float value) {
  return FormatShortest(value);
}
std::string Format(double value) {
  return FormatShortest(value);
}

nlohmann::json Json(float value) {
  if (!std::isfinite(value)) return NonFinite(value);
  // The double nearest to the float's shortest text prints as that text.
  const std::string text = Format(value);
  double widened = 0;
  std::from_chars(text.data(), text.data() + text.size(), widened);
  return widened;
}

nlohmann::json Json(double value) {
  if (!std::isfinite(value)) return NonFinite(value);
  return value;
}

std::string TextTable::Render(const std::string& indent) const {
  std::vector<std::size_t> widths;
  for (const auto& row : m_rows) {
    if (widths.size() < row.size()) widths.resize(row.size(), 0);
    for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  }
  std::string text;
  for (const auto& row : m_rows) {
    std::string line = indent;
    for (std::size_t c = 0; c < row.size(); ++c) {
      const std::size_t pad = widths[c] - row[c].size();
      if (c == 0) {
        line += row[c];
        if (row.size() > 1) line.append(pad, ' ');
      } else {
        line.append(pad + 2, ' ');
        line += row[c];
      }
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    text += line;
    text += '\n';
  }
  return text;
}

void WriteOutputFile(const std::string& path, const std::string& content) {
  if (path == "-") {
    std::fwrite(content.data(), 1, content.size(), stdout);
    std::fflush(stdout);
    return;
  }
  std::filesystem::path target(path);
  std::string pattern =
      (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) {
    throw InputError(path, 0, std::string("cannot write: ") + std::strerror(errno));
  }
  // errno of the first failure; 0 while everything succeeds.
  int error = 0;
  const char* data = content.data();
  std::size_t left = content.size();
  while (left > 0 && error == 0) {
    const ssize_t written = ::write(fd, data, left);
    if (written < 0) {
      if (errno != EINTR) error = errno;
      continue;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  // A plain new file's mode, not mkstemp's 0600 (the umask still applies).
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd, 0666 & ~mask);
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && std::rename(pattern.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    std::remove(pattern.c_str());
    throw InputError(path, 0, std::string("cannot write: ") + std::strerror(error));
  }
}

void AddJsonFlag(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "print the result as a JSON document");
}

void Emit(const std::string& text, const nlohmann::json& json, bool asJson) {
  const std::string out = asJson ? json.dump(2) + "\n" : text;
  std::fwrite(out.data(), 1, out.size(), stdout);
}

}  // namespace komath
