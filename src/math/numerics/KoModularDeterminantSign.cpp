#include "KoModularDeterminantSign.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <memory_resource>
#include <span>
#include <utility>

#include "KoModularPrimes.h"

namespace {

__extension__ typedef unsigned __int128 UInt128;
__extension__ typedef __int128 Int128;

// Garner's inverses are tabled for the first 64 primes; a later digit
// computes its one inverse (ToMixedRadixDigits).
constexpr unsigned int c_uiGarnerPrimes = 64;

// 448 primes cover every order up to 12 whatever the finite entries (rows of
// up to 53 + 2046 bits need at most 12 * 2099 + 26 bits, 408 primes).
constexpr unsigned int c_uiMostPrimes = c_koModularPrimes.size();

// Montgomery arithmetic modulo one prime p < 2^62 with R = 2^64: a number x
// is held as x R mod p, and Multiply(a, b) = a b R^-1 mod p keeps that form.
struct SModulus {
  std::uint64_t p;
  std::uint64_t negInverse;  // -p^-1 mod 2^64
  std::uint64_t r1;          // R mod p: the Montgomery form of 1
  std::uint64_t r2;          // R^2 mod p: converts into Montgomery form
  std::uint64_t r3;          // R^3 mod p: converts t R^-1 into t R

  // t R^-1 mod p for t < 2^65 p: then t + m p < 2^128 and the quotient is
  // below 3p, which two subtractions reduce.
  constexpr std::uint64_t Redc(UInt128 t) const {
    const std::uint64_t m = static_cast<std::uint64_t>(t) * negInverse;
    auto u = static_cast<std::uint64_t>((t + UInt128(m) * p) >> 64);
    if (u >= p) u -= p;
    if (u >= p) u -= p;
    return u;
  }
  // Redc for t < 2 p^2: then t R^-1 < p / 2 and the quotient stays below
  // 3p / 2, which one subtraction reduces.
  constexpr std::uint64_t RedcBelowTwoSquares(UInt128 t) const {
    const std::uint64_t m = static_cast<std::uint64_t>(t) * negInverse;
    const auto u = static_cast<std::uint64_t>((t + UInt128(m) * p) >> 64);
    return u >= p ? u - p : u;
  }
  constexpr std::uint64_t Multiply(std::uint64_t a, std::uint64_t b) const {
    return Redc(UInt128(a) * b);
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
  const std::uint64_t r3 = static_cast<std::uint64_t>(UInt128(r2) * r1 % p);
  return {p, ~inverse + 1, r1, r2, r3};
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
  std::array<SModulus, c_uiMostPrimes> moduli;
  // garner[i][j], j < i: p_j^-1 mod p_i in Montgomery form.
  std::array<std::array<std::uint64_t, c_uiGarnerPrimes>, c_uiGarnerPrimes> garner;
};

constexpr STables MakeTables() {
  STables tables{};
  for (unsigned int i = 0; i < c_uiMostPrimes; ++i) {
    tables.moduli[i] = MakeModulus(c_koModularPrimes[i]);
  }
  for (unsigned int i = 0; i < c_uiGarnerPrimes; ++i) {
    for (unsigned int j = 0; j < i; ++j) {
      const std::uint64_t p = c_koModularPrimes[i];
      const std::uint64_t inverse = InverseModulo(c_koModularPrimes[j], p);
      tables.garner[i][j] = static_cast<std::uint64_t>((UInt128(inverse) << 64) % p);
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
  const std::uint64_t fraction = bits << 12 >> 12;  // the low 52 bits
  return {fraction | (std::uint64_t{1} << 52), biased - 1075, negative};
}

// Scaled integer matrix: entry (i, j) is +-mantissa * 2^shift with shift >=
// 0, rows scaled independently.
struct SIntegerMatrix {
  unsigned int order;                // set by ScaleRows, the only maker
  std::span<SIntegerEntry> entries;  // exponent replaced by the shift
  std::uint64_t boundBits = 0;       // log2 of twice Hadamard's bound, rounded up
  std::int64_t scaleBits = 0;        // the rows' scaling: det_int = det 2^scaleBits
  std::int32_t largestShift = 0;
  bool hasZeroRow = false;
};

// What a determinant of k rows adds to the sum of its rows' bits: Hadamard's
// factor k^(k/2) <= 2^ceil(k ceil(log2 k) / 2), and one bit more, so that
// twice the bound (a symmetric or two's-complement range) stays below 2^bits.
std::uint64_t HadamardBits(std::uint64_t k) {
  const auto ceilLog2 = static_cast<std::uint64_t>(std::bit_width(k - 1));
  return (k * ceilLog2 + 1) / 2 + 1;
}

// `storage` holds order x order entries.
SIntegerMatrix ScaleRows(const double* values, unsigned int order,
                         std::span<SIntegerEntry> storage) {
  SIntegerMatrix matrix{.order = order, .entries = storage};
  for (unsigned int i = 0; i < order; ++i) {
    // lowest > highest until a non-zero entry is seen.
    std::int32_t lowest = std::numeric_limits<std::int32_t>::max();
    std::int32_t highest = std::numeric_limits<std::int32_t>::min();
    for (unsigned int j = 0; j < order; ++j) {
      SIntegerEntry& entry = matrix.entries[std::size_t(i) * order + j];
      entry = Decompose(values[std::size_t(i) * order + j]);
      if (entry.mantissa == 0) continue;
      lowest = std::min(lowest, entry.exponent);
      highest = std::max(highest, entry.exponent);
    }
    if (lowest > highest) {
      matrix.hasZeroRow = true;
      return matrix;
    }
    for (unsigned int j = 0; j < order; ++j) {
      SIntegerEntry& entry = matrix.entries[std::size_t(i) * order + j];
      entry.exponent = entry.mantissa == 0 ? 0 : entry.exponent - lowest;
    }
    matrix.scaleBits -= lowest;
    matrix.largestShift = std::max(matrix.largestShift, highest - lowest);
    // Every entry of the row is below 2^(53 + highest - lowest).
    matrix.boundBits += 53 + std::uint64_t(highest - lowest);
  }
  // |det| <= product of the row norms <= n^(n/2) * 2^(sum of row bits).
  matrix.boundBits += HadamardBits(order);
  return matrix;
}

// The entry times R^-1 modulo p, the cheapest form to reach; callers fix
// the power of R later. An entry m 2^s with s = 64 q + t is reduced once as
// the (up to 117-bit) integer m 2^t, giving m 2^t R^-1, and for q > 0 is
// multiplied by radix[q] = R^(q + 1) mod p, giving m 2^t R^q R^-1.
constexpr unsigned int c_uiRadixPowers = 33;  // shifts stay below 2100 < 64 * 33

std::uint64_t ScaledResidue(const SModulus& mod, const SIntegerEntry& entry,
                            const std::uint64_t* radix) {
  const unsigned int q = static_cast<unsigned int>(entry.exponent) >> 6;
  std::uint64_t residue = mod.Redc(UInt128(entry.mantissa) << (entry.exponent & 63));
  if (q != 0) residue = mod.Multiply(residue, radix[q]);
  return entry.negative && residue != 0 ? mod.p - residue : residue;
}

// Laplace expansion over column subsets, row by row: minor[S] is the
// determinant of the first |S| rows and the columns in S. n 2^(n-1)
// multiplications and no inverse, the cheapest for small orders. With
// entries x R^-1 and one reduction per level, a minor of k rows carries
// R^-(2k-1); the result is multiplied back into a plain residue. The
// products of one minor are summed unreduced: at most three of each sign,
// each below p^2 < 2^124, so positive + (3 p^2 - negative) < 2^127 and a
// single Redc finishes the sum.
constexpr unsigned int c_uiLargestSubsetOrder = 6;

std::uint64_t DeterminantBySubsets(const SModulus& mod, const std::uint64_t* a, unsigned int n) {
  const UInt128 threeSquares = UInt128(mod.p) * mod.p * 3;
  // Only minors already computed are read: sets are visited by size.
  std::array<std::uint64_t, 1u << c_uiLargestSubsetOrder> minor;
  minor[0] = mod.r1;
  const unsigned int full = (1u << n) - 1;
  for (unsigned int row = 0; row < n; ++row) {
    // Gosper's hack: every set of row + 1 columns in increasing order.
    for (unsigned int set = (2u << row) - 1; set <= full;) {
      // Terms alternate in sign along the columns of the set, starting with
      // + on even rows: even positions go to one sum, odd ones to the other.
      const std::uint64_t* entries = a + row * n;
      UInt128 even = 0, odd = 0;
      for (unsigned int rest = set;;) {
        unsigned int column = static_cast<unsigned int>(std::countr_zero(rest));
        even += UInt128(entries[column]) * minor[set & ~(1u << column)];
        if ((rest &= rest - 1) == 0) break;
        column = static_cast<unsigned int>(std::countr_zero(rest));
        odd += UInt128(entries[column]) * minor[set & ~(1u << column)];
        if ((rest &= rest - 1) == 0) break;
      }
      const UInt128 positive = (row & 1) == 0 ? even : odd;
      const UInt128 negative = (row & 1) == 0 ? odd : even;
      minor[set] = mod.Redc(positive + (threeSquares - negative));
      const unsigned int ripple = set + (set & (0u - set));
      set = (((ripple ^ set) >> 2) >> std::countr_zero(set)) | ripple;
    }
  }
  std::uint64_t det = mod.Multiply(minor[full], mod.r2);                 // times R
  for (unsigned int k = 1; k < n; ++k) det = mod.Multiply(det, mod.r3);  // times R^2
  return det;
}

// The same Laplace expansion over column subsets, exactly, in the integers
// modulo 2^(64 W): two's-complement numbers of W limbs whose arithmetic
// wraps. The determinant is read correctly once |det| < 2^(64 W - 1), its
// sign being the top bit; no reduction, residues or Chinese remaindering,
// which for small orders beats the primes several times over. Entries must
// fit one limb (a row's scaled mantissas below 2^64). A minor of k rows is
// an integer below Hadamard's bound for those rows, so each level runs in
// the limbs that bound needs (at most W, modulo 2^(64 W) at the top) and
// stores its minors sign-extended to W limbs: a wider level reads their low
// limbs as the same integers modulo its own width.
constexpr unsigned int c_uiMostLimbs = 7;
using SWideInteger = std::array<std::uint64_t, c_uiMostLimbs>;

// sum += factor * x or sum -= factor * x, modulo 2^(64 Width). The 128-bit
// steps cannot overflow: (2^64 - 1)^2 + 2 (2^64 - 1) = 2^128 - 1.
template <unsigned int Width>
void MultiplyAdd(SWideInteger& sum, std::uint64_t factor, const SWideInteger& x) {
  std::uint64_t carry = 0;
  const auto step = [&](unsigned int l) {
    const UInt128 t = UInt128(factor) * x[l] + sum[l] + carry;
    sum[l] = static_cast<std::uint64_t>(t);
    carry = static_cast<std::uint64_t>(t >> 64);
  };
  // Unrolled: a loop over the limbs costs half as much again.
  [&]<std::size_t... L>(std::index_sequence<L...>) {
    (step(L), ...);
  }
  (std::make_index_sequence<Width - 1>{});
  sum[Width - 1] += factor * x[Width - 1] + carry;
}

template <unsigned int Width>
void MultiplySubtract(SWideInteger& sum, std::uint64_t factor, const SWideInteger& x) {
  std::uint64_t carry = 0;  // product carry plus borrow, at most 2^64 - 1
  const auto step = [&](unsigned int l) {
    const UInt128 product = UInt128(factor) * x[l] + carry;
    const auto low = static_cast<std::uint64_t>(product);
    carry = static_cast<std::uint64_t>(product >> 64) + (sum[l] < low);
    sum[l] -= low;
  };
  [&]<std::size_t... L>(std::index_sequence<L...>) {
    (step(L), ...);
  }
  (std::make_index_sequence<Width - 1>{});
  sum[Width - 1] -= factor * x[Width - 1] + carry;
}

// The minors of rows 0 ... row over every column set of row + 1 columns.
template <unsigned int Width>
void ExpandRow(const SIntegerMatrix& matrix, unsigned int row, unsigned int limbs,
               SWideInteger* minor) {
  const unsigned int n = matrix.order, full = (1u << n) - 1;
  const SIntegerEntry* entries = matrix.entries.data() + row * n;
  // Gosper's hack: every set of row + 1 columns in increasing order.
  for (unsigned int set = (2u << row) - 1; set <= full;) {
    SWideInteger& sum = minor[set];
    std::fill_n(sum.begin(), Width, 0);
    // Cofactor signs alternate along the set's columns, + first on even
    // rows; an entry's own sign flips its term.
    unsigned int position = row;
    for (unsigned int rest = set; rest != 0; rest &= rest - 1, ++position) {
      const unsigned int column = static_cast<unsigned int>(std::countr_zero(rest));
      const SIntegerEntry& entry = entries[column];
      const std::uint64_t factor = entry.mantissa << entry.exponent;
      const SWideInteger& cofactor = minor[set & ~(1u << column)];
      if (((position & 1) != 0) == entry.negative) {
        MultiplyAdd<Width>(sum, factor, cofactor);
      } else {
        MultiplySubtract<Width>(sum, factor, cofactor);
      }
    }
    const std::uint64_t extension = std::int64_t(sum[Width - 1]) < 0 ? ~std::uint64_t{0} : 0;
    std::fill(sum.begin() + Width, sum.begin() + limbs, extension);
    // Gosper's division by the lowest bit, as a shift.
    const unsigned int ripple = set + (set & (0u - set));
    set = (((ripple ^ set) >> 2) >> std::countr_zero(set)) | ripple;
  }
}

std::int32_t SignModuloPowerOfTwo(const SIntegerMatrix& matrix, unsigned int limbs) {
  std::array<SWideInteger, 1u << c_uiLargestSubsetOrder> minor;
  minor[0] = {1};
  std::uint64_t rowBits = 0;
  for (unsigned int row = 0; row < matrix.order; ++row) {
    // A minor of k = row + 1 rows is below k^(k/2) times the product of its
    // rows' largest entries (Hadamard); one bit more for the sign.
    const unsigned int k = row + 1;
    std::uint64_t largest = 0;
    for (unsigned int j = 0; j < matrix.order; ++j) {
      const SIntegerEntry& entry = matrix.entries[std::size_t(row) * matrix.order + j];
      largest = std::max(largest, entry.mantissa << entry.exponent);
    }
    rowBits += static_cast<std::uint64_t>(std::bit_width(largest));
    const std::uint64_t bits = rowBits + HadamardBits(k);
    switch (std::min<std::uint64_t>((bits + 63) / 64, limbs)) {
      case 1:
        ExpandRow<1>(matrix, row, limbs, minor.data());
        break;
      case 2:
        ExpandRow<2>(matrix, row, limbs, minor.data());
        break;
      case 3:
        ExpandRow<3>(matrix, row, limbs, minor.data());
        break;
      case 4:
        ExpandRow<4>(matrix, row, limbs, minor.data());
        break;
      case 5:
        ExpandRow<5>(matrix, row, limbs, minor.data());
        break;
      case 6:
        ExpandRow<6>(matrix, row, limbs, minor.data());
        break;
      default:
        ExpandRow<c_uiMostLimbs>(matrix, row, limbs, minor.data());
        break;
    }
  }
  const SWideInteger& det = minor[(1u << matrix.order) - 1];
  if (std::int64_t(det[limbs - 1]) < 0) return -1;
  return std::any_of(det.begin(), det.begin() + limbs, [](std::uint64_t l) { return l != 0; });
}

// Entries at most this far shifted are below 2^61 < p: their residue is the
// integer itself (p minus it when negative), with no reduction and no
// Montgomery factor.
constexpr std::int32_t c_iShiftBelowEveryPrime = 8;

// Order 3 in 128-bit integers, for rows spread over at most nine binary
// orders: entries below 2^62, the 2x2 minors of the lower rows below 2^125
// (a difference of two products below 2^124). Each term v m of the
// expansion along the first row is split at 2^64 as v mh 2^64 + v ml, with
// m = mh 2^64 + ml: the high parts (below 2^123 each) and the low parts
// (v ml below 2^126, split again into a signed high word and an unsigned
// low word) are summed apart, so that no sum overflows, and det = high
// 2^64 + low with 0 <= low < 2^64 once the carry is moved up.
constexpr std::int32_t c_iLargestOrderThreeShift = 9;

// The scaled entry as a signed integer; its shift must keep it below 2^63.
std::int64_t SignedInteger(const SIntegerEntry& entry) {
  const auto magnitude = static_cast<std::int64_t>(entry.mantissa << entry.exponent);
  return entry.negative ? -magnitude : magnitude;
}

std::int32_t SignOfOrderThree(const SIntegerMatrix& matrix) {
  std::array<std::int64_t, 9> v;
  for (std::size_t e = 0; e < v.size(); ++e) v[e] = SignedInteger(matrix.entries[e]);
  const auto minor = [&](unsigned int i, unsigned int j) {
    return Int128(v[3 + i]) * v[6 + j] - Int128(v[3 + j]) * v[6 + i];
  };
  // Cofactor signs folded in: + m(1, 2), - m(0, 2), + m(0, 1).
  const Int128 cofactors[] = {minor(1, 2), minor(2, 0), minor(0, 1)};
  Int128 high = 0, low = 0;
  for (unsigned int j = 0; j < 3; ++j) {
    const Int128 m = cofactors[j];
    const auto mHigh = static_cast<std::int64_t>(m >> 64);
    const auto mLow = static_cast<std::uint64_t>(m);
    const Int128 lowProduct = Int128(v[j]) * mLow;
    high += Int128(v[j]) * mHigh + (lowProduct >> 64);
    low += static_cast<std::uint64_t>(lowProduct);
  }
  high += low >> 64;
  if (high != 0) return high > 0 ? 1 : -1;
  return static_cast<std::uint64_t>(low) != 0 ? 1 : 0;
}

// Division-free Gaussian elimination on plain residues, which spares the
// conversion of every entry into Montgomery form: Redc(p a_ij + (P - q)
// a_kj) is (p a_ij - q a_kj) R^-1, so each row update multiplies the
// determinant by p R^-1, and Multiply(scale, p) (also p R^-1 times scale)
// keeps `scale` the Montgomery form of the product of those factors. The
// pivots' product starts at R^n, so that after the n Montgomery products it
// is their plain product. The result is det * scale, the determinant times
// that factor, plain; `scale` is left for the caller to divide out, which
// lets the inverses of several primes run interleaved.
std::uint64_t EliminationModulo(const SModulus& modulus, std::uint64_t* a, unsigned int n,
                                std::uint64_t& scale) {
  // Locals: the stores into `a` could otherwise alias the modulus.
  const SModulus mod = modulus;
  auto at = [&](unsigned int i, unsigned int j) -> std::uint64_t& {
    return a[std::size_t(i) * n + j];
  };
  std::uint64_t product = mod.r1;
  for (unsigned int k = 1; k < n; ++k) product = mod.Multiply(product, mod.r2);  // R^n
  scale = mod.r1;
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
      // pivot a_ij + (p - q) a_kj < 2 p^2: one reduction for both products.
      const std::uint64_t minusQ = mod.p - q;
      for (unsigned int j = k + 1; j < n; ++j) {
        at(i, j) = mod.RedcBelowTwoSquares(UInt128(pivot) * at(i, j) + UInt128(minusQ) * at(k, j));
      }
      scale = mod.Multiply(scale, pivot);
    }
  }
  return product;
}

// values[i] times the inverse of scales[i] (Montgomery form) modulo prime
// i, by Fermat: scale^(p - 2), left to right in windows of four bits (60
// squarings and 15 multiplications by a table of 16 powers, against 124
// steps bit by bit). Each power is a chain of dependent squarings; the
// primes run their chains side by side, so that one's multiplications fill
// the others' latency.
void DivideByScales(std::span<std::uint64_t> values, std::span<const std::uint64_t> scales,
                    std::pmr::memory_resource& arena) {
  constexpr unsigned int c_uiWindowBits = 4;
  constexpr unsigned int c_uiWindow = 1u << c_uiWindowBits;
  const std::size_t count = values.size();
  // powers[c_uiWindow i + w] = scale_i^w, w < 16; result[i] the running
  // power.
  std::pmr::vector<std::uint64_t> powers(c_uiWindow * count, &arena), result(count, &arena);
  for (std::size_t i = 0; i < count; ++i) powers[c_uiWindow * i] = c_tables.moduli[i].r1;
  for (unsigned int w = 1; w < c_uiWindow; ++w) {
    for (std::size_t i = 0; i < count; ++i) {
      std::uint64_t* table = &powers[c_uiWindow * i];
      table[w] = c_tables.moduli[i].Multiply(table[w - 1], scales[i]);
    }
  }
  // scale_i^w for the window w of Fermat's exponent p_i - 2 at `shift`.
  const auto windowPower = [&](std::size_t i, int shift) {
    const std::uint64_t exponent = c_tables.moduli[i].p - 2;
    return powers[c_uiWindow * i + ((exponent >> shift) & (c_uiWindow - 1))];
  };
  // Every prime is below 2^62: the top window holds bits 60 and 61.
  for (std::size_t i = 0; i < count; ++i) result[i] = windowPower(i, 60);
  for (int shift = 60 - int(c_uiWindowBits); shift >= 0; shift -= int(c_uiWindowBits)) {
    for (std::size_t i = 0; i < count; ++i) {
      const SModulus& mod = c_tables.moduli[i];
      std::uint64_t x = result[i];
      for (unsigned int s = 0; s < c_uiWindowBits; ++s) x = mod.Multiply(x, x);
      result[i] = mod.Multiply(x, windowPower(i, shift));
    }
  }
  for (std::size_t i = 0; i < count; ++i)
    values[i] = c_tables.moduli[i].Multiply(values[i], result[i]);
}

// The residues of the scaled entries modulo one prime, each x R^-1 as the
// subset expansion takes them, or plain x as the elimination takes them.
void ResiduesModulo(const SModulus& mod, const SIntegerMatrix& matrix, bool plain,
                    std::pmr::vector<std::uint64_t>& residues) {
  std::array<std::uint64_t, c_uiRadixPowers> radix;
  radix[0] = mod.r1;
  for (std::int32_t q = 1; q <= matrix.largestShift >> 6; ++q) {
    radix[q] = mod.Multiply(radix[q - 1], mod.r2);
  }
  for (std::size_t e = 0; e < residues.size(); ++e) {
    const std::uint64_t residue = ScaledResidue(mod, matrix.entries[e], radix.data());
    residues[e] = plain ? mod.Multiply(residue, mod.r2) : residue;
  }
}

// Garner's algorithm: turns the residues r_i into the mixed-radix digits
// v_i of the integer x in [0, M), x = v_0 + v_1 p_0 + v_2 p_0 p_1 + ...,
// 0 <= v_i < p_i, in place. The tabled primes use their inverse table; a
// later digit is (r_i - (v_0 + v_1 p_0 + ... ) ) (p_0 ... p_(i-1))^-1 mod p_i,
// the sum by Horner's rule and the product alongside, one inverse per digit.
void ToMixedRadixDigits(std::span<std::uint64_t> values) {
  for (std::size_t i = 0; i < values.size() && i < c_uiGarnerPrimes; ++i) {
    const SModulus& mod = c_tables.moduli[i];
    std::uint64_t x = values[i];
    for (std::size_t j = 0; j < i; ++j) {
      x = mod.Multiply(mod.Subtract(x, mod.Reduce(values[j])), c_tables.garner[i][j]);
    }
    values[i] = x;
  }
  for (std::size_t i = c_uiGarnerPrimes; i < values.size(); ++i) {
    const SModulus& mod = c_tables.moduli[i];
    // Montgomery forms: p_j R, the product (times R), the sum plain.
    std::uint64_t sum = mod.Reduce(values[i - 1]);
    std::uint64_t product = mod.ToMontgomery(mod.Reduce(c_tables.moduli[i - 1].p));
    for (std::size_t j = i - 1; j-- > 0;) {
      const std::uint64_t prime = mod.ToMontgomery(mod.Reduce(c_tables.moduli[j].p));
      sum = mod.Add(mod.Multiply(sum, prime), mod.Reduce(values[j]));
      product = mod.Multiply(product, prime);
    }
    const std::uint64_t inverse = mod.Power(product, mod.p - 2);  // Montgomery form
    values[i] = mod.Multiply(mod.Subtract(values[i], sum), inverse);
  }
}

// The sign of the symmetric representative of x in (-M/2, M/2): x lies
// above (M - 1) / 2, whose digits are all (p_i - 1) / 2, exactly when its
// most significant differing digit is larger.
std::int32_t SymmetricSign(std::span<const std::uint64_t> digits) {
  if (std::all_of(digits.begin(), digits.end(), [](std::uint64_t d) { return d == 0; })) return 0;
  for (std::size_t i = digits.size(); i-- > 0;) {
    const std::uint64_t half = (c_tables.moduli[i].p - 1) / 2;
    if (digits[i] != half) return digits[i] > half ? -1 : 1;
  }
  return 1;
}

}  // namespace

bool KoModularDeterminantSign(const double* values, unsigned int order, std::int32_t& sign,
                              KoMpMatrixToDeterminantExactSign::STrace& trace) {
  using EStage = KoMpMatrixToDeterminantExactSign::EStage;
  // Scratch space on the stack for the scaled entries and the prime stage's
  // residues and determinants; orders from about sixteen spill to the heap.
  std::array<std::byte, 8192> scratch;
  std::pmr::monotonic_buffer_resource arena(scratch.data(), scratch.size());
  std::pmr::vector<SIntegerEntry> entries(std::size_t(order) * order, &arena);
  const SIntegerMatrix matrix = ScaleRows(values, order, entries);
  if (matrix.hasZeroRow) {
    sign = 0;
    trace.stage = EStage::eZeroRow;
    return true;
  }
  if (order == 3 && matrix.largestShift <= c_iLargestOrderThreeShift) {
    sign = SignOfOrderThree(matrix);
    trace.stage = EStage::eOrderThree;
    return true;
  }
  // The scaled determinant is det 2^scaleBits: twice it stays below
  // 2^(magnitudeBits + scaleBits + 1).
  std::uint64_t boundBits = matrix.boundBits;
  if (trace.magnitudeBits) {
    const std::int64_t scaled = *trace.magnitudeBits + matrix.scaleBits + 1;
    boundBits =
        std::min<std::uint64_t>(boundBits, std::uint64_t(std::max<std::int64_t>(scaled, 1)));
  }
  // 64 W > boundBits: |det| <= 2^(boundBits - 1) < 2^(64 W - 1).
  const std::uint64_t limbs = boundBits / 64 + 1;
  if (order <= c_uiLargestSubsetOrder && matrix.largestShift <= 11 && limbs <= c_uiMostLimbs) {
    sign = SignModuloPowerOfTwo(matrix, static_cast<unsigned int>(limbs));
    trace.stage = EStage::ePowerOfTwo;
    trace.width = static_cast<std::uint32_t>(limbs);
    return true;
  }
  // Every prime exceeds 2^62 - 2^15, so K of them multiply to more than
  // 2^(62 K - 1).
  const std::uint64_t primeCount = (boundBits + 1 + 61) / 62;
  if (primeCount > c_uiMostPrimes) return false;
  std::pmr::vector<std::uint64_t> residues(matrix.entries.size(), &arena);
  std::pmr::vector<std::uint64_t> determinants(primeCount, &arena);
  if (order <= c_uiLargestSubsetOrder) {
    for (std::size_t i = 0; i < primeCount; ++i) {
      ResiduesModulo(c_tables.moduli[i], matrix, false, residues);
      determinants[i] = DeterminantBySubsets(c_tables.moduli[i], residues.data(), order);
    }
  } else {
    // Entries below 2^61 < p are their own residues, negated ones p - |x|:
    // read once as signed integers, then no reduction at all.
    const bool small = matrix.largestShift <= c_iShiftBelowEveryPrime;
    std::pmr::vector<std::int64_t> integers(small ? residues.size() : 0, &arena);
    for (std::size_t e = 0; e < integers.size(); ++e)
      integers[e] = SignedInteger(matrix.entries[e]);
    std::pmr::vector<std::uint64_t> scales(primeCount, &arena);
    for (std::size_t i = 0; i < primeCount; ++i) {
      const SModulus& mod = c_tables.moduli[i];
      if (small) {
        for (std::size_t e = 0; e < integers.size(); ++e) {
          const auto value = static_cast<std::uint64_t>(integers[e]);
          residues[e] = value + (mod.p & static_cast<std::uint64_t>(integers[e] >> 63));
        }
      } else {
        ResiduesModulo(mod, matrix, true, residues);
      }
      determinants[i] = EliminationModulo(mod, residues.data(), order, scales[i]);
    }
    DivideByScales(determinants, scales, arena);
  }
  ToMixedRadixDigits(determinants);
  sign = SymmetricSign(determinants);
  trace.stage = EStage::ePrimes;
  trace.width = static_cast<std::uint32_t>(primeCount);
  return true;
}
