#include "Svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace komath {
namespace {

constexpr double c_panel = 300;    // panel width and height
constexpr double c_margin = 24;    // inside a panel, around the drawing
constexpr double c_top = 40;       // title band
constexpr double c_rowLabel = 22;  // band above each row

struct View {
  const char* name;
  unsigned u, v;  // the projected coordinates
};
constexpr View c_views[3] = {{"top (x, y)", 0, 1}, {"front (x, z)", 0, 2}, {"side (y, z)", 1, 2}};

double Coordinate(const KbVector3d& p, unsigned i) {
  return i == 0 ? p.x : (i == 1 ? p.y : p.z);
}
KbVector3d Widen(const KbVector3f& p) {
  return {p.x, p.y, p.z};
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

// Maps the projection of one view into its panel, one scale for both axes.
struct Frame {
  double minU, minV, scale, left, bottom;
  double X(const KbVector3d& p, const View& view) const {
    return left + c_margin + (Coordinate(p, view.u) - minU) * scale;
  }
  double Y(const KbVector3d& p, const View& view) const {
    return bottom - c_margin - (Coordinate(p, view.v) - minV) * scale;
  }
};

}  // namespace

std::string AlignmentSvg(const KbArray<KbVector3f>& target, const KbArray<KbVector3f>& source,
                         const KbArray<KbVector3d>& moved) {
  const unsigned n = target.GetSize();
  const unsigned step = std::max(1u, (n + c_maxDrawnPairs - 1) / c_maxDrawnPairs);
  const double width = 3 * c_panel;
  const double height = c_top + 2 * (c_rowLabel + c_panel);
  std::string svg;
  svg += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  svg += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(width) + "\" height=\"" +
         Number(height) + "\" viewBox=\"0 0 " + Number(width) + " " + Number(height) + "\">\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += "<text x=\"10\" y=\"24\" font-family=\"sans-serif\" font-size=\"16\">komath align: " +
         std::to_string(n) + " point pairs" +
         (step > 1 ? ", 1 in " + std::to_string(step) + " drawn" : std::string()) +
         " &#8212; <tspan fill=\"#1f77b4\">target</tspan>, <tspan fill=\"#ff7f0e\">source</tspan>"
         ", grey: residuals</text>\n";

  for (unsigned v = 0; v < 3; ++v) {
    const View& view = c_views[v];
    // One scale per view over every drawn point, before and after.
    double minU = std::numeric_limits<double>::infinity(), maxU = -minU, minV = minU, maxV = -minU;
    const auto extend = [&](const KbVector3d& p) {
      const double u = Coordinate(p, view.u), w = Coordinate(p, view.v);
      if (!std::isfinite(u) || !std::isfinite(w)) return;
      minU = std::min(minU, u), maxU = std::max(maxU, u);
      minV = std::min(minV, w), maxV = std::max(maxV, w);
    };
    for (unsigned i = 0; i < n; i += step) {
      extend(Widen(target[i]));
      extend(Widen(source[i]));
      extend(moved[i]);
    }
    if (!(minU <= maxU)) minU = maxU = minV = maxV = 0;  // nothing finite to draw
    const double span = std::max({maxU - minU, maxV - minV, 1e-30});
    const double scale = (c_panel - 2 * c_margin) / span;

    for (unsigned row = 0; row < 2; ++row) {
      const double top = c_top + row * (c_rowLabel + c_panel);
      const Frame frame{minU, minV, scale, v * c_panel, top + c_rowLabel + c_panel};
      svg += "<g>\n<text x=\"" + Number(v * c_panel + 8) + "\" y=\"" + Number(top + 16) +
             "\" font-family=\"sans-serif\" font-size=\"13\">" +
             (row == 0 ? "before: " : "after: ") + view.name + "</text>\n";
      svg += "<rect x=\"" + Number(v * c_panel + 4) + "\" y=\"" + Number(top + c_rowLabel) +
             "\" width=\"" + Number(c_panel - 8) + "\" height=\"" + Number(c_panel - 4) +
             "\" fill=\"none\" stroke=\"#cccccc\"/>\n";
      std::string lines, targets, sources;
      for (unsigned i = 0; i < n; i += step) {
        const KbVector3d a = Widen(target[i]);
        const KbVector3d b = row == 0 ? Widen(source[i]) : moved[i];
        const std::string ax = Number(frame.X(a, view)), ay = Number(frame.Y(a, view));
        const std::string bx = Number(frame.X(b, view)), by = Number(frame.Y(b, view));
        lines += "<line x1=\"" + ax + "\" y1=\"" + ay + "\" x2=\"" + bx + "\" y2=\"" + by + "\"/>";
        targets += "<circle cx=\"" + ax + "\" cy=\"" + ay + "\" r=\"3\"/>";
        sources += "<circle cx=\"" + bx + "\" cy=\"" + by + "\" r=\"2\"/>";
      }
      svg += "<g stroke=\"#999999\" stroke-width=\"0.8\">" + lines + "</g>\n";
      svg += "<g fill=\"#1f77b4\">" + targets + "</g>\n";
      svg += "<g fill=\"#ff7f0e\">" + sources + "</g>\n</g>\n";
    }
  }
  svg += "</svg>\n";
  return svg;
}

}  // namespace komath
