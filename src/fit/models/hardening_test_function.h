#pragma once

#include <span>

#include "testfunctions/test_function_base.h"

namespace Xem::Fit {

/// A hardening law as the fit sees it: four parameters, stress and gradient at a plastic strain.
struct HardeningLaw {
  const char* name;
  const char* parameters[4];
  double (*stress)(std::span<const double> parameters, double strain);
  void (*gradient)(std::span<const double> parameters, double strain, std::span<double> gradient);
};

extern const HardeningLaw kGhoshLaw;
extern const HardeningLaw kHockettSherbyLaw;

/// A flow curve and a law.
class HardeningTestFunction final : public MaterialUtil::XemMaterialTestFunctionBase {
 public:
  explicit HardeningTestFunction(const HardeningLaw& law) : law_(law) {}

  void ParameterGradient(std::int32_t, std::span<const double> parameters, std::int32_t point,
                         std::span<double> gradient) const override {
    law_.gradient(parameters, curve_.stretch[point], gradient);
  }
  void EvaluatePoint(std::int32_t, std::span<const double> parameters, std::int32_t point, double& measured,
                     double& model) const override {
    measured = curve_.stress[point];
    model = law_.stress(parameters, curve_.stretch[point]);
  }

 private:
  const HardeningLaw& law_;
};

}  // namespace Xem::Fit
