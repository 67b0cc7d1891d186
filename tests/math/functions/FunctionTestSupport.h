// Helpers shared by the function-object tests: value checks and tolerances.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <limits>

#include "RecordTestSupport.h"

namespace ko_test {

// Expects f(x) == y exactly for every pair {x, y}.
template <class T, class F>
void ExpectValues(const F& f, std::initializer_list<std::array<T, 2>> cases) {
  for (const auto& [x, y] : cases) EXPECT_EQ(f(x), y) << "at x = " << x;
}

template <class T>
constexpr T c_eps = std::numeric_limits<T>::epsilon();

}  // namespace ko_test
