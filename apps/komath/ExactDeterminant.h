// Exact determinants of double matrices (shared by the komath tool and the
// Python package).
//
// A double is an integer times a power of two, so the determinant of an
// n x n double matrix is exactly an integer times 2^k. DetExact finds that
// integer in polynomial time and checks its sign against the library's exact
// sign; DetSign is the library's exact sign alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace komath {

struct ExactDeterminant {
  int sign = 0;                 // -1, 0 or 1
  std::string integer;          // decimal digits with a leading '-' when negative
  std::string hexadecimal;      // the same integer in hexadecimal ("-0x1f")
  std::int64_t powerOfTwo = 0;  // determinant = integer * 2^powerOfTwo
};

// `a` holds n * n finite doubles, row after row (n >= 1).
int DetSign(std::span<const double> a, std::size_t n);
ExactDeterminant DetExact(std::span<const double> a, std::size_t n);

}  // namespace komath
