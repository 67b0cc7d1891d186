// komath det: the exact sign of a determinant, and on request its exact
// value as an integer times a power of two.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "Commands.h"
#include "ExactDeterminant.h"
#include "Output.h"
#include "Reader.h"

namespace komath {
namespace {

struct DetOptions {
  std::string file;
  bool exact = false;
  bool json = false;
};

__extension__ typedef unsigned __int128 UInt128;

// The nearest double to integer * 2^power as JSON, or, beyond the double
// range, decimal text with 15 significant digits (a JSON string).
nlohmann::json Approximation(const ExactDeterminant& det) {
  if (det.sign == 0) return 0.0;
  const std::string digits = det.hexadecimal.substr(det.sign < 0 ? 3 : 2);
  const std::string text = digits + "p" + std::to_string(det.powerOfTwo);
  double value{};  // set when the text parses
  const auto parsed =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::hex);
  if (parsed.ec == std::errc() && value != 0 && std::isfinite(value)) return det.sign * value;
  // |det| = t 2^e with t in [1, 2) from the leading 16 hexadecimal digits.
  // e log10(2) can be in the millions, so it is taken in 128-bit fixed point
  // (the fraction exact to 2^-64); double logarithms would lose the leading
  // digits.
  const std::size_t lead = std::min<std::size_t>(digits.size(), 16);
  int topExponent{};
  const double t =
      2 * std::frexp(double(std::stoull(digits.substr(0, lead), nullptr, 16)), &topExponent);
  const std::int64_t e =
      det.powerOfTwo + std::int64_t(4 * (digits.size() - lead)) + topExponent - 1;
  constexpr std::uint64_t kLog10TwoHigh = 0x4d104d427de7fbccull;  // log10(2) 2^128
  constexpr std::uint64_t kLog10TwoLow = 0x47c4acd605be48bcull;
  const auto magnitude = std::uint64_t(std::abs(e));
  const UInt128 product =
      UInt128(magnitude) * kLog10TwoHigh + (UInt128(magnitude) * kLog10TwoLow >> 64);
  auto whole = std::int64_t(product >> 64);
  double fraction = std::ldexp(double(static_cast<std::uint64_t>(product)), -64);
  // e log10(2) is irrational, so for e < 0 its fraction is never 0 and the
  // floor is one below minus the whole part.
  if (e < 0) {
    whole = -whole - 1;
    fraction = 1 - fraction;
  }
  double log10 = fraction + std::log10(t);  // in [0, 1.31)
  const double carry = std::floor(log10);
  std::int64_t decade = whole + std::int64_t(carry);
  double mantissa = std::pow(10.0, log10 - carry);
  if (mantissa >= 9.999999999999995) {  // would print as 10.00000000000000
    mantissa /= 10;
    ++decade;
  }
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, det.sign * mantissa,
                                 std::chars_format::fixed, 14);
  // The exponent with its sign always shown: e+600, e-647.
  std::snprintf(end.ptr, std::size_t(buffer + sizeof buffer - end.ptr), "e%+lld",
                static_cast<long long>(decade));
  return buffer;
}

void RunDet(const DetOptions& options) {
  NumberReader reader(options.file);
  std::vector<double> values;
  std::size_t rows = 0;
  const std::size_t order = ReadTable(
      reader, 1, std::size_t(1) << 15, "one matrix row", [&](std::span<const double> row) {
        if (++rows > row.size()) {
          reader.Fail("row " + std::to_string(rows) + " of a matrix with " +
                      std::to_string(row.size()) + " columns: the matrix is not square");
        }
        values.insert(values.end(), row.begin(), row.end());
      });
  if (rows != order) {
    throw InputError(reader.Name(), reader.Line(),
                     "the matrix has " + std::to_string(rows) + " rows of " +
                         std::to_string(order) + " numbers: it is not square");
  }

  nlohmann::json json{{"order", order}};
  std::string text = "order " + std::to_string(order) + "\n";
  if (!options.exact) {
    const int sign = DetSign(values, order);
    json["sign"] = sign;
    text += "sign " + std::to_string(sign) + "\n";
  } else {
    // The work grows as the fourth power of the order (n^3 per prime, and
    // the number of primes grows with n): say so before a long run.
    if (order > 200) {
      std::fprintf(stderr,
                   "komath det: order %zu: the exact value takes about %.0f times as long as at "
                   "order 100 (a fraction of a second)\n",
                   order, std::pow(double(order) / 100, 4));
    }
    const ExactDeterminant det = DetExact(values, order);
    const std::string power = std::to_string(det.powerOfTwo);
    const nlohmann::json approximation = Approximation(det);
    json["sign"] = det.sign;
    json["exact"] = {{"integer", det.integer},
                     {"hexadecimal", det.hexadecimal},
                     {"power_of_two", det.powerOfTwo}};
    // The value as one exact factor over 1 (a hexadecimal float whose
    // mantissa may be longer than a double's), for scripts that read the
    // factor lists.
    const std::string digits = det.hexadecimal.substr(det.sign < 0 ? 3 : 2);
    json["numerator"] = {
        {(det.sign < 0 ? "-0x" : "0x") + digits + "p" + (det.powerOfTwo < 0 ? "" : "+") + power}};
    json["denominator"] = {{"0x1p+0"}};
    json["approximation"] = approximation;
    text += "sign " + std::to_string(det.sign) + "\n";
    text += "exact " + det.integer + " * 2^" + power + "\n";
    text += "hexadecimal " + det.hexadecimal + " * 2^" + power + "\n";
    text += "approximately " +
            (approximation.is_string() ? approximation.get<std::string>()
                                       : Format(approximation.get<double>())) +
            "\n";
  }
  Emit(text, json, options.json);
}

}  // namespace

void AddDetCommand(CLI::App& app) {
  auto options = std::make_shared<DetOptions>();
  CLI::App* command = app.add_subcommand(
      "det", "exact sign of the determinant of a square matrix (--exact: its exact value)");
  command->add_option("FILE", options->file, "the matrix, one row per line ('-': standard input)")
      ->required();
  command->add_flag("--exact", options->exact,
                    "also give the determinant exactly, as an integer times a power of two (in "
                    "decimal and hexadecimal), and its nearest double");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunDet(*options); });
}

}  // namespace komath
