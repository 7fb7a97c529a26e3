#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <optional>
#include <span>
#include <string_view>

#include "fit/assemble.h"
#include "fit/screening.h"
#include "xem/fit/sheet_metal.h"

namespace Xem::Fit {
namespace {

/// Below this plastic strain, once the elastic part is removed, an error of the modulus is all that there is to see.
constexpr double kUsualProofStrain = 0.002;

/// An elastic part has so many points at least, strays from its line by no more than this part of its greatest stress,
/// and starts no further from the origin than that part of its greatest strain; the curve beyond rises by less than a
/// fifth of its slope.
constexpr std::size_t kFewestElastic = 4;
constexpr double kStraight = 0.02;
constexpr double kSlack = 0.2;
constexpr double kFlatShare = 0.2;

/// Of Young's modulus over the steepest secant of the curve: coarse tests reach a hundred, and much less than one is
/// another unit.
constexpr double kFarTooStiff = 300.0;
constexpr double kOtherUnit = 0.01;

/// Three digits, for people.
double Rounded(double value) {
  if (!(value > 0.0)) return value;
  const double step = std::pow(10.0, std::floor(std::log10(value)) - 2.0);
  return std::round(value / step) * step;
}

void RequireSense(const TensileData& data) {
  if (data.strain == StrainMeasure::Plastic && data.stress == StressMeasure::Engineering) {
    throw Error(ErrorKind::BadInput, "curve " + data.curve.name +
                                         ": engineering stress cannot be converted with a plastic strain; give the "
                                         "total strain, engineering or true");
  }
  if (!std::isfinite(data.youngsModulus) || data.youngsModulus < 0.0) {
    throw Error(ErrorKind::BadInput, "Young's modulus " + Text(data.youngsModulus) + " is not a positive number");
  }
  if (data.strain == StrainMeasure::Plastic && data.youngsModulus > 0.0) {
    throw Error(ErrorKind::BadInput,
                "curve " + data.curve.name + ": a plastic strain has no elastic part; leave out Young's modulus");
  }
  if (!std::isfinite(data.proofStrain)) throw Error(ErrorKind::BadInput, "the proof strain is not a finite number");
}

double ProofStrain(const TensileData& data, double modulus) {
  if (data.proofStrain >= 0.0) return data.proofStrain;
  return modulus > 0.0 ? kUsualProofStrain : 0.0;
}

/// Strain at which the engineering stress of the curve is largest; beyond it the specimen necks.
double StrainOfMaximumForce(const Curve& curve) {
  double strain = 0.0;
  double largest = 0.0;
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    if (curve.y[i] <= largest) continue;
    largest = curve.y[i];
    strain = curve.x[i];
  }
  return strain;
}

void MoveToTrueValues(const TensileData& data, Curve& curve) {
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    if (data.strain == StrainMeasure::Engineering) curve.x[i] = std::log1p(curve.x[i]);
    if (data.stress == StressMeasure::Engineering) curve.y[i] *= std::exp(curve.x[i]);
  }
}

/// The point of the largest stress.
std::size_t TopOf(const Curve& curve) {
  return static_cast<std::size_t>(std::max_element(curve.y.begin(), curve.y.end()) - curve.y.begin());
}

/// The straight line with which a tensile curve begins.
struct ElasticLine {
  std::size_t points = 0;
  double slope = 0.0;
};

/// The straight line through the first `points` points, if it is one, rises and comes from the origin.
std::optional<ElasticLine> LineThroughFirst(const Curve& curve, std::size_t points) {
  const auto count = static_cast<double>(points);
  const auto x = std::span(curve.x).first(points);
  const auto y = std::span(curve.y).first(points);
  const double meanX = std::accumulate(x.begin(), x.end(), 0.0) / count;
  const double meanY = std::accumulate(y.begin(), y.end(), 0.0) / count;
  double product = 0.0;
  double square = 0.0;
  for (std::size_t i = 0; i < points; ++i) {
    product += (x[i] - meanX) * (y[i] - meanY);
    square += (x[i] - meanX) * (x[i] - meanX);
  }
  const double slope = product / square;
  if (!(slope > 0.0)) return std::nullopt;
  const double reach = *std::max_element(x.begin(), x.end());
  for (std::size_t i = 0; i < points; ++i) {
    if (!(std::abs(meanY + slope * (x[i] - meanX) - y[i]) <= kStraight * slope * reach)) return std::nullopt;
  }
  if (std::abs(meanX - meanY / slope) > kSlack * reach) return std::nullopt;
  return ElasticLine{points, slope};
}

/// The elastic part of a curve of true values: as much of its beginning as is straight, if the rest is much flatter.
std::optional<ElasticLine> FindElasticLine(const Curve& curve) {
  const std::size_t top = TopOf(curve);
  std::optional<ElasticLine> found;
  for (std::size_t points = kFewestElastic; points <= top; points += 1 + points / 8) {
    const auto line = LineThroughFirst(curve, points);
    if (line) found = line;
  }
  if (!found) return std::nullopt;
  const std::size_t last = found->points - 1;
  const double after = (curve.y[top] - curve.y[last]) / (curve.x[top] - curve.x[last]);
  return after < kFlatShare * found->slope ? found : std::nullopt;
}

/// Units of stress a factor of 1000 apart.
constexpr std::array<std::string_view, 4> kStressUnits{"Pa", "kPa", "MPa", "GPa"};

std::string UnitSteps(const std::string& unit, double factor) {
  const auto own = std::find(kStressUnits.begin(), kStressUnits.end(), unit) - kStressUnits.begin();
  const auto other = own + std::lround(std::log10(factor) / 3.0);
  if (own == std::ssize(kStressUnits) || other < 0 || other >= std::ssize(kStressUnits)) return "";
  return ", as if it were in " + std::string(kStressUnits[static_cast<std::size_t>(other)]) + " and not in " + unit;
}

std::string InUnit(double stress, const TensileData& data) {
  return Text(Rounded(stress)) + (data.stressUnit.empty() ? "" : " " + data.stressUnit);
}

/// A modulus in another unit than the stress makes all of the strain elastic, or none. Throws or notes.
void CheckModulus(const TensileData& data, const Curve& curve, std::vector<std::string>& notes) {
  const double modulus = data.youngsModulus;
  const std::size_t top = TopOf(curve);
  double steepest = 0.0;
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    // What is nearly zero over what is nearly zero tells nothing.
    if (curve.x[i] > 0.0 && curve.y[i] > 0.1 * curve.y[top]) steepest = std::max(steepest, curve.y[i] / curve.x[i]);
  }
  const std::string given = "curve " + curve.name + ": Young's modulus " + Text(modulus);
  if (curve.y[top] / modulus > curve.x[top]) {
    std::string hint;
    if (modulus < kOtherUnit * steepest) {
      double factor = 1000.0;
      while (factor * modulus < 0.5 * steepest && factor < 1e9) factor *= 1000.0;
      hint = "; it looks " + Text(factor) + " times too small" + UnitSteps(data.stressUnit, factor);
    }
    throw Error(ErrorKind::BadInput, given +
                                         " would make all of the strain elastic, although stress over strain reaches " +
                                         InUnit(steepest, data) + hint);
  }
  if (modulus > kFarTooStiff * steepest) {
    notes.push_back(given + " is far above all that the curve shows, stress over strain of up to " +
                    InUnit(steepest, data) + ": is it in the unit of the stress?");
  }
}

/// Young's modulus as given, or as the curve tells it; 0 where nothing is to be removed.
double ModulusOf(const TensileData& data, const Curve& curve, std::vector<std::string>& notes) {
  if (data.strain == StrainMeasure::Plastic || curve.x.empty()) return 0.0;
  if (data.youngsModulus > 0.0) {
    CheckModulus(data, curve, notes);
    return data.youngsModulus;
  }
  const std::optional<ElasticLine> line = FindElasticLine(curve);
  if (line) {
    const double modulus = Rounded(line->slope);
    notes.push_back("curve " + curve.name + ": Young's modulus is not given; " + InUnit(modulus, data) +
                    ", the slope of the first " + std::to_string(line->points) + " points, removes the elastic strain");
    return modulus;
  }
  std::string cost;
  const auto unit = std::find(kStressUnits.begin(), kStressUnits.end(), data.stressUnit);
  if (unit != kStressUnits.end()) {
    const double largest = curve.y[TopOf(curve)];
    const double gigapascal = std::pow(1000.0, static_cast<double>(kStressUnits.end() - 1 - unit));
    cost = ", up to " + Text(Rounded(largest / (210.0 * gigapascal))) + " with the 210 GPa of steel and " +
           Text(Rounded(largest / (70.0 * gigapascal))) + " with the 70 GPa of aluminium";
  }
  notes.push_back("curve " + curve.name + ": the elastic strain is not removed and counts as plastic" + cost +
                  "; it cannot be told from the curve, which does not begin with a straight line from the origin: give "
                  "Young's modulus");
  return 0.0;
}

}  // namespace

FlowCurve MakeFlowCurve(const TensileData& data, int fewest) {
  RequireSense(data);
  FlowCurve result;
  const bool engineering = data.stress == StressMeasure::Engineering;
  const double lastStrain = engineering ? StrainOfMaximumForce(data.curve) : 0.0;
  const auto objection = [&](double x, double y) -> std::string {
    if (y < 0.0) return "negative stress";
    if (data.strain == StrainMeasure::Engineering && x <= -1.0) return "engineering strain of -1 or below";
    if (engineering && x > lastStrain) return "beyond the maximum force, where the specimen necks";
    return "";
  };
  RequirePlausible("hardening", data.curve);
  Curve measured = Screen(data.curve, "stress", objection, 1, result.dropped);
  MoveToTrueValues(data, measured);
  const double modulus = ModulusOf(data, measured, result.notes);
  for (std::size_t i = 0; modulus > 0.0 && i < measured.x.size(); ++i) measured.x[i] -= measured.y[i] / modulus;
  const double proof = ProofStrain(data, modulus);
  const auto elastic = [proof](double x, double) -> std::string {
    if (x < 0.0) return "negative plastic strain";
    return x < proof ? "plastic strain below " + Text(proof) : "";
  };
  result.curve = Screen(measured, "stress", elastic, fewest, result.dropped);
  NoteOddities("hardening", result.curve, result.notes);
  return result;
}

}  // namespace Xem::Fit
