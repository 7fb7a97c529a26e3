#include "viscoelastic/shift_law.h"

#include <numbers>

namespace Xem::MaterialUtil {

double WlfShift(std::span<const double> parameters, double apart, std::span<double> gradient) {
  const double ratio = apart / (parameters[1] + apart);
  if (!gradient.empty()) {
    gradient[0] = -ratio;
    gradient[1] = parameters[0] * ratio / (parameters[1] + apart);
  }
  return -parameters[0] * ratio;
}

double ArrheniusShift(double activationEnergy, double kelvin, double referenceKelvin) {
  constexpr double kGasConstant = 8.31446261815324e-3;  // kJ/(mol K), exact by definition of its factors
  return activationEnergy / (kGasConstant * std::numbers::ln10) * (1.0 / kelvin - 1.0 / referenceKelvin);
}

}  // namespace Xem::MaterialUtil
