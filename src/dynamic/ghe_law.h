#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// Generalised hyperbolic equation for the stiffness ratio (Tatsuoka & Shibuya 1992) and the damping that goes with it.
///
/// With the strain over the reference strain, x = gamma / gr:
///
///   R(x)  = 1 / (1 / C1 + x / C2)
///   C1(x) = C1(0) cos^2(q/2) + C1(inf) sin^2(q/2),  q = pi x / (x + alpha)
///   C2(x) = C2(0) cos^2(q/2) + C2(inf) sin^2(q/2),  q = pi x / (x + beta)
///
/// Parameters are C1(0), C1(inf), C2(0), C2(inf), alpha, beta. The reference strain is not among them: another one only
/// rescales C2(0), C2(inf), alpha and beta.
///
///   h = hmax u^kappa,  u = 1 - G/G0   (kappa = 1: Hardin & Drnevich 1972)
namespace Xem::MaterialUtil {

inline constexpr std::size_t kGheParameterCount = 6;
using GheParameters = std::array<double, kGheParameterCount>;
inline constexpr GheParameters kGheDefaults{1.0, 0.17, 0.83, 2.5, 2.86, 3.229};

double GheRatio(std::span<const double> parameters, double x);
/// Returns R and writes its six derivatives.
double GheRatioAndGradient(std::span<const double> parameters, double x, std::span<double> gradient);
/// Moves free entries (mask 0) into [1e-3, 1e3], and apart where C1 or C2 would be constant, which leaves alpha or beta
/// without effect. True when anything moved.
bool ConstrainGhe(std::span<double> parameters, std::span<const std::int32_t> mask);

/// h at the stiffness loss u; 0 where u is negligible or negative.
double GheDamping(double largestDamping, double exponent, double loss);
/// Moves free entries into hmax [1e-4, 1], kappa [0.01, 10]. True when anything moved.
bool ConstrainGheDamping(std::span<double> parameters, std::span<const std::int32_t> mask);

}  // namespace Xem::MaterialUtil
