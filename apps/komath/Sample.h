// The built-in samples of align and gpa: a small landmark shape (a house
// with a door and a chimney, so that no symmetry makes the alignment
// ambiguous) and copies of it moved by known motions plus a little normal
// noise from the library's generator with fixed seeds, so every run prints
// the same numbers.
#pragma once

#include "base/KbArray.h"
#include "base/KbMatrix4R.h"
#include "base/KbVector.h"

namespace komath {

struct Motion {
  KbMatrix4Rf rotation;  // row-vector convention: p · rotation
  KbVector3f translation;
  float scale{};
  // (p, 1) · Matrix() = scale · p · rotation + translation.
  KbMatrix4Rf Matrix() const;
};

constexpr double c_sampleNoise = 0.01;  // standard deviation per coordinate

KbArray<KbVector3f> SampleShape();

// The motion the align sample applies: a general rotation, or one about z
// only when `planar`, or none when `translationOnly`; scale 1.25 when
// `scaled`, else 1 (so the sample stays within what the flags can recover).
Motion SampleMotion(bool planar, bool translationOnly, bool scaled);

// `shape` moved by `motion`, plus noise of c_sampleNoise drawn from a
// generator seeded with `seed`.
KbArray<KbVector3f> MovedCopy(const KbArray<KbVector3f>& shape, const Motion& motion,
                              std::uint32_t seed);

// The gpa sample: four noisy copies of the shape in different poses and
// sizes.
KbArray<KbArray<KbVector3f>> SampleShapes();

}  // namespace komath
