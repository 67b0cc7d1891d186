// StreamWriter: standard output written as it is produced, for the
// commands whose output grows with their input (fit, smooth, rng), so that
// the text is never held whole; stdio's buffer batches the small writes.
// Write errors (a full disk, a closed pipe) are thrown as InputError naming
// standard output, at the latest when the run closes standard output
// (FinishStandardOutput).
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Output.h"

namespace komath {

class StreamWriter {
 public:
  void Write(std::string_view text);

  // JSON pieces in the layout of nlohmann-json's dump(2): "key": value
  // members of an object at indentation level 1, and an array of doubles
  // streamed one element per line.
  void Member(const std::string& key, const nlohmann::json& value, bool last = false);
  void ArrayMember(const std::string& key, std::span<const double> values, bool last = false);
};

// A TextTable written to standard output c_rows rows at a time: the columns
// align within a block, and a table as long as the input is never held
// whole. Finish writes the last, partial block.
class StreamedTable {
 public:
  static constexpr std::size_t c_rows = 4096;
  explicit StreamedTable(std::string indent) : m_indent(std::move(indent)) {}
  void Add(std::vector<std::string> row);
  void Finish();

 private:
  StreamWriter m_out;
  std::string m_indent;
  TextTable m_block;
  std::size_t m_count = 0;
};

// A column of numbers read from a file of unknown length: it grows in
// chunks of c_chunk values, never copying what it holds (a growing vector
// would hold its old and new copies at once), and Drain turns it into one
// contiguous vector for the API, releasing each chunk once copied. The
// vector's pages are touched only as they are filled, so the peak stays
// near one copy of the column plus one chunk.
class Column {
 public:
  void PushBack(double value);
  std::size_t Size() const { return m_size; }
  // Consumes the column: std::move(column).Drain().
  std::vector<double> Drain() &&;

 private:
  static constexpr std::size_t c_chunk = std::size_t(1) << 20;  // 8 MiB, mapped on its own
  std::vector<std::vector<double>> m_chunks;
  std::size_t m_size = 0;
};

}  // namespace komath
