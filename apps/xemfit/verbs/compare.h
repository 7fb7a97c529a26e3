#pragma once

#include <functional>
#include <string>
#include <vector>

#include "output/report.h"
#include "xem/fit/fit.h"

namespace Xem::Tool {

/// The models that an option such as --model names, out of one family and, with `curve`, those that explain it. Throws
/// Failure (Usage) that begins with the option.
std::vector<Fit::ModelChoice> ModelsNamed(const std::string& text, const std::string& option, const std::string& family,
                                          const std::string& curve = "");

/// Fits the models to the same tests and reports the proposed one. Several models add a comparison to table and JSON; a
/// single one is reported as it is.
/// `doubt` says what speaks against a result where it will be used, see Fit::Candidate.
Report FitModels(const std::vector<Fit::ModelChoice>& models, const Fit::Tests& tests, const Fit::Options& options,
                 const std::function<std::string(const Fit::Result&)>& doubt = {});

}  // namespace Xem::Tool
