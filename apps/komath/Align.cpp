// komath align: Procrustes alignment of a source point set onto a target.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "Points.h"
#include "Registration.h"
#include "Sample.h"
#include "Svg.h"

namespace komath {
namespace {

struct AlignCommandOptions {
  std::vector<std::string> files;
  std::string scale;  // empty: rigid; "least-squares" or "ratio"
  bool allowReflection = false;
  bool planar = false;
  bool translationOnly = false;
  std::string svg;
  bool timing = false;
  bool json = false;
};

constexpr std::uint32_t c_sampleSeed = 20240601;

using Clock = std::chrono::steady_clock;
double Seconds(Clock::time_point from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}
// Processor time of this process: on a busy machine it shows the work
// itself, where the wall clock also counts the waits for a core.
double CpuSeconds() {
  return double(std::clock()) / CLOCKS_PER_SEC;
}

// Rows of a d x d matrix (row after row) as table rows and JSON.
nlohmann::json AddMatrix(TextTable& table, const std::string& label, std::span<const double> m,
                         std::size_t d) {
  nlohmann::json rows = nlohmann::json::array();
  for (std::size_t r = 0; r < d; ++r) {
    const std::span<const double> row = m.subspan(r * d, d);
    table.AddNumbers(r == 0 ? label : "", row);
    rows.push_back(JsonArray(row));
  }
  return rows;
}

AlignOptions::Scale ScaleMode(const std::string& name) {
  if (name.empty()) return AlignOptions::Scale::eNone;
  if (name == "least-squares") return AlignOptions::Scale::eLeastSquares;
  if (name == "ratio") return AlignOptions::Scale::eRatio;
  throw UsageError("--scale=" + name + ": the scale is 'least-squares' (plain --scale) or 'ratio'");
}

void RunAlign(const AlignCommandOptions& options) {
  if (options.files.size() == 1) {
    throw UsageError("align needs two files, TARGET and SOURCE (or none for the built-in sample)");
  }
  AlignOptions api;
  api.scale = ScaleMode(options.scale);
  api.allowReflection = options.allowReflection;
  api.planar = options.planar;
  api.translationOnly = options.translationOnly;

  const bool sample = options.files.empty();
  std::string heading;
  PointSet target, source;
  Motion known;
  const Clock::time_point readStart = Clock::now();
  const double readCpuStart = CpuSeconds();
  std::uint64_t bytes{};  // none for the sample
  if (sample) {
    known = SampleMotion(options.planar, options.translationOnly, !options.scale.empty());
    const KbArray<KbVector3f> shape = SampleShape();
    source = Widen(shape);
    target = Widen(MovedCopy(shape, known, c_sampleSeed));
    heading = "built-in sample: " + std::to_string(source.Count()) +
              " landmarks of a house (source) and a copy moved by a known motion plus normal "
              "noise of sd " +
              Format(c_sampleNoise) + " (target)\n";
  } else {
    NumberReader targetReader(options.files[0]);
    target = ReadPoints(targetReader);
    NumberReader sourceReader(options.files[1]);
    source = ReadPoints(sourceReader);
    bytes = targetReader.BytesRead() + sourceReader.BytesRead();
    if (target.Count() != source.Count()) {
      throw InputError(sourceReader.Name() + " has " + std::to_string(source.Count()) +
                       " points, " + targetReader.Name() + " has " +
                       std::to_string(target.Count()) +
                       ": corresponding point sets need equal counts");
    }
    if (target.dimension != source.dimension) {
      throw InputError(sourceReader.Name() + " has " + std::to_string(source.dimension) +
                       " coordinates per point, " + targetReader.Name() + " has " +
                       std::to_string(target.dimension) + ": both sets need one dimension");
    }
    if (target.Count() < 3) {
      throw InputError(
          targetReader.Name(), 0,
          "only " + std::to_string(target.Count()) + " points: an alignment needs at least 3");
    }
    heading = std::to_string(target.Count()) + " point pairs" +
              (target.dimension == 2 ? " in the plane, " : ", ") + sourceReader.Name() +
              " (source) onto " + targetReader.Name() + " (target)\n";
  }
  const double readSeconds = Seconds(readStart);
  const double readCpu = CpuSeconds() - readCpuStart;

  const Clock::time_point computeStart = Clock::now();
  const double computeCpuStart = CpuSeconds();
  const std::size_t d = target.dimension;
  const AlignResult result = Align(target.coordinates, source.coordinates, d, api);
  const double computeSeconds = Seconds(computeStart);
  const double computeCpu = CpuSeconds() - computeCpuStart;

  std::vector<std::string> flagNames;
  if (api.scale == AlignOptions::Scale::eLeastSquares) flagNames.push_back("scale");
  if (api.scale == AlignOptions::Scale::eRatio) flagNames.push_back("scale=ratio");
  if (options.allowReflection) flagNames.push_back("allow-reflection");
  if (options.planar) flagNames.push_back("planar");
  if (options.translationOnly) flagNames.push_back("translation-only");

  nlohmann::json json{{"points", target.Count()}, {"dimension", d}, {"flags", flagNames}};
  std::string text = heading +
                     "the source maps onto the target as  target = s * source * R + t"
                     "  = (source, 1) * M  (row vectors)\n";
  TextTable table;
  json["rotation"] = AddMatrix(table, "rotation R", result.rotation, d);
  table.AddNumbers("translation t", std::span<const double>(result.translation));
  table.Add({"scale s", Format(result.scale)});
  json["translation"] = JsonArray(std::span<const double>(result.translation));
  json["scale"] = Json(result.scale);
  json["matrix"] = AddMatrix(table, "matrix M", result.matrix, 4);
  text += table.Render("");
  TextTable residuals;
  residuals.Add({"residual", "rms", "max"});
  residuals.Add({"  before", Format(result.rmsBefore), Format(result.maxBefore)});
  residuals.Add({"  after", Format(result.rmsAfter), Format(result.maxAfter)});
  text += residuals.Render("");
  json["residuals"] = {
      {"before", {{"rms", Json(result.rmsBefore)}, {"max", Json(result.maxBefore)}}},
      {"after", {{"rms", Json(result.rmsAfter)}, {"max", Json(result.maxAfter)}}}};

  if (sample) {
    TextTable knownTable;
    nlohmann::json jsonKnown;
    std::vector<double> rotation;
    for (unsigned r = 0; r < 3; ++r) {
      for (unsigned c = 0; c < 3; ++c) rotation.push_back(known.rotation(r, c));
    }
    const double t[3] = {known.translation.x, known.translation.y, known.translation.z};
    jsonKnown["rotation"] = AddMatrix(knownTable, "rotation R", rotation, 3);
    knownTable.AddNumbers("translation t", std::span<const double>(t));
    knownTable.Add({"scale s", Format(known.scale)});
    jsonKnown["translation"] = JsonArray(std::span<const double>(t));
    jsonKnown["scale"] = Json(known.scale);
    jsonKnown["noise_sd"] = c_sampleNoise;
    double shift = 0;
    for (unsigned c = 0; c < 3; ++c) shift += std::pow(result.translation[c] - t[c], 2);
    text += "known motion (what the sample applied)\n" + knownTable.Render("") +
            "recovered vs known: rotation differs by " +
            Format(RotationAngleBetween(result.rotation, rotation)) + " rad, translation by " +
            Format(std::sqrt(shift)) + ", scale by " + Format(result.scale - known.scale) + "\n";
    json["known"] = jsonKnown;
  }

  const Clock::time_point svgStart = Clock::now();
  if (!options.svg.empty()) {
    PointSet moved{d, std::vector<double>(source.coordinates.size())};
    for (std::size_t i = 0; i < source.Count(); ++i) {
      for (std::size_t c = 0; c < d; ++c) {
        double value = result.matrix[12 + c];
        for (std::size_t e = 0; e < d; ++e) {
          value += source.coordinates[i * d + e] * result.matrix[4 * e + c];
        }
        moved.coordinates[i * d + c] = value;
      }
    }
    WriteOutputFile(options.svg, AlignmentSvg(target, source, moved));
  }
  if (options.timing) {
    std::fprintf(stderr,
                 "timing: read %.1f MB in %.3f s (%.0f MB/s; processor time %.3f s, %.0f MB/s), "
                 "align %.3f s (processor time %.3f s), picture %.3f s\n",
                 bytes / 1e6, readSeconds, readSeconds > 0 ? bytes / 1e6 / readSeconds : 0.0,
                 readCpu, readCpu > 0 ? bytes / 1e6 / readCpu : 0.0, computeSeconds, computeCpu,
                 Seconds(svgStart));
  }
  Emit(text, json, options.json);
}

}  // namespace

void AddAlignCommand(CLI::App& app) {
  auto options = std::make_shared<AlignCommandOptions>();
  CLI::App* command = app.add_subcommand(
      "align", "Procrustes alignment of SOURCE onto TARGET (built-in sample without files)");
  command
      ->add_option("TARGET SOURCE", options->files,
                   "corresponding points, one 'x y [z]' per line ('-': standard input); two "
                   "columns are points in the plane")
      ->expected(0, 2);
  command->add_flag("--scale{least-squares}", options->scale,
                    "also find a uniform scale: the least-squares similarity scale, or with "
                    "--scale=ratio the ratio of the two sets' sizes");
  command->add_flag("--allow-reflection", options->allowReflection,
                    "allow a reflection instead of a proper rotation (also in the plane)");
  command->add_flag("--planar", options->planar, "rotate about the z axis only");
  command->add_flag("--translation-only", options->translationOnly,
                    "match the centroids only, no rotation");
  AddOutputFileOption(*command, "--svg", options->svg,
                      "write a picture of both sets before and after alignment (SVG)");
  command->add_flag("--timing", options->timing,
                    "report the time spent reading and aligning on standard error");
  command->footer(
      "Points are rows: the source maps as s * source * R + t. Planar input (two columns, or "
      "every z = 0) is never reflected unless --allow-reflection. Both sets are centred and "
      "scaled to unit size in double before the float library aligns them; the scale, the "
      "translation and the residuals are computed in double on the given coordinates.");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunAlign(*options); });
}

}  // namespace komath
