#include "output/page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "failure.h"
#include "numbers.h"
#include "output/figure.h"
#include "output/html.h"
#include "output/plot.h"
#include "page_assets.h"
#include "text.h"
#include "xem/fit/card.h"
#include "xem/version.h"

namespace Xem::Tool {
namespace {

using Kind = HtmlTable::Kind;

// Nothing may be fetched, whatever the page holds.
constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'unsafe-inline'; base-uri 'none'; form-action 'none'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="generator" content="xemfit )" XEM_VERSION R"(">
<link rel="icon" href="data:,">
)";

/// Digits that a line on a screen can show.
std::vector<double> Rounded(const std::vector<double>& values) {
  std::vector<double> rounded;
  for (const double value : values) {
    rounded.push_back(std::isfinite(value) ? ParseNumber(fmt::format("{:.7g}", value)).value_or(value) : value);
  }
  return rounded;
}

/// A line as [x, y], with one null in a row where it breaks and none at its ends.
Json LineJson(const std::vector<double>& x, const std::vector<double>& y) {
  Json xs = Json::array();
  Json ys = Json::array();
  bool broken = false;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (!std::isfinite(x[i]) || !std::isfinite(y[i])) {
      broken = true;
      continue;
    }
    if (std::exchange(broken, false) && !xs.empty()) {
      xs.push_back(x[i]);
      ys.push_back(nullptr);
    }
    xs.push_back(x[i]);
    ys.push_back(y[i]);
  }
  return Json::array({std::move(xs), std::move(ys)});
}

Json CurveJson(const DrawnCurve& curve) {
  return {{"name", curve.legend},
          {"index", curve.index},
          {"points", {curve.x, curve.y}},
          {"residual", curve.residual},
          {"lower", LineJson(Rounded(curve.bandX), Rounded(curve.bandLower))},
          {"upper", LineJson(Rounded(curve.bandX), Rounded(curve.bandUpper))},
          {"stable", LineJson(Rounded(curve.stableX), Rounded(curve.stable))},
          {"unstable", LineJson(Rounded(curve.unstableX), Rounded(curve.unstable))}};
}

Json AxisJson(const Axis& axis) {
  return {
      {"label", AxisLabel(axis)}, {"unit", axis.unit}, {"logarithmic", axis.logarithmic}, {"fromZero", axis.fromZero}};
}

Json PanelJson(const DrawnPanel& panel) {
  Json curves = Json::array();
  Json overlays = Json::array();
  Json marks = Json::array();
  for (const DrawnCurve& curve : panel.curves) curves.push_back(CurveJson(curve));
  for (const Overlay& overlay : panel.overlays) {
    overlays.push_back({{"name", overlay.legend}, {"points", {overlay.x, overlay.y}}});
  }
  for (const DrawnMark& mark : panel.marks) {
    marks.push_back({{"x", mark.x}, {"y", mark.y}, {"label", mark.label}, {"index", mark.index}});
  }
  return {{"title", panel.title},
          {"x", AxisJson(panel.x)},
          {"y", AxisJson(panel.y)},
          {"lines", panel.lines},
          {"band", panel.band},
          {"curves", std::move(curves)},
          {"overlays", std::move(overlays)},
          {"marks", std::move(marks)}};
}

Json FigureJson(const Figure& figure, Fit::Residual residual) {
  Json panels = Json::array();
  for (const DrawnPanel& panel : figure.panels) panels.push_back(PanelJson(panel));
  return {{"relative", residual == Fit::Residual::Relative}, {"panels", std::move(panels)}};
}

/// Text with lines of its own, as it stands.
std::string Block(const std::string& text) { return "<pre>" + Escaped(text) + "</pre>\n"; }
/// The same for sentences, which may be broken further.
std::string Prose(const std::string& text) { return "<pre class=\"prose\">" + Escaped(text) + "</pre>\n"; }

std::string Number(double value) { return std::isfinite(value) ? Shortly(value) : "–"; }

std::string Quality(double r2) { return std::isfinite(r2) ? Determination(r2, 6) : "–"; }

// --- what a fit says, section by section; a section without contents is left out

std::string Tile(const std::string& name, const std::string& value) {
  return fmt::format("<div><dt>{}</dt><dd>{}</dd></div>\n", Escaped(name), Escaped(value));
}

/// One where there is one for all curves, else one per curve.
std::string QualityTiles(const Fit::Result& result) {
  if (std::isfinite(result.measures.r2)) return Tile("R²", Quality(result.measures.r2));
  std::string tiles;
  for (const Fit::CurveResult& curve : result.curves) {
    if (std::isfinite(curve.measures.r2)) tiles += Tile("R² of " + curve.name, Quality(curve.measures.r2));
  }
  return tiles;
}

std::string Summary(const Report& report) {
  if (!report.fitted) return "";
  const Fit::Result& result = report.result;
  std::string badges = Badge(result.status == "converged" ? "good"
                             : result.converged           ? "warning"
                                                          : "bad",
                             result.status);
  if (result.stability) {
    badges += result.stability->Stable() ? Badge("good", "stable") : Badge("warning", "unstable beyond a limit");
  }
  if (result.measures.dropped > 0) {
    badges += Badge("warning", fmt::format("{} dropped", result.measures.dropped));
  }
  badges += Badge("plain", result.residual == Fit::Residual::Absolute ? "absolute residuals" : "relative residuals");
  if (result.iterations > 0) {
    badges += Badge("plain", fmt::format("{} iteration{}", result.iterations, result.iterations == 1 ? "" : "s"));
  }
  // One error in one unit; panels of different quantities have none in common.
  const std::string unit = report.panels.size() == 1 ? ' ' + report.panels.front().y.unit : "";
  return "<p class=\"badges\">\n" + badges + "</p>\n<dl class=\"tiles\">\n" + QualityTiles(result) +
         Tile("RMSE", Number(result.measures.rmse) + unit) + Tile("AICc", Number(result.measures.aicc)) +
         Tile("Points", std::to_string(result.measures.points)) + "</dl>\n";
}

std::string Remark(const Fit::Parameter& parameter) {
  if (!parameter.identifiable) return "not identifiable";
  if (parameter.atBound) return "at its bound";
  return parameter.held ? "held" : "";
}

std::string Spread(const Fit::Parameter& parameter) {
  const double share = (parameter.upper - parameter.lower) / 2.0 / std::abs(parameter.value);
  return std::isfinite(share) ? fmt::format("± {:.3g} %", 100.0 * share) : "–";
}

std::string Parameters(const Fit::Result& result) {
  if (result.parameters.empty()) return "";
  const bool bootstrap = result.options.bootstrap > 0;
  std::vector<HtmlTable::Column> columns{{"Parameter", Kind::Text},
                                         {"Value"},
                                         {"Unit", Kind::Text},
                                         {"Standard error"},
                                         {Percent(result.options.level) + " from"},
                                         {"to"},
                                         {"Half width"}};
  if (bootstrap) columns.insert(columns.end(), {{"Bootstrap from"}, {"to"}});
  columns.push_back({"", Kind::Text});
  HtmlTable table(columns);
  for (const Fit::Parameter& parameter : result.parameters) {
    std::vector<std::string> row{
        parameter.name,          Number(parameter.value), parameter.unit,   Number(parameter.standardError),
        Number(parameter.lower), Number(parameter.upper), Spread(parameter)};
    if (bootstrap) row.insert(row.end(), {Number(parameter.bootstrapLower), Number(parameter.bootstrapUpper)});
    row.push_back(Remark(parameter));
    table.Add(row);
  }
  return Section("parameters", "Parameters", table.Text());
}

std::string Derived(const Fit::Result& result) {
  if (result.derived.empty()) return "";
  HtmlTable table({{"Quantity", Kind::Text}, {"Value"}, {"Unit", Kind::Text}});
  for (const auto& [name, value] : result.derived) {
    const auto unit = result.derivedUnits.find(name);
    table.Add({name, Number(value), unit == result.derivedUnits.end() ? "" : unit->second});
  }
  return Section("derived", "Derived quantities", table.Text());
}

std::string InUnit(const std::string& unit, const char* power = "") {
  return unit.empty() ? "" : " (" + unit + power + ")";
}

void AddMeasures(const std::string& name, const Fit::Measures& measures, HtmlTable& table) {
  table.Add({name, std::to_string(measures.points), std::to_string(measures.dropped), Quality(measures.r2),
             Number(measures.rmse), Number(measures.sse)});
}

std::string Curves(const Fit::Result& result) {
  if (result.curves.empty()) return "";
  HtmlTable table({{"Curve", Kind::Text},
                   {"Points"},
                   {"Dropped"},
                   {"R²"},
                   {"RMSE" + InUnit(result.measures.unit)},
                   {"SSE" + InUnit(result.measures.unit, "²")}});
  for (const Fit::CurveResult& curve : result.curves) AddMeasures(curve.name, curve.measures, table);
  if (result.curves.size() > 1) AddMeasures("all", result.measures, table);
  return Section("curves", "Agreement by curve", table.Text());
}

std::string StabilitySection(const Fit::Result& result) {
  if (!result.stability) return "";
  const Fit::Stability& limits = *result.stability;
  const auto limit = [&](const char* name, double strain) -> std::string {
    const auto found = limits.intervals.find(name);
    if (found == limits.intervals.end()) return std::isfinite(strain) ? Shortly(strain) : "none";
    const auto& [lower, upper] = found->second;
    const double known = std::isfinite(strain) ? strain : (std::isfinite(lower) ? lower : upper);
    const auto end = [&, lower = lower, upper = upper](double one) {
      return std::isfinite(one) ? WithinInterval(one, lower - known + one, upper - known + one) : "none";
    };
    return end(strain) + " (" + end(lower) + " to " + end(upper) + ")";
  };
  HtmlTable table({{"Mode", Kind::Text}, {"Limit in compression"}, {"Limit in tension"}});
  table.Add({"uniaxial", limit("uniaxial_compression", limits.uniaxialCompression),
             limit("uniaxial_tension", limits.uniaxialTension)});
  table.Add({"equibiaxial", limit("equibiaxial_compression", limits.equibiaxialCompression),
             limit("equibiaxial_tension", limits.equibiaxialTension)});
  table.Add({"pure shear", limit("pure_shear_compression", limits.pureShearCompression),
             limit("pure_shear_tension", limits.pureShearTension)});
  return Section(
      "stability", "Stability",
      Paragraph("Nominal strains at which the material tangent stops being positive definite" +
                (limits.intervals.empty() ? "." : ", with their " + Percent(result.options.level) + " intervals.")) +
          table.Text() + (limits.text.empty() || !limits.intervals.empty() ? "" : Prose(limits.text)));
}

std::string CorrelationCell(double value) {
  if (!std::isfinite(value)) return "<td class=\"number\">–</td>";
  return fmt::format("<td class=\"number\" style=\"background:rgba({},{:.2f})\">{:.2f}</td>",
                     value < 0.0 ? "213,94,0" : "0,114,178", 0.55 * std::min(std::abs(value), 1.0), value);
}

std::string Correlation(const Fit::Result& result) {
  const std::size_t count = result.parameters.size();
  if (count < 2 || result.correlation.size() != count) return "";
  std::string rows = "<tr><th></th>";
  for (const Fit::Parameter& parameter : result.parameters) {
    rows += "<th scope=\"col\" class=\"number\">" + Escaped(parameter.name) + "</th>";
  }
  rows += "</tr>\n";
  for (std::size_t i = 0; i < count; ++i) {
    rows += "<tr><th scope=\"row\">" + Escaped(result.parameters[i].name) + "</th>";
    for (const double value : result.correlation[i]) rows += CorrelationCell(value);
    rows += "</tr>\n";
  }
  return Section("correlation", "Correlation of the parameters",
                 "<div class=\"table\"><table class=\"correlation\">\n" + rows + "</table></div>\n");
}

std::string Dropped(const Fit::Result& result) {
  if (result.dropped.empty()) return "";
  HtmlTable table({{"Curve", Kind::Text}, {"Row"}, {"Reason", Kind::Text}});
  for (const Fit::DroppedPoint& point : result.dropped) {
    table.Add({point.curve, std::to_string(point.row), point.reason});
  }
  return Section("dropped", "Dropped points", table.Text());
}

std::string Notes(const Fit::Result& result) {
  if (result.notes.empty()) return "";
  std::string items;
  for (const std::string& note : result.notes) items += "<li>" + Escaped(note) + "</li>\n";
  return Section("notes", "Notes", "<ul>\n" + items + "</ul>\n");
}

/// The model as other programs take it; targets that cannot express it are left out.
std::string UseIt(const Fit::Result& result) {
  std::string cards;
  for (const std::string& target : Fit::CardTargets()) {
    try {
      const std::string card = Fit::MaterialCard(result, target);
      const std::string pre = "<pre class=\"card\">" + Escaped(card) + "</pre>\n";
      cards += target == "text" ? pre
                                : "<details><summary>" + std::string(target == "ufl" ? "UFL" : "CalculiX") +
                                      "</summary>\n" + pre + "</details>\n";
    } catch (const Fit::Error&) {
      continue;
    }
  }
  return cards.empty() ? "" : Section("use", "Use it", cards);
}

std::string Blocks(const std::string& id, const std::string& title, const std::vector<std::string>& texts) {
  std::string blocks;
  for (const std::string& text : texts) blocks += Block(text);
  return blocks.empty() ? "" : Section(id, title, blocks);
}

std::string Contents(const Report& report) {
  const Fit::Result& result = report.result;
  const std::string overview = Blocks("overview", "Overview", report.sections);
  const std::string details = Blocks("details", "Details", report.appendices);
  if (!report.fitted) return overview + details + Notes(result);
  return overview + Parameters(result) + Derived(result) + Curves(result) + StabilitySection(result) + details +
         Dropped(result) + Notes(result) + Correlation(result) + UseIt(result);
}

// --- the charts

std::string Element(const char* start, std::string_view contents, const char* end) {
  return std::string(start) + std::string(contents) + end;
}

/// A place for them; scripts fill it.
std::string Charts(const Figure& figure, bool fitted) {
  if (figure.panels.empty()) return "";
  return Section("figure", fitted ? "Measured and fitted" : "Curves",
                 "<noscript><p>The charts need JavaScript.</p></noscript>\n");
}

}  // namespace

void RequirePageFormat(const std::string& path) {
  const std::string extension = Lower(std::filesystem::path(path).extension().string());
  if (path == "-" || extension == ".html" || extension == ".htm") return;
  throw Failure(ExitCode::Usage, fmt::format("--report: {} must end in .html or .htm", Quoted(path)));
}

std::string WholePage(const std::string& command, const std::string& heading, const std::string& header,
                      const std::string& main, const Json& data, std::string_view script) {
  const std::string scripts = data.is_null() ? ""
                                             : Element("<script type=\"application/json\" id=\"figure-data\">",
                                                       ScriptJson(data), "</script>\n") +
                                                   Element("<script>\n", script, "</script>\n");
  return kHead + Element("<title>", Escaped(heading + " – xemfit " + command), "</title>\n") +
         Element("<style>\n", PageAssets::Style(), "</style>\n") + "</head>\n<body>\n<header>\n" +
         Element("<p class=\"command\">", Escaped("xemfit " + command), "</p>\n") +
         Element("<h1>", Escaped(heading), "</h1>\n") + header + "</header>\n<main>\n" + main +
         "</main>\n<footer><p>xemfit " XEM_VERSION "</p></footer>\n" + scripts + "</body>\n</html>\n";
}

std::string ReportPage(const std::string& command, const std::string& shellCommand, const Report& report) {
  const Figure figure = MakeFigure(report);
  return WholePage(command, ModelLabel(report.result), Summary(report),
                   Charts(figure, report.fitted) + Contents(report) +
                       Section("reproduce", "Reproduce",
                               Paragraph("In the same folder, with the same input files:") + Shell(shellCommand)),
                   figure.panels.empty() ? Json() : FigureJson(figure, report.result.residual), PageAssets::Script());
}

}  // namespace Xem::Tool
