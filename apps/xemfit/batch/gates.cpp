#include "batch/gates.h"

#include <fmt/format.h>

#include <cmath>
#include <vector>

#include "numbers.h"
#include "text.h"

namespace Xem::Tool {

std::string DoubtsAbout(const Outcome& outcome, const Gates& gates) {
  if (!outcome.Fitted()) return "";
  std::vector<std::string> doubts;
  const double r2 = std::isfinite(outcome.r2) ? outcome.r2 : outcome.worstR2;
  if (r2 < gates.leastR2) doubts.push_back(fmt::format("R2 {:.3g} is below {}", r2, Shortly(gates.leastR2)));
  const double all = outcome.points + outcome.dropped;
  if (outcome.dropped > gates.mostDropped * all) {
    doubts.push_back(fmt::format("{:.0f} of {:.0f} points were dropped", outcome.dropped, all));
  }
  for (const Outcome::Parameter& parameter : outcome.parameters) {
    if (!parameter.doubt.empty() && !gates.allowUnclear) doubts.push_back(parameter.name + " is " + parameter.doubt);
  }
  return Join(doubts, "; ");
}

}  // namespace Xem::Tool
