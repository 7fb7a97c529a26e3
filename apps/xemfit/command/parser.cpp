#include "command/parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <deque>
#include <sstream>
#include <string_view>
#include <utility>

#include "xem/version.h"

namespace Xem::Tool {
namespace {

constexpr const char* kVersion = "xemfit " XEM_VERSION;
constexpr std::size_t kHelpColumn = 36;

/// Hands each kind of target to the library, which converts what was typed.
struct Declare {
  CLI::App& app;
  const Option& option;

  CLI::Option* operator()(const Option::Help&) const { return app.set_help_flag(option.names, option.help); }
  CLI::Option* operator()(const Option::Version&) const {
    return app.set_version_flag(option.names, kVersion, option.help);
  }
  CLI::Option* operator()(bool* value) const { return app.add_flag(option.names, *value, option.help); }
  CLI::Option* operator()(int* value) const {
    CLI::Option* added = app.add_option(option.names, *value, option.help);
    if (option.bounds) {
      const CLI::Range range(static_cast<int>(option.bounds->lowest), static_cast<int>(option.bounds->highest));
      added->check(CLI::Validator(range).description(""));
    }
    return added;
  }
  CLI::Option* operator()(double* value) const {
    CLI::Option* added = app.add_option(option.names, *value, option.help);
    if (option.bounds) {
      added->check(CLI::Validator(CLI::Range(option.bounds->lowest, option.bounds->highest)).description(""));
    }
    return added;
  }
  CLI::Option* operator()(std::string* value) const { return app.add_option(option.names, *value, option.help); }
  CLI::Option* operator()(std::vector<std::string>* values) const {
    return app.add_option(option.names, *values, option.help);
  }
  CLI::Option* operator()(const Option::Take& take) const {
    if (!option.repeatable) return app.add_option_function<std::string>(option.names, take, option.help);
    const auto takeAll = [take](const std::vector<std::string>& arguments) {
      for (const std::string& argument : arguments) take(argument);
      return true;
    };
    return app.add_option(option.names, takeAll, option.help);
  }
};

void Add(CLI::App& app, const Option& option) {
  CLI::Option* added = std::visit(Declare{app, option}, option.target);
  if (!option.TakesValue()) return;
  added->type_name(option.type)->required(option.required);
  if (option.showsDefault) added->capture_default_str();
  if (option.separator != 0) added->delimiter(option.separator);
  if (option.repeatable) {
    added->type_size(1)->expected(1)->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  }
}

using Words = std::vector<std::string>;

/// Letters behind one dash may be several options.
bool MayBeShortOptions(const std::string& word) {
  return word.size() > 2 && word[0] == '-' && std::isalpha(static_cast<unsigned char>(word[1])) != 0;
}

bool IsCalled(std::string_view word, std::string_view name) {
  return word.starts_with(name) && (word.size() == name.size() || word[name.size()] == '=');
}

/// True where the line can be parsed without knowing of the option. To be told of options is what the library takes
/// longest for.
bool IsLeftOut(const Option& option, const Words& words) {
  if (option.required || option.IsPositional()) return false;
  const auto mentions = [&](const std::string& word) {
    if (!word.starts_with('-')) return false;
    if (MayBeShortOptions(word)) return true;
    for (std::size_t from = 0; from < option.names.size();) {
      const std::size_t comma = std::min(option.names.find(',', from), option.names.size());
      if (IsCalled(word, std::string_view(option.names).substr(from, comma - from))) return true;
      from = comma + 1;
    }
    return false;
  };
  return std::none_of(words.begin(), words.end(), mentions);
}

bool AsksForHelp(const Words& words) {
  return std::any_of(words.begin(), words.end(), [](const std::string& word) {
    return word == "-h" || IsCalled(word, "--help") || MayBeShortOptions(word);
  });
}

/// The command that was being parsed, and its name in full.
const CommandNode& Deepest(const CLI::App& root, const CommandNode& tool, std::string& path) {
  const CLI::App* app = &root;
  const CommandNode* node = &tool;
  path = tool.name;
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    path += ' ' + app->get_name();
    for (const CommandNode& child : node->below) {
      if (child.name != app->get_name()) continue;
      node = &child;
      break;
    }
  }
  return *node;
}

}  // namespace

/// A command as the library knows it, which learns of options when a line mentions them.
class LineParser::KnownCommand {
 public:
  KnownCommand(CLI::App& app, const CommandNode& node) : app_(app) {
    for (const Option& option : node.options.All()) unknown_.push_back(&option);
    app.footer(node.footer);
    app.get_formatter()->column_width(kHelpColumn);
    if (!node.below.empty()) app.require_subcommand(0, 1);
    for (const CommandNode& child : node.below) {
      CLI::App* sub = app.add_subcommand(child.name, child.about);
      if (child.hidden) sub->group("");
      below_.emplace_back(*sub, child);
    }
  }

  /// `all`: of the options that the words leave out, too.
  void LearnOptions(const Words& words, bool all) {
    std::erase_if(unknown_, [&](const Option* option) {
      if (!all && IsLeftOut(*option, words)) return false;
      Add(app_, *option);
      return true;
    });
    for (KnownCommand& command : below_) command.LearnOptions(words, all);
  }

 private:
  CLI::App& app_;
  std::vector<const Option*> unknown_;  // so far
  std::deque<KnownCommand> below_;
};

struct LineParser::Library {
  explicit Library(const CommandNode& tool) : app(tool.about, tool.name), commands(app, tool) {}
  CLI::App app;
  KnownCommand commands;
};

LineParser::LineParser(const CommandNode& tool) : tool_(tool) {}
LineParser::~LineParser() = default;

ParsedLine LineParser::Parse(const std::vector<std::string>& words) {
  // Help lists options in their order, and nobody knows what a line that is refused leaves behind.
  const bool all = AsksForHelp(words);
  std::unique_ptr<Library> library = library_ && !all ? std::move(library_) : std::make_unique<Library>(tool_);
  library->commands.LearnOptions(words, all);
  CLI::App& app = library->app;
  ParsedLine line;
  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
  } catch (const CLI::Success& request) {
    std::ostringstream answer;
    app.exit(request, answer, answer);
    line.answer = answer.str();
  } catch (const CLI::RequiredError& error) {
    // What is not known often is what is missing, spelled wrong.
    Deepest(app, tool_, line.path);
    std::vector<std::string> unknown = app.remaining(true);
    std::erase_if(unknown, [](const std::string& word) { return !word.starts_with('-'); });
    const std::string what = unknown.empty() ? error.what() : CLI::ExtrasError(unknown).what();
    throw Failure(ExitCode::Usage, what + "; see " + line.path + " --help");
  } catch (const CLI::ParseError& error) {
    Deepest(app, tool_, line.path);
    throw Failure(ExitCode::Usage, std::string(error.what()) + "; see " + line.path + " --help");
  }
  line.command = Deepest(app, tool_, line.path).command;
  if (!all) library_ = std::move(library);
  return line;
}

}  // namespace Xem::Tool
