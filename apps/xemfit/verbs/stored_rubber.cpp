#include "verbs/stored_rubber.h"

#include <fmt/format.h>

#include "failure.h"
#include "text.h"
#include "xem/fit/json.h"
#include "xem/fit/model.h"

namespace Xem::Tool {

Fit::Result StoredRubber(const std::string& text, const std::string& source) {
  Fit::Result stored = Fit::FromJson(text, source);
  const Fit::ModelInfo* info = Fit::FindModel(stored.model);
  if (info != nullptr && info->family == "rubber" && info->curves.front().name == "uniaxial") return stored;
  throw Failure(ExitCode::BadData, fmt::format("{}: {} is not a hyperelastic model", source, Quoted(stored.model)));
}

}  // namespace Xem::Tool
