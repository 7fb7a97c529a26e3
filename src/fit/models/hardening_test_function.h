#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "testfunctions/test_function_base.h"

namespace Xem::Fit {

inline constexpr std::size_t kMostHardeningParameters = 7;

/// A hardening law as the fit sees it: stress and gradient at a plastic strain.
struct HardeningLaw {
  const char* name;
  std::vector<const char*> parameters;
  double (*stress)(std::span<const double> parameters, double strain);
  void (*gradient)(std::span<const double> parameters, double strain, std::span<double> gradient);
};

extern const HardeningLaw kGhoshLaw;
extern const HardeningLaw kHockettSherbyLaw;
extern const HardeningLaw kVoceLaw;
extern const HardeningLaw kSwiftVoceLaw;

/// A flow curve and a law.
class HardeningTestFunction final : public MaterialUtil::BlockTestFunction {
 public:
  explicit HardeningTestFunction(const HardeningLaw& law) : law_(law) {}

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MaterialUtil::MatrixView derivatives) const override {
    const auto stress = [&](std::int32_t point) { return law_.stress(parameters, curve_.abscissa[point]); };
    MaterialUtil::EvaluateByPoint<kMostHardeningParameters>(
        first, model, derivatives, stress, [&](std::int32_t point, std::span<double> gradient) {
          law_.gradient(parameters, curve_.abscissa[point], gradient);
          return stress(point);
        });
  }

 private:
  const HardeningLaw& law_;
};

}  // namespace Xem::Fit
