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

// Unaligned stores, and acc += w * p[0 .. 7] with an unaligned load. Vectors never
// cross a function boundary by value, which would tie the baseline build to
// the AVX calling convention.
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

// out[x] = sum over c = 0 .. count-1, then k = 0 .. taps-1, of
// w[c][k] * lines[c][x + k], summed in that order onto 0. Four vectors per
// block keep four independent sums in flight, in registers across all
// lines.
KO_GRID_INLINE void Correlate(const float* const* lines, const float* const* w, unsigned int count,
                              unsigned int taps, std::size_t n, float* out) {
  std::size_t x = 0;
  for (; x + 4 * c_uiLanes <= n; x += 4 * c_uiLanes) {
    V8 a0 = {}, a1 = {}, a2 = {}, a3 = {};
    for (unsigned int c = 0; c < count; ++c) {
      for (unsigned int k = 0; k < taps; ++k) {
        const float wk = w[c][k];
        const float* p = lines[c] + x + k;
        MulAdd(a0, wk, p);
        MulAdd(a1, wk, p + 8);
        MulAdd(a2, wk, p + 16);
        MulAdd(a3, wk, p + 24);
      }
    }
    Store(out + x, a0), Store(out + x + 8, a1), Store(out + x + 16, a2), Store(out + x + 24, a3);
  }
  for (; x + c_uiLanes <= n; x += c_uiLanes) {
    V8 a = {};
    for (unsigned int c = 0; c < count; ++c) {
      for (unsigned int k = 0; k < taps; ++k) MulAdd(a, w[c][k], lines[c] + x + k);
    }
    Store(out + x, a);
  }
  for (; x < n; ++x) {
    float a = 0.0f;
    for (unsigned int c = 0; c < count; ++c) {
      for (unsigned int k = 0; k < taps; ++k) a += w[c][k] * lines[c][x + k];
    }
    out[x] = a;
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
    const float* line = scratch.line.data();
    Correlate(&line, &w, 1, taps, width, out + std::size_t(y) * width);
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

// A full kernel, row by row of the output: the padded source rows of every
// kernel row whose source exists (kernel slices outer), then one pass.
KO_GRID_ROUTINE void Full(const float* in, unsigned int width, unsigned int height,
                          unsigned int depth, const float* kernel, unsigned int kw, unsigned int kh,
                          unsigned int kd, float* out, EBorder border) {
  const std::int64_t cx = kw / 2, cy = kh / 2, cz = kd / 2;
  const std::size_t stride = std::size_t(width) + 2 * cx;
  std::vector<float> padded(stride * kh * kd);
  std::vector<const float*> lines(std::size_t(kh) * kd), weights(std::size_t(kh) * kd);
  for (unsigned int z = 0; z < depth; ++z) {
    for (unsigned int y = 0; y < height; ++y) {
      unsigned int count = 0;
      for (unsigned int k = 0; k < kd; ++k) {
        const std::int64_t sz = MapIndex(std::int64_t(z) + k - cz, depth, border);
        for (unsigned int j = 0; j < kh && sz >= 0; ++j) {
          const std::int64_t sy = MapIndex(std::int64_t(y) + j - cy, height, border);
          if (sy < 0) continue;
          float* line = padded.data() + count * stride;
          std::copy_n(in + (std::size_t(sz) * height + std::size_t(sy)) * width, width, line + cx);
          PadLine(line, width, cx, border);
          lines[count] = line;
          weights[count++] = kernel + (std::size_t(k) * kh + j) * kw;
        }
      }
      Correlate(lines.data(), weights.data(), count, kw, width,
                out + (std::size_t(z) * height + y) * width);
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

// No cells, nothing to filter (and no axis to wrap around).
bool IsEmpty(const KoArray2D<float>& grid) {
  return grid.GetWidth() == 0 || grid.GetHeight() == 0;
}
bool IsEmpty(const KoArray3D<float>& grid) {
  return grid.GetWidth() == 0 || grid.GetHeight() == 0 || grid.GetDepth() == 0;
}

// Runs `filter` on `in`, or on a copy of it when `in` and `out` are one grid:
// the filters write `out` while they still read `in`. An empty grid has
// nothing to filter.
template <class Grid, class Filter>
void OnDistinctSource(const Grid& in, const Grid& out, Filter filter) {
  if (IsEmpty(in)) return;
  if (&in == &out) {
    const Grid copy = in;
    filter(copy);
  } else {
    filter(in);
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
  OnDistinctSource(in, out, [&](const KoArray2D<float>& source) {
    Full(source.GetData(), source.GetWidth(), source.GetHeight(), 1, kernel.GetData(),
         kernel.GetWidth(), kernel.GetHeight(), 1, out.GetData(), border);
  });
}

void KoGridFilter::ApplySeparable(const KoArray2D<float>& in, const KbArray<float>& row,
                                  KoArray2D<float>& out, EBorder border) {
  CheckBorder("ApplySeparable", border);
  CheckRow("ApplySeparable", row);
  CheckSizes("ApplySeparable", in, out);
  OnDistinctSource(in, out, [&](const KoArray2D<float>& source) {
    Separable2D(source.GetData(), source.GetWidth(), source.GetHeight(), row.GetData(),
                row.GetSize(), out.GetData(), border);
  });
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
  OnDistinctSource(in, out, [&](const KoArray3D<float>& source) {
    Full(source.GetData(), source.GetWidth(), source.GetHeight(), source.GetDepth(),
         kernel.GetData(), kernel.GetWidth(), kernel.GetHeight(), kernel.GetDepth(), out.GetData(),
         border);
  });
}

void KoGridFilter::ApplySeparable(const KoArray3D<float>& in, const KbArray<float>& row,
                                  KoArray3D<float>& out, EBorder border) {
  CheckBorder("ApplySeparable", border);
  CheckRow("ApplySeparable", row);
  CheckSizes("ApplySeparable", in, out);
  OnDistinctSource(in, out, [&](const KoArray3D<float>& source) {
    Separable3D(source.GetData(), source.GetWidth(), source.GetHeight(), source.GetDepth(),
                row.GetData(), row.GetSize(), out.GetData(), border);
  });
}
