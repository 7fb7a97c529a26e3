#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
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
  std::string report;
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

/// An option with one of `words`, handed over by its index.
void AddWord(CLI::App& app, const std::string& option, const std::string& help, const std::vector<std::string>& words,
             const std::function<void(std::size_t)>& take);

/// An option with a finite number of at least `lowest`. Throws Failure (Usage) for anything else.
void AddNumber(CLI::App& app, const std::string& option, const std::string& help, double lowest, double& value);

/// An option with one of a few words. Throws Failure (Usage) listing them for any other.
template <class Value>
void AddChoice(CLI::App& app, const std::string& option, const std::string& help, Value& value,
               std::vector<std::pair<std::string, Value>> choices) {
  std::vector<std::string> words;
  for (const auto& choice : choices) words.push_back(choice.first);
  AddWord(app, option, help, words, [&value, choices](std::size_t chosen) { value = choices[chosen].second; });
}

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
