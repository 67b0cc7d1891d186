#include "Sample.h"

#include "Points.h"
#include "math/foundations/KbOrthogonalMatrices.h"
#include "math/rotations/KoRandomNumberGenerator.h"

namespace komath {

KbMatrix4Rf Motion::Matrix() const {
  KbMatrix4Rf m = rotation;
  m(3, 0) = translation.x;
  m(3, 1) = translation.y;
  m(3, 2) = translation.z;
  for (unsigned r = 0; r < 3; ++r) {
    for (unsigned c = 0; c < 3; ++c) m(r, c) = scale * rotation(r, c);
  }
  return m;
}

KbArray<KbVector3f> SampleShape() {
  return {
      {0, 0, 0},       {4, 0, 0},       {4, 3, 0},    {0, 3, 0},     // floor
      {0, 0, 2.5f},    {4, 0, 2.5f},    {4, 3, 2.5f}, {0, 3, 2.5f},  // eaves
      {0, 1.5f, 4},    {4, 1.5f, 4},                                 // ridge
      {1.5f, 0, 0},    {1.5f, 0, 1.8f},                              // door
      {3, 0.6f, 3.2f}, {3, 0.6f, 4.4f},                              // chimney
  };
}

Motion SampleMotion(bool planar, bool translationOnly, bool scaled) {
  Motion motion;
  const KbVector3f angles = translationOnly ? KbVector3f(0, 0, 0)
                            : planar        ? KbVector3f(0, 0, 0.5f)
                                            : KbVector3f(0.3f, -0.2f, 0.5f);
  motion.rotation = KbOrthogonalMatrices::MakeXYZRotation(angles);
  motion.translation = {1.5f, -0.75f, 2.0f};
  motion.scale = scaled ? 1.25f : 1.0f;
  return motion;
}

KbArray<KbVector3f> MovedCopy(const KbArray<KbVector3f>& shape, const Motion& motion,
                              std::uint32_t seed) {
  KoRandomNumberGenerator generator(seed);
  const KbMatrix4Rf m = motion.Matrix();
  KbArray<KbVector3f> moved;
  for (const KbVector3f& p : shape) {
    const KbVector3d q = Apply(m, p);
    const double nx = generator.RandNorm(0, c_sampleNoise);
    const double ny = generator.RandNorm(0, c_sampleNoise);
    const double nz = generator.RandNorm(0, c_sampleNoise);
    moved.PushBack(KbVector3f(float(q.x + nx), float(q.y + ny), float(q.z + nz)));
  }
  return moved;
}

KbArray<KbArray<KbVector3f>> SampleShapes() {
  const KbArray<KbVector3f> shape = SampleShape();
  const KbVector3f angles[] = {
      {0, 0, 0}, {0.1f, 0.2f, -0.3f}, {-0.4f, 0.1f, 0.8f}, {0.2f, -0.5f, 1.9f}};
  const KbVector3f offsets[] = {{0, 0, 0}, {5, 1, -2}, {-3, 4, 1}, {2, -6, 3}};
  const float scales[] = {1, 0.8f, 1.3f, 2};
  KbArray<KbArray<KbVector3f>> shapes;
  for (unsigned i = 0; i < 4; ++i) {
    Motion motion;
    motion.rotation = KbOrthogonalMatrices::MakeXYZRotation(angles[i]);
    motion.translation = offsets[i];
    motion.scale = scales[i];
    shapes.PushBack(MovedCopy(shape, motion, 1000 + i));
  }
  return shapes;
}

}  // namespace komath
