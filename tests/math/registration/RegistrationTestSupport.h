// Helpers shared by the registration tests: expected record bytes, records
// through memory streams, an observer that counts, random rotations.
#pragma once

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "base/KbMatrix4R.h"
#include "base/KbStreamBinaryMemory.h"
#include "base/KoObservable.h"

namespace ko_test {

using Bytes = std::vector<std::uint8_t>;

// Record bytes by hand, one call per element, its type deciding the width
// (std::uint32_t for versions, float, std::uint8_t for a bool).
struct Packer {
  Bytes bytes;
  template <class V>
  Packer& operator()(V value) {
    const auto* raw = reinterpret_cast<const std::uint8_t*>(&value);
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

// Counts the messages; fails on any other than eChanged with a null payload.
struct CountingObserver : IObserver {
  int count = 0;
  void OnNotify(KoObservable&, KoObservableMessage::EMessageType type, void* data) override {
    ++count;
    EXPECT_EQ(type, KoObservableMessage::eChanged);
    EXPECT_EQ(data, nullptr);
  }
};

// A uniformly random proper rotation in row-vector form (the transpose of
// Eigen's column-vector matrix), fourth row and column as in the identity.
inline KbMatrix4Rf RandomRotation(std::mt19937& random) {
  std::normal_distribution<double> normal;
  const double w = normal(random), x = normal(random), y = normal(random), z = normal(random);
  const Eigen::Matrix3d r = Eigen::Quaterniond(w, x, y, z).normalized().toRotationMatrix();
  KbMatrix4Rf m;
  for (unsigned int i = 0; i < 3; ++i) {
    for (unsigned int j = 0; j < 3; ++j) m(i, j) = float(r(j, i));
  }
  return m;
}

}  // namespace ko_test
