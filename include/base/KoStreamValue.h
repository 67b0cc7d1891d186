// Stream elements of records whose fields follow a value type (function
// objects, tables, registration, rotations): one overload per value type.
//
// A float is written as a 32-bit float and a double as a 64-bit double, so
// the float and double forms of a class have records of different lengths.
// A KbVector3f is three floats x, y, z. Readers assign in place; a short
// stream throws KbExceptionEndOfStream from the stream before the target
// changes.
#pragma once

#include "base/KbStreamBinary.h"
#include "base/KbVector.h"

inline void KoWriteValue(KbStreamWriteBinary& stream, float value) {
  stream.WriteFloat(value);
}
inline void KoWriteValue(KbStreamWriteBinary& stream, double value) {
  stream.WriteDouble(value);
}
inline void KoWriteValue(KbStreamWriteBinary& stream, const KbVector3f& value) {
  stream.WriteFloat(value.x);
  stream.WriteFloat(value.y);
  stream.WriteFloat(value.z);
}

inline void KoReadValue(KbStreamReadBinary& stream, float& value) {
  value = stream.ReadFloat();
}
inline void KoReadValue(KbStreamReadBinary& stream, double& value) {
  value = stream.ReadDouble();
}
// The vector is read whole before it is assigned, so a truncated record
// leaves it as it was.
inline void KoReadValue(KbStreamReadBinary& stream, KbVector3f& value) {
  const float x = stream.ReadFloat();
  const float y = stream.ReadFloat();
  const float z = stream.ReadFloat();
  value = KbVector3f(x, y, z);
}

// The value form, for readers that collect a whole record in locals before
// they change anything.
template <class T>
T KoReadValue(KbStreamReadBinary& stream) {
  T value{};
  KoReadValue(stream, value);
  return value;
}
