#include "xem/fit/json.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "fit/assemble.h"
#include "fit/model.h"
#include "fit/no_number.h"

namespace Xem::Fit {
namespace {

/// Keys keep the order in which they are added.
using Json = nlohmann::ordered_json;

constexpr int kSchema = 2;

/// Documents of fits are four levels deep; a text of others must not exhaust the stack.
constexpr int kDeepest = 200;

/// No document of a fit has a longer series.
constexpr std::int64_t kMostStoredTerms = 1000;

// --- Writing ---------------------------------------------------------------------------------------------------------

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
  if (indent > 2 * kDeepest) {
    throw Error(ErrorKind::BadData, "this JSON is more than " + std::to_string(kDeepest) + " levels deep");
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

template <class Items, class Convert>
Json ArrayOf(const Items& items, Convert convert) {
  Json array = Json::array();
  for (const auto& item : items) array.push_back(convert(item));
  return array;
}

/// An object even where there is nothing in it.
template <class Map>
Json ObjectOf(const Map& map) {
  Json object = Json::object();
  for (const auto& [name, value] : map) object[name] = value;
  return object;
}

Json SquareJson(const std::vector<std::vector<double>>& matrix) {
  return ArrayOf(matrix, [](const std::vector<double>& row) { return Json(row); });
}

Json ParameterJson(const Parameter& parameter, bool bootstrap) {
  Json json = {{"name", parameter.name},
               {"value", parameter.value},
               {"standard_error", parameter.standardError},
               {"interval", Json::array({parameter.lower, parameter.upper})}};
  if (bootstrap) json["bootstrap_interval"] = Json::array({parameter.bootstrapLower, parameter.bootstrapUpper});
  json["held"] = parameter.held;
  json["at_bound"] = parameter.atBound;
  json["identifiable"] = parameter.identifiable;
  json["unit"] = parameter.unit;
  return json;
}

Json MeasuresJson(const Measures& measures) {
  return {{"points", measures.points}, {"sse", measures.sse},   {"rmse", measures.rmse},
          {"r2", measures.r2},         {"aicc", measures.aicc}, {"objective", measures.objective},
          {"unit", measures.unit}};
}

Json CurveJson(const CurveResult& curve) {
  Json json = {{"name", curve.name},         {"points", curve.measures.points}, {"dropped", curve.measures.dropped},
               {"r2", curve.measures.r2},    {"rmse", curve.measures.rmse},     {"x", curve.x},
               {"measured", curve.measured}, {"fitted", curve.fitted}};
  if (!curve.lower.empty()) {
    json["lower"] = curve.lower;
    json["upper"] = curve.upper;
  }
  if (!curve.companion.empty()) json["companion"] = curve.companion;
  if (!curve.conditions.empty()) json["conditions"] = ObjectOf(curve.conditions);
  return json;
}

/// The six limits by their keys.
struct NamedLimit {
  const char* key;
  double Stability::*value;
};
constexpr NamedLimit kNamedLimits[] = {{"uniaxial_tension", &Stability::uniaxialTension},
                                       {"uniaxial_compression", &Stability::uniaxialCompression},
                                       {"equibiaxial_tension", &Stability::equibiaxialTension},
                                       {"equibiaxial_compression", &Stability::equibiaxialCompression},
                                       {"pure_shear_tension", &Stability::pureShearTension},
                                       {"pure_shear_compression", &Stability::pureShearCompression}};

Json StabilityJson(const std::optional<Stability>& stability) {
  if (!stability) return nullptr;
  Json json;
  for (const NamedLimit& limit : kNamedLimits) json[limit.key] = (*stability).*limit.value;
  json["intervals"] = Json::object();
  for (const auto& [name, interval] : stability->intervals) {
    json["intervals"][name] = Json::array({interval.lower, interval.upper});
  }
  json["text"] = stability->text;
  return json;
}

Json DerivedJson(const Result& result) {
  Json derived = Json::array();
  for (const auto& [name, value] : result.derived) {
    const auto unit = result.derivedUnits.find(name);
    derived.push_back(
        {{"name", name}, {"value", value}, {"unit", unit == result.derivedUnits.end() ? "" : unit->second}});
  }
  return derived;
}

Json InputJson(const Input& input) {
  return {{"curve", input.curve},     {"file", input.file}, {"sha256", input.sha256},
          {"columns", input.columns}, {"rows", input.rows}, {"understood", input.understood}};
}

const char* Word(Residual residual) { return residual == Residual::Absolute ? "absolute" : "relative"; }

/// A side without a limit is null.
Json IntervalsJson(const std::map<std::string, Interval>& intervals) {
  Json object = Json::object();
  for (const auto& [name, interval] : intervals) object[name] = {interval.lower, interval.upper};
  return object;
}

Json OptionsJson(const Options& options) {
  Json json = {{"residual", Word(options.residual)},
               {"engine", options.engine == Engine::Best ? "best" : "export"},
               {"hold", ObjectOf(options.held)},
               {"start", ObjectOf(options.start)},
               {"condition_limit", options.conditionLimit},
               {"bounds", IntervalsJson(options.bounds)},
               {"range", IntervalsJson(options.ranges)},
               {"level", options.level},
               {"bootstrap", options.bootstrap},
               {"seed", options.seed},
               {"band", options.band}};
  // Documents of fits that don't ask for it stay as they were.
  if (options.stable) json["stable"] = true;
  return json;
}

// --- Reading ---------------------------------------------------------------------------------------------------------

/// One document and where it came from.
class Reader {
 public:
  explicit Reader(std::string source) : source_(std::move(source)) {}

  [[noreturn]] void Refuse(const std::string& what) const {
    throw Error(ErrorKind::BadData, source_ + ": " + what + "; a file written by --json is needed");
  }

  /// Entries that are missing, or of another kind, count as not there.
  static std::string TextAt(const Json& object, const char* key) {
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_string() ? entry->get<std::string>() : std::string();
  }
  static double NumberAt(const Json& object, const char* key) {
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_number() ? entry->get<double>() : kNaN;
  }
  static int CountAt(const Json& object, const char* key) {
    const auto entry = object.find(key);
    if (entry == object.end() || !entry->is_number_integer()) return 0;
    const auto count = entry->get<std::int64_t>();
    return count < 0 || count > std::numeric_limits<int>::max() ? 0 : static_cast<int>(count);
  }
  static std::vector<double> NumbersAt(const Json& object, const char* key) {
    std::vector<double> numbers;
    for (const Json& entry : ArrayAt(object, key)) numbers.push_back(entry.is_number() ? entry.get<double>() : kNaN);
    return numbers;
  }
  static std::vector<std::string> TextsAt(const Json& object, const char* key) {
    std::vector<std::string> texts;
    for (const Json& entry : ArrayAt(object, key)) {
      if (entry.is_string()) texts.push_back(entry.get<std::string>());
    }
    return texts;
  }
  static const Json& ArrayAt(const Json& object, const char* key) {
    static const Json none = Json::array();
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_array() ? *entry : none;
  }
  static const Json& ObjectAt(const Json& object, const char* key) {
    static const Json none = Json::object();
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_object() ? *entry : none;
  }
  static bool TruthAt(const Json& object, const char* key, bool otherwise) {
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_boolean() ? entry->get<bool>() : otherwise;
  }
  /// Sides that are no numbers have no limit.
  static std::map<std::string, Interval> IntervalsAt(const Json& object, const char* key) {
    std::map<std::string, Interval> map;
    for (const auto& [name, value] : ObjectAt(object, key).items()) {
      if (!value.is_array() || value.size() != 2) continue;
      Interval& interval = map[name];
      if (value[0].is_number()) interval.lower = value[0].get<double>();
      if (value[1].is_number()) interval.upper = value[1].get<double>();
    }
    return map;
  }
  static std::map<std::string, double> MapAt(const Json& object, const char* key) {
    std::map<std::string, double> map;
    for (const auto& [name, value] : ObjectAt(object, key).items()) {
      if (value.is_number()) map[name] = value.get<double>();
    }
    return map;
  }

  Parameter ReadParameter(const Json& entry) const {
    if (!entry.is_object() || !entry.contains("name") || !entry["name"].is_string()) {
      Refuse("an entry of \"parameters\" has no name");
    }
    Parameter parameter;
    parameter.name = entry["name"].get<std::string>();
    if (!entry.contains("value") || !entry["value"].is_number()) {
      Refuse("parameter \"" + parameter.name + "\" has no value");
    }
    parameter.value = entry["value"].get<double>();
    parameter.unit = TextAt(entry, "unit");
    parameter.standardError = NumberAt(entry, "standard_error");
    const std::vector<double> interval = NumbersAt(entry, "interval");
    if (interval.size() == 2) {
      parameter.lower = interval[0];
      parameter.upper = interval[1];
    }
    const std::vector<double> bootstrap = NumbersAt(entry, "bootstrap_interval");
    if (bootstrap.size() == 2) {
      parameter.bootstrapLower = bootstrap[0];
      parameter.bootstrapUpper = bootstrap[1];
    }
    parameter.held = TruthAt(entry, "held", false);
    parameter.atBound = TruthAt(entry, "at_bound", false);
    parameter.identifiable = TruthAt(entry, "identifiable", true);
    return parameter;
  }

  int ReadTerms(const Json& document) const {
    const auto terms = document.find("terms");
    if (terms == document.end() || !terms->is_number_integer()) return 0;
    const auto count = terms->get<std::int64_t>();
    if (count < 0 || count > kMostStoredTerms) Refuse("the value of \"terms\" makes no sense");
    return static_cast<int>(count);
  }

 private:
  std::string source_;
};

/// Square, or nothing.
std::vector<std::vector<double>> ReadSquare(const Json& document, const char* key, std::size_t size) {
  std::vector<std::vector<double>> matrix;
  for (const Json& row : Reader::ArrayAt(document, key)) {
    matrix.emplace_back();
    if (!row.is_array()) return {};
    for (const Json& entry : row) matrix.back().push_back(entry.is_number() ? entry.get<double>() : kNaN);
    if (matrix.back().size() != size) return {};
  }
  if (matrix.size() != size) matrix.clear();
  return matrix;
}

Measures ReadMeasures(const Json& object) {
  Measures measures;
  measures.points = Reader::CountAt(object, "points");
  measures.dropped = Reader::CountAt(object, "dropped");
  measures.sse = Reader::NumberAt(object, "sse");
  measures.rmse = Reader::NumberAt(object, "rmse");
  measures.r2 = Reader::NumberAt(object, "r2");
  measures.aicc = Reader::NumberAt(object, "aicc");
  measures.objective = Reader::NumberAt(object, "objective");
  measures.unit = Reader::TextAt(object, "unit");
  return measures;
}

CurveResult ReadCurve(const Json& entry) {
  CurveResult curve;
  curve.name = Reader::TextAt(entry, "name");
  curve.measures = ReadMeasures(entry);
  curve.x = Reader::NumbersAt(entry, "x");
  curve.measured = Reader::NumbersAt(entry, "measured");
  curve.fitted = Reader::NumbersAt(entry, "fitted");
  curve.lower = Reader::NumbersAt(entry, "lower");
  curve.upper = Reader::NumbersAt(entry, "upper");
  curve.companion = Reader::NumbersAt(entry, "companion");
  curve.conditions = Reader::MapAt(entry, "conditions");
  return curve;
}

std::optional<Stability> ReadStability(const Json& document) {
  const Json& object = Reader::ObjectAt(document, "stability");
  if (object.empty()) return std::nullopt;
  Stability stability;
  for (const NamedLimit& limit : kNamedLimits) stability.*limit.value = Reader::NumberAt(object, limit.key);
  for (const auto& [name, ends] : Reader::ObjectAt(object, "intervals").items()) {
    if (!ends.is_array() || ends.size() != 2) continue;
    // An end that is null: no limit on that side.
    const bool tension = name.find("tension") != std::string::npos;
    StabilityInterval& interval = stability.intervals[name];
    interval.lower = ends[0].is_number() ? ends[0].get<double>() : (tension ? 0.0 : -HUGE_VAL);
    interval.upper = ends[1].is_number() ? ends[1].get<double>() : (tension ? HUGE_VAL : 0.0);
  }
  stability.text = Reader::TextAt(object, "text");
  return stability;
}

/// A list with units, or, in schema 1, an object of numbers.
void ReadDerived(const Json& document, Result& result) {
  result.derived = Reader::MapAt(document, "derived");
  for (const Json& entry : Reader::ArrayAt(document, "derived")) {
    if (!entry.is_object()) continue;
    const std::string name = Reader::TextAt(entry, "name");
    const std::string unit = Reader::TextAt(entry, "unit");
    result.derived[name] = Reader::NumberAt(entry, "value");
    if (!unit.empty()) result.derivedUnits[name] = unit;
  }
}

Residual ReadResidual(const Json& object) {
  return Reader::TextAt(object, "residual") == "relative" ? Residual::Relative : Residual::Absolute;
}

Options StoredOptions(const Json& document) {
  const Json& object = Reader::ObjectAt(document, "options");
  Options options;
  options.residual = object.contains("residual") ? ReadResidual(object) : ReadResidual(document);
  options.engine = Reader::TextAt(object, "engine") == "export" ? Engine::Export : Engine::Best;
  options.held = Reader::MapAt(object, "hold");
  options.start = Reader::MapAt(object, "start");
  const double limit = Reader::NumberAt(object, "condition_limit");
  if (!std::isnan(limit)) options.conditionLimit = limit;
  options.bounds = Reader::IntervalsAt(object, "bounds");
  options.ranges = Reader::IntervalsAt(object, "range");
  const double level = Reader::NumberAt(object, "level");
  if (level > 0.0 && level < 1.0) options.level = level;
  options.bootstrap = Reader::CountAt(object, "bootstrap");
  const auto seed = object.find("seed");
  if (seed != object.end() && seed->is_number_unsigned()) options.seed = seed->get<std::uint64_t>();
  options.band = Reader::TruthAt(object, "band", false);
  options.stable = Reader::TruthAt(object, "stable", false);
  return options;
}

/// Straight between the fitted points of a curve; nothing beyond them.
double Interpolate(const std::vector<double>& x, const std::vector<double>& y, double at) {
  for (std::size_t i = 0; i + 1 < std::min(x.size(), y.size()); ++i) {
    if (!((at - x[i]) * (at - x[i + 1]) <= 0.0)) continue;
    return x[i] == x[i + 1] ? y[i] : y[i] + (y[i + 1] - y[i]) / (x[i + 1] - x[i]) * (at - x[i]);
  }
  return kNaN;
}

/// The curves that a stored result can be asked for: those of its fit and those that the model explains.
std::set<std::string> CurveNames(const Result& result) {
  std::set<std::string> names;
  for (const CurveResult& curve : result.curves) names.insert(curve.name);
  const ModelInfo* info = FindModel(result.model);
  if (info == nullptr) return names;
  for (const CurveInfo& curve : info->curves) names.insert(curve.name);
  return names;
}

/// Of a model of the catalogue; other curves, such as limits of forming, are what was stored of them. Says what is
/// wrong when it is asked.
Evaluator MakeStoredEvaluator(const Result& result) {
  Evaluator law;
  try {
    const Model& model = ModelCalled(result.model);
    if (model.restore != nullptr) law = model.restore(result);
  } catch (const Error& error) {
    law = [error](const std::string&, double) -> double { throw error; };
  }
  return [law, names = CurveNames(result), curves = result.curves](const std::string& name, double x) {
    if (names.count(name) == 0) throw Error(ErrorKind::BadInput, "there is no curve " + name);
    if (law) return law(name, x);
    for (const CurveResult& curve : curves) {
      if (curve.name == name) return Interpolate(curve.x, curve.fitted, x);
    }
    return kNaN;
  };
}

}  // namespace

std::string ToJson(const Result& result, const std::string& command) {
  const Json document = {
      {"schema", kSchema},
      {"version", result.version},
      {"command", command},
      {"model", result.model},
      {"terms", result.terms},
      {"formula", result.formula},
      {"residual", Word(result.residual)},
      {"status", result.status},
      {"iterations", result.iterations},
      {"parameters",
       ArrayOf(result.parameters,
               [&](const Parameter& parameter) { return ParameterJson(parameter, result.options.bootstrap > 0); })},
      {"correlation", SquareJson(result.correlation)},
      {"covariance", SquareJson(result.covariance)},
      {"measures", MeasuresJson(result.measures)},
      {"curves", ArrayOf(result.curves, CurveJson)},
      {"dropped", ArrayOf(result.dropped,
                          [](const DroppedPoint& point) {
                            return Json{{"curve", point.curve}, {"row", point.row}, {"reason", point.reason}};
                          })},
      {"stability", StabilityJson(result.stability)},
      {"derived", DerivedJson(result)},
      {"inputs", ArrayOf(result.inputs, InputJson)},
      {"options", OptionsJson(result.options)},
      {"notes", result.notes},
  };
  std::string text;
  Write(document, 0, text);
  return text + '\n';
}

Result FromJson(const std::string& text, const std::string& source) {
  const Reader reader(source);
  const Json document = Json::parse(text, nullptr, false);
  if (document.is_discarded() || !document.is_object()) reader.Refuse("this is not a JSON document");
  if (!document.contains("model") || !document["model"].is_string()) reader.Refuse("the key \"model\" is missing");
  if (!document.contains("parameters") || !document["parameters"].is_array()) {
    reader.Refuse("the key \"parameters\" is missing");
  }
  Result result;
  result.model = document["model"].get<std::string>();
  result.terms = reader.ReadTerms(document);
  result.formula = Reader::TextAt(document, "formula");
  result.residual = ReadResidual(document);
  result.status = Reader::TextAt(document, "status");
  result.converged = result.status == "converged" || result.status == kNotIdentifiable;
  result.iterations = Reader::CountAt(document, "iterations");
  for (const Json& entry : document["parameters"]) result.parameters.push_back(reader.ReadParameter(entry));
  result.correlation = ReadSquare(document, "correlation", result.parameters.size());
  result.covariance = ReadSquare(document, "covariance", result.parameters.size());
  result.measures = ReadMeasures(Reader::ObjectAt(document, "measures"));
  for (const Json& entry : Reader::ArrayAt(document, "curves")) {
    if (entry.is_object()) result.curves.push_back(ReadCurve(entry));
  }
  for (const Json& entry : Reader::ArrayAt(document, "dropped")) {
    if (!entry.is_object()) continue;
    result.dropped.push_back(
        {Reader::TextAt(entry, "curve"), Reader::CountAt(entry, "row"), Reader::TextAt(entry, "reason")});
  }
  result.measures.dropped = static_cast<int>(result.dropped.size());
  result.stability = ReadStability(document);
  ReadDerived(document, result);
  for (const Json& entry : Reader::ArrayAt(document, "inputs")) {
    if (!entry.is_object()) continue;
    result.inputs.push_back({Reader::TextAt(entry, "curve"), Reader::TextAt(entry, "file"),
                             Reader::TextAt(entry, "sha256"), Reader::TextsAt(entry, "columns"),
                             Reader::CountAt(entry, "rows"), Reader::TextAt(entry, "understood")});
  }
  result.options = StoredOptions(document);
  result.version = Reader::TextAt(document, "version");
  result.notes = Reader::TextsAt(document, "notes");
  result.evaluate = MakeStoredEvaluator(result);
  return result;
}

std::string IndentJson(const std::string& text) {
  const Json document = Json::parse(text, nullptr, false);
  if (document.is_discarded()) throw Error(ErrorKind::BadData, "this is not JSON");
  std::string indented;
  Write(document, 0, indented);
  return indented + '\n';
}

}  // namespace Xem::Fit
