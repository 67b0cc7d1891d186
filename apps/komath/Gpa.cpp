// komath gpa: generalized Procrustes analysis of several shapes.
#include <cmath>
#include <memory>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "Points.h"
#include "Sample.h"
#include "math/registration/KoMpGeneralizedProcrustesAnalysis.h"
#include "math/registration/KoTransformation.h"

namespace komath {
namespace {

struct GpaOptions {
  std::vector<std::string> files;
  float tolerance = 1e-4f;
  bool singlePass = false;
  std::uint32_t reference = 0;
  bool json = false;
};

struct ShapeOrigin {
  std::string file;
  std::uint64_t line = 0;  // 0 for the built-in sample
  std::string Where() const { return line == 0 ? file : file + ":" + std::to_string(line); }
};

void RunGpa(const GpaOptions& options) {
  if (!std::isfinite(options.tolerance) || options.tolerance < 0) {
    throw UsageError("--tolerance must be finite and >= 0");
  }
  KbArray<KbArray<KbVector3f>> shapes;
  std::vector<ShapeOrigin> origins;
  if (options.files.empty()) {
    shapes = SampleShapes();
    for (unsigned i = 0; i < shapes.GetSize(); ++i) {
      origins.push_back({"built-in sample, copy " + std::to_string(i), 0});
    }
  }
  for (const std::string& file : options.files) {
    NumberReader reader(file, {.finiteOnly = true, .floatRange = true});
    std::vector<std::uint64_t> lines;
    ReadShapes(reader, shapes, lines);
    for (std::uint64_t line : lines) origins.push_back({reader.Name(), line});
  }
  const unsigned k = shapes.GetSize();
  if (k < 2) throw InputError(origins[0].file, 0, "only one shape: an analysis needs at least 2");
  const unsigned m = shapes[0].GetSize();
  for (unsigned i = 0; i < k; ++i) {
    if (shapes[i].GetSize() != m) {
      throw InputError(origins[i].Where() + ": shape " + std::to_string(i) + " has " +
                       std::to_string(shapes[i].GetSize()) + " landmarks, shape 0 (" +
                       origins[0].Where() + ") has " + std::to_string(m));
    }
  }
  if (m < 3) {
    throw InputError(origins[0].Where() + ": shapes of " + std::to_string(m) +
                     " landmarks: an analysis needs at least 3");
  }
  if (options.reference >= k) {
    throw UsageError("--reference " + std::to_string(options.reference) + ": there are only " +
                     std::to_string(k) + " shapes (numbered from 0)");
  }

  KoMpGeneralizedProcrustesAnalysis gpa;
  gpa.SetInput(shapes, options.reference);
  gpa.SetParameters(options.tolerance);
  gpa.GetFlags().Set(KoMpGeneralizedProcrustesAnalysis::eSinglePass, options.singlePass);
  gpa.GetFlags().Set(KoMpGeneralizedProcrustesAnalysis::eMeanShapeInReferenceScale);
  if (!gpa.Compute(KoAlgorithm::eComputeDefault)) {
    throw InputError("the analysis could not be computed");
  }
  KbArray<KbVector3f> mean;
  gpa.GetMeanShape(mean);
  KbArray<float> scalings;
  gpa.GetScalings(scalings);
  KbArray<KbVector3f> centers;
  gpa.GetCenters(centers);
  // The transformations map each shape onto the mean placed in the
  // reference's frame: its size and its centre.
  const KbVector3f referenceCenter = centers[options.reference];
  for (KbVector3f& p : mean) p += referenceCenter;

  std::string text = std::to_string(k) + " shapes of " + std::to_string(m) +
                     " landmarks, reference shape " + std::to_string(options.reference) +
                     ", tolerance " + Format(options.tolerance) +
                     (options.singlePass ? ", single pass" : "") + "\nrounds " +
                     std::to_string(gpa.GetRoundCount()) +
                     "\nmean shape (in the reference shape's size and place)\n";
  TextTable meanTable;
  nlohmann::json jsonMean = nlohmann::json::array();
  for (const KbVector3f& p : mean) {
    const float xyz[3] = {p.x, p.y, p.z};
    meanTable.AddNumbers("", std::span<const float>(xyz));
    jsonMean.push_back(JsonArray(std::span<const float>(xyz)));
  }
  text += meanTable.Render("");
  text += "each shape onto the mean:  mean = s * shape * R + t  (row vectors)\n";
  nlohmann::json jsonShapes = nlohmann::json::array();
  for (unsigned i = 0; i < k; ++i) {
    KoTransformation transformation;
    gpa.GetOutputOfShape(i, transformation);
    const KbMatrix4Rf& matrix = transformation.GetMatrix();
    KbArray<KbVector3d> moved(m);
    for (unsigned j = 0; j < m; ++j) moved[j] = Apply(matrix, shapes[i][j]);
    const float rms = float(Residuals(mean, moved).rms);
    TextTable table;
    nlohmann::json rotation = nlohmann::json::array();
    for (unsigned r = 0; r < 3; ++r) {
      const std::span<const float> row(&transformation.GetRotation()(r, 0), 3);
      table.AddNumbers(r == 0 ? "rotation R" : "", row);
      rotation.push_back(JsonArray(row));
    }
    const std::span<const float> t(&matrix(3, 0), 3);
    table.AddNumbers("translation t", t);
    table.Add({"scale s", Format(transformation.GetScaling().x)});
    table.Add({"rms to mean", Format(rms)});
    text += "shape " + std::to_string(i) + " (" + origins[i].Where() + ")\n" + table.Render("  ");
    nlohmann::json jsonMatrix = nlohmann::json::array();
    for (unsigned r = 0; r < 4; ++r) {
      jsonMatrix.push_back(JsonArray(std::span<const float>(&matrix(r, 0), 4)));
    }
    jsonShapes.push_back({{"source", origins[i].Where()},
                          {"rotation", rotation},
                          {"translation", JsonArray(t)},
                          {"scale", Json(transformation.GetScaling().x)},
                          {"matrix", jsonMatrix},
                          {"rms_to_mean", Json(rms)}});
  }
  const nlohmann::json json{{"shapes", jsonShapes},
                            {"landmarks", m},
                            {"reference", options.reference},
                            {"rounds", gpa.GetRoundCount()},
                            {"mean_shape", jsonMean}};
  Emit(text, json, options.json);
}

}  // namespace

void AddGpaCommand(CLI::App& app) {
  auto options = std::make_shared<GpaOptions>();
  CLI::App* command = app.add_subcommand(
      "gpa", "generalized Procrustes analysis of several shapes (built-in sample without files)");
  command->add_option("FILE", options->files,
                      "shapes of corresponding 'x y [z]' landmarks: one per file, or several "
                      "separated by blank lines ('-': standard input)");
  command->add_option("--tolerance", options->tolerance,
                      "stop when no mean landmark moves farther than this (default 1e-4)");
  command->add_flag("--single-pass", options->singlePass,
                    "align every shape to the reference once, without iterating the mean");
  command->add_option("--reference", options->reference,
                      "index of the shape that seeds the mean (default 0)");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunGpa(*options); });
}

}  // namespace komath
