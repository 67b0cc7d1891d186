// Test helpers of the alignment tests: random point sets and similarity
// transforms, conversions to Eigen, and Eigen's umeyama as the reference.
#pragma once

#include <Eigen/Geometry>
#include <cmath>
#include <random>

#include "base/KbArray.h"
#include "base/KbMatrix4R.h"
#include "base/KbVector.h"

using Points = KbArray<KbVector3f>;

// A uniformly random proper rotation (from a normalised random quaternion).
inline Eigen::Matrix3d RandomRotation(std::mt19937& random) {
  std::normal_distribution<double> normal;
  Eigen::Quaterniond q(normal(random), normal(random), normal(random), normal(random));
  return q.normalized().toRotationMatrix();
}

inline Points RandomPoints(std::mt19937& random, unsigned int n, float extent = 10.0f) {
  std::uniform_real_distribution<float> coordinate(-extent, extent);
  Points points(n);
  for (KbVector3f& p : points) p = {coordinate(random), coordinate(random), coordinate(random)};
  return points;
}

// p -> s R p + t in column-vector form, rounded to float.
inline Points Similarity(const Points& points, const Eigen::Matrix3d& r, const Eigen::Vector3d& t,
                         double s = 1.0) {
  Points out(points.GetSize());
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    const Eigen::Vector3d q = s * (r * Eigen::Vector3d(points[i].x, points[i].y, points[i].z)) + t;
    out[i] = {float(q.x()), float(q.y()), float(q.z())};
  }
  return out;
}

inline Eigen::Matrix3Xd ToEigen(const Points& points) {
  Eigen::Matrix3Xd m(3, points.GetSize());
  for (unsigned int i = 0; i < points.GetSize(); ++i)
    m.col(i) << points[i].x, points[i].y, points[i].z;
  return m;
}

// The column-vector 3x3 rotation of a row-vector KbMatrix4Rf.
inline Eigen::Matrix3d ColumnRotation(const KbMatrix4Rf& m) {
  Eigen::Matrix3d r;
  for (unsigned int i = 0; i < 3; ++i) {
    for (unsigned int j = 0; j < 3; ++j) r(i, j) = m(j, i);
  }
  return r;
}

// Eigen's least-squares similarity (Umeyama 1991) mapping `moving` onto
// `target`, in double precision; 4x4 column-vector form.
inline Eigen::Matrix4d Umeyama(const Points& target, const Points& moving, bool withScaling) {
  return Eigen::umeyama(ToEigen(moving), ToEigen(target), withScaling);
}

// Largest distance between corresponding points.
inline double MaxDistance(const Points& a, const Points& b) {
  double largest = 0.0;
  for (unsigned int i = 0; i < a.GetSize(); ++i) {
    largest = std::max(largest, double((a[i] - b[i]).Length()));
  }
  return largest;
}

inline Points Transformed(const Points& points, const KbMatrix4Rf& m) {
  Points out(points.GetSize());
  for (unsigned int i = 0; i < points.GetSize(); ++i) out[i] = m.TransformPoint(points[i]);
  return out;
}
