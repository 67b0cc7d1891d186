// KoFtArrayConvolution<T>: exact smoothing of irregular samples with a tent.
//
// The samples (x_k, v_k), at increasing positions on a line or on a circle
// of length `period`, are read as a piecewise-constant function: v_k holds
// on the cell of sample k, from the midpoint with its left neighbour to the
// midpoint with its right neighbour. That function is convolved with the
// normalised tent K(u) = 1 - |u| on [-1, 1], scaled to the half-width h, and
// the result is taken at every sample position, in place:
//
//   r_i = integral of f(x) K((x - x_i) / h) dx / h.
//
// Every cell's share is integrated exactly with the tent's antiderivative
// F(u) = (1 - |u|/2) u, so there is no sampling grid and no transform.
// Two sweeps per sample walk the cells outwards from x_i until the kernel's
// reach is passed (right sweep while the cell boundary b < x_i + h, left
// sweep while b > x_i - h); each visited cell adds (F(hi) - F(lo)) v_k, with
// lo and hi its boundaries in kernel units clamped to [-1, 1]. The cost is
// O(N * (cells under the kernel)).
//
// Conventions that bite:
// - Open line: the first and last cells reach to -inf and +inf (the values
//   continue as constants beyond the ends), so a single sample keeps its
//   value and constants stay constant.
// - Circle: positions repeat every `period`; a sweep that runs off one end
//   continues at the other with the offset +-period added. When h > period/2
//   the sweeps meet and wrap, visiting samples more than once; every visit
//   adds its share.
// - h = 0 skips both sweeps and gives zeros (not the input).
// - All arithmetic is in float in the order above (bit-identical results on
//   every host; the library is built without FMA contraction). Vectors are
//   smoothed component by component with the same weights.
// - Unsorted positions are not detected: the sweeps then stop early or walk
//   cells in the wrong order, and the result is meaningless but finite work.
//   NaN positions end a sweep at the first NaN boundary. On a circle whose
//   positions span more than one period a sweep could need any number of
//   laps; each sweep therefore stops after c_uiMaxWraps wraps, which sorted
//   positions within one period never reach.
//
//   KoFtArrayConvolution<float> smooth;
//   smooth.SetInput(0.5f, positions, false, 0.0f, values);  // keeps pointers
//   if (smooth.Compute(0)) ... values now holds the smoothed samples
#pragma once

#include <memory>

#include "base/KbArray.h"
#include "base/KbVector.h"
#include "base/KoAlgorithm.h"
#include "math/KoMathExport.h"

template <class T>
class KOMATH_API KoFtArrayConvolution : public KoFtAlgorithm {
  KB_DECLARE_RTTI(KoFtArrayConvolution)

 public:
  // On a circle the kernel may span at most this many periods. Beyond it
  // the result equals the mean to float precision (the tent multiplies
  // every harmonic by at most (period / (pi h))^2 < 1e-7), while the sweeps
  // would still walk every lap sample by sample, and never end for an
  // infinite h.
  static constexpr float c_fMaxPeriodsPerHalfWidth = 1024.0f;
  // Positions within one period pass x_i + h after 1 + h / period wraps;
  // two more absorb the rounding of the accumulated offset.
  static constexpr unsigned int c_uiMaxWraps = 1024 + 3;

  KoFtArrayConvolution();
  ~KoFtArrayConvolution() override;

  // Stores pointers to `positions` and `values` (both must outlive every
  // Compute; pass no temporaries) and the three numbers; marks the results
  // stale. `values` is input and output: Compute replaces its contents by
  // the smoothed values (a fresh buffer of the same length; the old one is
  // freed). `period` is read only when `periodic`. For T = float,
  // `positions` and `values` may be the same array: the positions are read
  // before the result replaces them.
  void SetInput(float halfWidth, const KbArray<float>& positions, bool periodic, float period,
                KbArray<T>& values);

  using KoAlgorithm::Compute;

 protected:
  // True when h >= 0, both arrays are set and of equal length, and, on a
  // circle, period > 0 and h <= c_fMaxPeriodsPerHalfWidth * period. False
  // leaves `values` untouched. NaN h or period fail.
  bool checkPreConditions() const override;
  // Nothing happens for N = 0.
  void compute() override;

  // Unit-test records, version 1 each, little-endian.
  // Input: u32 1, the KoAlgorithm part, float h, the positions' array
  // record, bool periodic, float period, the values' array record (4 bytes
  // per float or vector component). Output: u32 1, the KoAlgorithm part,
  // the array record of the current `values`. Writing needs the inputs set
  // (KbException otherwise). Since the values are smoothed in place, the
  // input record must be written before Compute (KoAlgorithm::CreateUnitTest
  // computes first and would record the results as input); a failed
  // computation records the untouched values. Reading installs arrays owned
  // by this object as inputs, keeping the values as read, which the input
  // writer then records again (so Recreate rewrites the same input). A
  // corrupt or truncated record throws before anything changes.
  void serializeUnitTestInput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestInput(KbStreamReadBinary& stream) override;
  void serializeUnitTestOutput(KbStreamWriteBinary& stream) const override;
  void serializeUnitTestOutput(KbStreamReadBinary& stream) override;
  // Exact comparison of `values` with the stored result: equal lengths and
  // every element (every component) ==, so a NaN on either side differs.
  // Throws KbException when no input or no output record has been read.
  bool compareUnitTestResult() const override;

 private:
  struct SUnitTestData;

  float m_halfWidth = 0.0f;
  // SetInput sets m_pPositions and m_pValues together: both are null
  // until the first SetInput, neither afterwards.
  const KbArray<float>* m_pPositions = nullptr;
  bool m_periodic = false;
  float m_period = 0.0f;
  KbArray<T>* m_pValues = nullptr;
  // Inputs and expected result read from a unit-test file; created on the
  // first read.
  std::unique_ptr<SUnitTestData> m_pUnitTest;
};

template <>
const KbRTTI KoFtArrayConvolution<float>::RTTI;
template <>
const KbRTTI KoFtArrayConvolution<KbVector2f>::RTTI;
template <>
const KbRTTI KoFtArrayConvolution<KbVector3f>::RTTI;

extern template class KoFtArrayConvolution<float>;
extern template class KoFtArrayConvolution<KbVector2f>;
extern template class KoFtArrayConvolution<KbVector3f>;
