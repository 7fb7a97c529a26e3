#pragma once

#include <map>
#include <string>
#include <vector>

#include "xem/fit/result.h"

namespace CLI {
class App;
}

/// Options that verbs share. A verb says which groups it understands.
namespace Xem::Tool {

struct InputOptions {
  std::map<std::string, std::string> columns;    ///< role, x or y -> column name
  std::map<std::string, std::string> selection;  ///< column -> value
};

struct FitOptions {
  Fit::Options fit;
  std::map<std::string, double> weights;  ///< by curve
};

struct OutputOptions {
  std::string json;
  std::string curves;
  std::string plot;
  bool quiet = false;
};

void AddInputOptions(CLI::App& app, InputOptions& options);
void AddFitOptions(CLI::App& app, FitOptions& options);
void AddOutputOptions(CLI::App& app, OutputOptions& options);

/// A repeatable option NAME=VALUE[,NAME=VALUE...] that fills a map. Throws Failure (Usage) for a text without `=` and a
/// name given twice.
void AddPairs(CLI::App& app, const std::string& option, const std::string& what, const std::string& help,
              std::map<std::string, std::string>& pairs);
void AddPairs(CLI::App& app, const std::string& option, const std::string& what, const std::string& help,
              std::map<std::string, double>& pairs);

/// FROM:TO:COUNT as equally spaced numbers. Throws Failure (Usage) naming `option`.
std::vector<double> ParseGrid(const std::string& text, const std::string& option);

/// A range of counts, N or FROM..TO, within lowest ... highest. Throws Failure (Usage); `context` starts the message,
/// such as "--terms".
struct CountRange {
  int from = 0;
  int to = 0;
};
CountRange ParseCountRange(const std::string& text, int lowest, int highest, const std::string& context);

}  // namespace Xem::Tool
