// komath.correlate and komath.correlate_separable over KoGridFilter.
#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "Module.h"
#include "math/numerics/KoGridFilter.h"

namespace komath::python {
namespace {

struct BorderName {
  const char* name;
  KoGridFilter::EBorder border;
};
constexpr BorderName c_borders[] = {
    {"clamp", KoGridFilter::eClamp},   {"zero", KoGridFilter::eZero},
    {"wrap", KoGridFilter::eWrap},     {"reflect", KoGridFilter::eReflect},
    {"mirror", KoGridFilter::eMirror},
};

KoGridFilter::EBorder Border(const std::string& name) {
  std::string names;
  for (const BorderName& b : c_borders) {
    if (name == b.name) return b.border;
    names += std::string(names.empty() ? "" : ", ") + "'" + b.name + "'";
  }
  ArgumentError("border", "must be one of " + names + ", not '" + name + "'");
}

Floats Grid(py::handle value) {
  Floats grid = Float32Array(value, "grid");
  if (grid.ndim() != 2 && grid.ndim() != 3) {
    ArgumentError("grid", "must be two- or three-dimensional, not of shape " + ShapeText(grid));
  }
  for (py::ssize_t axis = 0; axis < grid.ndim(); ++axis) Extent32(grid, axis, "grid");
  return grid;
}

// numpy's (rows, columns) and (slices, rows, columns) are the library's
// (height, width) and (depth, height, width): x runs fastest in both.
// A grid of the library with the array's extents, uninitialised.
template <class Array>
Array Sized(const Floats& a) {
  if constexpr (std::is_same_v<Array, KoArray2D<float>>) {
    return Array(unsigned(a.shape(1)), unsigned(a.shape(0)));
  } else {
    return Array(unsigned(a.shape(2)), unsigned(a.shape(1)), unsigned(a.shape(0)));
  }
}
template <class Array>
Array ToLibrary(const Floats& a) {
  Array grid = Sized<Array>(a);
  std::copy_n(a.data(), a.size(), grid.GetData());
  return grid;
}

template <class Array, class Filter>
py::array_t<float> Run(const char* function, const Floats& grid, Filter filter) {
  py::array_t<float> out(std::vector<py::ssize_t>(grid.shape(), grid.shape() + grid.ndim()));
  float* result = out.mutable_data();
  CallLibrary(function, [&] {
    const Array in = ToLibrary<Array>(grid);
    Array filtered = Sized<Array>(grid);
    filter(in, filtered);
    std::copy_n(filtered.GetData(), grid.size(), result);
  });
  return out;
}

py::array_t<float> Correlate(ArrayLike gridValue, ArrayLike kernelValue,
                             const std::string& borderName) {
  const Floats grid = Grid(gridValue);
  const Floats kernel = Float32Array(kernelValue, "kernel");
  const KoGridFilter::EBorder border = Border(borderName);
  if (kernel.ndim() != grid.ndim()) {
    ArgumentError("kernel", "must have as many axes as grid (" + std::to_string(grid.ndim()) +
                                "), not shape " + ShapeText(kernel));
  }
  for (py::ssize_t axis = 0; axis < kernel.ndim(); ++axis) {
    if (kernel.shape(axis) % 2 == 0) {
      ArgumentError("kernel",
                    "must be odd-sized along every axis, not of shape " + ShapeText(kernel));
    }
    Extent32(kernel, axis, "kernel");
  }
  if (grid.ndim() == 2) {
    const KoArray2D<float> k = ToLibrary<KoArray2D<float>>(kernel);
    return Run<KoArray2D<float>>("correlate", grid, [&](const auto& in, auto& out) {
      KoGridFilter::Apply(in, k, out, border);
    });
  }
  const KoArray3D<float> k = ToLibrary<KoArray3D<float>>(kernel);
  return Run<KoArray3D<float>>("correlate", grid, [&](const auto& in, auto& out) {
    KoGridFilter::Apply(in, k, out, border);
  });
}

KbArray<float> Row(py::handle value, const char* name) {
  const Floats row = Float32Array(value, name);
  if (row.ndim() != 1 || row.shape(0) % 2 == 0) {
    ArgumentError(name, "must be one-dimensional of odd length, not of shape " + ShapeText(row));
  }
  KbArray<float> weights(Extent32(row, 0, name));
  std::copy_n(row.data(), row.size(), weights.GetData());
  return weights;
}

py::array_t<float> CorrelateSeparable(ArrayLike gridValue, ArrayLike rowValue,
                                      const std::string& borderName) {
  const Floats grid = Grid(gridValue);
  // One row for every axis, or a list or tuple of one row per axis in
  // numpy's order (the library's z, y, x: the last axis is x).
  std::vector<KbArray<float>> rows;
  if (py::isinstance<py::list>(rowValue) || py::isinstance<py::tuple>(rowValue)) {
    const py::sequence sequence = py::reinterpret_borrow<py::sequence>(rowValue);
    if (py::ssize_t(sequence.size()) != grid.ndim()) {
      ArgumentError("row", "must be one row or a list of one row per axis of grid (" +
                               std::to_string(grid.ndim()) + "), not " +
                               std::to_string(sequence.size()));
    }
    for (const py::handle item : sequence) rows.push_back(Row(item, "row"));
  } else {
    rows.assign(std::size_t(grid.ndim()), Row(rowValue, "row"));
  }
  const KoGridFilter::EBorder border = Border(borderName);
  if (grid.ndim() == 2) {
    return Run<KoArray2D<float>>("correlate_separable", grid, [&](const auto& in, auto& out) {
      KoGridFilter::ApplySeparable(in, rows[1], rows[0], out, border);
    });
  }
  return Run<KoArray3D<float>>("correlate_separable", grid, [&](const auto& in, auto& out) {
    KoGridFilter::ApplySeparable(in, rows[2], rows[1], rows[0], out, border);
  });
}

}  // namespace

void BindGrid(py::module_& module) {
  module.def("correlate", &Correlate, py::arg("grid"), py::arg("kernel"),
             py::arg("border") = "clamp",
             R"(Correlation of a 2-D or 3-D float32 grid with an odd-sized kernel.

out[i, j] = sum over a, b of kernel[a, b] * grid[i + a - ka, j + b - kb] with
(ka, kb) the kernel's middle cell (and likewise in 3-D): the kernel is not
flipped, as scipy.ndimage.correlate. Computed in float by the library
(KoGridFilter::Apply); grid and kernel must be float32 (convert with
.astype(numpy.float32)), the result is a new float32 array of grid's shape.

border: cells outside the grid along an axis a b c d are
  'clamp'    a a a | a b c d | d d d  (scipy mode 'nearest');
  'zero'     0 0 0 | a b c d | 0 0 0  (scipy mode 'constant', cval 0);
  'wrap'     b c d | a b c d | a b c  (scipy mode 'wrap');
  'reflect'  c b a | a b c d | d c b  (scipy mode 'reflect');
  'mirror'   d c b | a b c d | c b a  (scipy mode 'mirror');
and the patterns continue, so kernels larger than the grid are fine.)");
  module.def(
      "correlate_separable", &CorrelateSeparable, py::arg("grid"), py::arg("row"),
      py::arg("border") = "clamp",
      R"(Correlation of a 2-D or 3-D float32 grid with odd-length rows of weights, one pass per axis.

row: one float32 row for every axis, or a list of one row per axis (axis 0
first; the rows may differ in length). Equals correlate with the outer
product of the rows (rows[0][:, None] * rows[1] in 2-D) up to float rounding,
and scipy.ndimage.correlate1d applied along each axis in turn, at O(len(row))
per cell instead of O(len(row)**ndim) (KoGridFilter::ApplySeparable). Same
border modes as correlate.)");
}

}  // namespace komath::python
