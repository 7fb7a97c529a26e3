#include <boost/make_shared.hpp>
#include <cmath>

#include "soil/retention_test_function.h"
#include "support/gradient_cases.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

boost::shared_ptr<XemMaterialTestFunctionBase> Retention(RetentionModel model) {
  const auto function = boost::make_shared<XemUnsaturatedSoilTestFunction>();
  const auto code = static_cast<std::int32_t>(model);
  function->SetParameters({}, std::span(&code, 1));
  std::vector<_T_FUNT_BASE> points{{0.0, 0.45}};
  for (int i = 0; i < 100; ++i) points.emplace_back(0.03 * std::pow(1.17, i), 0.4 - 0.003 * i);
  function->SetTestData(std::span<const _T_FUNT_BASE>(points));
  return function;
}

}  // namespace

std::vector<GradientCase> SoilGradients() {
  std::vector<GradientCase> cases;
  cases.push_back({"van Genuchten", Retention(RetentionModel::VanGenuchten), 4, {0.43, 0.05, 0.1, 1.6}});
  cases.push_back({"free m", Retention(RetentionModel::VanGenuchtenFreeM), 5, {0.43, 0.05, 0.1, 1.6, 0.5}});
  cases.push_back({"Fredlund and Xing", Retention(RetentionModel::FredlundXing), 5, {0.45, 20, 1.5, 1.2, 1500}});
  cases.push_back({"Brooks and Corey", Retention(RetentionModel::BrooksCorey), 4, {0.43, 0.05, 8, 0.4}});
  return cases;
}

}  // namespace Xem::Testing
