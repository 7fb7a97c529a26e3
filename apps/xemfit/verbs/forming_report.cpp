#include "verbs/forming_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <numeric>
#include <utility>

#include "numbers.h"
#include "output/json.h"
#include "output/text_table.h"
#include "text.h"

namespace Xem::Tool {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using Materials = std::vector<SheetMaterial>;

std::string LimitName(const SheetMaterial& material, const Materials& all) {
  return all.size() == 1 && !material.named ? "forming_limit" : material.name;
}

std::string Prefix(const SheetMaterial& material, const Materials& all) {
  return all.size() == 1 ? "" : material.name + " ";
}

std::string YieldText(const Fit::YieldCriterion& yield) {
  if (yield.name == "vonmises") return "vonmises";
  return fmt::format("hill1979:{},{}", Shortly(yield.r), Shortly(yield.m));
}

std::string HardeningText(const Fit::Hardening& hardening) {
  if (hardening.law == "table") return fmt::format("table of {} points", hardening.table.x.size());
  std::vector<std::string> constants;
  const std::size_t count = Fit::HardeningConstants(hardening.law).size();
  for (std::size_t k = 0; k < count; ++k) constants.push_back(Shortly(hardening.constants[k]));
  return hardening.law + ":" + Join(constants, ",");
}

// --- Parameters -----------------------------------------------------------------------------------------------------

void AddParameter(const Fit::Parameter& parameter, Fit::Result& result) {
  result.parameters.push_back(parameter);
  for (auto& row : result.correlation) row.push_back(kNaN);
  result.correlation.emplace_back(result.parameters.size(), kNaN);
}

void AddHeld(const std::string& name, double value, Fit::Result& result) {
  Fit::Parameter parameter;
  parameter.name = name;
  parameter.value = value;
  parameter.held = true;
  AddParameter(parameter, result);
}

void AddParameters(const SheetMaterial& material, const std::string& prefix, Fit::Result& result) {
  if (material.fit) {
    const Fit::Result& fit = material.fit->result;
    const std::size_t before = result.parameters.size();
    for (Fit::Parameter parameter : fit.parameters) {
      parameter.name = prefix + parameter.name;
      AddParameter(parameter, result);
    }
    for (std::size_t i = 0; i < fit.parameters.size(); ++i) {
      for (std::size_t j = 0; j < fit.parameters.size(); ++j) {
        result.correlation[before + i][before + j] = fit.correlation[i][j];
      }
    }
  } else {
    const auto names = Fit::HardeningConstants(material.hardening.law);
    for (std::size_t k = 0; k < names.size(); ++k) AddHeld(prefix + names[k], material.hardening.constants[k], result);
  }
  if (material.yield.name == "vonmises") return;
  // Hockett and Sherby's N and p and Ghosh's n are no r or m, so the names stay different.
  AddHeld(prefix + "r", material.yield.r, result);
  AddHeld(prefix + "m", material.yield.m, result);
}

// --- Measures of several fits ---------------------------------------------------------------------------------------

double TotalSquares(const std::vector<Fit::CurveResult>& curves) {
  std::vector<double> all;
  for (const auto& curve : curves) all.insert(all.end(), curve.measured.begin(), curve.measured.end());
  const double mean = std::accumulate(all.begin(), all.end(), 0.0) / static_cast<double>(all.size());
  double total = 0.0;
  for (const double value : all) total += (value - mean) * (value - mean);
  return total;
}

/// Fits of different materials have nothing in common but a sum of squares; criteria of choice are left open.
void AddMeasures(const Fit::Result& fit, Fit::Result& result) {
  result.measures.points += fit.measures.points;
  result.measures.dropped += fit.measures.dropped;
  result.measures.sse += fit.measures.sse;
  result.measures.objective += fit.measures.objective;
  result.measures.aicc = kNaN;
  result.measures.unit = fit.measures.unit;
}

void AddFit(const SheetMaterial& material, const std::string& prefix, Fit::Result& result) {
  const Fit::Result& fit = material.fit->result;
  result.residual = fit.residual;
  result.iterations += fit.iterations;
  result.curves.insert(result.curves.end(), fit.curves.begin(), fit.curves.end());
  result.dropped.insert(result.dropped.end(), fit.dropped.begin(), fit.dropped.end());
  for (const std::string& note : fit.notes) result.notes.push_back((prefix.empty() ? "" : material.name + ": ") + note);
  if (!fit.converged && result.converged) result.status = fit.status;
  result.converged = result.converged && fit.converged;
  AddMeasures(fit, result);
}

void NoteExtrapolation(const SheetMaterial& material, bool alone, Fit::Result& result) {
  const auto& x = material.fit->result.curves.front().x;
  const double end = *std::max_element(x.begin(), x.end());
  if (material.limit.largestStrain <= end) return;
  result.notes.push_back(
      fmt::format("{}the limit strains need the flow curve up to an equivalent strain of {}; the tensile test ends at "
                  "{}, beyond it the law decides",
                  alone ? "" : material.name + ": ", Shortly(material.limit.largestStrain), Shortly(end)));
}

/// Notes that begin with the name of a material and hold for several stand once, with all their names.
void JoinNotes(const Materials& all, std::vector<std::string>& notes) {
  struct Joined {
    std::string names;
    std::string text;
  };
  std::vector<Joined> joined;
  for (const std::string& note : notes) {
    Joined one{"", note};
    for (const SheetMaterial& material : all) {
      const std::string prefix = material.name + ": ";
      if (all.size() == 1 || note.rfind(prefix, 0) != 0) continue;
      one = {material.name, note.substr(prefix.size())};
      // The material says which curve it is.
      const std::string curve = "curve " + material.name + " tensile test: ";
      if (one.text.rfind(curve, 0) == 0) one.text.erase(0, curve.size());
      break;
    }
    const auto same = std::find_if(joined.begin(), joined.end(), [&](const Joined& other) {
      return !one.names.empty() && !other.names.empty() && other.text == one.text;
    });
    if (same == joined.end()) {
      joined.push_back(std::move(one));
    } else {
      same->names += ", " + one.names;
    }
  }
  notes.clear();
  for (const Joined& one : joined) notes.push_back(one.names.empty() ? one.text : one.names + ": " + one.text);
}

// --- Curves ---------------------------------------------------------------------------------------------------------

Fit::CurveResult LimitCurve(const SheetMaterial& material, const Materials& all) {
  Fit::CurveResult curve;
  curve.name = LimitName(material, all);
  curve.x = material.limit.minorStrain;
  curve.fitted = material.limit.majorStrain;
  curve.measures.r2 = curve.measures.rmse = kNaN;
  return curve;
}

/// Measured limits with the computed major strain at their minor strain, where there is one curve to compare with.
Fit::CurveResult MeasuredLimits(const Fit::Curve& measured, const Materials& all) {
  Fit::CurveResult curve;
  curve.name = measured.name;
  curve.x = measured.x;
  curve.measured = measured.y;
  for (const double minor : measured.x) {
    curve.fitted.push_back(all.size() == 1 ? Fit::LimitAt(all.front().limit, minor) : kNaN);
  }
  curve.measures.r2 = curve.measures.rmse = kNaN;
  return curve;
}

std::string Compared(const Fit::CurveResult& limits) {
  double square = 0.0;
  double sum = 0.0;
  int count = 0;
  for (std::size_t i = 0; i < limits.x.size(); ++i) {
    if (!std::isfinite(limits.fitted[i])) continue;
    const double difference = limits.measured[i] - limits.fitted[i];
    square += difference * difference;
    sum += difference;
    ++count;
  }
  if (count == 0) return "";
  return fmt::format(
      "measured limits: {} of {} points within the curve's range, on average {:+.3f} above it, "
      "root mean square {:.3f}",
      count, limits.x.size(), sum / count, std::sqrt(square / count));
}

// --- Text and JSON --------------------------------------------------------------------------------------------------

std::string Summary(const Materials& all) {
  using Align = TextTable::Align;
  TextTable table({{"Material", Align::Left},
                   {"Hardening", Align::Left},
                   {"Yield", Align::Left},
                   {"Limit points"},
                   {"Plane strain limit"}});
  for (const SheetMaterial& material : all) {
    table.Add({material.name, HardeningText(material.hardening), YieldText(material.yield),
               std::to_string(material.limit.majorStrain.size()), Shortly(material.limit.PlaneStrainLimit())});
  }
  const Fit::FormingLimitSettings& settings = all.front().limit.settings;
  return table.Text() + fmt::format("{} paths, increment {}, tolerance {}\n", settings.paths,
                                    Shortly(settings.increment), Shortly(settings.tolerance));
}

std::string LimitTable(const Fit::FormingLimit& limit) {
  TextTable table({{"Minor strain"}, {"Major strain"}, {"", TextTable::Align::Left}});
  for (std::size_t i = 0; i < limit.minorStrain.size(); ++i) {
    table.Add(
        {Shortly(limit.minorStrain[i]), Shortly(limit.majorStrain[i]), i == limit.planeStrain ? "plane strain" : ""});
  }
  return table.Text();
}

Json MaterialJson(const SheetMaterial& material) {
  Json entry = {{"name", material.name},
                {"hardening", material.hardening.law},
                {"constants", material.hardening.constants},
                {"yield", material.yield.name},
                {"r", material.yield.name == "vonmises" ? Json() : Json(material.yield.r)},
                {"m", material.yield.name == "vonmises" ? Json() : Json(material.yield.m)},
                {"paths", material.limit.settings.paths},
                {"increment", material.limit.settings.increment},
                {"tolerance", material.limit.settings.tolerance},
                {"plane_strain_limit", material.limit.PlaneStrainLimit()},
                {"minor_strain", material.limit.minorStrain},
                {"major_strain", material.limit.majorStrain}};
  if (material.fit) AddComparison(material.fit->comparison, entry);
  return entry;
}

Json MaterialsJson(const Materials& all) {
  Json entries = Json::array();
  for (const SheetMaterial& material : all) entries.push_back(MaterialJson(material));
  return entries;
}

/// Limit curves carry their strains by name, too.
void NameStrains(const std::vector<std::string>& limits, const std::string& measured, Json& document) {
  for (Json& curve : document["curves"]) {
    const std::string name = curve["name"].get<std::string>();
    const bool isMeasured = name == measured;
    if (!isMeasured && std::find(limits.begin(), limits.end(), name) == limits.end()) continue;
    curve["points"] = curve["x"].size();
    curve["minor_strain"] = curve["x"];
    curve["major_strain"] = curve[isMeasured ? "measured" : "fitted"];
  }
}

// --- Panels ---------------------------------------------------------------------------------------------------------

Panel LimitPanel(const Materials& all, const std::vector<std::string>& curves, bool measured) {
  Panel panel{"Forming-limit diagram", {"minor strain", "", false, false}, {"major strain", "", false, true}, {}};
  panel.curves = curves;
  if (measured) panel.curves.push_back("measured_limits");
  panel.lines = "computed";
  for (std::size_t i = 0; i < all.size(); ++i) {
    const double major = all[i].limit.PlaneStrainLimit();
    panel.marks.push_back({0.0, major, fmt::format("plane strain {:.3f}", major), curves[i]});
  }
  return panel;
}

Panel FlowPanel(const Materials& all, const std::string& stressUnit) {
  Panel panel{"Flow curve", {"plastic strain", "", false, true}, {"true stress", stressUnit, false, false}, {}};
  for (const SheetMaterial& material : all) {
    if (material.fit) panel.curves.push_back(material.fit->result.curves.front().name);
  }
  return panel;
}

/// A law where one was fitted to a single material.
std::string ModelOf(const Materials& all) {
  return all.size() == 1 && all.front().fit ? all.front().hardening.law : "forming-limit";
}

/// Tensile curves by their names; limit curves have points of their own.
std::function<double(const std::string&, double)> EvaluateFlow(const Materials& all) {
  std::vector<std::function<double(const std::string&, double)>> laws;
  for (const SheetMaterial& material : all) {
    if (material.fit) laws.push_back(material.fit->result.evaluate);
  }
  return [laws](const std::string& curve, double x) {
    for (std::size_t i = 0; i + 1 < laws.size(); ++i) {
      try {
        return laws[i](curve, x);
      } catch (const Fit::Error&) {
        continue;  // the curve of another material
      }
    }
    if (laws.empty()) throw Fit::Error(Fit::ErrorKind::BadInput, "there is no curve " + curve);
    return laws.back()(curve, x);
  };
}

}  // namespace

Report FormingReport(Materials materials, const std::optional<Fit::Curve>& measured, const std::string& stressUnit) {
  Report report;
  Fit::Result& result = report.result;
  result.model = ModelOf(materials);
  result.converged = true;
  result.status = "computed";
  result.measures = {};
  report.fitted = false;
  for (const SheetMaterial& material : materials) {
    const std::string prefix = Prefix(material, materials);
    AddParameters(material, prefix, result);
    if (!material.fit) continue;
    if (!report.fitted) result.status = "converged";
    report.fitted = true;
    AddFit(material, prefix, result);
    NoteExtrapolation(material, materials.size() == 1, result);
    for (const std::string& section : material.fit->sections) {
      report.sections.push_back((prefix.empty() ? "" : material.name + "\n") + section);
    }
  }
  if (report.fitted) {
    const double total = TotalSquares(result.curves);
    result.measures.rmse = std::sqrt(result.measures.sse / result.measures.points);
    result.measures.r2 = 1.0 - result.measures.sse / total;
    if (materials.size() == 1) result.measures = materials.front().fit->result.measures;
    report.panels.push_back(FlowPanel(materials, stressUnit));
  } else {
    result.measures.r2 = result.measures.rmse = result.measures.aicc = kNaN;
  }

  std::vector<std::string> limitNames;
  for (const SheetMaterial& material : materials) {
    limitNames.push_back(LimitName(material, materials));
    result.curves.push_back(LimitCurve(material, materials));
    result.derived[Prefix(material, materials) + "plane_strain_limit"] = material.limit.PlaneStrainLimit();
    for (const std::string& note : material.limit.notes) {
      result.notes.push_back((materials.size() == 1 ? "" : material.name + ": ") + note);
    }
  }
  JoinNotes(materials, result.notes);
  if (measured) {
    result.curves.push_back(MeasuredLimits(*measured, materials));
    const std::string compared = Compared(result.curves.back());
    if (!compared.empty()) result.notes.push_back(compared);
  }
  result.evaluate = EvaluateFlow(materials);

  report.panels.push_back(LimitPanel(materials, limitNames, measured.has_value()));
  report.sections.insert(report.sections.begin(), Summary(materials));
  if (materials.size() == 1 && !report.fitted) report.sections.push_back('\n' + LimitTable(materials.front().limit));
  report.amend = [entries = MaterialsJson(materials), limitNames](Json& document) {
    NameStrains(limitNames, "measured_limits", document);
    document["materials"] = entries;
  };
  return report;
}

}  // namespace Xem::Tool
