// komath fit: weighted least-squares polynomial fit of x y [sigma] rows.
#include <cmath>
#include <memory>

#include "Commands.h"
#include "Output.h"
#include "Reader.h"
#include "math/tables/KoPolynomFit.h"

namespace komath {
namespace {

struct FitOptions {
  std::string file;
  unsigned int degree = 1;
  bool json = false;
};

void RunFit(const FitOptions& options) {
  NumberReader reader(options.file, {.finiteOnly = true, .floatRange = true});
  KbArray<KoPoint<float>> points;
  KbArray<float> sigmas;
  const std::size_t columns =
      ReadTable(reader, 2, 3, "x y [sigma]", [&](std::span<const double> row) {
        const float sigma = row.size() == 3 ? float(row[2]) : 1.0f;
        if (!(sigma > 0)) reader.Fail("sigma " + Format(row[2]) + " is not positive");
        points.PushBack(KoPoint<float>(float(row[0]), float(row[1])));
        sigmas.PushBack(sigma);
      });
  if (points.GetSize() <= options.degree) {
    throw InputError(reader.Name(), 0,
                     "a fit of degree " + std::to_string(options.degree) + " needs at least " +
                         std::to_string(options.degree + 1) + " points, the file has " +
                         std::to_string(points.GetSize()));
  }
  KbArray<float> coefficients;
  KoPolynomFit<float> fit;
  fit.SetInput(points, sigmas, options.degree, coefficients);
  if (!fit.Compute(KoAlgorithm::eComputeDefault)) {
    throw InputError(reader.Name(), 0, "the fit could not be computed");
  }
  const float chiSquare = fit.GetOutput();

  // Fitted values as the fit's own chi-square forms them: the sum of
  // c[k]·x^k from k = 0 up, the powers by repeated multiplication, in float.
  KbArray<float> fitted(points.GetSize());
  KbArray<float> residuals(points.GetSize());
  double sumSquares = 0;
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    float value = 0;
    float power = 1;
    for (unsigned int k = 0; k < coefficients.GetSize(); ++k, power = points[i].x * power) {
      value += coefficients[k] * power;
    }
    fitted[i] = value;
    residuals[i] = points[i].y - value;
    sumSquares += double(residuals[i]) * residuals[i];
  }
  // Summed in double, reported in the data's own precision.
  const float rms = float(std::sqrt(sumSquares / points.GetSize()));

  const std::span<const float> c(coefficients.GetData(), coefficients.GetSize());
  std::string text = "degree " + std::to_string(options.degree) + ", " +
                     std::to_string(points.GetSize()) + " points" +
                     (columns == 3 ? " with sigmas" : ", sigma 1") + "\n";
  TextTable head;
  head.AddNumbers("coefficients (c0 + c1 x + ...)", c);
  head.Add({"chi-square", Format(chiSquare)});
  head.Add({"rms residual", Format(rms)});
  text += head.Render("");
  text += "residuals\n";
  TextTable rows;
  rows.Add({"x", "y", "fitted", "residual"});
  for (unsigned int i = 0; i < points.GetSize(); ++i) {
    rows.Add({Format(points[i].x), Format(points[i].y), Format(fitted[i]), Format(residuals[i])});
  }
  text += rows.Render("  ");

  nlohmann::json json{
      {"degree", options.degree},
      {"coefficients", JsonArray(c)},
      {"chi_square", Json(chiSquare)},
      {"rms_residual", Json(rms)},
      {"fitted", JsonArray(std::span<const float>(fitted.GetData(), fitted.GetSize()))},
      {"residuals", JsonArray(std::span<const float>(residuals.GetData(), residuals.GetSize()))}};
  Emit(text, json, options.json);
}

}  // namespace

void AddFitCommand(CLI::App& app) {
  auto options = std::make_shared<FitOptions>();
  CLI::App* command =
      app.add_subcommand("fit", "weighted least-squares polynomial fit of 'x y [sigma]' rows");
  command->add_option("-d,--degree", options->degree, "degree of the polynomial (0 to 30)")
      ->required()
      ->check(CLI::Range(0u, 30u));
  command
      ->add_option("FILE", options->file,
                   "the points, one 'x y [sigma]' per line ('-': standard input)")
      ->required();
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunFit(*options); });
}

}  // namespace komath
