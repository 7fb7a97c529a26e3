#include <algorithm>
#include <cmath>
#include <cstddef>

#include "fit/assemble.h"
#include "fit/screening.h"
#include "xem/fit/sheet_metal.h"

namespace Xem::Fit {
namespace {

/// Below this plastic strain, once the elastic part is removed, an error of the modulus is all that there is to see.
constexpr double kUsualProofStrain = 0.002;

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

double ProofStrain(const TensileData& data) {
  if (data.proofStrain >= 0.0) return data.proofStrain;
  return data.youngsModulus > 0.0 ? kUsualProofStrain : 0.0;
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
    const double trueStrain = data.strain == StrainMeasure::Engineering ? std::log1p(curve.x[i]) : curve.x[i];
    if (data.stress == StressMeasure::Engineering) curve.y[i] *= std::exp(trueStrain);
    curve.x[i] = data.youngsModulus > 0.0 ? trueStrain - curve.y[i] / data.youngsModulus : trueStrain;
  }
}

void NoteSuspicions(const TensileData& data, const Curve& flow, std::vector<std::string>& notes) {
  if (data.strain != StrainMeasure::Plastic && data.youngsModulus == 0.0) {
    notes.push_back("curve " + flow.name +
                    ": the elastic strain is not removed and counts as plastic; give Young's modulus to remove it");
  }
  NoteOddities("hardening", flow, notes);
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
  const double proof = ProofStrain(data);
  const auto elastic = [proof](double x, double) -> std::string {
    if (x < 0.0) return "negative plastic strain";
    return x < proof ? "plastic strain below " + Text(proof) : "";
  };
  result.curve = Screen(measured, "stress", elastic, fewest, result.dropped);
  NoteSuspicions(data, result.curve, result.notes);
  return result;
}

}  // namespace Xem::Fit
