#include "Output.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

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

[[noreturn]] void NonFinite(double value) {
  throw ComputationError("the computation gave a result that is not finite (" + Format(value) +
                         "): it overflowed or divided by zero at the scale of this input");
}

[[noreturn]] void StandardOutputFailed(int error) {
  throw InputError("<stdout>", 0, std::string("cannot write: ") + std::strerror(error));
}

}  // namespace

std::string Format(float value) {
  return FormatShortest(value);
}
std::string Format(double value) {
  return FormatShortest(value);
}

nlohmann::json Json(float value) {
  if (!std::isfinite(value)) NonFinite(value);
  // The double nearest to the float's shortest text prints as that text.
  const std::string text = Format(value);
  double widened{};
  std::from_chars(text.data(), text.data() + text.size(), widened);
  return widened;
}

nlohmann::json Json(double value) {
  if (!std::isfinite(value)) NonFinite(value);
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
  if (path.empty()) throw UsageError("an output file path is empty");
  // lstat, not stat: a symbolic link is judged as itself. Between this check
  // and the rename another process could put something else at the path; the
  // rename would then replace that entry, never write into a device or FIFO.
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0) {
    if (S_ISLNK(status.st_mode)) {
      throw InputError(path, 0,
                       "is a symbolic link: refused, since writing would replace the link with a "
                       "file (name the link's target instead)");
    }
    if (!S_ISREG(status.st_mode)) {
      throw InputError(
          path, 0,
          S_ISDIR(status.st_mode)
              ? "is a directory: refused (an output file must be a regular file)"
              : "exists and is not a regular file (a device, FIFO or socket): refused");
    }
  } else if (errno != ENOENT) {
    throw InputError(path, 0, std::string("cannot write: ") + std::strerror(errno));
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
    if (written == -1) {
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

void WriteStandardOutput(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) StandardOutputFailed(errno);
}

void FinishStandardOutput() {
  // The command-line library prints help through std::cout, which writes
  // through to stdout; ferror keeps a failure of such an unchecked write.
  std::cout.flush();
  const bool failedBefore = std::ferror(stdout) != 0;
  // fclose flushes first and reports a failed flush as its own.
  if (std::fclose(stdout) != 0) StandardOutputFailed(errno);
  if (failedBefore) StandardOutputFailed(EIO);
}

void AddJsonFlag(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "print the result as a JSON document");
}

CLI::Option* AddOutputFileOption(CLI::App& command, const std::string& name, std::string& path,
                                 const std::string& description) {
  return command.add_option(name, path, description)
      ->check(
          [](const std::string& value) -> std::string {
            if (value.empty()) return "needs a file name, not an empty one";
            if (value == "-") {
              return "cannot be '-': standard output carries the report; name a file instead";
            }
            return {};
          },
          "FILE");
}

void Emit(const std::string& text, const nlohmann::json& json, bool asJson) {
  WriteStandardOutput(asJson ? json.dump(2) + "\n" : text);
}

}  // namespace komath
