// Align and Gpa of komath_core on gorilla and macaque skulls against R's
// `shapes` (procGPA, full and rigid; data/make_gpa_references.R) and numpy
// (similarity, mirror pairs, partial GPA; data/make_numpy_references.py).
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "CoreTestSupport.h"
#include "Errors.h"
#include "Registration.h"

namespace {

using komath::AlignOptions;
using komath::GpaMethod;

// Float rotations of unit-size data, after a decomposition: good to about 1e-6.
constexpr double c_floatTolerance = 2e-6;

struct Data {
  std::size_t k, m, d;
  std::vector<double> input;
  Sections sections;
  std::span<const double> Shape(std::size_t i) const {
    return std::span<const double>(input).subspan(i * m * d, m * d);
  }
};

Data Load(const std::string& name) {
  Data data;
  data.sections = ReadSections("gpa_" + name + ".txt");
  const Sections numpy = ReadSections("numpy_references.txt");
  for (const auto& [key, values] : numpy)
    if (key.starts_with(name + "_")) data.sections[key.substr(name.size() + 1)] = values;
  const std::vector<double>& shape = data.sections["shape"];
  data.k = std::size_t(shape[0]), data.m = std::size_t(shape[1]), data.d = std::size_t(shape[2]);
  data.input = data.sections["input"];
  return data;
}

std::vector<double> Transformed(std::span<const double> v, double scale, double shift) {
  std::vector<double> out(v.begin(), v.end());
  for (double& x : out) x = x * scale + shift;
  return out;
}

// Centred copy of a shape of m points of dimension d.
std::vector<double> Centred(std::span<const double> s, std::size_t d) {
  std::vector<double> out(s.begin(), s.end());
  for (std::size_t c = 0; c < d; ++c) {
    double mean = 0;
    for (std::size_t i = c; i < s.size(); i += d) mean += s[i] / double(s.size() / d);
    for (std::size_t i = c; i < s.size(); i += d) out[i] -= mean;
  }
  return out;
}

double Dot(std::span<const double> a, std::span<const double> b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

// Invariants of a GPA result under a common rotation, reflection and
// scale, so that R's orientation of its output does not matter: the mean's
// landmark distances (relative to its size), and per shape the size
// relative to shape 0 and the cosine of its angle to the mean.
std::vector<double> Invariants(std::span<const double> mean, std::span<const double> aligned,
                               std::size_t m, std::size_t d, bool absolute) {
  const std::vector<double> c = Centred(mean, d);
  const double size = absolute ? 1 : std::sqrt(Dot(c, c));
  std::vector<double> out;
  for (std::size_t i = 0; i < m; ++i) {
    for (std::size_t j = i + 1; j < m; ++j) {
      double squares = 0;
      for (std::size_t e = 0; e < d; ++e) squares += std::pow(c[i * d + e] - c[j * d + e], 2);
      out.push_back(std::sqrt(squares) / size);
    }
  }
  const std::size_t k = aligned.size() / (m * d);
  const std::vector<double> first = Centred(aligned.subspan(0, m * d), d);
  for (std::size_t i = 0; i < k; ++i) {
    const std::vector<double> a = Centred(aligned.subspan(i * m * d, m * d), d);
    out.push_back(std::sqrt(Dot(a, a) / (absolute ? 1 : Dot(first, first))));
    out.push_back(Dot(a, c) / std::sqrt(Dot(a, a) * Dot(c, c)));
  }
  return out;
}

void ExpectNear(const std::vector<double>& actual, const std::vector<double>& expected,
                double tolerance, const std::string& what) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i)
    EXPECT_NEAR(actual[i], expected[i], tolerance * std::max(1.0, std::abs(expected[i])))
        << what << " [" << i << "]";
}

// Least-squares similarity of shape 1 onto shape 0 against numpy's R, s, t, rms.
TEST(AlignTest, LeastSquaresSimilarityMatchesNumpy) {
  for (const std::string name : {"gorf", "macaques"}) {
    const Data data = Load(name);
    const std::vector<double>& ref = data.sections.at("align_similarity");
    const std::size_t d = data.d;
    const komath::AlignResult r = komath::Align(data.Shape(0), data.Shape(1), d,
                                                {.scale = AlignOptions::Scale::eLeastSquares});
    ExpectNear(r.rotation, {ref.begin(), ref.begin() + d * d}, c_floatTolerance, name + " R");
    EXPECT_NEAR(r.scale, ref[d * d], c_floatTolerance * ref[d * d]) << name;
    // The translation is of the shapes' size: about 100 for the skulls.
    ExpectNear(r.translation, {ref.begin() + d * d + 1, ref.begin() + d * d + 1 + d},
               100 * c_floatTolerance, name + " t");
    // At the optimum the residual is flat in the rotation angle: float
    // rounding changes it far less than the rotation's own 1e-6.
    EXPECT_NEAR(r.rmsAfter, ref.back(), 1e-7 * ref.back()) << name;
    const std::vector<double> a = Centred(data.Shape(0), d), b = Centred(data.Shape(1), d);
    // Translation only: the identity, and the least-squares scale without rotation.
    const komath::AlignResult shifted =
        komath::Align(data.Shape(0), data.Shape(1), d,
                      {.scale = AlignOptions::Scale::eLeastSquares, .translationOnly = true});
    for (std::size_t i = 0; i < d * d; ++i)
      EXPECT_EQ(shifted.rotation[i], double(i % (d + 1) == 0));
    EXPECT_NEAR(shifted.scale, Dot(a, b) / Dot(b, b), 1e-15 * shifted.scale) << name;
  }
}

// A mirror image in 3-D, and in 2-D as 3-D points in the plane z = 0, is
// never reflected by default and reflected when allowed; numpy's rotations
// of both cases are the references (python/tests has two-column input).
TEST(AlignTest, MirrorPairsAreReflectedOnlyWhenAllowed) {
  for (const std::string name : {"gorf", "macaques"}) {
    const Data data = Load(name);
    const std::size_t d = data.d;
    std::vector<double> target, source;
    for (std::size_t i = 0; i < data.m * d; i += d) {
      const double z = d == 3 ? data.Shape(0)[i + 2] : 0;
      target.insert(target.end(), {data.Shape(0)[i], data.Shape(0)[i + 1], z});
      source.insert(source.end(), {-data.Shape(0)[i], data.Shape(0)[i + 1], z});
    }
    const double size = std::sqrt(Dot(Centred(target, 3), Centred(target, 3)));
    for (const bool reflect : {false, true}) {
      const std::vector<double>& ref =
          data.sections.at(reflect ? "mirror_reflect" : "mirror_proper");
      const komath::AlignResult r = komath::Align(target, source, 3, {.allowReflection = reflect});
      for (std::size_t i = 0; i < 9; ++i) {
        const double expected = i / 3 < d && i % 3 < d ? ref[i / 3 * d + i % 3] : double(i == 8);
        EXPECT_NEAR(r.rotation[i], expected, c_floatTolerance) << name << reflect << i;
      }
      EXPECT_NEAR(r.rmsAfter, ref.back(), c_floatTolerance * size) << name << " " << reflect;
    }
  }
}

// Translation only, one point 4 off along x: a shift of 1 leaves 3, 1, 1, 1.
TEST(AlignTest, ResidualsOfATranslationAreExact) {
  const std::vector<double> source{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  std::vector<double> target = source;
  target[0] = 4;
  const komath::AlignResult r = komath::Align(target, source, 3, {.translationOnly = true});
  EXPECT_EQ(r.translation, (std::vector<double>{1, 0, 0}));
  EXPECT_TRUE(r.rmsBefore == 2 && r.maxBefore == 4);
  EXPECT_TRUE(r.rmsAfter == std::sqrt(3.0) && r.maxAfter == 3);
}

// Bad input is an InputError, a failed or non-finite computation a
// ComputationError that says which step failed.
TEST(AlignTest, FailuresNameTheStep) {
  const std::vector<double> same{1, 2, 3, 1, 2, 3, 1, 2, 3}, other{0, 0, 0, 1, 0, 0, 0, 1, 0};
  EXPECT_THROW(komath::Align(other, same, 3, {}), komath::InputError);
  EXPECT_THROW(komath::Align(other, {other.begin(), 6}, 2, {}), komath::InputError);
  EXPECT_THROW(komath::Align(other, other, 4, {}), komath::InputError);
  const std::vector<double> nan{0, 0, 0, 1, 0, 0, 0, 1, NAN};  // the tool's reader refuses it too
  try {
    komath::Align(other, nan, 3, {});
    ADD_FAILURE() << "no exception for a NaN";
  } catch (const komath::InputError& e) {
    EXPECT_STREQ(e.what(), "align: the source holds a value that is not finite");
  }
  EXPECT_THROW(komath::Align(Transformed(other, 1e200, 0), Transformed(other, -1e200, 0), 3, {}),
               komath::ComputationError);
}

// Full (procGPA, scale = TRUE), rigid (scale = FALSE) and partial (numpy)
// estimators, each against its reference (full and partial differ by 1e-4).
TEST(GpaTest, FullPartialAndRigidMatchTheirReferences) {
  for (const std::string name : {"gorf", "macaques"}) {
    const Data data = Load(name);
    for (const auto& [method, key] : {std::pair{GpaMethod::eFull, "full"},
                                      {GpaMethod::ePartial, "partial"},
                                      {GpaMethod::eRigid, "rigid"}}) {
      const komath::GpaResult r =
          komath::Gpa(data.input, data.k, data.m, data.d, {.method = method, .tolerance = 1e-7});
      const std::string prefix(key);
      const bool rigid = method == GpaMethod::eRigid;
      // The mean iteration stops within 1e-7 of a fixed point it approaches
      // geometrically; a margin of 20 covers the slowest contraction here.
      ExpectNear(Invariants(r.mean, r.aligned, data.m, data.d, rigid),
                 Invariants(data.sections.at(prefix + "_mean"),
                            data.sections.at(prefix + "_aligned"), data.m, data.d, rigid),
                 20 * c_floatTolerance, name + " " + prefix);
    }
  }
}

// Shapes shifted by 1e7 or scaled by 1e-15 or 1e18 give the same relative result.
TEST(GpaTest, ShiftedAndScaledInputKeepsTheResult) {
  const Data data = Load("gorf");
  const komath::GpaResult plain = komath::Gpa(data.input, data.k, data.m, data.d, {});
  const std::vector<double> expected = Invariants(plain.mean, plain.aligned, data.m, data.d, false);
  for (const auto& [scale, shift] : {std::pair{1.0, 1e7}, {1e-15, 0.0}, {1e18, 0.0}}) {
    const komath::GpaResult r =
        komath::Gpa(Transformed(data.input, scale, shift), data.k, data.m, data.d, {});
    ExpectNear(Invariants(r.mean, r.aligned, data.m, data.d, false), expected,
               10 * c_floatTolerance, "scaled");
    EXPECT_NEAR(r.mean[0], plain.mean[0] * scale + shift, 10 * c_floatTolerance * 100 * scale)
        << scale;
  }
  // The mean comes in the reference shape's size and place.
  const komath::GpaResult second =
      komath::Gpa(data.input, data.k, data.m, data.d, {.reference = 1});
  const std::vector<double> mean = Centred(second.mean, 2), shape = Centred(data.Shape(1), 2);
  EXPECT_NEAR(Dot(mean, mean), Dot(shape, shape), 1e-12 * Dot(shape, shape));
  EXPECT_NEAR(second.mean[0] - mean[0], data.Shape(1)[0] - shape[0], 100 * c_floatTolerance);
}

// A 2-D shape and its mirror image: every estimator gives proper rotations
// by default (determinant +1), and reflects the mirror when allowed.
TEST(GpaTest, PlanarMirrorPairsAreReflectedOnlyWhenAllowed) {
  const Data data = Load("gorf");
  std::vector<double> shapes(data.input.begin(), data.input.begin() + 3 * data.m * 2);
  for (std::size_t i = 2 * data.m * 2; i < shapes.size(); i += 2) shapes[i] = -shapes[i];
  for (const GpaMethod method : {GpaMethod::eFull, GpaMethod::ePartial, GpaMethod::eRigid}) {
    for (const bool reflect : {false, true}) {
      const komath::GpaResult r =
          komath::Gpa(shapes, 3, data.m, 2, {.method = method, .allowReflection = reflect});
      for (std::size_t i = 0; i < 3; ++i) {
        const double* q = &r.rotations[4 * i];
        const double determinant = q[0] * q[3] - q[1] * q[2];
        EXPECT_NEAR(determinant, reflect && i == 2 ? -1 : 1, c_floatTolerance) << i;
      }
    }
  }
}

// Shapes that are one shape moved: the first mean settles at once; with
// tolerance 0 the rigid mean settles once it repeats itself exactly.
TEST(GpaTest, CongruentShapesSettleInTheFirstRound) {
  const Data data = Load("gorf");
  std::vector<double> shapes(data.Shape(0).begin(), data.Shape(0).end());
  for (std::size_t j = 0; j < 2 * data.m; j += 2)  // turned by 90 degrees and moved
    shapes.insert(shapes.end(), {100 - data.Shape(0)[j + 1], data.Shape(0)[j] - 50});
  for (const GpaMethod method : {GpaMethod::eFull, GpaMethod::eRigid})
    EXPECT_EQ(komath::Gpa(shapes, 2, data.m, 2, {.method = method}).rounds, 0u);
  EXPECT_NO_THROW(komath::Gpa(shapes, 2, data.m, 2, {.method = GpaMethod::eRigid, .tolerance = 0}));
}

TEST(GpaTest, FailuresNameTheStep) {
  const Data data = Load("gorf");
  std::vector<double> bad = data.input;
  bad[5] = NAN;
  EXPECT_THROW(komath::Gpa(bad, data.k, data.m, 2, {}), komath::InputError);
  EXPECT_THROW(komath::Gpa(data.input, data.k, data.m, 2, {.reference = data.k}),
               komath::InputError);
  EXPECT_THROW(komath::Gpa(data.input, data.k, data.m + 1, 2, {}), komath::InputError);
  EXPECT_THROW(komath::Gpa(data.input, data.k, data.m / 2, 4, {}), komath::InputError);
  EXPECT_THROW(komath::Gpa(Transformed(data.input, 1e200, 0), data.k, data.m, 2, {}),
               komath::ComputationError);
}

}  // namespace
