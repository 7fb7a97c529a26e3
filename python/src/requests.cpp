#include "requests.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <map>
#include <numbers>
#include <numeric>
#include <optional>
#include <utility>
#include <variant>

namespace py = pybind11;

namespace Xem::Python {
namespace {

using Numbers = py::array_t<double, py::array::c_style | py::array::forcecast>;

[[noreturn]] void Refuse(const std::string& what) { throw Fit::Error(Fit::ErrorKind::BadInput, what); }

template <class Value>
Value Cast(const py::handle& given, const char* name, const char* wanted) {
  try {
    return given.cast<Value>();
  } catch (const py::cast_error&) {
    Refuse(std::string(name) + ": " + std::string(py::repr(given)) + " is not " + wanted);
  }
}

std::vector<double> NumbersFrom(const py::handle& given) {
  const auto array = Numbers::ensure(given);
  if (!array) throw py::error_already_set();
  return {array.data(), array.data() + array.size()};
}

/// Sides that are None have no limit.
Fit::Interval IntervalFrom(const py::handle& given, const char* name) {
  const auto ends = Cast<std::pair<std::optional<double>, std::optional<double>>>(given, name, "a pair (lower, upper)");
  Fit::Interval interval;
  interval.lower = ends.first.value_or(interval.lower);
  interval.upper = ends.second.value_or(interval.upper);
  return interval;
}

std::map<std::string, Fit::Interval> IntervalsFrom(const py::object& given, const char* name) {
  std::map<std::string, Fit::Interval> intervals;
  if (given.is_none()) return intervals;
  for (const auto& [key, value] : Cast<py::dict>(given, name, "a dictionary of pairs")) {
    intervals[Cast<std::string>(key, name, "a name")] = IntervalFrom(value, name);
  }
  return intervals;
}

std::map<std::string, double> ValuesFrom(const py::object& given, const char* name) {
  if (given.is_none()) return {};
  return Cast<std::map<std::string, double>>(given, name, "a dictionary of numbers");
}

/// The curve of a slot as the catalogue describes it, null for one that no model is fitted to.
const Fit::CurveInfo* InfoOf(const std::string& slot) {
  for (const Fit::ModelInfo& model : Fit::Models()) {
    for (const Fit::CurveInfo& curve : model.curves) {
      if (curve.name == slot) return &curve;
    }
  }
  return nullptr;
}

/// The unit that the caller names for a kind of unit, such as "stress".
std::string UnitNamed(std::string kind, const py::dict& units) {
  if (kind == "1/time") kind = "frequency";
  return units.contains(kind) ? units[kind.c_str()].cast<std::string>() : "";
}

std::string UsualName(const Fit::Role& role) { return std::string(role.accepted.begin()->name); }

/// What the columns of a slot are.
Fit::CurveRoles RolesFor(const std::string& slot) {
  if (slot == "storage") return {Fit::Roles::kFrequency, Fit::Roles::kStorage};
  if (slot == "loss") return {Fit::Roles::kFrequency, Fit::Roles::kLoss};
  return Fit::RolesOf(slot);
}

/// A table of arrays.
Fit::Table TableOf(const std::string& slot, const py::object& x, const py::object& y, const py::object& companion,
                   Keywords& entries) {
  const Fit::CurveRoles roles = RolesFor(slot);
  const auto units = entries.Take("units").cast<py::dict>();
  const Fit::CurveInfo* info = InfoOf(slot);
  Fit::Table table;
  table.columns = {{UsualName(roles.x)}, {UsualName(roles.y)}};
  if (info != nullptr) {
    table.columns[0].unit = UnitNamed(info->xUnit, units);
    table.columns[1].unit = UnitNamed(info->yUnit, units);
  } else if (slot == "grading") {
    table.columns[0].unit = UnitNamed("diameter", units);
  }
  // A unit of stress says that the ordinates are moduli, not ratios.
  if (slot == "relaxation") table.columns[1].unit = UnitNamed("stress", units);
  std::string water;
  entries.Read("water", water);
  if (water == "saturation") table.columns[1].name = UsualName(Fit::Roles::kSaturation);
  table.columns[0].numbers = NumbersFrom(x);
  table.columns[1].numbers = NumbersFrom(y);
  if (!companion.is_none() && roles.companion) {
    table.columns.push_back({UsualName(*roles.companion), "", NumbersFrom(companion)});
  }
  return table;
}

/// A table of named columns, of numbers or of texts.
Fit::Table TableOf(const py::list& columns) {
  Fit::Table table;
  for (const py::handle& one : columns) {
    const auto column = one.cast<std::pair<std::string, py::object>>();
    table.columns.push_back({column.first});
    if (!py::isinstance<py::list>(column.second)) {
      table.columns.back().numbers = NumbersFrom(column.second);
      continue;
    }
    for (const py::handle& cell : column.second) {
      const auto text = cell.cast<std::string>();
      table.columns.back().texts.push_back({table.columns.back().numbers.size(), text});
      table.columns.back().numbers.push_back(std::numeric_limits<double>::quiet_NaN());
    }
  }
  return table;
}

void NumberLines(const std::string& name, Fit::Table& table) {
  for (const Fit::Column& column : table.columns) {
    if (column.numbers.size() == table.columns.front().numbers.size()) continue;
    throw Fit::Error(Fit::ErrorKind::BadData,
                     "curve " + name + ": " + std::to_string(table.columns.front().numbers.size()) + " abscissae and " +
                         std::to_string(column.numbers.size()) + " ordinates");
  }
  table.lines.resize(table.columns.front().numbers.size());
  std::iota(table.lines.begin(), table.lines.end(), 1);
}

Fit::DecimalSign DecimalFrom(Keywords& keywords) {
  auto decimal = Fit::DecimalSign::Automatic;
  keywords.Read("decimal", decimal, {{"point", Fit::DecimalSign::Point}, {"comma", Fit::DecimalSign::Comma}});
  return decimal;
}

std::map<std::string, std::string> TextsFrom(const py::object& given, const char* name) {
  std::map<std::string, std::string> texts;
  if (given.is_none()) return texts;
  for (const auto& [key, value] : Cast<py::dict>(given, name, "a dictionary")) {
    texts[py::str(key)] = py::str(value);
  }
  return texts;
}

std::string Exactly(double value) {
  char buffer[32];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr};
}

Fit::TestTable TestFrom(const py::dict& given, const Fit::ReadOptions& options) {
  Keywords entries(given);
  std::string slot;
  entries.Read("slot", slot);
  Fit::TestTable test;
  test.curve = slot;
  entries.Read("name", test.curve);
  const py::object text = entries.Take("text");
  const py::object columns = entries.Take("table");
  std::string source = test.curve;
  entries.Read("source", source);
  if (!text.is_none()) {
    test.table = Fit::ParseTable(text.cast<std::string>(), source, options);
  } else if (!columns.is_none()) {
    test.table = TableOf(columns.cast<py::list>());
    NumberLines(test.curve, test.table);
  } else {
    const py::object x = entries.Take("x");
    const py::object y = entries.Take("y");
    test.table = TableOf(slot, x, y, entries.Take("companion"), entries);
    NumberLines(test.curve, test.table);
  }
  test.table.source = source;
  const auto metadata = TextsFrom(entries.Take("metadata"), "attrs");
  test.table.metadata.insert(metadata.begin(), metadata.end());
  const py::object stress = entries.Take("stress");
  if (!stress.is_none()) {
    std::erase_if(test.table.metadata, [](const auto& line) { return line.first.rfind("stress", 0) == 0; });
    std::string unit;
    entries.Read("stress_unit", unit);
    const auto value = Cast<double>(stress, "stress", "a number");
    if (!(value > 0.0)) Refuse("stress: " + Exactly(value) + " is not positive");
    test.table.metadata["stress" + (unit.empty() ? "" : "_" + unit)] = Exactly(value);
  }
  return test;
}

/// Tests of which there is nothing more to tell.
template <class Data>
void Set(Data&, Keywords&) {}

void Set(Fit::HyperelasticData& data, Keywords& keywords) { keywords.Read("volumetric_terms", data.volumetricTerms); }

template <class Moduli>
void SetInstantaneous(Moduli& data, Keywords& keywords) {
  const py::object instantaneous = keywords.Take("instantaneous");
  if (instantaneous.is_none()) return;
  if (!py::isinstance<py::str>(instantaneous)) {
    data.normalise = Fit::Normalise::Value;
    data.modulus = Cast<double>(instantaneous, "instantaneous", "\"free\", \"first\", \"ratio\" or a modulus");
    return;
  }
  py::dict word;
  word["instantaneous"] = instantaneous;
  Keywords(word).Read<Fit::Normalise>(
      "instantaneous", data.normalise,
      {{"free", Fit::Normalise::Free}, {"first", Fit::Normalise::First}, {"ratio", Fit::Normalise::Nothing}});
}

void Set(Fit::RelaxationData& data, Keywords& keywords) { SetInstantaneous(data, keywords); }
void Set(Fit::DynamicData& data, Keywords& keywords) { SetInstantaneous(data, keywords); }

void Set(Fit::CreepData& data, Keywords& keywords) {
  bool keep = data.tertiary == Fit::Tertiary::Keep;
  keywords.Read("keep_tertiary", keep);
  data.tertiary = keep ? Fit::Tertiary::Keep : Fit::Tertiary::Drop;
}

void Set(Fit::CyclicData& data, Keywords& keywords) {
  keywords.Read("form", data.form,
                {{"ordinate", Fit::CyclicForm::Ordinate},
                 {"strain", Fit::CyclicForm::Strain},
                 {"log-strain", Fit::CyclicForm::LogStrain},
                 {"stress", Fit::CyclicForm::Stress}});
}

void Set(Fit::TensileData& data, Keywords& keywords) {
  keywords.Read("youngs_modulus", data.youngsModulus);
  keywords.Read("proof_strain", data.proofStrain);
}

void Set(Fit::RetentionData& data, Keywords& keywords) {
  keywords.Read("porosity", data.porosity);
  keywords.Read("particle_density", data.particleDensity);
  keywords.Read("exponent", data.exponent);
  keywords.Read("conductivity", data.saturatedConductivity);
  keywords.Read("points", data.points,
                {{"measured", Fit::RetentionPoints::Measured},
                 {"grading", Fit::RetentionPoints::Grading},
                 {"both", Fit::RetentionPoints::Both}});
}

// Every curve of the tests.
std::vector<Fit::Curve*> CurvesOf(Fit::HyperelasticData& data) {
  std::vector<Fit::Curve*> curves{&data.uniaxial, &data.equibiaxial, &data.pureShear, &data.simpleShear,
                                  &data.volumetric};
  for (Fit::ReplicateTest& one : data.replicates) curves.push_back(&one.curve);
  return curves;
}
std::vector<Fit::Curve*> CurvesOf(Fit::CreepData& data) {
  std::vector<Fit::Curve*> curves;
  for (Fit::CreepTest& one : data.tests) curves.push_back(&one.curve);
  return curves;
}
std::vector<Fit::Curve*> CurvesOf(Fit::CyclicData& data) { return {&data.stiffness, &data.damping}; }
std::vector<Fit::Curve*> CurvesOf(Fit::RetentionData& data) { return {&data.retention, &data.grading}; }
template <class Data>
std::vector<Fit::Curve*> CurvesOf(Data& data) {
  std::vector<Fit::Curve*> curves;
  if constexpr (requires { data.curve; }) {
    curves.push_back(&data.curve);
  } else if constexpr (requires { data.curves; }) {
    for (auto& one : data.curves) curves.push_back(&one.curve);
  }
  return curves;
}

void SetWeights(const std::map<std::string, double>& weights, Fit::Tests& tests) {
  std::vector<Fit::Curve*> curves;
  std::visit([&](auto& data) { curves = CurvesOf(data); }, tests);
  for (const auto& [name, weight] : weights) {
    const std::string& wanted = name;
    const auto curve = std::find_if(curves.begin(), curves.end(),
                                    [&](const Fit::Curve* one) { return !one->Empty() && one->name == wanted; });
    if (curve == curves.end()) Refuse("weight: there is no curve " + name);
    (*curve)->weight = weight;
  }
  // Weights by the caller are all the weights there are.
  auto* cyclic = std::get_if<Fit::CyclicData>(&tests);
  if (cyclic != nullptr && !weights.empty()) cyclic->balance = false;
}

/// A tensile test, whose measures the caller may tell where the names of its columns do not.
Fit::ReadTests Tensile(const std::vector<Fit::TestTable>& tables, Keywords& keywords) {
  auto strain = Fit::StrainMeasure::Plastic;
  auto stress = Fit::StressMeasure::True;
  const py::object strainWord = keywords.Take("strain_measure");
  const py::object stressWord = keywords.Take("stress_measure");
  py::dict words;
  words["strain_measure"] = strainWord;
  words["stress_measure"] = stressWord;
  Keywords told(words);
  told.Read("strain_measure", strain,
            {{"plastic", Fit::StrainMeasure::Plastic},
             {"true", Fit::StrainMeasure::True},
             {"engineering", Fit::StrainMeasure::Engineering}});
  told.Read("stress_measure", stress,
            {{"true", Fit::StressMeasure::True}, {"engineering", Fit::StressMeasure::Engineering}});
  if (tables.size() != 1) Refuse("a hardening law is fitted to one tensile test");
  const std::string name = "tensile_test";
  const Fit::TableCurve read =
      Fit::CurveFromTable(tables.front().table, name, Fit::RolesOf(name), tables.front().columns);
  Fit::TensileData data;
  data.curve = read.curve;
  data.stressUnit = read.yUnit;
  Fit::SetMeasures(read, strainWord.is_none() ? std::nullopt : std::optional(strain),
                   stressWord.is_none() ? std::nullopt : std::optional(stress), data);
  return {data, {read.input}, read.notes};
}

/// Sweeps of frequency, and relaxation curves beside them, of one temperature.
Fit::ReadTests Dynamic(const std::vector<Fit::TestTable>& tables) {
  Fit::ReadTests read;
  Fit::DynamicData data;
  std::vector<Fit::TableCurve> curves;
  curves.reserve(tables.size());
  std::vector<Fit::TableCurve*> moduli;
  std::vector<Fit::TableCurve*> timed;
  std::map<std::string, int> numbers;
  for (const Fit::TestTable& test : tables) {
    Fit::CurveRoles roles = RolesFor(test.curve);
    const bool inTime = test.curve == "relaxation";
    if (!inTime && !Fit::FindColumn(test.table, roles.x)) roles.x = Fit::Roles::kOmega;
    const int number = ++numbers[test.curve];
    const std::string name = test.curve + (number > 1 ? "_" + std::to_string(number) : std::string());
    curves.push_back(Fit::CurveFromTable(test.table, name, roles, test.columns));
    Fit::TableCurve& curve = curves.back();
    if (inTime) timed.push_back(&curve);
    if (!inTime || Fit::HoldsModuli(curve)) moduli.push_back(&curve);
    if (!inTime && curve.xUnit.empty()) curve.xUnit = "Hz";
    read.inputs.push_back(curve.input);
    read.notes.insert(read.notes.end(), curve.notes.begin(), curve.notes.end());
  }
  data.modulusUnit = Fit::UseOneOrdinateUnit(moduli, read.notes);
  data.timeUnit = timed.empty() ? "s" : Fit::UseOneAbscissaUnit(timed, read.notes);
  const double seconds = Fit::ConversionFactor(data.timeUnit.empty() ? "s" : data.timeUnit, "s").value_or(1.0);
  for (std::size_t i = 0; i < curves.size(); ++i) {
    const auto hertz = Fit::ConversionFactor(curves[i].xUnit, "Hz");
    const auto angular = Fit::ConversionFactor(curves[i].xUnit, "rad/s");
    Fit::ModulusCurve curve;
    curve.quantity = tables[i].curve == "storage" ? Fit::ModulusKind::Storage
                     : tables[i].curve == "loss"  ? Fit::ModulusKind::Loss
                                                  : Fit::ModulusKind::Relaxation;
    if (curve.quantity == Fit::ModulusKind::Relaxation) {
      curve.ratio = !Fit::HoldsModuli(curves[i]);
    } else if (hertz || angular) {
      curve.perUnit = (hertz ? 2.0 * std::numbers::pi * *hertz : *angular) * seconds;
    } else {
      Refuse("curve " + curves[i].curve.name + ": frequencies in " + curves[i].xUnit + " are not known");
    }
    curve.curve = curves[i].curve;
    data.curves.push_back(std::move(curve));
  }
  read.tests = std::move(data);
  return read;
}

bool IsDynamic(const std::vector<Fit::TestTable>& tables) {
  return tables.size() > 1 || tables.front().curve == "storage" || tables.front().curve == "loss";
}

bool HasCurve(const Fit::ModelInfo& info, const std::string& curve) {
  return std::any_of(info.curves.begin(), info.curves.end(), [&](const auto& one) { return one.name == curve; });
}

std::string FamilyOfCurve(const std::string& curve) {
  for (const Fit::ModelInfo& info : Fit::Models()) {
    if (HasCurve(info, curve)) return info.family;
  }
  return curve == "grading" ? "retention" : "";
}

}  // namespace

py::object Keywords::Take(const char* name) {
  if (!given_.contains(name)) return py::none();
  return given_.attr("pop")(name);
}

void Keywords::Read(const char* name, double& value) {
  const py::object given = Take(name);
  if (!given.is_none()) value = Cast<double>(given, name, "a number");
}

void Keywords::Read(const char* name, int& value) {
  const py::object given = Take(name);
  if (!given.is_none()) value = Cast<int>(given, name, "a whole number");
}

void Keywords::Read(const char* name, bool& value) {
  const py::object given = Take(name);
  if (!given.is_none()) value = Cast<bool>(given, name, "True or False");
}

void Keywords::Read(const char* name, std::string& value) {
  const py::object given = Take(name);
  if (!given.is_none()) value = Cast<std::string>(given, name, "a text");
}

void Keywords::RefuseWord(const char* name, const std::string& word, const std::string& known) {
  Refuse(std::string(name) + ": \"" + word + "\" is not one of " + known);
}

void Keywords::RefuseOthers(const std::string& purpose) const {
  for (const auto& [name, value] : given_) {
    if (!value.is_none()) Refuse(std::string(py::str(name)) + " has no meaning for " + purpose);
  }
}

std::vector<Fit::TestTable> TablesFrom(const py::list& given, Keywords& keywords) {
  Fit::ReadOptions options;
  options.decimal = DecimalFrom(keywords);
  const Fit::ColumnNames columns = TextsFrom(keywords.Take("columns"), "columns");
  const auto selection = TextsFrom(keywords.Take("select"), "select");
  options.keepTexts = !selection.empty();
  std::vector<Fit::TestTable> tests;
  for (const py::handle& one : given) {
    tests.push_back(TestFrom(py::reinterpret_borrow<py::dict>(one), options));
    tests.back().columns = columns;
    Fit::SelectRows(tests.back().table, selection);
  }
  return tests;
}

Fit::ReadTests TestsFrom(const Fit::ModelInfo& model, std::vector<Fit::TestTable> tables, Keywords& keywords) {
  if (tables.empty()) Refuse("give a test curve of the family " + model.family);
  Fit::ReadTests read;
  if (model.family == "hardening") {
    read = Tensile(tables, keywords);
  } else if (model.family == "relaxation" && IsDynamic(tables)) {
    read = Dynamic(tables);
  } else {
    read = Fit::TestsFromTables(model.name == "volumetric" ? model.name : model.family, std::move(tables));
  }
  std::visit([&](auto& data) { Set(data, keywords); }, read.tests);
  SetWeights(ValuesFrom(keywords.Take("weight"), "weight"), read.tests);
  return read;
}

Fit::Options OptionsFrom(Keywords& keywords) {
  Fit::Options options;
  keywords.Read("residual", options.residual,
                {{"absolute", Fit::Residual::Absolute}, {"relative", Fit::Residual::Relative}});
  keywords.Read("engine", options.engine, {{"best", Fit::Engine::Best}, {"export", Fit::Engine::Export}});
  options.held = ValuesFrom(keywords.Take("hold"), "hold");
  options.start = ValuesFrom(keywords.Take("start"), "start");
  options.bounds = IntervalsFrom(keywords.Take("bounds"), "bounds");
  const py::object range = keywords.Take("range");
  if (py::isinstance<py::dict>(range) || range.is_none()) {
    options.ranges = IntervalsFrom(range, "range");
  } else {
    options.ranges[""] = IntervalFrom(range, "range");
  }
  keywords.Read("condition_limit", options.conditionLimit);
  keywords.Read("level", options.level);
  keywords.Read("bootstrap", options.bootstrap);
  const py::object seed = keywords.Take("seed");
  if (!seed.is_none()) options.seed = Cast<std::uint64_t>(seed, "seed", "a whole number that is not negative");
  keywords.Read("band", options.band);
  return options;
}

std::vector<Fit::ModelChoice> ChoicesFrom(const std::string& text, const std::vector<Fit::TestTable>& tables) {
  const std::string name = text.substr(0, text.find_first_of(":,"));
  const Fit::ModelInfo* info = Fit::FindModel(name);
  std::string family = info != nullptr ? info->family : "";
  if (family.empty() && !tables.empty()) family = FamilyOfCurve(tables.front().curve);
  if (family == "relaxation" && (text == name || text == name + ":auto")) return {{name, Fit::kAutomaticTerms}};
  const bool others =
      std::any_of(tables.begin(), tables.end(), [](const auto& one) { return one.curve != "volumetric"; });
  const bool narrow = family == "rubber" && (info == nullptr || HasCurve(*info, "uniaxial")) && others;
  return Fit::ChooseModels(text, family, narrow ? "uniaxial" : "");
}

}  // namespace Xem::Python
