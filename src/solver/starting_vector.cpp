#include "solver/starting_vector.h"

#include <algorithm>
#include <array>

#include "solver/linalg/lapack.h"
#include "solver/linalg/numbers.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

std::int32_t PointCount(const TestFunctionList& testFunctions) {
  std::int64_t count = 0;
  for (const auto& function : testFunctions) count += function->PointCount();
  if (count > INT32_MAX) throw CInvalidArgException("too many points");
  return static_cast<std::int32_t>(count);
}

}  // namespace

Vector LinearCoefficients(const TestFunctionList& testFunctions, std::span<const double> nonlinear, double baseline) {
  const std::int32_t points = PointCount(testFunctions);
  const auto terms = static_cast<std::int32_t>(nonlinear.size());
  Matrix design(points, terms);
  Vector target(points);
  std::int32_t first = 0;
  for (const auto& function : testFunctions) {
    const std::int32_t count = function->PointCount();
    function->LinearDesignRows(nonlinear, design.View().Rows(first, count));
    for (std::int32_t i = 0; i < count; ++i) target[first + i] = function->Stress()[i] - baseline;
    first += count;
  }

  Matrix normal = TransposedProduct(design, design);
  Invert(normal);
  Vector projection(terms);
  MultiplyTransposed(design, target.Span(), projection.Span());
  Vector coefficients(terms);
  Multiply(normal, projection.Span(), coefficients.Span());
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

void StartOgden(const TestFunctionList& testFunctions, std::int32_t terms, const FixedTermMask& mask,
                std::span<double> parameters) {
  const auto pairs = static_cast<std::size_t>(CheckedParameterCount(2 * std::int64_t{terms}));
  if (parameters.size() < pairs || static_cast<std::size_t>(mask.Size()) < pairs) {
    throw CInvalidArgException("the parameter vector or its mask is shorter than the Ogden pairs");
  }
  // Deliberate: the seeds go to held entries too, so a held entry ends with its seed and not with the caller's value.
  WriteOgdenSeeds(terms, parameters);
  Vector exponents(terms);
  for (std::int32_t k = 0; k < terms; ++k) exponents[k] = parameters[2 * static_cast<std::size_t>(k) + 1];

  const Vector moduli = LinearCoefficients(testFunctions, exponents.Span(), 0.0);
  for (std::int32_t k = 0; k < terms; ++k) {
    // Deliberate: the modulus is mirrored to the sign of its exponent, not fitted again with that sign.
    const double modulus = moduli[k] * exponents[k] < 0.0 ? -moduli[k] : moduli[k];
    if (mask[2 * k] == 0) parameters[2 * static_cast<std::size_t>(k)] = modulus;
  }
}

}  // namespace Xem::MaterialUtil
