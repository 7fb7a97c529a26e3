#include "verbs/sweeps.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <numbers>
#include <utility>

#include "numbers.h"
#include "output/csv_cell.h"
#include "output/text_table.h"
#include "text.h"

namespace Xem::Tool {
namespace {

using Fit::ModulusKind;

/// Temperatures that are nearer to each other belong to one isotherm: a chamber wanders by a few tenths.
constexpr double kSameIsotherm = 0.75;
/// What wanders less is not worth a word.
constexpr double kWorthTelling = 0.05;
constexpr double kNoTemperature = std::numeric_limits<double>::quiet_NaN();

/// Of one row of a table.
struct Place {
  double temperature = kNoTemperature;
  std::string set;
};

/// A curve of one file and where each of its rows belongs.
struct ReadPart {
  ModulusKind kind = ModulusKind::Relaxation;
  MeasuredCurve measured;
  std::map<int, Place> places;  // by line
  std::size_t file = 0;
};

Fit::TemperatureUnit TemperatureUnitOf(std::string unit, const std::string& source) {
  unit = Lower(unit);
  for (const char* sign : {"\u00b0", "deg_", "deg"}) {
    if (unit.starts_with(sign)) unit = unit.substr(std::string(sign).size());
  }
  if (unit.empty() || unit == "c" || unit == "celsius") return Fit::TemperatureUnit::Celsius;
  if (unit == "k" || unit == "kelvin") return Fit::TemperatureUnit::Kelvin;
  if (unit == "f" || unit == "fahrenheit") return Fit::TemperatureUnit::Fahrenheit;
  throw Failure(ExitCode::BadData,
                fmt::format("{}: temperatures in {} are not known; the units are C, K and F", source, Quoted(unit)));
}

const char* ShownUnit(Fit::TemperatureUnit unit) {
  switch (unit) {
    case Fit::TemperatureUnit::Celsius:
      return "°C";
    case Fit::TemperatureUnit::Kelvin:
      return "K";
    case Fit::TemperatureUnit::Fahrenheit:
      return "°F";
  }
  return "";
}

/// Groups of points of one temperature.
struct Group {
  double sum = 0.0;
  double count = 0.0;
  double lowest = std::numeric_limits<double>::infinity();
  double highest = -std::numeric_limits<double>::infinity();
  double Mean() const { return sum / count; }
  void Add(const Group& other) {
    sum += other.sum;
    count += other.count;
    lowest = std::min(lowest, other.lowest);
    highest = std::max(highest, other.highest);
  }
};

/// Which group each point belongs to: by the set that a file names, else by temperature.
class Grouping {
 public:
  explicit Grouping(const std::vector<ReadPart>& parts) {
    std::map<std::string, Group> sets;
    for (const ReadPart& part : parts) {
      for (const auto& [line, place] : part.places) {
        if (std::isnan(place.temperature)) continue;
        bySet_ = bySet_ || !place.set.empty();
        sets[KeyOf(part.file, place)].Add({place.temperature, 1.0, place.temperature, place.temperature});
      }
    }
    std::vector<std::pair<std::string, Group>> sorted(sets.begin(), sets.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second.Mean() < b.second.Mean(); });
    double last = -std::numeric_limits<double>::infinity();
    for (const auto& [key, group] : sorted) {
      if (groups_.empty() || group.Mean() - last > kSameIsotherm) groups_.emplace_back();
      groups_.back().Add(group);
      indices_[key] = groups_.size() - 1;
      last = group.Mean();
    }
  }

  const std::vector<Group>& Groups() const { return groups_; }
  bool BySet() const { return bySet_; }
  std::size_t IndexOf(std::size_t file, const Place& place) const {
    return groups_.size() == 1 ? 0 : indices_.at(KeyOf(file, place));
  }
  double Spread() const {
    double spread = 0.0;
    for (const Group& group : groups_) spread = std::max(spread, group.highest - group.lowest);
    return spread;
  }

 private:
  static std::string KeyOf(std::size_t file, const Place& place) {
    return place.set.empty() ? Exactly(place.temperature) : fmt::format("{} {}", file, place.set);
  }

  std::vector<Group> groups_;
  std::map<std::string, std::size_t> indices_;
  bool bySet_ = false;
};

std::string Suffix(const std::string& unit) { return unit.empty() ? "" : "_" + unit; }

const Fit::ModulusCurve* CurveOfKind(const Fit::Isotherm& isotherm, ModulusKind kind) {
  for (const Fit::ModulusCurve& curve : isotherm.curves) {
    if (curve.quantity == kind) return &curve;
  }
  return nullptr;
}

const Fit::MasterCurve* MasterOf(const Fit::Superposition& superposition, ModulusKind kind) {
  for (const Fit::MasterCurve& master : superposition.master) {
    if (master.reduced.quantity == kind) return &master;
  }
  return nullptr;
}

}  // namespace

bool Sweeps::HasFrequencies() const { return !frequencyUnit.empty(); }
bool Sweeps::HasTimes() const {
  return std::any_of(isotherms.begin(), isotherms.end(), [](const Fit::Isotherm& isotherm) {
    return CurveOfKind(isotherm, ModulusKind::Relaxation) != nullptr;
  });
}

bool SweepVerb::HoldsFrequencies(const Fit::Table& table) {
  for (const Role* role : {&Roles::kFrequency, &Roles::kOmega}) {
    if (!Fit::FindColumn(table, *role, WantedColumn(*role, 0))) continue;
    for (const Role* part : {&Roles::kStorage, &Roles::kLoss}) {
      if (Fit::FindColumn(table, *part, WantedColumn(*part, 0))) return true;
    }
  }
  return false;
}

Sweeps SweepVerb::ReadSweeps(const std::vector<Fit::Table>& tables) {
  Sweeps sweeps;
  std::vector<ReadPart> parts;
  std::map<ModulusKind, int> numbers;
  bool firstTemperature = true;
  for (std::size_t file = 0; file < tables.size(); ++file) {
    Fit::Table table = tables[file];
    const bool inFrequency = HoldsFrequencies(table);
    std::map<int, Place> places;
    for (const int line : table.lines) places[line];
    const auto temperature = Fit::FindColumn(table, Roles::kTemperature, WantedColumn(Roles::kTemperature, 0));
    const auto set = Fit::FindColumn(table, Roles::kSet, WantedColumn(Roles::kSet, 0));
    const auto whole = temperature ? std::nullopt : Fit::MetadataQuantity(table, Roles::kTemperature);
    if (temperature || whole) {
      const Fit::TemperatureUnit unit = TemperatureUnitOf(temperature ? temperature->unit : whole->unit, table.source);
      if (!firstTemperature && unit != sweeps.unit) {
        throw Failure(ExitCode::BadData, table.source + ": its temperatures are in another unit than those before");
      }
      sweeps.unit = unit;
      firstTemperature = false;
      for (std::size_t row = 0; row < table.RowCount(); ++row) {
        Place& place = places[table.lines[row]];
        if (whole) place.temperature = whole->value;
        if (temperature && !Fit::IsMissing(table, row, temperature->index)) {
          place.temperature = Fit::NumberAt(table, row, temperature->index);
        }
        if (set && temperature) place.set = Fit::CellText(table, row, set->index);
      }
      sweeps.hasTemperatures = true;
    }
    // A column T must not be taken for the time, and what changes with sets is no reason to think of several tests.
    std::vector<std::size_t> done;
    if (temperature) done.push_back(temperature->index);
    if (temperature && set) done.push_back(set->index);
    std::sort(done.rbegin(), done.rend());
    for (const std::size_t index : done) {
      table.columns.erase(table.columns.begin() + static_cast<std::ptrdiff_t>(index));
    }
    const auto read = [&](ModulusKind kind, const Role& x, const Role& y) {
      const int number = ++numbers[kind];
      const std::string name = Fit::NameOf(kind) + (number > 1 ? "_" + std::to_string(number) : std::string());
      parts.push_back({kind, CurveFrom(table, name, x, y), places, file});
    };
    if (!inFrequency) {
      read(ModulusKind::Relaxation, Roles::kTime, Roles::kModulusRatio);
      continue;
    }
    const bool angular = !Fit::FindColumn(table, Roles::kFrequency, WantedColumn(Roles::kFrequency, 0)).has_value();
    const Role& x = angular ? Roles::kOmega : Roles::kFrequency;
    if (Fit::FindColumn(table, Roles::kStorage, WantedColumn(Roles::kStorage, 0))) {
      read(ModulusKind::Storage, x, Roles::kStorage);
    }
    if (Fit::FindColumn(table, Roles::kLoss, WantedColumn(Roles::kLoss, 0))) read(ModulusKind::Loss, x, Roles::kLoss);
  }

  // Units: moduli of all curves, times of all curves over time, frequencies of all sweeps.
  std::vector<Fit::TableCurve*> moduli;
  std::vector<Fit::TableCurve*> timed;
  std::vector<Fit::TableCurve*> swept;
  for (ReadPart& part : parts) {
    const bool inTime = part.kind == ModulusKind::Relaxation;
    (inTime ? timed : swept).push_back(&part.measured);
    if (!inTime || Fit::HoldsModuli(part.measured)) moduli.push_back(&part.measured);
    if (inTime || !part.measured.xUnit.empty()) continue;
    part.measured.xUnit = "Hz";
    sweeps.notes.push_back(
        fmt::format("curve {}: its frequency column names no unit; taken as Hz", part.measured.curve.name));
  }
  sweeps.modulusUnit = Fit::UseOneOrdinateUnit(moduli, sweeps.notes);
  sweeps.timeAxisUnit = Fit::UseOneAbscissaUnit(timed, sweeps.notes);
  for (Fit::TableCurve* curve : swept) {
    // Cycles and radians are no units of one quantity: 1 Hz is 2 pi rad/s.
    if (sweeps.frequencyUnit.empty()) sweeps.frequencyUnit = curve->xUnit;
    const auto radians = [&](const std::string& unit) -> double {
      if (const auto hertz = Fit::ConversionFactor(unit, "Hz")) return 2.0 * std::numbers::pi * *hertz;
      if (const auto angular = Fit::ConversionFactor(unit, "rad/s")) return *angular;
      throw Failure(ExitCode::BadData,
                    fmt::format("{}: frequencies in {} are not known; the units are Hz, kHz, mHz and rad/s",
                                curve->input.file, Quoted(unit)));
    };
    const double factor = radians(curve->xUnit) / radians(sweeps.frequencyUnit);
    if (factor == 1.0) continue;
    for (double& x : curve->curve.x) x *= factor;
    sweeps.notes.push_back(fmt::format("curve {}: frequencies converted from {} to {}", curve->curve.name, curve->xUnit,
                                       sweeps.frequencyUnit));
  }
  sweeps.timeUnit = timed.empty() ? "s" : sweeps.timeAxisUnit;
  const double seconds = Fit::ConversionFactor(sweeps.timeUnit.empty() ? "s" : sweeps.timeUnit, "s").value_or(1.0);
  if (!swept.empty() && sweeps.timeUnit.empty())
    sweeps.notes.push_back("times name no unit; taken as s beside frequencies");
  const auto hertz = Fit::ConversionFactor(sweeps.frequencyUnit, "Hz");
  const double perUnit = (hertz ? 2.0 * std::numbers::pi * *hertz : 1.0) * seconds;

  const auto asCurve = [&](const ReadPart& part) {
    Fit::ModulusCurve curve;
    curve.quantity = part.kind;
    curve.perUnit = part.kind == ModulusKind::Relaxation ? 1.0 : perUnit;
    curve.ratio = part.kind == ModulusKind::Relaxation && !Fit::HoldsModuli(part.measured);
    curve.curve.name = part.measured.curve.name;
    curve.curve.weight = part.measured.curve.weight;
    return curve;
  };
  if (!sweeps.hasTemperatures) {
    sweeps.isotherms.emplace_back();
    for (const ReadPart& part : parts) {
      sweeps.isotherms.front().curves.push_back(asCurve(part));
      sweeps.isotherms.front().curves.back().curve = part.measured.curve;
    }
    return sweeps;
  }
  sweeps.temperatureUnit = ShownUnit(sweeps.unit);
  const Grouping grouping(parts);
  for (const Group& group : grouping.Groups()) sweeps.isotherms.push_back({group.Mean(), {}});
  for (ReadPart& part : parts) {
    const auto isNamed = [](const auto& place) { return !std::isnan(place.second.temperature); };
    if (std::none_of(part.places.begin(), part.places.end(), isNamed)) {
      if (sweeps.isotherms.size() > 1) {
        throw Failure(ExitCode::BadData, part.measured.input.file + ": it names no temperature, as the other files do");
      }
      // All others are of one temperature, and so is this.
      for (auto& place : part.places) place.second = {sweeps.isotherms.front().temperature, ""};
    }
    const Fit::Curve& whole = part.measured.curve;
    for (std::size_t i = 0; i < whole.x.size(); ++i) {
      const auto place = part.places.find(whole.Row(i));
      if (place == part.places.end() || std::isnan(place->second.temperature)) {
        sweeps.notes.push_back(fmt::format("curve {}, row {}: no temperature, left out", whole.name, whole.Row(i)));
        continue;
      }
      Fit::Isotherm& isotherm = sweeps.isotherms[grouping.IndexOf(part.file, place->second)];
      auto curve = std::find_if(isotherm.curves.begin(), isotherm.curves.end(),
                                [&](const Fit::ModulusCurve& one) { return one.quantity == part.kind; });
      if (curve == isotherm.curves.end()) curve = isotherm.curves.insert(curve, asCurve(part));
      curve->curve.x.push_back(whole.x[i]);
      curve->curve.y.push_back(whole.y[i]);
      curve->curve.rows.push_back(whole.Row(i));
    }
    for (Fit::Isotherm& isotherm : sweeps.isotherms) {
      const auto first = std::find_if(isotherm.curves.begin(), isotherm.curves.end(),
                                      [&](const Fit::ModulusCurve& one) { return one.quantity == part.kind; });
      if (first == isotherm.curves.end()) continue;
      first->curve.unused.insert(first->curve.unused.end(), whole.unused.begin(), whole.unused.end());
      break;
    }
  }
  if (sweeps.isotherms.size() > 1 || grouping.Spread() > kWorthTelling) {
    std::string note = fmt::format("{} temperatures, told by {}", sweeps.isotherms.size(),
                                   grouping.BySet() ? "the column of sets" : "the column of temperatures");
    if (grouping.Spread() > kWorthTelling) {
      note += fmt::format("; within one they vary by up to {:.2g} {}, and their means are used", grouping.Spread(),
                          sweeps.temperatureUnit);
    }
    sweeps.notes.push_back(note);
  }
  return sweeps;
}

Axis FrequencyAxis(const Sweeps& sweeps) {
  const bool angular = sweeps.frequencyUnit == "rad/s";
  return {angular ? "angular frequency" : "frequency", sweeps.frequencyUnit, true, false};
}

Axis TimeAxis(const Sweeps& sweeps) { return {"time", sweeps.timeAxisUnit, true, false}; }

std::string FactorTable(const Sweeps& sweeps, const Fit::Superposition& superposition) {
  const bool vertical = std::any_of(superposition.factors.begin(), superposition.factors.end(),
                                    [](const Fit::ShiftFactor& factor) { return !std::isnan(factor.verticalError); });
  std::vector<TextTable::Column> columns{
      {"Temperature (" + sweeps.temperatureUnit + ")"}, {"log10 a_T"}, {"Std. error"}, {"by overlap alone"}};
  if (vertical) columns.insert(columns.end(), {{"log10 b_T"}, {"Std. error"}});
  TextTable table(columns);
  for (const Fit::ShiftFactor& factor : superposition.factors) {
    std::vector<std::string> row{fmt::format("{:.2f}", factor.temperature), fmt::format("{:.4f}", factor.log10aT),
                                 Briefly(factor.standardError), fmt::format("{:.4f}", factor.overlap)};
    if (vertical) row.insert(row.end(), {fmt::format("{:.4f}", factor.log10bT), Briefly(factor.verticalError)});
    table.Add(row);
  }
  return table.Text();
}

void AmendShift(const Fit::Superposition& superposition, double reference, Json& document) {
  Json list = Json::array();
  for (const Fit::ShiftFactor& factor : superposition.factors) {
    Json entry = {{"temperature", factor.temperature},
                  {"log10_a_T", factor.log10aT},
                  {"standard_error", factor.standardError},
                  {"overlap", factor.overlap}};
    if (!std::isnan(factor.verticalError)) {
      entry["log10_b_T"] = factor.log10bT;
      entry["log10_b_T_error"] = factor.verticalError;
    }
    list.push_back(std::move(entry));
  }
  document["reference_temperature"] = reference;
  document["shift"] = std::move(list);
}

std::string MasterCsv(const std::string& command, const Sweeps& sweeps, const Fit::Superposition& superposition,
                      double reference) {
  std::string text =
      fmt::format("# command: {}\n# master curve at {:.6g} {}\n", command, reference, sweeps.temperatureUnit);
  for (const Fit::ShiftFactor& factor : superposition.factors) {
    text += fmt::format("# log10 a_T at {:.6g}: {}\n", factor.temperature, CsvCell(factor.log10aT));
  }
  const Fit::MasterCurve* leading = &superposition.master.front();
  const Fit::MasterCurve* loss = MasterOf(superposition, ModulusKind::Loss);
  const bool inTime = leading->reduced.quantity == ModulusKind::Relaxation;
  const std::string unit = Suffix(sweeps.modulusUnit);
  if (inTime) {
    text += "time" + Suffix(sweeps.timeAxisUnit) + (leading->reduced.ratio ? ",g" : ",relaxation_modulus" + unit);
  } else {
    const std::string name = sweeps.frequencyUnit == "rad/s" ? "omega" : "frequency" + Suffix(sweeps.frequencyUnit);
    text += name + ",storage" + unit + (loss != nullptr ? ",loss" + unit : "");
  }
  text += ",measured_at,smooth\n";
  std::map<std::pair<std::size_t, int>, double> losses;
  if (loss != nullptr) {
    for (std::size_t i = 0; i < loss->reduced.curve.x.size(); ++i) {
      losses[{loss->isotherms[i], loss->reduced.curve.Row(i)}] = loss->reduced.curve.y[i];
    }
  }
  for (std::size_t i = 0; i < leading->reduced.curve.x.size(); ++i) {
    text += CsvCell(leading->reduced.curve.x[i]) + ',' + CsvCell(leading->reduced.curve.y[i]);
    if (loss != nullptr) {
      const auto found = losses.find({leading->isotherms[i], leading->reduced.curve.Row(i)});
      text += ',' + (found == losses.end() ? std::string() : CsvCell(found->second));
    }
    text += ',' + CsvCell(superposition.factors[leading->isotherms[i]].temperature) + ',' +
            CsvCell(leading->smooth[i]) + '\n';
  }
  return text;
}

std::vector<Panel> ShiftPanels(const Sweeps& sweeps, const Fit::Superposition& superposition, double reference,
                               std::vector<Fit::CurveResult>& drawn) {
  const bool inTime = superposition.master.front().reduced.quantity == ModulusKind::Relaxation;
  const Axis measured = inTime ? TimeAxis(sweeps) : FrequencyAxis(sweeps);
  Axis reduced = measured;
  reduced.label = "reduced " + reduced.label;
  const bool ratio = superposition.master.front().reduced.ratio;
  const Axis modulus{ratio ? "modulus over instantaneous modulus" : "modulus", ratio ? "" : sweeps.modulusUnit, true,
                     false};
  std::vector<Panel> panels;
  for (const Fit::MasterCurve& master : superposition.master) {
    Panel before;
    const std::string name = Fit::NameOf(master.reduced.quantity);
    before.title = name + " as measured";
    before.x = measured;
    before.y = modulus;
    before.y.label = inTime ? modulus.label : name + " " + modulus.label;
    before.lines.clear();
    for (const Fit::Isotherm& isotherm : sweeps.isotherms) {
      const Fit::ModulusCurve* curve = CurveOfKind(isotherm, master.reduced.quantity);
      if (curve == nullptr) continue;
      Fit::CurveResult one;
      one.name = fmt::format("{} at {:.1f} {}", name, isotherm.temperature, sweeps.temperatureUnit);
      one.x = curve->curve.x;
      one.measured = curve->curve.y;
      before.curves.push_back(one.name);
      drawn.push_back(std::move(one));
    }
    panels.push_back(std::move(before));
  }
  Panel after;
  after.title = fmt::format("master curve at {:.4g} {}", reference, sweeps.temperatureUnit);
  after.x = reduced;
  after.y = modulus;
  after.lines = "common curve";
  for (const Fit::MasterCurve& master : superposition.master) {
    Fit::CurveResult one;
    one.name = Fit::NameOf(master.reduced.quantity);
    one.x = master.reduced.curve.x;
    one.measured = master.reduced.curve.y;
    one.fitted = master.smooth;
    after.curves.push_back(one.name);
    drawn.push_back(std::move(one));
  }
  Panel factors;
  factors.title = "shift factors";
  factors.x = {"temperature", sweeps.temperatureUnit, false, false};
  factors.y = {"log10 a_T", "", false, false};
  factors.curves = {"shift_factors"};
  factors.lines = "law";
  Overlay apart{"not of this law", {}, {}};
  for (const Fit::ShiftFactor& factor : superposition.factors) {
    const auto& x = superposition.result.curves.front().x;
    if (std::find(x.begin(), x.end(), factor.temperature) != x.end()) continue;
    apart.x.push_back(factor.temperature);
    apart.y.push_back(factor.log10aT);
  }
  if (!apart.x.empty()) factors.overlays.push_back(std::move(apart));
  panels.push_back(std::move(after));
  panels.push_back(std::move(factors));
  return panels;
}

}  // namespace Xem::Tool
