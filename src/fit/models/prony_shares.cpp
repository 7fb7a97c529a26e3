#include "fit/models/prony_shares.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "viscoelastic/prony.h"

namespace Xem::Fit {

using MaterialUtil::MatrixView;

PronyShares::PronyShares(std::vector<bool> heldCoefficients) : held_(std::move(heldCoefficients)) {}

double PronyShares::Whole(std::span<const double> coefficients) const {
  double whole = 1.0;
  for (std::size_t i = 0; i < Terms(); ++i) {
    if (held_[i]) whole -= coefficients[i];
  }
  return std::max(whole, 0.0);
}

void PronyShares::ToSeries(std::span<const double> coordinates, std::span<double> series) const {
  // Each free term takes its share of what the ones before it left, so no choice of shares can exceed the whole.
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
    // Nothing left: any share gives the coefficient 0, and 0 is the one at a bound, where it can be let go.
    coordinates[i] = rest > 0.0 ? std::clamp(series[i] / rest, 0.0, 1.0) : 0.0;
    rest *= 1.0 - coordinates[i];
  }
  return coordinates;
}

void PronyShares::Derivatives(std::span<const double> coordinates, std::span<double> derivatives) const {
  const std::size_t n = Terms();
  std::fill(derivatives.begin(), derivatives.end(), 0.0);
  // Raising one share takes from every later term: the matrix is lower triangular.
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
    : shares_(std::move(shares)), series_(2 * shares_.Terms()), byShares_(shares_.Terms() * shares_.Terms()) {
  Load(points, MaterialUtil::KeepMeasured(), MaterialUtil::AsItStands);
}

void PronyInShares::Evaluate(std::int32_t, std::span<const double> coordinates, std::int32_t first,
                             std::span<double> model, MatrixView derivatives) const {
  const std::size_t n = shares_.Terms();
  shares_.ToSeries(coordinates, series_);
  const auto times = curve_.abscissa.Span().subspan(first, model.size());
  MaterialUtil::PronyModuli(series_, times, model, derivatives);
  if (derivatives.Empty()) return;
  // The chain rule in place: column j needs the columns from j on, which are still those of the series.
  shares_.Derivatives(coordinates, byShares_);
  for (std::size_t j = 0; j < n; ++j) {
    const std::span<double> column = derivatives.Column(j);
    for (double& entry : column) entry *= byShares_[j * n + j];
    for (std::size_t k = j + 1; k < n; ++k) {
      const std::span<const double> later = derivatives.Column(k);
      for (std::size_t i = 0; i < column.size(); ++i) column[i] += later[i] * byShares_[k * n + j];
    }
    for (double& entry : derivatives.Column(n + j)) entry *= series_[n + j];
  }
}

}  // namespace Xem::Fit
