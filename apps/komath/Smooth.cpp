// komath smooth: tent-kernel smoothing of irregular samples.
//
// Memory: the positions and values in double, smoothed in place, plus the
// library's float copy of them (4 bytes a number); the output is written
// as it is produced.
#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "Fitting.h"
#include "Output.h"
#include "Reader.h"
#include "Stream.h"

namespace komath {
namespace {

struct SmoothOptions {
  std::string file;
  double halfWidth{};
  std::optional<double> period;
  bool json = false;
};

void RunSmooth(const SmoothOptions& options) {
  if (!std::isfinite(options.halfWidth) || options.halfWidth < 0) {
    throw UsageError("--half-width must be finite and >= 0");
  }
  if (options.period && !(std::isfinite(*options.period) && *options.period > 0)) {
    throw UsageError("--period must be finite and > 0");
  }
  NumberReader reader(options.file);
  Column positions, values;
  // Of the first and the latest row; set when the first row is read.
  double first{}, last{};
  std::uint64_t previousLine{};
  const std::size_t width =
      ReadTable(reader, 2, 4, "position value [value [value]]", [&](std::span<const double> row) {
        const double position = row[0];
        if (positions.Size() == 0) first = position;
        if (positions.Size() > 0 && position < last) {
          reader.Fail("position " + Format(position) + " is smaller than the one on line " +
                      std::to_string(previousLine) + ": positions must not decrease");
        }
        if (options.period && position - first >= *options.period) {
          reader.Fail("position " + Format(position) + " lies a period or more after the first (" +
                      Format(first) + "): on a circle all positions must lie within one period");
        }
        positions.PushBack(position);
        for (std::size_t c = 1; c < row.size(); ++c) values.PushBack(row[c]);
        last = position;
        previousLine = reader.Line();
      });
  const std::size_t components = width - 1;
  const std::vector<double> x = std::move(positions).Drain();
  std::vector<double> y = std::move(values).Drain();
  Smooth(x, y, components, options.halfWidth, options.period, y);

  StreamWriter out;
  const std::size_t n = x.size();
  if (options.json) {
    out.Write("{\n");
    out.Member("half_width", Json(options.halfWidth));
    out.Member("period", options.period ? Json(*options.period) : nlohmann::json(nullptr));
    out.ArrayMember("positions", x);
    // One number per sample, or an array of the components.
    out.Write("  \"values\": [");
    for (std::size_t i = 0; i < n; ++i) {
      out.Write(i == 0 ? "\n    " : ",\n    ");
      if (components == 1) {
        out.Write(Format(y[i]));
        continue;
      }
      out.Write("[");
      for (std::size_t c = 0; c < components; ++c) {
        out.Write((c == 0 ? "" : ", ") + Format(y[i * components + c]));
      }
      out.Write("]");
    }
    out.Write("\n  ]\n}\n");
  } else {
    StreamedTable table("");
    for (std::size_t i = 0; i < n; ++i) {
      std::vector<std::string> row{Format(x[i])};
      for (std::size_t c = 0; c < components; ++c) row.push_back(Format(y[i * components + c]));
      table.Add(std::move(row));
    }
    table.Finish();
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
      "last values continue to infinity. The library smooths in float: positions and values "
      "are centred and scaled in double first, so large offsets keep their digits.");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunSmooth(*options); });
}

}  // namespace komath
