// The reader and the error layer of komath_core, without the tool around them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "Errors.h"
#include "Output.h"
#include "Reader.h"

namespace {

// Every line of `text` as the reader gives it; throws what the reader throws.
std::vector<std::vector<double>> Lines(const std::string& text) {
  std::FILE* stream = ::fmemopen(const_cast<char*>(text.data()), text.size(), "rb");
  komath::NumberReader reader(stream, "text");
  std::vector<std::vector<double>> lines;
  try {
    while (reader.Next()) lines.emplace_back(reader.Values().begin(), reader.Values().end());
  } catch (...) {
    std::fclose(stream);
    throw;
  }
  std::fclose(stream);
  return lines;
}

std::string Error(const std::string& text) {
  try {
    Lines(text);
  } catch (const komath::InputError& e) {
    return e.what();
  }
  return "no error";
}

using Rows = std::vector<std::vector<double>>;

TEST(NumberReaderTest, ByteOrderMarkIsSkippedAtTheStartOnly) {
  EXPECT_EQ(Lines("\xEF\xBB\xBF"
                  "1,2\n3 4"),
            (Rows{{1, 2}, {3, 4}}));
  EXPECT_TRUE(Lines("\xEF\xBB\xBF").empty() && Lines("\xEF\xBB\xBF\n5") == Rows({{}, {5}}));
  // A mark anywhere else is text like any other, spelled out in the message;
  // so is a partial one.
  EXPECT_EQ(Error("1\n\xEF\xBB\xBF"
                  "2\n"),
            "text:2: field 1 '\\xEF\\xBB\\xBF2' is not a number");
  EXPECT_EQ(Error("\xEF\xBB"
                  "1\n"),
            "text:1: field 1 '\\xEF\\xBB1' is not a number");
  // A long field is shown by its first 40 bytes.
  EXPECT_EQ(Error(std::string(40, '7') + "x\n"),
            "text:1: field 1 '" + std::string(40, '7') + "...' is not a number");
}

// Signed and hexadecimal fields (one sign only), a line longer than the first
// block of 1 MiB, and one longer than any line of numbers.
TEST(NumberReaderTest, SignedHexadecimalFieldsAndLongLines) {
  EXPECT_EQ(Lines("0x1 -0XA +0x1.8p+1 +2\n"), (Rows{{1, -10, 3, 2}}));
  EXPECT_EQ(Error("1 --2\n"), "text:1: field 2 '--2' is not a number");
  EXPECT_EQ(Lines(std::string(1 << 21, ' ') + "2\n3"), (Rows{{2}, {3}}));
  EXPECT_EQ(Error(std::string((64 << 20) + 1, ' ')), "text:1: line longer than 64 MiB");
  std::string blankLines;  // 65 MiB in all: the buffer's space is reused line after line
  for (int i = 0; i < 130; ++i) blankLines += std::string(1 << 19, ' ') + '\n';
  EXPECT_EQ(Lines(blankLines).size(), 130u);
}

TEST(NumberReaderTest, CommentLinesAreSkippedAndBlankLinesKept) {
  // Blank lines separate shapes; a line of nothing but a comment does not.
  EXPECT_EQ(Lines("1 # a\n# only\n\n  # x\n \t\n2"), (Rows{{1}, {}, {}, {2}}));
}

TEST(NumberReaderTest, EmptyFieldsAreErrorsNamingLineAndField) {
  // Commas between blanks, in comments or in blank runs are fine; so are
  // all the other blanks.
  EXPECT_EQ(Lines("0, 1 ,2\r\n3\t,4\v5\f6 # c, d,,\n\n"), (Rows{{0, 1, 2}, {3, 4, 5, 6}, {}}));
  EXPECT_EQ(Error("0,,2\n"), "text:1: field 2 is empty (two commas in a row)");
  EXPECT_EQ(Error("0\n1, \t,2\n"), "text:2: field 2 is empty (two commas in a row)");
  EXPECT_EQ(Error("1\n ,2"), "text:2: field 1 is empty (a comma starts the line)");
  EXPECT_EQ(Error(","), "text:1: field 1 is empty (a comma starts the line)");
  EXPECT_EQ(Error("1,2,\r\n"), "text:1: field 3 is empty (a comma ends the line)");
  EXPECT_EQ(Error("1,2, # note\n"), "text:1: field 3 is empty (a comma ends the line)");
}

TEST(FailureTest, LibraryFailuresSayWhatTheyMean) {
  // A bare KbException is the library's numerical breakdown.
  EXPECT_NE(komath::DescribeFailure(KbException()).find("did not converge"), std::string::npos);
  EXPECT_EQ(komath::DescribeFailure(KbException("corrupt")), "the library failed: corrupt");
  EXPECT_EQ(komath::DescribeFailure(std::bad_alloc()), "out of memory");
  EXPECT_EQ(komath::DescribeFailure(std::range_error("x")), "x");
  try {
    komath::LibraryStep("aligning shape 2", "identical points",
                        []() -> int { throw KbException(); });
    ADD_FAILURE() << "LibraryStep swallowed the exception";
  } catch (const komath::ComputationError& e) {
    EXPECT_STREQ(e.what(), "aligning shape 2: identical points");
  }
  try {
    komath::LibraryStep("step", "meaning", []() -> int { throw KbException("its own"); });
  } catch (const komath::ComputationError& e) {
    EXPECT_STREQ(e.what(), "step: its own");
  }
  EXPECT_EQ(komath::LibraryStep("step", "meaning", [] { return 7; }), 7);
}

TEST(FailureTest, NonFiniteResultsAreNeverPrinted) {
  EXPECT_THROW(komath::Json(std::nan("")), komath::ComputationError);
  EXPECT_THROW(komath::Json(-INFINITY), komath::ComputationError);
  EXPECT_THROW(komath::Json(float(INFINITY)), komath::ComputationError);
  EXPECT_EQ(komath::Json(std::nextafter(0.0f, 1.0f)).get<double>(), 1e-45);
}

// The command line refuses an empty name (the tool's tests run that); the
// writer refuses it too.
TEST(FailureTest, EmptyOutputPathIsAUsageError) {
  EXPECT_THROW(komath::WriteOutputFile("", "text"), komath::UsageError);
}

}  // namespace
