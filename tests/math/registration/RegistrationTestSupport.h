// Helpers of the registration tests: an observer that counts, random point sets and similarities,
// conversions to Eigen.
#pragma once

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <random>

#include "RecordTestSupport.h"
#include "base/KoBase.h"

using ko_test::Bytes;
using Points = KbArray<KbVector3f>;

// Counts the messages; fails on any other than eChanged with a null payload.
struct CountingObserver : IObserver {
  int count = 0;
  void OnNotify(KoObservable&, KoObservableMessage::EMessageType type, void* data) override {
    ++count;
    EXPECT_EQ(type, KoObservableMessage::eChanged);
    EXPECT_EQ(data, nullptr);
  }
};

// A uniformly random proper rotation (from a normalised random quaternion).
// Draws go through braced lists, which fix their order on every compiler.
inline Eigen::Matrix3d RandomRotation(std::mt19937& random) {
  std::normal_distribution<double> normal;
  const Eigen::Vector4d q{normal(random), normal(random), normal(random), normal(random)};
  return Eigen::Quaterniond(q).normalized().toRotationMatrix();
}

// Column-vector 3x3 <-> the rotation block of a row-vector KbMatrix4Rf
// (each the other's transpose; the fourth row and column as in the identity).
inline KbMatrix4Rf RowRotation(const Eigen::Matrix3d& r) {
  KbMatrix4Rf m;
  for (unsigned int i = 0; i < 9; ++i) m(i / 3, i % 3) = float(r(i % 3, i / 3));
  return m;
}
inline Eigen::Matrix3d ColumnRotation(const KbMatrix4Rf& m) {
  Eigen::Matrix3d r;
  for (unsigned int i = 0; i < 9; ++i) r(i % 3, i / 3) = m(i / 3, i % 3);
  return r;
}

inline Points RandomPoints(std::mt19937& random, unsigned int n) {
  std::uniform_real_distribution<float> coordinate(-10.0f, 10.0f);
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

// Largest distance between m applied to a point of `a` and its partner in `b`.
inline double MaxDistance(const Points& a, const Points& b, const KbMatrix4Rf& m = KbMatrix4Rf()) {
  double largest = 0.0;
  for (unsigned int i = 0; i < a.GetSize(); ++i)
    largest = std::max(largest, double((m.TransformPoint(a[i]) - b[i]).Length()));
  return largest;
}
