// komath det: the exact sign of a determinant, and on request its exact
// value as a fraction of products of exact numbers.
#include <charconv>
#include <cmath>
#include <memory>
#include <vector>

#include "Commands.h"
#include "Output.h"
#include "Reader.h"
#include "math/numerics/KoMpMatrixToDeterminantExactSign.h"

namespace komath {
namespace {

struct DetOptions {
  std::string file;
  bool exact = false;
  bool json = false;
};

// One component mantissa·2^exponent of an exact number as a hexadecimal
// float: the mantissa lies in [0.5, 1), so 2·|mantissa| is the 1.xxx part
// and the exponent drops by one. The exponent is printed from its own
// integer, so values beyond the double range print exactly too.
std::string HexComponent(double mantissa, std::int32_t exponent) {
  if (!std::isfinite(mantissa)) return Format(mantissa);
  if (mantissa == 0) return "0x0p+0";
  char digits[64];
  const auto end =
      std::to_chars(digits, digits + sizeof digits, 2 * std::fabs(mantissa), std::chars_format::hex)
          .ptr;
  std::string text(digits, end);
  text.erase(text.find('p'));
  const std::int64_t power = std::int64_t(exponent) - 1;
  return (mantissa < 0 ? "-0x" : "0x") + text + "p" + (power < 0 ? "-" : "+") +
         std::to_string(power < 0 ? -power : power);
}

// The components, largest first (the number is their exact sum).
std::vector<std::string> HexComponents(const KoFloatExact& number) {
  std::vector<std::string> parts;
  for (std::uint32_t i = number.GetComponentCount(); i-- > 0;) {
    parts.push_back(HexComponent(number.GetMantissa(i), number.GetExponent(i)));
  }
  return parts;
}

std::string HexSum(const KoFloatExact& number) {
  std::string text;
  for (const std::string& part : HexComponents(number)) {
    if (text.empty()) {
      text = part;
    } else if (part[0] == '-') {
      text += " - " + part.substr(1);
    } else {
      text += " + " + part;
    }
  }
  return text;
}

// A double mantissa with a separate binary exponent: products and
// quotients of exact factors stay representable whatever their size.
struct WideNumber {
  double mantissa = 1;  // in [0.5, 1) after Normalize, or 0
  std::int64_t exponent = 0;

  void Normalize() {
    int shift = 0;
    mantissa = std::frexp(mantissa, &shift);
    exponent += shift;
  }
  // The factor rounded once: its components summed in the units of the
  // largest, smallest first.
  static WideNumber Of(const KoFloatExact& number) {
    const std::uint32_t last = number.GetComponentCount() - 1;
    WideNumber value{0, number.GetExponent(last)};
    for (std::uint32_t i = 0; i <= last; ++i) {
      value.mantissa += std::ldexp(number.GetMantissa(i), number.GetExponent(i) - value.exponent);
    }
    value.Normalize();
    return value;
  }
  // Decimal text: plain double text inside the double range, otherwise
  // decimal mantissa and exponent from the base-10 logarithm.
  std::string Text() const {
    if (mantissa == 0 || !std::isfinite(mantissa)) return Format(mantissa);
    if (exponent > -1070 && exponent < 1020) return Format(std::ldexp(mantissa, int(exponent)));
    const double log10 = std::log10(std::fabs(mantissa)) + double(exponent) * std::log10(2.0);
    const double decade = std::floor(log10);
    const double digits = std::copysign(std::pow(10.0, log10 - decade), mantissa);
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, digits, std::chars_format::fixed, 15);
    return std::string(text, end.ptr) + "e" + (decade < 0 ? "" : "+") + Format(decade);
  }
  // A JSON number inside the double range, the decimal text beyond it.
  nlohmann::json ToJson() const {
    if (mantissa != 0 && std::isfinite(mantissa) && (exponent <= -1070 || exponent >= 1020)) {
      return Text();
    }
    return Json(std::ldexp(mantissa, int(exponent)));
  }
};

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
  KoArray2D<double> matrix{unsigned(order), unsigned(order)};
  std::copy(values.begin(), values.end(), matrix.GetData());
  values = {};

  std::int32_t sign = 0;
  KbArray<KoFloatExact> numerator;
  KbArray<KoFloatExact> denominator;
  KoMpMatrixToDeterminantExactSign determinant;
  if (options.exact) {
    determinant.SetInput(matrix, numerator, denominator, sign);
  } else {
    determinant.SetInput(matrix, sign);
  }
  if (!determinant.Compute(KoAlgorithm::eComputeDefault)) {
    throw InputError(reader.Name(), 0, "the determinant could not be computed");
  }

  nlohmann::json json{{"order", order}, {"sign", sign}};
  std::string text = "order " + std::to_string(order) + "\nsign " + std::to_string(sign) + "\n";
  if (options.exact) {
    WideNumber value;
    nlohmann::json jsonNumerator = nlohmann::json::array();
    nlohmann::json jsonDenominator = nlohmann::json::array();
    std::string numeratorText;
    std::string denominatorText;
    for (const KoFloatExact& factor : numerator) {
      const WideNumber f = WideNumber::Of(factor);
      value.mantissa *= f.mantissa;
      value.exponent += f.exponent;
      value.Normalize();
      jsonNumerator.push_back(HexComponents(factor));
      numeratorText += "  (" + HexSum(factor) + ")\n";
    }
    for (const KoFloatExact& factor : denominator) {
      const WideNumber f = WideNumber::Of(factor);
      value.mantissa /= f.mantissa;
      value.exponent -= f.exponent;
      value.Normalize();
      jsonDenominator.push_back(HexComponents(factor));
      denominatorText += "  (" + HexSum(factor) + ")\n";
    }
    if (sign == 0) value.mantissa = 0;
    text += "determinant = product of numerator factors / product of denominator factors\n";
    text += "(each factor exact, a sum of hexadecimal floats)\nnumerator\n" +
            (numeratorText.empty() ? "  (1)\n" : numeratorText) + "denominator\n" +
            (denominatorText.empty() ? "  (1)\n" : denominatorText) + "approximately " +
            value.Text() + "\n";
    json["numerator"] = jsonNumerator;
    json["denominator"] = jsonDenominator;
    json["approximation"] = value.ToJson();
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
                    "also give the determinant exactly, as a fraction of exact factors, and a "
                    "decimal approximation");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunDet(*options); });
}

}  // namespace komath
