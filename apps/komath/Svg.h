// Pictures of registrations: plain SVG written by the tool.
//
// 2-D data is drawn as one view (x, y); 3-D data as three orthographic
// views (top x-y, front x-z, side y-z). Every view has its axes drawn at
// its lower left with a scale bar of a round length in the data's units,
// and all panels of one view share one scale, so that they compare
// directly. Very large sets are thinned to an evenly spaced subset of at
// most c_maxDrawnPoints points per set.
#pragma once

#include <string>

#include "Points.h"

namespace komath {

// Before alignment (target and the source as given) and after (target and
// the moved source), one row each: target points blue, source points
// orange, grey lines join corresponding points (the residuals). All three
// sets have one dimension and one count.
std::string AlignmentSvg(const PointSet& target, const PointSet& source, const PointSet& moved);

// The aligned shapes (k shapes of `landmarks` points, light colours, one
// per shape) over the mean (black, larger).
std::string GpaSvg(const PointSet& aligned, std::size_t landmarks, const PointSet& mean);

constexpr unsigned c_maxDrawnPoints = 2000;

// Usage checks of an output file named by `option` (e.g. "--svg") when it
// was given: an empty name, and "-", since standard output carries the
// report (text or JSON) already. Throws UsageError.
void CheckOutputPath(const char* option, bool given, const std::string& path);

}  // namespace komath
