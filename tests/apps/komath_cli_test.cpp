// End-to-end tests of the komath tool: each test writes its input files,
// runs the built executable and compares what it prints with what the
// library computes on the same data.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cfloat>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>

#include "RecordTestSupport.h"
#include "math/foundations/KbOrthogonalMatrices.h"
#include "math/foundations/KoMatrixConstants.h"
#include "math/numerics/KoFtArrayConvolution.h"
#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"
#include "math/registration/KoMpGeneralizedProcrustesAnalysis.h"
#include "math/registration/KoProcrustes.h"
#include "math/rotations/KoRandomNumberGenerator.h"
#include "math/tables/KoPolynomFit.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

class KomathTest : public ::testing::Test {
 protected:
  std::string Write(const std::string& name, const std::string& content) {
    std::ofstream(m_dir / name, std::ios::binary) << content;
    return (m_dir / name).string();
  }
  static std::string Read(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  // Runs komath with `arguments` (shell words) in the test's directory.
  Result Run(const std::string& arguments, const std::string& input = "") {
    Write("stdin.txt", input);
    const std::string command = "cd '" + m_dir.string() + "' && '" KOMATH_EXE "' " + arguments +
                                " < stdin.txt > stdout.txt 2> stderr.txt";
    const int raw = std::system(command.c_str());
    Result result;
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = Read(m_dir / "stdout.txt");
    result.err = Read(m_dir / "stderr.txt");
    return result;
  }
  json RunJson(const std::string& arguments, const std::string& input = "") {
    const Result result = Run(arguments + " --json", input);
    EXPECT_EQ(result.status, 0) << result.err;
    return json::parse(result.out);
  }
  // A float printed by the tool: its JSON number narrowed back.
  static float F(const json& value) { return float(value.get<double>()); }
  // Points as text, in the separators a user might mix.
  std::string WritePoints(const std::string& name, const KbArray<KbVector3f>& points) {
    std::ostringstream text;
    text.precision(9);  // enough digits to read every float back exactly
    text << "# x y z\n";
    for (const KbVector3f& p : points) text << p.x << ", " << p.y << "\t" << p.z << "\r\n";
    return Write(name, text.str());
  }

  ko_test::ScratchDirectory m_scratch;
  const fs::path& m_dir = m_scratch.Path();
};

TEST_F(KomathTest, HelpAndVersionListEverySubcommand) {
  const Result help = Run("--help"), version = Run("--version");
  EXPECT_TRUE(help.status == 0 && version.status == 0);
  for (const char* name : {"align", "gpa", "det", "fit", "smooth", "rng"}) {
    EXPECT_NE(help.out.find(std::string("\n  ") + name + " "), std::string::npos) << name;
  }
  EXPECT_EQ(version.out.rfind("komath ", 0), 0u);
}

TEST_F(KomathTest, DeterminantSignsAreExact) {
  // (2^52 + 1)(2^52 - 1) - 2^104 = -1: doubles alone would say 0.
  EXPECT_EQ(RunJson("det -",
                    "4503599627370497 4503599627370496\n"
                    "4503599627370496,4503599627370495\n")["sign"],
            -1);
  EXPECT_EQ(RunJson("det -", "1 2 # exact cancellation\n2 4\n")["sign"], 0);
  EXPECT_EQ(RunJson("det -", "0x1p-1074 0\n0 0x1p+1023\n")["sign"], 1);
}

TEST_F(KomathTest, ExactDeterminantIsAnIntegerTimesAPowerOfTwo) {
  // 3(5 * -5.5 - 54) - (-5.5 - 18) + 4(6 - 10) = -237
  const std::string text = "3 1 4\n1 5 9\n2 6 -5.5\n";
  EXPECT_EQ(Run("det --exact -", text).out,
            "order 3\nsign -1\nexact -237 * 2^0\nhexadecimal -0xed * 2^0\napproximately -237\n");
  const json result = RunJson("det --exact -", text);
  EXPECT_EQ(result["exact"],
            json({{"integer", "-237"}, {"hexadecimal", "-0xed"}, {"power_of_two", 0}}));
  EXPECT_EQ(result["numerator"], json::parse(R"([["-0xedp+0"]])"));
  EXPECT_EQ(result["denominator"], json::parse(R"([["0x1p+0"]])"));
  EXPECT_EQ(result["approximation"].get<double>(), -237.0);
  // Beyond the double range the approximation is decimal text: 2^-2148 and
  // (1e300)^2 3 = 3.0000000000000004e600 (both from python3's fractions).
  EXPECT_EQ(Run("det --exact -", "0x1p-1074 0\n0 0x1p-1074\n").out,
            "order 2\nsign 1\nexact 1 * 2^-2148\nhexadecimal 0x1 * 2^-2148\n"
            "approximately 2.44100862400528e-647\n");
  const json huge = RunJson("det --exact -", "1e300 0 0\n0 1e300 0\n0 0 3\n");
  EXPECT_EQ(huge["approximation"], "3.00000000000000e+600");
  EXPECT_EQ(huge["exact"]["power_of_two"], 1892);
  // 100 x 100 takes well under a second (it took minutes when exponential);
  // its value is checked against GMP in the core tests.
  std::string matrix;
  std::mt19937_64 rng(100);
  for (int i = 0; i < 100; ++i) {
    for (int j = 0; j < 100; ++j) matrix += std::to_string(int(rng() % 2001) - 1000) + " ";
    matrix += "\n";
  }
  const auto start = std::chrono::steady_clock::now();
  const Result big = Run("det --exact -", matrix);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(big.status, 0) << big.err;
}

TEST_F(KomathTest, FitEqualsTheLibrarysFit) {
  const std::string text = "0 1.1 0.5\n1 2.9 0.5\n2 5.2 1\n3 6.8 1\n4 9.1 2\n";
  const json result = RunJson("fit --degree 2 -", text);
  KbArray<KoPoint<float>> points{{0, 1.1f}, {1, 2.9f}, {2, 5.2f}, {3, 6.8f}, {4, 9.1f}};
  KbArray<float> sigmas{0.5f, 0.5f, 1, 1, 2};
  KbArray<float> coefficients;
  KoPolynomFit<float> fit;
  fit.SetInput(points, sigmas, 2, coefficients);
  ASSERT_TRUE(fit.Compute(KoAlgorithm::eComputeDefault));
  ASSERT_EQ(result["coefficients"].size(), 3u);
  for (unsigned k = 0; k < 3; ++k) EXPECT_EQ(F(result["coefficients"][k]), coefficients[k]);
  EXPECT_EQ(F(result["chi_square"]), fit.GetOutput());
  // The text output shows the same shortest numbers.
  const Result plain = Run("fit -d 2 -", text);
  EXPECT_NE(plain.out.find(result["coefficients"][2].dump()), std::string::npos) << plain.out;
}

// The seeded test shape: n points in a 4 x 3 x 2 box, and a copy moved by
// `motion` ((p, 1) · motion) plus normal noise of `sigma`.
void MakeMovedPair(unsigned n, const KbMatrix4Rf& motion, double sigma, KbArray<KbVector3f>& source,
                   KbArray<KbVector3f>& target) {
  KoRandomNumberGenerator random(77u);
  for (unsigned i = 0; i < n; ++i) {
    const KbVector3f p(float(random.Rand(4)), float(random.Rand(3)), float(random.Rand(2)));
    source.PushBack(p);
    KbVector3f q = motion.TransformPoint(p);
    for (unsigned c = 0; c < 3; ++c) q[c] = float(q[c] + random.RandNorm(0, sigma));
    target.PushBack(q);
  }
}

TEST_F(KomathTest, AlignRecoversAKnownMotionWithinTheNoise) {
  const unsigned n = 200;
  const double sigma = 0.01;
  KbMatrix4Rf motion = KbOrthogonalMatrices::MakeXYZRotation(KbVector3f(0.4f, -0.3f, 1.1f));
  for (unsigned r = 0; r < 3; ++r) {
    for (unsigned c = 0; c < 3; ++c) motion(r, c) *= 1.5f;
  }
  motion(3, 0) = 10, motion(3, 1) = -4, motion(3, 2) = 2.5f;
  KbArray<KbVector3f> source, target;
  MakeMovedPair(n, motion, sigma, source, target);
  const json result = RunJson("align --scale " + WritePoints("target.txt", target) + " " +
                              WritePoints("source.txt", source));

  // Bit for bit the library's result on the same points.
  KoProcrustes procrustes;
  procrustes.SetInput(target, source);
  procrustes.GetFlags().Set(KoProcrustes::eNormalizeScale);
  procrustes.GetFlags().Set(KoProcrustes::eApplyScaling);
  ASSERT_TRUE(procrustes.Compute(KoAlgorithm::eComputeDefault));
  KbMatrix4Rf expected;
  procrustes.GetOutput(expected);
  for (unsigned r = 0; r < 4; ++r) {
    for (unsigned c = 0; c < 4; ++c) EXPECT_EQ(F(result["matrix"][r][c]), expected(r, c));
  }
  // What remains is the noise: sigma·sqrt(3 (n - 7) / n) per point.
  const double rms = result["residuals"]["after"]["rms"].get<double>();
  EXPECT_NEAR(rms, sigma * std::sqrt(3.0 * (n - 7) / n), 0.2 * sigma);
  EXPECT_NEAR(result["scale"].get<double>(), 1.5, 4 * sigma);
}

TEST_F(KomathTest, AlignSampleShowsItsKnownMotionAndDrawsWellFormedSvg) {
  const json result = RunJson("align --svg picture.svg");
  const double sigma = result["known"]["noise_sd"].get<double>();
  EXPECT_GT(result["residuals"]["before"]["rms"].get<double>(), 100 * sigma);
  EXPECT_LT(result["residuals"]["after"]["rms"].get<double>(), 2 * std::sqrt(3.0) * sigma);
  for (unsigned r = 0; r < 3; ++r) {
    for (unsigned c = 0; c < 3; ++c) {
      EXPECT_NEAR(result["rotation"][r][c].get<double>(),
                  result["known"]["rotation"][r][c].get<double>(), 10 * sigma);
    }
    EXPECT_NEAR(result["translation"][r].get<double>(),
                result["known"]["translation"][r].get<double>(), 10 * sigma);
  }
  const std::string svg = Read(m_dir / "picture.svg");
  EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
  if (std::string(KOMATH_PYTHON).empty()) GTEST_SKIP() << "no python3 to parse the SVG";
  const std::string parse = "'" KOMATH_PYTHON
                            "' -c 'import sys, xml.dom.minidom as m; "
                            "d = m.parse(sys.argv[1]); sys.exit(len(d.getElementsByTagName("
                            "\"circle\")) != 6 * 2 * 14)' '" +
                            (m_dir / "picture.svg").string() + "'";
  EXPECT_EQ(std::system(parse.c_str()), 0);
}

TEST_F(KomathTest, GpaEqualsTheLibraryFromOneFileOrMany) {
  KbMatrix4Rf motion = KbOrthogonalMatrices::MakeXYZRotation(KbVector3f(0.2f, 0.1f, -0.7f));
  motion(3, 0) = 3;
  KbArray<KbArray<KbVector3f>> shapes(3);
  KbArray<KbVector3f> moved;
  MakeMovedPair(12, motion, 0.05, shapes[0], shapes[1]);
  MakeMovedPair(12, c_matIdentity, 0.05, moved, shapes[2]);
  std::string all;
  for (unsigned i = 0; i < 3; ++i) {
    all += Read(WritePoints("shape" + std::to_string(i) + ".txt", shapes[i])) + "\n\n";
  }
  const json together = RunJson("gpa --tolerance 1e-6 -", all);
  const json apart = RunJson("gpa --tolerance 1e-6 shape0.txt shape1.txt shape2.txt");
  EXPECT_EQ(together["mean_shape"], apart["mean_shape"]);

  KoMpGeneralizedProcrustesAnalysis gpa;
  gpa.SetInput(shapes, 0);
  gpa.SetParameters(1e-6f);
  gpa.GetFlags().Set(KoMpGeneralizedProcrustesAnalysis::eMeanShapeInReferenceScale);
  ASSERT_TRUE(gpa.Compute(KoAlgorithm::eComputeDefault));
  EXPECT_EQ(apart["rounds"], gpa.GetRoundCount());
  KbArray<KbVector3f> mean, centers;
  gpa.GetMeanShape(mean), gpa.GetCenters(centers);
  for (unsigned j = 0; j < mean.GetSize(); ++j) {
    for (unsigned c = 0; c < 3; ++c) {
      EXPECT_EQ(F(apart["mean_shape"][j][c]), mean[j][c] + centers[0][c]);
    }
  }
  KbArray<float> scalings;
  gpa.GetScalings(scalings);
  EXPECT_EQ(F(apart["shapes"][1]["scale"]), scalings[1] / scalings[0]);
}

TEST_F(KomathTest, RngGivesTheGeneratorsSequences) {
  EXPECT_EQ(Run("rng --seed 5489 -n 2").out, "3499211612\n581869302\n");
  EXPECT_EQ(Run("rng --key 0x123,0x234,0x345,0x456 -n 1").out, "1067595299\n");
  const json normal = RunJson("rng --seed 7 --normal 2,0.5 -n 3");
  const json bounded = RunJson("rng --seed 7 --int 6 -n 50");
  KoRandomNumberGenerator a(7u), b(7u);
  for (unsigned i = 0; i < 3; ++i)
    EXPECT_EQ(normal["numbers"][i].get<double>(), a.RandNorm(2, 0.5));
  for (unsigned i = 0; i < 50; ++i) EXPECT_EQ(bounded["numbers"][i].get<unsigned>(), b.RandInt(6u));
}

TEST_F(KomathTest, SmoothEqualsTheLibrary) {
  const std::string text = "0 1 2 3\n0.5 2 2 0\n1.75 4 -1 0\n3 8 0 1\n";
  const json result = RunJson("smooth --half-width 1.2 --period 4 -", text);
  KbArray<float> positions{0, 0.5f, 1.75f, 3};
  KbArray<KbVector3f> values{{1, 2, 3}, {2, 2, 0}, {4, -1, 0}, {8, 0, 1}};
  KoFtArrayConvolution<KbVector3f> smooth;
  smooth.SetInput(1.2f, positions, true, 4.0f, values);
  ASSERT_TRUE(smooth.Compute(KoAlgorithm::eComputeDefault));
  for (unsigned i = 0; i < 4; ++i) {
    for (unsigned c = 0; c < 3; ++c) EXPECT_EQ(F(result["values"][i][c]), values[i][c]);
  }
}

TEST_F(KomathTest, LargeFilesStreamAcrossBlocksWithExactLineNumbers) {
  // About 3 MB: lines straddle the reader's 1 MiB blocks; the last line has
  // no line end.
  const unsigned n = 100000;
  std::string points;
  for (unsigned i = 0; i < n; ++i) {
    points += std::to_string(i % 997) + ".25,\t" + std::to_string(i % 89) + " -" +
              std::to_string(i % 13) + ".5  # point " + std::to_string(i) + "\n";
  }
  points.pop_back();
  Write("big.txt", points);
  const json same = RunJson("align big.txt big.txt");
  EXPECT_EQ(same["points"], n);
  // Coordinates below 1000: a float rotation off the identity by a few ulps.
  EXPECT_LT(same["residuals"]["after"]["rms"].get<double>(), 1000 * 8 * FLT_EPSILON);
  EXPECT_EQ(same["residuals"]["before"]["rms"].get<double>(), 0.0);
  // An error on the last line names that line.
  Write("bad.txt", points + "\n1 2 3x");
  const Result bad = Run("align big.txt bad.txt --svg out.svg");
  EXPECT_EQ(bad.status, 1);
  EXPECT_NE(bad.err.find("bad.txt:" + std::to_string(n + 1) + ": field 3 '3x' is not a number"),
            std::string::npos)
      << bad.err;
  EXPECT_FALSE(fs::exists(m_dir / "out.svg"));
}

struct BadInput {
  const char* arguments;
  const char* input;
  int status;
  const char* message;
};

TEST_F(KomathTest, BadInputGetsItsMessageAndStatus) {
  const BadInput cases[] = {
      {"det missing.txt", "", 1, "missing.txt: cannot open"},
      {"det -", "", 1, "<stdin>: no numbers"},
      {"det -", "# only a comment\n\n", 1, "<stdin>: no numbers"},
      {"det -", "1 2\n3 4.5.6\n", 1, "<stdin>:2: field 2 '4.5.6' is not a number"},
      {"det -", "1 2\n\n3\n", 1, "<stdin>:3: this line has 1 number, line 1 has 2"},
      {"det -", "1 2 3\n4 5 6\n", 1, "<stdin>:2: the matrix has 2 rows of 3 numbers"},
      {"det -", "1 2\n3 4\n5 6\n", 1, "<stdin>:3: row 3 of a matrix with 2 columns"},
      {"det -", "1 nan\n3 4\n", 1, "<stdin>:1: field 2 'nan' is not finite"},
      {"det -", "1 1e999\n3 4\n", 1, "<stdin>:1: field 2 '1e999' is out of the range"},
      {"fit -d 1 -", "1 2 0\n", 1, "<stdin>:1: sigma 0 is not positive"},
      {"fit -d 1 -", "1 2\n2 3 4\n", 1, "<stdin>:2: this line has 3 numbers"},
      {"fit -d 3 -", "1 2\n2 3\n", 1, "degree 3 needs at least 4 points, the file has 2"},
      {"fit -d 1 -", "1 1e39\n", 1, "<stdin>:1: field 2 '1e39' is too large for single"},
      {"fit -d 1 -", "1 2 3 4\n", 1, "<stdin>:1: expected 2 to 3 numbers per line (x y [sigma])"},
      {"fit -", "1 2\n", 2, "--degree is required"},
      {"fit -d 99 -", "1 2\n", 2, "--degree"},
      {"det", "", 2, "FILE is required"},
      {"align - -", "1 2 3\n4 5 6\n7 8 9\n", 1, "no numbers"},
      {"align - three.txt", "1 2 3\n4 5 6\n", 1, "three.txt has 3 points, <stdin> has 2"},
      {"align - two.txt", "1 2 3\n4 5 6\n", 1, "only 2 points: an alignment needs at least 3"},
      {"align - three.txt --svg out.svg", "1 2 3\n4 inf 6\n", 1, "<stdin>:2: field 2 'inf'"},
      {"align three.txt", "", 2, "align needs two files"},
      {"align --svg no/such/dir/out.svg", "", 1, "no/such/dir/out.svg: cannot write"},
      {"gpa -", "1 2 3\n4 5 6\n7 8 9\n\n1 2 3\n4 5 6\n", 1,
       "<stdin>:5: shape 1 has 2 landmarks, shape 0 (<stdin>:1) has 3"},
      {"gpa -", "1 2 3\n4 5 6\n7 8 9\n", 1, "only one shape"},
      {"gpa --reference 5", "", 2, "--reference 5: there are only 4 shapes"},
      {"smooth -w 1 -", "0 1\n2 1\n1 1\n", 1, "<stdin>:3: position 1 is smaller"},
      {"smooth -w -1 -", "0 1\n", 2, "--half-width must be finite"},
      {"rng --seed 1 --key 2", "", 2, "excludes"},
      {"frobnicate", "", 2, "frobnicate"},
  };
  Write("three.txt", "0 0 0\n1 0 0\n0 1 0\n");
  Write("two.txt", "0 0 0\n1 0 0\n");
  for (const BadInput& c : cases) {
    const Result result = Run(c.arguments, c.input);
    EXPECT_EQ(result.status, c.status) << c.arguments << " / " << c.input;
    EXPECT_NE(result.err.find(c.message), std::string::npos)
        << c.arguments << " / " << c.input << " gave: " << result.err;
    EXPECT_EQ(result.out, "") << c.arguments;
  }
  EXPECT_FALSE(fs::exists(m_dir / "out.svg"));
}

}  // namespace
