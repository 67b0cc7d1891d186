// Scalar helpers: combinatorics, a binomial filter row, Gauss curves,
// interval mapping and smooth steps.
//
// Stateless free functions; float arguments are computed in float throughout.
// Several results at the edges are deliberate and relied upon by callers:
// Factorial(0) is 0, MapIntervalClamped below its interval is 0 (not the
// output minimum), and NaN arguments fall through the range tests.
#pragma once

#include "base/KbArray.h"
#include "math/KoMathExport.h"

namespace KoMath {

// n over k in 32-bit unsigned arithmetic; 0 when k > n. Each step multiplies
// before it divides, so the result is exact as long as no product exceeds
// 2^32 - 1 (true for every n <= 30); beyond that it wraps silently. The
// loop runs over the smaller of k and n - k, chosen by 2k > n in 32 bits,
// so for k >= 2^31 (where 2k wraps) it runs k times.
KOMATH_API unsigned int BinomialCoefficient(unsigned int n, unsigned int k);

// 1 * 2 * ... * n in 32-bit unsigned arithmetic (wrapping above 12!),
// reinterpreted as int (so it may be negative). Any n < 1, including 0, gives 0.
KOMATH_API int Factorial(int n);

// Fills the array with row N - 1 of Pascal's triangle, N being its size:
// the unnormalised binomial weights (1, 4, 6, 4, 1 for N = 5). Exact for
// N <= 25; an empty array is left alone.
KOMATH_API void CreateBinomialDistribution(KbArray<float>& weights);

// exp(-(x k)^2) * scale.
KOMATH_API float CalculateGaussCurveValue(float scale, float x, float k);

// The normal density with the given mean and standard deviation (sigma > 0;
// sigma = 0 gives infinity or NaN).
KOMATH_API float GetGauss1D(float x, float mean, float sigma);

// d/dx of GetGauss1D: the density times -(x - mean) / sigma^2.
KOMATH_API float GetGaussDerivative1D(float x, float mean, float sigma);

// (x - inMin) / (inMax - inMin) * (outMax - outMin) + outMin, not clamped.
// An empty input interval gives infinities or NaN.
KOMATH_API float MapInterval(float x, float inMin, float inMax, float outMin, float outMax);
KOMATH_API double MapInterval(double x, double inMin, double inMax, double outMin, double outMax);

// As MapInterval, clamped on t = (x - inMin) / (inMax - inMin): t > 1 gives
// outMax, t < 0 gives 0 (deliberately 0, not outMin). A NaN t falls through
// to the formula and gives NaN.
KOMATH_API float MapIntervalClamped(float x, float inMin, float inMax, float outMin, float outMax);

// Hermite step 3t^2 - 2t^3 of t = (x - edge0) / (edge1 - edge0): 0 for
// x <= edge0, 1 for x >= edge1 (the first test wins when the edges meet),
// NaN for a NaN argument.
KOMATH_API float SmoothStep(float edge0, float edge1, float x);

// Perlin's quintic step 6t^5 - 15t^4 + 10t^3, with the same edges as SmoothStep.
KOMATH_API float SmootherStep(float edge0, float edge1, float x);

}  // namespace KoMath
