#include "fit/models/models.h"

namespace Xem::Fit {
namespace {

ModelInfo CriterionInfo(const char* name, const char* title, const char* formula, const char* source) {
  return {.name = name,
          .title = title,
          .family = "forming",
          .formula = formula,
          .source = source,
          .plainExport = "FormingLimitCurve",
          .page = "theory/forming_limit.md"};
}

}  // namespace

// Criteria are chosen, not fitted; ComputeFormingLimit takes them by name.

const Model kVonMises{.info = CriterionInfo("vonmises", "von Mises", "s1^2 - s1 s2 + s2^2 = s^2", "von Mises 1913"),
                      .parameters = [](int) { return std::vector<ParameterInfo>{}; },
                      .fit = nullptr,
                      .restore = nullptr};

const Model kHill1979{.info = CriterionInfo("hill1979", "Hill 1979, fourth form",
                                            "|s1 + s2|^m + (1 + 2 r) |s1 - s2|^m = 2 (1 + r) s^m", "Hill 1979"),
                      .parameters =
                          [](int) {
                            return std::vector<ParameterInfo>{
                                {.name = "r", .lower = 0.0, .meaning = "normal anisotropy coefficient"},
                                {.name = "m", .lower = 1.0, .meaning = "exponent, above 1"}};
                          },
                      .fit = nullptr,
                      .restore = nullptr};

}  // namespace Xem::Fit
