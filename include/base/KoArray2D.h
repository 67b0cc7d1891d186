// KoArray2D<T>: a width x height grid stored row by row.
//
// x is the column (0 .. width-1), y the row (0 .. height-1); element (x, y)
// lives at index y * width + x. The grid owns its storage.
#pragma once

#include <vector>

#include "base/KbExport.h"

template <class T>
class KOBASE_API KoArray2D {
 public:
  KoArray2D() = default;
  KoArray2D(unsigned int width, unsigned int height)
      : m_width(width), m_height(height), m_data(std::size_t(width) * height) {}

  unsigned int GetWidth() const { return m_width; }
  unsigned int GetHeight() const { return m_height; }

  T& operator()(unsigned int x, unsigned int y) { return m_data[std::size_t(y) * m_width + x]; }
  const T& operator()(unsigned int x, unsigned int y) const {
    return m_data[std::size_t(y) * m_width + x];
  }

  T* GetData() { return m_data.data(); }
  const T* GetData() const { return m_data.data(); }

 private:
  unsigned int m_width = 0;
  unsigned int m_height = 0;
  std::vector<T> m_data;
};
