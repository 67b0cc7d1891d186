// komath.align and komath.gpa over the shared registration layer (the
// tool's align and gpa).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "Module.h"
#include "Registration.h"

namespace komath::python {
namespace {

struct PyAlignResult {
  py::array_t<double> rotation;
  py::array_t<double> translation;
  double scale = 1;
  py::array_t<double> matrix;
  double rmsBefore = 0;
  double maxBefore = 0;
  double rmsAfter = 0;
  double maxAfter = 0;
};

struct PyGpaResult {
  py::array_t<double> mean;
  py::array_t<double> aligned;
  py::array_t<double> rotations;
  py::array_t<double> scales;
  py::array_t<double> translations;
  unsigned rounds = 0;
};

py::array_t<double> Shaped(const double* values, std::vector<py::ssize_t> shape) {
  py::array_t<double> out(shape);
  std::copy_n(values, out.size(), out.mutable_data());
  return out;
}

// Points as rows: a finite (n, 2) or (n, 3) array.
Doubles Points(py::handle value, const char* name) {
  Doubles points = RealArray(value, name);
  if (points.ndim() != 2 || (points.shape(1) != 2 && points.shape(1) != 3)) {
    ArgumentError(name,
                  "must have shape (n, 2) or (n, 3) (points as rows), not " + ShapeText(points));
  }
  RequireFinite(points, name);
  return points;
}

AlignOptions::Scale ScaleOption(py::handle scale) {
  if (py::isinstance<py::bool_>(scale)) {
    return scale.cast<bool>() ? AlignOptions::Scale::eLeastSquares : AlignOptions::Scale::eNone;
  }
  if (py::isinstance<py::str>(scale) && scale.cast<std::string>() == "ratio") {
    return AlignOptions::Scale::eRatio;
  }
  ArgumentError("scale",
                "must be False, True or \"ratio\", not " + py::repr(scale).cast<std::string>());
}

PyAlignResult AlignOf(ArrayLike targetValue, ArrayLike sourceValue, py::object scale,
                      bool allowReflection, bool translationOnly, bool planar) {
  const Doubles target = Points(targetValue, "target");
  const Doubles source = Points(sourceValue, "source");
  if (source.shape(0) != target.shape(0) || source.shape(1) != target.shape(1)) {
    ArgumentError("source", "must have the shape of target " + ShapeText(target) + ", not " +
                                ShapeText(source));
  }
  AlignOptions options;
  options.scale = ScaleOption(scale);
  options.allowReflection = allowReflection;
  options.translationOnly = translationOnly;
  options.planar = planar;
  const std::size_t d = std::size_t(target.shape(1));
  const std::size_t size = std::size_t(target.size());
  const AlignResult r = CallLibrary("align", [&] {
    return komath::Align({target.data(), size}, {source.data(), size}, d, options);
  });
  const py::ssize_t n = py::ssize_t(d);
  return {Shaped(r.rotation.data(), {n, n}),
          Shaped(r.translation.data(), {n}),
          r.scale,
          Shaped(r.matrix.data(), {4, 4}),
          r.rmsBefore,
          r.maxBefore,
          r.rmsAfter,
          r.maxAfter};
}

GpaMethod Method(const std::string& method) {
  if (method == "full") return GpaMethod::eFull;
  if (method == "partial") return GpaMethod::ePartial;
  if (method == "rigid") return GpaMethod::eRigid;
  ArgumentError("method", "must be \"full\", \"partial\" or \"rigid\", not \"" + method + "\"");
}

PyGpaResult GpaOf(ArrayLike shapesValue, const std::string& method, double tolerance,
                  std::int64_t reference, bool allowReflection) {
  const Doubles shapes = RealArray(shapesValue, "shapes");
  if (shapes.ndim() != 3 || (shapes.shape(2) != 2 && shapes.shape(2) != 3)) {
    ArgumentError("shapes", "must have shape (k, m, 2) or (k, m, 3) (k shapes of m points), not " +
                                ShapeText(shapes));
  }
  RequireFinite(shapes, "shapes");
  const py::ssize_t k = shapes.shape(0), m = shapes.shape(1), d = shapes.shape(2);
  GpaOptions options;
  options.method = Method(method);
  if (!(tolerance >= 0) || !std::isfinite(tolerance)) {
    ArgumentError("tolerance", "must be finite and >= 0");
  }
  options.tolerance = tolerance;
  if (reference < 0 || reference >= k) {
    ArgumentError("reference", "must index one of the " + std::to_string(k) + " shapes, not " +
                                   std::to_string(reference));
  }
  options.reference = std::size_t(reference);
  options.allowReflection = allowReflection;
  const GpaResult r = CallLibrary("gpa", [&] {
    return komath::Gpa({shapes.data(), std::size_t(shapes.size())}, std::size_t(k), std::size_t(m),
                       std::size_t(d), options);
  });
  return {Shaped(r.mean.data(), {m, d}),         Shaped(r.aligned.data(), {k, m, d}),
          Shaped(r.rotations.data(), {k, d, d}), Shaped(r.scales.data(), {k}),
          Shaped(r.translations.data(), {k, d}), r.rounds};
}

std::string Repr(const char* name, std::initializer_list<std::pair<const char*, double>> fields) {
  std::string text = std::string(name) + "(";
  for (const auto& [field, value] : fields) {
    if (text.back() != '(') text += ", ";
    text += std::string(field) + "=" + py::repr(py::float_(value)).cast<std::string>();
  }
  return text + ")";
}

}  // namespace

void BindRegistration(py::module_& module) {
  py::class_<PyAlignResult>(module, "AlignResult",
                            "The result of komath.align: target ~ scale * source @ rotation + "
                            "translation.")
      .def_readonly("rotation", &PyAlignResult::rotation,
                    "(d, d) rotation, applied to row vectors from the right.")
      .def_readonly("translation", &PyAlignResult::translation, "(d,) translation.")
      .def_readonly("scale", &PyAlignResult::scale, "The scale (1 unless asked for).")
      .def_readonly("matrix", &PyAlignResult::matrix,
                    "(4, 4) matrix M of the motion in the row-vector convention, as the tool "
                    "prints it: (x, y, z, 1) @ M (z = 0 for 2-D input).")
      .def_readonly("rms_before", &PyAlignResult::rmsBefore,
                    "Root mean square distance of corresponding points before the motion.")
      .def_readonly("max_before", &PyAlignResult::maxBefore,
                    "Largest distance of corresponding points before the motion.")
      .def_readonly("rms_after", &PyAlignResult::rmsAfter,
                    "Root mean square distance of target and moved source.")
      .def_readonly("max_after", &PyAlignResult::maxAfter,
                    "Largest distance of target and moved source.")
      .def("__repr__", [](const PyAlignResult& r) {
        return Repr("AlignResult",
                    {{"scale", r.scale}, {"rms_before", r.rmsBefore}, {"rms_after", r.rmsAfter}});
      });
  module.def("align", &AlignOf, py::arg("target"), py::arg("source"), py::arg("scale") = false,
             py::arg("allow_reflection") = false, py::arg("translation_only") = false,
             py::arg("planar") = false,
             R"(Procrustes alignment of source onto target (corresponding points as rows).

target, source: (n, 2) or (n, 3) arrays of the same shape, n >= 3. Finds
the motion with target ~ scale * source @ rotation + translation:
  scale=False         rigid (scale 1);
  scale=True          the least-squares similarity scale;
  scale="ratio"       the library's ratio of the two sets' sizes;
  allow_reflection    allow an improper rotation (determinant -1); 2-D input
                      is never reflected otherwise;
  translation_only    match the centroids only;
  planar              3-D only: rotate about the z axis alone.
Both sets are centred and scaled to unit size in double before the float
library sees them, so large offsets and tiny or huge units keep their digits.
Returns an AlignResult (rotation, translation, scale, matrix, rms_before,
rms_after, max_before, max_after): the numbers of `komath align`.)");

  py::class_<PyGpaResult>(module, "GpaResult",
                          "The result of komath.gpa: shape i maps onto aligned[i] as "
                          "scales[i] * shapes[i] @ rotations[i] + translations[i].")
      .def_readonly("mean", &PyGpaResult::mean, "(m, d) mean shape.")
      .def_readonly("aligned", &PyGpaResult::aligned, "(k, m, d) aligned shapes.")
      .def_readonly("rotations", &PyGpaResult::rotations, "(k, d, d) rotation of each shape.")
      .def_readonly("scales", &PyGpaResult::scales, "(k,) scale of each shape.")
      .def_readonly("translations", &PyGpaResult::translations, "(k, d) translation of each shape.")
      .def_readonly("rounds", &PyGpaResult::rounds, "Rounds until the mean settled.")
      .def("__repr__", [](const PyGpaResult& r) {
        return "GpaResult(shapes=" + std::to_string(r.aligned.shape(0)) +
               ", landmarks=" + std::to_string(r.mean.shape(0)) +
               ", rounds=" + std::to_string(r.rounds) + ")";
      });
  module.def("gpa", &GpaOf, py::arg("shapes"), py::arg("method") = "full",
             py::arg("tolerance") = 1e-6, py::arg("reference") = 0,
             py::arg("allow_reflection") = false,
             R"(Generalized Procrustes analysis of k shapes of m corresponding landmarks.

shapes: a (k, m, 2) or (k, m, 3) array. method:
  "full"     each shape scaled by its least-squares scale onto the mean (the
             full Procrustes estimator of morphometrics);
  "partial"  every shape at unit size (the library's own estimator);
  "rigid"    no scaling.
tolerance: how little the mean may move in a round to have settled, in the
units of the unit-size mean. reference: the shape that seeds the mean.
2-D shapes are never reflected unless allow_reflection. Returns a GpaResult
(mean, aligned, rotations, scales, translations, rounds) in the input's
units: the numbers of `komath gpa`.)");
}

}  // namespace komath::python
