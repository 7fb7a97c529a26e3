#include "output/json.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "failure.h"
#include "text.h"

namespace Xem::Tool {
namespace {

/// Bytes that are not UTF-8, such as a Latin-1 unit of a column, are replaced.
std::string Compact(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

bool IsFlat(const Json& value) {
  for (const Json& element : value) {
    if (element.is_structured() && !element.empty()) return false;
  }
  return true;
}

/// Indented, with arrays of numbers on one line.
void Write(const Json& value, int indent, std::string& out) {
  if (!value.is_structured() || value.empty() || (value.is_array() && IsFlat(value))) {
    out += Compact(value);
    return;
  }
  const std::string margin(static_cast<std::size_t>(indent) + 2, ' ');
  out += value.is_array() ? "[" : "{";
  const char* separator = "\n";
  for (const auto& [key, element] : value.items()) {
    out += separator + margin;
    if (value.is_object()) out += Compact(Json(key)) + ": ";
    Write(element, indent + 2, out);
    separator = ",\n";
  }
  out += '\n' + std::string(static_cast<std::size_t>(indent), ' ') + (value.is_array() ? "]" : "}");
}

Json ParameterJson(const Fit::Parameter& parameter) {
  return {{"name", parameter.name},
          {"value", parameter.value},
          {"standard_error", parameter.standardError},
          {"interval", Json::array({parameter.lower, parameter.upper})},
          {"held", parameter.held},
          {"unit", parameter.unit}};
}

Json MeasuresJson(const Fit::Measures& measures) {
  return {{"points", measures.points}, {"sse", measures.sse},   {"rmse", measures.rmse},
          {"r2", measures.r2},         {"aicc", measures.aicc}, {"objective", measures.objective}};
}

Json CurveJson(const Fit::CurveResult& curve) {
  return {{"name", curve.name},         {"points", curve.measures.points}, {"dropped", curve.measures.dropped},
          {"r2", curve.measures.r2},    {"rmse", curve.measures.rmse},     {"x", curve.x},
          {"measured", curve.measured}, {"fitted", curve.fitted}};
}

Json StabilityJson(const std::optional<Fit::Stability>& stability) {
  if (!stability) return nullptr;
  return {{"uniaxial_tension", stability->uniaxialTension},
          {"uniaxial_compression", stability->uniaxialCompression},
          {"equibiaxial_tension", stability->equibiaxialTension},
          {"equibiaxial_compression", stability->equibiaxialCompression},
          {"pure_shear_tension", stability->pureShearTension},
          {"pure_shear_compression", stability->pureShearCompression},
          {"text", stability->text}};
}

template <class Items, class ToJson>
Json ArrayOf(const Items& items, ToJson toJson) {
  Json array = Json::array();
  for (const auto& item : items) array.push_back(toJson(item));
  return array;
}

[[noreturn]] void Refuse(const std::string& source, const std::string& what) {
  throw Failure(ExitCode::BadData, source + ": " + what + "; a file written by --json is needed");
}

Json ComparedJson(const ComparedModel& one) {
  Json row = {{"model", one.model}, {"status", one.status}};
  if (one.numbers) {
    row["free_parameters"] = one.numbers->freeParameters;
    row["r2"] = one.numbers->r2;
    row["aicc"] = one.numbers->aicc;
    row["difference"] = one.numbers->difference;
  }
  row["proposed"] = one.proposed;
  return row;
}

Fit::Parameter StoredParameter(const Json& entry, const std::string& source) {
  if (!entry.is_object() || !entry.contains("name") || !entry["name"].is_string()) {
    Refuse(source, "an entry of \"parameters\" has no name");
  }
  Fit::Parameter parameter;
  parameter.name = entry["name"].get<std::string>();
  if (!entry.contains("value") || !entry["value"].is_number()) {
    Refuse(source, "parameter " + Quoted(parameter.name) + " has no value");
  }
  parameter.value = entry["value"].get<double>();
  if (entry.contains("unit") && entry["unit"].is_string()) parameter.unit = entry["unit"].get<std::string>();
  return parameter;
}

}  // namespace

void AddComparison(const std::vector<ComparedModel>& comparison, Json& document) {
  if (!comparison.empty()) document["comparison"] = ArrayOf(comparison, ComparedJson);
}

std::string JsonDocument(const std::string& command, const Report& report) {
  const Fit::Result& result = report.result;
  Json document = {
      {"schema", 1},
      {"command", command},
      {"model", result.model},
      {"terms", result.terms},
      {"residual", result.residual == Fit::Residual::Absolute ? "absolute" : "relative"},
      {"status", result.status},
      {"iterations", result.iterations},
      {"parameters", ArrayOf(result.parameters, ParameterJson)},
      {"correlation", ArrayOf(result.correlation, [](const std::vector<double>& row) { return Json(row); })},
      {"measures", MeasuresJson(result.measures)},
      {"curves", ArrayOf(result.curves, CurveJson)},
      {"dropped", ArrayOf(result.dropped,
                          [](const Fit::DroppedPoint& point) {
                            return Json{{"curve", point.curve}, {"row", point.row}, {"reason", point.reason}};
                          })},
      {"stability", StabilityJson(result.stability)},
      {"derived", Json(Json::value_t::object)},
      {"notes", result.notes},
  };
  for (const auto& [name, value] : result.derived) document["derived"][name] = value;
  AddComparison(report.comparison, document);
  if (report.amend) report.amend(document);
  std::string text;
  Write(document, 0, text);
  return text + '\n';
}

StoredModel ReadStoredModel(const std::string& text, const std::string& source) {
  const Json document = Json::parse(text, nullptr, false);
  if (document.is_discarded() || !document.is_object()) Refuse(source, "this is not a JSON document");
  if (!document.contains("model") || !document["model"].is_string()) Refuse(source, "the key \"model\" is missing");
  if (!document.contains("parameters") || !document["parameters"].is_array()) {
    Refuse(source, "the key \"parameters\" is missing");
  }
  StoredModel stored;
  stored.model = document["model"].get<std::string>();
  if (document.contains("terms") && document["terms"].is_number_integer()) {
    const auto terms = document["terms"].get<std::int64_t>();
    if (terms < 0 || terms > 1000) Refuse(source, "the value of \"terms\" makes no sense");
    stored.terms = static_cast<int>(terms);
  }
  for (const Json& entry : document["parameters"]) stored.parameters.push_back(StoredParameter(entry, source));
  if (document.contains("curves") && document["curves"].is_array()) {
    for (const Json& curve : document["curves"]) {
      if (curve.is_object() && curve.contains("name") && curve["name"].is_string()) {
        stored.curves.push_back(curve["name"].get<std::string>());
      }
    }
  }
  return stored;
}

}  // namespace Xem::Tool
