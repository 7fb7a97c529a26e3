#include "command/options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "failure.h"
#include "text.h"

namespace Xem::Tool {
namespace {

constexpr int kLargestGrid = 1000000;

[[noreturn]] void Refuse(const std::string& sentence) { throw Failure(ExitCode::Usage, sentence); }

using TakePair = std::function<bool(const std::string& name, const std::string& value)>;

/// One option, any number of times, each with one argument; commas separate pairs inside it.
void AddPairOption(CLI::App& app, const std::string& option, const std::string& what, const std::string& help,
                   TakePair take) {
  const auto parse = [option, what, take](const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) {
      for (const std::string& pair : Split(argument, ',')) {
        const auto equals = pair.find('=');
        if (equals == std::string::npos || equals == 0 || equals + 1 == pair.size()) {
          Refuse(fmt::format("{}: {} is not of the form {}", option, Quoted(pair), what));
        }
        const std::string name(Trimmed(std::string_view(pair).substr(0, equals)));
        const std::string value(Trimmed(std::string_view(pair).substr(equals + 1)));
        if (!take(name, value)) Refuse(fmt::format("{}: {} is given twice", option, Quoted(name)));
      }
    }
    return true;
  };
  app.add_option(option, parse, help)
      ->type_name(what)
      ->type_size(1)
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
}

}  // namespace

void AddPairs(CLI::App& app, const std::string& option, const std::string& what, const std::string& help,
              std::map<std::string, std::string>& pairs) {
  AddPairOption(app, option, what, help, [&pairs](const std::string& name, const std::string& value) {
    return pairs.emplace(name, value).second;
  });
}

void AddPairs(CLI::App& app, const std::string& option, const std::string& what, const std::string& help,
              std::map<std::string, double>& pairs) {
  AddPairOption(app, option, what, help, [&pairs, option](const std::string& name, const std::string& value) {
    const auto number = ParseNumber(value);
    if (!number || !std::isfinite(*number)) {
      Refuse(fmt::format("{}: {} is not a number for {}", option, Quoted(value), Quoted(name)));
    }
    return pairs.emplace(name, *number).second;
  });
}

void AddWord(CLI::App& app, const std::string& option, const std::string& help, const std::vector<std::string>& words,
             const std::function<void(std::size_t)>& take) {
  const auto parse = [option, words, take](const std::string& text) {
    const auto word = std::find(words.begin(), words.end(), text);
    if (word == words.end()) Refuse(fmt::format("{}: {} is not one of {}", option, Quoted(text), Join(words, ", ")));
    take(static_cast<std::size_t>(word - words.begin()));
  };
  app.add_option_function<std::string>(option, parse, help)->type_name(Join(words, "|"));
}

void AddNumber(CLI::App& app, const std::string& option, const std::string& help, double lowest, double& value) {
  const auto parse = [option, lowest, &value](const std::string& text) {
    const auto number = ParseNumber(text);
    if (!number || !std::isfinite(*number)) Refuse(fmt::format("{}: {} is not a number", option, Quoted(text)));
    if (*number < lowest) Refuse(fmt::format("{}: {} must be at least {}", option, Printable(text), lowest));
    value = *number;
  };
  app.add_option_function<std::string>(option, parse, help)->type_name("NUMBER");
}

void AddInputOptions(CLI::App& app, InputOptions& options) {
  AddPairs(app, "--column", "ROLE=NAME", "Column of a role; x and y stand for abscissa and ordinate", options.columns);
  AddPairs(app, "--select", "COLUMN=VALUE", "Use only rows with this value in a column", options.selection);
}

void AddFitOptions(CLI::App& app, FitOptions& options) {
  AddChoice(app, "--residual", "What is minimised: measured - fitted, or 1 - fitted / measured", options.fit.residual,
            {{"absolute", Fit::Residual::Absolute}, {"relative", Fit::Residual::Relative}});
  AddChoice(app, "--engine", "Best fit, or exactly what the library's exported function returns", options.fit.engine,
            {{"best", Fit::Engine::Best}, {"export", Fit::Engine::Export}});
  AddPairs(app, "--hold", "NAME=VALUE", "Keep a parameter at a value", options.fit.held);
  AddPairs(app, "--start", "NAME=VALUE", "Starting value of a parameter, tried besides the automatic ones",
           options.fit.start);
  AddPairs(app, "--weight", "CURVE=VALUE", "Factor on the residuals of a curve", options.weights);
}

void AddOutputOptions(CLI::App& app, OutputOptions& options) {
  app.add_option("--json", options.json, "Write the result as JSON; - for standard output instead of the table")
      ->type_name("FILE");
  app.add_option("--curves", options.curves, "Write measured and fitted curves as CSV")->type_name("FILE");
  app.add_option("--plot", options.plot, "Draw measured points and fitted curves (.png, .svg or .pdf)")
      ->type_name("FILE");
  app.add_option("--report", options.report, "Write the whole result as one page that opens in a browser, offline")
      ->type_name("FILE.html");
  app.add_flag("-q,--quiet", options.quiet, "Print no table");
}

std::vector<double> ParseGrid(const std::string& text, const std::string& option) {
  const auto parts = Split(text, ':');
  const auto part = [&](std::size_t i) { return i < parts.size() ? std::string_view(parts[i]) : std::string_view(); };
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const double from = ParseNumber(part(0)).value_or(kNaN);
  const double to = ParseNumber(part(1)).value_or(kNaN);
  const auto given = ParseCount(part(2));
  if (parts.size() != 3 || !std::isfinite(from) || !std::isfinite(to) || !given) {
    Refuse(fmt::format("{}: {} is not of the form FROM:TO:COUNT, such as 0:2:200", option, Quoted(text)));
  }
  const int count = given.value_or(0);
  if (count < 2 || count > kLargestGrid) {
    Refuse(fmt::format("{}: the count of {} must be between 2 and {}", option, Quoted(text), kLargestGrid));
  }
  if (!(from < to)) Refuse(fmt::format("{}: in {} the first number must be below the second", option, Quoted(text)));
  const double span = to - from;
  if (!std::isfinite(span * count))
    Refuse(fmt::format("{}: the numbers of {} are too far apart", option, Quoted(text)));
  std::vector<double> grid;
  grid.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i + 1 < count; ++i) grid.push_back(from + span * i / (count - 1));
  grid.push_back(to);
  return grid;
}

CountRange ParseCountRange(const std::string& text, int lowest, int highest, const std::string& context) {
  const auto dots = text.find("..");
  const auto from = ParseCount(text.substr(0, dots));
  const auto to = dots == std::string::npos ? from : ParseCount(text.substr(dots + 2));
  if (!from || !to) Refuse(fmt::format("{}: {} is neither a number nor a range such as 1..3", context, Quoted(text)));
  if (*from < lowest || *to < lowest || *from > highest || *to > highest) {
    Refuse(fmt::format("{}: {} must lie between {} and {}", context, Printable(text), lowest, highest));
  }
  if (*from > *to) Refuse(fmt::format("{}: {} ends before it begins", context, Quoted(text)));
  return {*from, *to};
}

}  // namespace Xem::Tool
