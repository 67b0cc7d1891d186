#include "math/foundations/KoMathScalar.h"

#include <cmath>
#include <cstdint>

namespace KoMath {

unsigned int BinomialCoefficient(unsigned int n, unsigned int k) {
  if (k > n) return 0;
  // The shorter loop of the symmetric pair. 2k is a 32-bit product like
  // every other step: for k >= 2^31 it wraps, the test fails and the loop
  // runs over the long side k (over 2^31 steps, with a wrapped result).
  // That keeps every result on the one 32-bit definition; no caller comes
  // near such k.
  const std::uint32_t m = 2u * k > n ? n - k : k;
  if (m == 0) return 1;
  std::uint32_t result = n;
  // After step i, result is (n over i): multiplying first keeps the division exact.
  for (std::uint32_t i = 2; i <= m; ++i) result = ((n - i + 1) * result) / i;
  return result;
}

int Factorial(int n) {
  if (n < 1) return 0;
  std::uint32_t product = 1;
  // Once the product has wrapped to 0 (from 34! on) it stays 0, so stop there.
  for (std::uint32_t i = 2; i <= static_cast<std::uint32_t>(n) && product != 0; ++i) product *= i;
  return static_cast<int>(product);
}

void CreateBinomialDistribution(KbArray<float>& weights) {
  const unsigned int size = weights.GetSize();
  // Row i is built in place from row i - 1, right to left so that each sum
  // still reads the previous row's left neighbour.
  for (unsigned int i = 0; i < size; ++i) {
    weights[i] = 1.0f;
    for (unsigned int j = i; j > 1; --j) weights[j - 1] = weights[j - 1] + weights[j - 2];
  }
}

float CalculateGaussCurveValue(float scale, float x, float k) {
  return std::exp(-(x * k) * (x * k)) * scale;
}

float GetGauss1D(float x, float mean, float sigma) {
  const float d = x - mean;
  return std::exp(-(d * d) / ((sigma + sigma) * sigma)) / (std::sqrt(6.2831855f) * sigma);
}

float GetGaussDerivative1D(float x, float mean, float sigma) {
  return GetGauss1D(x, mean, sigma) * -(x - mean) / (sigma * sigma);
}

namespace {
template <class T>
T MapLinear(T x, T inMin, T inMax, T outMin, T outMax) {
  return (x - inMin) / (inMax - inMin) * (outMax - outMin) + outMin;
}
}  // namespace

float MapInterval(float x, float inMin, float inMax, float outMin, float outMax) {
  return MapLinear(x, inMin, inMax, outMin, outMax);
}

double MapInterval(double x, double inMin, double inMax, double outMin, double outMax) {
  return MapLinear(x, inMin, inMax, outMin, outMax);
}

float MapIntervalClamped(float x, float inMin, float inMax, float outMin, float outMax) {
  const float t = (x - inMin) / (inMax - inMin);
  if (0.0f > t) return 0.0f;  // deliberately 0, not outMin
  if (t > 1.0f) return outMax;
  return (outMax - outMin) * t + outMin;
}

// In both steps the two range tests fail for a NaN argument, which then
// reaches the formula and gives NaN.
float SmoothStep(float edge0, float edge1, float x) {
  if (edge0 >= x) return 0.0f;
  if (x >= edge1) return 1.0f;
  const float t = (x - edge0) / (edge1 - edge0);
  return (3.0f - (t + t)) * (t * t);
}

float SmootherStep(float edge0, float edge1, float x) {
  if (edge0 >= x) return 0.0f;
  if (x >= edge1) return 1.0f;
  const float t = (x - edge0) / (edge1 - edge0);
  return ((t * 6.0f - 15.0f) * t + 10.0f) * (t * t * t);
}

}  // namespace KoMath
