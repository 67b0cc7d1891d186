// komath gpa: generalized Procrustes analysis of several shapes.
#include <cmath>
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

struct GpaCommandOptions {
  std::vector<std::string> files;
  double tolerance = GpaOptions().tolerance;
  bool partial = false;
  bool rigid = false;
  bool allowReflection = false;
  std::size_t reference = 0;
  std::string aligned, svg;
  bool json = false;
};

const char* MethodName(GpaMethod method) {
  switch (method) {
    case GpaMethod::eFull:
      return "full";
    case GpaMethod::ePartial:
      return "partial";
    default:
      return "rigid";
  }
}

// One shape per block of "x y [z]" lines, blocks separated by a blank line:
// the layout gpa reads, so the file is its own valid input.
std::string AlignedText(const GpaResult& result) {
  const std::size_t d = result.dimension, m = result.landmarks;
  std::string text;
  for (std::size_t i = 0; i < result.shapes; ++i) {
    if (i > 0) text += "\n";
    for (std::size_t j = 0; j < m; ++j) {
      for (std::size_t c = 0; c < d; ++c) {
        text += (c == 0 ? "" : " ") + Format(result.aligned[(i * m + j) * d + c]);
      }
      text += "\n";
    }
  }
  return text;
}

void RunGpa(const GpaCommandOptions& options) {
  if (!std::isfinite(options.tolerance) || options.tolerance < 0) {
    throw UsageError("--tolerance must be finite and >= 0");
  }
  GpaOptions api;
  api.method = options.rigid     ? GpaMethod::eRigid
               : options.partial ? GpaMethod::ePartial
                                 : GpaMethod::eFull;
  api.tolerance = options.tolerance;
  api.reference = options.reference;
  api.allowReflection = options.allowReflection;

  ShapeSet shapes;
  if (options.files.empty()) {
    for (const KbArray<KbVector3f>& shape : SampleShapes()) {
      const PointSet points = Widen(shape);
      shapes.points.coordinates.insert(shapes.points.coordinates.end(), points.coordinates.begin(),
                                       points.coordinates.end());
      shapes.origins.push_back("built-in sample, copy " + std::to_string(shapes.Count()));
    }
    shapes.landmarks = shapes.points.Count() / shapes.Count();
  }
  for (const std::string& file : options.files) {
    NumberReader reader(file);
    ReadShapes(reader, shapes);
  }
  const std::size_t k = shapes.Count(), m = shapes.landmarks, d = shapes.points.dimension;
  if (k < 2) throw InputError(shapes.origins[0] + ": only one shape: an analysis needs at least 2");
  if (m < 3) {
    throw InputError(shapes.origins[0] + ": shapes of " + std::to_string(m) +
                     " landmarks: an analysis needs at least 3");
  }
  if (options.reference >= k) {
    throw UsageError("--reference " + std::to_string(options.reference) + ": there are only " +
                     std::to_string(k) + " shapes (numbered from 0)");
  }
  const GpaResult result = Gpa(shapes.points.coordinates, k, m, d, api);

  std::string text = std::to_string(k) + " shapes of " + std::to_string(m) + " landmarks" +
                     (d == 2 ? " in the plane" : "") + ", " + MethodName(api.method) +
                     " Procrustes, reference shape " + std::to_string(options.reference) +
                     ", tolerance " + Format(options.tolerance) + "\nrounds " +
                     std::to_string(result.rounds) +
                     "\nmean shape (in the reference shape's size and place)\n";
  TextTable meanTable;
  nlohmann::json jsonMean = nlohmann::json::array();
  for (std::size_t j = 0; j < m; ++j) {
    const std::span<const double> p(&result.mean[j * d], d);
    meanTable.AddNumbers("", p);
    jsonMean.push_back(JsonArray(p));
  }
  text += meanTable.Render("");
  text += "each shape onto the mean:  aligned = s * shape * R + t  (row vectors)\n";
  nlohmann::json jsonShapes = nlohmann::json::array(), jsonAligned = nlohmann::json::array();
  for (std::size_t i = 0; i < k; ++i) {
    double squares = 0;
    nlohmann::json points = nlohmann::json::array();
    for (std::size_t j = 0; j < m; ++j) {
      const std::span<const double> p(&result.aligned[(i * m + j) * d], d);
      for (std::size_t c = 0; c < d; ++c) squares += std::pow(p[c] - result.mean[j * d + c], 2);
      points.push_back(JsonArray(p));
    }
    jsonAligned.push_back(points);
    const double rms = std::sqrt(squares / double(m));
    TextTable table;
    nlohmann::json rotation = nlohmann::json::array();
    for (std::size_t r = 0; r < d; ++r) {
      const std::span<const double> row(&result.rotations[(i * d + r) * d], d);
      table.AddNumbers(r == 0 ? "rotation R" : "", row);
      rotation.push_back(JsonArray(row));
    }
    const std::span<const double> t(&result.translations[i * d], d);
    table.AddNumbers("translation t", t);
    table.Add({"scale s", Format(result.scales[i])});
    table.Add({"rms to mean", Format(rms)});
    text += "shape " + std::to_string(i) + " (" + shapes.origins[i] + ")\n" + table.Render("  ");
    jsonShapes.push_back({{"source", shapes.origins[i]},
                          {"rotation", rotation},
                          {"translation", JsonArray(t)},
                          {"scale", Json(result.scales[i])},
                          {"rms_to_mean", Json(rms)}});
  }
  const nlohmann::json json{{"shapes", jsonShapes},
                            {"landmarks", m},
                            {"dimension", d},
                            {"method", MethodName(api.method)},
                            {"reference", options.reference},
                            {"rounds", result.rounds},
                            {"mean_shape", jsonMean},
                            {"aligned", jsonAligned}};
  if (!options.aligned.empty()) WriteOutputFile(options.aligned, AlignedText(result));
  if (!options.svg.empty()) {
    WriteOutputFile(options.svg, GpaSvg(PointSet{d, result.aligned}, m, PointSet{d, result.mean}));
  }
  Emit(text, json, options.json);
}

}  // namespace

void AddGpaCommand(CLI::App& app) {
  auto options = std::make_shared<GpaCommandOptions>();
  CLI::App* command = app.add_subcommand(
      "gpa", "generalized Procrustes analysis of several shapes (built-in sample without files)");
  command->add_option("FILE", options->files,
                      "shapes of corresponding 'x y [z]' landmarks: one per file, or several "
                      "separated by blank lines ('-': standard input); two columns are shapes in "
                      "the plane");
  CLI::Option* partial = command->add_flag(
      "--partial", options->partial, "the partial Procrustes estimator: every shape at unit size");
  CLI::Option* rigid =
      command->add_flag("--rigid", options->rigid, "no scaling at all: rotations and translations");
  partial->excludes(rigid);
  command->add_option("--tolerance", options->tolerance,
                      "stop when no landmark of the mean moves farther than this, in units of the "
                      "unit-size mean (default 1e-6; the rigid mean is in units of the reference "
                      "shape's size)");
  command->add_option("--reference", options->reference,
                      "index of the shape that seeds the mean and whose size and place the "
                      "results take (default 0)");
  command->add_flag("--allow-reflection", options->allowReflection,
                    "allow reflections instead of proper rotations (also in the plane)");
  AddOutputFileOption(*command, "--aligned", options->aligned,
                      "write the aligned shapes, one block of 'x y [z]' lines per shape");
  AddOutputFileOption(*command, "--svg", options->svg,
                      "draw the aligned shapes over the mean (SVG)");
  command->footer(
      "The default is the full Procrustes estimator (each shape scaled by its least-squares "
      "scale onto the mean, as in morphometrics). Shapes in the plane (two columns, or every "
      "z = 0) are never reflected unless --allow-reflection. Every shape is centred and scaled "
      "to unit size in double before the float library aligns it; the results are mapped back "
      "in double.");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunGpa(*options); });
}

}  // namespace komath
