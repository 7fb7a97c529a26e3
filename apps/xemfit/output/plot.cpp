#include "output/plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <vector>

#include "failure.h"
#include "numbers.h"
#include "output/figure.h"
#include "process.h"
#include "text.h"

namespace Xem::Tool {
namespace {

/// Colours that people with colour-vision deficiencies tell apart: Okabe and Ito (2008). web/chart.css has them, too.
constexpr const char* kColours[] = {"#0072B2", "#D55E00", "#009E73", "#CC79A7", "#E69F00", "#56B4E9", "#000000"};

std::string CurveColour(std::size_t curve) { return kColours[curve % std::size(kColours)]; }

constexpr int kPointTypes[] = {7, 5, 9, 13, 11, 6, 4};

int PointType(std::size_t curve) { return kPointTypes[curve % std::size(kPointTypes)]; }

std::string Extension(const std::string& path) { return Lower(std::filesystem::path(path).extension().string()); }

/// A gnuplot string that means its characters and nothing else.
std::string Literal(const std::string& text) {
  std::string literal = "'";
  for (const char letter : Printable(text)) literal += letter == '\'' ? "''" : std::string(1, letter);
  return literal + "'";
}

std::string DataBlock(const std::string& name, const std::vector<double>& x, const std::vector<double>& y) {
  std::string text = '$' + name + " << EOD\n";
  for (std::size_t i = 0; i < x.size(); ++i) {
    // An empty line breaks the drawn line.
    text += std::isfinite(x[i]) && std::isfinite(y[i]) ? Exactly(x[i]) + ' ' + Exactly(y[i]) + '\n' : "\n";
  }
  return text + "EOD\n";
}

/// Abscissa, lower and upper end; an empty line breaks the area.
std::string BandBlock(const std::string& name, const DrawnCurve& curve) {
  std::string text = '$' + name + " << EOD\n";
  for (std::size_t i = 0; i < curve.bandX.size(); ++i) {
    if (std::isfinite(curve.bandLower[i]) && std::isfinite(curve.bandUpper[i])) {
      text += Exactly(curve.bandX[i]) + ' ' + Exactly(curve.bandLower[i]) + ' ' + Exactly(curve.bandUpper[i]);
    }
    text += '\n';
  }
  return text + "EOD\n";
}

bool HasPoints(const std::vector<double>& values) {
  return std::any_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

std::string AxisCommands(char axis, const Axis& description, const Range& range) {
  const char* scale = description.logarithmic ? "set logscale {0}\nset format {0} '10^{{%T}}'\nset m{0}tics 10\n"
                                              : "unset logscale {0}\nset format {0} '%g'\nset m{0}tics 2\n";
  return fmt::format("set {}label {} noenhanced\n", axis, Literal(AxisLabel(description))) +
         fmt::format(fmt::runtime(scale), axis) +
         fmt::format("set {}range [{}:{}]\n", axis, Exactly(range.lower), Exactly(range.upper));
}

/// Names of the data blocks of a curve.
struct DataBlocks {
  std::string points, stable, unstable, band;
};

DataBlocks DataBlocksOf(std::size_t panel, std::size_t curve) {
  const std::string id = fmt::format("{}_{}", panel, curve);
  return {"points" + id, "stable" + id, "unstable" + id, "band" + id};
}

std::string OverlayBlock(std::size_t panel, std::size_t overlay) { return fmt::format("overlay{}_{}", panel, overlay); }

std::string PanelData(const DrawnPanel& panel, std::size_t number) {
  std::string text;
  for (std::size_t i = 0; i < panel.curves.size(); ++i) {
    const DrawnCurve& curve = panel.curves[i];
    const DataBlocks blocks = DataBlocksOf(number, i);
    if (HasPoints(curve.y)) text += DataBlock(blocks.points, curve.x, curve.y);
    if (HasPoints(curve.stable)) text += DataBlock(blocks.stable, curve.stableX, curve.stable);
    if (HasPoints(curve.unstable)) text += DataBlock(blocks.unstable, curve.unstableX, curve.unstable);
    if (HasPoints(curve.bandLower)) text += BandBlock(blocks.band, curve);
  }
  for (std::size_t i = 0; i < panel.overlays.size(); ++i) {
    text += DataBlock(OverlayBlock(number, i), panel.overlays[i].x, panel.overlays[i].y);
  }
  return text;
}

/// More points than this hide a line beneath them: then they are small and pale, and the line lies on top.
constexpr std::size_t kDense = 300;

/// Halfway to white.
std::string Pale(const std::string& colour) {
  std::string pale = "#";
  for (std::size_t i = 1; i < colour.size(); i += 2) {
    pale += fmt::format("{:02X}", (std::stoi(colour.substr(i, 2), nullptr, 16) + 2 * 255) / 3);
  }
  return pale;
}

/// Lines first, so that points lie on top unless they are many; then samples that explain points, lines and dashes.
std::string PanelPlot(const DrawnPanel& panel, std::size_t number) {
  std::vector<std::string> parts;
  bool anyPoints = false;
  bool anyDashes = false;
  const std::string sample = panel.curves.size() == 1 ? CurveColour(panel.curves.front().index) : "#606060";
  // Overlays lie below everything else: thin, grey and with open points.
  constexpr int kOpenPoints[] = {6, 4, 8, 10, 12};
  for (std::size_t i = 0; i < panel.overlays.size(); ++i) {
    if (panel.overlays[i].record) {
      parts.push_back(fmt::format("${} with lines lw 1.2 lc rgb '#A0A0A0' title {}", OverlayBlock(number, i),
                                  Literal(panel.overlays[i].legend)));
      continue;
    }
    parts.push_back(fmt::format("${} with linespoints lw 1.2 dt 3 pt {} ps 1 lc rgb '#808080' title {}",
                                OverlayBlock(number, i), kOpenPoints[i % std::size(kOpenPoints)],
                                Literal(panel.overlays[i].legend)));
  }
  const auto isDense = [](const DrawnCurve& curve) { return curve.y.size() > kDense; };
  for (std::size_t i = 0; i < panel.curves.size(); ++i) {
    const DrawnCurve& curve = panel.curves[i];
    if (!isDense(curve)) continue;
    parts.push_back(fmt::format("${} with points pt {} ps 0.5 lc rgb '{}' notitle", DataBlocksOf(number, i).points,
                                PointType(curve.index), Pale(CurveColour(curve.index))));
  }
  for (std::size_t i = 0; i < panel.curves.size(); ++i) {
    if (!HasPoints(panel.curves[i].bandLower)) continue;
    parts.push_back(
        fmt::format("${} using 1:2:3 with filledcurves fs transparent solid 0.2 noborder lc rgb '{}' notitle",
                    DataBlocksOf(number, i).band, CurveColour(panel.curves[i].index)));
  }
  for (std::size_t i = 0; i < panel.curves.size(); ++i) {
    const DrawnCurve& curve = panel.curves[i];
    const DataBlocks blocks = DataBlocksOf(number, i);
    const auto line = [&](const std::string& block, const char* dash) {
      parts.push_back(
          fmt::format("${} with lines lw 2.2 {} lc rgb '{}' notitle", block, dash, CurveColour(curve.index)));
    };
    if (HasPoints(curve.stable)) line(blocks.stable, "dt 1");
    if (HasPoints(curve.unstable)) line(blocks.unstable, "dt 2");
    anyDashes |= HasPoints(curve.unstable);
  }
  for (std::size_t i = 0; i < panel.curves.size(); ++i) {
    const DrawnCurve& curve = panel.curves[i];
    const bool points = HasPoints(curve.y);
    anyPoints |= points;
    const std::string style =
        points ? fmt::format("points pt {} ps 1.1", PointType(curve.index)) : std::string("lines lw 2.2");
    parts.push_back(fmt::format("{} with {} lc rgb '{}' title {}",
                                points && !isDense(curve) ? '$' + DataBlocksOf(number, i).points : std::string("NaN"),
                                style, CurveColour(curve.index), curve.named ? Literal(curve.legend) : "''"));
  }
  if (anyPoints) {
    parts.push_back("NaN with lines lw 2.2 dt 1 lc rgb '" + sample + "' title " + Literal(panel.lines));
  }
  if (!panel.band.empty()) {
    parts.push_back("NaN with filledcurves fs transparent solid 0.3 noborder lc rgb '" + sample + "' title " +
                    Literal(panel.band));
  }
  if (anyDashes) parts.push_back("NaN with lines lw 2.2 dt 2 lc rgb '" + sample + "' title 'unstable'");
  return "plot " + Join(parts, ", \\\n     ") + '\n';
}

std::string MarkCommands(const DrawnPanel& panel) {
  std::string text = "unset label\n";
  for (const DrawnMark& mark : panel.marks) {
    const std::string colour = CurveColour(mark.index);
    // Below and to the right of the point, unless the axis or the end of the picture is there.
    const bool up = mark.y - panel.yRange.lower < 0.1 * (panel.yRange.upper - panel.yRange.lower);
    const bool left = mark.x - panel.xRange.lower > 0.75 * (panel.xRange.upper - panel.xRange.lower);
    text += fmt::format(
        "set label {} at {},{} {} noenhanced textcolor rgb '{}' point pt 6 ps 1.8 lw 2.2 lc rgb '{}' offset {},{} "
        "front\n",
        Literal(mark.label), Exactly(mark.x), Exactly(mark.y), left ? "right" : "left", colour, colour,
        left ? -1.2 : 1.2, up ? 1 : -1);
  }
  return text;
}

/// Room for tics, label and the rows of the key, whose columns are as wide as its longest name.
double BottomMargin(const DrawnPanel& panel, bool several) {
  const auto named = static_cast<std::size_t>(
      std::count_if(panel.curves.begin(), panel.curves.end(), [](const DrawnCurve& curve) { return curve.named; }));
  const std::size_t entries = named + panel.overlays.size() + (panel.overlays.empty() ? 2 : 1);
  std::size_t longest = panel.lines.size();
  for (const DrawnCurve& curve : panel.curves) longest = std::max(longest, curve.legend.size());
  for (const Overlay& overlay : panel.overlays) longest = std::max(longest, overlay.legend.size());
  const std::size_t charactersPerRow = several ? 60 : 110;
  const std::size_t mostPerRow = several ? 4 : 6;
  const std::size_t entriesPerRow = std::clamp<std::size_t>(charactersPerRow / (longest + 8), 1, mostPerRow);
  const std::size_t rows = (entries + entriesPerRow - 1) / entriesPerRow;
  return 4.5 + 1.3 * static_cast<double>(rows);
}

struct Layout {
  int rows = 1;
  int columns = 1;
};

Layout LayoutFor(std::size_t panels) {
  const int count = static_cast<int>(panels);
  const int columns = count <= 1 ? 1 : count <= 4 ? 2 : 3;
  return {(count + columns - 1) / columns, columns};
}

std::string Terminal(const std::string& extension, const Layout& layout) {
  const int width = layout.columns == 1 ? 1200 : 820 * layout.columns;
  const int height = layout.rows == 1 && layout.columns == 1 ? 800 : 640 * layout.rows;
  if (extension == ".pdf") {
    return fmt::format("set terminal pdfcairo enhanced font 'DejaVu Sans,11' size {:.1f}cm,{:.1f}cm\n", width / 50.0,
                       height / 50.0);
  }
  if (extension == ".svg") {
    return fmt::format(
        "set terminal svg enhanced font 'DejaVu Sans,15' size {},{} dynamic background rgb 'white' name 'xemfit'\n",
        width, height);
  }
  return fmt::format("set terminal pngcairo enhanced font 'DejaVu Sans,15' size {},{} background rgb 'white'\n", width,
                     height);
}

std::string Script(const Figure& figure, const std::string& extension) {
  const Layout layout = LayoutFor(figure.panels.size());
  std::string script = "set encoding utf8\n" + Terminal(extension, layout) +
                       "set border 3 lw 1.2 lc rgb '#404040'\n"
                       "set tics nomirror out scale 0.8 textcolor rgb '#202020'\n"
                       "set grid xtics ytics lt 1 lw 0.6 lc rgb '#dddddd'\n"
                       "set key bmargin center horizontal Left reverse noenhanced samplen 2.5 spacing 1.2 width 2\n"
                       "set xlabel offset 0,0.2\n";
  for (std::size_t i = 0; i < figure.panels.size(); ++i) script += PanelData(figure.panels[i], i);
  const bool several = figure.panels.size() > 1;
  if (several) {
    script += fmt::format("set multiplot layout {},{} title {} font ',17' noenhanced\n", layout.rows, layout.columns,
                          Literal(figure.title));
  }
  for (std::size_t i = 0; i < figure.panels.size(); ++i) {
    const DrawnPanel& panel = figure.panels[i];
    script += fmt::format("set title {} font ',16' noenhanced\n", Literal(several ? panel.title : figure.title));
    script += fmt::format("set bmargin {}\n", BottomMargin(panel, several)) + AxisCommands('x', panel.x, panel.xRange) +
              AxisCommands('y', panel.y, panel.yRange) + MarkCommands(panel) + PanelPlot(panel, i);
  }
  if (several) script += "unset multiplot\n";
  return script;
}

/// gnuplot's PDF driver writes the time of day into the document; a fixed date of the same length takes its place.
void FixDates(std::string& document) {
  const std::string key = "/CreationDate (D:";
  for (auto at = document.find(key); at != std::string::npos; at = document.find(key, at + key.size())) {
    for (auto digit = at + key.size(); digit < document.size() && document[digit] != ')'; ++digit) {
      if (std::isdigit(static_cast<unsigned char>(document[digit]))) document[digit] = '0';
    }
  }
}

std::string FirstLine(const std::string& text) {
  for (const std::string& line : Split(text, '\n')) {
    if (!Trimmed(line).empty()) return Printable(Trimmed(line));
  }
  return "no message";
}

}  // namespace

void RequirePlotFormat(const std::string& path) {
  const std::string extension = Extension(path);
  if (extension == ".png" || extension == ".svg" || extension == ".pdf") return;
  throw Failure(ExitCode::Usage, fmt::format("--plot: {} must end in .png, .svg or .pdf", Quoted(path)));
}

std::string DrawPlot(const Report& report, const std::string& path) {
  const Figure figure = MakeFigure(report);
  if (figure.panels.empty()) throw Failure(ExitCode::Other, "--plot: there is nothing to draw");
  const std::string extension = Extension(path);
  ProcessResult run =
      RunProcess({"gnuplot", "-d", "-"}, Script(figure, extension), {"SOURCE_DATE_EPOCH=0", "LC_ALL=C.UTF-8"});
  if (!run.started) {
    throw Failure(ExitCode::Other,
                  "--plot needs gnuplot, which was not found on PATH; on Debian: apt install gnuplot-nox");
  }
  if (run.exitCode != 0 || run.output.empty()) {
    throw Failure(ExitCode::Other, "--plot: gnuplot failed: " + FirstLine(run.errors));
  }
  if (extension == ".pdf") FixDates(run.output);
  return std::move(run.output);
}

}  // namespace Xem::Tool
