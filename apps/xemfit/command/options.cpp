#include "command/options.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "failure.h"
#include "numbers.h"
#include "text.h"

namespace Xem::Tool {
namespace {

[[noreturn]] void Refuse(const std::string& sentence) { throw Failure(ExitCode::Usage, sentence); }

}  // namespace

Option& Option::Required() {
  required = true;
  return *this;
}

Option& Option::ShowDefault() {
  showsDefault = true;
  return *this;
}

Option& Option::Repeatable() {
  repeatable = true;
  return *this;
}

Option& Option::Writes() {
  writes = true;
  return *this;
}

Option& Option::SeparatedBy(char letter) {
  separator = letter;
  return *this;
}

/// "ogden:N" is offered as ogden:, "yeoh[:N]" as yeoh.
Option& Option::Suggest(std::vector<std::string> values) {
  for (std::string& value : values) {
    value.erase(std::min(value.find('['), value.size()));
    if (value.ends_with(":N")) value.pop_back();
  }
  suggestions = std::move(values);
  return *this;
}

Option& Option::Between(double lowest, double highest) {
  bounds = Bounds{lowest, highest};
  return *this;
}

std::vector<std::string> Option::Names() const {
  return IsPositional() ? std::vector<std::string>() : Split(names, ',');
}

std::vector<std::string> Option::Words() const {
  return type.find('|') == std::string::npos ? std::vector<std::string>() : Split(type, '|');
}

Options::Options() {
  Add("-h,--help", Option::Help(), "Print this help message and exit", "");
  Add("--version", Option::Version(), "Print the version and exit", "");
}

Option& Options::Add(std::string names, Option::Target target, std::string help, std::string type) {
  return all_.emplace_back(Option{std::move(names), std::move(target), std::move(help), std::move(type)});
}

Option& Options::Flag(std::string names, bool& value, std::string help) {
  return Add(std::move(names), &value, std::move(help), "");
}

Option& Options::Text(std::string names, std::string& value, std::string help, std::string type) {
  return Add(std::move(names), &value, std::move(help), std::move(type));
}

Option& Options::Texts(std::string names, std::vector<std::string>& values, std::string help, std::string type) {
  return Add(std::move(names), &values, std::move(help), std::move(type));
}

Option& Options::Count(std::string names, int& value, std::string help, std::string type) {
  return Add(std::move(names), &value, std::move(help), std::move(type));
}

Option& Options::Real(std::string names, double& value, std::string help, std::string type) {
  return Add(std::move(names), &value, std::move(help), std::move(type));
}

Option& Options::Number(std::string names, double& value, std::string help, double lowest) {
  const auto take = [names, lowest, &value](const std::string& text) {
    const auto number = ParseNumber(text);
    if (!number || !std::isfinite(*number)) Refuse(fmt::format("{}: {} is not a number", names, Quoted(text)));
    if (*number < lowest) Refuse(fmt::format("{}: {} must be at least {}", names, Printable(text), lowest));
    value = *number;
  };
  return Add(names, take, std::move(help), "NUMBER");
}

Option& Options::AddPairs(std::string names, std::string help, std::string type, TakePair takePair) {
  const auto take = [names, type, takePair = std::move(takePair)](const std::string& argument) {
    for (const std::string& pair : Split(argument, ',')) {
      const auto equals = pair.find('=');
      if (equals == std::string::npos || equals == 0 || equals + 1 == pair.size()) {
        Refuse(fmt::format("{}: {} is not of the form {}", names, Quoted(pair), type));
      }
      const std::string name(Trimmed(std::string_view(pair).substr(0, equals)));
      const std::string value(Trimmed(std::string_view(pair).substr(equals + 1)));
      if (!takePair(name, value)) Refuse(fmt::format("{}: {} is given twice", names, Quoted(name)));
    }
  };
  return Add(names, take, std::move(help), type).Repeatable();
}

Option& Options::Pairs(std::string names, std::map<std::string, std::string>& pairs, std::string help,
                       std::string type) {
  return AddPairs(
      std::move(names), std::move(help), std::move(type),
      [&pairs](const std::string& name, const std::string& value) { return pairs.emplace(name, value).second; });
}

Option& Options::Pairs(std::string names, std::map<std::string, double>& pairs, std::string help, std::string type) {
  return AddPairs(names, std::move(help), std::move(type),
                  [&pairs, names](const std::string& name, const std::string& value) {
                    const auto number = ParseNumber(value);
                    if (!number || !std::isfinite(*number)) {
                      Refuse(fmt::format("{}: {} is not a number for {}", names, Quoted(value), Quoted(name)));
                    }
                    return pairs.emplace(name, *number).second;
                  });
}

Option& Options::Word(std::string names, const std::vector<std::string>& words, std::string help,
                      std::function<void(std::size_t)> takeIndex) {
  const auto take = [names, words, takeIndex = std::move(takeIndex)](const std::string& text) {
    const auto word = std::find(words.begin(), words.end(), text);
    if (word == words.end()) Refuse(fmt::format("{}: {} is not one of {}", names, Quoted(text), Join(words, ", ")));
    takeIndex(static_cast<std::size_t>(word - words.begin()));
  };
  return Add(names, take, std::move(help), Join(words, "|"));
}

std::vector<std::pair<std::string, std::string>> Options::FilesToWrite() const {
  std::vector<std::pair<std::string, std::string>> files;
  for (const Option& option : all_) {
    const auto* const* file = std::get_if<std::string*>(&option.target);
    if (option.writes && file && !(*file)->empty()) files.emplace_back(option.names, **file);
  }
  return files;
}

}  // namespace Xem::Tool
