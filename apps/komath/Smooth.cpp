// komath smooth: tent-kernel smoothing of irregular samples.
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "Reader.h"
#include "math/numerics/KoFtArrayConvolution.h"

namespace komath {
namespace {

struct SmoothOptions {
  std::string file;
  float halfWidth = 0;
  std::optional<float> period;
  bool json = false;
};

// Value columns per sample of each value type of the convolution.
template <class T>
constexpr unsigned c_components = 3;
template <>
constexpr unsigned c_components<float> = 1;
template <>
constexpr unsigned c_components<KbVector2f> = 2;

template <class T>
float& Component(T& value, unsigned i) {
  if constexpr (std::is_same_v<T, float>) {
    return value;
  } else {
    return value[i];
  }
}

// Runs the convolution with the value type of `columns` value columns and
// prints position and smoothed values per sample.
template <class T>
void SmoothAndPrint(const SmoothOptions& options, const std::string& name,
                    const KbArray<float>& positions, const std::vector<float>& columns) {
  constexpr unsigned n = c_components<T>;
  KbArray<T> values(positions.GetSize());
  for (unsigned i = 0; i < values.GetSize(); ++i) {
    for (unsigned c = 0; c < n; ++c) Component(values[i], c) = columns[std::size_t(i) * n + c];
  }
  KoFtArrayConvolution<T> convolution;
  convolution.SetInput(options.halfWidth, positions, options.period.has_value(),
                       options.period.value_or(0.0f), values);
  if (!convolution.Compute(KoAlgorithm::eComputeDefault)) {
    throw InputError(name, 0,
                     "the smoothing could not be computed (the half-width may span more than " +
                         Format(KoFtArrayConvolution<T>::c_fMaxPeriodsPerHalfWidth) + " periods)");
  }
  TextTable table;
  nlohmann::json smoothed = nlohmann::json::array();
  for (unsigned i = 0; i < values.GetSize(); ++i) {
    std::vector<std::string> row{Format(positions[i])};
    nlohmann::json jsonRow = nlohmann::json::array();
    for (unsigned c = 0; c < n; ++c) {
      row.push_back(Format(Component(values[i], c)));
      jsonRow.push_back(Json(Component(values[i], c)));
    }
    table.Add(std::move(row));
    smoothed.push_back(n == 1 ? jsonRow[0] : jsonRow);
  }
  nlohmann::json json{
      {"half_width", Json(options.halfWidth)},
      {"period", options.period ? Json(*options.period) : nlohmann::json(nullptr)},
      {"positions", JsonArray(std::span<const float>(positions.GetData(), positions.GetSize()))},
      {"values", smoothed}};
  Emit(table.Render(""), json, options.json);
}

void RunSmooth(const SmoothOptions& options) {
  if (!std::isfinite(options.halfWidth) || options.halfWidth < 0) {
    throw UsageError("--half-width must be finite and >= 0");
  }
  if (options.period && !(std::isfinite(*options.period) && *options.period > 0)) {
    throw UsageError("--period must be finite and > 0");
  }
  NumberReader reader(options.file, {.finiteOnly = true, .floatRange = true});
  KbArray<float> positions;
  std::vector<float> columns;
  std::uint64_t previousLine = 0;
  const std::size_t width =
      ReadTable(reader, 2, 4, "position value [value [value]]", [&](std::span<const double> row) {
        const float position = float(row[0]);
        if (!positions.IsEmpty() && position < positions[positions.GetSize() - 1]) {
          reader.Fail("position " + Format(position) + " is smaller than the one on line " +
                      std::to_string(previousLine) + ": positions must not decrease");
        }
        if (options.period && !positions.IsEmpty() && position - positions[0] >= *options.period) {
          reader.Fail("position " + Format(position) + " lies a period or more after the first (" +
                      Format(positions[0]) +
                      "): on a circle all positions must lie within one period");
        }
        positions.PushBack(position);
        for (std::size_t c = 1; c < row.size(); ++c) columns.push_back(float(row[c]));
        previousLine = reader.Line();
      });
  switch (width - 1) {
    case 1:
      SmoothAndPrint<float>(options, reader.Name(), positions, columns);
      break;
    case 2:
      SmoothAndPrint<KbVector2f>(options, reader.Name(), positions, columns);
      break;
    default:
      SmoothAndPrint<KbVector3f>(options, reader.Name(), positions, columns);
      break;
  }
}

}  // namespace

void AddSmoothCommand(CLI::App& app) {
  auto options = std::make_shared<SmoothOptions>();
  CLI::App* command = app.add_subcommand(
      "smooth", "tent-kernel smoothing of 'position value...' rows (1 to 3 value columns)");
  command
      ->add_option("-w,--half-width", options->halfWidth,
                   "half-width h of the tent kernel, in position units")
      ->required();
  command->add_option("-p,--period", options->period,
                      "the positions lie on a circle of this length (periodic data)");
  command
      ->add_option("FILE", options->file,
                   "samples, one 'position value...' per line, positions not decreasing "
                   "('-': standard input)")
      ->required();
  command->footer(
      "Each sample's value holds on its cell (midpoint to midpoint); that step function is "
      "convolved exactly with the tent 1 - |u| of half-width h. On an open line the first and "
      "last values continue to infinity.");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunSmooth(*options); });
}

}  // namespace komath
