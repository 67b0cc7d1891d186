// Helpers shared by the function-object tests: the reference counter of any
// function object, value checks and tolerances.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <limits>

#include "RecordTestSupport.h"
#include "math/functions/IFunction.h"

namespace ko_test {

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
