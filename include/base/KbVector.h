// Small geometric vectors: KbVector2f, KbVector3f, KbVector3d, KbVector4f.
//
// Plain value types with public components and no virtual functions. The
// library multiplies row vectors from the left onto matrices ((x, y, z, 1)
// times M, see KbMatrix4R.h); the vectors themselves carry no convention.
// Equality is exact, component by component (so NaN != NaN and 0 == -0).
//
// Bit-exact under any host flags: every operation here is a single rounding
// per component or keeps its products rounded with KbRounded (dot, cross,
// length), so a host compiled with -march=haswell -ffp-contract=fast gets
// the same bits as the library, which is compiled without contraction.
#pragma once

#include <cmath>

#include "base/KbExport.h"
#include "base/KbRounded.h"

namespace kb_detail {

// Shared implementation of the 3-D vector in both precisions.
template <class T>
struct KOBASE_API KbVector3T {
  T x{}, y{}, z{};

  constexpr KbVector3T() = default;
  constexpr KbVector3T(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

  // Index 0, 1, 2 selects x, y, z; anything else is undefined behaviour.
  constexpr T& operator[](unsigned int i) { return i == 0 ? x : (i == 1 ? y : z); }
  constexpr const T& operator[](unsigned int i) const { return i == 0 ? x : (i == 1 ? y : z); }

  constexpr KbVector3T operator+(const KbVector3T& o) const { return {x + o.x, y + o.y, z + o.z}; }
  constexpr KbVector3T operator-(const KbVector3T& o) const { return {x - o.x, y - o.y, z - o.z}; }
  constexpr KbVector3T operator-() const { return {-x, -y, -z}; }
  constexpr KbVector3T operator*(T s) const { return {x * s, y * s, z * s}; }
  constexpr KbVector3T operator/(T s) const { return {x / s, y / s, z / s}; }
  constexpr KbVector3T& operator+=(const KbVector3T& o) { return *this = *this + o; }
  constexpr KbVector3T& operator-=(const KbVector3T& o) { return *this = *this - o; }
  constexpr KbVector3T& operator*=(T s) { return *this = *this * s; }
  constexpr KbVector3T& operator/=(T s) { return *this = *this / s; }
  constexpr bool operator==(const KbVector3T& o) const { return x == o.x && y == o.y && z == o.z; }

  // Summed left to right: x*x' + y*y' + z*z', each product rounded.
  constexpr T Dot(const KbVector3T& o) const {
    return KbRounded(x * o.x) + KbRounded(y * o.y) + KbRounded(z * o.z);
  }
  // (y z' - z y', z x' - x z', x y' - y x'), each product rounded.
  constexpr KbVector3T Cross(const KbVector3T& o) const {
    return {KbRounded(y * o.z) - KbRounded(z * o.y), KbRounded(z * o.x) - KbRounded(x * o.z),
            KbRounded(x * o.y) - KbRounded(y * o.x)};
  }
  constexpr T SquaredLength() const { return Dot(*this); }
  T Length() const { return std::sqrt(SquaredLength()); }
};

template <class T>
constexpr KbVector3T<T> operator*(T s, const KbVector3T<T>& v) {
  return v * s;
}

}  // namespace kb_detail

using KbVector3f = kb_detail::KbVector3T<float>;
using KbVector3d = kb_detail::KbVector3T<double>;

struct KOBASE_API KbVector2f {
  float x{}, y{};

  constexpr KbVector2f() = default;
  constexpr KbVector2f(float x_, float y_) : x(x_), y(y_) {}

  constexpr float& operator[](unsigned int i) { return i == 0 ? x : y; }
  constexpr const float& operator[](unsigned int i) const { return i == 0 ? x : y; }

  constexpr KbVector2f operator+(const KbVector2f& o) const { return {x + o.x, y + o.y}; }
  constexpr KbVector2f operator-(const KbVector2f& o) const { return {x - o.x, y - o.y}; }
  constexpr KbVector2f operator-() const { return {-x, -y}; }
  constexpr KbVector2f operator*(float s) const { return {x * s, y * s}; }
  constexpr KbVector2f operator/(float s) const { return {x / s, y / s}; }
  constexpr KbVector2f& operator+=(const KbVector2f& o) { return *this = *this + o; }
  constexpr KbVector2f& operator-=(const KbVector2f& o) { return *this = *this - o; }
  constexpr bool operator==(const KbVector2f& o) const { return x == o.x && y == o.y; }

  constexpr float Dot(const KbVector2f& o) const {
    return kb_detail::KbRounded(x * o.x) + kb_detail::KbRounded(y * o.y);
  }
  constexpr float SquaredLength() const { return Dot(*this); }
  float Length() const { return std::sqrt(SquaredLength()); }
};

constexpr KbVector2f operator*(float s, const KbVector2f& v) {
  return v * s;
}

// Four floats (x, y, z, w); the quaternion stores its components in this order.
struct KOBASE_API KbVector4f {
  float x{}, y{}, z{}, w{};

  constexpr KbVector4f() = default;
  constexpr KbVector4f(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}

  constexpr float& operator[](unsigned int i) { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
  constexpr const float& operator[](unsigned int i) const {
    return i == 0 ? x : i == 1 ? y : i == 2 ? z : w;
  }

  constexpr KbVector4f operator+(const KbVector4f& o) const {
    return {x + o.x, y + o.y, z + o.z, w + o.w};
  }
  constexpr KbVector4f operator-(const KbVector4f& o) const {
    return {x - o.x, y - o.y, z - o.z, w - o.w};
  }
  constexpr KbVector4f operator-() const { return {-x, -y, -z, -w}; }
  constexpr KbVector4f operator*(float s) const { return {x * s, y * s, z * s, w * s}; }
  constexpr KbVector4f operator/(float s) const { return {x / s, y / s, z / s, w / s}; }
  constexpr bool operator==(const KbVector4f& o) const {
    return x == o.x && y == o.y && z == o.z && w == o.w;
  }

  constexpr float Dot(const KbVector4f& o) const {
    using kb_detail::KbRounded;
    return KbRounded(x * o.x) + KbRounded(y * o.y) + KbRounded(z * o.z) + KbRounded(w * o.w);
  }
  constexpr float SquaredLength() const { return Dot(*this); }
  float Length() const { return std::sqrt(SquaredLength()); }
};

constexpr KbVector4f operator*(float s, const KbVector4f& v) {
  return v * s;
}
