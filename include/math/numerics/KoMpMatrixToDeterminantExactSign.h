// KoMpMatrixToDeterminantExactSign: the exact sign of a determinant.
//
// Decides the sign of det(M) for a square matrix of doubles with no
// rounding error whatever the conditioning, by fraction-free Gaussian
// elimination in exact expansion arithmetic (KoFloatExact). On request it
// also delivers the determinant as a double approximation that carries the
// exact sign, or exactly, as a quotient of products of exact factors.
//
// Three modes, chosen once per computation from the outputs given:
//
//   outputs set                        mode           writes
//   sign (numerator null)              sign only      sign; a determinant
//                                                     also given is left
//                                                     untouched on purpose
//   numerator, denominator and sign    exact factors  sign, both arrays
//   determinant (sign null)            double         determinant
//
// The sign is -1, 0 or +1; the empty (0 x 0) matrix has sign +1.
//
// Framework use (all pointers are to caller-owned objects, kept until the
// next SetInput; the algorithm owns none of them):
//
//   KoMpMatrixToDeterminantExactSign determinant;
//   std::int32_t sign;
//   determinant.SetInput(matrix, sign);
//   if (determinant.Compute(0)) ...
//
// Compute returns false, writing nothing, when the matrix is not square,
// has an infinite or NaN entry, or the outputs are inconsistent (see
// checkPreConditions). Non-finite entries are refused because the exact
// numbers would carry them along and grow without end (from order 5 on,
// beyond any time and memory) towards a sign that means nothing. The static Compute
// functions do the same work without the framework.
//
// Sign-only mode first tries TrySignInDoubles, a floating-point filter with
// a rigorous error bound that decides all but (nearly) singular matrices in
// O(order^3) double operations; undecided matrices get their sign from the
// determinant of the row-scaled integer matrix, exactly in wrapping
// multi-limb integers up to order 6 (entries of at most 64 bits), else
// modulo a few 62-bit primes (Chinese remaindering in mixed radix), either
// against the filter's or Hadamard's bound. Only
// matrices spanning thousands of binary orders of magnitude are left to the
// exact elimination.
//
// Double mode: the result is the product of the diagonal pivots' largest
// components (KoFloatExact::GetApproximation) with the pivot powers divided
// out, multiplied and divided step by step in plain doubles, then given the
// exact sign. Its magnitude is only as good as those components: exact for
// one-component pivots, off by less than a factor 2 per pivot at worst.
// When some pivot's largest component lies beyond the double range, the
// product keeps its exponent apart instead and rounds once at the end (a
// signed infinity above the range). KbException is thrown when the product
// is 0.0 although the determinant is not zero.
//
// Exact-factor mode: det = product(numerator) / product(denominator), an
// empty product being 1. Every denominator factor is positive, the first
// numerator factor carries the sign and the others are positive; a zero
// determinant gives numerator [0] and denominator [1]. Both arrays are
// cleared first.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "base/KbArray.h"
#include "base/KoAlgorithm.h"
#include "base/KoArray2D.h"
#include "math/KoMathExport.h"
#include "math/numerics/KoFloatExact.h"

class KOMATH_API KoMpMatrixToDeterminantExactSign : public KoMpAlgorithm {
  KB_DECLARE_RTTI(KoMpMatrixToDeterminantExactSign)

 public:
  KoMpMatrixToDeterminantExactSign();
  ~KoMpMatrixToDeterminantExactSign() override;

  // Sign-only mode.
  void SetInput(const KoArray2D<double>& matrix, std::int32_t& sign);
  // Double mode.
  void SetInput(const KoArray2D<double>& matrix, double& determinant);
  // Exact-factor mode.
  void SetInput(const KoArray2D<double>& matrix, KbArray<KoFloatExact>& numerator,
                KbArray<KoFloatExact>& denominator, std::int32_t& sign);

  using KoAlgorithm::Compute;

  // One-call forms; each returns false (writing nothing) for a matrix that
  // is not square or has a non-finite entry. Sign only:
  static bool Compute(const KoArray2D<double>& matrix, std::int32_t& sign);
  // Also sign only: `determinant` keeps its value.
  static bool Compute(const KoArray2D<double>& matrix, double& determinant, std::int32_t& sign);
  static bool Compute(const KoArray2D<double>& matrix, KbArray<KoFloatExact>& numerator,
                      KbArray<KoFloatExact>& denominator, std::int32_t& sign);
  // `values` holds order x order doubles row by row; sign only.
  static bool Compute(const double* values, unsigned int order, std::int32_t& sign);

  // The stages of sign-only mode, in the order they are tried.
  enum class EStage : std::uint8_t {
    eCofactorFilter,  // orders 3 and 4: the expansion in doubles with its bound
    eIntervalFilter,  // TrySignInDoubles
    eZeroRow,         // a row of zeros
    eOrderThree,      // order 3 in 128-bit integers
    ePowerOfTwo,      // the expansion modulo 2^(64 width)
    ePrimes,          // modulo `width` primes
    eElimination      // the exact elimination
  };
  // Which stage decided and what it used. A stage that stops deciding what
  // it is meant to costs time, never a wrong sign, so only this shows it.
  struct STrace {
    EStage stage{};
    std::uint32_t width = 0;  // limbs or primes of the modular stages, else 0
    // The filters' bound |det| < 2^magnitudeBits, when they found one.
    std::optional<std::int64_t> magnitudeBits;
  };
  // As the form above, also reporting the route through `trace`.
  static bool Compute(const double* values, unsigned int order, std::int32_t& sign, STrace& trace);

  // The floating-point filter: true, with the exact sign, when interval
  // Gaussian elimination in doubles (midpoint and rigorous radius per
  // entry) proves every pivot non-zero; false, leaving `sign` untouched,
  // when it cannot (singular or nearly singular matrices, non-finite
  // entries, overflow). The empty matrix gets +1. Subnormal entries are
  // read as KoFloatExact reads them (with the hidden bit set), so the filter
  // agrees with the exact elimination wherever it decides.
  static bool TrySignInDoubles(const double* values, unsigned int order, std::int32_t& sign);

  // The filter's bound on one elimination multiplier: for an exact pivot in
  // [pivotMid - pivotRadius, pivotMid + pivotRadius] with |pivotMid| >
  // pivotRadius and an exact entry in [entryMid - entryRadius, entryMid +
  // entryRadius], the exact quotient lies within the result of
  // fl(entryMid / pivotMid), underflow included. Public so that the bound
  // can be checked where it is tightest.
  static double FilterMultiplierRadius(double pivotMid, double pivotRadius, double entryMid,
                                       double entryRadius);

 protected:
  // True when the matrix is set, square and finite, a determinant or a sign is
  // requested, numerator and denominator are both set or both null, and
  // a determinant is not requested together with the factor arrays.
  bool checkPreConditions() const override;
  void compute() override;

  // Unit-test records. Input, version 0: the KoAlgorithm part, a bool
  // "input valid" and, when valid, the matrix record (version 0, u32 rows,
  // u32 columns, u32 element size 8, the doubles as one raw block), a bool
  // "factors requested" and a bool "double requested". Output, version 0:
  // the KoAlgorithm part, a bool IsCalculated() and, when calculated, the
  // numerator and denominator array records and the sign (factor mode), the
  // double (double mode) or the sign (sign-only mode).
  void serializeUnitTestInput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestInput(KbStreamReadBinary& stream) override;
  void serializeUnitTestOutput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestOutput(KbStreamReadBinary& stream) override;
  // False when no output record was read. A stored "not calculated" matches
  // a computation that failed as well (there are no results to compare);
  // otherwise the mode's results must be equal: the double by == (so 0.0
  // matches -0.0 and a NaN never matches), the factor arrays number by
  // number (representation equality) with the sign, or the sign alone.
  bool compareUnitTestResult() const override;

 private:
  struct SUnitTestData;

  void setInputs(const KoArray2D<double>* matrix, double* determinant,
                 KbArray<KoFloatExact>* numerator, KbArray<KoFloatExact>* denominator,
                 std::int32_t* sign);

  const KoArray2D<double>* m_pMatrix = nullptr;
  double* m_pDeterminant = nullptr;
  KbArray<KoFloatExact>* m_pNumerator = nullptr;
  KbArray<KoFloatExact>* m_pDenominator = nullptr;
  std::int32_t* m_pSign = nullptr;
  // Inputs and expected outputs read from a unit-test file; created on the
  // first read.
  std::unique_ptr<SUnitTestData> m_pUnitTest;
};
