#include "command/manual.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

#include "command/manual_text.h"
#include "text.h"
#include "xem/fit/model.h"
#include "xem/version.h"

namespace Xem::Tool {
namespace {

constexpr const char* kColumns =
    R"(Each role, as --column calls it, and the names by which its column is known, best first, in upper or lower case and with a unit or without:)";

constexpr const char* kExamples =
    R"(The curves come with xemfit: "xemfit data --all" writes them into the current folder.)";

struct ExitLine {
  const char* code;
  const char* meaning;
};
constexpr ExitLine kFitExits[] = {
    {"0", "Fitted."},
    {"1", "Anything else, such as an output that cannot be written."},
    {"2", "Usage: an option, a model name or a count makes no sense."},
    {"3", "Bad data: a file or row is missing, unreadable or unusable."},
    {"4", "The fit did not converge; its result is printed nevertheless."},
    {"5", "With --require-stable: the fitted model has a stability limit; its result is printed."},
};
constexpr ExitLine kBatchExits[] = {
    {"0", "All specimens fitted."},
    {"1", "Anything else, such as an output that cannot be written."},
    {"2", "The recipe or an option is wrong; nothing was fitted."},
    {"3", "Some specimens failed, or there are none; standard error names them. The summary is written."},
    {"130", "Interrupted; the same command goes on."},
};

/// Text in which roff finds no command of its own.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char letter = text[i];
    const auto byte = [&](std::size_t k) { return static_cast<unsigned>(static_cast<unsigned char>(text[k])); };
    // Not every roff reads UTF-8: characters of two and three bytes go by their numbers.
    if (byte(i) >= 0xE0 && i + 2 < text.size()) {
      escaped += fmt::format("\\[u{:04X}]", (byte(i) & 0x0F) << 12 | (byte(i + 1) & 0x3F) << 6 | (byte(i + 2) & 0x3F));
      i += 2;
    } else if (byte(i) >= 0xC0 && i + 1 < text.size()) {
      escaped += fmt::format("\\[u{:04X}]", (byte(i) & 0x1F) << 6 | (byte(i + 1) & 0x3F));
      i += 1;
    } else if (letter == '\\') {
      escaped += "\\e";
    } else if (letter == '-') {
      escaped += "\\-";
    } else {
      escaped += letter;
    }
  }
  return escaped.starts_with('.') || escaped.starts_with('\'') ? "\\&" + escaped : escaped;
}

constexpr std::string_view kHeading = "## ";

std::string InCapitals(std::string_view text) {
  std::string capitals(text);
  for (char& letter : capitals) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  return capitals;
}

std::string Section(const std::string& title) { return ".SH " + title + '\n'; }

/// "polynomial:N  C10, C01" and, below it, the formula, for every model that "{models FAMILY [CURVE]}" asks for.
std::vector<std::string> ModelLines(const std::string& request) {
  constexpr int kIndent = 4;
  const std::vector<std::string> words = Split(request.substr(1, request.size() - 2), ' ');
  const std::string curve = words.size() > 2 ? words[2] : "";
  const std::vector<std::string> names = Fit::ModelNames(words.at(1), curve);
  std::size_t width = 0;
  for (const std::string& name : names) width = std::max(width, name.size());
  std::vector<std::string> lines;
  for (const std::string& name : names) {
    const Fit::ModelInfo& info = *Fit::FindModel(name.substr(0, name.find_first_of("[:")));
    std::vector<std::string> parameters;
    for (const Fit::ParameterInfo& parameter : info.parameters) parameters.push_back(parameter.name);
    const std::string more =
        info.mostTerms > 0 ? fmt::format(", ...  (N from {} to {})", info.fewestTerms, info.mostTerms) : "";
    lines.push_back(fmt::format("{:{}}{:{}}  {}{}", "", kIndent, name, width, Join(parameters, ", "), more));
    lines.push_back(fmt::format("{:{}}{:{}}  {}", "", kIndent, "", width, info.formula));
  }
  return lines;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (const std::string& line : Split(text, '\n')) {
    const auto more = line.starts_with("{models ") ? ModelLines(line) : std::vector<std::string>{line};
    lines.insert(lines.end(), more.begin(), more.end());
  }
  return lines;
}

std::string Paragraphs(const std::string& text) {
  std::string roff;
  bool literal = false;
  for (const std::string& line : Lines(text)) {
    const bool isLiteral = line.starts_with("    ");
    if (isLiteral != std::exchange(literal, isLiteral)) roff += isLiteral ? ".PP\n.RS 4\n.nf\n" : ".fi\n.RE\n";
    if (line.empty()) {
      roff += ".PP\n";
    } else if (line.starts_with(kHeading)) {
      roff += Section(InCapitals(std::string_view(line).substr(kHeading.size())));
    } else {
      roff += Escaped(isLiteral ? std::string_view(line).substr(4) : std::string_view(line)) + '\n';
    }
  }
  return roff + (literal ? ".fi\n.RE\n" : "");
}

std::string Bold(const std::string& text) { return "\\fB" + Escaped(text) + "\\fR"; }
std::string Italic(const std::string& text) { return text.empty() ? "" : " \\fI" + Escaped(text) + "\\fR"; }

std::string Names(const Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.Names()) names.push_back(Bold(name));
  return Join(names, ", ");
}

std::string OptionList(const Options& options) {
  std::string roff;
  for (const Option& option : options.All()) {
    roff += ".TP\n";
    roff += option.IsPositional() ? "\\fI" + Escaped(option.type) + "\\fR" : Names(option) + Italic(option.type);
    roff += '\n' + Escaped(option.help) + (option.required ? " (required)" : "") + ".\n";
  }
  return roff;
}

std::string Synopsis(const Options& options, const std::string& command) {
  std::string roff = Bold(command);
  for (const Option& option : options.All()) {
    if (option.required && !option.IsPositional()) roff += ' ' + Names(option) + Italic(option.type);
  }
  for (const Option& option : options.All()) {
    if (!option.IsPositional()) continue;
    const std::string value = Italic(option.type).substr(1);
    const std::string more = option.TakesSeveral() ? " ..." : "";
    roff += option.required ? ' ' + value + more : " [" + value + more + "]";
  }
  return roff + " [" + Italic("OPTIONS").substr(1) + "]\n";
}

template <std::size_t Count>
std::string ExitStatus(const ExitLine (&lines)[Count]) {
  std::string roff = Section("EXIT STATUS");
  for (const ExitLine& line : lines) roff += fmt::format(".TP\n.B {}\n{}\n", line.code, Escaped(line.meaning));
  return roff;
}

/// What the columns of the input files can be. A stretch is said to be one, because 1 is subtracted.
std::string Columns(const std::vector<Role>& roles) {
  if (roles.empty()) return "";
  std::string roff = Section("COLUMNS") + Escaped(kColumns) + '\n';
  for (const Role& role : roles) {
    std::vector<std::string> names;
    for (const Fit::AcceptedName& accepted : role.accepted) names.emplace_back(accepted.name);
    roff += ".TP\n" + Bold(std::string(role.name)) + '\n' + Escaped(Join(names, ", ")) + '\n';
  }
  return roff;
}

std::string Examples(const std::string& lines) {
  std::string roff = Section("EXAMPLES") + Escaped(kExamples) + "\n.PP\n.nf\n";
  for (const std::string& line : Split(lines, '\n')) roff += Escaped(line) + '\n';
  return roff + ".fi\n";
}

std::string PageName(const std::string& command) {
  std::string name = command;
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

std::string Head(const std::string& command, const std::string& about) {
  return fmt::format(".TH {} 1 \"\" \"xemfit {}\" \"Material parameters from test curves\"\n",
                     Escaped(InCapitals(PageName(command))), XEM_VERSION) +
         Section("NAME") + Escaped(PageName(command)) + " \\- " + Escaped(about) + '\n';
}

std::string Page(const CommandNode& node) {
  const CommandText& text = node.command->Text();
  const std::string command = "xemfit " + text.Path();
  const bool fits = !text.group.empty();
  std::string roff = Head(command, text.about) + Section("SYNOPSIS") + Synopsis(node.options, command) +
                     Section("DESCRIPTION") + Paragraphs(ManualText(PageName(text.Path()))) + Section("OPTIONS") +
                     OptionList(node.options);
  if (node.command->ReadsCurves()) {
    roff += Section("INPUT FILES") + Paragraphs(ManualText("input")) + Columns(text.roles);
  }
  if (fits) roff += Section("OUTPUT") + Paragraphs(ManualText("output")) + ExitStatus(kFitExits);
  if (text.name == "batch") roff += ExitStatus(kBatchExits);
  return roff + Examples(text.examples) + Section("SEE ALSO") + Bold("xemfit") + "(1)\n";
}

std::string MainPage(const CommandNode& tool, const std::vector<const CommandText*>& commands) {
  std::string roff = Head(tool.name, tool.about) + Section("SYNOPSIS") + Bold(tool.name) + Italic("COMMAND") + " [" +
                     Italic("VERB").substr(1) + "] [" + Italic("OPTIONS").substr(1) + "]\n" + Section("DESCRIPTION") +
                     Paragraphs(ManualText("introduction")) + Section("COMMANDS");
  for (const CommandText* text : commands) {
    roff += ".TP\n" + Bold(PageName("xemfit " + text->Path())) + "(1)\n" + Escaped(text->about) + ".\n";
  }
  return roff + Section("INPUT FILES") + Paragraphs(ManualText("input")) + Section("OUTPUT") +
         Paragraphs(ManualText("output")) + ExitStatus(kFitExits) + Section("SEE ALSO") + Bold("gnuplot") +
         "(1), which draws --plot\n";
}

/// The commands at and below a node, in order.
void Collect(const CommandNode& node, std::vector<const CommandNode*>& commands) {
  if (node.hidden) return;
  if (node.command) commands.push_back(&node);
  for (const CommandNode& child : node.below) Collect(child, commands);
}

}  // namespace

std::map<std::string, std::string> ManualPages(const CommandNode& tool) {
  std::map<std::string, std::string> pages;
  std::vector<const CommandNode*> nodes;
  Collect(tool, nodes);
  std::vector<const CommandText*> commands;
  for (const CommandNode* node : nodes) {
    commands.push_back(&node->command->Text());
    pages[PageName("xemfit " + commands.back()->Path()) + ".1"] = Page(*node);
  }
  pages["xemfit.1"] = MainPage(tool, commands);
  return pages;
}

}  // namespace Xem::Tool
