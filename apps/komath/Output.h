// Number text, aligned tables, JSON values and output files of komath.
//
// Every number is printed as the shortest text that reads back to the same
// float or double (std::to_chars without a precision), so a printed result
// pasted into another komath run, or parsed by any correct reader, gives
// the library's value bit for bit. JSON output holds the same decimal text:
// a float goes into the document as the double nearest to its shortest
// text, which nlohmann-json prints back as that text.
//
// Results are finite or not printed at all: Json() throws ComputationError
// for NaN and infinities, and every command builds its JSON document (text
// or not) before it prints anything, so a non-finite result fails the run
// with nothing written. Format() prints them ("nan", "inf") for messages.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace komath {

std::string Format(float value);
std::string Format(double value);

// Throw ComputationError for a value that is not finite.
nlohmann::json Json(float value);
nlohmann::json Json(double value);
template <class T>
nlohmann::json JsonArray(std::span<const T> values) {
  nlohmann::json array = nlohmann::json::array();
  for (const T& v : values) array.push_back(Json(v));
  return array;
}

// Text of a table: cells right-aligned per column, each row indented.
class TextTable {
 public:
  void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }
  template <class T>
  void AddNumbers(std::string label, std::span<const T> values) {
    std::vector<std::string> row{std::move(label)};
    for (const T& v : values) row.push_back(Format(v));
    m_rows.push_back(std::move(row));
  }
  // Column 0 is left-aligned (labels), the others right-aligned.
  std::string Render(const std::string& indent) const;

 private:
  std::vector<std::vector<std::string>> m_rows;
};

// Writes `content` to `path` as a whole or not at all: the text goes to a
// temporary file beside the target, which is renamed over it only once
// everything is written. Only regular files are written: a path that exists
// as anything else (a directory, a device, a FIFO, a socket) is refused, and
// so is a symbolic link, whatever it points to, because the rename would
// replace the link itself ("-" is only a file of that name: the command line
// refuses it, see AddOutputFileOption). Throws InputError
// naming the path when the path is refused or the write fails (nothing is
// left behind then), UsageError for an empty path.
void WriteOutputFile(const std::string& path, const std::string& content);

// Standard output with its errors reported: WriteStandardOutput throws
// InputError ("<stdout>: cannot write: ...") when a write fails (a full
// disk, /dev/full, a closed pipe's EPIPE); stdio reports a failure of its
// own buffer's flush there too, at most one buffer late. FinishStandardOutput
// flushes and closes the stream at the end of a run, so that a failure of the
// very last write is caught too; nothing may write to standard output after
// it.
void WriteStandardOutput(std::string_view text);
void FinishStandardOutput();

}  // namespace komath
