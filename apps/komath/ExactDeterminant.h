// Exact determinants of double matrices (shared by the komath tool and the
// Python package).
//
// A double is an integer times a power of two, so the determinant of an
// n x n double matrix is exactly an integer times 2^k. DetExact finds that
// integer in polynomial time and checks its sign against the library's exact
// sign; DetSign is the library's exact sign alone.
//
// DetExact divides the rows and then the columns by powers of two until the
// entries are integers with an odd entry in every row and column, takes the
// determinant of that integer matrix modulo enough primes below 2^62 to
// exceed twice Hadamard's bound on it, and rebuilds the integer by Chinese
// remaindering. The cost is O(n^3) per prime and the number of primes grows
// like n times the bits of the entries: about 0.1 s for n = 100 and entries
// of similar magnitude; rows that span the whole double range need more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace komath {

// The determinant is integer * 2^powerOfTwo with the integer odd, or, for a
// zero determinant, integer "0", hexadecimal "0x0", powerOfTwo 0 and sign 0:
// one representation per value, so results compare as text.
struct ExactDeterminant {
  int sign = 0;                 // -1, 0 or 1
  std::string integer;          // decimal digits with a leading '-' when negative
  std::string hexadecimal;      // the same integer in hexadecimal ("-0x1f")
  std::int64_t powerOfTwo = 0;  // determinant = integer * 2^powerOfTwo
};

// `a` holds n * n finite doubles, row after row (n >= 1); otherwise both
// throw std::invalid_argument naming the problem. DetExact throws
// ComputationError (Errors.h) when its sign and the library's disagree, which
// means a defect in one of the two, never a property of the matrix. Both are
// safe to call from several threads at once.
int DetSign(std::span<const double> a, std::size_t n);
ExactDeterminant DetExact(std::span<const double> a, std::size_t n);

}  // namespace komath
