#include "math/numerics/KoGridFilter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/KbException.h"

// The line loops below are written with the compilers' vector extension
// (eight floats per vector), which lowers to whatever the target offers; on
// x86 the grid routines are compiled twice, for AVX2 and for the baseline,
// and the loader picks one (target_clones). Each output cell is still one
// float sum in a fixed order, so both builds give identical results.
#if defined(__x86_64__) || defined(__i386__)
#define KO_GRID_ROUTINE __attribute__((target_clones("avx2", "default")))
#else
#define KO_GRID_ROUTINE
#endif
#define KO_GRID_INLINE inline __attribute__((always_inline))

namespace {

using EBorder = KoGridFilter::EBorder;
typedef float V8 __attribute__((vector_size(32)));
constexpr std::size_t c_uiLanes = 8;

// Unaligned loads and stores, and acc += w * p[0 .. 7]. Vectors never
// cross a function boundary by value, which would tie the baseline build to
// the AVX calling convention.
KO_GRID_INLINE void Load(V8& v, const float* p) {
  std::memcpy(&v, p, sizeof v);
}

KO_GRID_INLINE void Store(float* p, const V8& v) {
  std::memcpy(p, &v, sizeof v);
}

KO_GRID_INLINE void MulAdd(V8& acc, float w, const float* p) {
  V8 v;
  std::memcpy(&v, p, sizeof v);
  acc += w * v;
}

// The grid index (0 .. n-1) that supplies position i, or -1 when none does.
std::int64_t MapIndex(std::int64_t i, std::int64_t n, EBorder border) {
  if (i >= 0 && i < n) return i;
  if (border == KoGridFilter::eClamp) return i < 0 ? 0 : n - 1;
  if (border == KoGridFilter::eWrap) {
    const std::int64_t m = i % n;
    return m < 0 ? m + n : m;
  }
  return -1;
}

// line[0 .. pad) and line[pad + n .. pad + n + pad) from the interior
// line[pad .. pad + n); eZero pads with zeros, which add nothing.
void PadLine(float* line, std::int64_t n, std::int64_t pad, EBorder border) {
  for (std::int64_t i = -pad; i < 0; ++i) {
    const std::int64_t m = MapIndex(i, n, border);
    line[pad + i] = m < 0 ? 0.0f : line[pad + m];
  }
  for (std::int64_t i = n; i < n + pad; ++i) {
    const std::int64_t m = MapIndex(i, n, border);
    line[pad + i] = m < 0 ? 0.0f : line[pad + m];
  }
}

// acc[x] (+)= sum over k = 0 .. taps-1 of w[k] * line[x + k], summed in
// that order onto acc[x] (add) or onto 0. Four vectors per block keep four
// independent sums in flight.
KO_GRID_INLINE void Correlate(const float* line, const float* w, unsigned int taps, std::size_t n,
                              float* acc, bool add) {
  std::size_t x = 0;
  for (; x + 4 * c_uiLanes <= n; x += 4 * c_uiLanes) {
    V8 a0 = {}, a1 = {}, a2 = {}, a3 = {};
    if (add)
      Load(a0, acc + x), Load(a1, acc + x + 8), Load(a2, acc + x + 16), Load(a3, acc + x + 24);
    for (unsigned int k = 0; k < taps; ++k) {
      const float wk = w[k];
      const float* p = line + x + k;
      MulAdd(a0, wk, p);
      MulAdd(a1, wk, p + 8);
      MulAdd(a2, wk, p + 16);
      MulAdd(a3, wk, p + 24);
    }
    Store(acc + x, a0), Store(acc + x + 8, a1), Store(acc + x + 16, a2), Store(acc + x + 24, a3);
  }
  for (; x + c_uiLanes <= n; x += c_uiLanes) {
    V8 a = {};
    if (add) Load(a, acc + x);
    for (unsigned int k = 0; k < taps; ++k) MulAdd(a, w[k], line + x + k);
    Store(acc + x, a);
  }
  for (; x < n; ++x) {
    float a = add ? acc[x] : 0.0f;
    for (unsigned int k = 0; k < taps; ++k) a += w[k] * line[x + k];
    acc[x] = a;
  }
}

// out[x] = sum over k = 0 .. count-1 of w[k] * lines[k][x], onto 0.
KO_GRID_INLINE void Combine(const float* const* lines, const float* w, unsigned int count,
                            std::size_t n, float* out) {
  std::size_t x = 0;
  for (; x + 4 * c_uiLanes <= n; x += 4 * c_uiLanes) {
    V8 a0 = {}, a1 = {}, a2 = {}, a3 = {};
    for (unsigned int k = 0; k < count; ++k) {
      const float wk = w[k];
      const float* p = lines[k] + x;
      MulAdd(a0, wk, p);
      MulAdd(a1, wk, p + 8);
      MulAdd(a2, wk, p + 16);
      MulAdd(a3, wk, p + 24);
    }
    Store(out + x, a0), Store(out + x + 8, a1), Store(out + x + 16, a2), Store(out + x + 24, a3);
  }
  for (; x + c_uiLanes <= n; x += c_uiLanes) {
    V8 a = {};
    for (unsigned int k = 0; k < count; ++k) MulAdd(a, w[k], lines[k] + x);
    Store(out + x, a);
  }
  for (; x < n; ++x) {
    float a = 0.0f;
    for (unsigned int k = 0; k < count; ++k) a += w[k] * lines[k][x];
    out[x] = a;
  }
}

// The lines that supply positions c - r .. c + r along an axis of `n`
// lines `stride` floats apart, with their weights; lines outside are left
// out under eZero. Returns how many there are.
KO_GRID_INLINE unsigned int GatherLines(const float* base, std::size_t stride, std::int64_t n,
                                        std::int64_t c, const float* w, unsigned int taps,
                                        EBorder border, const float** lines, float* weights) {
  const std::int64_t r = taps / 2;
  unsigned int count = 0;
  for (unsigned int k = 0; k < taps; ++k) {
    const std::int64_t m = MapIndex(c + k - r, n, border);
    if (m < 0) continue;
    lines[count] = base + std::size_t(m) * stride;
    weights[count++] = w[k];
  }
  return count;
}

// Scratch of the separable passes: one padded line and the gathered lines.
struct SScratch {
  SScratch(std::size_t width, unsigned int taps)
      : line(width + 2 * (taps / 2)), lines(taps), weights(taps) {}
  std::vector<float> line;
  std::vector<const float*> lines;
  std::vector<float> weights;
};

// One plane, separably: along y into the padded line, then along x.
KO_GRID_INLINE void SeparablePlane(const float* in, unsigned int width, unsigned int height,
                                   const float* w, unsigned int taps, float* out, EBorder border,
                                   SScratch& scratch) {
  const std::int64_t r = taps / 2;
  for (unsigned int y = 0; y < height; ++y) {
    const unsigned int count = GatherLines(in, width, height, y, w, taps, border,
                                           scratch.lines.data(), scratch.weights.data());
    Combine(scratch.lines.data(), scratch.weights.data(), count, width, scratch.line.data() + r);
    PadLine(scratch.line.data(), width, r, border);
    Correlate(scratch.line.data(), w, taps, width, out + std::size_t(y) * width, false);
  }
}

KO_GRID_ROUTINE void Separable2D(const float* in, unsigned int width, unsigned int height,
                                 const float* w, unsigned int taps, float* out, EBorder border) {
  SScratch scratch(width, taps);
  SeparablePlane(in, width, height, w, taps, out, border, scratch);
}

// Along z into one slice, then that slice separably.
KO_GRID_ROUTINE void Separable3D(const float* in, unsigned int width, unsigned int height,
                                 unsigned int depth, const float* w, unsigned int taps, float* out,
                                 EBorder border) {
  const std::size_t sliceSize = std::size_t(width) * height;
  SScratch scratch(width, taps);
  std::vector<float> slice(sliceSize);
  for (unsigned int z = 0; z < depth; ++z) {
    const unsigned int count = GatherLines(in, sliceSize, depth, z, w, taps, border,
                                           scratch.lines.data(), scratch.weights.data());
    Combine(scratch.lines.data(), scratch.weights.data(), count, sliceSize, slice.data());
    SeparablePlane(slice.data(), width, height, w, taps, out + z * sliceSize, border, scratch);
  }
}

// One output row of a full kernel: every kernel row (kernel slice outer)
// whose source row exists adds its correlation onto the zeroed row.
KO_GRID_INLINE void FullRow(const float* in, unsigned int width, unsigned int height,
                            unsigned int depth, const float* kernel, unsigned int kw,
                            unsigned int kh, unsigned int kd, unsigned int y, unsigned int z,
                            float* out, EBorder border, float* line) {
  const std::int64_t cx = kw / 2, cy = kh / 2, cz = kd / 2;
  std::fill_n(out, width, 0.0f);
  for (unsigned int k = 0; k < kd; ++k) {
    const std::int64_t sz = MapIndex(std::int64_t(z) + k - cz, depth, border);
    if (sz < 0) continue;
    for (unsigned int j = 0; j < kh; ++j) {
      const std::int64_t sy = MapIndex(std::int64_t(y) + j - cy, height, border);
      if (sy < 0) continue;
      std::copy_n(in + (std::size_t(sz) * height + std::size_t(sy)) * width, width, line + cx);
      PadLine(line, width, cx, border);
      Correlate(line, kernel + (std::size_t(k) * kh + j) * kw, kw, width, out, true);
    }
  }
}

KO_GRID_ROUTINE void Full(const float* in, unsigned int width, unsigned int height,
                          unsigned int depth, const float* kernel, unsigned int kw, unsigned int kh,
                          unsigned int kd, float* out, EBorder border) {
  std::vector<float> line(std::size_t(width) + 2 * (kw / 2));
  for (unsigned int z = 0; z < depth; ++z) {
    for (unsigned int y = 0; y < height; ++y) {
      FullRow(in, width, height, depth, kernel, kw, kh, kd, y, z,
              out + (std::size_t(z) * height + y) * width, border, line.data());
    }
  }
}

[[noreturn]] void ThrowBadArgument(const char* function, const char* argument,
                                   const std::string& why) {
  throw KbException(std::string("KoGridFilter::") + function + ": " + argument + " " + why);
}

void CheckBorder(const char* function, EBorder border) {
  if (border != KoGridFilter::eClamp && border != KoGridFilter::eZero &&
      border != KoGridFilter::eWrap) {
    ThrowBadArgument(function, "border", "is not a border mode (" + std::to_string(border) + ")");
  }
}

void CheckRow(const char* function, const KbArray<float>& row) {
  if (row.GetSize() % 2 == 0) {
    ThrowBadArgument(function, "row",
                     "has an even length (" + std::to_string(row.GetSize()) + "); it must be odd");
  }
}

std::string SizeText(unsigned int w, unsigned int h) {
  return std::to_string(w) + " x " + std::to_string(h);
}
std::string SizeText(unsigned int w, unsigned int h, unsigned int d) {
  return SizeText(w, h) + " x " + std::to_string(d);
}

void CheckSizes(const char* function, const KoArray2D<float>& in, const KoArray2D<float>& out) {
  if (in.GetWidth() != out.GetWidth() || in.GetHeight() != out.GetHeight()) {
    ThrowBadArgument(function, "out",
                     "is " + SizeText(out.GetWidth(), out.GetHeight()) + ", in is " +
                         SizeText(in.GetWidth(), in.GetHeight()));
  }
}

void CheckSizes(const char* function, const KoArray3D<float>& in, const KoArray3D<float>& out) {
  if (in.GetWidth() != out.GetWidth() || in.GetHeight() != out.GetHeight() ||
      in.GetDepth() != out.GetDepth()) {
    ThrowBadArgument(function, "out",
                     "is " + SizeText(out.GetWidth(), out.GetHeight(), out.GetDepth()) +
                         ", in is " + SizeText(in.GetWidth(), in.GetHeight(), in.GetDepth()));
  }
}

}  // namespace

void KoGridFilter::Apply(const KoArray2D<float>& in, const KoArray2D<float>& kernel,
                         KoArray2D<float>& out, EBorder border) {
  CheckBorder("Apply", border);
  if (kernel.GetWidth() % 2 == 0 || kernel.GetHeight() % 2 == 0) {
    ThrowBadArgument(
        "Apply", "kernel",
        "is " + SizeText(kernel.GetWidth(), kernel.GetHeight()) + "; both sides must be odd");
  }
  CheckSizes("Apply", in, out);
  if (&in == &out) {
    const KoArray2D<float> copy = in;
    Apply(copy, kernel, out, border);
    return;
  }
  Full(in.GetData(), in.GetWidth(), in.GetHeight(), 1, kernel.GetData(), kernel.GetWidth(),
       kernel.GetHeight(), 1, out.GetData(), border);
}

void KoGridFilter::ApplySeparable(const KoArray2D<float>& in, const KbArray<float>& row,
                                  KoArray2D<float>& out, EBorder border) {
  CheckBorder("ApplySeparable", border);
  CheckRow("ApplySeparable", row);
  CheckSizes("ApplySeparable", in, out);
  if (&in == &out) {
    const KoArray2D<float> copy = in;
    ApplySeparable(copy, row, out, border);
    return;
  }
  Separable2D(in.GetData(), in.GetWidth(), in.GetHeight(), row.GetData(), row.GetSize(),
              out.GetData(), border);
}

void KoGridFilter::Apply(const KoArray3D<float>& in, const KoArray3D<float>& kernel,
                         KoArray3D<float>& out, EBorder border) {
  CheckBorder("Apply", border);
  if (kernel.GetWidth() % 2 == 0 || kernel.GetHeight() % 2 == 0 || kernel.GetDepth() % 2 == 0) {
    ThrowBadArgument("Apply", "kernel",
                     "is " + SizeText(kernel.GetWidth(), kernel.GetHeight(), kernel.GetDepth()) +
                         "; every side must be odd");
  }
  CheckSizes("Apply", in, out);
  if (&in == &out) {
    const KoArray3D<float> copy = in;
    Apply(copy, kernel, out, border);
    return;
  }
  Full(in.GetData(), in.GetWidth(), in.GetHeight(), in.GetDepth(), kernel.GetData(),
       kernel.GetWidth(), kernel.GetHeight(), kernel.GetDepth(), out.GetData(), border);
}

void KoGridFilter::ApplySeparable(const KoArray3D<float>& in, const KbArray<float>& row,
                                  KoArray3D<float>& out, EBorder border) {
  CheckBorder("ApplySeparable", border);
  CheckRow("ApplySeparable", row);
  CheckSizes("ApplySeparable", in, out);
  if (&in == &out) {
    const KoArray3D<float> copy = in;
    ApplySeparable(copy, row, out, border);
    return;
  }
  Separable3D(in.GetData(), in.GetWidth(), in.GetHeight(), in.GetDepth(), row.GetData(),
              row.GetSize(), out.GetData(), border);
}
