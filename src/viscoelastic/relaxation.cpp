#include "viscoelastic/relaxation.h"

#include <algorithm>
#include <cstddef>

#include "solver/starting_vector.h"
#include "solver/tolerances.h"
#include "viscoelastic/prony.h"

namespace Xem::MaterialUtil {
namespace {

bool KeepRelaxing(const _T_FUNT_BASE& point) {
  return IsMeasured(point.second) && point.second < 1.0 && point.first > 0.0;
}

std::span<const double> Parameters(std::int32_t terms, std::span<const double> parameters) {
  return parameters.first(2 * static_cast<std::size_t>(terms));
}

template <class Variant>
std::int32_t FitSeries(const boost::shared_ptr<XemHyperViscoElasticRelaxation>& curve, std::span<double> parameters) {
  const boost::shared_ptr<XemMaterialTestFunctionBase> function = curve;
  const FixedTermMask mask(parameters.size());
  LMMethodRelaxationTmpl<Variant> solver({&function, 1}, mask.Size() / 2, curve->MaxTime(), curve->MinTime());
  solver.InitialGuess(mask, parameters);
  solver.SetMask(mask);
  return solver.Solve(parameters, kRelaxationTolerance);
}

}  // namespace

bool XemHyperViscoElasticRelaxation::EnforceParameterConstraints(std::int32_t termCount,
                                                                 std::span<double> parameters) const {
  return ConstrainProny(parameters.first(2 * static_cast<std::size_t>(termCount)));
}

void XemHyperViscoElasticRelaxation::SetTestData(std::span<const _T_FUNT_BASE> points) {
  Load(points, KeepRelaxing, AsItStands);
  for (const double time : curve_.abscissa) maxTime_ = std::max(maxTime_, time);
  // Deliberate: the smallest time is sought from the largest one downwards, so that both are 0 without data.
  minTime_ = maxTime_;
  for (const double time : curve_.abscissa) minTime_ = std::min(minTime_, time);
}

void XemHyperViscoElasticRelaxation::LinearDesignRows(std::span<const double> relaxationTimes, MatrixView rows) const {
  for (std::size_t k = 0; k < relaxationTimes.size(); ++k) {
    PronyDecays(relaxationTimes[k], curve_.abscissa, rows.Column(k));
  }
}

void XemHyperViscoElasticRelaxation::Evaluate(std::int32_t termCount, std::span<const double> parameters,
                                              std::int32_t first, std::span<double> model,
                                              MatrixView derivatives) const {
  const auto times = curve_.abscissa.Span().subspan(first, model.size());
  const std::span<const double> series = Parameters(termCount, parameters);
  if (derivatives.columns > std::ssize(series)) derivatives.Fill(0.0);  // further columns have no effect
  PronyModuli(series, times, model, derivatives);
}

std::int32_t FitRelaxation(const boost::shared_ptr<XemHyperViscoElasticRelaxation>& curve, ResidualKind residual,
                           std::span<double> parameters) {
  const std::int32_t status = residual == ResidualKind::Absolute
                                  ? FitSeries<LevenbergMarquardtMethodAbsolute>(curve, parameters)
                                  : FitSeries<LevenbergMarquardtMethodRelative>(curve, parameters);
  SortByTime(parameters);
  return status;
}

}  // namespace Xem::MaterialUtil
