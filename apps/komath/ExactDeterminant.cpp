#include "ExactDeterminant.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Errors.h"
#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"

namespace komath {
namespace {

__extension__ typedef unsigned __int128 UInt128;

std::uint64_t MulMod(std::uint64_t a, std::uint64_t b, std::uint64_t p) {
  return static_cast<std::uint64_t>(UInt128(a) * b % p);
}

std::uint64_t PowMod(std::uint64_t base, std::uint64_t exponent, std::uint64_t p) {
  std::uint64_t result = 1 % p;
  for (base %= p; exponent != 0; exponent >>= 1) {
    if (exponent & 1) result = MulMod(result, base, p);
    base = MulMod(base, base, p);
  }
  return result;
}

// Miller-Rabin, deterministic for every odd n above these seven bases and
// below 2^64 (the candidates here are odd and above 2^61). With n above
// every base, a power x = 0 means that n shares a factor with the base, so
// x = 0 counts as a witness of compositeness like any other x.
bool IsPrime(std::uint64_t n) {
  const int twos = std::countr_zero(n - 1);
  const std::uint64_t odd = (n - 1) >> twos;
  for (std::uint64_t base :
       {2ull, 325ull, 9375ull, 28178ull, 450775ull, 9780504ull, 1795265022ull}) {
    std::uint64_t x = PowMod(base, odd, n);
    if (x == 1 || x == n - 1) continue;
    bool composite = true;
    for (int i = 1; i < twos && composite; ++i) {
      x = MulMod(x, x, n);
      composite = x != n - 1;
    }
    if (composite) return false;
  }
  return true;
}

// Each prime exceeds 2^61, so `count` of them have a product above 2^(61 count).
constexpr int kBitsPerPrime = 61;

// The first `count` primes below 2^62, largest first. They are found once
// and kept: the search costs more than a small determinant.
std::vector<std::uint64_t> Primes(std::size_t count) {
  static std::mutex mutex;
  static std::vector<std::uint64_t> primes;
  const std::lock_guard lock(mutex);
  constexpr std::uint64_t kFirstCandidate = 0x3fffffffffffffff;  // 2^62 - 1
  std::uint64_t candidate = primes.empty() ? kFirstCandidate : primes.back() - 2;
  while (primes.size() < count) {
    if (IsPrime(candidate)) primes.push_back(candidate);
    candidate -= 2;
  }
  return {primes.begin(), primes.begin() + std::ptrdiff_t(count)};
}

// Montgomery arithmetic modulo an odd p < 2^62 with R = 2^64: x is held as
// x R mod p, so a product needs no division. Every result is reduced into
// [0, p) as the smaller of v and v - p: when v < p the difference wraps
// round to a number above v.
struct Montgomery {
  explicit Montgomery(std::uint64_t prime) : p(prime) {
    // p^-1 mod 2^64 by Newton's iteration: p p = 1 mod 8 for odd p, so the
    // start is right in 3 bits, and each step doubles them.
    std::uint64_t inverse = p;
    for (int i = 0; i < 5; ++i) inverse *= 2 - p * inverse;
    negInverse = 0 - inverse;
    r2 = static_cast<std::uint64_t>((~UInt128(0) % p + 1) % p);
  }
  // t R^-1 mod p for t < p^2 (then t + m p < 2^125 and the quotient < 2p).
  std::uint64_t Reduce(UInt128 t) const {
    const std::uint64_t m = static_cast<std::uint64_t>(t) * negInverse;
    const auto u = static_cast<std::uint64_t>((t + UInt128(m) * p) >> 64);
    return std::min(u, u - p);
  }
  std::uint64_t Mul(std::uint64_t a, std::uint64_t b) const { return Reduce(UInt128(a) * b); }
  std::uint64_t To(std::uint64_t x) const { return Mul(x % p, r2); }
  std::uint64_t From(std::uint64_t x) const { return Reduce(x); }
  std::uint64_t Add(std::uint64_t a, std::uint64_t b) const { return std::min(a + b, a + b - p); }
  std::uint64_t Sub(std::uint64_t a, std::uint64_t b) const { return std::min(a - b, a + p - b); }

  std::uint64_t p;
  std::uint64_t negInverse{};
  std::uint64_t r2{};  // R^2 mod p
};

// One matrix entry m 2^shift of the integer matrix, m an odd integer below
// 2^53; a zero entry keeps all three fields empty.
struct Entry {
  std::uint64_t odd{};
  bool negative{};
  std::int64_t shift{};
};

// det(B) mod p for the integer matrix B, by Gaussian elimination over the
// field of residues.
std::uint64_t DeterminantModulo(const std::vector<Entry>& b, std::size_t n, std::int64_t maxShift,
                                std::uint64_t prime, std::vector<std::uint64_t>& work) {
  const Montgomery mod(prime);
  // Powers of two, by doubling: cheaper than a power per entry.
  std::vector<std::uint64_t> powers{mod.To(1)};
  while (powers.size() <= std::size_t(maxShift))
    powers.push_back(mod.Add(powers.back(), powers.back()));
  work.resize(b.size());
  std::transform(b.begin(), b.end(), work.begin(), [&](const Entry& entry) {
    const std::uint64_t r = mod.Mul(mod.To(entry.odd), powers[std::size_t(entry.shift)]);
    return entry.negative ? mod.Sub(0, r) : r;
  });
  std::uint64_t det = mod.To(1);
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    while (pivot < n && work[pivot * n + k] == 0) ++pivot;
    if (pivot == n) return 0;  // singular modulo p: p divides det(B)
    if (pivot != k) {
      std::swap_ranges(work.begin() + std::ptrdiff_t(k * n + k),
                       work.begin() + std::ptrdiff_t(k * n + n),
                       work.begin() + std::ptrdiff_t(pivot * n + k));
      det = mod.Sub(0, det);
    }
    const std::uint64_t* row = &work[k * n];
    det = mod.Mul(det, row[k]);
    // The pivot's inverse by Fermat's little theorem, back in Montgomery form.
    const std::uint64_t plain = mod.From(row[k]);
    const std::uint64_t inverse = mod.To(PowMod(plain, prime - 2, prime));
    for (std::size_t i = k + 1; i < n; ++i) {
      std::uint64_t* target = &work[i * n];
      const std::uint64_t factor = mod.Mul(target[k], inverse);
      for (std::size_t j = k + 1; j < n; ++j) {
        target[j] = mod.Sub(target[j], mod.Mul(factor, row[j]));
      }
    }
  }
  return mod.From(det);
}

// A natural number in 64-bit limbs, least significant first, without
// leading zero limbs (zero is the empty vector).
using Natural = std::vector<std::uint64_t>;

void MulAdd(Natural& x, std::uint64_t factor, std::uint64_t addend) {
  UInt128 carry = addend;
  for (std::uint64_t& limb : x) {
    carry += UInt128(limb) * factor;
    limb = static_cast<std::uint64_t>(carry);
    carry >>= 64;
  }
  if (carry != 0) x.push_back(static_cast<std::uint64_t>(carry));
}

bool Less(const Natural& a, const Natural& b) {
  if (a.size() != b.size()) return a.size() < b.size();
  return std::lexicographical_compare(a.rbegin(), a.rend(), b.rbegin(), b.rend());
}

// a - b for a >= b (b is padded with zero limbs to a's length).
Natural Minus(Natural a, Natural b) {
  b.resize(a.size());
  std::uint64_t borrow = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const std::uint64_t difference = a[i] - b[i] - borrow;
    borrow = (a[i] < b[i] || (a[i] == b[i] && borrow != 0)) ? 1 : 0;
    a[i] = difference;
  }
  while (!a.empty() && a.back() == 0) a.pop_back();
  return a;
}

// Divides a non-zero x by its largest power of two; returns the exponent.
// The shift may leave one zero limb on top, which both printers skip.
std::int64_t StripTwos(Natural& x) {
  std::size_t limbs = 0;
  while (x[limbs] == 0) ++limbs;
  const int bits = std::countr_zero(x[limbs]);
  x.erase(x.begin(), x.begin() + std::ptrdiff_t(limbs));
  if (bits != 0) {
    for (std::size_t i = 0; i + 1 < x.size(); ++i)
      x[i] = (x[i] >> bits) | (x[i + 1] << (64 - bits));
    x.back() >>= bits;
  }
  return std::int64_t(limbs) * 64 + bits;
}

// The text is built backwards, sign last, and turned round once.
std::string Decimal(Natural x, bool negative) {
  constexpr std::uint64_t kChunk = 10'000'000'000'000'000'000ull;  // 10^19
  std::string digits;
  while (!x.empty()) {
    UInt128 remainder = 0;
    for (std::size_t i = x.size(); i-- > 0;) {
      const UInt128 current = (remainder << 64) | x[i];
      x[i] = static_cast<std::uint64_t>(current / kChunk);
      remainder = current % kChunk;
    }
    while (!x.empty() && x.back() == 0) x.pop_back();
    auto chunk = static_cast<std::uint64_t>(remainder);
    for (int d = 0; d < 19 && (chunk != 0 || !x.empty()); ++d, chunk /= 10) {
      digits.push_back(char('0' + chunk % 10));
    }
  }
  if (digits.empty()) digits.push_back('0');
  if (negative) digits.push_back('-');
  return {digits.rbegin(), digits.rend()};
}

std::string Hexadecimal(const Natural& x, bool negative) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (std::uint64_t limb : x) {
    for (int d = 0; d < 16; ++d, limb >>= 4) digits.push_back(kDigits[limb & 15]);
  }
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  if (digits.empty()) digits.push_back('0');
  digits += negative ? "x0-" : "x0";
  return {digits.rbegin(), digits.rend()};
}

void CheckInput(std::span<const double> a, std::size_t n) {
  if (n == 0 || a.size() / n != n || a.size() % n != 0) {
    throw std::invalid_argument("a determinant needs n * n numbers with n >= 1, got " +
                                std::to_string(a.size()) + " for n = " + std::to_string(n));
  }
  if (n > std::numeric_limits<unsigned>::max()) {
    throw std::invalid_argument("matrix order " + std::to_string(n) + " is too large");
  }
  const auto bad = std::find_if(a.begin(), a.end(), [](double v) { return !std::isfinite(v); });
  if (bad != a.end()) {
    const auto i = std::size_t(bad - a.begin());
    throw std::invalid_argument("matrix entry (" + std::to_string(i / n + 1) + ", " +
                                std::to_string(i % n + 1) + ") is not finite");
  }
}

}  // namespace

int DetSign(std::span<const double> a, std::size_t n) {
  CheckInput(a, n);
  std::int32_t sign{};
  if (!KoMpMatrixToDeterminantExactSign::Compute(a.data(), unsigned(n), sign)) {
    throw ComputationError("the exact sign of the determinant could not be computed");
  }
  return sign;
}

ExactDeterminant DetExact(std::span<const double> a, std::size_t n) {
  const int librarySign = DetSign(a, n);
  // Every double is m 2^e with m an odd integer. Dividing each row by the
  // power of two of its smallest lowest bit, then each column likewise,
  // leaves an integer matrix B with det(A) = det(B) 2^(sum of the powers),
  // and keeps B's entries (and so the number of primes) small for data whose
  // rows or columns differ in scale.
  std::vector<Entry> b(n * n);
  constexpr std::int64_t kNone = std::numeric_limits<std::int64_t>::max();
  std::vector<std::int64_t> rowLow(n, kNone);
  std::vector<std::int64_t> columnLow(n, kNone);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      const double value = a[i * n + j];
      if (value == 0) continue;
      int exponent{};
      const double mantissa = std::frexp(std::fabs(value), &exponent);
      Entry& entry = b[i * n + j];
      entry.odd = static_cast<std::uint64_t>(std::ldexp(mantissa, 53));
      entry.negative = value < 0;
      const int zeros = std::countr_zero(entry.odd);
      entry.odd >>= zeros;
      entry.shift = std::int64_t(exponent) - 53 + zeros;
      rowLow[i] = std::min(rowLow[i], entry.shift);
    }
  }
  ExactDeterminant result;
  // A zero row or column: the determinant is 0 and the scaling undefined.
  const auto zeroResult = [&] {
    if (librarySign != 0) {
      throw ComputationError("the exact determinant is 0 but the library's exact sign is " +
                             std::to_string(librarySign));
    }
    result.integer = Decimal({}, false);
    result.hexadecimal = Hexadecimal({}, false);
    return result;
  };
  if (std::find(rowLow.begin(), rowLow.end(), kNone) != rowLow.end()) return zeroResult();
  std::int64_t power = 0;
  for (std::size_t i = 0; i < n; ++i) {
    power += rowLow[i];
    for (std::size_t j = 0; j < n; ++j) {
      Entry& entry = b[i * n + j];
      if (entry.odd == 0) continue;
      entry.shift -= rowLow[i];
      columnLow[j] = std::min(columnLow[j], entry.shift);
    }
  }
  if (std::find(columnLow.begin(), columnLow.end(), kNone) != columnLow.end()) return zeroResult();
  // Hadamard's bound |det B| <= product of the rows' Euclidean norms, in
  // bits; each norm is taken relative to the row's largest entry so that
  // nothing overflows.
  double boundBits = 0;
  std::int64_t maxShift = 0;
  for (std::size_t i = 0; i < n; ++i) {
    double largest = -std::numeric_limits<double>::infinity();
    for (std::size_t j = 0; j < n; ++j) {
      Entry& entry = b[i * n + j];
      if (entry.odd == 0) continue;
      entry.shift -= columnLow[j];
      maxShift = std::max(maxShift, entry.shift);
      largest = std::max(largest, std::log2(double(entry.odd)) + double(entry.shift));
    }
    double sum = 0;
    for (std::size_t j = 0; j < n; ++j) {
      const Entry& entry = b[i * n + j];
      if (entry.odd != 0) {
        sum += std::exp2(2 * (std::log2(double(entry.odd)) + double(entry.shift) - largest));
      }
    }
    boundBits += largest + 0.5 * std::log2(sum);
  }
  for (std::int64_t low : columnLow) power += low;
  // The residues must fix det B in (-M/2, M/2): one bit for the sign, and a
  // margin far above the rounding of the logarithms.
  const std::size_t primeCount =
      std::size_t(std::ceil((boundBits + 2 + 1e-9 * std::fabs(boundBits)) / kBitsPerPrime));
  const std::vector<std::uint64_t> primes = Primes(std::max<std::size_t>(primeCount, 1));

  // Garner: det B = v0 + v1 p0 + v2 p0 p1 + ..., each digit vi < pi.
  std::vector<std::uint64_t> digits(primes.size());
  std::vector<std::uint64_t> work;
  for (std::size_t k = 0; k < primes.size(); ++k) {
    const std::uint64_t p = primes[k];
    const std::uint64_t residue = DeterminantModulo(b, n, maxShift, p, work);
    std::uint64_t partial = 0;  // v0 + ... + v(k-1) p0...p(k-2), mod p
    std::uint64_t product = 1;  // p0 ... p(k-1), mod p
    for (std::size_t j = 0; j < k; ++j) {
      partial = (partial + MulMod(digits[j], product, p)) % p;
      product = MulMod(product, primes[j], p);
    }
    digits[k] = MulMod((residue + p - partial) % p, PowMod(product, p - 2, p), p);
  }
  Natural value;
  Natural modulus{1};
  for (std::size_t k = primes.size(); k-- > 0;) MulAdd(value, primes[k], digits[k]);
  for (std::uint64_t p : primes) MulAdd(modulus, p, 0);
  while (!value.empty() && value.back() == 0) value.pop_back();
  if (value.empty()) return zeroResult();
  Natural complement = Minus(modulus, value);  // M - x represents x - M
  const bool negative = Less(complement, value);
  if (negative) value = std::move(complement);
  result.sign = negative ? -1 : 1;
  if (result.sign != librarySign) {
    throw ComputationError("the exact determinant has sign " + std::to_string(result.sign) +
                           " but the library's exact sign is " + std::to_string(librarySign));
  }
  result.powerOfTwo = power + StripTwos(value);
  result.hexadecimal = Hexadecimal(value, negative);
  result.integer = Decimal(std::move(value), negative);
  return result;
}

}  // namespace komath
