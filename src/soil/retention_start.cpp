#include "soil/retention_start.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Xem::MaterialUtil {
namespace {

constexpr int kAirEntries = 25;

/// Two columns whose squared sine is below this count as parallel.
constexpr double kParallel = 1e-12;

/// Shape factors of the grid in the order of the parameters after the air-entry one; the last runs fastest.
struct ShapeGrid {
  std::span<const double> first;
  std::span<const double> second;
};
constexpr std::array kOnlyOne{0.0};
constexpr std::array kVanGenuchtenN{1.1, 1.2, 1.35, 1.5, 1.75, 2.0, 2.5, 3.0, 4.0, 6.0, 10.0};
constexpr std::array kFreeN{0.5, 0.75, 1.0, 1.5, 2.5, 4.0, 8.0};
constexpr std::array kFreeM{0.05, 0.1, 0.2, 0.4, 0.8, 1.5, 4.0};
constexpr std::array kFredlundN{0.5, 0.75, 1.0, 1.5, 2.0, 3.0, 5.0, 8.0};
constexpr std::array kFredlundM{0.3, 0.5, 0.8, 1.2, 2.0};
constexpr std::array kLambda{0.1, 0.2, 0.35, 0.5, 0.8, 1.2, 2.0, 3.0};

ShapeGrid GridOf(RetentionModel model) {
  switch (model) {
    case RetentionModel::VanGenuchten:
      return {kVanGenuchtenN, kOnlyOne};
    case RetentionModel::VanGenuchtenFreeM:
      return {kFreeN, kFreeM};
    case RetentionModel::FredlundXing:
      return {kFredlundN, kFredlundM};
    case RetentionModel::BrooksCorey:
      return {kLambda, kOnlyOne};
  }
  return {};
}

/// Writes the shape parameters of a candidate with its air entry at suction g.
void PutShape(RetentionModel model, double g, double first, double second, double residualSuction,
              std::span<double> candidate) {
  switch (model) {
    case RetentionModel::VanGenuchten:
      candidate[2] = 1.0 / g;
      candidate[3] = first;
      return;
    case RetentionModel::VanGenuchtenFreeM:
      candidate[2] = 1.0 / g;
      candidate[3] = first;
      candidate[4] = second;
      return;
    case RetentionModel::FredlundXing:
      candidate[1] = g;
      candidate[2] = first;
      candidate[3] = second;
      candidate[kResidualSuction] = residualSuction;
      return;
    case RetentionModel::BrooksCorey:
      candidate[2] = g;
      candidate[3] = first;
      return;
  }
}

/// Logarithms of the smallest and the largest positive suction; those of 1 kPa when there is none.
struct LogRange {
  double lowest = 0.0;
  double highest = 0.0;
  bool found = false;

  explicit LogRange(const XemUnsaturatedSoilTestFunction& function) {
    for (std::int32_t i = 0; i < function.PointCount(); ++i) {
      if (!(function.Stretch()[i] > 0.0)) continue;
      const double log = function.LogSuctions()[i];
      lowest = found ? std::min(lowest, log) : log;
      highest = found ? std::max(highest, log) : log;
      found = true;
    }
  }
  int Count() const { return found ? kAirEntries : 1; }
  double At(int i) const { return std::exp(lowest + i * (highest - lowest) / (kAirEntries - 1)); }
};

/// Makes, judges and keeps candidates; storage is that of the best one and of the one at hand.
class CandidateSearch {
 public:
  CandidateSearch(const XemUnsaturatedSoilTestFunction& function, ResidualKind residual, const RetentionStart& start,
                  std::span<double> best)
      : function_(function),
        start_(start),
        candidate_(storage_.data(), RetentionParameters(function.Model()).size()),
        best_(best),
        shapes_(function.PointCount()),
        weights_(function.PointCount()) {
    for (std::int32_t i = 0; i < function.PointCount(); ++i) {
      weights_[i] = residual == ResidualKind::Absolute ? 1.0 : 1.0 / function.Stress()[i];
    }
  }

  bool Found() const { return found_; }

  void TryCaller() {
    if (start_.caller.size() != candidate_.size()) return;
    if (!std::all_of(start_.caller.begin(), start_.caller.end(), [](double value) { return std::isfinite(value); })) {
      return;
    }
    std::copy(start_.caller.begin(), start_.caller.end(), candidate_.begin());
    if (ConstrainRetention(function_.Model(), function_.Mask(), candidate_)) return;
    FormShapes();
    Judge();
  }

  void TryGrid(bool withResidual) {
    const LogRange airEntries(function_);
    const ShapeGrid grid = GridOf(function_.Model());
    for (int i = 0; i < airEntries.Count(); ++i) {
      const double g = airEntries.At(i);
      for (const double first : grid.first) {
        for (const double second : grid.second) {
          PutShape(function_.Model(), g, first, second, start_.residualSuction, candidate_);
          FormShapes();
          if (PutContents(withResidual)) Judge();
        }
      }
    }
  }

 private:
  /// What the contents of the candidate multiply at each point: the law of contents 1 and 0.
  void FormShapes() {
    std::array<double, kMostRetentionParameters> parameters = storage_;
    parameters[kSaturatedContent] = 1.0;
    if (HasResidualContent(function_.Model())) parameters[kResidualContent] = 0.0;
    WaterContents(function_.Model(),
                  {parameters.data(), 1.0, function_.Stretch().begin(), function_.LogSuctions().begin()},
                  {shapes_.size(), shapes_.begin(), {}});
  }

  /// Contents by linear least squares; false when theta_r comes too close to theta_s.
  bool PutContents(bool withResidual) {
    double shapeShape = 0.0;
    double shapeRest = 0.0;
    double restRest = 0.0;
    double shapeContent = 0.0;
    double restContent = 0.0;
    for (std::int32_t i = 0; i < function_.PointCount(); ++i) {
      const double weight = weights_[i];
      const double shape = shapes_[i] * weight;
      const double rest = (1.0 - shapes_[i]) * weight;
      const double scaledContent = function_.Stress()[i] * weight;
      shapeShape += shape * shape;
      shapeRest += shape * rest;
      restRest += rest * rest;
      shapeContent += shape * scaledContent;
      restContent += rest * scaledContent;
    }
    double saturated = shapeContent / shapeShape;
    double residual = 0.0;
    if (withResidual && HasResidualContent(function_.Model())) {
      const double determinant = shapeShape * restRest - shapeRest * shapeRest;
      const double both = (shapeShape * restContent - shapeRest * shapeContent) / determinant;
      if (determinant > kParallel * shapeShape * restRest && both >= 0.0) {
        residual = both;
        saturated = (restRest * shapeContent - shapeRest * restContent) / determinant;
      }
    }
    if (!std::isfinite(saturated)) saturated = start_.saturatedContent;
    candidate_[kSaturatedContent] = saturated;
    if (!HasResidualContent(function_.Model())) return true;
    candidate_[kResidualContent] = residual;
    return !withResidual || !(residual > kLargestResidualShare * saturated);
  }

  /// Completes the candidate by the held values and keeps it when it is the best so far. The first one is kept
  /// whatever its sum is, so that there is always a start.
  void Judge() {
    bool moved = false;
    for (std::size_t k = 0; k < candidate_.size(); ++k) {
      if (function_.Mask()[k] == 0 || candidate_[k] == start_.held[k]) continue;
      candidate_[k] = start_.held[k];
      moved = true;
    }
    if (moved) FormShapes();
    const double sum = SumOfSquares();
    const bool better = sum < leastSum_ || (std::isnan(leastSum_) && !std::isnan(sum));
    if (found_ && !better) return;
    found_ = true;
    leastSum_ = sum;
    std::copy(candidate_.begin(), candidate_.end(), best_.begin());
  }

  double SumOfSquares() const {
    const double residual = HasResidualContent(function_.Model()) ? candidate_[kResidualContent] : 0.0;
    const double range = candidate_[kSaturatedContent] - residual;
    double sum = 0.0;
    for (std::int32_t i = 0; i < function_.PointCount(); ++i) {
      const double r = (function_.Stress()[i] - (residual + range * shapes_[i])) * weights_[i];
      sum += r * r;
    }
    return sum;
  }

  const XemUnsaturatedSoilTestFunction& function_;
  const RetentionStart& start_;
  std::array<double, kMostRetentionParameters> storage_{};
  std::span<double> candidate_;
  std::span<double> best_;
  Vector shapes_;
  Vector weights_;  ///< what multiplies the row of a point
  double leastSum_ = 0.0;
  bool found_ = false;
};

}  // namespace

void FindRetentionStart(const XemUnsaturatedSoilTestFunction& function, ResidualKind residual,
                        const RetentionStart& start, std::span<double> best) {
  CandidateSearch search(function, residual, start, best);
  search.TryCaller();
  search.TryGrid(true);
  if (!search.Found()) search.TryGrid(false);
}

}  // namespace Xem::MaterialUtil
