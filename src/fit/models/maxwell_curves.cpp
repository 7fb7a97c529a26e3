#include "fit/models/maxwell_curves.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>

#include "solver/linalg/non_negative.h"
#include "viscoelastic/dynamic_modulus.h"
#include "viscoelastic/prony.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr double kSweepLinesPerDecade = 8.0;

DynamicPart PartOf(ModulusKind quantity) {
  return quantity == ModulusKind::Storage ? DynamicPart::Storage : DynamicPart::Loss;
}

/// A curve against the series, in coefficients or in shares.
class MaxwellFunction final : public BlockTestFunction {
 public:
  MaxwellFunction(const MaxwellCurve& curve, std::optional<PronyShares> shares)
      : quantity_(curve.quantity), ratio_(curve.ratio), shares_(std::move(shares)) {
    std::vector<_T_FUNT_BASE> points;
    for (std::size_t i = 0; i < curve.x.size(); ++i) points.emplace_back(curve.x[i], curve.y[i]);
    Load(std::span<const _T_FUNT_BASE>(points), KeepMeasured(), AsItStands);
    if (shares_) series_.resize(2 * shares_->Terms());
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    const auto x = curve_.abscissa.Span().subspan(first, model.size());
    const std::size_t ownCount = parameters.size() / 2 * 2;
    std::span<const double> series = parameters.first(ownCount);
    if (shares_) {
      shares_->ToSeries(series, series_);
      series = series_;
    }
    MaxwellModuli(quantity_, series, x, model,
                  derivatives.Empty() ? derivatives : derivatives.FirstColumns(static_cast<std::int32_t>(ownCount)));
    if (shares_ && !derivatives.Empty()) shares_->MoveToShares(parameters.first(ownCount), series, derivatives);
    if (parameters.size() > ownCount) Scale(ratio_ ? 1.0 : parameters.back(), model, derivatives);
  }

 private:
  /// The last column is that of the modulus, of which ratios know nothing.
  void Scale(double modulus, std::span<double> model, MatrixView derivatives) const {
    if (!derivatives.Empty()) {
      for (std::int32_t k = 0; k + 1 < derivatives.columns; ++k) {
        for (double& entry : derivatives.Column(k)) entry *= modulus;
      }
      const std::span<double> last = derivatives.Column(derivatives.columns - 1);
      if (ratio_)
        std::fill(last.begin(), last.end(), 0.0);
      else
        std::copy(model.begin(), model.end(), last.begin());
    }
    for (double& value : model) value *= modulus;
  }

  ModulusKind quantity_;
  bool ratio_;
  std::optional<PronyShares> shares_;
  mutable std::vector<double> series_;  // work space of one fit, which runs on one thread
};

/// What a term of unit modulus adds to a curve; without a spectrum every curve but the loss is the modulus.
void AddResponses(const MaxwellCurve& curve, double logTime, std::span<double> column) {
  if (curve.quantity == ModulusKind::Relaxation) {
    PronyDecays(std::exp(logTime), curve.x, column);
  } else {
    DynamicResponses(PartOf(curve.quantity), std::exp(logTime), curve.x, column);
  }
}

bool TakesPart(const MaxwellCurve& curve, Instantaneous instantaneous) {
  return !curve.ratio || instantaneous != Instantaneous::Free;
}

}  // namespace

void MaxwellModuli(ModulusKind quantity, std::span<const double> series, std::span<const double> x,
                   std::span<double> moduli, MatrixView derivatives) {
  if (quantity == ModulusKind::Relaxation) {
    PronyModuli(series, x, moduli, derivatives);
  } else {
    DynamicModuli(PartOf(quantity), series, x, moduli, derivatives);
  }
}

boost::shared_ptr<XemMaterialTestFunctionBase> MakeMaxwellFunction(const MaxwellCurve& curve) {
  return boost::make_shared<MaxwellFunction>(curve, std::nullopt);
}

boost::shared_ptr<XemMaterialTestFunctionBase> MakeMaxwellFunction(const MaxwellCurve& curve, PronyShares shares) {
  return boost::make_shared<MaxwellFunction>(curve, std::move(shares));
}

std::vector<MaxwellCurve> ThinnedOut(std::vector<MaxwellCurve> curves, std::size_t most) {
  for (MaxwellCurve& curve : curves) {
    const std::size_t count = curve.x.size();
    if (count <= most) continue;
    const auto [first, last] = std::minmax_element(curve.x.begin(), curve.x.end());
    const double from = std::log(*first);
    const double span = std::log(*last) - from;
    struct Bin {
      double logX = 0.0;
      double y = 0.0;
      double count = 0.0;
    };
    std::vector<Bin> bins(most);
    for (std::size_t i = 0; i < count; ++i) {
      const double logX = std::log(curve.x[i]);
      const double place = span > 0.0 ? (logX - from) / span * static_cast<double>(most) : 0.0;
      Bin& bin = bins[std::min(most - 1, static_cast<std::size_t>(std::max(place, 0.0)))];
      bin.logX += logX;
      bin.y += curve.y[i];
      bin.count += 1.0;
    }
    curve.x.clear();
    curve.y.clear();
    for (const Bin& bin : bins) {
      if (bin.count == 0.0) continue;
      curve.x.push_back(std::exp(bin.logX / bin.count));
      curve.y.push_back(bin.y / bin.count);
    }
  }
  return curves;
}

LogRange MeasuredTimes(const std::vector<MaxwellCurve>& curves) {
  LogRange range{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  for (const MaxwellCurve& curve : curves) {
    for (const double x : curve.x) {
      const double logTime = curve.quantity == ModulusKind::Relaxation ? std::log(x) : -std::log(x);
      range.from = std::min(range.from, logTime);
      range.to = std::max(range.to, logTime);
    }
  }
  return range;
}

ScaledSpectrum FitMaxwellSpectrum(const std::vector<MaxwellCurve>& curves, Residual residual,
                                  const std::vector<double>& logTimes, Instantaneous instantaneous, double modulus) {
  std::size_t points = 0;
  for (const MaxwellCurve& curve : curves) points += TakesPart(curve, instantaneous) ? curve.x.size() : 0;
  const std::size_t terms = logTimes.size();
  const bool isFree = instantaneous == Instantaneous::Free;
  Matrix design(static_cast<std::int32_t>(points), static_cast<std::int32_t>(terms) + (isFree ? 1 : 0));
  std::vector<double> target(points);
  std::size_t row = 0;
  for (const MaxwellCurve& curve : curves) {
    if (!TakesPart(curve, instantaneous)) continue;
    const std::size_t count = curve.x.size();
    const double whole = curve.quantity == ModulusKind::Loss ? 0.0 : 1.0;  // of the modulus when nothing has relaxed
    const double unit = curve.ratio ? 1.0 / modulus : 1.0;
    std::vector<double> scales(count, curve.weight);
    for (std::size_t i = 0; i < count; ++i) {
      if (residual == Residual::Relative) scales[i] /= curve.y[i];
      target[row + i] = (curve.y[i] - (isFree ? 0.0 : whole * modulus * unit)) * scales[i];
      if (isFree) design(row + i, terms) = whole * scales[i];
    }
    // With a free modulus the unknowns are the moduli of the terms and the long-term one, which add up to it.
    for (std::size_t k = 0; k < terms; ++k) {
      const std::span<double> column = design.Column(k).subspan(row, count);
      AddResponses(curve, logTimes[k], column);
      for (std::size_t i = 0; i < count; ++i) column[i] = (column[i] + (isFree ? whole : 0.0)) * unit * scales[i];
    }
    row += count;
  }
  const auto [moduli, misfit] = SolveNonNegative(std::move(design), target);
  ScaledSpectrum spectrum;
  spectrum.misfit = misfit;
  const double sum = std::accumulate(moduli.begin(), moduli.end(), 0.0);
  spectrum.modulus = isFree ? (sum > 0.0 ? sum : 1.0) : modulus;
  for (std::size_t k = 0; k < terms; ++k) spectrum.lines.push_back({moduli[k] / spectrum.modulus, logTimes[k]});
  return spectrum;
}

ScaledSpectrum DenseMaxwellSpectrum(const std::vector<MaxwellCurve>& curves, Residual residual, const LogRange& range,
                                    double beyond, Instantaneous instantaneous, double modulus, Neighbours neighbours) {
  const LogRange wide{range.from - std::log(beyond), range.to + std::log(beyond)};
  const auto steps = static_cast<std::size_t>(std::ceil(wide.Decades() * kSweepLinesPerDecade)) + 1;
  std::vector<double> grid(steps + 1);
  for (std::size_t k = 0; k <= steps; ++k) {
    grid[k] = wide.from + (wide.to - wide.from) * static_cast<double>(k) / static_cast<double>(steps);
  }
  ScaledSpectrum dense = FitMaxwellSpectrum(curves, residual, grid, instantaneous, modulus);
  if (neighbours == Neighbours::Joined) dense.lines = JoinedNeighbours(dense.lines);
  return dense;
}

}  // namespace Xem::Fit
