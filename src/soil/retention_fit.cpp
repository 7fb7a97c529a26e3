#include "soil/retention_fit.h"

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>

#include "solver/linalg/numbers.h"
#include "solver/tolerances.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

constexpr std::size_t kNeededSettings = 3;
constexpr std::size_t kFirstFlag = 6;
constexpr double kUsualPorosity = 0.4;
constexpr int kMostSolves = 20;
constexpr double kWorthAnotherSolve = 1e-4;

std::optional<RetentionSource> RetentionSourceFromCode(std::int32_t code) {
  if (code < 0 || code > static_cast<std::int32_t>(RetentionSource::Both)) return std::nullopt;
  return static_cast<RetentionSource>(code);
}

bool IsPorosity(double value) { return value > 0.0 && value < 1.0; }

double PositiveOr(double value, double usual) { return std::isfinite(value) && value > 0.0 ? value : usual; }

/// Value of every held parameter; free entries are 0.
Vector HeldValues(const RetentionSettings& settings, std::span<const double> given) {
  Vector held(settings.mask.Size());
  for (std::int32_t k = 0; k < held.Size(); ++k) {
    if (settings.mask[k] == 0) continue;
    if (settings.usualResidualSuctionHeld && k == static_cast<std::int32_t>(kResidualSuction)) {
      held[k] = kUsualResidualSuction;
      continue;
    }
    if (static_cast<std::size_t>(k) >= given.size()) throw CInvalidArgException("a held parameter has no value");
    held[k] = given[k];
  }
  return held;
}

boost::shared_ptr<XemUnsaturatedSoilTestFunction> MakeFunction(const RetentionSettings& settings,
                                                               std::span<const _T_FUNT_BASE> points) {
  std::array<std::int32_t, 1 + kMostRetentionParameters> options{static_cast<std::int32_t>(settings.model)};
  std::copy(settings.mask.begin(), settings.mask.end(), options.begin() + 1);
  const auto function = boost::make_shared<XemUnsaturatedSoilTestFunction>();
  function->SetParameters({}, options);
  function->SetTestData(points);
  return function;
}

/// psi_r of the candidates.
double StartingResidualSuction(const RetentionSettings& settings, std::span<const double> suctions) {
  double largest = kUsualResidualSuction;
  if (settings.usualResidualSuctionHeld) return largest;
  for (const double suction : suctions) largest = std::max(largest, suction);
  return largest;
}

/// Solves again from the solver's own result while that pays: its stop rule counts small changes on a plateau too, and
/// relative residuals keep the sum below its absolute threshold.
std::int32_t SolveRepeatedly(LevenbergMarquardtMethod& solver, std::span<double> parameters) {
  std::int32_t status = solver.Solve(parameters, kRetentionTolerance);
  double sum = solver.SumOfSquares(parameters);
  for (int call = 1; call < kMostSolves; ++call) {
    const double previous = sum;
    status = solver.Solve(parameters, kRetentionTolerance);
    sum = solver.SumOfSquares(parameters);
    if (!(previous - sum > kWorthAnotherSolve * previous)) break;
  }
  return status;
}

}  // namespace

std::optional<RetentionSettings> RetentionSettings::Read(std::span<const double> settings) {
  if (settings.size() < kNeededSettings) return std::nullopt;
  const auto knownModel = RetentionModelFromCode(TruncateToInt(settings[0]));
  const auto knownSource = RetentionSourceFromCode(TruncateToInt(settings[1]));
  if (!knownModel || !knownSource) return std::nullopt;

  RetentionSettings read;
  read.model = *knownModel;
  read.source = *knownSource;
  read.residual = ResidualFromCode(TruncateToInt(settings[2]));
  if (settings.size() > 3) read.porosity = settings[3];
  if (settings.size() > 4) read.particleDensity = PositiveOr(settings[4], read.particleDensity);
  if (settings.size() > 5) read.exponent = PositiveOr(settings[5], read.exponent);

  const std::size_t count = RetentionParameters(read.model).size();
  read.mask.Resize(count);
  for (std::size_t k = 0; k < count && kFirstFlag + k < settings.size(); ++k) {
    read.mask[k] = settings[kFirstFlag + k] != 0.0 ? 1 : 0;
  }
  if (read.model == RetentionModel::FredlundXing && settings.size() <= kFirstFlag + kResidualSuction) {
    read.mask[kResidualSuction] = 1;
    read.usualResidualSuctionHeld = true;
  }
  return read;
}

double RetentionPorosity(double given, std::span<const _T_FUNT_BASE> measured) {
  if (IsPorosity(given)) return given;
  double largest = 0.0;
  for (const _T_FUNT_BASE& point : measured) {
    if (IsRetentionPoint(point)) largest = std::max(largest, point.second);
  }
  return IsPorosity(largest) ? largest : kUsualPorosity;
}

RetentionPoints LoadRetention(const RetentionSettings& settings, std::span<const _T_FUNT_BASE> measured,
                              std::span<const _T_FUNT_BASE> grading) {
  RetentionPoints data;
  data.porosity = RetentionPorosity(settings.porosity, measured);
  data.derived = RetentionFromGrading(
      grading, {.porosity = data.porosity, .particleDensity = settings.particleDensity, .exponent = settings.exponent});
  if (settings.source != RetentionSource::Grading) data.fitted.assign(measured.begin(), measured.end());
  if (settings.source != RetentionSource::Measured) {
    data.fitted.insert(data.fitted.end(), data.derived.begin(), data.derived.end());
  }
  return data;
}

std::vector<_T_FUNT_BASE> RetentionGrid() {
  constexpr int kPoints = 50;
  std::vector<_T_FUNT_BASE> grid;
  grid.reserve(kPoints);
  for (int i = 0; i < kPoints; ++i) grid.emplace_back(std::pow(10.0, -2.0 + 8.0 * i / (kPoints - 1)), 0.0);
  return grid;
}

RetentionFit FitRetention(const RetentionSettings& settings, const RetentionPoints& data,
                          std::span<const double> given) {
  const Vector held = HeldValues(settings, given);
  RetentionFit fit;
  fit.function = MakeFunction(settings, data.fitted);
  fit.parameters.Resize(held.Size());
  const RetentionStart start{.held = held,
                             .caller = given,
                             .residualSuction = StartingResidualSuction(settings, fit.function->Stretch().Span()),
                             .saturatedContent = data.porosity};
  FindRetentionStart(*fit.function, settings.residual, start, fit.parameters);
  if (FreeCount(settings.mask) == 0 || fit.function->PointCount() == 0) return fit;

  const TestFunctionList functions{fit.function};
  LevenbergMarquardtMethodOfKind solver(settings.residual, functions, held.Size());
  solver.SetMask(settings.mask);
  fit.status = SolveRepeatedly(solver, fit.parameters);
  return fit;
}

}  // namespace Xem::MaterialUtil
