#include "base/KbMatrix4R.h"

namespace kb_detail {

template <class T>
KbMatrix4RT<T> KbMatrix4RT<T>::operator*(const KbMatrix4RT& other) const {
  KbMatrix4RT result;
  for (unsigned int r = 0; r < 4; ++r) {
    for (unsigned int c = 0; c < 4; ++c) {
      T sum = (*this)(r, 0) * other(0, c);
      for (unsigned int k = 1; k < 4; ++k) sum += (*this)(r, k) * other(k, c);
      result(r, c) = sum;
    }
  }
  return result;
}

template <class T>
bool KbMatrix4RT<T>::operator==(const KbMatrix4RT& other) const {
  for (unsigned int i = 0; i < 16; ++i) {
    if (!(m_data[i] == other.m_data[i])) return false;
  }
  return true;
}

template <class T>
KbVector3T<T> KbMatrix4RT<T>::TransformPoint(const KbVector3T<T>& p) const {
  const KbMatrix4RT& m = *this;
  const T x = p.x * m(0, 0) + p.y * m(1, 0) + p.z * m(2, 0) + m(3, 0);
  const T y = p.x * m(0, 1) + p.y * m(1, 1) + p.z * m(2, 1) + m(3, 1);
  const T z = p.x * m(0, 2) + p.y * m(1, 2) + p.z * m(2, 2) + m(3, 2);
  const T w = p.x * m(0, 3) + p.y * m(1, 3) + p.z * m(2, 3) + m(3, 3);
  return {x / w, y / w, z / w};
}

template class KbMatrix4RT<float>;
template class KbMatrix4RT<double>;

}  // namespace kb_detail
