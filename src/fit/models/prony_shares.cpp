#include "fit/models/prony_shares.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "kernels/kernels.h"
#include "viscoelastic/prony.h"

namespace Xem::Fit {

using MaterialUtil::MatrixView;

namespace {

/// Turns a ratio and its derivatives into a modulus and its own; the last column is that of the factor.
void Multiply(double modulus, std::span<double> model, MatrixView derivatives) {
  if (!derivatives.Empty()) {
    for (std::int32_t k = 0; k + 1 < derivatives.columns; ++k) {
      for (double& entry : derivatives.Column(k)) entry *= modulus;
    }
    std::copy(model.begin(), model.end(), derivatives.Column(derivatives.columns - 1).begin());
  }
  for (double& value : model) value *= modulus;
}

}  // namespace

PronyShares::PronyShares(std::vector<Coefficient> coefficients) : terms_(std::move(coefficients)) {}

double PronyShares::Span(std::size_t term, double rest) const {
  return std::min(terms_[term].upper - terms_[term].lower, rest);
}

double PronyShares::Whole(std::span<const double> coefficients) const {
  double whole = 1.0;
  for (std::size_t i = 0; i < Terms(); ++i) {
    whole -= terms_[i].held ? coefficients[i] : terms_[i].lower;
  }
  return std::max(whole, 0.0);
}

void PronyShares::ToSeries(std::span<const double> coordinates, std::span<double> series) const {
  // Each free term takes its share of what the ones before it left, so no choice of shares can exceed the whole.
  double rest = Whole(coordinates);
  for (std::size_t i = 0; i < Terms(); ++i) {
    if (terms_[i].held) {
      series[i] = coordinates[i];
    } else {
      const double span = Span(i, rest);
      series[i] = terms_[i].lower + coordinates[i] * span;
      rest -= span < rest ? coordinates[i] * span : rest - rest * (1.0 - coordinates[i]);
    }
    series[Terms() + i] = std::exp(coordinates[Terms() + i]);
  }
}

std::vector<double> PronyShares::FromSeries(std::span<const double> series) const {
  std::vector<double> coordinates(2 * Terms());
  double rest = Whole(series);
  for (std::size_t i = 0; i < Terms(); ++i) {
    coordinates[Terms() + i] = std::log(series[Terms() + i]);
    if (terms_[i].held) {
      coordinates[i] = series[i];
      continue;
    }
    // Nothing left: any share gives the least coefficient, and 0 is the one at a bound, where it can be let go.
    const double span = Span(i, rest);
    coordinates[i] = span > 0.0 ? std::clamp((series[i] - terms_[i].lower) / span, 0.0, 1.0) : 0.0;
    rest -= coordinates[i] * span;
  }
  return coordinates;
}

void PronyShares::MoveToShares(std::span<const double> coordinates, std::span<const double> series,
                               MatrixView derivatives) const {
  const std::size_t n = Terms();
  spans_.resize(n);
  double rest = Whole(coordinates);
  shareOfRest_.assign(n, 0.0);
  for (std::size_t i = 0; i < n; ++i) {
    if (terms_[i].held) continue;
    spans_[i] = Span(i, rest);
    // A term at its upper bound takes no more of a larger rest.
    if (spans_[i] == rest) shareOfRest_[i] = coordinates[i];
    rest -= coordinates[i] * spans_[i];
  }
  // From the last term back, what the model gains from a larger rest is known: a share of it as the term's own, and
  // what is left as a larger rest for those that follow. Raising a share gives to its own term and takes from that
  // rest.
  const std::size_t points = derivatives.Column(0).size();
  byRest_.assign(points, 0.0);
  for (std::size_t j = n; j-- > 0;) {
    double* const column = derivatives.Column(j).data();
    double* const byTime = derivatives.Column(n + j).data();
    if (terms_[j].held) {
      for (std::size_t i = 0; i < points; ++i) byTime[i] *= series[n + j];
      std::fill_n(column, points, 0.0);
      continue;
    }
    MaterialUtil::ForThisProcessor().pronyShare(points, spans_[j], shareOfRest_[j], series[n + j],
                                                {column, byTime, byRest_.data()});
  }
}

PronyInShares::PronyInShares(PronyShares shares, std::span<const _T_FUNT_BASE> points)
    : shares_(std::move(shares)), series_(2 * shares_.Terms()) {
  Load(points, MaterialUtil::KeepMeasured(), MaterialUtil::AsItStands);
}

void PronyInShares::Evaluate(std::int32_t, std::span<const double> coordinates, std::int32_t first,
                             std::span<double> model, MatrixView derivatives) const {
  const std::size_t n = shares_.Terms();
  shares_.ToSeries(coordinates, series_);
  const auto times = curve_.abscissa.Span().subspan(first, model.size());
  MaterialUtil::PronyModuli(series_, times, model, derivatives);
  if (!derivatives.Empty()) shares_.MoveToShares(coordinates, series_, derivatives);
  if (coordinates.size() > 2 * n) Multiply(coordinates.back(), model, derivatives);
}

PronyWithModulus::PronyWithModulus(std::span<const _T_FUNT_BASE> points) {
  Load(points, MaterialUtil::KeepMeasured(), MaterialUtil::AsItStands);
}

void PronyWithModulus::Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                std::span<double> model, MatrixView derivatives) const {
  const auto times = curve_.abscissa.Span().subspan(first, model.size());
  MaterialUtil::PronyModuli(parameters.first(parameters.size() - 1), times, model, derivatives);
  Multiply(parameters.back(), model, derivatives);
}

}  // namespace Xem::Fit
