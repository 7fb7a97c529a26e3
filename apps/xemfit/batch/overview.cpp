#include "batch/overview.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>

#include "numbers.h"
#include "output/figure.h"
#include "output/html.h"
#include "output/page.h"
#include "output/shell.h"
#include "page_assets.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

using Kind = HtmlTable::Kind;

std::string Number(double value) { return std::isfinite(value) ? Shortly(value) : "–"; }

std::string WithUnit(const Fit::SummaryColumn& column) {
  const std::string unit = column.UnitText();
  return column.name + (unit.empty() ? "" : " (" + unit + ")");
}

/// A relative file name as the address of a link.
std::string Address(const std::string& file) {
  std::string address;
  for (const char letter : file) {
    const bool plain = std::isalnum(static_cast<unsigned char>(letter)) ||
                       std::string_view("-._~/").find(letter) != std::string_view::npos;
    address += plain ? std::string(1, letter) : fmt::format("%{:02X}", static_cast<unsigned char>(letter));
  }
  return "./" + address;
}

// --- what the script draws

Json OverviewAxis(const Axis& axis) { return {{"label", AxisLabel(axis)}, {"logarithmic", axis.logarithmic}}; }

bool SameAxes(const Outcome::Curve& a, const Outcome::Curve& b) {
  return a.x.label == b.x.label && a.y.label == b.y.label && Fit::ConversionFactor(a.x.unit, b.x.unit) &&
         Fit::ConversionFactor(a.y.unit, b.y.unit);
}

/// x and y in the units of `axes`.
Json InUnitsOf(const Outcome::Curve& axes, const Outcome::Curve& curve, const std::vector<double> (&values)[2]) {
  const double factors[] = {*Fit::ConversionFactor(curve.x.unit, axes.x.unit),
                            *Fit::ConversionFactor(curve.y.unit, axes.y.unit)};
  Json both = Json::array();
  for (const std::size_t side : {0, 1}) {
    Json converted = Json::array();
    for (const double value : values[side]) converted.push_back(value * factors[side]);
    both.push_back(std::move(converted));
  }
  return both;
}

/// Curves over the same axes share a picture, whatever they are called.
Json PicturesJson(const Fit::Summary& summary, const std::vector<OverviewSpecimen>& specimens) {
  std::vector<const Outcome::Curve*> firsts;
  Json pictures = Json::array();
  for (std::size_t i = 0; i < specimens.size(); ++i) {
    for (const Outcome::Curve& curve : specimens[i].curves) {
      auto first = std::find_if(firsts.begin(), firsts.end(), [&](const auto* one) { return SameAxes(curve, *one); });
      if (first == firsts.end()) {
        first = firsts.insert(firsts.end(), &curve);
        pictures.push_back({{"x", OverviewAxis(curve.x)}, {"y", OverviewAxis(curve.y)}, {"curves", Json::array()}});
      }
      pictures[static_cast<std::size_t>(first - firsts.begin())]["curves"].push_back(
          {{"specimen", i},
           {"counted", summary.Counted()[i] ? true : false},
           {"points", InUnitsOf(**first, curve, curve.points)},
           {"line", InUnitsOf(**first, curve, curve.line)}});
    }
  }
  return pictures;
}

Json HistogramsJson(const Fit::Summary& summary) {
  Json histograms = Json::array();
  for (const Fit::SummaryColumn& column : summary.Columns()) {
    if (!column.isParameter || column.mixedUnits) continue;
    Json values = Json::array();
    for (std::size_t i = 0; i < column.values.size(); ++i) {
      if (summary.Counted()[i] && std::isfinite(column.values[i])) values.push_back(column.values[i]);
    }
    if (values.size() > 1) histograms.push_back({{"label", WithUnit(column)}, {"values", std::move(values)}});
  }
  return histograms;
}

// --- what stands there without it

std::string Header(const Fit::Summary& summary) {
  const auto badge = [](const char* kind, std::size_t count, const char* what) {
    return count == 0 ? "" : Badge(kind, fmt::format("{} {}", count, what));
  };
  return "<p class=\"badges\">\n" + badge("plain", summary.Rows().size(), "specimens") +
         badge("good", summary.Count(Fit::kFitted), "fitted") +
         badge("warning", summary.Count(Fit::kDoubtful), "doubtful, not counted") +
         badge("bad", summary.FailedCount(), "failed") + "</p>\n";
}

std::string StatisticsTable(const Fit::Summary& summary) {
  HtmlTable table({{"Quantity", Kind::Text},
                   {"Unit", Kind::Text},
                   {"Mean"},
                   {"Standard deviation"},
                   {"Median"},
                   {"Robust deviation"},
                   {"Number"},
                   {"Lowest"},
                   {"Highest"}});
  for (const Fit::SummaryColumn& column : summary.Told()) {
    const Fit::SummaryColumn::Statistics s = column.Of(summary.Counted());
    table.Add({column.name, column.UnitText(), Number(s.mean), Number(s.deviation), Number(s.median),
               Number(s.robustDeviation), std::to_string(s.number), Number(s.lowest), Number(s.highest)});
  }
  return table.Text();
}

std::string SpecimenCell(const std::string& name, const std::vector<std::string>& files) {
  if (files.empty()) return Escaped(name);
  const auto page = std::find_if(files.begin(), files.end(), [](const std::string& file) {
    return Lower(file).ends_with(".html") || Lower(file).ends_with(".htm");
  });
  return fmt::format("<a href=\"{}\">{}</a>", Escaped(Address(page == files.end() ? files.front() : *page)),
                     Escaped(name));
}

std::string SpecimensTable(const Fit::Summary& summary, const std::vector<OverviewSpecimen>& specimens) {
  std::vector<Fit::SummaryColumn> columns;
  for (const Fit::SummaryColumn& column : summary.Columns()) {
    if (column.name == "points" || column.name == "dropped" || column.name == "r2" || column.isParameter)
      columns.push_back(column);
  }
  std::string head = "<th scope=\"col\">Specimen</th><th scope=\"col\">Status</th>";
  for (const Fit::SummaryColumn& column : columns) {
    head += "<th scope=\"col\" class=\"number\">" + Escaped(WithUnit(column)) + "</th>";
  }
  std::string body;
  for (std::size_t i = 0; i < summary.Rows().size(); ++i) {
    const Fit::Summary::Row& row = summary.Rows()[i];
    body += fmt::format("<tr data-specimen=\"{}\"><td>{}</td><td>{}</td>", i,
                        SpecimenCell(row.specimen, specimens[i].files), row.status);
    for (const Fit::SummaryColumn& column : columns) {
      const bool far = std::find(row.outlierIn.begin(), row.outlierIn.end(), column.name) != row.outlierIn.end();
      body += fmt::format("<td class=\"number{}\">{}</td>", far ? " far" : "", Number(column.values[i]));
    }
    body += "<td>" + Escaped(row.message) + "</td></tr>\n";
  }
  return "<div class=\"table\"><table id=\"specimen-table\">\n<thead><tr>" + head +
         "<th scope=\"col\">Message</th></tr></thead>\n<tbody>\n" + body + "</tbody>\n</table></div>\n";
}

}  // namespace

std::string OverviewPage(const std::vector<std::string>& recipe, const std::string& shellCommand,
                         const Fit::Summary& summary, const std::vector<OverviewSpecimen>& specimens) {
  const Json data = {{"pictures", PicturesJson(summary, specimens)}, {"histograms", HistogramsJson(summary)}};
  const std::string withoutScript = "<noscript><p>The charts need JavaScript.</p></noscript>\n";
  std::string main;
  if (!data["pictures"].empty()) main += Section("figure", "All curves", withoutScript);
  if (!data["histograms"].empty()) main += Section("histograms", "Parameters", withoutScript);
  main += Section("statistics", "Mean and scatter",
                  StatisticsTable(summary) +
                      Paragraph("Over the specimens that are fitted and not doubtful. The robust deviation is 1.4826 "
                                "times the median distance from the median: outliers hardly move it.")) +
          Section("specimens", "Specimens",
                  Paragraph("A click on a heading sorts, one on a row shows its curve above; marked numbers lie more "
                            "than 3.5 robust deviations from the median.") +
                      SpecimensTable(summary, specimens)) +
          Section("reproduce", "Reproduce",
                  Paragraph("In the same folder, with the same recipe and specimens:") + Shell(shellCommand) +
                      Paragraph("The command for one specimen:") + Shell(ShellCommand(recipe)));
  return WholePage(
      "batch",
      "Batch of " + Join({recipe.begin(), recipe.begin() + std::min<std::ptrdiff_t>(2, std::ssize(recipe))}, " "),
      Header(summary), main, data, PageAssets::OverviewScript());
}

}  // namespace Xem::Tool
