#include "math/tables/KoInterpolationPolynomHermite.h"

#include <array>
#include <utility>

#include "math/functions/KoStreamValue.h"

template <class T>
KoInterpolationPolynomHermite<T>::KoInterpolationPolynomHermite(T p0, T m0, T p1, T m1)
    : m_coefficients{p0, m0, p1, m1}, m_termFlags{1, 1, 1, 1} {
  // -0 compares equal to 0 and is skipped too.
  for (ECoefficient c : {eP0, eP1, eM0, eM1}) {
    if (m_coefficients[c] == 0) m_termFlags[c] = 0;
  }
}

template <class T>
KoInterpolationPolynomHermite<T>::~KoInterpolationPolynomHermite() = default;

namespace {

// The Hermite sums, one formula for every caller: the terms are added to 0
// in the order P0, P1, M0, M1, each only where `used(term)` says so. The
// per-element calls pass the object's flags; the batch loops pass a mask
// fixed at compile time, so that the skipped terms vanish from the loop.
// c holds P0, M0, P1, M1 (the member order), then the overscale S.
template <class T, class Used>
T ValueTerms(T t, const T* c, Used used) {
  T result = 0;
  // 2t³ − 3t² + 1 and 3t² − 2t³, each factored as written.
  if (used(0)) result = result + ((t + t - 3) * (t * t) + 1) * c[0];
  if (used(2)) result = result + (t * t) * c[2] * (3 - (t + t));
  return result;
}

template <class T, class Used>
T PlainTerms(T t, const T* c, Used used) {
  T result = ValueTerms(t, c, used);
  // t³ − 2t² + t and t³ − t².
  if (used(1)) result = result + ((t - 2) * t + 1) * (t * c[1]);
  if (used(3)) result = result + (t * t) * c[3] * (t - 1);
  return result;
}

// The tangent terms weighted by g(t) = S − (S − 1)·4·(t − ½)².
template <class T, class Used>
T OverscaleTerms(T t, const T* c, Used used) {
  const T S = c[4];
  const T half = T(0.5);
  const T g = S - (S - 1) * 4 * (t - half) * (t - half);
  T result = ValueTerms(t, c, used);
  if (used(1)) result = result + g * c[1] * t * ((t - 2) * t + 1);
  if (used(3)) result = result + g * c[3] * (t * t) * (t - 1);
  return result;
}

template <class T>
using Coefficients = std::array<T, 5>;

template <unsigned kMask>
struct FixedTerms {
  constexpr bool operator()(unsigned term) const { return (kMask >> term & 1u) != 0; }
};

// The coefficients arrive by value: y cannot alias them, and the loop
// vectorises.
template <class T, unsigned kMask, bool kOverscale>
void SumLoop(Coefficients<T> c, const T* x, T* y, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    if constexpr (kOverscale) {
      y[i] = OverscaleTerms(x[i], c.data(), FixedTerms<kMask>{});
    } else {
      y[i] = PlainTerms(x[i], c.data(), FixedTerms<kMask>{});
    }
  }
}

// One loop per set of flags, indexed by the flags as bits (bit k for
// coefficient k).
template <class T, bool kOverscale, unsigned... kMasks>
constexpr auto MakeSumLoops(std::integer_sequence<unsigned, kMasks...>) {
  return std::array<void (*)(Coefficients<T>, const T*, T*, std::size_t), sizeof...(kMasks)>{
      &SumLoop<T, kMasks, kOverscale>...};
}

}  // namespace

template <class T>
T KoInterpolationPolynomHermite<T>::operator()(T t) const {
  return PlainTerms(t, m_coefficients, [this](unsigned c) { return isUsed(c); });
}

template <class T>
void KoInterpolationPolynomHermite<T>::Evaluate(std::span<const T> x, std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  evaluateBatch<false>(x, y, 0);
}

template <class T>
template <bool kOverscale>
void KoInterpolationPolynomHermite<T>::evaluateBatch(std::span<const T> x, std::span<T> y,
                                                     T overscale) const {
  static constexpr auto kLoops =
      MakeSumLoops<T, kOverscale>(std::make_integer_sequence<unsigned, 16>{});
  unsigned mask = 0;
  for (unsigned c = 0; c < 4; ++c) mask |= unsigned(isUsed(c)) << c;
  const Coefficients<T> c = {m_coefficients[0], m_coefficients[1], m_coefficients[2],
                             m_coefficients[3], overscale};
  kLoops[mask](c, x.data(), y.data(), x.size());
}

template <class T>
void KoInterpolationPolynomHermite<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  for (T c : m_coefficients) KoWriteValue(stream, c);
  for (std::int32_t flag : m_termFlags) stream.WriteInt32(flag);
}

template <class T>
void KoInterpolationPolynomHermite<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  for (T& c : m_coefficients) KoReadValue(stream, c);
  for (std::int32_t& flag : m_termFlags) flag = stream.ReadInt32();
}

template <class T>
KoInterpolationPolynomHermiteOverscale<T>::KoInterpolationPolynomHermiteOverscale(T p0, T m0, T p1,
                                                                                  T m1, T s)
    : KoInterpolationPolynomHermite<T>(p0, m0, p1, m1), m_overscale(s) {}

template <class T>
KoInterpolationPolynomHermiteOverscale<T>::~KoInterpolationPolynomHermiteOverscale() = default;

template <class T>
T KoInterpolationPolynomHermiteOverscale<T>::operator()(T t) const {
  using Base = KoInterpolationPolynomHermite<T>;
  const T c[5] = {this->coefficient(Base::eP0), this->coefficient(Base::eM0),
                  this->coefficient(Base::eP1), this->coefficient(Base::eM1), m_overscale};
  return OverscaleTerms(t, c, [this](unsigned k) { return this->isUsed(k); });
}

template <class T>
void KoInterpolationPolynomHermiteOverscale<T>::Evaluate(std::span<const T> x,
                                                         std::span<T> y) const {
  this->checkBatchSizes(x.size(), y.size());
  this->template evaluateBatch<true>(x, y, m_overscale);
}

template <class T>
void KoInterpolationPolynomHermiteOverscale<T>::Serialize(KbStreamWriteBinary& stream) const {
  stream.WriteVersion(c_uiVersion);
  KoInterpolationPolynomHermite<T>::Serialize(stream);
  KoWriteValue(stream, m_overscale);
}

template <class T>
void KoInterpolationPolynomHermiteOverscale<T>::Serialize(KbStreamReadBinary& stream) {
  stream.ReadAndCompareVersion(c_uiVersion);
  KoInterpolationPolynomHermite<T>::Serialize(stream);
  KoReadValue(stream, m_overscale);
}

template class KoInterpolationPolynomHermite<float>;
template class KoInterpolationPolynomHermite<double>;
template class KoInterpolationPolynomHermiteOverscale<float>;
template class KoInterpolationPolynomHermiteOverscale<double>;
