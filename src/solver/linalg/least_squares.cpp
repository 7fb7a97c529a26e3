#include "solver/linalg/least_squares.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Xem::MaterialUtil {
namespace {

/// Up to this many equations per unknown, singular values of all of them cost no more than a triangle beforehand.
constexpr std::int32_t kFewEquations = 8;

/// Rows that are held at once. A triangle of many unknowns is worth as many further rows.
std::int32_t Capacity(std::int32_t equations, std::int32_t unknowns) {
  CheckedMatrixSize(equations, unknowns);
  return std::min(equations, unknowns + std::max(LeastSquares::kBlockRows, 2 * unknowns));
}

}  // namespace

Vector SolveTruncated(Matrix a, std::span<const double> b, double conditionLimit) {
  Vector x(a.Columns());
  if (a.Rows() == 0 || a.Columns() == 0) return x;
  const SingularValues svd = DecomposeSingular(std::move(a));
  const double largest = svd.s[0];
  for (std::int32_t k = 0; k < svd.s.Size(); ++k) {
    const bool kept = conditionLimit <= 0.0 || largest / svd.s[k] < conditionLimit;
    if (!kept) continue;
    const double projection = Dot(svd.u.Column(k), b) / svd.s[k];
    for (std::int32_t i = 0; i < x.Size(); ++i) x[i] += projection * svd.vt(k, i);
  }
  return x;
}

LeastSquares::LeastSquares(std::int32_t equations, std::int32_t unknowns)
    : unknowns_(unknowns), rows_(Capacity(equations, unknowns), unknowns + 1), triangulariser_(unknowns + 1) {}

MatrixView LeastSquares::Append(std::int32_t count) {
  if (filled_ + count > rows_.Rows()) Reduce();
  filled_ += count;
  return rows_.View().Rows(filled_ - count, count);
}

void LeastSquares::Reduce() {
  triangulariser_.Reduce(rows_.View().Rows(0, filled_));
  // What is left of b beyond the unknowns is the misfit, which nothing asks for.
  filled_ = std::min(filled_, unknowns_);
}

Vector LeastSquares::SolveEquilibrated(double conditionLimit) {
  if (filled_ > unknowns_) Reduce();
  std::vector<double> norms(static_cast<std::size_t>(unknowns_), 1.0);
  for (std::int32_t k = 0; k < unknowns_; ++k) {
    const auto column = std::span<const double>(rows_.Column(k)).first(static_cast<std::size_t>(filled_));
    double square = 0.0;
    for (const double entry : column) square += entry * entry;
    if (square > 0.0) norms[static_cast<std::size_t>(k)] = std::sqrt(square);
  }
  Vector x = SolveScaled(conditionLimit, norms);
  for (std::int32_t k = 0; k < unknowns_; ++k) x[k] /= norms[static_cast<std::size_t>(k)];
  return x;
}

Vector LeastSquares::SolveScaled(double conditionLimit, std::span<const double> norms) {
  if (filled_ > kFewEquations * unknowns_) Reduce();
  const auto count = static_cast<std::size_t>(filled_);
  Matrix a(filled_, unknowns_);
  for (std::int32_t k = 0; k < unknowns_; ++k) {
    const double norm = norms.empty() ? 1.0 : norms[static_cast<std::size_t>(k)];
    std::ranges::transform(rows_.Column(k).first(count), a.Column(k).begin(),
                           [norm](double entry) { return entry / norm; });
  }
  return SolveTruncated(std::move(a), rows_.Column(unknowns_).first(count), conditionLimit);
}

}  // namespace Xem::MaterialUtil
