// Helpers shared by the registration tests: expected record bytes, records
// through memory streams, an observer that counts, random rotations.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "base/KbMatrix4R.h"
#include "base/KbStreamBinaryMemory.h"
#include "base/KoObservable.h"

namespace ko_test {

using Bytes = std::vector<std::uint8_t>;

// The bytes a record should have, one element per argument, its type
// deciding the width (std::uint32_t for versions, float, std::uint8_t for a
// bool). Little-endian like the streams.
struct Packer {
  Bytes bytes;
  template <class V>
  Packer& operator()(V value) {
    std::uint8_t raw[sizeof(V)];
    std::memcpy(raw, &value, sizeof(V));
    bytes.insert(bytes.end(), raw, raw + sizeof(V));
    return *this;
  }
};

template <class Serializable>
Bytes Write(const Serializable& object) {
  KbStreamWriteBinaryMemory out;
  object.Serialize(out);
  return out.GetBuffer();
}

// Counts the messages an observable sends, and remembers the last one.
struct CountingObserver : IObserver {
  int count = 0;
  KoObservableMessage::EMessageType lastType{};
  void* lastData = reinterpret_cast<void*>(1);
  void OnNotify(KoObservable&, KoObservableMessage::EMessageType type, void* data) override {
    ++count;
    lastType = type;
    lastData = data;
  }
};

// A uniformly random proper rotation in row-vector form (fourth row and
// column as in the identity), from a random unit quaternion.
inline KbMatrix4Rf RandomRotation(std::mt19937& random) {
  std::normal_distribution<double> normal;
  double q[4];
  double length = 0;
  for (double& c : q) {
    c = normal(random);
    length += c * c;
  }
  length = std::sqrt(length);
  const double x = q[0] / length, y = q[1] / length, z = q[2] / length, w = q[3] / length;
  // Rows are the images of the axes (row vector times matrix).
  const double r[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y + w * z), 2 * (x * z - w * y)},
                          {2 * (x * y - w * z), 1 - 2 * (x * x + z * z), 2 * (y * z + w * x)},
                          {2 * (x * z + w * y), 2 * (y * z - w * x), 1 - 2 * (x * x + y * y)}};
  KbMatrix4Rf m;
  for (unsigned int i = 0; i < 3; ++i) {
    for (unsigned int j = 0; j < 3; ++j) m(i, j) = float(r[i][j]);
  }
  return m;
}

}  // namespace ko_test
