#include "support/gradient_cases.h"
#include "testfunctions/hyperelastic_test_function.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

boost::shared_ptr<XemMaterialTestFunctionBase> Hyperelastic(DeformationMode mode, ModelType model) {
  const auto function = MakeTestFunction(mode, model);
  // Compression and tension, with lateral strains for Blatz-Ko; more points than a block of the solver.
  std::vector<_T_FUNT_BASE3> points;
  for (int i = 0; i < 100; ++i) points.emplace_back(-0.4 + 0.021 * i, 0.1 - 0.004 * i, 1.0 + 0.1 * i);
  function->SetTestData3(std::span<const _T_FUNT_BASE3>(points));
  return function;
}

}  // namespace

std::vector<GradientCase> HyperelasticGradients() {
  std::vector<GradientCase> cases;
  for (const DeformationMode mode : kAllModes) {
    const char* name = Kinematics(mode).name;
    cases.push_back({name, Hyperelastic(mode, ModelType::Polynomial), 2, {0.4, 0.1, -0.02, 0.003, 0.01}});
    cases.push_back({name, Hyperelastic(mode, ModelType::Ogden), 3, {0.6, 1.3, 0.01, 4.5, -0.02, -2.1}});
    cases.push_back({name, Hyperelastic(mode, ModelType::BlatzKo), 1, {0.7}});
  }
  return cases;
}

}  // namespace Xem::Testing
