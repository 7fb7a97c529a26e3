#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "xem/fit/sheet_metal.h"

/// What the command line says about sheet metals.
namespace Xem::Tool {

/// [NAME=]FILE[@COLUMN=VALUE[,COLUMN=VALUE...]]
struct NamedFile {
  std::string name;  ///< empty: none given
  std::string path;
  std::map<std::string, std::string> selection;
};
NamedFile ParseNamedFile(const std::string& text, const std::string& option);

/// [NAME=]LAW:CONSTANTS or [NAME=]FILE[@...]. Throws Failure (Usage).
struct NamedHardening {
  NamedFile file;            ///< its path is empty for a law
  Fit::Hardening hardening;  ///< law and constants; "table" for a file
};
NamedHardening ParseHardening(const std::string& text);

/// vonmises, hill1979:R, hill1979:R,M or with R0/R45/R90 for R. Throws Failure (Usage).
Fit::YieldCriterion ParseYield(const std::string& text);

}  // namespace Xem::Tool
