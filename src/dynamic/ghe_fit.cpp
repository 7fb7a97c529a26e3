#include "dynamic/ghe_fit.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "dynamic/stiffness_damping_law.h"

namespace Xem::MaterialUtil {
namespace {

/// 1e-8 of what a model of zero would leave: the rms misfit settles to 1e-4 of the rms of the data, a decimal below
/// what such curves can be read to.
double Tolerance(ResidualKind residual, const XemMaterialTestFunctionBase& function) {
  double sum = 0.0;
  for (const double measured : function.Compared()) {
    sum += residual == ResidualKind::Absolute ? measured * measured : 1.0;
  }
  return std::max(1e-8 * sum, 1e-300);
}

template <class Function>
GheMeasures Fit(ResidualKind residual, std::span<const std::int32_t> mask, const boost::shared_ptr<Function>& function,
                bool solvable, std::span<double> parameters) {
  const TestFunctionList functions{function};
  LevenbergMarquardtMethodOfKind solver(residual, functions, static_cast<std::int32_t>(parameters.size()));
  const FixedTermMask fixedTerms(mask);
  solver.SetMask(fixedTerms);
  GheMeasures measures;
  measures.tolerance = Tolerance(residual, *function);
  if (solvable && function->PointCount() > 0 && FreeCount(fixedTerms) > 0) {
    measures.status = solver.Solve(parameters, measures.tolerance);
  }
  measures.determination = solver.CoefficientOfDetermination(parameters);
  measures.sumOfSquares = solver.SumOfSquares(parameters);
  return measures;
}

boost::shared_ptr<XemGHEModelTestFunction> LoadGhe(const GheRequest& request, GheForm form,
                                                   std::span<const _T_FUNT_BASE> stiffness) {
  std::vector<std::int32_t> options{static_cast<std::int32_t>(form)};
  options.insert(options.end(), request.mask.begin(), request.mask.end());
  const auto function = boost::make_shared<XemGHEModelTestFunction>();
  function->SetParameters({&request.referenceStrain, 1}, options);
  function->SetTestData(stiffness);
  return function;
}

/// (hmax, kappa) of the line ln h = ln hmax + kappa ln u through the points where both logarithms exist.
std::array<double, 2> RegressDamping(std::span<const double> losses, std::span<const double> dampings) {
  double count = 0.0;
  double sumX = 0.0;
  double sumY = 0.0;
  double smallest = 1.0;
  double largest = 0.0;
  const auto usable = [&](std::size_t i) { return losses[i] >= kNegligible && losses[i] < 1.0 && dampings[i] > 0.0; };
  for (std::size_t i = 0; i < losses.size(); ++i) {
    if (!usable(i)) continue;
    count += 1.0;
    sumX += std::log(losses[i]);
    sumY += std::log(dampings[i]);
    smallest = std::min(smallest, losses[i]);
    largest = std::max(largest, losses[i]);
  }
  if (count < 2.0 || smallest == largest) {
    const auto highest = std::max_element(dampings.begin(), dampings.end());
    return {highest == dampings.end() ? 0.0 : *highest, 1.0};
  }
  double xx = 0.0;
  double xy = 0.0;
  for (std::size_t i = 0; i < losses.size(); ++i) {
    if (!usable(i)) continue;
    const double x = std::log(losses[i]) - sumX / count;
    xx += x * x;
    xy += x * (std::log(dampings[i]) - sumY / count);
  }
  const double slope = xy / xx;
  return {std::exp(sumY / count - slope * sumX / count), slope};
}

}  // namespace

std::vector<_T_FUNT_BASE> KeptPoints(std::span<const _T_FUNT_BASE> curve) {
  std::vector<_T_FUNT_BASE> kept;
  std::copy_if(curve.begin(), curve.end(), std::back_inserter(kept), KeepPositiveStrain());
  return kept;
}

double HalfStiffnessStrain(std::span<const _T_FUNT_BASE> kept) {
  const auto i = FindHalf(kept);
  if (!i) return kDefaultReferenceStrain;
  const _T_FUNT_BASE& from = kept[*i];
  const _T_FUNT_BASE& to = kept[*i + 1];
  if (to.second == from.second) return from.first;
  const double share = (0.5 - from.second) / (to.second - from.second);
  return std::exp(std::log(from.first) + share * (std::log(to.first) - std::log(from.first)));
}

GheParameters StartGhe(std::span<const double> given, std::span<const std::int32_t> mask) {
  GheParameters start = kGheDefaults;
  for (std::size_t k = 0; k < kGheParameterCount; ++k) {
    if (mask[k] != 0 || given[k] > 0.0) start[k] = given[k];
  }
  return start;
}

std::vector<double> StartGheDamping(std::span<const double> given, std::span<const std::int32_t> mask,
                                    const XemGHEModelDampingTestFunction& function) {
  const std::array<double, 2> regressed = RegressDamping(function.Losses(), function.Stress());
  std::vector<double> start(2);
  for (std::size_t k = 0; k < 2; ++k) start[k] = mask[k] != 0 || given[k] > 0.0 ? given[k] : regressed[k];
  return start;
}

GheMeasures FitGhe(const GheRequest& request, std::span<const _T_FUNT_BASE> stiffness, std::span<double> parameters,
                   std::span<_T_FUNT_BASE> curve) {
  const auto byRatio = LoadGhe(request, GheForm::Stiffness, stiffness);
  GheMeasures measures = Fit(request.residual, request.mask, byRatio, true, parameters);
  if (request.form == GheForm::Stress) {
    // Relative residuals do not know the form (the strain cancels): the result stands, only measures differ.
    const bool again = request.residual == ResidualKind::Absolute;
    const std::int32_t status = measures.status;
    measures = Fit(request.residual, request.mask, LoadGhe(request, GheForm::Stress, stiffness), again, parameters);
    if (!again) measures.status = status;
  }
  GheParameters fitted{};
  byRatio->Output(parameters, fitted, curve);
  return measures;
}

GheMeasures FitGheDamping(ResidualKind residual, std::span<const std::int32_t> mask,
                          const boost::shared_ptr<XemGHEModelDampingTestFunction>& function,
                          std::span<double> parameters) {
  return Fit(residual, mask, function, function->HasStiffness(), parameters);
}

}  // namespace Xem::MaterialUtil
