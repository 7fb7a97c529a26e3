#include "fit/uncertainty.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "fit/assemble.h"
#include "fit/no_number.h"
#include "fit/student.h"
#include "solver/linalg/lapack.h"

namespace Xem::Fit {
namespace {

using MaterialUtil::DecomposeSingular;
using MaterialUtil::Matrix;
using MaterialUtil::SingularValues;

/// Singular values of the column-scaled Jacobian below this part of the largest count as zero.
constexpr double kRankTolerance = 1e-8;

/// A parameter with more than this part of its unit vector in open directions is not identifiable.
constexpr double kOpenPart = 1e-4;

/// The inverse of an upper triangle with columns of length 1 in its place, if that proves no singular value to be
/// anywhere near kRankTolerance of the largest; otherwise the triangle is as it was.
bool InvertIfClear(Matrix& triangle) {
  constexpr double kClearNorm = 1e6;
  const std::int32_t n = triangle.Columns();
  Matrix inverse(n, n);
  double square = 0.0;
  for (std::int32_t j = 0; j < n; ++j) {
    for (std::int32_t i = j; i >= 0; --i) {
      double rest = i == j ? 1.0 : 0.0;
      for (std::int32_t k = i + 1; k <= j; ++k) rest -= triangle(i, k) * inverse(k, j);
      inverse(i, j) = rest / triangle(i, i);
      square += inverse(i, j) * inverse(i, j);
    }
  }
  // The largest singular value is at most the root of n, the smallest at least the inverse of this norm.
  if (!(square * n < kClearNorm * kClearNorm)) return false;
  triangle = std::move(inverse);
  return true;
}

/// Covariance, up to the variance of a residual, of the free parameters, and what part of each is determined.
struct Shape {
  std::vector<std::size_t> free;
  Matrix covariance;
  std::vector<double> determined;
};

Shape CovarianceShape(const Problem& problem, const Minimum& minimum) {
  Shape shape;
  for (std::size_t k = 0; k < problem.parameters.size(); ++k) {
    if (!problem.parameters[k].held && !minimum.atBound[k]) shape.free.push_back(k);
  }
  const std::vector<double> columns = Jacobian(problem, minimum.parameters);
  const auto points = static_cast<std::size_t>(problem.PointCount());
  const auto n = static_cast<std::int32_t>(shape.free.size());
  // Unit columns: whether a combination of parameters is determined must not depend on their units, and J^T J, which
  // would square the condition number, is never formed.
  Matrix scaled(static_cast<std::int32_t>(points), n);
  std::vector<double> norms(shape.free.size());
  for (std::size_t j = 0; j < shape.free.size(); ++j) {
    const double* column = columns.data() + shape.free[j] * points;
    double square = 0.0;
    for (std::size_t i = 0; i < points; ++i) square += column[i] * column[i];
    norms[j] = square > 0.0 && std::isfinite(square) ? std::sqrt(square) : 1.0;
    const auto target = scaled.Column(j);
    for (std::size_t i = 0; i < points; ++i) target[i] = std::isfinite(square) ? column[i] / norms[j] : 0.0;
  }
  shape.covariance = Matrix(n, n);
  shape.determined.assign(shape.free.size(), 0.0);
  if (points == 0 || n == 0) return shape;

  // Singular values and right vectors are those of the triangle.
  Matrix triangle(n, n);
  MaterialUtil::Triangulariser(n).Reduce(scaled.View());
  for (std::int32_t j = 0; j < n; ++j) {
    const auto column = scaled.Column(j);
    std::copy_n(column.begin(), std::min(column.size(), triangle.Column(j).size()), triangle.Column(j).begin());
  }
  if (InvertIfClear(triangle)) {
    shape.determined.assign(shape.free.size(), 1.0);
    for (std::int32_t i = 0; i < n; ++i) {
      for (std::int32_t j = 0; j < n; ++j) {
        double sum = 0.0;
        for (std::int32_t k = std::max(i, j); k < n; ++k) sum += triangle(i, k) * triangle(j, k);
        shape.covariance(i, j) = sum / (norms[i] * norms[j]);
      }
    }
    return shape;
  }
  const SingularValues svd = DecomposeSingular(std::move(triangle));
  // Sum of v v^T / s^2 over what the data see. The squares of a parameter's entries in those directions add up to 1
  // when it is determined and to less when a part of it lies in a direction that no point sees.
  for (std::int32_t k = 0; k < svd.s.Size(); ++k) {
    if (!(svd.s[k] > kRankTolerance * svd.s[0])) continue;
    for (std::int32_t i = 0; i < n; ++i) {
      shape.determined[i] += svd.vt(k, i) * svd.vt(k, i);
      for (std::int32_t j = 0; j < n; ++j) {
        shape.covariance(i, j) += svd.vt(k, i) * svd.vt(k, j) / (svd.s[k] * svd.s[k] * norms[i] * norms[j]);
      }
    }
  }
  return shape;
}

}  // namespace

Uncertainty EstimateUncertainty(const Problem& problem, const Minimum& minimum, double level) {
  const Shape shape = CovarianceShape(problem, minimum);
  const std::size_t count = problem.parameters.size();
  Uncertainty result;
  result.correlation.assign(count, std::vector<double>(count, kNaN));
  result.covariance = result.correlation;
  for (std::size_t k = 0; k < count; ++k) {
    const FreeOrHeld& description = problem.parameters[k];
    Parameter parameter;
    parameter.name = description.name;
    parameter.unit = description.unit;
    parameter.value = minimum.parameters[k] * description.scale;
    parameter.held = description.held || minimum.atBound[k];
    parameter.atBound = minimum.atBound[k];
    if (minimum.atBound[k]) {
      result.notes.push_back(description.name + " = " + Text(parameter.value) +
                             " lies at the bound of its range; it was held there");
    }
    result.parameters.push_back(parameter);
  }

  // A parameter at its bound costs no degree of freedom: the fit did not choose its value.
  const int degrees = problem.PointCount() - static_cast<int>(shape.free.size());
  const double variance = degrees > 0 ? minimum.objective / degrees : kNaN;
  if (degrees <= 0) {
    result.notes.push_back(
        "as many parameters as points: the fit passes through the data and its uncertainty is unknown");
  }
  const double factor = degrees > 0 ? StudentQuantile(0.5 + 0.5 * level, degrees) : kNaN;
  const auto isOpen = [&](std::size_t i) { return 1.0 - shape.determined[i] > kOpenPart; };
  std::string open;
  for (std::size_t i = 0; i < shape.free.size(); ++i) {
    Parameter& parameter = result.parameters[shape.free[i]];
    if (isOpen(i)) {
      parameter.identifiable = false;
      open += (open.empty() ? "" : ", ") + parameter.name;
      continue;
    }
    const auto ii = static_cast<std::int64_t>(i);
    parameter.standardError = problem.parameters[shape.free[i]].scale * std::sqrt(variance * shape.covariance(ii, ii));
    parameter.lower = parameter.value - factor * parameter.standardError;
    parameter.upper = parameter.value + factor * parameter.standardError;
    for (std::size_t j = 0; j < shape.free.size(); ++j) {
      if (isOpen(j)) continue;
      const auto jj = static_cast<std::int64_t>(j);
      const double scale = problem.parameters[shape.free[i]].scale * problem.parameters[shape.free[j]].scale;
      result.covariance[shape.free[i]][shape.free[j]] = scale * variance * shape.covariance(ii, jj);
      result.correlation[shape.free[i]][shape.free[j]] =
          i == j ? 1.0 : shape.covariance(ii, jj) / std::sqrt(shape.covariance(ii, ii) * shape.covariance(jj, jj));
    }
  }
  if (!open.empty()) {
    result.notes.push_back(
        "not identifiable from these data: " + open +
        "; only combinations of them are determined, so hold some, fit fewer terms or add another test");
  }
  return result;
}

}  // namespace Xem::Fit
