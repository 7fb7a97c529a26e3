#include "fit/models/retention_soil.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "fit/assemble.h"
#include "fit/screening.h"
#include "soil/retention_fit.h"

namespace Xem::Fit {
namespace {

namespace Core = MaterialUtil;

constexpr double kPaPerCentimetre = 0.0980665;
constexpr double kPaPerPsi = 1e-3 * 0.45359237 * 9.80665 / (0.0254 * 0.0254);
constexpr std::array kSuctionUnits{
    SuctionUnit{"kPa", 1.0, "kPa"},
    SuctionUnit{"Pa", 1e-3, "Pa"},
    SuctionUnit{"hPa", 0.1, "hPa"},
    SuctionUnit{"MPa", 1e3, "MPa"},
    SuctionUnit{"bar", 100.0, "bar"},
    SuctionUnit{"psi", kPaPerPsi, "psi"},
    SuctionUnit{"mm", 0.1 * kPaPerCentimetre, "mm"},
    SuctionUnit{"cm", kPaPerCentimetre, "cm"},
    SuctionUnit{"m", 100.0 * kPaPerCentimetre, "m"},
    SuctionUnit{"pF", kPaPerCentimetre, "cm", true},
};

/// A diameter in mm is `times` / `per` times the number; a division keeps decimal sieve sizes exact.
struct DiameterUnit {
  const char* name;
  double times;
  double per;
};
constexpr std::array kDiameterUnits{DiameterUnit{"mm", 1.0, 1.0}, DiameterUnit{"um", 1.0, 1e3},
                                    DiameterUnit{"cm", 10.0, 1.0}, DiameterUnit{"m", 1e3, 1.0}};

template <class Table>
std::vector<std::string> NamesOf(const Table& table) {
  std::vector<std::string> names;
  for (const auto& entry : table) names.emplace_back(entry.name);
  return names;
}

template <class Table>
const auto& EntryOf(const Table& table, const std::string& name, const char* what) {
  const auto found = std::find_if(table.begin(), table.end(), [&](const auto& entry) { return name == entry.name; });
  if (found != table.end()) return *found;
  std::string known;
  for (const auto& entry : table) known += (known.empty() ? "" : ", ") + std::string(entry.name);
  throw Error(ErrorKind::BadInput, std::string("unknown ") + what + " " + name + ": use one of " + known);
}

bool IsPorosity(double value) { return value > 0.0 && value < 1.0; }

std::string ObjectToRetention(const SuctionUnit& unit, double suction, double water) {
  if (suction < 0.0 && !unit.logarithm) return "negative suction";
  if (water < 0.0) return "negative water content";
  if (water > 1.0) return "water content " + Text(water) + " is above 1";
  return {};
}

void LoadMeasured(const RetentionData& data, Soil& soil) {
  if (data.retention.Empty()) return;
  Curve named = data.retention;
  named.name = "retention";
  RequirePlausible("retention", named);
  const SuctionUnit& unit = *soil.unit;
  soil.retention = Screen(
      named, "water content", [&](double suction, double water) { return ObjectToRetention(unit, suction, water); }, 1,
      soil.dropped);
  NoteOddities("retention", soil.retention, soil.notes);
  if (unit.logarithm) {
    for (double& suction : soil.retention.x) suction = std::pow(10.0, suction);
  }
  if (data.water == WaterMeasure::Saturation) {
    if (!IsPorosity(data.porosity)) {
      throw Error(ErrorKind::BadInput, "curve retention holds saturations: give the porosity, between 0 and 1");
    }
    for (double& water : soil.retention.y) water *= data.porosity;
  }
}

/// The grading in mm. A passing of zero is a measurement here, unlike a water content of zero.
std::vector<_T_FUNT_BASE> LoadGrading(const RetentionData& data, Soil& soil) {
  const Curve& curve = data.grading;
  if (curve.y.size() != curve.x.size() || (!curve.rows.empty() && curve.rows.size() != curve.x.size())) {
    throw Error(ErrorKind::BadData, "curve grading: its columns differ in length");
  }
  const DiameterUnit& unit = EntryOf(kDiameterUnits, data.diameterUnit, "unit of diameter");
  std::vector<_T_FUNT_BASE> points;
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    std::string reason;
    if (!std::isfinite(curve.x[i]) || !std::isfinite(curve.y[i])) reason = "not a finite number";
    if (curve.x[i] <= 0.0) reason = "diameter is not positive";
    if (curve.y[i] < 0.0) reason = "negative passing";
    if (reason.empty()) {
      points.emplace_back(curve.x[i] * unit.times / unit.per, curve.y[i]);
    } else {
      soil.dropped.push_back({"grading", curve.Row(i), reason});
    }
  }
  double largest = 0.0;
  for (const _T_FUNT_BASE& point : points) largest = std::max(largest, point.second);
  if (largest > 0.0 && largest != 1.0 && largest != 100.0) {
    soil.notes.push_back("curve grading: the largest passing, " + Text(largest) + ", is taken as all of the soil");
  }
  return points;
}

void DerivePoints(const RetentionData& data, Soil& soil) {
  if (data.grading.Empty()) return;
  for (const auto& [name, value] :
       {std::pair("particle density", data.particleDensity), std::pair("exponent of the grading", data.exponent)}) {
    if (!(value > 0.0) || !std::isfinite(value)) {
      throw Error(ErrorKind::BadInput, std::string("the ") + name + " " + Text(value) + " is not a positive number");
    }
  }
  soil.porosity = Core::RetentionPorosity(data.porosity, CorePoints(soil.retention));
  if (std::isnan(data.porosity)) {
    const auto& contents = soil.retention.y;
    const bool measured = std::find(contents.begin(), contents.end(), soil.porosity) != contents.end();
    soil.notes.push_back("no porosity is given: " + Text(soil.porosity) +
                         (measured ? ", the largest measured water content, is used" : " is assumed"));
  }
  const auto derived = Core::RetentionFromGrading(
      LoadGrading(data, soil),
      {.porosity = soil.porosity, .particleDensity = data.particleDensity, .exponent = data.exponent});
  soil.derived.name = "grading";
  soil.derived.weight = data.grading.weight;
  for (const _T_FUNT_BASE& point : derived) {
    soil.derived.x.push_back(point.first / soil.unit->kPa);
    soil.derived.y.push_back(point.second);
  }
  if (derived.empty()) {
    soil.notes.push_back(
        "curve grading: it has no class, so no retention point follows from it; two diameters with "
        "different passings are needed");
  }
}

void ChooseFitted(RetentionPoints points, Soil& soil) {
  if (points != RetentionPoints::Grading && !soil.retention.Empty()) soil.fitted.push_back(soil.retention);
  if (points != RetentionPoints::Measured && !soil.derived.Empty()) soil.fitted.push_back(soil.derived);
  if (!soil.fitted.empty()) return;
  throw Error(ErrorKind::BadData, points == RetentionPoints::Measured
                                      ? "there is no measured retention curve to fit; fit the points of the grading"
                                      : "there is no grading that gives a retention point to fit");
}

}  // namespace

std::vector<std::string> SuctionUnits() { return NamesOf(kSuctionUnits); }

const SuctionUnit& SuctionUnitCalled(const std::string& name) {
  return EntryOf(kSuctionUnits, name, "unit of suction");
}

std::vector<_T_FUNT_BASE> Soil::InKilopascal(const Curve& curve) const {
  std::vector<_T_FUNT_BASE> points = CorePoints(curve);
  for (_T_FUNT_BASE& point : points) point.first *= unit->kPa;
  return points;
}

std::vector<_T_FUNT_BASE> Soil::FittedPoints() const {
  std::vector<_T_FUNT_BASE> all;
  for (const Curve& curve : fitted) {
    const auto points = InKilopascal(curve);
    all.insert(all.end(), points.begin(), points.end());
  }
  return all;
}

Soil LoadSoil(const RetentionData& data) {
  Soil soil;
  soil.unit = &SuctionUnitCalled(data.suctionUnit);
  if (!std::isnan(data.porosity) && !IsPorosity(data.porosity)) {
    throw Error(ErrorKind::BadInput, "the porosity " + Text(data.porosity) + " is not between 0 and 1");
  }
  soil.porosity = data.porosity;
  LoadMeasured(data, soil);
  DerivePoints(data, soil);
  ChooseFitted(data.points, soil);
  return soil;
}

}  // namespace Xem::Fit
