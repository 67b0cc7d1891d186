// komath.slerp, komath.quaternion_to_matrix, komath.matrix_to_quaternion
// over KoQuaternion (single precision, x, y, z, w order).
#include <vector>

#include "Module.h"
#include "math/rotations/KoQuaternion.h"

namespace komath::python {
namespace {

// Quaternions as (4,) or (n, 4): the count and whether there was an n.
struct Quaternions {
  Doubles values;
  py::ssize_t count = 1;
  bool stacked = false;

  KoQuaternion At(py::ssize_t i) const {
    // A single quaternion pairs with every row of the other arguments.
    const double* q = values.data() + (count == 1 ? 0 : 4 * i);
    return {float(q[0]), float(q[1]), float(q[2]), float(q[3])};
  }
};

Quaternions ReadQuaternions(py::handle value, const char* name) {
  Quaternions q{RealArray(value, name)};
  const py::ssize_t ndim = q.values.ndim();
  if ((ndim != 1 && ndim != 2) || q.values.shape(ndim - 1) != 4) {
    ArgumentError(name, "must have shape (4,) or (n, 4) (x, y, z, w), not " + ShapeText(q.values));
  }
  q.stacked = ndim == 2;
  q.count = q.stacked ? q.values.shape(0) : 1;
  return q;
}

// n x 4 doubles from the quaternions, as (n, 4) or, unstacked, (4,).
py::array_t<double> QuaternionArray(const std::vector<KoQuaternion>& q, bool stacked) {
  py::array_t<double> out(stacked ? std::vector<py::ssize_t>{py::ssize_t(q.size()), 4}
                                  : std::vector<py::ssize_t>{4});
  double* data = out.mutable_data();
  for (const KoQuaternion& r : q) {
    *data++ = r.x;
    *data++ = r.y;
    *data++ = r.z;
    *data++ = r.w;
  }
  return out;
}

py::array_t<double> Slerp(ArrayLike q0, ArrayLike q1, ArrayLike t) {
  const Quaternions a = ReadQuaternions(q0, "q0");
  const Quaternions b = ReadQuaternions(q1, "q1");
  const Doubles times = RealArray(t, "t");
  if (times.ndim() > 1)
    ArgumentError("t", "must be a number or of shape (n,), not " + ShapeText(times));
  const bool timesStacked = times.ndim() == 1;
  const py::ssize_t timeCount = timesStacked ? times.shape(0) : 1;
  // numpy's broadcasting of the leading axis: every count is 1 or n, the
  // first count other than 1 (a later argument that differs is the one named).
  py::ssize_t n = 1;
  for (const py::ssize_t count : {a.count, b.count, timeCount}) {
    if (n == 1) n = count;
  }
  const struct {
    const char* name;
    py::ssize_t count;
  } counts[] = {{"q0", a.count}, {"q1", b.count}, {"t", timeCount}};
  for (const auto& c : counts) {
    if (c.count != 1 && c.count != n) {
      ArgumentError(c.name, "has " + std::to_string(c.count) + " rows where another argument has " +
                                std::to_string(n));
    }
  }
  std::vector<KoQuaternion> out(std::size_t(n), KoQuaternion{});
  const double* tv = times.data();
  CallLibrary("slerp", [&] {
    for (py::ssize_t i = 0; i < n; ++i) {
      out[std::size_t(i)] =
          KoQuaternion::Slerp(a.At(i), b.At(i), float(tv[timeCount == 1 ? 0 : i]));
    }
  });
  return QuaternionArray(out, a.stacked || b.stacked || timesStacked);
}

py::array_t<double> ToMatrix(ArrayLike q) {
  const Quaternions a = ReadQuaternions(q, "q");
  std::vector<KbMatrix4Rf> matrices(std::size_t(a.count));
  CallLibrary("quaternion_to_matrix", [&] {
    for (py::ssize_t i = 0; i < a.count; ++i)
      matrices[std::size_t(i)] = a.At(i).GetRotationMatrix();
  });
  py::array_t<double> out(a.stacked ? std::vector<py::ssize_t>{a.count, 3, 3}
                                    : std::vector<py::ssize_t>{3, 3});
  double* data = out.mutable_data();
  for (const KbMatrix4Rf& m : matrices) {
    for (unsigned r = 0; r < 3; ++r) {
      for (unsigned c = 0; c < 3; ++c) *data++ = m(r, c);
    }
  }
  return out;
}

py::array_t<double> ToQuaternion(ArrayLike m) {
  const Doubles matrices = RealArray(m, "m");
  const py::ssize_t ndim = matrices.ndim();
  const py::ssize_t size = ndim >= 2 ? matrices.shape(ndim - 1) : 0;
  if ((ndim != 2 && ndim != 3) || (size != 3 && size != 4) || matrices.shape(ndim - 2) != size) {
    ArgumentError(
        "m", "must have shape (3, 3), (4, 4), (n, 3, 3) or (n, 4, 4), not " + ShapeText(matrices));
  }
  const py::ssize_t count = ndim == 3 ? matrices.shape(0) : 1;
  std::vector<KoQuaternion> out(std::size_t(count), KoQuaternion{});
  const double* data = matrices.data();
  CallLibrary("matrix_to_quaternion", [&] {
    for (py::ssize_t i = 0; i < count; ++i) {
      // Only the upper 3 x 3 block is read; the rest stays the identity's.
      KbMatrix4Rf rotation;
      for (unsigned r = 0; r < 3; ++r) {
        for (unsigned c = 0; c < 3; ++c) rotation(r, c) = float(data[(i * size + r) * size + c]);
      }
      out[std::size_t(i)] = KoQuaternion(rotation);
    }
  });
  return QuaternionArray(out, ndim == 3);
}

}  // namespace

void BindQuaternion(py::module_& module) {
  module.def("slerp", &Slerp, py::arg("q0"), py::arg("q1"), py::arg("t"),
             R"(Spherical linear interpolation of unit quaternions, along the shorter arc.

q0, q1: (4,) or (n, 4) arrays in x, y, z, w order; t: a number or an (n,)
array (t = 0 gives q0, t = 1 gives q1 or -q1). A single quaternion or time
pairs with every row of the others. Returns (4,), or (n, 4) when any argument
has n rows.

Computed in float by the library (KoQuaternion::Slerp): from |q0 . q1| >= 0.95
on it interpolates linearly and normalises, which differs from the exact
slerp by less than a float's resolution.)");
  module.def(
      "quaternion_to_matrix", &ToMatrix, py::arg("q"),
      R"(The rotation matrix of quaternions (x, y, z, w): (4,) -> (3, 3), (n, 4) -> (n, 3, 3).

The library's KoQuaternion::GetRotationMatrix, in float: the matrix is scaled
by 2 / |q|^2, so a non-unit quaternion still gives a rotation (the zero
quaternion the identity). Its entries equal those of
scipy.spatial.transform.Rotation.from_quat(q).as_matrix(); as the library's
matrices multiply row vectors from the left, v @ M turns v by the inverse of
that rotation (KoQuaternion::Transform).)");
  module.def(
      "matrix_to_quaternion", &ToQuaternion, py::arg("m"),
      R"(The quaternion (x, y, z, w) of rotation matrices: (3, 3) or (4, 4) -> (4,), (n, 3, 3) or (n, 4, 4) -> (n, 4).

Only the upper 3 x 3 block is read. The inverse of quaternion_to_matrix for
unit quaternions, up to sign; in float (the KoQuaternion constructor from a
matrix). When trace + 1 > 0.2 the result is not normalised, as the library's.)");
}

}  // namespace komath::python
