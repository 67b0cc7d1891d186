#include "math/numerics/KoGridFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
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

// i mod n in 0 .. n-1, for negative i too.
std::int64_t Modulo(std::int64_t i, std::int64_t n) {
  const std::int64_t m = i % n;
  return m < 0 ? m + n : m;
}

// The grid index (0 .. n-1) that supplies position i, or -1 when none does.
std::int64_t MapIndex(std::int64_t i, std::int64_t n, EBorder border) {
  if (i >= 0 && i < n) return i;
  switch (border) {
    case KoGridFilter::eClamp:
      return std::clamp<std::int64_t>(i, 0, n - 1);
    case KoGridFilter::eWrap:
      return Modulo(i, n);
    case KoGridFilter::eReflect: {
      const std::int64_t m = Modulo(i, 2 * n);
      return m < n ? m : 2 * n - 1 - m;
    }
    case KoGridFilter::eMirror: {
      if (n == 1) return 0;  // the period 2n - 2 is 0: the one cell everywhere
      const std::int64_t m = Modulo(i, 2 * n - 2);
      return m < n ? m : 2 * n - 2 - m;
    }
    default:
      return -1;
  }
}

// line[0 .. pad) and line[pad + n .. pad + n + pad) from the interior
// line[pad .. pad + n); eZero pads with zeros.
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

bool AnyNonFinite(const float* w, unsigned int count) {
  return std::any_of(w, w + count, [](float v) { return !std::isfinite(v); });
}

// What an output line becomes when a NaN or infinite weight lies over an
// outside cell of eZero: 0 * NaN and 0 * inf are NaN, and so is every sum
// that contains one.
void FillNaN(float* out, std::size_t n) {
  std::fill_n(out, n, std::numeric_limits<float>::quiet_NaN());
}

// out[x .. x + 8N) = sum over c = 0 .. count-1, then k = 0 .. taps-1, of
// w[c][k] * lines[c][x + k], summed in that order onto 0. N independent
// vector sums stay in registers across all lines; eight of them cover the
// latency of the additions.
template <std::size_t N>
KO_GRID_INLINE void CorrelateBlock(const float* const* lines, const float* const* w,
                                   unsigned int count, unsigned int taps, std::size_t x,
                                   float* out) {
  V8 a[N] = {};
  for (unsigned int c = 0; c < count; ++c) {
    for (unsigned int k = 0; k < taps; ++k) {
      const float wk = w[c][k];
      const float* p = lines[c] + x + k;
#pragma GCC unroll 8
      for (std::size_t i = 0; i < N; ++i) MulAdd(a[i], wk, p + i * c_uiLanes);
    }
  }
#pragma GCC unroll 8
  for (std::size_t i = 0; i < N; ++i) Store(out + x + i * c_uiLanes, a[i]);
}

// out[x] for x = 0 .. n-1, as CorrelateBlock. The cells after the last
// whole block go through one more block that ends at n and overlaps cells
// already written (with the same values): a block of eight vectors costs
// no more than a shorter one, whose sums are bound by the latency of their
// additions. Lines shorter than a block take two overlapping blocks of four
// vectors, or single vectors the same way; lines shorter than a vector
// scalar sums.
KO_GRID_INLINE void Correlate(const float* const* lines, const float* const* w, unsigned int count,
                              unsigned int taps, std::size_t n, float* out) {
  constexpr std::size_t c_uiBlock = 8 * c_uiLanes;
  std::size_t x = 0;
  for (; x + c_uiBlock <= n; x += c_uiBlock) CorrelateBlock<8>(lines, w, count, taps, x, out);
  if (x == n) return;
  if (n >= c_uiBlock) return CorrelateBlock<8>(lines, w, count, taps, n - c_uiBlock, out);
  if (n >= c_uiBlock / 2) {
    CorrelateBlock<4>(lines, w, count, taps, 0, out);
    return CorrelateBlock<4>(lines, w, count, taps, n - c_uiBlock / 2, out);
  }
  for (; x + c_uiLanes <= n; x += c_uiLanes) CorrelateBlock<1>(lines, w, count, taps, x, out);
  if (x == n) return;
  if (n >= c_uiLanes) return CorrelateBlock<1>(lines, w, count, taps, n - c_uiLanes, out);
  for (; x < n; ++x) {
    float a = 0.0f;
    for (unsigned int c = 0; c < count; ++c) {
      for (unsigned int k = 0; k < taps; ++k) a += w[c][k] * lines[c][x + k];
    }
    out[x] = a;
  }
}

// A row of weights and its length (odd).
struct SRow {
  const float* w;
  unsigned int taps;
};

SRow MakeRow(const KbArray<float>& row) {
  return {row.GetData(), row.GetSize()};
}

// The lines that supply positions c - r .. c + r along an axis of `n`
// lines `stride` floats apart, with their weights (each a row of one tap,
// so that Correlate combines them); lines outside are left out under eZero.
// Returns how many there are, or nothing when a non-finite weight lies over
// an outside line (the result is then NaN).
KO_GRID_INLINE std::optional<unsigned int> GatherLines(const float* base, std::size_t stride,
                                                       std::int64_t n, std::int64_t c,
                                                       const SRow& row, EBorder border,
                                                       const float** lines, const float** weights) {
  const std::int64_t r = row.taps / 2;
  unsigned int count = 0;
  for (unsigned int k = 0; k < row.taps; ++k) {
    const std::int64_t m = MapIndex(c + k - r, n, border);
    if (m < 0) {
      if (!std::isfinite(row.w[k])) return std::nullopt;
      continue;
    }
    lines[count] = base + std::size_t(m) * stride;
    weights[count++] = row.w + k;
  }
  return count;
}

// Along one axis: out = the lines around position c combined, or NaN.
KO_GRID_INLINE void CombineAt(const float* base, std::size_t stride, std::int64_t n, std::int64_t c,
                              const SRow& row, EBorder border, const float** lines,
                              const float** weights, std::size_t length, float* out) {
  const std::optional<unsigned int> count =
      GatherLines(base, stride, n, c, row, border, lines, weights);
  if (!count) return FillNaN(out, length);
  Correlate(lines, weights, *count, 1, length, out);
}

// Scratch of the separable passes: one padded line and the gathered lines.
struct SScratch {
  SScratch(std::size_t width, unsigned int padding, unsigned int taps)
      : line(width + 2 * padding), lines(taps), weights(taps) {}
  std::vector<float> line;
  std::vector<const float*> lines;
  std::vector<const float*> weights;
};

// One plane, separably: along y into the padded line, then along x.
KO_GRID_INLINE void SeparablePlane(const float* in, unsigned int width, unsigned int height,
                                   const SRow& rowX, const SRow& rowY, float* out, EBorder border,
                                   SScratch& scratch) {
  const std::int64_t r = rowX.taps / 2;
  float* line = scratch.line.data();
  for (unsigned int y = 0; y < height; ++y) {
    CombineAt(in, width, height, y, rowY, border, scratch.lines.data(), scratch.weights.data(),
              width, line + r);
    PadLine(line, width, r, border);
    const float* source = line;
    Correlate(&source, &rowX.w, 1, rowX.taps, width, out + std::size_t(y) * width);
  }
}

KO_GRID_ROUTINE void Separable2D(const float* in, unsigned int width, unsigned int height,
                                 const SRow& rowX, const SRow& rowY, float* out, EBorder border) {
  SScratch scratch(width, rowX.taps / 2, rowY.taps);
  SeparablePlane(in, width, height, rowX, rowY, out, border, scratch);
}

// Along z into one slice, then that slice separably.
KO_GRID_ROUTINE void Separable3D(const float* in, unsigned int width, unsigned int height,
                                 unsigned int depth, const SRow& rowX, const SRow& rowY,
                                 const SRow& rowZ, float* out, EBorder border) {
  const std::size_t sliceSize = std::size_t(width) * height;
  SScratch scratch(width, rowX.taps / 2, std::max(rowY.taps, rowZ.taps));
  std::vector<float> slice(sliceSize);
  for (unsigned int z = 0; z < depth; ++z) {
    CombineAt(in, sliceSize, depth, z, rowZ, border, scratch.lines.data(), scratch.weights.data(),
              sliceSize, slice.data());
    SeparablePlane(slice.data(), width, height, rowX, rowY, out + z * sliceSize, border, scratch);
  }
}

// Output columns x0 .. x0 + length - 1 of a full kernel whose sources are
// not all inside the row: each source row is copied with its border cells
// into a short line, through `columns` (the source column of positions
// x0 - cx .. x0 + length + cx - 1, or -1 for a zero).
struct SEdge {
  std::size_t x0, length;  // set by MakeEdge, the only maker
  std::vector<std::int64_t> columns;
};

SEdge MakeEdge(std::int64_t x0, std::int64_t x1, std::int64_t cx, std::int64_t width,
               EBorder border) {
  SEdge edge{std::size_t(x0), std::size_t(x1 - x0), {}};
  for (std::int64_t i = x0 - cx; i < x1 + cx; ++i)
    edge.columns.push_back(MapIndex(i, width, border));
  return edge;
}

// A full kernel, row by row of the output: the source rows of every kernel
// row whose source exists (kernel slices outer), then one pass. Columns
// whose sources all lie inside the grid read the source rows in place; only
// the few columns at either end go through padded copies.
KO_GRID_ROUTINE void Full(const float* in, unsigned int width, unsigned int height,
                          unsigned int depth, const float* kernel, unsigned int kw, unsigned int kh,
                          unsigned int kd, float* out, EBorder border) {
  const std::int64_t cx = kw / 2, cy = kh / 2, cz = kd / 2;
  const std::size_t inner = width > 2 * cx ? width - 2 * cx : 0;
  // The end columns, widened to a vector where the row allows: the extra
  // cells are written twice with the same values, by one vector sum. In a
  // row no wider than the kernel (no inner columns) the two ends overlap
  // and together cover it.
  const std::int64_t end = std::min<std::int64_t>(std::max<std::int64_t>(cx, c_uiLanes), width);
  std::vector<SEdge> edges;
  if (cx > 0) {
    edges.push_back(MakeEdge(0, end, cx, width, border));
    edges.push_back(MakeEdge(width - end, width, cx, width, border));
  }
  std::size_t longest = 0;
  for (const SEdge& edge : edges) longest = std::max(longest, edge.columns.size());
  const std::size_t rowCount = std::size_t(kh) * kd;
  std::vector<float> padded(longest * rowCount);
  std::vector<const float*> rows(rowCount), lines(rowCount), weights(rowCount);
  std::vector<char> nonFinite(rowCount);
  for (std::size_t c = 0; c < rowCount; ++c) nonFinite[c] = AnyNonFinite(kernel + c * kw, kw);
  for (unsigned int z = 0; z < depth; ++z) {
    for (unsigned int y = 0; y < height; ++y) {
      float* target = out + (std::size_t(z) * height + y) * width;
      unsigned int count = 0;
      bool poisoned = false;
      for (unsigned int k = 0; k < kd; ++k) {
        const std::int64_t sz = MapIndex(std::int64_t(z) + k - cz, depth, border);
        for (unsigned int j = 0; j < kh; ++j) {
          const std::int64_t sy = MapIndex(std::int64_t(y) + j - cy, height, border);
          const std::size_t c = std::size_t(k) * kh + j;
          if (sz < 0 || sy < 0) {
            poisoned = poisoned || nonFinite[c];
            continue;
          }
          rows[count] = in + (std::size_t(sz) * height + std::size_t(sy)) * width;
          weights[count++] = kernel + c * kw;
        }
      }
      if (poisoned) {
        FillNaN(target, width);
        continue;
      }
      if (inner > 0) Correlate(rows.data(), weights.data(), count, kw, inner, target + cx);
      for (const SEdge& edge : edges) {
        for (unsigned int c = 0; c < count; ++c) {
          float* line = padded.data() + c * longest;
          for (std::size_t i = 0; i < edge.columns.size(); ++i) {
            line[i] = edge.columns[i] < 0 ? 0.0f : rows[c][edge.columns[i]];
          }
          lines[c] = line;
        }
        Correlate(lines.data(), weights.data(), count, kw, edge.length, target + edge.x0);
      }
    }
  }
}

[[noreturn]] void ThrowBadArgument(const char* function, const char* argument,
                                   const std::string& why) {
  throw KbException(std::string("KoGridFilter::") + function + ": " + argument + " " + why);
}

void CheckBorder(const char* function, EBorder border) {
  if (border > KoGridFilter::eMirror) {
    ThrowBadArgument(function, "border", "is not a border mode (" + std::to_string(border) + ")");
  }
}

void CheckRow(const char* function, const char* argument, const KbArray<float>& row) {
  if (row.GetSize() % 2 == 0) {
    ThrowBadArgument(function, argument,
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

void CheckKernel(const KoArray2D<float>& kernel) {
  if (kernel.GetWidth() % 2 == 0 || kernel.GetHeight() % 2 == 0) {
    ThrowBadArgument(
        "Apply", "kernel",
        "is " + SizeText(kernel.GetWidth(), kernel.GetHeight()) + "; both sides must be odd");
  }
}

void CheckKernel(const KoArray3D<float>& kernel) {
  if (kernel.GetWidth() % 2 == 0 || kernel.GetHeight() % 2 == 0 || kernel.GetDepth() % 2 == 0) {
    ThrowBadArgument("Apply", "kernel",
                     "is " + SizeText(kernel.GetWidth(), kernel.GetHeight(), kernel.GetDepth()) +
                         "; every side must be odd");
  }
}

unsigned int Depth(const KoArray2D<float>&) {
  return 1;
}
unsigned int Depth(const KoArray3D<float>& grid) {
  return grid.GetDepth();
}

// No cells, nothing to filter (and no axis to wrap around).
template <class Grid>
bool IsEmpty(const Grid& grid) {
  return grid.GetWidth() == 0 || grid.GetHeight() == 0 || Depth(grid) == 0;
}

// `grid`, or a copy of it when it is `out`: the filters write `out` while
// they still read their inputs.
template <class Grid>
const Grid& Unaliased(const Grid& grid, const Grid& out, std::optional<Grid>& copy) {
  if (&grid != &out) return grid;
  if (!copy) copy.emplace(grid);
  return *copy;
}

template <class Grid>
void ApplyFull(const Grid& in, const Grid& kernel, Grid& out, EBorder border) {
  CheckBorder("Apply", border);
  CheckKernel(kernel);
  CheckSizes("Apply", in, out);
  if (IsEmpty(in)) return;
  std::optional<Grid> copy;  // one copy serves Apply(g, g, g) too
  const Grid& source = Unaliased(in, out, copy);
  const Grid& weights = Unaliased(kernel, out, copy);
  Full(source.GetData(), source.GetWidth(), source.GetHeight(), Depth(source), weights.GetData(),
       weights.GetWidth(), weights.GetHeight(), Depth(weights), out.GetData(), border);
}

}  // namespace

void KoGridFilter::Apply(const KoArray2D<float>& in, const KoArray2D<float>& kernel,
                         KoArray2D<float>& out, EBorder border) {
  ApplyFull(in, kernel, out, border);
}

void KoGridFilter::Apply(const KoArray3D<float>& in, const KoArray3D<float>& kernel,
                         KoArray3D<float>& out, EBorder border) {
  ApplyFull(in, kernel, out, border);
}

void KoGridFilter::ApplySeparable(const KoArray2D<float>& in, const KbArray<float>& row,
                                  KoArray2D<float>& out, EBorder border) {
  ApplySeparable(in, row, row, out, border);
}

void KoGridFilter::ApplySeparable(const KoArray3D<float>& in, const KbArray<float>& row,
                                  KoArray3D<float>& out, EBorder border) {
  ApplySeparable(in, row, row, row, out, border);
}

void KoGridFilter::ApplySeparable(const KoArray2D<float>& in, const KbArray<float>& rowX,
                                  const KbArray<float>& rowY, KoArray2D<float>& out,
                                  EBorder border) {
  CheckBorder("ApplySeparable", border);
  CheckRow("ApplySeparable", "rowX", rowX);
  CheckRow("ApplySeparable", "rowY", rowY);
  CheckSizes("ApplySeparable", in, out);
  if (IsEmpty(in)) return;
  std::optional<KoArray2D<float>> copy;
  const KoArray2D<float>& source = Unaliased(in, out, copy);
  Separable2D(source.GetData(), source.GetWidth(), source.GetHeight(), MakeRow(rowX), MakeRow(rowY),
              out.GetData(), border);
}

void KoGridFilter::ApplySeparable(const KoArray3D<float>& in, const KbArray<float>& rowX,
                                  const KbArray<float>& rowY, const KbArray<float>& rowZ,
                                  KoArray3D<float>& out, EBorder border) {
  CheckBorder("ApplySeparable", border);
  CheckRow("ApplySeparable", "rowX", rowX);
  CheckRow("ApplySeparable", "rowY", rowY);
  CheckRow("ApplySeparable", "rowZ", rowZ);
  CheckSizes("ApplySeparable", in, out);
  if (IsEmpty(in)) return;
  std::optional<KoArray3D<float>> copy;
  const KoArray3D<float>& source = Unaliased(in, out, copy);
  Separable3D(source.GetData(), source.GetWidth(), source.GetHeight(), source.GetDepth(),
              MakeRow(rowX), MakeRow(rowY), MakeRow(rowZ), out.GetData(), border);
}
