#include "solver/starting_vector.h"

#include <algorithm>
#include <array>

#include "solver/linalg/lapack.h"
#include "solver/linalg/numbers.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

std::int32_t PointCount(TestFunctions testFunctions) {
  std::int64_t count = 0;
  for (const auto& function : testFunctions) count += function->PointCount();
  if (count > INT32_MAX) throw CInvalidArgException("too many points");
  return static_cast<std::int32_t>(count);
}

/// True when every entry of `a` is that of `b` times the same sign.
bool EqualOrOpposite(std::span<const double> a, std::span<const double> b) {
  return std::equal(a.begin(), a.end(), b.begin()) ||
         std::equal(a.begin(), a.end(), b.begin(), [](double x, double y) { return x == -y; });
}

/// Throws what the factorisation of D^T D would say without rounding: the number of the first column that adds nothing
/// to those before it. Rounding lets LAPACK's factorisation pass some of these matrices as regular.
void RequireFullRank(const Matrix& design) {
  if (design.Rows() < design.Columns()) throw static_cast<int>(design.Rows() + 1);
  for (std::int32_t k = 0; k < design.Columns(); ++k) {
    const std::span<const double> column = design.Column(k);
    bool adds = std::any_of(column.begin(), column.end(), [](double entry) { return entry != 0.0; });
    for (std::int32_t j = 0; adds && j < k; ++j) adds = !EqualOrOpposite(column, design.Column(j));
    if (!adds) throw static_cast<int>(k + 1);
  }
}

}  // namespace

Vector LinearCoefficients(TestFunctions testFunctions, std::span<const double> nonlinear, double baseline) {
  const std::int32_t points = PointCount(testFunctions);
  const auto terms = static_cast<std::int32_t>(nonlinear.size());
  Matrix design(points, terms);
  Vector target(points);
  std::int32_t first = 0;
  for (const auto& function : testFunctions) {
    const std::int32_t count = function->PointCount();
    function->LinearDesignRows(nonlinear, design.View().Rows(first, count));
    for (std::int32_t i = 0; i < count; ++i) target[first + i] = function->Compared()[i] - baseline;
    first += count;
  }
  RequireFullRank(design);

  Matrix normal = TransposedProduct(design, design);
  Invert(normal);
  Vector projection(terms);
  MultiplyTransposed(design, target, projection);
  Vector coefficients(terms);
  Multiply(normal, projection, coefficients);
  return coefficients;
}

void WriteOgdenSeeds(std::int32_t terms, std::span<double> parameters) {
  static constexpr std::array kFirstPairs{0.0, 2.0, 0.0, -2.0};
  const std::size_t listed = std::min<std::size_t>(terms == 1 ? 2 : 4, parameters.size());
  std::copy_n(kFirstPairs.begin(), listed, parameters.begin());
  std::fill(parameters.begin() + static_cast<std::ptrdiff_t>(listed), parameters.end(), terms == 1 ? 2.0 : -2.0);
  for (std::int32_t term = 3; term <= terms; ++term) {
    const auto pair = 2 * static_cast<std::size_t>(term - 1);
    parameters[pair] = 0.0;
    parameters[pair + 1] = 4.0 * term - 6.0;
  }
}

void StartOgden(TestFunctions testFunctions, std::int32_t terms, const FixedTermMask& mask,
                std::span<double> parameters) {
  const auto pairs = static_cast<std::size_t>(CheckedParameterCount(2 * std::int64_t{terms}));
  if (parameters.size() < pairs || static_cast<std::size_t>(mask.Size()) < pairs) {
    throw CInvalidArgException("the parameter vector or its mask is shorter than the Ogden pairs");
  }
  // Deliberate: the seeds go to held entries too, so a held entry ends with its seed and not with the caller's value.
  WriteOgdenSeeds(terms, parameters);
  Vector exponents(terms);
  for (std::int32_t k = 0; k < terms; ++k) exponents[k] = parameters[2 * k + 1];

  const Vector moduli = LinearCoefficients(testFunctions, exponents, 0.0);
  for (std::int32_t k = 0; k < terms; ++k) {
    // Deliberate: the modulus is mirrored to the sign of its exponent, not fitted again with that sign.
    const double modulus = moduli[k] * exponents[k] < 0.0 ? -moduli[k] : moduli[k];
    if (mask[2 * k] == 0) parameters[2 * k] = modulus;
  }
}

void WriteRelaxationSeeds(double maxTime, double minTime, std::span<double> times) {
  if (times.size() == 1) {
    times[0] = (minTime + maxTime) * 0.5;
    return;
  }
  for (std::size_t k = 0; k < times.size(); ++k) {
    const double step = (maxTime - minTime) / static_cast<double>(times.size());
    times[k] = minTime + static_cast<double>(k + 1) * step;
  }
}

void StartRelaxation(TestFunctions testFunctions, std::int32_t terms, double maxTime, double minTime,
                     const FixedTermMask& mask, std::span<double> parameters) {
  const auto entries = static_cast<std::size_t>(CheckedParameterCount(2 * std::int64_t{terms}));
  if (parameters.size() < entries || static_cast<std::size_t>(mask.Size()) < entries) {
    throw CInvalidArgException("the parameter vector or its mask is shorter than the relaxation series");
  }
  Vector times(terms);
  WriteRelaxationSeeds(maxTime, minTime, times);
  const Vector coefficients = LinearCoefficients(testFunctions, times, 1.0);
  for (std::int32_t k = 0; k < terms; ++k) {
    if (mask[k] == 0) parameters[k] = coefficients[k];
    if (mask[terms + k] == 0) parameters[terms + k] = times[k];
  }
}

}  // namespace Xem::MaterialUtil
