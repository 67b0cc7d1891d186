// End-to-end tests of the komath tool: each test writes its input files, runs
// the built executable and checks what it prints, its messages and its status.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <tuple>

#include "Output.h"
#include "RecordTestSupport.h"
#include "math/rotations/KoRandomNumberGenerator.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct Result {
  int status;
  std::string out, err;
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
  // Runs komath with `arguments` (shell words) in the test's directory;
  // standard output goes to `output` (read back only when it is the default).
  Result Run(const std::string& arguments, const std::string& input = "",
             const std::string& output = "stdout.txt") {
    Write("stdin.txt", input);
    Write("stdout.txt", "");
    const std::string command = "cd '" + m_dir.string() + "' && '" KOMATH_EXE "' " + arguments +
                                " < stdin.txt > '" + output + "' 2> stderr.txt";
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Read(m_dir / "stdout.txt"),
            Read(m_dir / "stderr.txt")};
  }
  json RunJson(const std::string& arguments, const std::string& input = "") {
    const Result result = Run(arguments + " --json", input);
    EXPECT_EQ(result.status, 0) << result.err;
    return json::parse(result.out);
  }

  ko_test::ScratchDirectory m_scratch;
  const fs::path& m_dir = m_scratch.Path();
};

TEST_F(KomathTest, VersionNamesTheTool) {
  EXPECT_EQ(Run("--version").out.rfind("komath ", 0), 0u);
}

TEST_F(KomathTest, DeterminantsAreSignsOrIntegersTimesAPowerOfTwo) {
  // (2^52 + 1)(2^52 - 1) - 2^104 = -1, 0 in doubles; the leading BOM is skipped.
  const std::string matrix =  // octal escapes: a hexadecimal one would run on into the digits
      "\357\273\2774503599627370497 4503599627370496\n4503599627370496,4503599627370495\n";
  EXPECT_EQ(Run("det -", matrix).out, "order 2\nsign -1\n");
  EXPECT_EQ(Run("det --json -", matrix).out, "{\n  \"order\": 2,\n  \"sign\": -1\n}\n");
  // 3(5 * -5.5 - 54) - (-5.5 - 18) + 4(6 - 10) = -237
  const std::string text = "3 1 4\n1 5 9\n2 6 -5.5\n";
  EXPECT_EQ(Run("det --exact -", text).out,
            "order 3\nsign -1\nexact -237 * 2^0\nhexadecimal -0xed * 2^0\napproximately -237\n");
  const json result = RunJson("det --exact -", text);
  EXPECT_EQ(result["numerator"], json::parse(R"([["-0xedp+0"]])"));
  EXPECT_EQ(RunJson("det --exact -", "1 2\n2 4\n")["numerator"], json::parse(R"([["0x0p+0"]])"));
  // Beyond the double range the approximation is decimal text: 2^-2148 and
  // (1e300)^2 3 = 3.0000000000000004e600 (both from python3's fractions).
  EXPECT_EQ(Run("det --exact -", "0x1p-1074 0\n0 0x1p-1074\n").out,
            "order 2\nsign 1\nexact 1 * 2^-2148\nhexadecimal 0x1 * 2^-2148\n"
            "approximately 2.44100862400528e-647\n");
  const json huge = RunJson("det --exact -", "1e300 0 0\n0 1e300 0\n0 0 3\n");
  EXPECT_EQ(huge["approximation"], "3.00000000000000e+600");
  EXPECT_EQ(huge["exact"]["power_of_two"], 1892);
  EXPECT_EQ(huge["numerator"][0][0], huge["exact"]["hexadecimal"].get<std::string>() + "p+1892");
  // (1e300)^2 9.999999999999994 = 9.999999999999996e600 rounds into the next decade.
  EXPECT_EQ(
      RunJson("det --exact -", "1e300 0 0\n0 1e300 0\n0 0 9.999999999999994\n")["approximation"],
      "1.00000000000000e+601");
}

// y = x^2 - 2x + 3 = 4u^2 + 2 with u = (x - 1) / 2, fitted exactly: both forms,
// the table and the JSON hold exact numbers. Sigmas are named in the heading.
TEST_F(KomathTest, FitPrintsBothFormsAndWarnsWhenXIsIllConditioned) {
  const std::string parabola = "-1 6\n0 3\n1 2\n2 3\n3 6\n";
  const Result plain = Run("fit -d 2 -", parabola);
  EXPECT_EQ(plain.out,
            "degree 2, 5 points, sigma 1\n"
            "in u = (x - shift) / scale  y = 2 + 0 u + 4 u^2\n"
            "  shift, scale                             1, 2\n"
            "in x                        y = 3 - 2 x + 1 x^2\n"
            "chi-square                                    0\n"
            "rms residual                                  0\n"
            "residuals\n"
            "  x   y  fitted  residual\n"
            "  -1  6       6         0\n"
            "  0   3       3         0\n"
            "  1   2       2         0\n"
            "  2   3       3         0\n"
            "  3   6       6         0\n");
  EXPECT_EQ(plain.err, "");
  EXPECT_EQ(RunJson("fit -d 2 -", parabola), json::parse(R"({"chi_square": 0,
      "coefficients": [3, -2, 1], "degree": 2, "ill_conditioned": false, "points": 5,
      "rms_residual": 0, "scaled": {"shift": 1, "scale": 2, "coefficients": [2, 0, 4]},
      "fitted": [6, 3, 2, 3, 6], "residuals": [0, 0, 0, 0, 0]})"));
  EXPECT_TRUE(Run("fit -d 2 -", "0 1 0.5\n1 3 0.5\n2 5 1\n")
                  .out.starts_with("degree 2, 3 points with sigmas\n"));
  // x = the year: the form in x is ill-conditioned, and a warning says so.
  std::string years;
  for (int i = 0; i < 40; ++i)
    years += std::to_string(1959 + i) + " " + std::to_string(i % 7) + "\n";
  const Result warned = Run("fit -d 6 -", years);
  EXPECT_EQ(warned.status, 0);
  EXPECT_NE(warned.err.find("warning: the polynomial in x is ill-conditioned"), std::string::npos);
}

TEST_F(KomathTest, AlignSampleShowsItsKnownMotionAndDrawsWellFormedSvg) {
  const json result = RunJson("align --svg picture.svg");
  const double sigma = result["known"]["noise_sd"].get<double>();
  EXPECT_NE(Run("align").out.find("recovered vs known: rotation differs by 0.0008256887293141612 "
                                  "rad, translation by 0.005855118870496988, scale by 0\n"),
            std::string::npos);  // as README.md shows it
  const std::string svg = Read(m_dir / "picture.svg");
  EXPECT_TRUE(svg.starts_with("<?xml") && svg.ends_with("</svg>\n") &&
              svg.find(">before: ") < svg.find(">after: "));
  // --planar keeps the third axis, as the known motion does; a named scale brings a known
  // 1.25 (noise: 1e-3).
  const json planar = RunJson("align --planar --scale=ratio");
  EXPECT_TRUE(planar["rotation"][2] == json({0.0, 0.0, 1.0}) &&
              planar["known"]["rotation"][2] == planar["rotation"][2]);
  EXPECT_NEAR(planar["scale"].get<double>(), 1.25, sigma / 10);
  EXPECT_EQ(planar["flags"], json({"scale=ratio", "planar"}));
  EXPECT_NEAR(std::acos(planar["known"]["rotation"][0][0].get<double>()), 0.5, 1e-7);
  EXPECT_EQ(RunJson("align --translation-only")["known"]["rotation"],
            json::parse("[[1,0,0],[0,1,0],[0,0,1]]"));
  // The gpa sample's first copy is unmoved: the mean is the house itself.
  const double house[] = {0,   0, 0,   4,   0, 0,   4,   3,   0, 0,   3,   0,   0,   0,
                          2.5, 4, 0,   2.5, 4, 3,   2.5, 0,   3, 2.5, 0,   1.5, 4,   4,
                          1.5, 4, 1.5, 0,   0, 1.5, 0,   1.8, 3, 0.6, 3.2, 3,   0.6, 4.4};
  const json gpa = RunJson("gpa");
  for (unsigned i = 0; i < 42; ++i)
    EXPECT_NEAR(gpa["mean_shape"][i / 3][i % 3].get<double>(), house[i], 4 * sigma);
  // Every copy's motion and noise reach one shape's distance through the mean.
  EXPECT_EQ(gpa["shapes"][1]["rms_to_mean"], 0.014717919114153667);
}

// One view for the plane, three in 3-D, each with axes and scale bar (two paths); gpa
// draws every aligned landmark and the mean. rsvg-convert renders them, not blank.
TEST_F(KomathTest, PicturesRenderInARealRenderer) {
  const std::string plane = "0 0\n4 0\n4 3\n1 5\n", moved = "2 1\n6 1\n6 4\n3 6\n";
  Write("a.txt", moved), Write("b.txt", plane), Write("shapes.txt", plane + "\n" + moved);
  const Result aligned = Run("align a.txt b.txt --svg align.svg");  // no timing lines
  ASSERT_TRUE(aligned.err.empty() && aligned.out.starts_with("4 point pairs in the plane, b.txt"));
  // The source moved by (2, 1) onto the target: 0 to 6 over 240 pixels, 30 in from the
  // left and the bottom (332 before, 654 after); a line joins each pair, a dot after.
  const std::string align = Read(m_dir / "align.svg");
  for (const int bottom : {332, 654}) {
    std::string expected = "<g stroke=\"#999999\" stroke-width=\"0.8\">";
    for (const auto& [tx, ty, sx, sy] :
         {std::array{2, 1, 0, 0}, {6, 1, 4, 0}, {6, 4, 4, 3}, {3, 6, 1, 5}}) {
      const int x2 = bottom == 332 ? sx : tx, y2 = bottom == 332 ? sy : ty;
      expected += "<line x1=\"" + std::to_string(30 + 40 * tx) + ".00\" y1=\"" +
                  std::to_string(bottom - 40 * ty) + ".00\" x2=\"" + std::to_string(30 + 40 * x2) +
                  ".00\" y2=\"" + std::to_string(bottom - 40 * y2) + ".00\"/>";
    }
    EXPECT_NE(align.find(expected + "</g>\n"), std::string::npos) << expected;
  }
  Write("tiny.txt", "0 0\n0.15 0\n0 0.15\n");  // a round length below 1: 5 hundredths
  ASSERT_EQ(Run("align tiny.txt tiny.txt --svg tiny.svg").status, 0);
  ASSERT_EQ(Run("gpa shapes.txt --svg gpa.svg").status, 0);
  ASSERT_EQ(Run("gpa --svg gpa3.svg").status, 0);  // the 3-D sample: 4 shapes of 14
  // Byte for byte the pictures as last reviewed by eye (made by these same commands).
  for (const std::string name : {"align", "tiny", "gpa", "gpa3"})
    EXPECT_EQ(Read(m_dir / (name + ".svg")),
              Read(KOMATH_APPS_TEST_DATA "/pictures/" + name + ".svg"));
  const auto count = [](const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at) ++n;
    return n;
  };
  struct Picture {
    const char* name;
    std::size_t circles, lines, views, rows;
    std::string axes;  // the names of each view's two axes
  };
  for (const Picture& p :
       {Picture{"align", 2 * 2 * 4, 2 * 4, 2, 2, "xy"}, Picture{"gpa", 2 * 4 + 4, 0, 1, 1, "xy"},
        Picture{"gpa3", 3 * (4 * 14 + 14), 0, 3, 1, "xyxzyz"}}) {
    const std::string svg = Read(m_dir / (std::string(p.name) + ".svg"));
    EXPECT_EQ(count(svg, "<circle"), p.circles) << p.name;
    EXPECT_EQ(count(svg, "<line"), p.lines) << p.name;
    EXPECT_EQ(count(svg, "<path"), 2 * p.views) << p.name;
    // Panels of 300 pixels under bands of 40 and 22; axis arrows 18 long from 8
    // pixels in from the lower left, names past them.
    const auto at = [](std::size_t x, std::size_t y) {
      return std::to_string(x) + ".00" + (y == 0 ? "" : " " + std::to_string(y) + ".00");
    };
    for (std::size_t r = 0, y = 354; r < p.rows; ++r, y += 322) {
      for (std::size_t v = 0, x = 8; 2 * v < p.axes.size(); ++v, x += 300) {
        EXPECT_NE(svg.find("d=\"M" + at(x, y - 18) + " L" + at(x, y) + " L" + at(x + 18, y) +
                           "\"/></g>\n<g font-family=\"sans-serif\" font-size=\"10\" "
                           "fill=\"#444444\"><text x=\"" +
                           at(x + 20, 0) + "\" y=\"" + at(y + 3, 0) + "\">" + p.axes[2 * v] +
                           "</text><text x=\"" + at(x - 3, 0) + "\" y=\"" + at(y - 21, 0) + "\">" +
                           p.axes[2 * v + 1]),
                  std::string::npos)
            << p.name << " " << r << " " << v;
      }
    }
    if (p.views == 2) {
      // The largest round length within a third of 6 is 2: 80 pixels, 12 from the edge.
      EXPECT_NE(svg.find("text-anchor=\"end\">2</text>"), std::string::npos);
      EXPECT_NE(svg.find("<path d=\"M208.00 351.00 V354.00 H288.00 V351.00\""), std::string::npos);
    }
    const std::string command = "rsvg-convert -o '" + (m_dir / "out.png").string() + "' '" +
                                (m_dir / (std::string(p.name) + ".svg")).string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << p.name;
    // Each view's leftmost and lowest points sit on its panel's margins, 30 in and 30 up.
    for (std::size_t v = 0; 2 * v < p.axes.size(); ++v)
      EXPECT_NE(svg.find("cx=\"" + std::to_string(30 + 300 * v) + ".00\""), std::string::npos);
    EXPECT_NE(svg.find("cy=\"332.00\""), std::string::npos) << p.name;
    // A blank page of that size compresses to a few hundred bytes.
    EXPECT_GT(Read(m_dir / "out.png").size(), 4000u) << p.name;
  }
}

// Plane shapes, one a mirror image: one file or a file per shape give one result;
// --aligned writes the JSON's aligned shapes in the same shortest text, a block each.
TEST_F(KomathTest, GpaReadsOneFileOrManyAndWritesTheAlignedShapes) {
  const std::string a = "0 0\n4 0\n4 3\n1 5\n", mirror = "0 0\n-4 0\n-4 3\n-1 5\n",
                    b = "1 1\n5 1\n5 4\n2 6.5\n";
  const std::string all = a + "\n" + mirror + "\n" + b;
  Write("a.txt", a), Write("mirror.txt", "\n" + mirror), Write("b.txt", b);
  const json together = RunJson("gpa --aligned aligned.txt -", "\n" + all);  // a blank line first
  EXPECT_EQ(RunJson("gpa a.txt mirror.txt b.txt")["aligned"], together["aligned"]);
  std::string aligned;
  for (unsigned i = 0; i < 3; ++i) {
    aligned += i == 0 ? "" : "\n";
    for (const json& p : together["aligned"][i])
      aligned +=
          komath::Format(p[0].get<double>()) + " " + komath::Format(p[1].get<double>()) + "\n";
  }
  EXPECT_EQ(Read(m_dir / "aligned.txt"), aligned);
  // The mirror image is reflected when allowed.
  const json reflected = RunJson("gpa --allow-reflection -", all)["shapes"];
  const auto det = [&](int i) {
    const json& r = reflected[i]["rotation"];
    return double(r[0][0]) * double(r[1][1]) - double(r[0][1]) * double(r[1][0]);
  };
  EXPECT_TRUE(std::abs(det(0) * det(1) + 1) < 1e-6 && std::abs(det(0) * det(2) - 1) < 1e-6);
  double squares = 0;  // of shape 1's aligned landmarks against the mean
  for (unsigned i = 0; i < 8; ++i)
    squares += std::pow(
        double(together["aligned"][1][i / 2][i % 2]) - double(together["mean_shape"][i / 2][i % 2]),
        2);
  EXPECT_NEAR(double(together["shapes"][1]["rms_to_mean"]), std::sqrt(squares / 4), 1e-15);
  const std::string text = Run("gpa -", all).out;
  EXPECT_TRUE(text.starts_with("3 shapes of 4 landmarks in the plane, full Procrustes")) << text;
  // Heading 3, mean 4, 1, and per shape its name, 2 rotation rows, t, s and rms.
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3 + 4 + 1 + 3 * 6) << text;
  EXPECT_NE(text.find("shape 1 (<stdin>:6)\n  rotation R "), std::string::npos) << text;
}

TEST_F(KomathTest, RngGivesTheGeneratorsSequences) {
  EXPECT_EQ(Run("rng --seed 5489 -n 2").out, "3499211612\n581869302\n");
  EXPECT_EQ(RunJson("rng --seed 7")["numbers"].size(), 10u);  // the default count
  EXPECT_EQ(Run("rng --seed 1 -n 0 --json").out,
            "{\n  \"distribution\": \"uint32\",\n  \"seed\": 1,\n  \"numbers\": []\n}\n");
  const json bounded = RunJson("rng --seed 7 --int 6 -n 50");
  EXPECT_TRUE(bounded["distribution"] == "integer [0, 6]" &&
              RunJson("rng -n 0 --uniform")["distribution"] == "uniform [0, 1)");
  EXPECT_EQ(Run("rng --seed 7 --normal 2,0.5 -n 1").out,
            komath::Format(KoRandomNumberGenerator(7u).RandNorm(2, 0.5)) + "\n");
  KoRandomNumberGenerator generator(7u);
  for (unsigned i = 0; i < 50; ++i)
    EXPECT_EQ(bounded["numbers"][i].get<unsigned>(), generator.RandInt(6u));
}

// A step at -2..2, half-width 1: the tent weighs a sample's cell by 3/4 and each
// neighbour's by 1/8; these, and the unit-size values the library sees, are exact.
TEST_F(KomathTest, SmoothPrintsExactNumbersAsJsonAndTable) {
  const std::string step = "-2 1\n-1 1\n0 1.5\n1 2\n2 2\n";
  EXPECT_EQ(RunJson("smooth -w 1 -", step),
            json::parse(R"({"half_width": 1, "period": null, "positions": [-2, -1, 0, 1, 2],
                            "values": [1, 1.0625, 1.5, 1.9375, 2]})"));
  EXPECT_EQ(Run("smooth -w 1 -", step).out,
            "-2       1\n-1  1.0625\n0      1.5\n1   1.9375\n2        2\n");
  // Tables align 4096 rows at a time: only the 4097th row's wider position pads itself.
  std::string rows;
  for (int i = 0; i < 4096; ++i) rows += std::to_string(i) + " 0\n";
  const std::string out = Run("smooth -w 0 -", rows + "99999 0\n").out;
  EXPECT_TRUE(out.starts_with("0     0\n") && out.ends_with("\n4095  0\n99999  0\n"));
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 4097);
}

TEST_F(KomathTest, LargeFilesStreamAcrossBlocksWithExactLineNumbers) {
  // About 3 MB: lines straddle the reader's 1 MiB blocks; the last has no line end.
  const unsigned n = 100000;
  std::string points;
  for (unsigned i = 0; i < n; ++i)
    points += std::to_string(i % 997) + ".25,\t" + std::to_string(i % 89) + " -" +
              std::to_string(i % 13) + ".5  # point " + std::to_string(i) + "\n";
  points.pop_back();
  Write("big.txt", points);
  const Result timed = Run("align big.txt big.txt --json --timing");
  char read[64];
  std::snprintf(read, sizeof read, "timing: read %.1f MB in ", 2e-6 * double(points.size()));
  EXPECT_TRUE(timed.err.starts_with(read)) << timed.err;
  EXPECT_EQ(json::parse(timed.out)["points"], n);
  Write("bad.txt", points + "\n1 2 3x");
  const Result bad = Run("align big.txt bad.txt --svg out.svg");
  EXPECT_NE(bad.err.find("bad.txt:" + std::to_string(n + 1) + ": field 3 '3x' is not a number"),
            std::string::npos)
      << bad.err;
  EXPECT_FALSE(fs::exists(m_dir / "out.svg"));
}

TEST_F(KomathTest, BadInputGetsItsMessageAndStatus) {
  // Arguments, standard input, exit status and a part of the message.
  const std::tuple<const char*, const char*, int, const char*> cases[] = {
      {"det missing.txt", "", 1, "missing.txt: cannot open"},
      {"det -", "", 1, "<stdin>: no numbers"},
      {"det -", "1 2\n\n3\n", 1, "<stdin>:3: this line has 1 number, line 1 has 2"},
      {"det -", "1 2 3\n4 5 6\n", 1, "<stdin>:2: the matrix has 2 rows of 3 numbers"},
      {"det -", "1 2\n3 4\n5 6\n", 1, "<stdin>:3: row 3 of a matrix with 2 columns"},
      {"det -", "1 nan\n3 4\n", 1, "<stdin>:1: field 2 'nan' is not finite"},
      {"det -", "1 1e999\n3 4\n", 1, "<stdin>:1: field 2 '1e999' is out of the range"},
      {"fit -d 1 -", "1 2 0\n", 1, "<stdin>:1: sigma 0 is not positive"},
      {"fit -d 3 -", "1 2\n2 3\n", 1, "<stdin>: a fit of degree 3 needs at least 4 points"},
      {"fit -d 1 -", "1 2 3 4\n", 1, "<stdin>:1: expected 2 to 3 numbers per line (x y [sigma])"},
      {"fit -", "1 2\n", 2, "--degree is required"},
      {"fit -d 31 -", "1 2\n", 2, "--degree"},
      {"det", "", 2, "FILE is required"},
      {"align - -", "1 2 3\n4 5 6\n7 8 9\n", 2, "standard input ('-') is named twice"},
      {"align --svg - three.txt three.txt", "", 2, "--svg: cannot be '-'"},
      {"gpa --aligned '' three.txt three.txt", "", 2, "--aligned: needs a file name"},
      {"align --translation-only --scale - turned.txt", "1 0\n-1 0\n0 1\n0 -1\n", 1,
       "align: the least-squares scale is not positive"},
      {"align - same.txt", "0 0 0\n0.1 0 0\n0 0.1 0\n", 1,
       "all points of the source are identical"},
      {"align three.txt same.txt --scale --svg out.svg", "", 1,
       "align: all points of the source are identical"},
      {"gpa --tolerance 0 -", "0 0\n1 0\n0 1\n\n0 0\n1 0.1\n0.2 1\n\n0 0\n0.9 0\n0 1.1\n", 1,
       "did not settle"},
      {"rng --count -1", "", 2, "--count -1: a count cannot be negative"},
      {"gpa --tolerance -1", "", 2, "--tolerance must be finite and >= 0"},
      {"rng --uniform --int 5", "", 2, "--uniform excludes --int"},
      {"rng --normal 0,-1", "", 2, "--normal MEAN,SD needs a finite mean and a finite SD >= 0"},
      {"align - three.txt", "1 2 3\n4 5 6\n", 1, "three.txt has 3 points, <stdin> has 2"},
      {"align - three.txt", "1 2 3\n4 inf 6\n7 8 9\n", 1, "<stdin>:2: field 2 'inf'"},
      {"align - two.txt", "1 2 3\n4 5 6\n", 1, "only 2 points: an alignment needs at least 3"},
      {"align three.txt", "", 2, "align needs two files"},
      {"align --svg no/such/dir/out.svg", "", 1, "no/such/dir/out.svg: cannot write"},
      {"gpa -", "1 2 3\n4 5 6\n7 8 9\n\n1 2 3\n4 5 6\n", 1,
       "<stdin>:5: shape 1 has 2 landmarks, shape 0 (<stdin>:1) has 3"},
      {"gpa -", "1 2 3\n4 5 6\n7 8 9\n", 1, "only one shape"},
      {"gpa -", "", 1, "<stdin>: no numbers"},
      {"gpa -", "0 0\n0 0\n0 0\n\n0 0\n1 0\n0 1\n", 1, "reference shape 0 are identical"},
      {"gpa --reference 5", "", 2, "--reference 5: there are only 4 shapes"},
      {"smooth -w 1 -", "0 1\n2 1\n2 1\n1 1\n", 1,  // an equal position may follow
       "<stdin>:4: position 1 is smaller than the one on line 3"},
      {"smooth -w 1 -", "1 1\n0 1\n", 1, "<stdin>:2: position 0 is smaller than the one on line 1"},
      {"det dir", "", 1, "dir: read error: Is a directory"},
      {"smooth -w -1 -", "0 1\n", 2, "--half-width must be finite"},
      {"smooth -w 1 -p 2 -", "0 1\n1 1\n2 1\n", 1,
       "<stdin>:3: position 2 lies a period or more after the first (0)"},
      {"rng --seed 1 --key 2", "", 2, "excludes"},
      {"frobnicate", "", 2, "unknown subcommand 'frobnicate'"},
  };
  Write("three.txt", "0 0 0\n1 0 0\n0 1 0\n");
  Write("two.txt", "0 0 0\n1 0 0\n");
  Write("turned.txt", "0 1\n0 -1\n-1 0\n1 0\n");  // the plus of the input turned: scale 0
  Write("same.txt", "1 2 3\n1 2 3\n1 2 3\n");
  fs::create_directory(m_dir / "dir");
  std::string row;  // a matrix row longer than the largest order
  for (int i = 0; i <= 1 << 15; ++i) row += "1 ";
  EXPECT_NE(Run("det -", row).err.find("expected 1 to 32768 numbers per line"), std::string::npos);
  for (const auto& [arguments, input, status, message] : cases) {
    const Result result = Run(arguments, input);
    EXPECT_EQ(result.status, status) << arguments << " / " << input;
    EXPECT_NE(result.err.find(message), std::string::npos)
        << arguments << " / " << input << " gave: " << result.err;
    EXPECT_EQ(result.out, "") << arguments;
  }
  EXPECT_FALSE(fs::exists(m_dir / "out.svg"));
}

TEST_F(KomathTest, WriteErrorsOfStandardOutputFailTheRun) {
  // /dev/full takes no byte: every command, help included, must notice
  // (help text goes through std::cout, whose errno is lost on the way).
  for (const char* arguments : {"align", "rng -n 100000", "--help"}) {
    const Result result = Run(arguments, "", "/dev/full");
    EXPECT_TRUE(result.status == 1 &&
                result.err.find("komath: <stdout>: cannot write: ") != std::string::npos)
        << arguments << ": " << result.err;
  }
}

TEST_F(KomathTest, OutputFilesAreOnlyRegularFiles) {
  Write("three.txt", "0 0 0\n1 0 0\n0 1 0\n");
  const std::string align = "align three.txt three.txt --svg ";
  ASSERT_EQ(::mkfifo((m_dir / "fifo").c_str(), 0600), 0);
  fs::create_directory(m_dir / "dir");
  Write("target.svg", "kept");
  fs::create_symlink("target.svg", m_dir / "link.svg");
  const std::pair<const char*, const char*> refused[] = {
      {"fifo", "fifo: exists and is not a regular file"},
      {"dir", "dir: is a directory"},
      {"link.svg", "link.svg: is a symbolic link: refused"},
  };
  for (const auto& [path, message] : refused) {
    const Result result = Run(align + path);
    EXPECT_TRUE(result.status == 1 && result.err.find(message) != std::string::npos &&
                result.out.empty())
        << result.err;
  }
  EXPECT_TRUE(fs::is_fifo(m_dir / "fifo") && fs::is_symlink(m_dir / "link.svg") &&
              Read(m_dir / "target.svg") == "kept");
  EXPECT_TRUE(Run(align + "target.svg").status == 0 &&
              Read(m_dir / "target.svg").starts_with("<?xml"));
}

TEST_F(KomathTest, ClockSeededRngReportsItsSeed) {
  const json first = RunJson("rng -n 3");
  const std::string seed = std::to_string(first["seed"].get<std::uint32_t>());
  EXPECT_EQ(RunJson("rng -n 3 --seed " + seed)["numbers"], first["numbers"]);
  const Result text = Run("rng -n 3");
  const std::size_t at = text.err.find("--seed ");
  ASSERT_NE(at, std::string::npos) << text.err;
  const std::string again = text.err.substr(at, text.err.find(' ', at + 7) - at);
  EXPECT_EQ(Run("rng -n 3 " + again).out, text.out);
  const std::string third = std::to_string(RunJson("rng -n 0")["seed"].get<std::uint32_t>());
  EXPECT_TRUE(seed != again.substr(7) && seed != third && again.substr(7) != third) << seed;
}

}  // namespace
