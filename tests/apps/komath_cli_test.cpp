// End-to-end tests of the komath tool: each test writes its input files,
// runs the built executable and compares what it prints with what the
// library computes on the same data.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"
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
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    m_dir = fs::path(::testing::TempDir()) / ("komath_" + std::string(info->name()));
    fs::remove_all(m_dir);
    fs::create_directories(m_dir);
  }
  void TearDown() override { fs::remove_all(m_dir); }

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

  fs::path m_dir;
};

TEST_F(KomathTest, HelpAndVersionListEverySubcommand) {
  const Result help = Run("--help");
  EXPECT_EQ(help.status, 0);
  for (const char* name : {"align", "gpa", "det", "fit", "smooth", "rng"}) {
    EXPECT_NE(help.out.find(std::string("\n  ") + name + " "), std::string::npos) << name;
  }
  const Result version = Run("--version");
  EXPECT_EQ(version.status, 0);
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

TEST_F(KomathTest, ExactDeterminantIsTheLibrarysFraction) {
  const std::string text = "3 1 4\n1 5 9\n2 6 -5.5\n";
  const json result = RunJson("det --exact -", text);
  KoArray2D<double> matrix(3, 3);
  const double values[] = {3, 1, 4, 1, 5, 9, 2, 6, -5.5};
  std::copy(std::begin(values), std::end(values), matrix.GetData());
  KbArray<KoFloatExact> numerator, denominator;
  std::int32_t sign = 0;
  ASSERT_TRUE(KoMpMatrixToDeterminantExactSign::Compute(matrix, numerator, denominator, sign));
  EXPECT_EQ(result["sign"], sign);
  ASSERT_EQ(result["numerator"].size(), numerator.GetSize());
  ASSERT_EQ(result["denominator"].size(), denominator.GetSize());
  // Every hexadecimal component reads back to the library's component.
  const auto check = [](const json& factor, const KoFloatExact& expected) {
    ASSERT_EQ(factor.size(), expected.GetComponentCount());
    for (std::uint32_t i = 0; i < expected.GetComponentCount(); ++i) {
      const double value =
          std::strtod(factor[factor.size() - 1 - i].get<std::string>().c_str(), nullptr);
      EXPECT_EQ(value, std::ldexp(expected.GetMantissa(i), expected.GetExponent(i)));
    }
  };
  for (unsigned i = 0; i < numerator.GetSize(); ++i) check(result["numerator"][i], numerator[i]);
  for (unsigned i = 0; i < denominator.GetSize(); ++i) {
    check(result["denominator"][i], denominator[i]);
  }
  // det = 3(5·-5.5 - 54) - (-5.5 - 18) + 4(6 - 10) = -237
  EXPECT_EQ(result["approximation"].get<double>(), -237.0);
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
      {"frobnicate", "", 2, "frobnicate"},
  };
  for (const BadInput& c : cases) {
    const Result result = Run(c.arguments, c.input);
    EXPECT_EQ(result.status, c.status) << c.arguments << " / " << c.input;
    EXPECT_NE(result.err.find(c.message), std::string::npos)
        << c.arguments << " / " << c.input << " gave: " << result.err;
    EXPECT_EQ(result.out, "") << c.arguments;
  }
}

}  // namespace
