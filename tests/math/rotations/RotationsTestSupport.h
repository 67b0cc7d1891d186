// Helpers shared by the rotation, frame and generator tests: record bytes
// through memory streams and float distances in units in the last place.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "base/KbStreamBinaryMemory.h"
#include "base/KbVector.h"

namespace ko_test {

using Bytes = std::vector<std::uint8_t>;

// Little-endian bytes of the given values, each with the width of its type.
template <class... V>
Bytes Pack(V... values) {
  Bytes bytes;
  auto append = [&bytes](auto value) {
    std::uint8_t raw[sizeof(value)];
    std::memcpy(raw, &value, sizeof(value));
    bytes.insert(bytes.end(), raw, raw + sizeof(value));
  };
  (append(values), ...);
  return bytes;
}

template <class T>
Bytes Write(const T& object) {
  KbStreamWriteBinaryMemory out;
  object.Serialize(out);
  return out.GetBuffer();
}

template <class T>
void Read(T& object, const Bytes& bytes) {
  KbStreamReadBinaryMemory in(bytes);
  object.Serialize(in);
}

// Distance of two finite floats in representable steps (0 for 0 and -0).
inline std::int64_t Ulps(float a, float b) {
  auto ordered = [](float f) {
    std::int32_t i;
    std::memcpy(&i, &f, sizeof i);
    return i < 0 ? std::int64_t{INT32_MIN} - i : std::int64_t{i};
  };
  const std::int64_t d = ordered(a) - ordered(b);
  return d < 0 ? -d : d;
}

// Component-wise closeness: within `ulps` steps or `absolute` (for results
// that should be 0, where steps are meaningless).
inline bool Near(const KbVector3f& a, const KbVector3f& b, std::int64_t ulps, float absolute) {
  for (unsigned int i = 0; i < 3; ++i) {
    if (Ulps(a[i], b[i]) > ulps && std::fabs(a[i] - b[i]) > absolute) return false;
  }
  return true;
}

}  // namespace ko_test
