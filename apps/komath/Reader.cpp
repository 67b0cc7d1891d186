#include "Reader.h"

#include <atomic>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

namespace komath {
namespace {

constexpr std::size_t kBlockSize = std::size_t(1) << 20;
// A line longer than this is not a line of numbers; refusing it bounds the
// memory a binary or corrupt file can make the reader take.
constexpr std::size_t kMaxLineLength = std::size_t(64) << 20;

constexpr bool IsSeparator(char c) {
  return c == ' ' || c == '\t' || c == ',' || c == '\r' || c == '\v' || c == '\f';
}

// Set by the first reader of standard input in this process.
std::atomic<bool> g_standardInputTaken{false};

std::string Quote(const char* begin, const char* end) {
  constexpr std::size_t kShown = 40;
  // Messages stay printable ASCII: control bytes become '?', and bytes of
  // other characters are spelled out (\xEF), so that an invisible one (a
  // byte-order mark, a no-break space) shows.
  std::string text;
  for (const char* p = begin; p != end && p != begin + kShown; ++p) {
    const auto byte = static_cast<unsigned char>(*p);
    if (byte >= 0x80) {
      static constexpr char kHex[] = "0123456789ABCDEF";
      text += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
    } else {
      text += std::iscntrl(byte) ? '?' : *p;
    }
  }
  if (std::size_t(end - begin) > kShown) text += "...";
  return "'" + text + "'";
}

}  // namespace

NumberReader::NumberReader(const std::string& path)
    : m_name(path == "-" ? "<stdin>" : path), m_buffer(kBlockSize) {
  if (path == "-") {
    if (g_standardInputTaken.exchange(true)) {
      throw UsageError("standard input ('-') is named twice: it can be read only once");
    }
    m_file = stdin;
  } else {
    m_file = std::fopen(path.c_str(), "rb");
    if (m_file == nullptr) {
      throw InputError(m_name, 0, std::string("cannot open: ") + std::strerror(errno));
    }
    m_ownsFile = true;
  }
  // The reader does its own blocking; stdio's buffer would only add a copy.
  std::setvbuf(m_file, nullptr, _IONBF, 0);
}

NumberReader::NumberReader(std::FILE* stream, std::string name)
    : m_name(std::move(name)), m_file(stream), m_buffer(kBlockSize) {}

NumberReader::~NumberReader() {
  if (m_ownsFile) std::fclose(m_file);
}

void NumberReader::Fail(const std::string& message) const {
  throw InputError(m_name, m_line, message);
}

// Reading on after the end of the input reads nothing: stdio keeps the end
// of a stream once met (a terminal is not asked again).
bool NumberReader::fill() {
  // Keep the unfinished line, moved to the front; grow only when a single
  // line fills the whole buffer.
  const std::size_t pending = m_end - m_begin;
  if (m_begin != 0) {
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, pending);
    m_begin = 0;
    m_end = pending;
  }
  if (m_end == m_buffer.size()) {
    if (m_buffer.size() >= kMaxLineLength) {
      ++m_line;
      Fail("line longer than " + std::to_string(kMaxLineLength >> 20) + " MiB");
    }
    m_buffer.resize(m_buffer.size() * 2);
  }
  const std::size_t got = std::fread(m_buffer.data() + m_end, 1, m_buffer.size() - m_end, m_file);
  if (got == 0) {
    if (std::ferror(m_file)) {
      throw InputError(m_name, 0, std::string("read error: ") + std::strerror(errno));
    }
    return false;
  }
  m_end += got;
  m_bytesRead += got;
  return true;
}

bool NumberReader::Next() {
  if (!m_started) {
    m_started = true;
    constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
    // fread stops short only at the end of the input, so one block holds
    // the first three bytes if the input has them.
    fill();
    if (m_end >= 3 && std::memcmp(m_buffer.data(), kByteOrderMark, 3) == 0) m_begin = 3;
  }
  for (;;) {
    const char* data = m_buffer.data();
    const void* newline = std::memchr(data + m_begin, '\n', m_end - m_begin);
    std::size_t lineEnd;
    std::size_t next;
    if (newline != nullptr) {
      lineEnd = static_cast<const char*>(newline) - data;
      next = lineEnd + 1;
    } else if (fill()) {
      continue;
    } else if (m_begin < m_end) {
      lineEnd = next = m_end;  // last line without a line end
    } else {
      return false;
    }
    ++m_line;
    const std::size_t begin = m_begin;
    m_begin = next;
    bool commentOnly = false;
    parseLine(m_buffer.data() + begin, m_buffer.data() + lineEnd);
    if (m_values.empty()) {
      // Tell a comment line (skipped) from a blank one (kept: it separates
      // shapes).
      for (std::size_t i = begin; i < lineEnd; ++i) {
        if (m_buffer[i] == '#') {
          commentOnly = true;
          break;
        }
      }
    }
    if (!commentOnly) return true;
  }
}

void NumberReader::parseLine(const char* p, const char* end) {
  m_values.clear();
  // Every comma needs a field before it and another after it, before the
  // next comma or the end of the numbers; blanks alone are no field.
  bool fieldOwed = false;
  while (true) {
    for (; p != end && IsSeparator(*p); ++p) {
      if (*p != ',') continue;
      if (fieldOwed || m_values.empty()) {
        Fail("field " + std::to_string(m_values.size() + 1) + " is empty (" +
             (m_values.empty() ? "a comma starts the line" : "two commas in a row") + ")");
      }
      fieldOwed = true;
    }
    if (p == end || *p == '#') {
      if (fieldOwed) {
        Fail("field " + std::to_string(m_values.size() + 1) + " is empty (a comma ends the line)");
      }
      return;
    }
    const char* token = p;
    while (p != end && !IsSeparator(*p) && *p != '#') ++p;
    m_values.push_back(parseField(token, p, m_values.size() + 1));
    fieldOwed = false;
  }
}

double NumberReader::parseField(const char* begin, const char* end, std::size_t field) const {
  const char* p = begin;
  bool negative = false;
  if (*p == '+' || *p == '-') {
    negative = *p == '-';
    ++p;
  }
  double value{};
  std::from_chars_result result{p, std::errc::invalid_argument};
  if (p != end && (*p == '-' || *p == '+')) {
    // A doubled sign; from_chars would take the second one.
  } else if (const std::string_view text(p, std::size_t(end - p));
             text.starts_with("0x") || text.starts_with("0X")) {
    result = std::from_chars(p + 2, end, value, std::chars_format::hex);
  } else {
    result = std::from_chars(p, end, value);
  }
  // The message is built only on failure: this is the reader's hot path.
  const auto fail = [&](const char* problem) {
    Fail("field " + std::to_string(field) + " " + Quote(begin, end) + problem);
  };
  if (result.ec == std::errc::result_out_of_range) {
    fail(" is out of the range of double precision");
  }
  if (result.ec != std::errc() || result.ptr != end) fail(" is not a number");
  if (negative) value = -value;
  if (!std::isfinite(value)) fail(" is not finite (NaN or infinity make no sense here)");
  return value;
}

void CheckColumns(const NumberReader& reader, std::size_t& columns, std::size_t minColumns,
                  std::size_t maxColumns, const char* layout, std::uint64_t& firstLine) {
  const std::size_t width = reader.Values().size();
  if (columns == 0) {
    if (width < minColumns || width > maxColumns) {
      const std::string expected = minColumns == maxColumns ? std::to_string(minColumns)
                                                            : std::to_string(minColumns) + " to " +
                                                                  std::to_string(maxColumns);
      reader.Fail("expected " + expected + " numbers per line (" + layout + "), found " +
                  std::to_string(width));
    }
    columns = width;
    firstLine = reader.Line();
  } else if (width != columns) {
    reader.Fail("this line has " + std::to_string(width) + (width == 1 ? " number" : " numbers") +
                ", line " + std::to_string(firstLine) + " has " + std::to_string(columns));
  }
}

}  // namespace komath
