// komath align: Procrustes alignment of a source point set onto a target.
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
#include "Sample.h"
#include "Svg.h"
#include "math/registration/KoProcrustes.h"
#include "math/registration/KoTransformation.h"

namespace komath {
namespace {

struct AlignOptions {
  std::vector<std::string> files;
  bool scale = false;
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

// Rotation, translation and scale as rows of a text table and as JSON.
void AddMotion(TextTable& table, nlohmann::json& json, const KbMatrix4Rf& rotation,
               const KbVector3f& translation, float scale) {
  nlohmann::json rows = nlohmann::json::array();
  for (unsigned r = 0; r < 3; ++r) {
    const float row[3] = {rotation(r, 0), rotation(r, 1), rotation(r, 2)};
    table.AddNumbers(r == 0 ? "rotation R" : "", std::span<const float>(row));
    rows.push_back(JsonArray(std::span<const float>(row)));
  }
  const float t[3] = {translation.x, translation.y, translation.z};
  table.AddNumbers("translation t", std::span<const float>(t));
  table.Add({"scale s", Format(scale)});
  json["rotation"] = rows;
  json["translation"] = JsonArray(std::span<const float>(t));
  json["scale"] = Json(scale);
}

void RunAlign(const AlignOptions& options) {
  if (options.files.size() == 1) {
    throw UsageError("align needs two files, TARGET and SOURCE (or none for the built-in sample)");
  }
  const bool sample = options.files.empty();
  std::string heading;
  KbArray<KbVector3f> target;
  KbArray<KbVector3f> source;
  Motion known;
  const Clock::time_point readStart = Clock::now();
  const double readCpuStart = CpuSeconds();
  std::uint64_t bytes = 0;
  if (sample) {
    known = SampleMotion(options.planar, options.translationOnly, options.scale);
    source = SampleShape();
    target = MovedCopy(source, known, c_sampleSeed);
    heading = "built-in sample: " + std::to_string(source.GetSize()) +
              " landmarks of a house (source) and a copy moved by a known motion plus normal "
              "noise of sd " +
              Format(c_sampleNoise) + " (target)\n";
  } else {
    NumberReader targetReader(options.files[0], {.finiteOnly = true, .floatRange = true});
    ReadPoints(targetReader, target);
    NumberReader sourceReader(options.files[1], {.finiteOnly = true, .floatRange = true});
    ReadPoints(sourceReader, source);
    bytes = targetReader.BytesRead() + sourceReader.BytesRead();
    if (target.GetSize() != source.GetSize()) {
      throw InputError(sourceReader.Name() + " has " + std::to_string(source.GetSize()) +
                       " points, " + targetReader.Name() + " has " +
                       std::to_string(target.GetSize()) +
                       ": corresponding point sets need equal counts");
    }
    if (target.GetSize() < 3) {
      throw InputError(
          targetReader.Name(), 0,
          "only " + std::to_string(target.GetSize()) + " points: an alignment needs at least 3");
    }
    heading = std::to_string(target.GetSize()) + " point pairs, " + sourceReader.Name() +
              " (source) onto " + targetReader.Name() + " (target)\n";
  }
  const double readSeconds = Seconds(readStart);
  const double readCpu = CpuSeconds() - readCpuStart;

  const Clock::time_point computeStart = Clock::now();
  const double computeCpuStart = CpuSeconds();
  KoProcrustes procrustes;
  procrustes.SetInput(target, source);
  auto& flags = procrustes.GetFlags();
  flags.Set(KoProcrustes::eNormalizeScale, options.scale);
  flags.Set(KoProcrustes::eApplyScaling, options.scale);
  flags.Set(KoProcrustes::eAllowReflection, options.allowReflection);
  flags.Set(KoProcrustes::ePlanar, options.planar);
  flags.Set(KoProcrustes::eTranslationOnly, options.translationOnly);
  if (!procrustes.Compute(KoAlgorithm::eComputeDefault)) {
    throw InputError("the alignment could not be computed");
  }
  KoTransformation transformation;
  procrustes.GetOutput(transformation);
  const double computeSeconds = Seconds(computeStart);
  const double computeCpu = CpuSeconds() - computeCpuStart;

  const KbMatrix4Rf& matrix = transformation.GetMatrix();
  const KbVector3f translation(matrix(3, 0), matrix(3, 1), matrix(3, 2));
  const float scale = transformation.GetScaling().x;
  KbArray<KbVector3d> identity(source.GetSize());
  KbArray<KbVector3d> moved(source.GetSize());
  for (unsigned i = 0; i < source.GetSize(); ++i) {
    identity[i] = {source[i].x, source[i].y, source[i].z};
    moved[i] = Apply(matrix, source[i]);
  }
  const ResidualStats before = Residuals(target, identity);
  const ResidualStats after = Residuals(target, moved);
  identity = {};

  std::vector<std::string> flagNames;
  if (options.scale) flagNames.push_back("scale");
  if (options.allowReflection) flagNames.push_back("allow-reflection");
  if (options.planar) flagNames.push_back("planar");
  if (options.translationOnly) flagNames.push_back("translation-only");

  nlohmann::json json{{"points", target.GetSize()}, {"flags", flagNames}};
  std::string text = heading +
                     "the source maps onto the target as  target = s * source * R + t"
                     "  = (source, 1) * M  (row vectors)\n";
  TextTable table;
  AddMotion(table, json, transformation.GetRotation(), translation, scale);
  nlohmann::json jsonMatrix = nlohmann::json::array();
  for (unsigned r = 0; r < 4; ++r) {
    const std::span<const float> row(&matrix(r, 0), 4);
    table.AddNumbers(r == 0 ? "matrix M" : "", row);
    jsonMatrix.push_back(JsonArray(row));
  }
  json["matrix"] = jsonMatrix;
  text += table.Render("");
  TextTable residuals;
  residuals.Add({"residual", "rms", "max"});
  // Measured in double, reported in the points' own precision.
  const float stats[4] = {float(before.rms), float(before.max), float(after.rms), float(after.max)};
  residuals.Add({"  before", Format(stats[0]), Format(stats[1])});
  residuals.Add({"  after", Format(stats[2]), Format(stats[3])});
  text += residuals.Render("");
  json["residuals"] = {{"before", {{"rms", Json(stats[0])}, {"max", Json(stats[1])}}},
                       {"after", {{"rms", Json(stats[2])}, {"max", Json(stats[3])}}}};

  if (sample) {
    TextTable knownTable;
    nlohmann::json jsonKnown;
    AddMotion(knownTable, jsonKnown, known.rotation, known.translation, known.scale);
    const float angle = float(RotationAngleBetween(transformation.GetRotation(), known.rotation));
    const float shift = std::sqrt((translation - known.translation).SquaredLength());
    text += "known motion (what the sample applied)\n" + knownTable.Render("") +
            "recovered vs known: rotation differs by " + Format(angle) + " rad, translation by " +
            Format(shift) + ", scale by " + Format(scale - known.scale) + "\n";
    jsonKnown["noise_sd"] = c_sampleNoise;
    json["known"] = jsonKnown;
  }

  const Clock::time_point svgStart = Clock::now();
  if (!options.svg.empty()) WriteOutputFile(options.svg, AlignmentSvg(target, source, moved));
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
  auto options = std::make_shared<AlignOptions>();
  CLI::App* command = app.add_subcommand(
      "align", "Procrustes alignment of SOURCE onto TARGET (built-in sample without files)");
  command
      ->add_option("TARGET SOURCE", options->files,
                   "corresponding points, one 'x y [z]' per line ('-': standard input)")
      ->expected(0, 2);
  command->add_flag("--scale", options->scale,
                    "also find a uniform scale (normalise both sets, apply the ratio)");
  command->add_flag("--allow-reflection", options->allowReflection,
                    "allow a reflection instead of a proper rotation");
  command->add_flag("--planar", options->planar, "rotate about the z axis only");
  command->add_flag("--translation-only", options->translationOnly,
                    "match the centroids only, no rotation");
  command->add_option("--svg", options->svg,
                      "write a picture of both sets before and after alignment (SVG)");
  command->add_flag("--timing", options->timing,
                    "report the time spent reading and aligning on standard error");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunAlign(*options); });
}

}  // namespace komath
