#include "fit/models/prony_shares.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "viscoelastic/prony.h"

namespace Xem::Fit {

using MaterialUtil::PronyGradient;
using MaterialUtil::PronyModulus;

PronyShares::PronyShares(std::vector<bool> heldCoefficients) : held_(std::move(heldCoefficients)) {}

double PronyShares::Whole(std::span<const double> coefficients) const {
  double whole = 1.0;
  for (std::size_t i = 0; i < Terms(); ++i) {
    if (held_[i]) whole -= coefficients[i];
  }
  return std::max(whole, 0.0);
}

void PronyShares::ToSeries(std::span<const double> coordinates, std::span<double> series) const {
  double rest = Whole(coordinates);
  for (std::size_t i = 0; i < Terms(); ++i) {
    series[i] = held_[i] ? coordinates[i] : coordinates[i] * rest;
    if (!held_[i]) rest *= 1.0 - coordinates[i];
    series[Terms() + i] = std::exp(coordinates[Terms() + i]);
  }
}

std::vector<double> PronyShares::FromSeries(std::span<const double> series) const {
  std::vector<double> coordinates(2 * Terms());
  double rest = Whole(series);
  for (std::size_t i = 0; i < Terms(); ++i) {
    coordinates[Terms() + i] = std::log(series[Terms() + i]);
    if (held_[i]) {
      coordinates[i] = series[i];
      continue;
    }
    coordinates[i] = rest > 0.0 ? std::clamp(series[i] / rest, 0.0, 1.0) : 0.0;
    rest *= 1.0 - coordinates[i];
  }
  return coordinates;
}

void PronyShares::Derivatives(std::span<const double> coordinates, std::span<double> derivatives) const {
  const std::size_t n = Terms();
  std::fill(derivatives.begin(), derivatives.end(), 0.0);
  const double whole = Whole(coordinates);
  for (std::size_t j = 0; j < n; ++j) {
    if (held_[j]) continue;
    double before = whole;  // what is left before term j
    for (std::size_t k = 0; k < j; ++k) before *= held_[k] ? 1.0 : 1.0 - coordinates[k];
    derivatives[j * n + j] = before;
    double slope = -before;  // derivative of what is left after term j
    for (std::size_t i = j + 1; i < n; ++i) {
      if (held_[i]) continue;
      derivatives[i * n + j] = coordinates[i] * slope;
      slope *= 1.0 - coordinates[i];
    }
  }
}

PronyInShares::PronyInShares(PronyShares shares, std::span<const _T_FUNT_BASE> points)
    : XemMaterialTestFunctionBase(this),
      shares_(std::move(shares)),
      series_(2 * shares_.Terms()),
      seriesGradient_(2 * shares_.Terms()),
      derivatives_(shares_.Terms() * shares_.Terms()) {
  curve_.Load(points, MaterialUtil::KeepMeasured(), MaterialUtil::AsItStands);
}

void PronyInShares::ParameterGradient(std::int32_t termCount, std::span<const double> coordinates, std::int32_t point,
                                      std::span<double> gradient) const {
  double measured = 0.0;
  double model = 0.0;
  GradientBlock(termCount, coordinates, point, {&measured, 1}, {&model, 1}, gradient);
}

void PronyInShares::EvaluatePoint(std::int32_t termCount, std::span<const double> coordinates, std::int32_t point,
                                  double& measured, double& model) const {
  EvaluateBlock(termCount, coordinates, point, {&measured, 1}, {&model, 1});
}

bool PronyInShares::ValuesOfBlock(std::int32_t, std::span<const double> coordinates, std::int32_t first,
                                  std::span<double> measured, std::span<double> model) const {
  shares_.ToSeries(coordinates, series_);
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const std::int32_t point = first + static_cast<std::int32_t>(i);
    measured[i] = curve_.stress[point];
    model[i] = PronyModulus(series_, curve_.stretch[point]);
  }
  return true;
}

void PronyInShares::GradientsOfBlock(std::int32_t, std::span<const double> coordinates, std::int32_t first,
                                     std::span<double> measured, std::span<double> model,
                                     std::span<double> gradients) const {
  const std::size_t n = shares_.Terms();
  shares_.ToSeries(coordinates, series_);
  shares_.Derivatives(coordinates, derivatives_);
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const std::int32_t point = first + static_cast<std::int32_t>(i);
    measured[i] = curve_.stress[point];
    model[i] = PronyGradient(series_, curve_.stretch[point], seriesGradient_);
    double* gradient = gradients.data() + i * 2 * n;
    for (std::size_t j = 0; j < n; ++j) {
      double sum = 0.0;
      for (std::size_t k = j; k < n; ++k) sum += seriesGradient_[k] * derivatives_[k * n + j];
      gradient[j] = sum;
      gradient[n + j] = seriesGradient_[n + j] * series_[n + j];
    }
  }
}

}  // namespace Xem::Fit
