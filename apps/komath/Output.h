// Number text, aligned tables, JSON values and output files of komath.
//
// Every number is printed as the shortest text that reads back to the same
// float or double (std::to_chars without a precision), so a printed result
// pasted into another komath run, or parsed by any correct reader, gives
// the library's value bit for bit. JSON output holds the same decimal text:
// a float goes into the document as the double nearest to its shortest
// text, which nlohmann-json prints back as that text. JSON has no NaN or
// infinity; those become the strings "nan", "inf" and "-inf".
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

namespace komath {

std::string Format(float value);
std::string Format(double value);

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
// everything is written. Throws InputError when that fails. "-" writes to
// standard output.
void WriteOutputFile(const std::string& path, const std::string& content);

}  // namespace komath
