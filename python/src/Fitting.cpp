// komath.fit and komath.smooth over the shared fitting layer (the tool's
// fit and smooth).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include <pybind11/stl.h>

#include "Fitting.h"
#include "Module.h"

namespace komath::python {
namespace {

struct PyFitResult {
  py::array_t<double> coefficients;
  py::array_t<double> scaledCoefficients;
  double shift = 0;
  double scale = 1;
  double chiSquare = 0;
  bool illConditioned = false;
};

py::array_t<double> Array1(const std::vector<double>& values) {
  py::array_t<double> out(py::ssize_t(values.size()));
  std::copy(values.begin(), values.end(), out.mutable_data());
  return out;
}

// A finite one-dimensional array of `count` values (any count when -1).
Doubles Samples(py::handle value, const char* name, py::ssize_t count) {
  Doubles a = RealArray(value, name);
  if (a.ndim() != 1) ArgumentError(name, "must be one-dimensional, not of shape " + ShapeText(a));
  if (count >= 0 && a.shape(0) != count) {
    ArgumentError(
        name, "has " + std::to_string(a.shape(0)) + " values where x has " + std::to_string(count));
  }
  RequireFinite(a, name);
  return a;
}

PyFitResult FitOf(ArrayLike xValue, ArrayLike yValue, std::int64_t degree, ArrayLike sigmaValue) {
  const Doubles x = Samples(xValue, "x", -1);
  const Doubles y = Samples(yValue, "y", x.shape(0));
  std::optional<Doubles> sigma;
  if (!sigmaValue.is_none()) sigma = Samples(sigmaValue, "sigma", x.shape(0));
  if (degree < 0 || degree > std::int64_t(UINT32_MAX)) {
    ArgumentError("degree", "must be >= 0, not " + std::to_string(degree));
  }
  const std::size_t n = std::size_t(x.shape(0));
  const FitResult fit = CallLibrary("fit", [&] {
    return komath::Fit(
        {x.data(), n}, {y.data(), n},
        sigma ? std::span<const double>(sigma->data(), n) : std::span<const double>(),
        unsigned(degree));
  });
  return {
      Array1(fit.coefficients), Array1(fit.scaledCoefficients), fit.shift, fit.scale, fit.chiSquare,
      fit.illConditioned};
}

py::array_t<double> SmoothOf(ArrayLike xValue, ArrayLike yValue, double halfWidth,
                             std::optional<double> period) {
  const Doubles x = Samples(xValue, "x", -1);
  const Doubles y = RealArray(yValue, "y");
  const py::ssize_t n = x.shape(0);
  if (y.ndim() < 1 || y.ndim() > 2 || y.shape(0) != n ||
      (y.ndim() == 2 && (y.shape(1) < 1 || y.shape(1) > 3))) {
    ArgumentError("y", "must have shape (n,) or (n, c) with c = 1, 2 or 3 and n = len(x) = " +
                           std::to_string(n) + ", not " + ShapeText(y));
  }
  RequireFinite(y, "y");
  // The library does not detect unsorted positions (its sweeps would stop
  // early and give meaningless values), so they are refused here.
  for (py::ssize_t i = 1; i < n; ++i) {
    if (x.data()[i] < x.data()[i - 1]) {
      ArgumentError("x", "must not decrease (x[" + std::to_string(i) + "] < x[" +
                             std::to_string(i - 1) + "])");
    }
  }
  if (!std::isfinite(halfWidth) || halfWidth <= 0) {
    ArgumentError("half_width", "must be positive and finite");
  }
  if (period && (!std::isfinite(*period) || *period <= 0)) {
    ArgumentError("period", "must be positive and finite (or None)");
  }
  const std::size_t components = y.ndim() == 2 ? std::size_t(y.shape(1)) : 1;
  py::array_t<double> out(std::vector<py::ssize_t>(y.shape(), y.shape() + y.ndim()));
  double* result = out.mutable_data();
  CallLibrary("smooth", [&] {
    komath::Smooth({x.data(), std::size_t(n)}, {y.data(), std::size_t(y.size())}, components,
                   halfWidth, period, {result, std::size_t(y.size())});
  });
  return out;
}

}  // namespace

void BindFitting(py::module_& module) {
  py::class_<PyFitResult>(module, "FitResult",
                          "The result of komath.fit: the polynomial in x and in the scaled "
                          "variable u = (x - shift) / scale.")
      .def_readonly("coefficients", &PyFitResult::coefficients,
                    "c0, c1, ... of c0 + c1 x + c2 x**2 + ... (float64 array of degree + 1).")
      .def_readonly("scaled_coefficients", &PyFitResult::scaledCoefficients,
                    "The polynomial in u = (x - shift) / scale, constant first; the better "
                    "conditioned form.")
      .def_readonly("shift", &PyFitResult::shift, "Middle of the x range.")
      .def_readonly("scale", &PyFitResult::scale, "Half the width of the x range.")
      .def_readonly("chi_square", &PyFitResult::chiSquare,
                    "Sum of ((y - p(x)) / sigma)**2 of `coefficients` on the data, in double.")
      .def_readonly("ill_conditioned", &PyFitResult::illConditioned,
                    "True when `coefficients` (the power basis in x) lost most of its digits; "
                    "use scaled_coefficients then.")
      .def("__repr__", [](const PyFitResult& r) {
        return "FitResult(coefficients=" + py::repr(r.coefficients).cast<std::string>() +
               ", chi_square=" + py::repr(py::float_(r.chiSquare)).cast<std::string>() + ")";
      });
  module.def("fit", &FitOf, py::arg("x"), py::arg("y"), py::arg("degree"),
             py::arg("sigma") = py::none(),
             R"(Weighted least-squares polynomial fit of y against x.

x, y: (n,) arrays; degree: the polynomial's degree; sigma: None (every
sigma 1) or an (n,) array of positive standard deviations (weights
1 / sigma**2). The fit runs on conditioned data, as numpy.polynomial's
Polynomial.fit with its domain and window: x mapped to [-1, 1], y centred and
scaled, and comes back in double. Returns a FitResult with coefficients (in
x, constant first), scaled_coefficients, shift, scale, chi_square and
ill_conditioned: the numbers of `komath fit`.)");
  module.def("smooth", &SmoothOf, py::arg("x"), py::arg("y"), py::arg("half_width"),
             py::arg("period") = py::none(),
             R"(Exact tent-kernel smoothing of irregular samples.

x: (n,) positions, not decreasing; y: (n,) or (n, c) values (c = 1 to 3);
half_width: the tent's half width (> 0); period: None, or the length of the
circle the positions lie on. The samples are read as a step function (each
value holds from the midpoint with its left neighbour to the midpoint with its
right one; on a line the end values continue outwards), convolved with the
normalised tent 1 - |u| of that half width and taken at every position, each
cell integrated exactly (the library's KoFtArrayConvolution). Returns an
array of y's shape: the numbers of `komath smooth`.)");
}

}  // namespace komath::python
