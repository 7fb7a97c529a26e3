#include "stability/stability_scan.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

#include "kernels/kernels.h"
#include "solver/linalg/lapack.h"
#include "solver/linalg/numbers.h"
#include "stability/blatz_ko_tangent.h"
#include "stability/ogden_scan.h"
#include "stability/ogden_tangent.h"
#include "stability/polynomial_tangent.h"
#include "testdata/strain_energy.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

// Deliberate: the two models have different floors in compression.
constexpr double kLowestPolynomialStrain = -0.6;
constexpr double kLowestOgdenStrain = -0.5;
constexpr double kHighestStrain = 9.0;

enum class Pivots { AllPositive, OneNegative, Unclear };

/// Of the factorisation L D L^T of A + shift I (lower triangle), up to the first that is not positive.
Pivots PivotsOf(const Matrix& a, double shift) {
  constexpr std::int64_t kOrder = 6;
  double factor[kOrder][kOrder];
  double pivots[kOrder];
  for (std::int64_t j = 0; j < kOrder; ++j) {
    for (std::int64_t i = j; i < kOrder; ++i) {
      double rest = i == j ? a(j, j) + shift : a(i, j);
      for (std::int64_t k = 0; k < j; ++k) rest -= factor[i][k] * factor[j][k] * pivots[k];
      if (i > j) {
        factor[i][j] = rest / pivots[j];
        continue;
      }
      if (rest < 0.0 && std::isfinite(rest)) return Pivots::OneNegative;
      if (!(rest > 0.0) || !std::isfinite(rest)) return Pivots::Unclear;
      pivots[j] = rest;
    }
  }
  return Pivots::AllPositive;
}

/// Whether an eigenvalue is below 0, where pivots tell it by far more than rounding: those of the matrix less a
/// ten-trillionth of its diagonal's size, and those of the matrix with as much added. That spares nearly every
/// eigenvalue problem of a scan, and a BLAS library that hands even those of order 6 to other threads.
std::optional<bool> HasClearlyNegativeEigenvalue(const Matrix& a) {
  double size = 0.0;
  for (std::int64_t i = 0; i < 6; ++i) size += std::abs(a(i, i));
  const double margin = 1e-13 * size;
  if (PivotsOf(a, -margin) == Pivots::AllPositive) return false;
  if (PivotsOf(a, margin) == Pivots::OneNegative) return true;
  return std::nullopt;
}

/// What does not depend on the model: the states on one side of the undeformed one, as far as any scan goes.
struct ScannedSide {
  std::vector<double> stretches;
  std::vector<double> logarithms;
  std::array<std::vector<double>, kScannedModes.size()> shearFactors;
  std::vector<double> middleFactors;

  // Deliberate: both scans step by repeated addition, so strains are not exact multiples of the step.
  ScannedSide(double step, double farthest) {
    for (double stretch = 1.0 + step; step * (farthest - stretch) >= 0.0; stretch += step) stretches.push_back(stretch);
    logarithms.resize(stretches.size());
    ForThisProcessor().log(stretches.size(), stretches.data(), logarithms.data());
    for (const double stretch : stretches) {
      // Of two stretches a and b by (a / b)^2.
      const auto factor = [](double ratio) { return 0.5 * (ratio + 1.0) / (ratio - 1.0); };
      const double square = stretch * stretch;
      shearFactors[0].push_back(factor(square * stretch));
      shearFactors[1].push_back(factor(square * square * square));
      shearFactors[2].push_back(factor(square * square));
      middleFactors.push_back(factor(square));
    }
  }
};

constexpr std::array kLateralExponents{-0.5, -2.0, -1.0};

Matrix3 Small(const Matrix& matrix) {
  Matrix3 small{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) small[i][j] = matrix(i, j);
  }
  return small;
}

void CopyOut(const Tangent& from, Matrix& tangent, std::span<double> stress) {
  for (std::size_t i = 0; i < 6; ++i) {
    stress[i] = from.stress[i];
    for (std::size_t j = 0; j < 6; ++j) {
      tangent(i, j) = from.stiffness[i][j];
    }
  }
}

/// The first `count` coefficients.
Vector Take(std::span<const double> coefficients, std::int32_t count) {
  if (coefficients.size() < static_cast<std::size_t>(count)) {
    throw CInvalidArgException("the coefficient array is shorter than the model");
  }
  return Vector(coefficients.first(static_cast<std::size_t>(count)));
}

}  // namespace

std::array<double, 3> UniaxialStretches(double stretch) {
  return {stretch, 1.0 / std::sqrt(stretch), 1.0 / std::sqrt(stretch)};
}
std::array<double, 3> EquibiaxialStretches(double stretch) { return {stretch, stretch, 1.0 / (stretch * stretch)}; }
std::array<double, 3> PureShearStretches(double stretch) { return {stretch, 1.0, 1.0 / stretch}; }

/// The tangent at one stretch after another, with work arrays made once.
class XemMaterialStabilityBase::Probe {
 public:
  explicit Probe(const XemMaterialStabilityBase& model) : model_(model) {}

  bool IsUnstable(IsochoricDeformation deformation, double stretch) {
    const std::array<double, 3> stretches = deformation(stretch);
    for (std::size_t i = 0; i < 3; ++i) {
      gradient_(i, i) = stretches[i];
    }
    model_.ComputeTangent(gradient_, tangent_, stress_, 1.0, 0.0, 0.0);
    const std::optional<bool> negative = HasClearlyNegativeEigenvalue(tangent_);
    return negative ? *negative : eigenvalues_.Compute(tangent_).front() < 0.0;
  }

 private:
  const XemMaterialStabilityBase& model_;
  Matrix gradient_{3, 3};
  Matrix tangent_{6, 6};
  Vector6 stress_{};
  SymmetricEigenvalues eigenvalues_{6};
};

double XemMaterialStabilityBase::Scan(ScannedMode mode, bool tension, double limit, Probe& probe) const {
  static const ScannedSide kSides[] = {{-kScanStep, 1.0 + kLowestPolynomialStrain}, {kScanStep, 1.0 + kHighestStrain}};
  const ScannedSide& side = kSides[tension ? 1 : 0];
  const auto m = static_cast<std::size_t>(mode);
  bool clear[kScannedAtOnce]{};
  for (std::size_t first = 0; first < side.stretches.size(); first += kScannedAtOnce) {
    const std::size_t count = std::min(kScannedAtOnce, side.stretches.size() - first);
    const auto part = [&](const std::vector<double>& all) { return std::span(all).subspan(first, count); };
    const ScannedStates states{mode, kLateralExponents[m], part(side.logarithms), part(side.shearFactors[m]),
                               part(side.middleFactors)};
    if (markClear_) markClear_(*this, states, {clear, count});
    for (std::size_t i = 0; i < count; ++i) {
      const double stretch = side.stretches[first + i];
      if (!(tension ? stretch <= limit : stretch >= limit)) return 0.0;
      if (!clear[i] && probe.IsUnstable(kScannedModes[m], stretch)) return stretch - 1.0;
    }
  }
  return 0.0;
}

void XemMaterialStabilityBase::CheckStability(double lower, double upper) {
  const double lowestStretch = 1.0 + (lower < 0.0 ? std::max(lower, lowest_) : lowest_);
  const double highestStretch = 1.0 + (upper > 0.0 ? std::min(upper, kHighestStrain) : kHighestStrain);
  Probe probe(*this);
  limits_ = {};
  limits_.uniaxialCompression = Scan(ScannedMode::Uniaxial, false, lowestStretch, probe);
  limits_.uniaxialTension = Scan(ScannedMode::Uniaxial, true, highestStretch, probe);
  limits_.equibiaxialCompression = Scan(ScannedMode::Equibiaxial, false, lowestStretch, probe);
  limits_.equibiaxialTension = Scan(ScannedMode::Equibiaxial, true, highestStretch, probe);
  limits_.pureShearCompression = Scan(ScannedMode::PureShear, false, lowestStretch, probe);
  limits_.pureShearTension = Scan(ScannedMode::PureShear, true, highestStretch, probe);
}

XemMaterialStabilityPolynomial::XemMaterialStabilityPolynomial(std::int32_t order)
    : XemMaterialStabilityBase(kLowestPolynomialStrain), order_(order), coefficients_(PolynomialTermCount(order)) {}

void XemMaterialStabilityPolynomial::ComputeTangent(const Matrix& deformationGradient, Matrix& tangent,
                                                    std::span<double> stress, double, double, double) const {
  CopyOut(PolynomialTangent(order_, coefficients_, volumetric_, Small(deformationGradient)), tangent, stress);
}

void XemMaterialStabilityPolynomial::SetParameters(std::span<const double> coefficients,
                                                   std::span<const double> volumetric) {
  coefficients_ = Take(coefficients, PolynomialTermCount(order_));
  volumetric_ = Vector(volumetric);
}

XemMaterialStabilityOgden::XemMaterialStabilityOgden(std::int32_t terms)
    : XemMaterialStabilityBase(
          kLowestOgdenStrain,
          [](const XemMaterialStabilityBase& model, const ScannedStates& states, std::span<bool> clear) {
            const auto& ogden = static_cast<const XemMaterialStabilityOgden&>(model);
            MarkClearlyStable(ogden.pairs_, ogden.volumetric_, states, clear);
          }),
      terms_(terms),
      pairs_(CheckedParameterCount(2 * std::int64_t{terms})) {}

void XemMaterialStabilityOgden::ComputeTangent(const Matrix& deformationGradient, Matrix& tangent,
                                               std::span<double> stress, double, double, double) const {
  CopyOut(OgdenTangent(pairs_, volumetric_, Small(deformationGradient)), tangent, stress);
}

void XemMaterialStabilityOgden::SetParameters(std::span<const double> coefficients,
                                              std::span<const double> volumetric) {
  pairs_ = Take(coefficients, 2 * terms_);
  volumetric_ = Vector(volumetric);
}

XemMaterialStabilityPrincipal::XemMaterialStabilityPrincipal(Response response)
    : XemMaterialStabilityBase(kLowestPolynomialStrain), response_(response) {}

void XemMaterialStabilityPrincipal::ComputeTangent(const Matrix& deformationGradient, Matrix& tangent,
                                                   std::span<double> stress, double, double, double) const {
  const PrincipalAxes axes = FindPrincipalAxes(Small(deformationGradient));
  PrincipalResponse response = response_(parameters_, IsochoricLogarithms(axes.stretches));
  AddVolumetric(volumetric_, axes.stretches[0] * axes.stretches[1] * axes.stretches[2], response);
  CopyOut(PrincipalTangent(axes, response), tangent, stress);
}

void XemMaterialStabilityPrincipal::SetParameters(std::span<const double> parameters,
                                                  std::span<const double> volumetric) {
  parameters_ = Vector(parameters);
  volumetric_ = Vector(volumetric);
}

XemMaterialStabilityBlatzKo::XemMaterialStabilityBlatzKo() : XemMaterialStabilityBase(kLowestPolynomialStrain) {}

void XemMaterialStabilityBlatzKo::ComputeTangent(const Matrix& deformationGradient, Matrix& tangent,
                                                 std::span<double> stress, double, double, double) const {
  CopyOut(BlatzKoTangent(modulus_, Small(deformationGradient)), tangent, stress);
}

void XemMaterialStabilityBlatzKo::SetParameters(std::span<const double> modulus, std::span<const double>) {
  modulus_ = Take(modulus, 1)[0];
}

}  // namespace Xem::MaterialUtil
