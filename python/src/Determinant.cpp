// komath.det_sign and komath.det_exact over the shared exact-determinant
// layer (the tool's det and det --exact).
#include <cstdint>
#include <vector>

#include "ExactDeterminant.h"
#include "Module.h"

namespace komath::python {
namespace {

// A finite, square, non-empty float64 matrix.
Doubles SquareMatrix(py::handle value) {
  Doubles a = RealArray(value, "a");
  if (a.ndim() != 2 || a.shape(0) != a.shape(1) || a.shape(0) == 0) {
    ArgumentError("a", "must be a non-empty square matrix, not of shape " + ShapeText(a));
  }
  RequireFinite(a, "a");
  return a;
}

int DetSignOf(ArrayLike value) {
  const Doubles a = SquareMatrix(value);
  return CallLibrary("det_sign", [&] {
    return komath::DetSign({a.data(), std::size_t(a.size())}, std::size_t(a.shape(0)));
  });
}

py::object DetExactOf(ArrayLike value) {
  const Doubles a = SquareMatrix(value);
  const ExactDeterminant det = CallLibrary("det_exact", [&] {
    return komath::DetExact({a.data(), std::size_t(a.size())}, std::size_t(a.shape(0)));
  });
  // integer * 2^power as a Fraction: the power goes to the numerator or to
  // the denominator, so Fraction does no reduction beyond powers of two.
  const py::int_ integer =
      py::reinterpret_steal<py::int_>(PyLong_FromString(det.integer.c_str(), nullptr, 10));
  if (!integer) throw py::error_already_set();
  const py::int_ power(det.powerOfTwo < 0 ? -det.powerOfTwo : det.powerOfTwo);
  const py::object two = py::int_(2);
  const py::object scale = two.attr("__pow__")(power);
  const py::object fraction = py::module_::import("fractions").attr("Fraction");
  if (det.powerOfTwo < 0) return fraction(integer, scale);
  return fraction(integer * scale);
}

}  // namespace

void BindDeterminant(py::module_& module) {
  module.def("det_sign", &DetSignOf, py::arg("a"),
             R"(The exact sign of the determinant of a square matrix: -1, 0 or 1.

a: a finite (n, n) array, read as float64. No rounding error whatever the
conditioning: the library decides the sign exactly (a floating-point filter,
then exact integer arithmetic), so nearly singular matrices get their true
sign and singular ones 0.)");
  module.def("det_exact", &DetExactOf, py::arg("a"),
             R"(The exact determinant of a square matrix, as a fractions.Fraction.

a: a finite (n, n) array, read as float64. Every double is an integer times a
power of two, so the determinant is exactly integer * 2**k; it is computed in
polynomial time and its sign checked against det_sign. The same value as
`komath det --exact` prints.)");
}

}  // namespace komath::python
