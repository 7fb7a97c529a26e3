#include <boost/make_shared.hpp>
#include <cmath>

#include "support/gradient_cases.h"
#include "viscoelastic/creep.h"
#include "viscoelastic/relaxation.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

/// Times over eight decades.
std::vector<_T_FUNT_BASE> OverTime() {
  std::vector<_T_FUNT_BASE> points;
  for (int i = 0; i < 100; ++i) points.emplace_back(1e-3 * std::pow(10.0, 0.08 * i), 0.9 - 0.005 * i);
  return points;
}

boost::shared_ptr<XemMaterialTestFunctionBase> Relaxation() {
  const auto function = boost::make_shared<XemHyperViscoElasticRelaxation>();
  function->SetTestData(std::span<const _T_FUNT_BASE>(OverTime()));
  return function;
}

boost::shared_ptr<XemMaterialTestFunctionBase> Creep() {
  const auto function = boost::make_shared<XemMaterialCreepType300>();
  const double stress = 0.3;
  const std::int32_t option = 0;
  function->SetParameters({&stress, 1}, {&option, 1});
  function->SetTestData(std::span<const _T_FUNT_BASE>(OverTime()));
  return function;
}

}  // namespace

std::vector<GradientCase> ViscoelasticGradients() {
  std::vector<GradientCase> cases;
  cases.push_back({"relaxation", Relaxation(), 3, {0.2, -0.1, 0.4, 0.01, 3.0, 2e3}});
  cases.push_back({"creep", Creep(), 8, {0.02, 2.5, 0.0, 0.35, 1e-4, 3.1, 0.0, 0.0}});
  return cases;
}

}  // namespace Xem::Testing
