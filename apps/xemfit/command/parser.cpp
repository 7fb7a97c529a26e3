#include "command/parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <sstream>

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

bool IsCalled(const std::string& word, const std::string& name) {
  return word.starts_with(name) && (word.size() == name.size() || word[name.size()] == '=');
}

/// True where the line can be parsed without knowing of the option. To be told of options is what the library takes
/// longest for.
bool IsLeftOut(const Option& option, const Words& words) {
  if (option.required || option.IsPositional()) return false;
  const std::vector<std::string> names = option.Names();
  return std::ranges::none_of(words, [&](const std::string& word) {
    const bool called = std::ranges::any_of(names, [&](const std::string& name) { return IsCalled(word, name); });
    return called || MayBeShortOptions(word);
  });
}

bool AsksForHelp(const Words& words) {
  return std::ranges::any_of(words, [](const std::string& word) {
    return word == "-h" || IsCalled(word, "--help") || MayBeShortOptions(word);
  });
}

/// `all`: with the options that the words leave out.
void Fill(CLI::App& app, const CommandNode& node, const Words& words, bool all) {
  app.footer(node.footer);
  app.get_formatter()->column_width(kHelpColumn);
  for (const Option& option : node.options.All()) {
    if (all || !IsLeftOut(option, words)) Add(app, option);
  }
  if (!node.below.empty()) app.require_subcommand(0, 1);
  for (const CommandNode& child : node.below) {
    CLI::App* sub = app.add_subcommand(child.name, child.about);
    if (child.hidden) sub->group("");
    Fill(*sub, child, words, all);
  }
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

ParsedLine ParseLine(const CommandNode& tool, const std::vector<std::string>& words) {
  ParsedLine line;
  CLI::App app(tool.about, tool.name);
  Fill(app, tool, words, AsksForHelp(words));
  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
  } catch (const CLI::Success& request) {
    std::ostringstream answer;
    app.exit(request, answer, answer);
    line.answer = answer.str();
  } catch (const CLI::RequiredError& error) {
    // What is not known often is what is missing, spelled wrong.
    Deepest(app, tool, line.path);
    std::vector<std::string> unknown = app.remaining(true);
    std::erase_if(unknown, [](const std::string& word) { return !word.starts_with('-'); });
    const std::string what = unknown.empty() ? error.what() : CLI::ExtrasError(unknown).what();
    throw Failure(ExitCode::Usage, what + "; see " + line.path + " --help");
  } catch (const CLI::ParseError& error) {
    Deepest(app, tool, line.path);
    throw Failure(ExitCode::Usage, std::string(error.what()) + "; see " + line.path + " --help");
  }
  line.command = Deepest(app, tool, line.path).command;
  return line;
}

}  // namespace Xem::Tool
