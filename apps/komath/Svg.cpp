#include "Svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "Errors.h"
#include "Output.h"

namespace komath {
namespace {

constexpr double c_panel = 300;    // panel width and height
constexpr double c_margin = 30;    // inside a panel, around the drawing (room for the axes)
constexpr double c_top = 40;       // title band
constexpr double c_rowLabel = 22;  // band above each row

struct View {
  const char* name;
  unsigned u, v;  // the projected coordinates
};
constexpr View c_views3[3] = {{"top (x, y)", 0, 1}, {"front (x, z)", 0, 2}, {"side (y, z)", 1, 2}};
constexpr View c_view2 = {"(x, y)", 0, 1};
constexpr const char* c_axisNames = "xyz";

std::span<const View> Views(std::size_t dimension) {
  return dimension == 2 ? std::span<const View>(&c_view2, 1) : std::span<const View>(c_views3);
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

// Maps the projection of one view into its panel, one scale for both axes.
struct Frame {
  View view;
  double minU{}, minV{}, scale{};  // set by FitView
  double left{}, bottom{};         // set by the caller
  double X(std::span<const double> p) const { return left + c_margin + (p[view.u] - minU) * scale; }
  double Y(std::span<const double> p) const {
    return bottom - c_margin - (p[view.v] - minV) * scale;
  }
};

// Every `step`-th point of each set, one scale for all of them.
Frame FitView(const View& view, std::initializer_list<const PointSet*> sets, std::size_t step) {
  double minU = std::numeric_limits<double>::infinity(), maxU = -minU, minV = minU, maxV = -minU;
  for (const PointSet* set : sets) {
    const std::size_t d = set->dimension;
    for (std::size_t i = 0; i < set->Count(); i += step) {
      const double u = set->coordinates[i * d + view.u], w = set->coordinates[i * d + view.v];
      minU = std::min(minU, u), maxU = std::max(maxU, u);
      minV = std::min(minV, w), maxV = std::max(maxV, w);
    }
  }
  Frame frame;
  frame.view = view;
  frame.minU = minU, frame.minV = minV;
  // A set of one point (or all points on one spot) still gets a finite scale.
  const double span = std::max({maxU - minU, maxV - minV, std::abs(minU) * 1e-12, 1e-300});
  frame.scale = (c_panel - 2 * c_margin) / span;
  return frame;
}

// The largest 1, 2 or 5 times a power of ten that fits into `limit`.
double RoundLength(double limit) {
  const double power = std::pow(10.0, std::floor(std::log10(limit)));
  for (const double m : {5.0, 2.0, 1.0}) {
    if (m * power <= limit) return m * power;
  }
  return power;
}

// Axis arrows at the panel's lower left, named after the view's
// coordinates, and a scale bar of a round length labelled in data units.
std::string Axes(const Frame& frame) {
  const double x0 = frame.left + 8, y0 = frame.bottom - 8, arm = 18;
  std::string svg = "<g stroke=\"#444444\" stroke-width=\"1\" fill=\"none\">";
  svg += "<path d=\"M" + Number(x0) + " " + Number(y0 - arm) + " L" + Number(x0) + " " +
         Number(y0) + " L" + Number(x0 + arm) + " " + Number(y0) + "\"/></g>\n";
  svg += "<g font-family=\"sans-serif\" font-size=\"10\" fill=\"#444444\">";
  svg += "<text x=\"" + Number(x0 + arm + 2) + "\" y=\"" + Number(y0 + 3) + "\">" +
         c_axisNames[frame.view.u] + "</text>";
  svg += "<text x=\"" + Number(x0 - 3) + "\" y=\"" + Number(y0 - arm - 3) + "\">" +
         c_axisNames[frame.view.v] + "</text>";
  const double length = RoundLength((c_panel - 2 * c_margin) / 3 / frame.scale);
  const double bar = length * frame.scale, right = frame.left + c_panel - 12;
  svg += "<text x=\"" + Number(right) + "\" y=\"" + Number(y0 - 5) + "\" text-anchor=\"end\">" +
         Format(length) + "</text></g>\n";
  svg += "<path d=\"M" + Number(right - bar) + " " + Number(y0 - 3) + " V" + Number(y0) + " H" +
         Number(right) + " V" + Number(y0 - 3) +
         "\" stroke=\"#444444\" stroke-width=\"1.5\" fill=\"none\"/>\n";
  return svg;
}

std::string Header(double width, double height, const std::string& title) {
  std::string svg = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  svg += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(width) + "\" height=\"" +
         Number(height) + "\" viewBox=\"0 0 " + Number(width) + " " + Number(height) + "\">\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg +=
      "<text x=\"10\" y=\"24\" font-family=\"sans-serif\" font-size=\"16\">" + title + "</text>\n";
  return svg;
}

std::string PanelFrame(double left, double top, const std::string& label) {
  return "<text x=\"" + Number(left + 8) + "\" y=\"" + Number(top + 16) +
         "\" font-family=\"sans-serif\" font-size=\"13\">" + label + "</text>\n<rect x=\"" +
         Number(left + 4) + "\" y=\"" + Number(top + c_rowLabel) + "\" width=\"" +
         Number(c_panel - 8) + "\" height=\"" + Number(c_panel - 4) +
         "\" fill=\"none\" stroke=\"#cccccc\"/>\n";
}

std::size_t Step(std::size_t n) {
  return std::max<std::size_t>(1, (n + c_maxDrawnPoints - 1) / c_maxDrawnPoints);
}

std::span<const double> At(const PointSet& set, std::size_t i) {
  return std::span<const double>(set.coordinates).subspan(i * set.dimension, set.dimension);
}

}  // namespace

std::string AlignmentSvg(const PointSet& target, const PointSet& source, const PointSet& moved) {
  const std::size_t n = target.Count(), step = Step(n);
  const std::span<const View> views = Views(target.dimension);
  const double width = double(views.size()) * c_panel;
  const double height = c_top + 2 * (c_rowLabel + c_panel);
  std::string svg =
      Header(std::max(width, 2 * c_panel), height,
             "komath align: " + std::to_string(n) + " point pairs" +
                 (step > 1 ? ", 1 in " + std::to_string(step) + " drawn" : std::string()) +
                 " &#8212; <tspan fill=\"#1f77b4\">target</tspan>, <tspan "
                 "fill=\"#ff7f0e\">source</tspan>, grey: residuals");
  for (std::size_t v = 0; v < views.size(); ++v) {
    Frame frame = FitView(views[v], {&target, &source, &moved}, step);
    for (unsigned row = 0; row < 2; ++row) {
      const double top = c_top + row * (c_rowLabel + c_panel);
      frame.left = double(v) * c_panel, frame.bottom = top + c_rowLabel + c_panel;
      svg += "<g>\n" + PanelFrame(frame.left, top,
                                  std::string(row == 0 ? "before: " : "after: ") + views[v].name);
      std::string lines, targets, sources;
      for (std::size_t i = 0; i < n; i += step) {
        const auto a = At(target, i), b = At(row == 0 ? source : moved, i);
        const std::string ax = Number(frame.X(a)), ay = Number(frame.Y(a));
        const std::string bx = Number(frame.X(b)), by = Number(frame.Y(b));
        lines += "<line x1=\"" + ax + "\" y1=\"" + ay + "\" x2=\"" + bx + "\" y2=\"" + by + "\"/>";
        targets += "<circle cx=\"" + ax + "\" cy=\"" + ay + "\" r=\"3\"/>";
        sources += "<circle cx=\"" + bx + "\" cy=\"" + by + "\" r=\"2\"/>";
      }
      svg += "<g stroke=\"#999999\" stroke-width=\"0.8\">" + lines + "</g>\n";
      svg += "<g fill=\"#1f77b4\">" + targets + "</g>\n";
      svg += "<g fill=\"#ff7f0e\">" + sources + "</g>\n" + Axes(frame) + "</g>\n";
    }
  }
  return svg + "</svg>\n";
}

std::string GpaSvg(const PointSet& aligned, std::size_t landmarks, const PointSet& mean) {
  const std::size_t k = aligned.Count() / landmarks;
  // Whole shapes are kept or dropped, so that each drawn shape is complete.
  const std::size_t shapeStep = Step(k * landmarks);
  const std::span<const View> views = Views(mean.dimension);
  const double width = std::max(double(views.size()), 2.0) * c_panel;
  std::string svg = Header(
      width, c_top + c_rowLabel + c_panel,
      "komath gpa: " + std::to_string(k) + " shapes of " + std::to_string(landmarks) +
          " landmarks" +
          (shapeStep > 1 ? ", 1 in " + std::to_string(shapeStep) + " drawn" : std::string()) +
          ", the mean in black");
  constexpr const char* c_colours[] = {"#1f77b4", "#ff7f0e", "#2ca02c", "#d62728", "#9467bd",
                                       "#8c564b", "#e377c2", "#7f7f7f", "#bcbd22", "#17becf"};
  for (std::size_t v = 0; v < views.size(); ++v) {
    Frame frame = FitView(views[v], {&aligned, &mean}, 1);
    frame.left = double(v) * c_panel, frame.bottom = c_top + c_rowLabel + c_panel;
    svg += "<g>\n" + PanelFrame(frame.left, c_top, views[v].name);
    for (std::size_t i = 0; i < k; i += shapeStep) {
      svg += "<g fill=\"" + std::string(c_colours[i % 10]) + "\" fill-opacity=\"0.6\">";
      for (std::size_t j = 0; j < landmarks; ++j) {
        const auto p = At(aligned, i * landmarks + j);
        svg += "<circle cx=\"" + Number(frame.X(p)) + "\" cy=\"" + Number(frame.Y(p)) +
               "\" r=\"1.5\"/>";
      }
      svg += "</g>\n";
    }
    svg += "<g fill=\"black\">";
    for (std::size_t j = 0; j < landmarks; ++j) {
      const auto p = At(mean, j);
      svg +=
          "<circle cx=\"" + Number(frame.X(p)) + "\" cy=\"" + Number(frame.Y(p)) + "\" r=\"3\"/>";
    }
    svg += "</g>\n" + Axes(frame) + "</g>\n";
  }
  return svg + "</svg>\n";
}

}  // namespace komath
