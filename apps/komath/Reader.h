// NumberReader: streams a text file of numbers line by line.
//
// The format every subcommand reads: one record per line, numbers separated
// by blanks, tabs or commas, '#' starts a comment that runs to the end of
// the line, CR-LF line ends are accepted. Runs of blanks count as one
// separator, but a comma ends a field: two commas with nothing but blanks
// between them, or a comma at the start or end of the numbers of a line,
// leave an empty field, which is an error ("0,,2" is not three numbers). A
// UTF-8 byte-order mark at the start of the file is skipped.
// Numbers are decimal (anything std::from_chars accepts, with an optional
// leading '+') or hexadecimal floats with a "0x" prefix ("-0x1.8p+3"), which
// carry a double exactly. NaN and infinities are errors: no command has a
// use for them. The path "-" reads standard input, once per
// process: a second reader of "-" throws UsageError, because standard input
// has been read to its end by then (`komath align - -`).
//
// The file is read in large blocks and parsed in place: memory stays at one
// block (plus the longest line) whatever the file's size, so a file of
// gigabytes is never held twice. Every problem is reported as an InputError
// naming the file, the line and the offending field.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Errors.h"

namespace komath {

class NumberReader {
 public:
  // Opens `path` ("-" is standard input); throws InputError when it cannot,
  // UsageError when "-" was opened before in this process.
  explicit NumberReader(const std::string& path);
  // Reads `stream`, which stays open and owned by the caller (a stream in
  // memory, for instance); `name` is used in messages.
  NumberReader(std::FILE* stream, std::string name);
  ~NumberReader();
  NumberReader(const NumberReader&) = delete;
  NumberReader& operator=(const NumberReader&) = delete;

  // Moves to the next line that holds numbers or nothing at all (a blank
  // line); lines holding only a comment are skipped. False at the end.
  bool Next();
  std::span<const double> Values() const { return m_values; }
  // True for a line of nothing but separators; such lines split the shapes
  // of a multi-shape file and are ignored elsewhere.
  bool IsBlank() const { return m_values.empty(); }
  std::uint64_t Line() const { return m_line; }
  // The name used in messages: the path, or "<stdin>".
  const std::string& Name() const { return m_name; }
  // Total bytes read so far (for throughput reports).
  std::uint64_t BytesRead() const { return m_bytesRead; }
  // Throws InputError for the current line.
  [[noreturn]] void Fail(const std::string& message) const;

 private:
  bool fill();
  void parseLine(const char* begin, const char* end);
  double parseField(const char* begin, const char* end, std::size_t field) const;

  std::string m_name;
  std::FILE* m_file = nullptr;
  bool m_ownsFile = false;
  bool m_started = false;  // the byte-order mark check is done
  std::vector<char> m_buffer;
  std::size_t m_begin = 0;  // first unparsed byte of the buffer
  std::size_t m_end = 0;    // one past the last valid byte
  std::uint64_t m_line = 0;
  std::uint64_t m_bytesRead = 0;
  std::vector<double> m_values;
};

// Reads the rest of `reader` as a table: every non-blank line must have the
// same number of fields, between minColumns and maxColumns (`layout` names
// the expected columns in messages, e.g. "x y [sigma]"). Calls
// row(values) for each line and returns the column count; an input without
// a single number is an error ("empty").
template <class RowFunction>
std::size_t ReadTable(NumberReader& reader, std::size_t minColumns, std::size_t maxColumns,
                      const char* layout, RowFunction&& row);

// Checks one line's width against the table's so far (0: first line).
void CheckColumns(const NumberReader& reader, std::size_t& columns, std::size_t minColumns,
                  std::size_t maxColumns, const char* layout, std::uint64_t& firstLine);

template <class RowFunction>
std::size_t ReadTable(NumberReader& reader, std::size_t minColumns, std::size_t maxColumns,
                      const char* layout, RowFunction&& row) {
  std::size_t columns = 0;
  std::uint64_t firstLine{};
  while (reader.Next()) {
    if (reader.IsBlank()) continue;
    CheckColumns(reader, columns, minColumns, maxColumns, layout, firstLine);
    row(reader.Values());
  }
  if (columns == 0) {
    throw InputError(reader.Name(), 0, "no numbers in the input (empty file?)");
  }
  return columns;
}

}  // namespace komath
