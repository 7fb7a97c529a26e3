#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "fit/problem.h"
#include "fit/trust_region.h"

namespace Xem::Fit {

/// A parameter that a term is proportional to, and the one that gives the term its shape.
struct TermPlaces {
  std::size_t coefficient;
  std::size_t shape;
};

/// Misfit of a sum of terms c_k a(s_k) as a function of the shapes alone, with the coefficients that are best for them:
/// variable projection (Golub and Pereyra 1973). Terms that nearly cancel make long valleys in both together, in which
/// this function is hardly bent.
///
/// The columns a(s_k) and a'(s_k) and the measured values are reduced to a triangle, from which everything is taken:
/// with as many rows as it has columns, whatever the number of points.
class SeparableResiduals final : public ResidualFunction {
 public:
  /// Every parameter of the problem is in one of the places, none is held.
  SeparableResiduals(const Problem& problem, std::vector<TermPlaces> places);

  /// Adds (w_k c_k)^2 to the sum of squares, so that terms of almost the same shape do not grow against each other for
  /// next to nothing.
  void Restrain(std::span<const double> weights);

  std::size_t PointCount() const override { return 2 * places_.size() + 1; }
  void Residuals(std::span<const double> shapes, std::span<double> residuals) override;
  void Jacobian(std::span<const double> shapes, std::span<double> columns) override;

  /// Sum of squares of the problem at any of its parameters.
  double Misfit(std::span<const double> parameters);
  /// The best coefficients for these shapes, term after term.
  std::span<const double> Coefficients(std::span<const double> shapes);

 private:
  void MoveTo(std::span<const double> shapes);
  void MakeTriangle();
  void SolveCoefficients();

  std::int32_t termCount_;
  std::vector<TermPlaces> places_;
  MaterialUtil::TestFunctionList functions_;
  std::vector<double> weights_;
  std::vector<double> shapes_;      // where the triangle was made
  std::vector<double> parameters_;  // with unit coefficients
  std::vector<double> coefficients_;
  std::vector<double> model_;
  MaterialUtil::Matrix columns_;   // derivatives of a block of points by all parameters
  MaterialUtil::Matrix triangle_;  // of a, a' and measured values; below it further points
  MaterialUtil::Triangulariser triangulariser_;
};

/// Descends in the shapes alone.
class SeparableDescent {
 public:
  SeparableDescent(const Problem& problem, const std::vector<TermPlaces>& places);
  /// Where at most so many evaluations, 0: any number, lead from the shapes of a start within the ranges of `bounded`,
  /// which has the same curves. Nothing where coefficients leave theirs, or the misfit is not finite.
  std::optional<Minimum> Run(const Problem& bounded, const std::vector<double>& start, int mostEvaluations = 0);

 private:
  void Restrain(const Problem& bounded, double objective);
  bool Inside(const Problem& bounded, std::span<const double> shapes);

  std::vector<TermPlaces> places_;
  SeparableResiduals residuals_;
  std::vector<FreeOrHeld> shapes_;
  std::vector<double> weights_;
  TrustRegion region_;
};

}  // namespace Xem::Fit
