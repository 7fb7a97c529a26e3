#pragma once

#include <algorithm>
#include <cmath>

#include "soil/retention_law.h"

/// Hydraulic conductivity of unsaturated soil after Mualem (1976),
///
///   K/Ks = sqrt(Se) (F(Se)/F(1))^2,  F(Se) = integral of dSe/psi from 0 to Se
///
/// A law with a closed form gives F(Se)/F(1), the reach of the water-filled pores.
namespace Xem::Fit {

inline double MualemConductivity(double saturation, double reach) { return std::sqrt(saturation) * reach * reach; }

/// 1 - (1 - Se^(1/m))^m, m = 1 - 1/n, of van Genuchten's curve (van Genuchten 1980). With w = (alpha psi)^n it is
/// 1 - (1 + 1/w)^(-m), which keeps its digits where hardly any water is left.
inline double VanGenuchtenReach(double alpha, double n, MaterialUtil::Suction suction) {
  if (suction.value <= 0.0) return 1.0;
  const double m = 1.0 - 1.0 / n;
  const double logPower = n * (std::log(alpha) + suction.log);
  const double logSum = std::max(0.0, -logPower) + std::log1p(std::exp(-std::abs(logPower)));
  return -std::expm1(-m * logSum);
}

}  // namespace Xem::Fit
