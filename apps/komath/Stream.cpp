#include "Stream.h"

#include <utility>

#include "Output.h"

namespace komath {

void StreamWriter::Write(std::string_view text) {
  WriteStandardOutput(text);
}

void StreamWriter::Member(const std::string& key, const nlohmann::json& value, bool last) {
  // dump(2) of the value alone, indented one more level after its first line.
  std::string text;
  for (const char c : value.dump(2)) {
    text += c;
    if (c == '\n') text += "  ";
  }
  Write("  " + nlohmann::json(key).dump() + ": " + text + (last ? "\n" : ",\n"));
}

void StreamWriter::ArrayMember(const std::string& key, std::span<const double> values, bool last) {
  Write("  " + nlohmann::json(key).dump() + ": [");
  for (std::size_t i = 0; i < values.size(); ++i) {
    Write(i == 0 ? "\n    " : ",\n    ");
    Write(Format(values[i]));  // shortest round-trip text, valid JSON for finite values
  }
  Write(values.empty() ? "]" : "\n  ]");
  Write(last ? "\n" : ",\n");
}

void StreamedTable::Add(std::vector<std::string> row) {
  m_block.Add(std::move(row));
  if (++m_count % c_rows == 0) Finish();
}

void StreamedTable::Finish() {
  m_out.Write(m_block.Render(m_indent));
  m_block = TextTable();
}

void Column::PushBack(double value) {
  if (m_chunks.empty() || m_chunks.back().size() == c_chunk) {
    m_chunks.emplace_back();
    m_chunks.back().reserve(c_chunk);  // untouched pages cost no memory yet
  }
  m_chunks.back().push_back(value);
  ++m_size;
}

std::vector<double> Column::Drain() && {
  std::vector<double> out;
  out.reserve(m_size);
  for (std::vector<double>& chunk : m_chunks) {
    // Taken out of the column, so that it is released once copied.
    const std::vector<double> taken = std::exchange(chunk, {});
    out.insert(out.end(), taken.begin(), taken.end());
  }
  return out;
}

}  // namespace komath
