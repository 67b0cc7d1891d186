// The header of an array record, shared by KbArray and by the records that
// embed an array of their own (tables, exact numbers).
//
// Current layout: u32 marker 0xFFFFFFFF, version 1, u32 count, u32 element
// size, then the elements. Older records start directly with the count and
// have no marker or version; readers accept both.
#pragma once

#include <cstdint>

#include "base/KbExport.h"
#include "base/KbStreamBinary.h"

inline constexpr std::uint32_t c_uiArrayRecordMarker = 0xFFFFFFFFu;
inline constexpr std::uint32_t c_uiArrayRecordVersion = 1;

struct KbArrayHeader {
  std::uint32_t count;
  std::uint32_t elementSize;
};

// Writes marker, version, count and element size.
KOBASE_API void KbWriteArrayHeader(KbStreamWriteBinary& stream, std::uint32_t count,
                                   std::uint32_t elementSize);

// Reads either layout. A count equal to the marker after the version (a
// record that cannot be told apart from a corrupt one) throws
// KbExceptionWrongFileVersion.
KOBASE_API KbArrayHeader KbReadArrayHeader(KbStreamReadBinary& stream);

// Throws KbExceptionWrongFileVersion unless the stored element size is the
// expected one (a float record read into a double array, for example).
KOBASE_API void KbRequireElementSize(const KbArrayHeader& header, std::uint32_t expected);
