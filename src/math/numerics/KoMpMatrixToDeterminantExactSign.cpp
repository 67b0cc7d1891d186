#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "KoModularDeterminantSign.h"
#include "base/KbException.h"

#if defined(__FAST_MATH__)
#error "The exact-sign determinant relies on strict IEEE rounding; do not use -ffast-math."
#endif

namespace {

enum class EMode { eSignOnly, eExactFactors, eDouble };

struct SOutputs {
  double* determinant;
  KbArray<KoFloatExact>* numerator;
  KbArray<KoFloatExact>* denominator;
  std::int32_t* sign;
};

// Decided once, before anything is computed. A sign request wins over a
// determinant request, which is how the static Compute(matrix, double&,
// int&) ends up in sign-only mode.
EMode ModeOf(const SOutputs& outputs) {
  if (outputs.sign == nullptr) return EMode::eDouble;
  return outputs.numerator == nullptr ? EMode::eSignOnly : EMode::eExactFactors;
}

constexpr std::uint32_t c_uiInputVersion = 0;
constexpr std::uint32_t c_uiOutputVersion = 0;
constexpr std::uint32_t c_uiMatrixVersion = 0;
constexpr std::uint32_t c_uiMatrixElementSize = sizeof(double);

// Division-free (fraction-free) Gaussian elimination on an order x order
// matrix of exact numbers, eliminating from the last pivot backwards:
// step k clears column k of the rows above row k. Row i is replaced by
// p * row_i - q * row_k (p the pivot, q = A[i][k]), which multiplies the
// determinant by p; `m_powers[k]` counts those factors so they can be
// divided out later, and a negative p flips the running sign. Rows whose
// entry equals +-p are combined by one exact subtraction or addition, which
// leaves the determinant alone and keeps the numbers small.
//
// Cost: with nothing divided out, the last pivot is a polynomial of degree
// 2^(n-1) in the entries, and the expansions are never compressed (their
// component lists are stored results), so a random order-10 matrix takes
// seconds. The sign-only mode hides this behind its floating-point filter
// for every matrix that is not (nearly) singular.
class CElimination {
 public:
  CElimination(const double* values, unsigned int order, bool countPowers)
      : m_order(order), m_entries(values, values + std::size_t(order) * order) {
    if (countPowers) m_powers.assign(order, 0);
  }

  // The running sign after elimination and the diagonal sign pass.
  std::int32_t Run() {
    std::int32_t sign = 1;
    // Row 0 has no rows above it: nothing to eliminate, and its pivot is
    // zero exactly when the pass below finds it so.
    for (unsigned int k = m_order; k-- > 1;) {
      if (!findPivot(k, sign)) return 0;
      eliminateAbove(k, sign);
    }
    for (unsigned int k = 0; k < m_order; ++k) {
      if (at(k, k).IsZero()) return 0;
      if (at(k, k).IsNegative()) sign = -sign;
    }
    return sign;
  }

  unsigned int Order() const { return m_order; }
  const KoFloatExact& Diagonal(unsigned int k) const { return at(k, k); }
  // The pivot powers; empty in sign-only mode.
  std::vector<std::int32_t>& Powers() { return m_powers; }

 private:
  KoFloatExact& at(unsigned int row, unsigned int column) {
    return m_entries[std::size_t(row) * m_order + column];
  }
  const KoFloatExact& at(unsigned int row, unsigned int column) const {
    return m_entries[std::size_t(row) * m_order + column];
  }

  // A zero pivot is replaced by the first non-zero entry upwards in its
  // column (a row swap, which flips the sign); none means det = 0.
  bool findPivot(unsigned int k, std::int32_t& sign) {
    if (!at(k, k).IsZero()) return true;
    for (unsigned int r = k; r-- > 0;) {
      if (at(r, k).IsZero()) continue;
      for (unsigned int j = 0; j < m_order; ++j) std::swap(at(r, j), at(k, j));
      sign = -sign;
      return true;
    }
    return false;
  }

  // Only columns left of k are updated: column k becomes zero by
  // construction and is never read again, nor are the columns right of it.
  void eliminateAbove(unsigned int k, std::int32_t& sign) {
    const KoFloatExact& p = at(k, k);
    const KoFloatExact minusP = -p;
    for (unsigned int i = k; i-- > 0;) {
      const KoFloatExact& q = at(i, k);
      if (q.IsZero()) continue;
      if (q == p) {
        for (unsigned int j = k; j-- > 0;) at(i, j) = at(i, j) - at(k, j);
      } else if (q == minusP) {
        for (unsigned int j = k; j-- > 0;) at(i, j) = at(i, j) + at(k, j);
      } else {
        for (unsigned int j = k; j-- > 0;) at(i, j) = p * at(i, j) - q * at(k, j);
        if (p.IsNegative()) sign = -sign;
        if (!m_powers.empty()) ++m_powers[k];
      }
    }
  }

  unsigned int m_order;
  std::vector<KoFloatExact> m_entries;
  std::vector<std::int32_t> m_powers;
};

// The double product of the pivot approximations, step by step as plain
// double arithmetic: an intermediate overflow or underflow is part of the
// result.
class CPlainProduct {
 public:
  void Multiply(const KoFloatExact& factor) { m_value *= factor.GetApproximation(); }
  void Divide(const KoFloatExact& factor) { m_value /= factor.GetApproximation(); }
  double Value() const { return m_value; }

 private:
  double m_value = 1.0;
};

// The same product with its binary exponent kept apart, for pivots whose
// largest component lies beyond the double range (an order-10 pivot easily
// exceeds 2^5000): their approximation would be 0 or infinity and the plain
// product 0, infinity or NaN. The result rounds once into the double range.
class CScaledProduct {
 public:
  void Multiply(const KoFloatExact& factor) {
    step(m_mantissa * largestMantissa(factor), largestExponent(factor));
  }
  void Divide(const KoFloatExact& factor) {
    step(m_mantissa / largestMantissa(factor), -largestExponent(factor));
  }
  double Value() const {
    const std::int64_t clamped =
        std::clamp<std::int64_t>(m_exponent, -c_iExponentClamp, c_iExponentClamp);
    return std::ldexp(m_mantissa, static_cast<int>(clamped));
  }

 private:
  static constexpr std::int64_t c_iExponentClamp = 4096;

  static double largestMantissa(const KoFloatExact& f) {
    return f.GetMantissa(f.GetComponentCount() - 1);
  }
  static std::int32_t largestExponent(const KoFloatExact& f) {
    return f.GetExponent(f.GetComponentCount() - 1);
  }
  void step(double product, std::int32_t exponent) {
    int shift;  // written by frexp
    m_mantissa = std::frexp(product, &shift);
    m_exponent += std::int64_t{exponent} + shift;
  }

  double m_mantissa = 1.0;
  std::int64_t m_exponent = 0;
};

// product over k of pivot_k^(1 - powers_k): a pivot never used as
// multiplier is multiplied in, and one used m times is divided out m - 1
// times. Pivots +-1 change nothing (the sign is set afterwards). Consumes
// the powers.
template <class Product>
double PivotProduct(CElimination& elimination) {
  std::vector<std::int32_t>& powers = elimination.Powers();
  Product product;
  for (unsigned int k = 0; k < elimination.Order(); ++k) {
    const KoFloatExact& pivot = elimination.Diagonal(k);
    if (powers[k] < 1) {
      product.Multiply(pivot);
    } else {
      --powers[k];
      for (std::int32_t t = 0; t < powers[k]; ++t) product.Divide(pivot);
    }
  }
  return product.Value();
}

// True when every pivot's largest component is an ordinary double. A finite
// mantissa whose approximation is 0 or infinity lies beyond the double
// range; an infinite or NaN mantissa (from non-finite entries) does not
// count as such and stays with the plain product.
bool ApproximationsInRange(const CElimination& elimination) {
  for (unsigned int k = 0; k < elimination.Order(); ++k) {
    const KoFloatExact& pivot = elimination.Diagonal(k);
    const double mantissa = pivot.GetMantissa(pivot.GetComponentCount() - 1);
    const double approximation = pivot.GetApproximation();
    if (std::isfinite(mantissa) && (approximation == 0.0 || std::isinf(approximation))) {
      return false;
    }
  }
  return true;
}

// The pivots' largest components (KoFloatExact::GetApproximation, exact
// only for one-component pivots) multiplied and divided as plain doubles,
// then given the exact sign.
double DoubleDeterminant(CElimination& elimination, std::int32_t sign) {
  if (sign == 0) return 0.0;
  double value = ApproximationsInRange(elimination) ? PivotProduct<CPlainProduct>(elimination)
                                                    : PivotProduct<CScaledProduct>(elimination);
  // Numerical breakdown: the exact determinant is not zero.
  if (value == 0.0) throw KbException();
  // Flips the sign bit (of a NaN too) so the double carries the exact sign.
  if ((value > 0.0) != (sign >= 1)) value = -value;
  return value;
}

void MakeNonNegative(KoFloatExact& factor) {
  if (factor.IsNegative()) factor.Negate();
}

// The same product as DoubleDeterminant, kept exact: a pivot goes to the
// numerator once unless it was used as multiplier, and to the denominator
// as often as it was used beyond that once.
void ExactFactors(CElimination& elimination, std::int32_t sign, KbArray<KoFloatExact>& numerator,
                  KbArray<KoFloatExact>& denominator) {
  numerator.Clear();
  denominator.Clear();
  if (sign == 0) {
    numerator.PushBack(KoFloatExact(0.0));
    denominator.PushBack(KoFloatExact(1.0));
    return;
  }
  std::vector<std::int32_t>& powers = elimination.Powers();
  for (unsigned int k = 0; k < elimination.Order(); ++k) {
    const KoFloatExact& pivot = elimination.Diagonal(k);
    if (pivot.IsOne() || pivot.IsMinusOne()) continue;
    if (powers[k] > 0) {
      --powers[k];
    } else {
      numerator.PushBack(pivot);
    }
    for (std::int32_t t = 0; t < powers[k]; ++t) denominator.PushBack(pivot);
  }
  for (KoFloatExact& factor : denominator) MakeNonNegative(factor);
  for (KoFloatExact& factor : numerator) MakeNonNegative(factor);
  if (numerator.IsEmpty()) {
    if (sign < 0) numerator.PushBack(KoFloatExact(-1.0));
  } else if (sign < 0) {
    numerator[0].Negate();
  }
}

// The floating-point filter of the sign-only mode: Gaussian elimination
// with partial pivoting in doubles, every entry carried as a midpoint m and
// a radius r such that the exact entry of the Schur complement (of the
// exactly eliminated, identically permuted matrix) lies in [m - r, m + r].
//
// Entries start exact (r = 0), except subnormal ones: the defined sign reads
// a subnormal d with its hidden bit set, as (2^52 + f) 2^-1075 = d/2 +
// 2^-1023, which no double holds when f is odd. m = fl(d/2) + 2^-1023 (the
// sum of two multiples of 2^-1074 below 2^-1022 is exact) is within 2^-1075
// of it, and r = 2^-1074 covers that.
//
// Induction step, with u = 2^-53 the unit roundoff, pivot (m_kk, r_kk),
// g = |m_kk| - r_kk > 0, and the computed multiplier l~ = fl(m_ik / m_kk).
// The exact multiplier l = x_ik / x_kk satisfies
//   |l - m_ik/m_kk| <= (r_ik + |m_ik/m_kk| r_kk) / g.
// Rounding gives |m_ik/m_kk - l~| <= u |l~| for a normal quotient and
// <= 2^-1075 for one that underflows, so |m_ik/m_kk| <= L := (1 + 2u) |l~|
// + 2^-1074 in either case, and
//   r_l = (r_ik + L r_kk + e) / g + u |l~| + e
// bounds |l - l~|, where e = 2^-1000 is an underflow margin. It enters
// twice: before the division, where it covers the absolute error (at most
// 2^-1075 each) of the products in the numerator that underflow, however
// small g is and however much the quotient magnifies them; and after it,
// where it covers an underflow of the quotient itself and of l~. (Adding
// it only after the division, as an earlier version did, left a tiny
// numerator's underflow error divided by a gap below 2^-75 uncovered.)
// The update m'_ij = fl(m_ij - p), p = fl(l~ m_kj), then satisfies
//   |x'_ij - m'_ij| <= r_ij + r_l (|m_kj| + r_kj) + |l~| r_kj
//                      + u (|p| + |m'_ij|) + e,
// the last term covering underflowing products (a subtraction whose result
// is subnormal is exact). Each radius is a sum of non-negative terms
// evaluated in at most eleven rounded operations (the gap's own rounding
// counted as one), so it may come out low by a factor (1 + u)^11 < 1 +
// 2^-49; it is multiplied by 1 + 2^-48. Overflow turns a midpoint or radius
// into infinity or NaN, which fails the test |m_kk| > r_kk, as does any
// pivot interval containing 0. When every pivot passes, the exact pivots
// have the signs of their midpoints and det = (permutation sign) * product
// of pivots.
constexpr double c_dUnitRoundoff = 0x1p-53;
constexpr double c_dRadiusInflation = 1.0 + 0x1p-48;
constexpr double c_dUnderflowSlack = 0x1p-1000;
constexpr double c_dSmallestSubnormal = 0x1p-1074;

// frexp's exponent of a finite x >= 0: x < 2^e, subnormals included (and
// -1074 for zero, which any bound covers).
int BinaryExponent(double x) {
  const auto bits = std::bit_cast<std::uint64_t>(x);
  const auto biased = static_cast<int>(bits >> 52);
  return biased != 0 ? biased - 1022 : std::bit_width(bits) - 1074;
}

// The bound r_l above on |l - fl(m_ik / m_kk)|.
double MultiplierRadius(double pivotMid, double pivotRadius, double entryMid, double entryRadius) {
  const double pivotGap = std::fabs(pivotMid) - pivotRadius;
  const double absL = std::fabs(entryMid / pivotMid);
  const double quotientBound = (1.0 + 2.0 * c_dUnitRoundoff) * absL + c_dSmallestSubnormal;
  return ((entryRadius + quotientBound * pivotRadius + c_dUnderflowSlack) / pivotGap +
          c_dUnitRoundoff * absL + c_dUnderflowSlack) *
         c_dRadiusInflation;
}

class CSignFilter {
 public:
  // `storage` holds 2 order^2 doubles: the midpoints, then the radii.
  CSignFilter(const double* values, unsigned int order, double* storage)
      : m_order(order),
        m_mid(storage, std::size_t(order) * order),
        m_radius(storage + m_mid.size(), m_mid.size()) {
    for (std::size_t e = 0; e < m_mid.size(); ++e) {
      const double v = values[e];
      const bool subnormal = std::fabs(v) < DBL_MIN && v != 0.0;
      m_mid[e] = subnormal ? v * 0.5 + std::copysign(0x1p-1023, v) : v;
      m_radius[e] = subnormal ? c_dSmallestSubnormal : 0.0;
    }
  }

  // False when some pivot interval contains zero (or overflowed). When only
  // the last one does, |det| < 2^magnitudeBits all the same: det is the
  // product of the exact pivots, each within its interval, and each
  // interval's largest magnitude, rounded up by more than the two roundings
  // that formed it, is below 2^e for frexp's e.
  // Every entry must be finite.
  bool Decide(std::int32_t& sign, std::optional<std::int64_t>& magnitudeBits) {
    std::int32_t result = 1;
    std::int64_t bits = 0;
    for (unsigned int k = 0; k < m_order; ++k) {
      if (choosePivot(k)) result = -result;
      const double pivot = mid(k, k);
      const double largest = (std::fabs(pivot) + radius(k, k)) * (1.0 + 0x1p-50);
      if (!(std::fabs(pivot) > radius(k, k))) {
        if (k + 1 == m_order && std::isfinite(largest)) {
          magnitudeBits = bits + BinaryExponent(largest);
        }
        return false;
      }
      bits += BinaryExponent(largest);
      if (std::signbit(pivot)) result = -result;
      for (unsigned int i = k + 1; i < m_order; ++i) eliminate(k, i);
    }
    sign = result;
    return true;
  }

 private:
  double& mid(unsigned int row, unsigned int column) {
    return m_mid[std::size_t(row) * m_order + column];
  }
  double& radius(unsigned int row, unsigned int column) {
    return m_radius[std::size_t(row) * m_order + column];
  }

  // Partial pivoting on the midpoints; true when rows were swapped.
  bool choosePivot(unsigned int k) {
    unsigned int best = k;
    for (unsigned int i = k + 1; i < m_order; ++i) {
      if (std::fabs(mid(i, k)) > std::fabs(mid(best, k))) best = i;
    }
    if (best == k) return false;
    for (unsigned int j = k; j < m_order; ++j) {
      std::swap(mid(best, j), mid(k, j));
      std::swap(radius(best, j), radius(k, j));
    }
    return true;
  }

  void eliminate(unsigned int k, unsigned int i) {
    // An exactly zero entry needs no update: its multiplier is exactly 0.
    if (mid(i, k) == 0.0 && radius(i, k) == 0.0) return;
    const double l = mid(i, k) / mid(k, k);
    const double absL = std::fabs(l);
    const double lRadius = MultiplierRadius(mid(k, k), radius(k, k), mid(i, k), radius(i, k));
    for (unsigned int j = k + 1; j < m_order; ++j) {
      const double p = l * mid(k, j);
      const double updated = mid(i, j) - p;
      radius(i, j) =
          (radius(i, j) + lRadius * (std::fabs(mid(k, j)) + radius(k, j)) + absL * radius(k, j) +
           c_dUnitRoundoff * (std::fabs(p) + std::fabs(updated)) + c_dUnderflowSlack) *
          c_dRadiusInflation;
      mid(i, j) = updated;
    }
  }

  unsigned int m_order;
  std::span<double> m_mid;
  std::span<double> m_radius;
};

bool FilterSign(const double* values, unsigned int order, std::int32_t& sign,
                std::optional<std::int64_t>& magnitudeBits) {
  // Scratch on the stack up to order 16, on the heap beyond.
  constexpr unsigned int c_uiStackOrder = 16;
  std::array<double, 2 * c_uiStackOrder * c_uiStackOrder> stackStorage;
  std::vector<double> heapStorage(order > c_uiStackOrder ? 2 * std::size_t(order) * order : 0);
  double* storage = heapStorage.empty() ? stackStorage.data() : heapStorage.data();
  return CSignFilter(values, order, storage).Decide(sign, magnitudeBits);
}

// Orders 3 and 4 without pivoting or divisions: the Laplace expansion over
// column subsets (minor[S] is the determinant of the first |S| rows and the
// columns in S) in doubles, with the permanent of |A| alongside, computed
// the same way. With no underflow or overflow, a minor of k rows is off by
// at most gamma(c_k) times its permanent, c_1 = 0 and c_k = c_(k-1) + 1 +
// (k - 1) (one product, k - 1 additions): gamma(5) for order 3, gamma(9)
// for order 4; the computed permanent may be low by the same factor. So
// 2^-49 times the computed permanent (above 9.01 u times it, and exact, a
// power of two) bounds the error of the computed determinant. Entries of
// magnitude in [2^-200, 2^200] (or zero) keep every intermediate normal and
// finite: products of four are within 2^+-800, and a nonzero difference of
// products loses at most 53 bits of exponent. Other matrices, and every
// other order, return false without a bound.
//
// The expansion is cheaper than the pivoting filter for these orders, and
// on (nearly) singular matrices, where neither decides, its bound on |det|
// is what the exact path needs.
// det and permanent of the 2x2 block of rows r, r + 1 and columns i, j.
struct SMinor {
  double det, permanent;
};

SMinor Minor2(const double* a, unsigned int n, unsigned int r, unsigned int i, unsigned int j) {
  const double* top = a + r * n;
  const double* bottom = top + n;
  const double x = top[i] * bottom[j], y = top[j] * bottom[i];
  return {x - y, std::fabs(x) + std::fabs(y)};
}

// Row r times the minors of rows below it over `columns` (k of them, in
// increasing order, minors[c] the one without columns[c]), cofactor signs
// alternating from +.
SMinor Expand(const double* row, const unsigned int* columns, const SMinor* minors,
              unsigned int k) {
  double det = row[columns[0]] * minors[0].det;
  double permanent = std::fabs(row[columns[0]]) * minors[0].permanent;
  for (unsigned int c = 1; c < k; ++c) {
    const double term = row[columns[c]] * minors[c].det;
    det = (c & 1) != 0 ? det - term : det + term;
    permanent += std::fabs(row[columns[c]]) * minors[c].permanent;
  }
  return {det, permanent};
}

SMinor Minor3(const double* a, unsigned int n, unsigned int r, unsigned int i, unsigned int j,
              unsigned int k) {
  const unsigned int columns[] = {i, j, k};
  const SMinor minors[] = {Minor2(a, n, r + 1, j, k), Minor2(a, n, r + 1, i, k),
                           Minor2(a, n, r + 1, i, j)};
  return Expand(a + r * n, columns, minors, 3);
}

bool CofactorFilterSign(const double* values, unsigned int order, std::int32_t& sign,
                        std::optional<std::int64_t>& magnitudeBits) {
  if (order != 3 && order != 4) return false;
  for (unsigned int e = 0; e < order * order; ++e) {
    const double magnitude = std::fabs(values[e]);
    if (!(magnitude == 0.0 || (magnitude >= 0x1p-200 && magnitude <= 0x1p200))) return false;
  }
  SMinor whole;
  if (order == 3) {
    whole = Minor3(values, 3, 0, 0, 1, 2);
  } else {
    const unsigned int columns[] = {0, 1, 2, 3};
    const SMinor minors[] = {Minor3(values, 4, 1, 1, 2, 3), Minor3(values, 4, 1, 0, 2, 3),
                             Minor3(values, 4, 1, 0, 1, 3), Minor3(values, 4, 1, 0, 1, 2)};
    whole = Expand(values, columns, minors, 4);
  }
  const double bound = whole.permanent * 0x1p-49;
  if (std::fabs(whole.det) > bound) {
    sign = whole.det > 0.0 ? 1 : -1;
    return true;
  }
  // A zero permanent means every term of the determinant is zero.
  if (bound == 0.0) {
    sign = 0;
    return true;
  }
  // |det| <= |computed| + bound, rounded up by more than its two roundings.
  magnitudeBits = BinaryExponent((std::fabs(whole.det) + bound) * (1.0 + 0x1p-50));
  return false;
}

// Sign only: the floating-point filter decides well-conditioned matrices,
// the modular path the rest; only matrices beyond the modular path's prime
// table reach the exact elimination.
std::int32_t SignOnly(const double* values, unsigned int order,
                      KoMpMatrixToDeterminantExactSign::STrace& trace) {
  using EStage = KoMpMatrixToDeterminantExactSign::EStage;
  std::int32_t sign;  // written by the stage that decides
  trace = {};
  if (CofactorFilterSign(values, order, sign, trace.magnitudeBits)) {
    trace.stage = EStage::eCofactorFilter;
    return sign;
  }
  if (!trace.magnitudeBits && FilterSign(values, order, sign, trace.magnitudeBits)) {
    trace.stage = EStage::eIntervalFilter;
    return sign;
  }
  if (KoModularDeterminantSign(values, order, sign, trace)) return sign;
  trace.stage = EStage::eElimination;
  return CElimination(values, order, false).Run();
}

void ComputeDeterminant(const double* values, unsigned int order, const SOutputs& outputs) {
  const EMode mode = ModeOf(outputs);
  if (mode == EMode::eSignOnly) {
    KoMpMatrixToDeterminantExactSign::STrace trace;
    *outputs.sign = SignOnly(values, order, trace);
    return;
  }
  CElimination elimination(values, order, true);
  const std::int32_t sign = elimination.Run();
  if (mode == EMode::eDouble) {
    *outputs.determinant = DoubleDeterminant(elimination, sign);
  } else {
    ExactFactors(elimination, sign, *outputs.numerator, *outputs.denominator);
    *outputs.sign = sign;
  }
}

bool AllFinite(const double* values, unsigned int order) {
  return std::all_of(values, values + std::size_t(order) * order,
                     [](double v) { return std::isfinite(v); });
}

// A NaN component is never eliminated as a zero one is, so an exact number
// holding one doubles its length with every product: the elimination of a
// matrix with a non-finite entry would run out of time and memory from
// order 5 on, for a sign that means nothing. Such a matrix is refused.
bool IsComputable(const KoArray2D<double>& matrix) {
  return matrix.GetWidth() == matrix.GetHeight() && AllFinite(matrix.GetData(), matrix.GetWidth());
}

void WriteMatrix(KbStreamWriteBinary& stream, const KoArray2D<double>& matrix) {
  stream.WriteVersion(c_uiMatrixVersion);
  stream.WriteUInt32(matrix.GetHeight());
  stream.WriteUInt32(matrix.GetWidth());
  stream.WriteUInt32(c_uiMatrixElementSize);
  const std::size_t count = std::size_t(matrix.GetWidth()) * matrix.GetHeight();
  if (count != 0) stream.WriteBuffer(matrix.GetData(), count * c_uiMatrixElementSize);
}

KoArray2D<double> ReadMatrix(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiMatrixVersion);
  const std::uint32_t rows = stream.ReadUInt32();
  const std::uint32_t columns = stream.ReadUInt32();
  const std::uint32_t elementSize = stream.ReadUInt32();
  if (elementSize != c_uiMatrixElementSize) {
    throw KbExceptionWrongFileVersion(c_uiMatrixElementSize, elementSize,
                                      "matrix record of another element size");
  }
  const std::uint64_t count = std::uint64_t{rows} * columns;
  stream.EnsureAvailable(count, c_uiMatrixElementSize);
  KoArray2D<double> matrix(columns, rows);
  if (count != 0) stream.ReadBuffer(matrix.GetData(), count * c_uiMatrixElementSize);
  return matrix;
}

}  // namespace

// The owned side of a unit test: the matrix and output slots the algorithm
// points at while it replays a record, and the results the record stored.
struct KoMpMatrixToDeterminantExactSign::SUnitTestData {
  KoArray2D<double> matrix;
  double determinant{};
  std::int32_t sign{};
  KbArray<KoFloatExact> numerator;
  KbArray<KoFloatExact> denominator;

  bool outputRead{};
  bool storedCalculated{};
  double storedDeterminant{};
  std::int32_t storedSign{};
  KbArray<KoFloatExact> storedNumerator;
  KbArray<KoFloatExact> storedDenominator;
};

KoMpMatrixToDeterminantExactSign::KoMpMatrixToDeterminantExactSign() = default;
KoMpMatrixToDeterminantExactSign::~KoMpMatrixToDeterminantExactSign() = default;

void KoMpMatrixToDeterminantExactSign::SetInput(const KoArray2D<double>& matrix,
                                                std::int32_t& sign) {
  setInputs(&matrix, nullptr, nullptr, nullptr, &sign);
}

void KoMpMatrixToDeterminantExactSign::SetInput(const KoArray2D<double>& matrix,
                                                double& determinant) {
  setInputs(&matrix, &determinant, nullptr, nullptr, nullptr);
}

void KoMpMatrixToDeterminantExactSign::SetInput(const KoArray2D<double>& matrix,
                                                KbArray<KoFloatExact>& numerator,
                                                KbArray<KoFloatExact>& denominator,
                                                std::int32_t& sign) {
  setInputs(&matrix, nullptr, &numerator, &denominator, &sign);
}

// Every overload sets all five pointers, clearing those of the outputs it
// does not take.
void KoMpMatrixToDeterminantExactSign::setInputs(const KoArray2D<double>* matrix,
                                                 double* determinant,
                                                 KbArray<KoFloatExact>* numerator,
                                                 KbArray<KoFloatExact>* denominator,
                                                 std::int32_t* sign) {
  m_pMatrix = matrix;
  m_pDeterminant = determinant;
  m_pNumerator = numerator;
  m_pDenominator = denominator;
  m_pSign = sign;
  setInputChanged();
}

bool KoMpMatrixToDeterminantExactSign::Compute(const KoArray2D<double>& matrix,
                                               std::int32_t& sign) {
  if (!IsComputable(matrix)) return false;
  ComputeDeterminant(matrix.GetData(), matrix.GetWidth(), {nullptr, nullptr, nullptr, &sign});
  return true;
}

bool KoMpMatrixToDeterminantExactSign::Compute(const KoArray2D<double>& matrix, double& determinant,
                                               std::int32_t& sign) {
  if (!IsComputable(matrix)) return false;
  ComputeDeterminant(matrix.GetData(), matrix.GetWidth(), {&determinant, nullptr, nullptr, &sign});
  return true;
}

bool KoMpMatrixToDeterminantExactSign::Compute(const KoArray2D<double>& matrix,
                                               KbArray<KoFloatExact>& numerator,
                                               KbArray<KoFloatExact>& denominator,
                                               std::int32_t& sign) {
  if (!IsComputable(matrix)) return false;
  ComputeDeterminant(matrix.GetData(), matrix.GetWidth(),
                     {nullptr, &numerator, &denominator, &sign});
  return true;
}

bool KoMpMatrixToDeterminantExactSign::Compute(const double* values, unsigned int order,
                                               std::int32_t& sign) {
  STrace trace;
  return Compute(values, order, sign, trace);
}

bool KoMpMatrixToDeterminantExactSign::Compute(const double* values, unsigned int order,
                                               std::int32_t& sign, STrace& trace) {
  if (!AllFinite(values, order)) return false;
  sign = SignOnly(values, order, trace);
  return true;
}

bool KoMpMatrixToDeterminantExactSign::TrySignInDoubles(const double* values, unsigned int order,
                                                        std::int32_t& sign) {
  std::optional<std::int64_t> magnitudeBits;
  return AllFinite(values, order) && FilterSign(values, order, sign, magnitudeBits);
}

double KoMpMatrixToDeterminantExactSign::FilterMultiplierRadius(double pivotMid, double pivotRadius,
                                                                double entryMid,
                                                                double entryRadius) {
  return MultiplierRadius(pivotMid, pivotRadius, entryMid, entryRadius);
}

bool KoMpMatrixToDeterminantExactSign::checkPreConditions() const {
  if (m_pMatrix == nullptr || !IsComputable(*m_pMatrix)) return false;
  if (m_pDeterminant == nullptr && m_pSign == nullptr) return false;
  if ((m_pNumerator == nullptr) != (m_pDenominator == nullptr)) return false;
  return m_pDeterminant == nullptr || m_pNumerator == nullptr;
}

void KoMpMatrixToDeterminantExactSign::compute() {
  ComputeDeterminant(m_pMatrix->GetData(), m_pMatrix->GetWidth(),
                     {m_pDeterminant, m_pNumerator, m_pDenominator, m_pSign});
}

void KoMpMatrixToDeterminantExactSign::serializeUnitTestInput(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiInputVersion);
  KoMpAlgorithm::serializeUnitTestInput(stream);
  const bool valid = checkPreConditions();
  stream.WriteBool(valid);
  if (!valid) return;
  WriteMatrix(stream, *m_pMatrix);
  stream.WriteBool(m_pNumerator != nullptr);
  stream.WriteBool(m_pDeterminant != nullptr);
}

// The record names the mode by what it requests, and the mode picks the
// SetInput form: factors, else a double, else the sign alone.
void KoMpMatrixToDeterminantExactSign::serializeUnitTestInput(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiInputVersion);
  KoMpAlgorithm::serializeUnitTestInput(stream);
  if (!m_pUnitTest) m_pUnitTest = std::make_unique<SUnitTestData>();
  SUnitTestData& data = *m_pUnitTest;
  data.outputRead = false;
  if (!stream.ReadBool()) {  // the recorded inputs failed the pre-conditions
    setInputs(nullptr, nullptr, nullptr, nullptr, nullptr);
    return;
  }
  data.matrix = ReadMatrix(stream);
  const bool factorsRequested = stream.ReadBool();
  const bool doubleRequested = stream.ReadBool();
  if (factorsRequested) {
    SetInput(data.matrix, data.numerator, data.denominator, data.sign);
  } else if (doubleRequested) {
    SetInput(data.matrix, data.determinant);
  } else {
    SetInput(data.matrix, data.sign);
  }
}

void KoMpMatrixToDeterminantExactSign::serializeUnitTestOutput(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiOutputVersion);
  KoMpAlgorithm::serializeUnitTestOutput(stream);
  stream.WriteBool(IsCalculated());
  if (!IsCalculated()) return;
  if (m_pNumerator != nullptr) {
    KoWriteFloatExactArray(stream, *m_pNumerator);
    KoWriteFloatExactArray(stream, *m_pDenominator);
    stream.WriteInt32(*m_pSign);
  } else if (m_pDeterminant != nullptr) {
    stream.WriteDouble(*m_pDeterminant);
  } else {
    stream.WriteInt32(*m_pSign);
  }
}

void KoMpMatrixToDeterminantExactSign::serializeUnitTestOutput(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiOutputVersion);
  KoMpAlgorithm::serializeUnitTestOutput(stream);
  if (!m_pUnitTest) m_pUnitTest = std::make_unique<SUnitTestData>();
  SUnitTestData& data = *m_pUnitTest;
  data.outputRead = false;
  data.storedCalculated = stream.ReadBool();
  if (data.storedCalculated) {
    if (m_pNumerator != nullptr) {
      KoReadFloatExactArray(stream, data.storedNumerator);
      KoReadFloatExactArray(stream, data.storedDenominator);
      data.storedSign = stream.ReadInt32();
    } else if (m_pDeterminant != nullptr) {
      data.storedDeterminant = stream.ReadDouble();
    } else {
      data.storedSign = stream.ReadInt32();
    }
  }
  data.outputRead = true;
}

bool KoMpMatrixToDeterminantExactSign::compareUnitTestResult() const {
  if (!m_pUnitTest || !m_pUnitTest->outputRead) return false;
  const SUnitTestData& data = *m_pUnitTest;
  if (!data.storedCalculated || !IsCalculated()) return data.storedCalculated == IsCalculated();
  if (m_pNumerator != nullptr) {
    return data.storedSign == *m_pSign && data.storedNumerator == *m_pNumerator &&
           data.storedDenominator == *m_pDenominator;
  }
  if (m_pDeterminant != nullptr) return data.storedDeterminant == *m_pDeterminant;
  return data.storedSign == *m_pSign;
}
