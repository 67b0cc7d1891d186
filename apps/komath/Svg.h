// The picture of an alignment: plain SVG written by the tool.
#pragma once

#include <string>

#include "base/KbArray.h"
#include "base/KbVector.h"

namespace komath {

// Two rows of three orthographic views (top x-y, front x-z, side y-z):
// before alignment (target and the source as given) and after (target and
// the moved source). Target points blue, source points orange, grey lines
// join corresponding points (the residuals). All views of one projection
// share one scale, so before and after compare directly. Very large sets
// are thinned to an evenly spaced subset of at most c_maxDrawnPairs pairs.
std::string AlignmentSvg(const KbArray<KbVector3f>& target, const KbArray<KbVector3f>& source,
                         const KbArray<KbVector3d>& moved);

constexpr unsigned c_maxDrawnPairs = 2000;

}  // namespace komath
