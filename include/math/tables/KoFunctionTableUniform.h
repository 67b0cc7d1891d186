// KoFunctionTableUniform<T, T>: a function sampled on an evenly spaced grid.
//
// Sample i belongs to the abscissa MinX + i·step. MaxX is stored (and sets
// the step in the constructor and Reset) but evaluation never consults it:
// the last sample serves every abscissa beyond the grid, the first every
// abscissa below MinX.
//
// Evaluation of x, with n samples s and t = (x − MinX) / step; indices are
// t truncated toward zero to 64 bits, of which the low 32 bits are used:
//   eNone:   s[i] with i = trunc(t + 0.5) (the nearest sample, halves
//            upward), or s[n−1] when i >= n;
//   eLinear: (1 − f)·s[i] + f·s[i+1] with i = trunc(t), f = t − i, or
//            s[n−1] when t >= n − 1;
//   both:    s[0] when MinX > x, s[n−1] when the step is 0;
//   any other interpolation type: 0 everywhere.
// Degenerate input never reads outside the samples: an empty table yields
// InvalidY; a NaN t (from the argument or a NaN step) yields NaN once the
// MinX and zero-step rules have passed; in linear mode a t below −1 (only a
// reversed step gets there) yields InvalidY, and in nearest-sample mode an
// index beyond ±2^63 yields s[n−1].
//
// Set(x, v) overwrites and Add(x, v) accumulates at an abscissa; nothing
// happens when MinX > x:
//   eNone:   at the nearest sample, when it exists;
//   eLinear: s[i+1] gets f·v, then s[i] gets (1 − f)·v, only when
//            i < n − 1: a value at or beyond the last grid point (x = MaxX
//            included) is silently dropped;
//   any other interpolation type: nothing.
// The step is not tested for 0; an index that has no 64-bit value (NaN,
// as from a zero step at x = MinX, or beyond ±2^63, as from a zero step
// elsewhere) stores nothing.
//
// Record (version 3): the KoFunctionTable record, the step as T, then the
// sample array record (marker 0xFFFFFFFF, version 1, count, element size 4
// or 8, raw samples). On reading, the array may also come in the older
// layout without marker; MinX, MaxX and the step are taken as stored, never
// recomputed.
//
// Instantiated for <float,float> and <double,double>; registered as
// "KoFunctionTableUniform<float>" and "KoFunctionTableUniform<double>".
#pragma once

#include <memory>
#include <type_traits>

#include "base/KbArray.h"
#include "math/tables/KoFunctionTable.h"

template <class In, class Out>
class KOMATH_API KoFunctionTableUniform : public KoFunctionTable<In, Out> {
  static_assert(std::is_same_v<In, Out>, "the uniform table maps a scalar onto the same scalar");
  KB_DECLARE_RTTI(KoFunctionTableUniform)

 public:
  using T = In;
  using typename KoFunctionTable<In, Out>::EInterpolationType;
  using KoFunctionTable<In, Out>::eNone;
  using KoFunctionTable<In, Out>::eLinear;

  static constexpr std::uint32_t c_uiVersion = 3;

  // No samples, step 0, range [0, 0], nearest-sample mode.
  KoFunctionTableUniform();
  // `count` zero samples on [min, max], step (max − min) / (count − 1),
  // nearest-sample mode. A single sample gives an infinite or NaN step.
  KoFunctionTableUniform(unsigned int count, T min, T max);
  KoFunctionTableUniform(const KoFunctionTableUniform& other);
  KoFunctionTableUniform(KoFunctionTableUniform&& other) noexcept;
  KoFunctionTableUniform& operator=(const KoFunctionTableUniform& other);
  KoFunctionTableUniform& operator=(KoFunctionTableUniform&& other) noexcept;
  ~KoFunctionTableUniform() override;

  // As the (count, min, max) constructor, also back to nearest-sample mode.
  void Reset(unsigned int count, T min, T max);
  // Every sample 0; size, range and step unchanged.
  void InitZero() { zeroTable(); }

  unsigned int GetTableSize() const { return m_samples.GetSize(); }
  T GetSampleStep() const { return m_step; }
  KbArray<T>& GetTable() { return m_samples; }
  const KbArray<T>& GetTable() const { return m_samples; }
  // No bounds check.
  T& operator[](unsigned int i) { return m_samples[i]; }
  const T& operator[](unsigned int i) const { return m_samples[i]; }

  void Set(T x, T value);
  void Add(T x, T value);

  Out operator()(In x) const override;
  // Bit for bit operator() per element; sizes as IFunction::Evaluate.
  void Evaluate(std::span<const In> x, std::span<Out> y) const override;
  // The kernels of KoFunctionTable with the sample step as h.
  Out GetDerivative(In x) const override;
  Out GetSecondDerivative(In x) const override;

  // New tables on the same grid (always in nearest-sample mode, the step
  // recomputed from the range) holding the derivative at every grid point.
  std::unique_ptr<KoFunctionTableUniform> GetDerivativeFunction() const;
  std::unique_ptr<KoFunctionTableUniform> GetSecondDerivativeFunction() const;

  std::unique_ptr<KoFunctionLimited<In, Out>> Clone() const override;

  void Serialize(KbStreamWriteBinary& stream) const override;
  void Serialize(KbStreamReadBinary& stream) override;

 protected:
  void zeroTable();
  // Resizes without touching values, range or step.
  void setTableSize(unsigned int size) { m_samples.Resize(size); }
  void setSampleStep(T step) { m_step = step; }

  // "abscissa, value" per sample, the abscissa advanced by adding the step
  // (so it accumulates rounding), with nothing between the pairs.
  void dump(KbStreamWriteASCIIT<wchar_t>& stream) const override;

 private:
  template <class Derivative>
  std::unique_ptr<KoFunctionTableUniform> tabulate(Derivative derivative) const;
  template <class Store>
  void store(T x, T value, Store combine);
  // The lookups read the table through a copy of its fields.
  struct Lookup {
    const T* s;
    unsigned int n;
    T min, step, invalid;
    Out Nearest(T x) const;
    Out Linear(T x) const;
  };
  Lookup lookup() const;

  KbArray<T> m_samples;
  T m_step = 0;
};

template <>
const KbRTTI KoFunctionTableUniform<float, float>::RTTI;
template <>
const KbRTTI KoFunctionTableUniform<double, double>::RTTI;

extern template class KoFunctionTableUniform<float, float>;
extern template class KoFunctionTableUniform<double, double>;
