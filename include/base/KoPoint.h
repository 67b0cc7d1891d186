// KoPoint<T>: a plain 2-D point (x, y), used for the samples of polynomial fits.
#pragma once

#include "base/KbExport.h"

template <class T>
struct KOBASE_API KoPoint {
  T x{}, y{};

  constexpr KoPoint() = default;
  constexpr KoPoint(T x_, T y_) : x(x_), y(y_) {}
  constexpr bool operator==(const KoPoint& o) const { return x == o.x && y == o.y; }
};
