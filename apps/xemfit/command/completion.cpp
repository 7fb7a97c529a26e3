#include "command/completion.h"

#include <fmt/format.h>

#include <vector>

#include "text.h"

namespace Xem::Tool {
namespace {

std::vector<const CLI::App*> Visible(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
}

/// absolute|relative as two words; nothing for a value that is free.
std::vector<std::string> FixedValues(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  return type.find('|') == std::string::npos ? std::vector<std::string>() : Split(type, '|');
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::vector<std::string> Names(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back('-' + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::string BashCase(const CLI::App& app, const std::string& path) {
  std::string words;
  for (const CLI::App* sub : Visible(app)) words += sub->get_name() + ' ';
  std::string values;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : Names(*option)) words += name + ' ';
    const auto fixed = FixedValues(*option);
    if (fixed.empty()) continue;
    values += fmt::format("        {}) values=\"{}\" ;;\n", Join(Names(*option), "|"), Join(fixed, " "));
  }
  return fmt::format("    \"{}\")\n      words=\"{}\"\n      case \"$previous\" in\n{}        *) ;;\n      esac ;;\n",
                     path, words, values);
}

void AddBashCases(const CLI::App& app, const std::string& path, std::string& cases) {
  cases += BashCase(app, path);
  for (const CLI::App* sub : Visible(app))
    AddBashCases(*sub, path.empty() ? sub->get_name() : path + ' ' + sub->get_name(), cases);
}

/// Text inside single quotes and a bracket of an _arguments description.
std::string ZshText(const std::string& text) {
  std::string quoted;
  for (const char letter : text) {
    if (letter == '\'') {
      quoted += "'\\''";
    } else if (letter == '[' || letter == ']' || letter == ':') {
      quoted += std::string("\\") + letter;
    } else {
      quoted += letter;
    }
  }
  return quoted;
}

std::string ZshValue(const CLI::Option& option) {
  if (!TakesValue(option)) return "";
  const auto fixed = FixedValues(option);
  const std::string type = option.get_type_name();
  const std::string action = !fixed.empty() ? '(' + Join(fixed, " ") + ')' : type == "FOLDER" ? "_files -/" : "_files";
  return ':' + ZshText(type) + ':' + action;
}

std::string ZshFunctionName(const std::string& path) {
  std::string name = "_xemfit";
  for (const std::string& part : Split(path, ' ')) name += part.empty() ? "" : '_' + part;
  return name;
}

std::string ZshLeaf(const CLI::App& app, const std::string& path) {
  std::string text = ZshFunctionName(path) + "() {\n  _arguments \\\n";
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : Names(*option)) {
      text += fmt::format("    '*{}[{}]{}' \\\n", name, ZshText(option->get_description()), ZshValue(*option));
    }
  }
  return text + "    '*:file:_files'\n}\n\n";
}

void AddZshFunctions(const CLI::App& app, const std::string& path, std::string& functions) {
  const auto subs = Visible(app);
  if (subs.empty()) {
    functions += ZshLeaf(app, path);
    return;
  }
  std::string descriptions;
  std::string calls;
  for (const CLI::App* sub : subs) {
    const std::string own = path.empty() ? sub->get_name() : path + ' ' + sub->get_name();
    descriptions += fmt::format("      '{}:{}'\n", sub->get_name(), ZshText(sub->get_description()));
    calls += fmt::format("        {}) {} ;;\n", sub->get_name(), ZshFunctionName(own));
    AddZshFunctions(*sub, own, functions);
  }
  functions += fmt::format(
      "{}() {{\n  local context state line\n  typeset -A opt_args\n"
      "  _arguments -C '(- *)--help[Print help]' '(- *)--version[Print the version]' '1: :->command' '*:: :->rest'\n"
      "  case $state in\n    command)\n      local -a commands\n      commands=(\n{}      )\n"
      "      _describe command commands ;;\n    rest)\n      case $line[1] in\n{}      esac ;;\n  esac\n}}\n\n",
      ZshFunctionName(path), descriptions, calls);
}

}  // namespace

std::string BashCompletion(const CommandLine& commandLine) {
  std::string cases;
  AddBashCases(commandLine.App(), "", cases);
  return R"(# Completion of xemfit for bash.
_xemfit() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} path= words= values= i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case "${COMP_WORDS[i]}" in
      -*) break ;;
      *) ((i <= 2)) && path="${path:+$path }${COMP_WORDS[i]}" ;;
    esac
  done
  case "$path" in
    batch*) path=batch ;;
    data*) path=data ;;
  esac
  case "$path" in
)" + cases +
         R"(  esac
  COMPREPLY=()
  if [[ -n $values ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
  elif [[ $current == -* || $words != -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  fi
}
complete -o default -F _xemfit xemfit
)";
}

std::string ZshCompletion(const CommandLine& commandLine) {
  std::string functions;
  AddZshFunctions(commandLine.App(), "", functions);
  return "#compdef xemfit\n# Completion of xemfit for zsh.\n\n" + functions + "_xemfit \"$@\"\n";
}

}  // namespace Xem::Tool
