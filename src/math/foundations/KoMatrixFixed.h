// Library-internal small matrices, all indexed (row, column).
//
// KoMatrixFixed<T, Rows, Columns> is a value type with its elements in a
// plain array, row after row: element (r, c) is at index r * Columns + c.
// A quaternion or a vector is a matrix of one column. KoMatrixView<T> gives
// the same (row, column) access to a KoArray2D, whose own operator() takes
// (x = column, y = row) and whose storage is also row after row, so the view
// is a reinterpretation and copies nothing.
//
// The public interface keeps KoArray2D; these types exist so that inside
// the library every matrix is indexed one way. The only places where the two
// orders meet are ToFixed and ToArray2D below (and KoMatrixView): an index
// written (c, r) anywhere else is a transposition fault.
//
// Nothing here computes: products, sums and norms are written out where they
// are used, in the operation order documented there.
#pragma once

#include <cstddef>

#include "base/KoArray2D.h"

template <class T, unsigned int Rows, unsigned int Columns>
class KoMatrixFixed {
 public:
  static constexpr unsigned int c_uiRows = Rows;
  static constexpr unsigned int c_uiColumns = Columns;

  // All elements 0.
  constexpr KoMatrixFixed() = default;

  // Ones on the main diagonal, zeros elsewhere (also for Rows != Columns).
  static constexpr KoMatrixFixed Identity() {
    KoMatrixFixed m;
    for (unsigned int i = 0; i < Rows && i < Columns; ++i) m(i, i) = T(1);
    return m;
  }

  constexpr unsigned int GetRows() const { return Rows; }
  constexpr unsigned int GetColumns() const { return Columns; }

  // No bounds check: row < Rows, column < Columns.
  constexpr T& operator()(unsigned int row, unsigned int column) {
    return m_values[row * Columns + column];
  }
  constexpr const T& operator()(unsigned int row, unsigned int column) const {
    return m_values[row * Columns + column];
  }

  // Element i of a one-column matrix (a vector or a quaternion).
  constexpr T& operator[](unsigned int i) requires(Columns == 1) { return m_values[i]; }
  constexpr const T& operator[](unsigned int i) const requires(Columns == 1) { return m_values[i]; }

  T* GetData() { return m_values; }
  const T* GetData() const { return m_values; }

 private:
  T m_values[Rows * Columns] = {};
};

// (row, column) access to a KoArray2D without copying: rows are the array's
// y, columns its x. Keeps a pointer to the array's storage, which must not
// be resized while the view is used.
template <class T>
class KoMatrixView {
 public:
  explicit KoMatrixView(KoArray2D<T>& array)
      : m_data(array.GetData()), m_rows(array.GetHeight()), m_columns(array.GetWidth()) {}

  unsigned int GetRows() const { return m_rows; }
  unsigned int GetColumns() const { return m_columns; }

  // No bounds check: row < GetRows(), column < GetColumns().
  T& operator()(unsigned int row, unsigned int column) const {
    return m_data[std::size_t(row) * m_columns + column];
  }

 private:
  T* m_data;
  unsigned int m_rows;
  unsigned int m_columns;
};

// The upper-left block of `array` (height rows, width columns, at most the
// matrix's size) over the identity: the remaining rows and columns of the
// result are those of the identity.
template <class T, unsigned int Rows, unsigned int Columns>
KoMatrixFixed<T, Rows, Columns> ToFixed(const KoArray2D<T>& array) {
  KoMatrixFixed<T, Rows, Columns> m = KoMatrixFixed<T, Rows, Columns>::Identity();
  for (unsigned int r = 0; r < array.GetHeight() && r < Rows; ++r) {
    for (unsigned int c = 0; c < array.GetWidth() && c < Columns; ++c) m(r, c) = array(c, r);
  }
  return m;
}

// The upper-left `rows` x `columns` block of m as a KoArray2D (width
// `columns`, height `rows`), resizing the array only when its shape differs.
template <class T, unsigned int Rows, unsigned int Columns>
void ToArray2D(const KoMatrixFixed<T, Rows, Columns>& m, unsigned int rows, unsigned int columns,
               KoArray2D<T>& array) {
  if (array.GetHeight() != rows || array.GetWidth() != columns) array = KoArray2D<T>(columns, rows);
  for (unsigned int r = 0; r < rows; ++r) {
    for (unsigned int c = 0; c < columns; ++c) array(c, r) = m(r, c);
  }
}
