// KoArray3D<T>: a width x height x depth grid stored slice by slice.
//
// x is the column (0 .. width-1), y the row (0 .. height-1), z the slice
// (0 .. depth-1); element (x, y, z) lives at index (z * height + y) * width
// + x, so x runs fastest and each slice is a KoArray2D-shaped block. The
// grid owns its storage. Like KoArray2D it has no stream record of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "base/KbException.h"
#include "base/KbExport.h"

template <class T>
class KOBASE_API KoArray3D {
 public:
  KoArray3D() = default;
  // Throws KbException when width * height * depth does not fit in size_t
  // (a 64-bit product of three 32-bit sizes can overflow).
  KoArray3D(unsigned int width, unsigned int height, unsigned int depth)
      : m_width(width), m_height(height), m_depth(depth), m_data(CellCount(width, height, depth)) {}

  unsigned int GetWidth() const { return m_width; }
  unsigned int GetHeight() const { return m_height; }
  unsigned int GetDepth() const { return m_depth; }

  T& operator()(unsigned int x, unsigned int y, unsigned int z) { return m_data[index(x, y, z)]; }
  const T& operator()(unsigned int x, unsigned int y, unsigned int z) const {
    return m_data[index(x, y, z)];
  }

  T* GetData() { return m_data.data(); }
  const T* GetData() const { return m_data.data(); }

  // The number of cells, checked for overflow.
  static std::size_t CellCount(unsigned int width, unsigned int height, unsigned int depth) {
    const std::size_t slice = std::size_t(width) * height;  // fits: 2 x 32 bits
    if (depth != 0 && slice > std::numeric_limits<std::size_t>::max() / depth) {
      throw KbException("KoArray3D: width * height * depth (" + std::to_string(width) + " x " +
                        std::to_string(height) + " x " + std::to_string(depth) +
                        ") overflows the cell count");
    }
    return slice * depth;
  }

 private:
  std::size_t index(unsigned int x, unsigned int y, unsigned int z) const {
    return (std::size_t(z) * m_height + y) * m_width + x;
  }

  unsigned int m_width = 0;
  unsigned int m_height = 0;
  unsigned int m_depth = 0;
  std::vector<T> m_data;
};
