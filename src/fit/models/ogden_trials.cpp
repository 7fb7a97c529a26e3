#include "fit/models/ogden_trials.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "fit/no_number.h"
#include "kernels/kernels.h"

namespace Xem::Fit {
namespace {

/// Longer curves are fitted block by block.
constexpr std::size_t kMostTriedPoints = 10000;

}  // namespace

OgdenTrials::OgdenTrials(const Problem& oneTerm) : problem_(oneTerm), measured_(WeightedMeasured(oneTerm)) {}

const std::vector<double>& OgdenTrials::ColumnOf(double exponent) {
  const auto [place, isNew] = columns_.try_emplace(exponent);
  std::vector<double>& column = place->second;
  if (!isNew) return column;
  column = Jacobian(problem_, std::vector<double>{1.0, exponent});
  column.resize(measured_.size());
  double square = 0.0;
  for (const double entry : column) square += entry * entry;
  const double length = square > 0.0 ? std::sqrt(square) : 1.0;
  for (double& entry : column) entry /= length;
  lengths_[exponent] = length;
  return column;
}

/// By normal equations of unit columns, improved by a step on what they leave (Björck 1987).
double OgdenTrials::FitModuli(std::span<double> pairs) {
  const std::size_t terms = pairs.size() / 2;
  const std::size_t points = measured_.size();
  if (points == 0 || points > kMostTriedPoints || terms > MaterialUtil::kLargestPositiveDefinite) return kNaN;
  const auto& kernels = MaterialUtil::ForThisProcessor();
  used_.clear();
  for (std::size_t k = 0; k < terms; ++k) used_.push_back(ColumnOf(pairs[2 * k + 1]).data());

  const std::size_t columns = terms + 1;
  sums_.resize(columns * columns * MaterialUtil::kLaneSumLength);
  products_.resize(columns * columns);
  normal_.resize(terms * terms);
  left_ = measured_;
  moduli_.assign(terms, 0.0);
  step_.resize(terms);
  for (const bool first : {true, false}) {
    used_.push_back(left_.data());
    kernels.addProducts(points, used_.data(), columns, sums_.data(), true);
    kernels.totals(sums_.data(), columns, first ? 0 : terms, products_.data());
    used_.pop_back();
    for (std::size_t k = 0; k < terms; ++k) {
      step_[k] = products_[k + terms * columns];
      for (std::size_t i = 0; first && i <= k; ++i) {
        normal_[i + k * terms] = normal_[k + i * terms] = products_[i + k * columns];
      }
    }
    if (!kernels.solvePositiveDefinite(terms, normal_.data(), terms, 0.0, step_.data(), step_.data())) return kNaN;
    for (std::size_t k = 0; k < terms; ++k) {
      moduli_[k] += step_[k];
      for (std::size_t i = 0; i < points; ++i) left_[i] -= step_[k] * used_[k][i];
    }
  }
  double square = 0.0;
  for (const double rest : left_) square += rest * rest;
  if (!std::isfinite(square)) return kNaN;
  for (std::size_t k = 0; k < terms; ++k) pairs[2 * k] = moduli_[k] / lengths_[pairs[2 * k + 1]];
  return square;
}

}  // namespace Xem::Fit
