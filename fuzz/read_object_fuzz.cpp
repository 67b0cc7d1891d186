// KbReadObject over every class in the registry. The class list is taken
// from the registry itself (sorted by name), so a class is covered as soon
// as its record exists. The first input byte selects a class by position
// and the rest is its record, prefixed here with the class's name; a byte
// beyond the last class means that the rest is a whole stream, name
// included, which fuzzes the name reader as well.
#include "FuzzSupport.h"

namespace {

fuzz::Bytes NamePrefix(const KbRTTI& record) {
  fuzz::Bytes prefix(4);
  std::uint32_t count = 0;
  for (const wchar_t* c = record.GetName(); *c != L'\0'; ++c, ++count) {
    prefix.push_back(static_cast<std::uint8_t>(*c & 0xFF));
    prefix.push_back(static_cast<std::uint8_t>((*c >> 8) & 0xFF));
  }
  for (int i = 0; i < 4; ++i) prefix[i] = static_cast<std::uint8_t>(count >> (8 * i));
  return prefix;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto classes = records::RegisteredClasses();
  if (size == 0) return 0;
  fuzz::Bytes stream;
  if (data[0] < classes.size()) stream = NamePrefix(*classes[data[0]]);
  stream.insert(stream.end(), data + 1, data + size);

  std::unique_ptr<ISerializable> object;
  try {
    KbStreamReadBinaryMemory in(stream);
    object = KbReadObject(in);
  } catch (const KbException&) {
    return 0;
  }
  KbStreamWriteBinaryMemory out;
  KbWriteObject(out, *object);
  try {
    KbStreamReadBinaryMemory back(out.GetBuffer());
    KbReadObject(back);
  } catch (const KbException& error) {
    std::fprintf(stderr, "written object record does not read back: %s\n", error.what());
    std::abort();
  }
  return 0;
}
