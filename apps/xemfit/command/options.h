#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// What a command can be told, as records. The command line is parsed by them, and help, man pages and completion are
/// written from them; nothing here knows how.
namespace Xem::Tool {

/// One option, or one positional argument.
struct Option {
  /// Takes what was typed; throws Failure (Usage) to refuse it.
  using Take = std::function<void(const std::string&)>;
  struct Help {};
  struct Version {};
  /// Where the value goes. A flag is a bool.
  using Target = std::variant<Help, Version, bool*, int*, double*, std::string*, std::vector<std::string>*, Take>;

  struct Bounds {
    double lowest, highest;
  };

  std::string names;  ///< "-q,--quiet"; without dashes: a positional argument
  Target target;
  std::string help;  ///< a sentence without its full stop
  std::string type;  ///< "FILE", or a few words that it must be one of: "absolute|relative"; empty for flags
  bool required = false;
  bool showsDefault = false;
  bool repeatable = false;                 ///< any number of times, each with one value
  bool writes = false;                     ///< names a file that the command writes
  char separator = 0;                      ///< between values that are typed as one word
  std::optional<Bounds> bounds{};          ///< of a number
  std::vector<std::string> suggestions{};  ///< values that completion offers, among others

  // For declarations: options.Text("--model", model_, "What to fit", "MODEL").Required();
  Option& Required();
  Option& ShowDefault();
  Option& Repeatable();
  Option& Writes();
  Option& SeparatedBy(char letter);
  Option& Between(double lowest, double highest);
  Option& Suggest(std::vector<std::string> values);

  bool IsPositional() const { return !names.starts_with('-'); }
  bool TakesValue() const { return !type.empty(); }
  bool TakesSeveral() const { return std::holds_alternative<std::vector<std::string>*>(target); }
  /// "-q" and "--quiet"; none for a positional argument.
  std::vector<std::string> Names() const;
  /// absolute|relative as two words; none where the value is free.
  std::vector<std::string> Words() const;
};

/// The options of one command, in the order of its help; what is declared must live as long as they do.
class Options {
 public:
  /// Every command has --help and --version.
  Options();

  // A new option; the reference lasts.
  Option& Flag(std::string names, bool& value, std::string help);
  Option& Text(std::string names, std::string& value, std::string help, std::string type);
  Option& Texts(std::string names, std::vector<std::string>& values, std::string help, std::string type);
  Option& Count(std::string names, int& value, std::string help, std::string type);
  /// Any number that a double can be.
  Option& Real(std::string names, double& value, std::string help, std::string type);
  /// A finite number of at least `lowest`.
  Option& Number(std::string names, double& value, std::string help, double lowest);
  /// NAME=VALUE[,NAME=VALUE...], repeatable, into a map. A text without `=` and a name given twice are refused.
  Option& Pairs(std::string names, std::map<std::string, std::string>& pairs, std::string help, std::string type);
  Option& Pairs(std::string names, std::map<std::string, double>& pairs, std::string help, std::string type);
  /// One of a few words, each of which stands for a value. Any other is refused with a list of them.
  template <class Value>
  Option& Choice(std::string names, Value& value, std::string help,
                 std::vector<std::pair<std::string, Value>> choices) {
    std::vector<std::string> words;
    for (const auto& choice : choices) words.push_back(choice.first);
    return Word(std::move(names), words, std::move(help),
                [&value, choices](std::size_t chosen) { value = choices[chosen].second; });
  }

  const std::deque<Option>& All() const { return all_; }
  /// Options that name files to write, with the names given: {"--plot", "fit.png"}.
  std::vector<std::pair<std::string, std::string>> FilesToWrite() const;

 private:
  using TakePair = std::function<bool(const std::string& name, const std::string& value)>;

  Option& Add(std::string names, Option::Target target, std::string help, std::string type);
  Option& AddPairs(std::string names, std::string help, std::string type, TakePair take);
  Option& Word(std::string names, const std::vector<std::string>& words, std::string help,
               std::function<void(std::size_t)> take);

  std::deque<Option> all_;
};

}  // namespace Xem::Tool
