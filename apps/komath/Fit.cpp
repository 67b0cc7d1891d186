// komath fit: weighted least-squares polynomial fit of x y [sigma] rows.
//
// Memory: the x, y (and sigma) columns in double, plus the fit's float
// copy of the points (12 bytes a point); the residual table is written as
// it is computed.
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "Commands.h"
#include "Fitting.h"
#include "Output.h"
#include "Reader.h"
#include "Stream.h"

namespace komath {
namespace {

struct FitOptions {
  std::string file;
  unsigned int degree{};
  bool json = false;
};

// p(x) through the form in u, which keeps its digits where the form in x
// may not.
double Fitted(const FitResult& fit, double x) {
  const double u = (x - fit.shift) / fit.scale;
  double value = 0;
  for (std::size_t k = fit.scaledCoefficients.size(); k-- > 0;) {
    value = value * u + fit.scaledCoefficients[k];
  }
  return value;
}

std::string Polynomial(const std::vector<double>& c, const char* variable) {
  std::string text;
  for (std::size_t k = 0; k < c.size(); ++k) {
    const std::string term = Format(c[k]);
    text += k == 0 ? term : (term[0] == '-' ? " - " + term.substr(1) : " + " + term);
    if (k > 0) text += std::string(" ") + variable + (k > 1 ? "^" + std::to_string(k) : "");
  }
  return text;
}

void RunFit(const FitOptions& options) {
  NumberReader reader(options.file);
  Column xs, ys, sigmas;
  const std::size_t columns =
      ReadTable(reader, 2, 3, "x y [sigma]", [&](std::span<const double> row) {
        if (row.size() == 3 && !(row[2] > 0)) {
          reader.Fail("sigma " + Format(row[2]) + " is not positive");
        }
        xs.PushBack(row[0]);
        ys.PushBack(row[1]);
        if (row.size() == 3) sigmas.PushBack(row[2]);
      });
  const std::size_t n = xs.Size();
  if (n <= options.degree) {
    throw InputError(reader.Name(), 0,
                     "a fit of degree " + std::to_string(options.degree) + " needs at least " +
                         std::to_string(options.degree + 1) + " points, the file has " +
                         std::to_string(n));
  }
  const std::vector<double> x = std::move(xs).Drain(), y = std::move(ys).Drain(),
                            sigma = std::move(sigmas).Drain();
  const FitResult fit = Fit(x, y, sigma, options.degree);
  double sumSquares = 0;
  for (std::size_t i = 0; i < n; ++i) sumSquares += std::pow(y[i] - Fitted(fit, x[i]), 2);
  const double rms = std::sqrt(sumSquares / double(n));
  if (!std::isfinite(rms)) {
    throw ComputationError("fit: the rms residual overflows double (values near 1e154?)");
  }
  if (fit.illConditioned) {
    std::fprintf(stderr,
                 "komath fit: warning: the polynomial in x is ill-conditioned on these x (its "
                 "terms cancel to far below their size, so its coefficients lose most of their "
                 "digits): use the polynomial in u = (x - shift) / scale\n");
  }

  StreamWriter out;
  if (options.json) {
    out.Write("{\n");
    out.Member("chi_square", Json(fit.chiSquare));
    out.Member("coefficients", JsonArray(std::span<const double>(fit.coefficients)));
    out.Member("degree", options.degree);
    out.Member("ill_conditioned", fit.illConditioned);
    out.Member("points", n);
    out.Member("rms_residual", Json(rms));
    out.Member("scaled",
               {{"shift", Json(fit.shift)},
                {"scale", Json(fit.scale)},
                {"coefficients", JsonArray(std::span<const double>(fit.scaledCoefficients))}});
    // The two long arrays, filled a block at a time.
    for (const bool residuals : {false, true}) {
      out.Write(residuals ? ",\n  \"residuals\": [" : "  \"fitted\": [");
      for (std::size_t i = 0; i < n; ++i) {
        const double value = Fitted(fit, x[i]);
        out.Write(i == 0 ? "\n    " : ",\n    ");
        out.Write(Format(residuals ? y[i] - value : value));
      }
      out.Write("\n  ]");
    }
    out.Write("\n}\n");
  } else {
    out.Write("degree " + std::to_string(options.degree) + ", " + std::to_string(n) + " points" +
              (columns == 3 ? " with sigmas" : ", sigma 1") + "\n");
    TextTable head;
    head.Add({"in u = (x - shift) / scale", "y = " + Polynomial(fit.scaledCoefficients, "u")});
    head.Add({"  shift, scale", Format(fit.shift) + ", " + Format(fit.scale)});
    head.Add({"in x" + std::string(fit.illConditioned ? " (ill-conditioned)" : ""),
              "y = " + Polynomial(fit.coefficients, "x")});
    head.Add({"chi-square", Format(fit.chiSquare)});
    head.Add({"rms residual", Format(rms)});
    out.Write(head.Render(""));
    out.Write("residuals\n");
    StreamedTable rows("  ");
    rows.Add({"x", "y", "fitted", "residual"});
    for (std::size_t i = 0; i < n; ++i) {
      const double value = Fitted(fit, x[i]);
      rows.Add({Format(x[i]), Format(y[i]), Format(value), Format(y[i] - value)});
    }
    rows.Finish();
  }
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
  command->footer(
      "The fit runs on u = (x - shift) / scale, which maps the x of the data onto [-1, 1], "
      "and prints the polynomial in u and expanded in x; where the form in x cancels away its "
      "digits a warning says so. Fitted values, residuals and the chi-square come from the "
      "form in u, in double.");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunFit(*options); });
}

}  // namespace komath
