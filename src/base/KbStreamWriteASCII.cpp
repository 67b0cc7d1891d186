#include "base/KbStreamWriteASCII.h"

#include <charconv>
#include <cmath>

namespace {

// Shortest round-trip text of a number, widened character by character
// (the text is plain ASCII).
template <class C, class N>
std::basic_string<C> NumberText(N value) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
  return std::basic_string<C>(buffer, result.ptr);
}

}  // namespace

template <class C>
KbStreamWriteASCIIT<C>::~KbStreamWriteASCIIT() = default;

template <class C>
void KbStreamWriteASCIIT<C>::WriteFloat(float value) {
  WriteString(NumberText<C>(value));
}

template <class C>
void KbStreamWriteASCIIT<C>::WriteDouble(double value) {
  WriteString(NumberText<C>(value));
}

template <class C>
void KbStreamWriteASCIIT<C>::WriteInt(std::int64_t value) {
  WriteString(NumberText<C>(value));
}

template <class C>
void KbStreamWriteASCIIT<C>::WriteUInt(std::uint64_t value) {
  WriteString(NumberText<C>(value));
}

template <class C>
KbStreamWriteASCIIStringT<C>::~KbStreamWriteASCIIStringT() = default;

template <class C>
void KbStreamWriteASCIIStringT<C>::WriteString(const C* text) {
  m_text += text;
}

template class KbStreamWriteASCIIT<wchar_t>;
template class KbStreamWriteASCIIStringT<wchar_t>;
