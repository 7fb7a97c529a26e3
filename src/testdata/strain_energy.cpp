#include "testdata/strain_energy.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

bool IsVectorised(double lateralExponent) {
  return lateralExponent == -0.5 || lateralExponent == -1.0 || lateralExponent == -2.0;
}

/// p^e, without a power function for the exponents that modes have.
double LateralPower(double p, double e) {
  if (e == -0.5) return 1.0 / std::sqrt(p);
  if (e == -1.0) return 1.0 / p;
  if (e == -2.0) return 1.0 / (p * p);
  return std::pow(p, e);
}

/// (1 / p)^e of the same p.
double InverseLateralPower(double p, double e) {
  if (e == -0.5) return std::sqrt(p);
  if (e == -1.0) return p;
  if (e == -2.0) return p * p;
  return std::pow(p, -e);
}

/// All terms; those of a lower order come first.
constexpr auto kTerms = [] {
  std::array<PolynomialTerm, kMaximumOrder*(kMaximumOrder + 3) / 2> terms{};
  std::size_t k = 0;
  ForEachTerm(kMaximumOrder, [&](std::int32_t i, std::int32_t j) { terms[k++] = {i, j}; });
  return terms;
}();

}  // namespace

std::int32_t PolynomialTermCount(std::int32_t order) {
  if (order < 0 || order > kMaximumOrder) throw CInvalidArgException("the polynomial order is out of range");
  return static_cast<std::int32_t>((order + 3.0) * order * 0.5);
}

double PolynomialStress(const ModeKinematics& mode, std::int32_t order, std::span<const double> coefficients,
                        double stretch) {
  double stress = 0.0;
  std::size_t k = 0;
  ForEachTermStress(mode, order, stretch, [&](double term) { stress += coefficients[k++] * term; });
  return stress;
}

PolynomialPoints::PolynomialPoints(const ModeKinematics& mode, std::span<const double> stretches)
    : count_(stretches.size()), columns_(std::make_unique_for_overwrite<double[]>(4 * count_)) {
  double* const first = columns_.get();
  mode.ofPoints(stretches, {first, first + count_, first + 2 * count_, first + 3 * count_});
}

PolynomialArguments PolynomialPoints::Arguments(std::int32_t order, std::size_t first) const {
  const double* const begin = columns_.get() + first;
  return {.order = static_cast<std::size_t>(order),
          .termCount = static_cast<std::size_t>(PolynomialTermCount(order)),
          .terms = kTerms.data(),
          .coefficients = nullptr,
          .i1 = begin,
          .i2 = begin + count_,
          .w1 = begin + 2 * count_,
          .w2 = begin + 3 * count_};
}

void PolynomialPoints::Stresses(std::int32_t order, std::span<const double> coefficients, std::size_t first,
                                std::span<double> stress, MatrixView derivatives) const {
  PolynomialArguments energy = Arguments(order, first);
  if (energy.termCount == 0) {
    std::ranges::fill(stress, 0.0);
    return;
  }
  energy.coefficients = coefficients.data();
  ForThisProcessor().polynomial(energy,
                                {stress.size(), stress.data(), {derivatives.data, derivatives.leadingDimension}});
}

void PolynomialPoints::Terms(std::int32_t order, const FixedTermMask& mask, MatrixView rows) const {
  PolynomialArguments energy = Arguments(order, 0);
  std::vector<PolynomialTerm> free;
  if (std::cmp_less(rows.columns, energy.termCount)) {
    for (std::size_t k = 0; k < energy.termCount; ++k) {
      if (mask[k] == 0) free.push_back(kTerms[k]);
    }
    energy.termCount = free.size();
    energy.terms = free.data();
  }
  ForThisProcessor().polynomial(energy,
                                {static_cast<std::size_t>(rows.rows), nullptr, {rows.data, rows.leadingDimension}});
}

double PolynomialShearModulus(std::span<const double> coefficients) {
  const double c10 = coefficients.empty() ? 0.0 : coefficients[0];
  const double c01 = coefficients.size() < 2 ? 0.0 : coefficients[1];
  return 2.0 * (c10 + c01);
}

OgdenTerm EvaluateOgdenTerm(double lateralExponent, double alpha, double stretch, double logStretch) {
  const double logarithm = std::abs(alpha) * logStretch;
  if (!(std::abs(logarithm) <= kLargestOgdenLogarithm)) {
    // Beyond one exponential's range, or no logarithm at all: the powers themselves, finite wherever they are.
    const double axial = std::pow(stretch, alpha - 1.0);
    const double lateral = std::pow(stretch, alpha * lateralExponent - 1.0);
    return {axial - lateral, logStretch * (axial - lateralExponent * lateral)};
  }
  // One power for both signs of alpha: where the lateral exponent is -1 their terms are opposite to the last bit.
  const double p = std::exp(logarithm);
  const double axial = alpha < 0.0 ? 1.0 / p : p;
  const double lateral = alpha < 0.0 ? InverseLateralPower(p, lateralExponent) : LateralPower(p, lateralExponent);
  return {(axial - lateral) / stretch, logStretch * (axial - lateralExponent * lateral) / stretch};
}

OgdenPoints::OgdenPoints(std::span<const double> stretches)
    : stretches_(stretches), logarithms_(std::ssize(stretches)), inverses_(std::ssize(stretches)) {
  ForThisProcessor().log(stretches.size(), stretches.data(), logarithms_.begin());
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    inverses_[i] = 1.0 / stretches[i];
    const double magnitude = std::abs(logarithms_[i]);
    if (!(magnitude <= greatestLogarithm_) && !std::isnan(greatestLogarithm_)) greatestLogarithm_ = magnitude;
  }
}

void OgdenPoints::Stresses(double lateralExponent, std::span<const double> pairs, std::size_t first,
                           std::span<double> stress, MatrixView derivatives) const {
  const std::size_t terms = pairs.size() / 2;
  bool inRange = IsVectorised(lateralExponent);
  for (std::size_t k = 0; k < terms; ++k) {
    inRange = inRange && std::abs(pairs[2 * k + 1]) * greatestLogarithm_ <= kLargestOgdenLogarithm;
  }
  if (inRange) {
    ForThisProcessor().ogden(
        {terms, pairs.data(), lateralExponent, logarithms_.begin() + first, inverses_.begin() + first},
        {stress.size(), stress.data(), {derivatives.data, derivatives.leadingDimension}});
    return;
  }
  std::ranges::fill(stress, 0.0);
  for (std::size_t i = 0; i < stress.size(); ++i) {
    for (std::size_t k = 0; k < terms; ++k) {
      const double mu = pairs[2 * k];
      const double stretch = stretches_[first + i];
      const OgdenTerm term = EvaluateOgdenTerm(lateralExponent, pairs[2 * k + 1], stretch, std::log(stretch));
      stress[i] += mu * term.value;
      if (derivatives.Empty()) continue;
      derivatives(i, 2 * k) = term.value;
      derivatives(i, 2 * k + 1) = mu * term.exponentDerivative;
    }
  }
}

double OgdenStress(double lateralExponent, std::span<const double> pairs, double stretch, double logStretch) {
  double stress = 0.0;
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
    stress += pairs[i] * EvaluateOgdenTerm(lateralExponent, pairs[i + 1], stretch, logStretch).value;
  }
  return stress;
}

double OgdenShearModulus(std::span<const double> pairs) {
  double sum = 0.0;
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) sum += pairs[i] * pairs[i + 1];
  return 0.5 * sum;
}

}  // namespace Xem::MaterialUtil
