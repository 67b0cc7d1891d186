#include "base/KbArrayRecord.h"

#include <string>

#include "base/KbException.h"

void KbWriteArrayHeader(KbStreamWriteBinary& stream, std::uint32_t count,
                        std::uint32_t elementSize) {
  stream.WriteUInt32(c_uiArrayRecordMarker);
  stream.WriteVersion(c_uiArrayRecordVersion);
  stream.WriteUInt32(count);
  stream.WriteUInt32(elementSize);
}

KbArrayHeader KbReadArrayHeader(KbStreamReadBinary& stream) {
  KbArrayHeader header{};
  header.count = stream.ReadUInt32();
  if (header.count == c_uiArrayRecordMarker) {
    stream.ReadAndCompareVersion(c_uiArrayRecordVersion);
    header.count = stream.ReadUInt32();
  }
  header.elementSize = stream.ReadUInt32();
  if (header.count == c_uiArrayRecordMarker) {
    throw KbExceptionWrongFileVersion(c_uiArrayRecordVersion, header.count,
                                      "corrupt array record: count is the marker value");
  }
  return header;
}

void KbRequireElementSize(const KbArrayHeader& header, std::uint32_t expected) {
  if (header.elementSize != expected) {
    throw KbExceptionWrongFileVersion(expected, header.elementSize,
                                      "array record of element size " +
                                          std::to_string(header.elementSize) + ", expected " +
                                          std::to_string(expected));
  }
}
