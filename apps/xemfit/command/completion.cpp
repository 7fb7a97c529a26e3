#include "command/completion.h"

#include <fmt/format.h>

#include <vector>

#include "text.h"

namespace Xem::Tool {
namespace {

std::vector<const CommandNode*> Visible(const CommandNode& node) {
  std::vector<const CommandNode*> visible;
  for (const CommandNode& child : node.below) {
    if (!child.hidden) visible.push_back(&child);
  }
  return visible;
}

/// What the value must be or may be.
std::vector<std::string> Offered(const Option& option) {
  const auto words = option.Words();
  return words.empty() ? option.suggestions : words;
}

std::string BashCase(const CommandNode& node, const std::string& path) {
  std::string words;
  for (const CommandNode* sub : Visible(node)) words += sub->name + ' ';
  for (const Option& option : node.options.All()) {
    if (option.IsPositional()) words += option.suggestions.empty() ? "" : Join(option.suggestions, " ") + ' ';
  }
  std::string values;
  for (const Option& option : node.options.All()) {
    for (const std::string& name : option.Names()) words += name + ' ';
    const auto fixed = Offered(option);
    if (fixed.empty() || option.IsPositional()) continue;
    values += fmt::format("        {}) values=\"{}\" ;;\n", Join(option.Names(), "|"), Join(fixed, " "));
  }
  return fmt::format("    \"{}\")\n      words=\"{}\"\n      case \"$previous\" in\n{}        *) ;;\n      esac ;;\n",
                     path, words, values);
}

void AddBashCases(const CommandNode& node, const std::string& path, std::string& cases) {
  cases += BashCase(node, path);
  for (const CommandNode* sub : Visible(node))
    AddBashCases(*sub, path.empty() ? sub->name : path + ' ' + sub->name, cases);
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

std::string ZshValue(const Option& option) {
  if (!option.TakesValue()) return "";
  const auto fixed = Offered(option);
  const std::string action = !fixed.empty()            ? '(' + Join(fixed, " ") + ')'
                             : option.type == "FOLDER" ? "_files -/"
                                                       : "_files";
  return ':' + ZshText(option.type) + ':' + action;
}

std::string ZshFunctionName(const std::string& path) {
  std::string name = "_xemfit";
  for (const std::string& part : Split(path, ' ')) name += part.empty() ? "" : '_' + part;
  return name;
}

std::string ZshLeaf(const CommandNode& node, const std::string& path) {
  std::string text = ZshFunctionName(path) + "() {\n  _arguments \\\n";
  std::string words = "*:file:_files";
  for (const Option& option : node.options.All()) {
    if (option.IsPositional() && !option.suggestions.empty()) words = "*:name:(" + Join(option.suggestions, " ") + ')';
    for (const std::string& name : option.Names()) {
      text += fmt::format("    '*{}[{}]{}' \\\n", name, ZshText(option.help), ZshValue(option));
    }
  }
  return text + "    '" + words + "'\n}\n\n";
}

void AddZshFunctions(const CommandNode& node, const std::string& path, std::string& functions) {
  const auto subs = Visible(node);
  if (subs.empty()) {
    functions += ZshLeaf(node, path);
    return;
  }
  std::string descriptions;
  std::string calls;
  for (const CommandNode* sub : subs) {
    const std::string own = path.empty() ? sub->name : path + ' ' + sub->name;
    descriptions += fmt::format("      '{}:{}'\n", sub->name, ZshText(sub->about));
    calls += fmt::format("        {}) {} ;;\n", sub->name, ZshFunctionName(own));
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

std::string BashCompletion(const CommandNode& tool) {
  std::string cases;
  AddBashCases(tool, "", cases);
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
    models*) path=models ;;
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

std::string ZshCompletion(const CommandNode& tool) {
  std::string functions;
  AddZshFunctions(tool, "", functions);
  return "#compdef xemfit\n# Completion of xemfit for zsh.\n\n" + functions + "_xemfit \"$@\"\n";
}

}  // namespace Xem::Tool
