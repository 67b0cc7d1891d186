// KoFunctionTableNonUniform<In, Out>: a function given by (x, y) samples at
// ascending, arbitrary abscissae.
//
// Samples are appended in ascending order (AppendSorted) into slots reserved
// by the constructor; appending beyond the reserved slots grows the table by
// one slot per sample instead of writing outside it.
// Evaluation finds the interval by bisection: i is the last sample with
// x[i] <= x, clamped to 0 below the first sample and to n − 1 beyond the
// last (an exact hit returns its index at once). Then, with n samples:
//   eLinear: the line through samples i and i+1, or through n−2 and n−1
//            when i is the last one: the table extrapolates linearly on
//            both sides;
//   eNone:   y[i], except y[n−2] when i = n − 1: in this mode the last
//            sample's value is never returned (deliberate and relied on);
//   any other interpolation type: y[i].
// MinX, MaxX and InvalidY play no part in evaluation; MinX and MaxX only
// steer the derivative kernels of KoFunctionTable. Degenerate cases never
// read outside the samples or loop: an empty table, and a single sample in
// eLinear or eNone mode, yield InvalidY; with two samples or more a NaN
// argument yields NaN in every component.
//
// Derivatives use the step H when SetH stored a non-zero one, else the
// smallest spacing met by AppendSorted (getH()). After the size-taking
// constructor MinX is the largest finite value and stays so, so the kernels
// always take their forward branch.
//
// Record, with no version number and without the KoFunctionTable record
// (MinX, MaxX, InvalidY and the interpolation type are neither written nor
// read): count u32, H, automatic step (both In), then the array record of
// all reserved slots, used or not (marker 0xFFFFFFFF, version 1, size,
// element size 8 or 16, raw SCoord2D). The older array layout without
// marker is read as well. A record may claim more samples in use than it
// stores slots; the claim is kept and written back, but only the stored
// slots take part in evaluation.
//
// Instantiated for <float,float>, <double,double> and <float,KbVector3f>;
// registered as "KoFunctionTableNonUniform<float>",
// "KoFunctionTableNonUniform<double>" and
// "KoFunctionTableNonUniform<float, KbVector3f>".
#pragma once

#include <cstdint>
#include <limits>
#include <memory>

#include "base/KbArray.h"
#include "math/tables/KoFunctionTable.h"

template <class In, class Out>
class KOMATH_API KoFunctionTableNonUniform : public KoFunctionTable<In, Out> {
  KB_DECLARE_RTTI(KoFunctionTableNonUniform)

 public:
  using typename KoFunctionTable<In, Out>::EInterpolationType;
  using KoFunctionTable<In, Out>::eNone;
  using KoFunctionTable<In, Out>::eLinear;

  // One sample, packed: 8 bytes for <float,float>, 16 for the others.
  struct SCoord2D {
    In x;
    Out y;
  };

  // No slots, range [0, 1], linear interpolation. The first AppendSorted
  // sets MinX.
  KoFunctionTableNonUniform();
  // `size` reserved slots; MinX = largest finite In, MaxX = its negative,
  // linear interpolation.
  explicit KoFunctionTableNonUniform(unsigned int size);
  KoFunctionTableNonUniform(const KoFunctionTableNonUniform& other);
  KoFunctionTableNonUniform(KoFunctionTableNonUniform&& other) noexcept;
  KoFunctionTableNonUniform& operator=(const KoFunctionTableNonUniform& other);
  KoFunctionTableNonUniform& operator=(KoFunctionTableNonUniform&& other) noexcept;
  ~KoFunctionTableNonUniform() override;

  // Appends (x, y); an x equal to the last one replaces that sample. Sets
  // MaxX = x, and MinX = x only while no slot is reserved (a table built
  // with a size keeps the MinX of its constructor). The order of the
  // abscissae is not checked: the caller appends in ascending order.
  virtual void AppendSorted(In x, Out y);

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate. The
  // arguments' bisections run eight at a time, interleaved.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;
  // The kernels of KoFunctionTable with h = getH().
  Out GetDerivative(In x) const override;
  Out GetSecondDerivative(In x) const override;

  // 0 returns to the automatic step.
  void SetH(In h) { m_h = h; }
  In getH() const { return m_h != 0 ? m_h : m_automaticStep; }

  // Every reserved slot, also the unused ones; the first
  // GetSampleCount() hold the samples.
  const KbArray<SCoord2D>& GetTable() const { return m_table; }
  // The samples in use that exist: the stored count, cut to the slots.
  unsigned int GetSampleCount() const { return usedCount(); }

  // New tables with the derivative at every abscissa, appended into a table
  // built with the size-taking constructor (H is not copied).
  std::unique_ptr<KoFunctionTableNonUniform> GetDerivativeFunction() const;
  std::unique_ptr<KoFunctionTableNonUniform> GetSecondDerivativeFunction() const;

  std::unique_ptr<KoFunctionLimited<In, Out>> Clone() const override;

  void Serialize(KbStreamWriteBinary& stream) const override;
  // Reads count, H and automatic step into the object, empties the slots,
  // then reads the array. Throws KbExceptionWrongFileVersion for an array
  // size equal to the marker or an element size larger than a slot, and
  // KbExceptionEndOfStream for a truncated record (checked before the slots
  // are allocated); the fields read before the failure keep their new
  // values. The stored element size is otherwise not checked: size × element
  // size bytes are read into the front of the slots.
  void Serialize(KbStreamReadBinary& stream) override;

 protected:
  // The bisection described above; 0 when fewer than two samples are used.
  // A NaN argument ends the search at once with a meaningless index.
  unsigned int findX(In x) const;

  // One line per sample: "x, y".
  void dump(KbStreamWriteASCIIT<wchar_t>& stream) const override;

 private:
  template <class Derivative>
  std::unique_ptr<KoFunctionTableNonUniform> tabulate(Derivative derivative) const;
  Out evaluateDegenerate(In x, unsigned int n) const;
  // The value at x (not NaN) in the interval the bisection found, i, of the
  // first n >= 2 samples.
  Out interpolate(unsigned int n, unsigned int i, In x) const;
  // m_count, cut to the slots that exist.
  unsigned int usedCount() const;

  KbArray<SCoord2D> m_table;
  std::uint32_t m_count = 0;
  In m_h = 0;
  In m_automaticStep = std::numeric_limits<In>::max();
};

template <>
const KbRTTI KoFunctionTableNonUniform<float, float>::RTTI;
template <>
const KbRTTI KoFunctionTableNonUniform<float, KbVector3f>::RTTI;
template <>
const KbRTTI KoFunctionTableNonUniform<double, double>::RTTI;

extern template class KoFunctionTableNonUniform<float, float>;
extern template class KoFunctionTableNonUniform<double, double>;
extern template class KoFunctionTableNonUniform<float, KbVector3f>;
