#pragma once

#include <string>

#include "xem/fit/result.h"

namespace Xem::Tool {

/// A stored model of rubber, from the text of a document; `source` begins messages. Throws Failure (BadData) for any
/// other model, Fit::Error for text that is no such document.
Fit::Result StoredRubber(const std::string& text, const std::string& source);

}  // namespace Xem::Tool
