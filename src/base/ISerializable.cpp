#include "base/ISerializable.h"

#include <array>
#include <string>
#include <vector>

#include "base/KbException.h"

namespace {

// Class names are stored as UTF-16 code units whatever the width of wchar_t.
std::u16string ToUtf16(const wchar_t* text) {
  std::u16string units;
  for (; *text != L'\0'; ++text) {
    auto code = static_cast<char32_t>(*text);
    if (code >= 0x10000) {
      code -= 0x10000;
      units.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    } else {
      units.push_back(static_cast<char16_t>(code));
    }
  }
  return units;
}

std::wstring FromUtf16(const std::u16string& units) {
  std::wstring text;
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t code = units[i];
    // After the last unit units[i + 1] is the string's terminating 0, which
    // is no low surrogate: no bound check is needed.
    const bool pair =
        code >= 0xD800 && code < 0xDC00 && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000;
    if (pair) code = 0x10000 + ((code - 0xD800) << 10) + (units[++i] - 0xDC00);
    text.push_back(static_cast<wchar_t>(code));
  }
  return text;
}

std::string Narrow(const std::wstring& text) {
  std::string narrow;
  for (wchar_t c : text) narrow.push_back(c > 0 && c < 0x80 ? static_cast<char>(c) : '?');
  return narrow;
}

}  // namespace

IObject::~IObject() = default;

const wchar_t* IObject::GetClassNameW() const {
  return GetRTTI().GetName();
}

ISerializable::~ISerializable() = default;

void KbWriteObject(KbStreamWriteBinary& stream, const ISerializable& object) {
  const std::u16string name = ToUtf16(object.GetClassNameW());
  stream.WriteUInt32(static_cast<std::uint32_t>(name.size()));
  for (char16_t unit : name) {
    stream.WriteBuffer(std::array<std::uint8_t, 2>{static_cast<std::uint8_t>(unit & 0xFF),
                                                   static_cast<std::uint8_t>(unit >> 8)}
                           .data(),
                       2);
  }
  object.Serialize(stream);
}

std::unique_ptr<ISerializable> KbReadObject(KbStreamReadBinary& stream) {
  const std::uint32_t count = stream.ReadUInt32();
  stream.EnsureAvailable(count, 2);
  std::u16string units(count, u'\0');
  for (char16_t& unit : units) {
    std::uint8_t bytes[2];
    stream.ReadBuffer(bytes, 2);
    unit = static_cast<char16_t>(bytes[0] | (bytes[1] << 8));
  }
  const std::wstring name = FromUtf16(units);
  const KbRTTI* record = KbRTTI::Find(name.c_str());
  if (record == nullptr) throw KbException("unknown class '" + Narrow(name) + "' in stream");
  if (!record->HasFactory()) {
    throw KbException("class '" + Narrow(name) + "' cannot be created by name");
  }
  std::unique_ptr<IObject> object = record->Create();
  auto* serializable = dynamic_cast<ISerializable*>(object.get());
  if (serializable == nullptr) {
    throw KbException("class '" + Narrow(name) + "' is not serializable");
  }
  object.release();
  std::unique_ptr<ISerializable> result(serializable);
  result->Serialize(stream);
  return result;
}
