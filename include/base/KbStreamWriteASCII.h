// Text writers for human-readable dumps.
//
// KbStreamWriteASCIIT<C> is the abstract writer of characters C; the library
// uses it with wchar_t. Numbers are written in the shortest form that reads
// back to the same value ("0.1", "2.5", "1e+30", "nan", "inf").
#pragma once

#include <cstdint>
#include <string>

#include "base/KbExport.h"

template <class C>
class KOBASE_API KbStreamWriteASCIIT {
 public:
  virtual ~KbStreamWriteASCIIT();

  virtual void WriteString(const C* text) = 0;

  void WriteString(const std::basic_string<C>& text) { WriteString(text.c_str()); }
  void WriteFloat(float value);
  void WriteDouble(double value);
  void WriteInt(std::int64_t value);
  void WriteUInt(std::uint64_t value);

  KbStreamWriteASCIIT& operator<<(const C* text) {
    WriteString(text);
    return *this;
  }
  KbStreamWriteASCIIT& operator<<(float value) {
    WriteFloat(value);
    return *this;
  }
  KbStreamWriteASCIIT& operator<<(double value) {
    WriteDouble(value);
    return *this;
  }
};

// Collects the text in a string that the writer holds.
template <class C>
class KOBASE_API KbStreamWriteASCIIStringT : public KbStreamWriteASCIIT<C> {
 public:
  using KbStreamWriteASCIIT<C>::WriteString;
  ~KbStreamWriteASCIIStringT() override;

  void WriteString(const C* text) override;
  const std::basic_string<C>& GetString() const { return m_text; }
  void Clear() { m_text.clear(); }

 private:
  std::basic_string<C> m_text;
};

extern template class KbStreamWriteASCIIT<wchar_t>;
extern template class KbStreamWriteASCIIStringT<wchar_t>;
