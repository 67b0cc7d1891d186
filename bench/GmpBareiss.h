// The peer of the exact-determinant benchmark: Bareiss' fraction-free
// elimination in GMP integers, on the matrix scaled by one power of two.
#pragma once

#include <gmpxx.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace ko_test {

// The determinant of the n x n matrix `a` (row after row) times 2^shift,
// where `shift` is set to the smallest power making every entry an integer:
// det(a) = result / 2^(shift * n).
inline mpz_class GmpBareiss(const std::vector<double>& a, std::size_t n, long& shift) {
  // The lowest set bit of a double is at 2^-1074 or above.
  shift = 0;
  for (double x : a) {
    int exponent = 0;
    if (x != 0) std::frexp(x, &exponent);
    shift = std::max(shift, long(53 - exponent));
  }
  std::vector<mpz_class> m(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    mpq_class q(a[i]);
    mpq_mul_2exp(q.get_mpq_t(), q.get_mpq_t(), shift);
    m[i] = q.get_num();
  }
  mpz_class previous = 1;
  int sign = 1;
  for (std::size_t k = 0; k + 1 < n; ++k) {
    std::size_t r = k;
    while (r < n && m[r * n + k] == 0) ++r;
    if (r == n) return 0;
    if (r != k) {
      sign = -sign;
      for (std::size_t c = 0; c < n; ++c) std::swap(m[k * n + c], m[r * n + c]);
    }
    for (std::size_t i = k + 1; i < n; ++i) {
      for (std::size_t j = k + 1; j < n; ++j) {
        mpz_class t = m[i * n + j] * m[k * n + k] - m[i * n + k] * m[k * n + j];
        mpz_divexact(m[i * n + j].get_mpz_t(), t.get_mpz_t(), previous.get_mpz_t());
      }
    }
    previous = m[k * n + k];
  }
  return sign * m[n * n - 1];
}

}  // namespace ko_test
