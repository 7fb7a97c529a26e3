#include "viscoelastic/creep.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "solver/levenberg_marquardt.h"
#include "solver/tolerances.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

constexpr int kMostPasses = 200;

/// An exponent this close to 1 makes the primary term a straight line.
constexpr double kLinear = 1e-10;

/// A rate that moves the strain over the whole record by no more than this multiple of the rounding of the largest
/// strain. What the primary term leaves of exactly linear data stays below a tenth of it.
constexpr double kRoundings = 4096.0;

/// What is left of the strains after the terms of `line`. Once there is a primary term, negative rests count as zero.
void TakeRest(const CreepLine& line, std::span<const double> times, std::span<const double> strains,
              std::span<double> rest) {
  for (std::size_t i = 0; i < rest.size(); ++i) {
    rest[i] = strains[i] - CreepStrain(line, times[i]);
    if (line.amplitude != 0.0 && rest[i] < 0.0) rest[i] = 0.0;
  }
}

/// True ends the alternation; the line then holds its last word.
bool Stop(CreepLine& line) {
  if (line.rate < 0.0) {
    line.rate = 0.0;
    return true;
  }
  if (1.0 - line.exponent < kLinear) {
    // Deliberate: the amplitude replaces the fitted rate, it is not added to it.
    line = {.amplitude = 0.0, .exponent = 0.0, .rate = line.amplitude};
    return true;
  }
  return false;
}

/// The rate up to which there is nothing but rounding.
double RateOfRounding(std::span<const double> times, std::span<const double> strains) {
  if (times.empty()) return 0.0;
  const auto [first, last] = std::minmax_element(times.begin(), times.end());
  const double largest = *std::max_element(strains.begin(), strains.end());
  return kRoundings * std::numeric_limits<double>::epsilon() * largest / (*last - *first);
}

/// Fits the two terms in turn, each to what the other leaves.
CreepLine Alternate(std::span<const double> times, std::span<const double> strains, double& determination) {
  CreepLine line;
  Vector rest(times.size());
  const double rounding = RateOfRounding(times, strains);
  for (int pass = 0; pass < kMostPasses; ++pass) {
    line.amplitude = 0.0;
    line.exponent = 0.0;
    TakeRest(line, times, strains, rest);
    FitPrimary(times, rest, line);
    line.rate = 0.0;
    TakeRest(line, times, strains, rest);
    line.rate = FitRate(times, rest);
    // Deliberate: otherwise rounding would decide whether linear data stop with a negative rate or at the exponent.
    if (std::abs(line.rate) <= rounding) line.rate = 0.0;
    const bool stop = Stop(line);
    determination = CreepDetermination(line, times, strains);
    if (stop) break;
  }
  return line;
}

}  // namespace

void XemMaterialTestDataCreep::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(
      points, [](const _T_FUNT_BASE& point) { return point.second > 0.0; }, AsItStands);
}

void XemMaterialTestDataCreep::FitCreepLaw(std::span<double> fit, const Vector& strains, const Vector& times,
                                           double* determination) {
  CreepLine line;
  switch (test_.type) {
    case CreepType::Primary:
      FitPrimary(times, strains, line);
      *determination = CreepDetermination(line, times, strains);
      break;
    case CreepType::Secondary:
      line.rate = FitRate(times, strains);
      *determination = CreepDetermination(line, times, strains);
      break;
    case CreepType::Both:
      line = Alternate(times, strains, *determination);
      break;
  }
  fit[0] = line.amplitude;
  fit[1] = line.exponent;
  fit[2] = line.rate;
}

std::array<double, 6> XemMaterialTestDataCreep::Constants(std::span<const double> fit) const {
  std::array<double, 6> constants{};
  const bool primary = test_.type == CreepType::Primary || test_.type == CreepType::Both;
  const bool secondary = test_.type == CreepType::Secondary || test_.type == CreepType::Both;
  if (primary) {
    constants[kC1] = fit[0] / std::pow(test_.stress, test_.primaryStressExponent);
    constants[kC2] = test_.primaryStressExponent;
    constants[kC4] = fit[1];
  }
  if (secondary) {
    constants[kC5] = fit[2] / std::pow(test_.stress, test_.secondaryStressExponent);
    constants[kC6] = test_.secondaryStressExponent;
  }
  return constants;
}

void XemMaterialCurveFittingCreep::FitCreep(XemMaterialTestDataBase& testData, std::span<double> fit,
                                            const Vector& strains, const Vector& times, double* determination) const {
  testData.FitCreepLaw(fit, strains, times, determination);
}

void XemMaterialCreepType300::SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) {
  if (settings.empty() || options.empty()) throw CInvalidArgException("the stress of a creep test is missing");
  stress_ = settings[0];
}

bool XemMaterialCreepType300::EnforceParameterConstraints(std::int32_t, std::span<double> parameters) const {
  return ConstrainCreep(parameters);
}

void XemMaterialCreepType300::SetTestData(std::span<const _T_FUNT_BASE> points) {
  Load(
      points, [](const _T_FUNT_BASE& point) { return point.first > 0.0; }, AsItStands);
  logTimes_ = curve_.abscissa;
  for (double& time : logTimes_) time = std::log(time);
}

void XemMaterialCreepType300::Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                       std::span<double> model, MatrixView derivatives) const {
  const CreepAtStress law(parameters, stress_);
  EvaluateByPoint<kCreepConstants>(
      first, model, derivatives, [&](std::int32_t point) { return law.Strain(curve_.abscissa[point]); },
      [&](std::int32_t point, std::span<double> gradient) {
        return law.Gradient(curve_.abscissa[point], logTimes_[point], gradient);
      });
}

std::int32_t FitCreepConstants(const boost::shared_ptr<XemMaterialCreepType300>& curve, std::span<double> constants,
                               double& determination) {
  FixedTermMask mask(constants.size());
  for (std::int32_t k = 0; k < mask.Size(); ++k) {
    mask[k] = k == kC3 || k >= kC7 ? 1 : 0;
    constants[k] = mask[k] != 0 ? 0.0 : 1.0;
  }
  const TestFunctionList functions{curve};
  LevenbergMarquardtMethodRelative solver(functions, mask.Size());
  solver.SetMask(mask);
  // At one stress the constants are dependent: the last bit decides where the run ends.
  solver.SetArithmetic(Arithmetic::AsWritten);
  const std::int32_t status = solver.Solve(constants, kCreepTolerance);
  determination = solver.CoefficientOfDetermination(constants);
  return status;
}

}  // namespace Xem::MaterialUtil
