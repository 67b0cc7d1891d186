// Gauss-Jordan elimination with full pivoting (internal; the polynomial
// fit's solver, kept apart so that it can be tested on its own).
#pragma once

#include <cmath>
#include <utility>
#include <vector>

// Solves a x = b in place (Numerical Recipes, "gaussj"): b becomes x and a,
// m x m row-major, its inverse. Among pivot candidates of equal magnitude
// the later one wins (the comparison is >=). A pivot off the diagonal is
// moved onto it by a row swap, which the inverse undoes by swapping its
// columns back at the end. A zero pivot stops the elimination at once and
// leaves a and b half-reduced; the caller carries on with them.
template <class T>
void KoSolveGaussJordan(T* a, T* b, unsigned int m) {
  std::vector<unsigned int> pivotCount(m, 0);
  std::vector<std::pair<unsigned int, unsigned int>> swaps;  // (row, column) of each pass
  // Initialised so that an all-NaN search (no candidate ever compares >=)
  // still names a valid element.
  unsigned int row = 0;
  unsigned int column = 0;
  for (unsigned int pass = 0; pass < m; ++pass) {
    T largest = 0;
    for (unsigned int r = 0; r < m; ++r) {
      if (pivotCount[r] == 1) continue;
      for (unsigned int c = 0; c < m; ++c) {
        if (pivotCount[c] == 0 && std::fabs(a[r * m + c]) >= largest) {
          largest = std::fabs(a[r * m + c]);
          row = r;
          column = c;
        }
      }
    }
    ++pivotCount[column];
    // Move the pivot onto the diagonal.
    if (row != column) {
      for (unsigned int c = 0; c < m; ++c) std::swap(a[row * m + c], a[column * m + c]);
      std::swap(b[row], b[column]);
    }
    swaps.emplace_back(row, column);
    T* pivotLine = a + column * m;
    if (pivotLine[column] == 0) return;
    const T inverse = T(1) / pivotLine[column];
    pivotLine[column] = 1;
    for (unsigned int c = 0; c < m; ++c) pivotLine[c] *= inverse;
    b[column] *= inverse;
    for (unsigned int r = 0; r < m; ++r) {
      if (r == column) continue;
      // Zeroing the pivot column first turns it into the inverse's column
      // as the row is reduced.
      const T factor = a[r * m + column];
      a[r * m + column] = 0;
      for (unsigned int c = 0; c < m; ++c) a[r * m + c] -= pivotLine[c] * factor;
      b[r] -= b[column] * factor;
    }
  }
  for (auto pass = swaps.rbegin(); pass != swaps.rend(); ++pass) {
    for (unsigned int r = 0; r < m; ++r) std::swap(a[r * m + pass->first], a[r * m + pass->second]);
  }
}
