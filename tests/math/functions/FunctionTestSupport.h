// Helpers shared by the function-object tests: expected record bytes, the
// reference counter of any function object, and tolerances.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <vector>

#include "base/ISerializable.h"
#include "base/KbStreamBinaryMemory.h"
#include "math/functions/IFunction.h"

namespace ko_test {

using Bytes = std::vector<std::uint8_t>;

// The bytes a record should have, one element per argument: its type
// decides the width (std::uint32_t for versions and counts, float, double,
// std::uint8_t for a bool). Little-endian like the streams (and the hosts).
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

template <class Serializable>
Bytes Write(const Serializable& object) {
  KbStreamWriteBinaryMemory out;
  object.Serialize(out);
  return out.GetBuffer();
}

// Through the registry by class name and back: the same class, every byte
// consumed, the same record.
inline void ExpectObjectRoundTrip(const ISerializable& object) {
  KbStreamWriteBinaryMemory out;
  KbWriteObject(out, object);
  KbStreamReadBinaryMemory in(out.GetBuffer());
  const std::unique_ptr<ISerializable> copy = KbReadObject(in);
  EXPECT_EQ(in.GetRemainingBytes(), 0u);
  EXPECT_EQ(&copy->GetRTTI(), &object.GetRTTI());
  EXPECT_EQ(Write(*copy), Write(object));
}

// The protected counter of any function object, reached through a member
// pointer named in a derived class (the counter has no public accessor).
template <class In, class Out>
struct CounterOf : IFunction<In, Out> {
  static KbReferenceCounter<unsigned int>& Get(const IFunction<In, Out>& f) {
    auto accessor = &CounterOf::getReferenceCounter;
    return const_cast<KbReferenceCounter<unsigned int>&>((f.*accessor)());
  }
};

// Expects f(x) == y exactly for every pair {x, y}.
template <class T, class F>
void ExpectValues(const F& f, std::initializer_list<std::array<T, 2>> cases) {
  for (const auto& [x, y] : cases) EXPECT_EQ(f(x), y) << "at x = " << x;
}

template <class T>
constexpr T c_eps = std::numeric_limits<T>::epsilon();

}  // namespace ko_test
