// Shared pieces of the komath extension module: array arguments checked
// with messages that name them, and library calls made without the GIL
// whose failures become Python exceptions.
//
// Error policy of the module: a bad argument (shape, dtype, value) raises
// ValueError naming the argument; input that the library rejects raises
// ValueError naming the function; a computation that fails raises
// RuntimeError naming the function and the step. Nothing reaches the
// library unchecked that could make it read outside an array.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

#include "Errors.h"
#include "base/KbException.h"

namespace komath::python {

namespace py = pybind11;

// C-contiguous float64 (a converted copy unless the argument already is).
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;

// Any Python object, checked by the binding itself (RealArray, ...): a
// py::object whose name in the signatures that help() shows is
// numpy.typing.ArrayLike rather than "handle".
inline int AnyObject(PyObject*) {
  return 1;
}
class ArrayLike : public py::object {
 public:
  PYBIND11_OBJECT_DEFAULT(ArrayLike, py::object, AnyObject)
};

// Raises ValueError "NAME PROBLEM", e.g. "target must have 2 or 3 columns".
[[noreturn]] void ArgumentError(const char* name, const std::string& problem);

// The shape as Python prints it: "(5,)", "(4, 3)".
std::string ShapeText(const py::array& array);

// `value` as float64: any array-like of integers or floats; other dtypes
// (bool, complex, strings, objects, ragged lists) raise ValueError naming
// `name`. Non-finite values are the caller's to check (RequireFinite).
Doubles RealArray(py::handle value, const char* name);
// `value` as float32, which it must already be: the grids are computed in
// float, and a silent conversion from float64 would hide the lost digits.
Floats Float32Array(py::handle value, const char* name);
void RequireFinite(const Doubles& array, const char* name);
// Dimension `axis` of `array` as the library's 32-bit size.
unsigned Extent32(const py::array& array, py::ssize_t axis, const char* name);

// Runs `compute` without the GIL (it must not touch Python objects) and
// turns the library's exceptions into Python ones: InputError and
// std::invalid_argument into ValueError, ComputationError and KbException into RuntimeError, each
// prefixed with `function`.
template <class Compute>
auto CallLibrary(const char* function, Compute&& compute) {
  std::string message;
  bool input = false;
  try {
    py::gil_scoped_release release;
    return std::forward<Compute>(compute)();
  } catch (const InputError& e) {
    message = e.what();
    input = true;
  } catch (const std::invalid_argument& e) {
    message = e.what();
    input = true;
  } catch (const ComputationError& e) {
    message = e.what();
  } catch (const KbException& e) {
    message = e.what();
  }
  // Raised here, with the GIL held again and the library's exception gone.
  // The layer's messages mostly name their step already ("gpa --rigid: ...").
  const std::size_t length = std::char_traits<char>::length(function);
  if (message.compare(0, length, function) != 0 ||
      (message.size() > length && message[length] != ':' && message[length] != ' ')) {
    message = std::string(function) + ": " + message;
  }
  if (input) throw py::value_error(message);
  throw std::runtime_error(message);
}

void BindRegistration(py::module_& module);
void BindFitting(py::module_& module);
void BindDeterminant(py::module_& module);
void BindRandom(py::module_& module);
void BindQuaternion(py::module_& module);
void BindGrid(py::module_& module);

}  // namespace komath::python

template <>
struct pybind11::detail::handle_type_name<komath::python::ArrayLike> {
  static constexpr auto name = const_name("numpy.typing.ArrayLike");
};
