// The komath extension module: argument helpers and the module itself.
#include "Module.h"

#include <cmath>
#include <limits>

namespace komath::python {

void ArgumentError(const char* name, const std::string& problem) {
  throw py::value_error(std::string(name) + " " + problem);
}

std::string ShapeText(const py::array& array) {
  std::string text = "(";
  for (py::ssize_t axis = 0; axis < array.ndim(); ++axis) {
    if (axis > 0) text += ", ";
    text += std::to_string(array.shape(axis));
  }
  return text + (array.ndim() == 1 ? ",)" : ")");
}

namespace {

// numpy's view of any array-like; ragged lists and other things numpy
// cannot turn into an array raise ValueError naming `name`.
py::array AnyArray(py::handle value, const char* name) {
  py::array array = py::array::ensure(value);
  if (!array) ArgumentError(name, "must be an array of numbers");
  return array;
}

}  // namespace

Doubles RealArray(py::handle value, const char* name) {
  py::array array = AnyArray(value, name);
  const char kind = array.dtype().kind();
  if (kind != 'i' && kind != 'u' && kind != 'f') {
    ArgumentError(
        name, "must hold real numbers, not dtype " + py::str(array.dtype()).cast<std::string>());
  }
  return Doubles::ensure(array);
}

Floats Float32Array(py::handle value, const char* name) {
  py::array array = AnyArray(value, name);
  if (!array.dtype().is(py::dtype::of<float>())) {
    ArgumentError(name, "must be a float32 array (numpy.float32), not dtype " +
                            py::str(array.dtype()).cast<std::string>());
  }
  return Floats::ensure(array);
}

void RequireFinite(const Doubles& array, const char* name) {
  const double* data = array.data();
  for (py::ssize_t i = 0; i < array.size(); ++i) {
    if (!std::isfinite(data[i])) {
      ArgumentError(name, "holds a non-finite value (at flat index " + std::to_string(i) + ")");
    }
  }
}

unsigned Extent32(const py::array& array, py::ssize_t axis, const char* name) {
  const py::ssize_t extent = array.shape(axis);
  if (extent > py::ssize_t(std::numeric_limits<unsigned>::max())) {
    ArgumentError(name, "is too large: " + ShapeText(array));
  }
  return unsigned(extent);
}

}  // namespace komath::python

PYBIND11_MODULE(komath, module) {
  using namespace komath::python;
  module.doc() =
      "KoMath from Python: registration, fitting, exact determinants, random numbers,\n"
      "quaternions and grid filters on numpy arrays.\n\n"
      "The functions run the same double-precision layer as the komath tool, so both give\n"
      "the same numbers for the same input. Arrays are float64 unless a function says\n"
      "otherwise; points are rows, and matrices multiply row vectors from the left:\n"
      "(x, y, z, 1) @ matrix.";
  BindRegistration(module);
  BindFitting(module);
  BindDeterminant(module);
  BindRandom(module);
  BindQuaternion(module);
  BindGrid(module);
}
