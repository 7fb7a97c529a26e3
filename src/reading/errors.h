#pragma once

#include <string>

#include "xem/fit/result.h"

namespace Xem::Fit {

[[noreturn]] inline void RefuseData(const std::string& sentence) { throw Error(ErrorKind::BadData, sentence); }
[[noreturn]] inline void RefuseInput(const std::string& sentence) { throw Error(ErrorKind::BadInput, sentence); }

/// "a.csv, line 3"
inline std::string AtLine(const std::string& source, int line) { return source + ", line " + std::to_string(line); }

}  // namespace Xem::Fit
