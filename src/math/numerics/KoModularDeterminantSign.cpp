#include "KoModularDeterminantSign.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

__extension__ typedef unsigned __int128 UInt128;
__extension__ typedef __int128 Int128;

constexpr unsigned int c_uiPrimeCount = 64;

// The 64 largest primes below 2^62. Their product exceeds 2^(62 K - 1) for
// any K of them, since each is above 2^62 - 2^12.
constexpr std::array<std::uint64_t, c_uiPrimeCount> c_primes = {
    0x3FFFFFFFFFFFFFC7ull, 0x3FFFFFFFFFFFFFA9ull, 0x3FFFFFFFFFFFFF8Bull, 0x3FFFFFFFFFFFFF71ull,
    0x3FFFFFFFFFFFFF67ull, 0x3FFFFFFFFFFFFF59ull, 0x3FFFFFFFFFFFFF55ull, 0x3FFFFFFFFFFFFF3Dull,
    0x3FFFFFFFFFFFFF35ull, 0x3FFFFFFFFFFFFEEFull, 0x3FFFFFFFFFFFFEE1ull, 0x3FFFFFFFFFFFFEC3ull,
    0x3FFFFFFFFFFFFE45ull, 0x3FFFFFFFFFFFFE1Dull, 0x3FFFFFFFFFFFFE11ull, 0x3FFFFFFFFFFFFDC1ull,
    0x3FFFFFFFFFFFFDBBull, 0x3FFFFFFFFFFFFDA5ull, 0x3FFFFFFFFFFFFD87ull, 0x3FFFFFFFFFFFFD69ull,
    0x3FFFFFFFFFFFFD03ull, 0x3FFFFFFFFFFFFCFBull, 0x3FFFFFFFFFFFFCF7ull, 0x3FFFFFFFFFFFFCE9ull,
    0x3FFFFFFFFFFFFCD3ull, 0x3FFFFFFFFFFFFCC1ull, 0x3FFFFFFFFFFFFC65ull, 0x3FFFFFFFFFFFFC2Bull,
    0x3FFFFFFFFFFFFC1Full, 0x3FFFFFFFFFFFFC17ull, 0x3FFFFFFFFFFFFC11ull, 0x3FFFFFFFFFFFFC07ull,
    0x3FFFFFFFFFFFFB53ull, 0x3FFFFFFFFFFFFB27ull, 0x3FFFFFFFFFFFFAF3ull, 0x3FFFFFFFFFFFFAB7ull,
    0x3FFFFFFFFFFFFA67ull, 0x3FFFFFFFFFFFFA15ull, 0x3FFFFFFFFFFFF9EFull, 0x3FFFFFFFFFFFF9D9ull,
    0x3FFFFFFFFFFFF9D3ull, 0x3FFFFFFFFFFFF9C5ull, 0x3FFFFFFFFFFFF9AFull, 0x3FFFFFFFFFFFF977ull,
    0x3FFFFFFFFFFFF95Full, 0x3FFFFFFFFFFFF95Bull, 0x3FFFFFFFFFFFF959ull, 0x3FFFFFFFFFFFF8E1ull,
    0x3FFFFFFFFFFFF8A7ull, 0x3FFFFFFFFFFFF889ull, 0x3FFFFFFFFFFFF87Dull, 0x3FFFFFFFFFFFF805ull,
    0x3FFFFFFFFFFFF7E7ull, 0x3FFFFFFFFFFFF7C9ull, 0x3FFFFFFFFFFFF7A3ull, 0x3FFFFFFFFFFFF775ull,
    0x3FFFFFFFFFFFF757ull, 0x3FFFFFFFFFFFF739ull, 0x3FFFFFFFFFFFF713ull, 0x3FFFFFFFFFFFF6D1ull,
    0x3FFFFFFFFFFFF6C1ull, 0x3FFFFFFFFFFFF6B9ull, 0x3FFFFFFFFFFFF6A3ull, 0x3FFFFFFFFFFFF68Bull,
};

// Montgomery arithmetic modulo one prime p < 2^62 with R = 2^64: a number x
// is held as x R mod p, and Multiply(a, b) = a b R^-1 mod p keeps that form.
struct SModulus {
  std::uint64_t p;
  std::uint64_t negInverse;  // -p^-1 mod 2^64
  std::uint64_t r1;          // R mod p: the Montgomery form of 1
  std::uint64_t r2;          // R^2 mod p: converts into Montgomery form

  constexpr std::uint64_t Multiply(std::uint64_t a, std::uint64_t b) const {
    const UInt128 t = UInt128(a) * b;
    const std::uint64_t m = static_cast<std::uint64_t>(t) * negInverse;
    // t + m p < 2^124 + 2^126: no overflow for p < 2^62.
    const std::uint64_t u = static_cast<std::uint64_t>((t + UInt128(m) * p) >> 64);
    return u >= p ? u - p : u;
  }
  constexpr std::uint64_t Add(std::uint64_t a, std::uint64_t b) const {
    const std::uint64_t s = a + b;
    return s >= p ? s - p : s;
  }
  constexpr std::uint64_t Subtract(std::uint64_t a, std::uint64_t b) const {
    return a >= b ? a - b : a + p - b;
  }
  // Any 64-bit value into [0, p): p > 2^62 - 2^12, so at most four steps.
  constexpr std::uint64_t Reduce(std::uint64_t a) const {
    while (a >= p) a -= p;
    return a;
  }
  constexpr std::uint64_t ToMontgomery(std::uint64_t a) const { return Multiply(a, r2); }
  constexpr std::uint64_t FromMontgomery(std::uint64_t a) const { return Multiply(a, 1); }
  constexpr std::uint64_t Power(std::uint64_t base, std::uint64_t exponent) const {
    std::uint64_t result = r1;
    for (; exponent != 0; exponent >>= 1) {
      if (exponent & 1) result = Multiply(result, base);
      base = Multiply(base, base);
    }
    return result;
  }
};

constexpr SModulus MakeModulus(std::uint64_t p) {
  std::uint64_t inverse = p;  // correct to 3 bits for odd p; each step doubles that
  for (int i = 0; i < 5; ++i) inverse *= 2 - p * inverse;
  const std::uint64_t r1 = static_cast<std::uint64_t>((UInt128(1) << 64) % p);
  const std::uint64_t r2 = static_cast<std::uint64_t>(UInt128(r1) * r1 % p);
  return {p, ~inverse + 1, r1, r2};
}

constexpr std::uint64_t InverseModulo(std::uint64_t a, std::uint64_t m) {
  Int128 r0 = m, r1 = a % m, t0 = 0, t1 = 1;
  while (r1 != 0) {
    const Int128 q = r0 / r1;
    const Int128 r = r0 - q * r1, t = t0 - q * t1;
    r0 = r1, r1 = r, t0 = t1, t1 = t;
  }
  return static_cast<std::uint64_t>(t0 < 0 ? t0 + m : t0);
}

struct STables {
  std::array<SModulus, c_uiPrimeCount> moduli;
  // garner[i][j], j < i: p_j^-1 mod p_i in Montgomery form.
  std::array<std::array<std::uint64_t, c_uiPrimeCount>, c_uiPrimeCount> garner;
};

constexpr STables MakeTables() {
  STables tables{};
  for (unsigned int i = 0; i < c_uiPrimeCount; ++i) {
    tables.moduli[i] = MakeModulus(c_primes[i]);
    for (unsigned int j = 0; j < i; ++j) {
      const std::uint64_t inverse = InverseModulo(c_primes[j], c_primes[i]);
      tables.garner[i][j] = static_cast<std::uint64_t>((UInt128(inverse) << 64) % c_primes[i]);
    }
  }
  return tables;
}

constexpr STables c_tables = MakeTables();

// |d| = mantissa * 2^exponent, subnormals read as KoFloatExact reads them.
struct SIntegerEntry {
  std::uint64_t mantissa;  // 0, or in [2^52, 2^53)
  std::int32_t exponent;
  bool negative;
};

SIntegerEntry Decompose(double value) {
  const std::uint64_t bits = std::bit_cast<std::uint64_t>(value);
  const bool negative = (bits >> 63) != 0;
  if (value == 0.0) return {0, 0, negative};
  const auto biased = static_cast<std::int32_t>((bits >> 52) & 0x7FF);
  const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
  return {fraction | (std::uint64_t{1} << 52), biased - 1075, negative};
}

// Scaled integer matrix: entry (i, j) is +-mantissa * 2^shift with shift >=
// 0, rows scaled independently.
struct SIntegerMatrix {
  unsigned int order = 0;
  std::vector<SIntegerEntry> entries;  // exponent replaced by the shift
  std::uint64_t boundBits = 0;         // log2 of twice Hadamard's bound, rounded up
  bool hasZeroRow = false;
};

unsigned int CeilLog2(unsigned int n) {
  return n <= 1 ? 0 : static_cast<unsigned int>(std::bit_width(n - 1));
}

SIntegerMatrix ScaleRows(const double* values, unsigned int order) {
  SIntegerMatrix matrix;
  matrix.order = order;
  matrix.entries.resize(std::size_t(order) * order);
  for (unsigned int i = 0; i < order; ++i) {
    std::int32_t lowest = 0, highest = 0;
    bool any = false;
    for (unsigned int j = 0; j < order; ++j) {
      SIntegerEntry& entry = matrix.entries[std::size_t(i) * order + j];
      entry = Decompose(values[std::size_t(i) * order + j]);
      if (entry.mantissa == 0) continue;
      lowest = any ? std::min(lowest, entry.exponent) : entry.exponent;
      highest = any ? std::max(highest, entry.exponent) : entry.exponent;
      any = true;
    }
    if (!any) {
      matrix.hasZeroRow = true;
      return matrix;
    }
    for (unsigned int j = 0; j < order; ++j) {
      SIntegerEntry& entry = matrix.entries[std::size_t(i) * order + j];
      entry.exponent = entry.mantissa == 0 ? 0 : entry.exponent - lowest;
    }
    // Every entry of the row is below 2^(53 + highest - lowest).
    matrix.boundBits += 53 + std::uint64_t(highest - lowest);
  }
  // |det| <= product of the row norms <= n^(n/2) * 2^(sum of row bits); one
  // more bit for the factor 2.
  matrix.boundBits += (std::uint64_t{order} * CeilLog2(order) + 1) / 2 + 1;
  return matrix;
}

// The entry modulo p, in Montgomery form.
std::uint64_t Residue(const SModulus& mod, const SIntegerEntry& entry) {
  std::uint64_t residue;
  if (entry.exponent < 64) {
    const UInt128 value = UInt128(entry.mantissa) << entry.exponent;
    const auto high = static_cast<std::uint64_t>(value >> 64);
    // high * 2^64 mod p is high * R mod p, which Multiply(high, r2) gives.
    residue = mod.Add(mod.Multiply(high, mod.r2), mod.Reduce(static_cast<std::uint64_t>(value)));
    residue = mod.ToMontgomery(residue);
  } else {
    const std::uint64_t two = mod.Add(mod.r1, mod.r1);
    residue = mod.Multiply(mod.ToMontgomery(entry.mantissa), mod.Power(two, entry.exponent));
  }
  return entry.negative && residue != 0 ? mod.p - residue : residue;
}

// Laplace expansion over column subsets, row by row: minor[S] is the
// determinant of the first |S| rows and the columns in S. n 2^(n-1)
// multiplications and no inverse, the cheapest for small orders.
std::uint64_t DeterminantBySubsets(const SModulus& mod, const std::vector<std::uint64_t>& a,
                                   unsigned int n) {
  std::array<std::uint64_t, 64> minor{};
  minor[0] = mod.r1;
  for (unsigned int row = 0; row < n; ++row) {
    for (unsigned int set = 1; set < (1u << n); ++set) {
      if (static_cast<unsigned int>(std::popcount(set)) != row + 1) continue;
      std::uint64_t sum = 0;
      unsigned int position = 0;  // index of the column within the set
      for (unsigned int column = 0; column < n; ++column) {
        if ((set & (1u << column)) == 0) continue;
        const std::uint64_t term =
            mod.Multiply(a[std::size_t(row) * n + column], minor[set & ~(1u << column)]);
        sum = ((row + position) & 1) == 0 ? mod.Add(sum, term) : mod.Subtract(sum, term);
        ++position;
      }
      minor[set] = sum;
    }
  }
  return minor[(1u << n) - 1];
}

// Division-free Gaussian elimination: row_i <- p row_i - q row_k multiplies
// the determinant by the pivot p, so those factors are collected and
// divided out once at the end (Fermat's inverse).
std::uint64_t DeterminantByElimination(const SModulus& mod, std::vector<std::uint64_t> a,
                                       unsigned int n) {
  auto at = [&](unsigned int i, unsigned int j) -> std::uint64_t& {
    return a[std::size_t(i) * n + j];
  };
  std::uint64_t product = mod.r1;
  std::uint64_t scale = mod.r1;
  for (unsigned int k = 0; k < n; ++k) {
    unsigned int pivotRow = k;
    while (pivotRow < n && at(pivotRow, k) == 0) ++pivotRow;
    if (pivotRow == n) return 0;
    if (pivotRow != k) {
      for (unsigned int j = k; j < n; ++j) std::swap(at(pivotRow, j), at(k, j));
      product = mod.p - product;  // a swap negates; product is never 0 here
    }
    const std::uint64_t pivot = at(k, k);
    product = mod.Multiply(product, pivot);
    for (unsigned int i = k + 1; i < n; ++i) {
      const std::uint64_t q = at(i, k);
      if (q == 0) continue;
      for (unsigned int j = k + 1; j < n; ++j) {
        at(i, j) = mod.Subtract(mod.Multiply(pivot, at(i, j)), mod.Multiply(q, at(k, j)));
      }
      scale = mod.Multiply(scale, pivot);
    }
  }
  return mod.Multiply(product, mod.Power(scale, mod.p - 2));
}

constexpr unsigned int c_uiLargestSubsetOrder = 6;

std::uint64_t DeterminantModulo(const SModulus& mod, const SIntegerMatrix& matrix) {
  std::vector<std::uint64_t> residues(matrix.entries.size());
  for (std::size_t e = 0; e < residues.size(); ++e) residues[e] = Residue(mod, matrix.entries[e]);
  const std::uint64_t det = matrix.order <= c_uiLargestSubsetOrder
                                ? DeterminantBySubsets(mod, residues, matrix.order)
                                : DeterminantByElimination(mod, std::move(residues), matrix.order);
  return mod.FromMontgomery(det);
}

// Garner's mixed-radix digits v_i of the integer x in [0, M) with the given
// residues: x = v_0 + v_1 p_0 + v_2 p_0 p_1 + ..., 0 <= v_i < p_i.
std::vector<std::uint64_t> MixedRadixDigits(const std::vector<std::uint64_t>& residues) {
  std::vector<std::uint64_t> digits(residues.size());
  for (std::size_t i = 0; i < residues.size(); ++i) {
    const SModulus& mod = c_tables.moduli[i];
    std::uint64_t x = residues[i];
    for (std::size_t j = 0; j < i; ++j) {
      x = mod.Multiply(mod.Subtract(x, mod.Reduce(digits[j])), c_tables.garner[i][j]);
    }
    digits[i] = x;
  }
  return digits;
}

// The sign of the symmetric representative of x in (-M/2, M/2): x lies
// above (M - 1) / 2, whose digits are all (p_i - 1) / 2, exactly when its
// most significant differing digit is larger.
std::int32_t SymmetricSign(const std::vector<std::uint64_t>& digits) {
  for (std::size_t i = digits.size(); i-- > 0;) {
    const std::uint64_t half = (c_primes[i] - 1) / 2;
    if (digits[i] != half) {
      const bool allZero = digits[i] == 0 && std::all_of(digits.begin(), digits.begin() + i,
                                                         [](std::uint64_t d) { return d == 0; });
      if (allZero) return 0;
      return digits[i] > half ? -1 : 1;
    }
  }
  return 1;
}

}  // namespace

bool KoModularDeterminantSign(const double* values, unsigned int order, std::int32_t& sign) {
  for (std::size_t e = 0; e < std::size_t(order) * order; ++e) {
    if (!std::isfinite(values[e])) return false;
  }
  const SIntegerMatrix matrix = ScaleRows(values, order);
  if (matrix.hasZeroRow) {
    sign = 0;
    return true;
  }
  // Every prime exceeds 2^62 - 2^12, so K of them multiply to more than
  // 2^(62 K - 1).
  const std::uint64_t primeCount = (matrix.boundBits + 1 + 61) / 62;
  if (primeCount > c_uiPrimeCount) return false;
  std::vector<std::uint64_t> residues(primeCount);
  for (std::size_t i = 0; i < primeCount; ++i) {
    residues[i] = DeterminantModulo(c_tables.moduli[i], matrix);
  }
  sign = SymmetricSign(MixedRadixDigits(residues));
  return true;
}
