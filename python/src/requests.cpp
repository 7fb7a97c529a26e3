#include "requests.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

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

/// A slot of a record of tests.
template <class Data>
struct Slot {
  const char* name;
  Fit::Curve Data::*curve;
};

template <class Data>
void Put(std::vector<GivenCurve>& curves, std::initializer_list<Slot<Data>> slots, const std::string& model,
         Data& data) {
  for (GivenCurve& given : curves) {
    const auto slot = std::find_if(slots.begin(), slots.end(), [&](const auto& one) { return given.slot == one.name; });
    if (slot == slots.end()) Refuse("model " + model + " does not explain a curve " + given.slot);
    if (!(data.*(slot->curve)).Empty()) Refuse("curve " + given.slot + " is given twice");
    data.*(slot->curve) = std::move(given.curve);
  }
}

Fit::Tests Rubber(const std::string& model, std::vector<GivenCurve>& curves, Keywords& keywords) {
  using Data = Fit::HyperelasticData;
  Data data;
  Put<Data>(curves,
            {{"uniaxial", &Data::uniaxial},
             {"equibiaxial", &Data::equibiaxial},
             {"pure_shear", &Data::pureShear},
             {"simple_shear", &Data::simpleShear},
             {"volumetric", &Data::volumetric}},
            model, data);
  keywords.Read("volumetric_terms", data.volumetricTerms);
  keywords.Read("stress_unit", data.stressUnit);
  return data;
}

Fit::Tests Volumetric(const std::string& model, std::vector<GivenCurve>& curves, Keywords& keywords) {
  Fit::VolumetricData data;
  Put<Fit::VolumetricData>(curves, {{"volumetric", &Fit::VolumetricData::curve}}, model, data);
  keywords.Read("stress_unit", data.pressureUnit);
  return data;
}

Fit::Tests Relaxation(const std::string& model, std::vector<GivenCurve>& curves, Keywords& keywords) {
  using Data = Fit::RelaxationData;
  Data data;
  Put<Data>(curves, {{"relaxation", &Data::curve}}, model, data);
  keywords.Read("time_unit", data.timeUnit);
  keywords.Read("stress_unit", data.modulusUnit);
  // A unit of stress says that the ordinates are moduli.
  if (!data.modulusUnit.empty()) data.normalise = Fit::Normalise::Free;
  const py::object instantaneous = keywords.Take("instantaneous");
  if (instantaneous.is_none()) return data;
  if (!py::isinstance<py::str>(instantaneous)) {
    data.normalise = Fit::Normalise::Value;
    data.modulus = Cast<double>(instantaneous, "instantaneous", "\"free\", \"first\", \"ratio\" or a modulus");
    return data;
  }
  py::dict word;
  word["instantaneous"] = instantaneous;
  Keywords(word).Read<Fit::Normalise>(
      "instantaneous", data.normalise,
      {{"free", Fit::Normalise::Free}, {"first", Fit::Normalise::First}, {"ratio", Fit::Normalise::Nothing}});
  return data;
}

/// One number for one test, or a list.
std::vector<double> StressesFrom(const py::object& given, std::size_t count) {
  if (given.is_none()) return {};
  std::vector<double> stresses = NumbersFrom(given);
  if (stresses.size() == count) return stresses;
  Refuse("stress: " + std::to_string(stresses.size()) + " values for " + std::to_string(count) + " creep tests");
}

Fit::Tests Creep(const std::string& model, std::vector<GivenCurve>& curves, Keywords& keywords) {
  Fit::CreepData data;
  const std::vector<double> stresses = StressesFrom(keywords.Take("stress"), curves.size());
  for (std::size_t i = 0; i < curves.size(); ++i) {
    GivenCurve& given = curves[i];
    if (given.slot != "creep") Refuse("model " + model + " does not explain a curve " + given.slot);
    const double stress = stresses.empty() ? given.stress : stresses[i];
    if (stress == 0.0) {
      Refuse("curve " + given.curve.name +
             ": the stress of the creep test is missing; give stress=, or (time, strain, "
             "stress)");
    }
    data.tests.push_back({std::move(given.curve), stress});
  }
  keywords.Read("time_unit", data.timeUnit);
  keywords.Read("stress_unit", data.stressUnit);
  bool keep = data.tertiary == Fit::Tertiary::Keep;
  keywords.Read("keep_tertiary", keep);
  data.tertiary = keep ? Fit::Tertiary::Keep : Fit::Tertiary::Drop;
  return data;
}

Fit::Tests Cyclic(const std::string& model, std::vector<GivenCurve>& curves, Keywords& keywords) {
  using Data = Fit::CyclicData;
  Data data;
  const bool weighted =
      std::any_of(curves.begin(), curves.end(), [](const GivenCurve& one) { return one.curve.weight != 1.0; });
  if (weighted) data.balance = false;
  Put<Data>(curves, {{"stiffness", &Data::stiffness}, {"damping", &Data::damping}}, model, data);
  keywords.Read("form", data.form,
                {{"ordinate", Fit::CyclicForm::Ordinate},
                 {"strain", Fit::CyclicForm::Strain},
                 {"log-strain", Fit::CyclicForm::LogStrain},
                 {"stress", Fit::CyclicForm::Stress}});
  return data;
}

Fit::Tests Tensile(const std::string& model, std::vector<GivenCurve>& curves, Keywords& keywords) {
  using Data = Fit::TensileData;
  Data data;
  Put<Data>(curves, {{"tensile_test", &Data::curve}}, model, data);
  keywords.Read("strain_measure", data.strain,
                {{"plastic", Fit::StrainMeasure::Plastic},
                 {"true", Fit::StrainMeasure::True},
                 {"engineering", Fit::StrainMeasure::Engineering}});
  if (data.strain == Fit::StrainMeasure::Engineering) data.stress = Fit::StressMeasure::Engineering;
  keywords.Read("stress_measure", data.stress,
                {{"true", Fit::StressMeasure::True}, {"engineering", Fit::StressMeasure::Engineering}});
  keywords.Read("youngs_modulus", data.youngsModulus);
  keywords.Read("proof_strain", data.proofStrain);
  keywords.Read("stress_unit", data.stressUnit);
  return data;
}

Fit::Tests Retention(const std::string& model, std::vector<GivenCurve>& curves, Keywords& keywords) {
  using Data = Fit::RetentionData;
  Data data;
  Put<Data>(curves, {{"retention", &Data::retention}, {"grading", &Data::grading}}, model, data);
  if (data.retention.Empty()) data.points = Fit::RetentionPoints::Grading;
  keywords.Read("suction_unit", data.suctionUnit);
  keywords.Read("diameter_unit", data.diameterUnit);
  keywords.Read("water", data.water,
                {{"content", Fit::WaterMeasure::Content}, {"saturation", Fit::WaterMeasure::Saturation}});
  keywords.Read("porosity", data.porosity);
  keywords.Read("particle_density", data.particleDensity);
  keywords.Read("exponent", data.exponent);
  keywords.Read("points", data.points,
                {{"measured", Fit::RetentionPoints::Measured},
                 {"grading", Fit::RetentionPoints::Grading},
                 {"both", Fit::RetentionPoints::Both}});
  return data;
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

std::vector<GivenCurve> CurvesFrom(const py::list& given) {
  std::vector<GivenCurve> curves;
  for (const py::handle& one : given) {
    Keywords entries(py::reinterpret_borrow<py::dict>(one));
    GivenCurve curve;
    entries.Read("slot", curve.slot);
    curve.curve.name = curve.slot;
    entries.Read("name", curve.curve.name);
    entries.Read("weight", curve.curve.weight);
    entries.Read("stress", curve.stress);
    curve.curve.x = NumbersFrom(entries.Take("x"));
    curve.curve.y = NumbersFrom(entries.Take("y"));
    const py::object lateral = entries.Take("lateral");
    if (!lateral.is_none()) curve.curve.lateral = NumbersFrom(lateral);
    const py::object rows = entries.Take("rows");
    if (!rows.is_none()) curve.curve.rows = Cast<std::vector<int>>(rows, "rows", "a list of whole numbers");
    if (curve.curve.x.size() != curve.curve.y.size()) {
      throw Fit::Error(Fit::ErrorKind::BadData, "curve " + curve.curve.name + ": " +
                                                    std::to_string(curve.curve.x.size()) + " abscissae and " +
                                                    std::to_string(curve.curve.y.size()) + " ordinates");
    }
    curves.push_back(std::move(curve));
  }
  return curves;
}

Fit::Tests TestsFrom(const Fit::ModelInfo& model, std::vector<GivenCurve> curves, Keywords& keywords) {
  if (curves.empty()) Refuse("give a test curve; models of " + model.family + " explain them");
  if (model.name == "volumetric") return Volumetric(model.name, curves, keywords);
  if (model.family == "rubber") return Rubber(model.name, curves, keywords);
  if (model.family == "relaxation") return Relaxation(model.name, curves, keywords);
  if (model.family == "creep") return Creep(model.name, curves, keywords);
  if (model.family == "cyclic") return Cyclic(model.name, curves, keywords);
  if (model.family == "hardening") return Tensile(model.name, curves, keywords);
  if (model.family == "retention") return Retention(model.name, curves, keywords);
  Refuse("model " + model.name + " is not fitted to curves");
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

std::vector<Fit::ModelChoice> ChoicesFrom(const std::string& text, const std::vector<GivenCurve>& curves) {
  const std::string name = text.substr(0, text.find_first_of(":,"));
  const Fit::ModelInfo* info = Fit::FindModel(name);
  std::string family = info != nullptr ? info->family : "";
  if (family.empty() && !curves.empty()) family = FamilyOfCurve(curves.front().slot);
  if (family == "relaxation" && (text == name || text == name + ":auto")) return {{name, Fit::kAutomaticTerms}};
  const bool others =
      std::any_of(curves.begin(), curves.end(), [](const auto& one) { return one.slot != "volumetric"; });
  const bool narrow = family == "rubber" && (info == nullptr || HasCurve(*info, "uniaxial")) && others;
  return Fit::ChooseModels(text, family, narrow ? "uniaxial" : "");
}

}  // namespace Xem::Python
