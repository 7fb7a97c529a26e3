#pragma once

#include <span>

/// Shift factors over temperature, log10 a_T, 0 at the reference temperature.
namespace Xem::MaterialUtil {

/// Williams, Landel and Ferry 1955: -C1 (T - T_ref) / (C2 + T - T_ref), for T above T_ref - C2; `apart` is T - T_ref.
/// Parameters are C1, C2; the gradient is written unless it is empty.
double WlfShift(std::span<const double> parameters, double apart, std::span<double> gradient = {});

/// Arrhenius: E_a / (R ln 10) (1/T - 1/T_ref), temperatures in kelvin, E_a in kJ/mol.
double ArrheniusShift(double activationEnergy, double kelvin, double referenceKelvin);

}  // namespace Xem::MaterialUtil
