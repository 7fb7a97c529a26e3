#include "command/manual.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

#include "text.h"

namespace Xem::Tool {
namespace {

constexpr const char* kIntroduction =
    R"(xemfit turns laboratory test curves into the parameters of constitutive models: it reads CSV files, fits, and prints the parameters with standard errors and a clear word when the data are bad. Each command has a page of its own, named below, and explains itself with --help.)";

constexpr const char* kInput =
    R"(A test curve is a CSV file, or - for standard input. Columns are separated by comma, semicolon or tab, and numbers are written with a point. The header row names the columns, and a unit may follow the name: stress_MPa, time_h, shear_strain_percent, Nominal stress (MPa). Names decide what a column is; --column names it otherwise, and --select picks rows:

    strain,stress_MPa
    0.125,0.1344
    0.585,0.4081

Lines that begin with # are comments; a comment "# stress_MPa: 500" tells a property of the specimen. Percent, permille and microstrain become fractions, and curves of one fit in different units are converted to that of the first. A row that cannot be used is never skipped in silence: the message names file, line, column and remedy.)";

constexpr const char* kOutput =
    R"(The table on standard output tells the model and its status, each parameter with standard error and 95 % interval, the measures in all and per curve, dropped points with their rows and reasons, and notes. --json writes the same as JSON, as described by share/xemfit/xemfit.schema.json. Messages go to standard error. The same input gives the same bytes.)";

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
  for (const char letter : text) {
    if (letter == '\\') {
      escaped += "\\e";
    } else if (letter == '-') {
      escaped += "\\-";
    } else {
      escaped += letter;
    }
  }
  return escaped.starts_with('.') || escaped.starts_with('\'') ? "\\&" + escaped : escaped;
}

bool IsHeading(std::string_view line) {
  return line.size() > 3 && std::all_of(line.begin(), line.end(), [](char letter) {
           return letter == ' ' || std::isupper(static_cast<unsigned char>(letter)) != 0;
         });
}

std::string Section(const std::string& title) { return ".SH " + title + '\n'; }

std::string Paragraphs(const std::string& text) {
  std::string roff;
  bool literal = false;
  for (const std::string& line : Split(text, '\n')) {
    const bool isLiteral = line.starts_with("    ");
    if (isLiteral != std::exchange(literal, isLiteral)) roff += isLiteral ? ".PP\n.RS 4\n.nf\n" : ".fi\n.RE\n";
    if (line.empty()) {
      roff += ".PP\n";
    } else if (IsHeading(line)) {
      roff += Section(line);
    } else {
      roff += Escaped(isLiteral ? std::string_view(line).substr(4) : std::string_view(line)) + '\n';
    }
  }
  return roff + (literal ? ".fi\n.RE\n" : "");
}

std::string Bold(const std::string& text) { return "\\fB" + Escaped(text) + "\\fR"; }
std::string Italic(const std::string& text) { return text.empty() ? "" : " \\fI" + Escaped(text) + "\\fR"; }

std::string Names(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back(Bold('-' + name));
  for (const std::string& name : option.get_lnames()) names.push_back(Bold("--" + name));
  return Join(names, ", ");
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::string ValueOf(const CLI::Option& option) { return TakesValue(option) ? option.get_type_name() : ""; }

std::string Options(const CLI::App& app) {
  std::string roff;
  for (const CLI::Option* option : app.get_options()) {
    roff += ".TP\n";
    roff += option->get_positional() ? "\\fI" + Escaped(option->get_type_name()) + "\\fR"
                                     : Names(*option) + Italic(ValueOf(*option));
    roff += '\n' + Escaped(option->get_description()) + (option->get_required() ? " (required)" : "") + ".\n";
  }
  return roff;
}

std::string Synopsis(const CLI::App& app, const std::string& command) {
  std::string roff = Bold(command);
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_required() || option->get_positional()) continue;
    roff += ' ' + Names(*option) + Italic(ValueOf(*option));
  }
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_positional()) continue;
    const std::string value = Italic(option->get_type_name()).substr(1);
    const std::string more = option->get_items_expected_max() > 1 ? " ..." : "";
    roff += option->get_required() ? ' ' + value + more : " [" + value + more + "]";
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
    for (const AcceptedName& accepted : role.accepted) names.emplace_back(accepted.name);
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
  std::string title = PageName(command);
  for (char& letter : title) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  return fmt::format(".TH {} 1 \"\" \"xemfit {}\" \"Material parameters from test curves\"\n", Escaped(title),
                     XEM_VERSION) +
         Section("NAME") + Escaped(PageName(command)) + " \\- " + Escaped(about) + '\n';
}

std::string VerbPage(const CLI::App& app, const Verb& verb, const std::string& command) {
  const VerbText& text = verb.Text();
  std::string roff = Head(command, text.about) + Section("SYNOPSIS") + Synopsis(app, command) + Section("DESCRIPTION") +
                     Paragraphs(text.manual) + Section("OPTIONS") + Options(app);
  if (verb.ReadsCurves()) roff += Section("INPUT FILES") + Paragraphs(kInput) + Columns(text.roles);
  return roff + Section("OUTPUT") + Paragraphs(kOutput) + ExitStatus(kFitExits) + Examples(text.examples) +
         Section("SEE ALSO") + Bold("xemfit") + "(1)\n";
}

std::string CommandPage(const CLI::App& app, const CommandText& text, const std::string& command) {
  return Head(command, text.about) + Section("SYNOPSIS") + Synopsis(app, command) + Section("DESCRIPTION") +
         Paragraphs(text.manual) + Section("OPTIONS") + Options(app) +
         (text.name == "batch" ? ExitStatus(kBatchExits) : "") + Examples(text.examples) + Section("SEE ALSO") +
         Bold("xemfit") + "(1)\n";
}

std::string MainPage(const CommandLine& commandLine, const std::vector<std::pair<std::string, std::string>>& commands) {
  std::string roff = Head("xemfit", commandLine.App().get_description()) + Section("SYNOPSIS") + Bold("xemfit") +
                     Italic("COMMAND") + " [" + Italic("VERB").substr(1) + "] [" + Italic("OPTIONS").substr(1) + "]\n" +
                     Section("DESCRIPTION") + Paragraphs(kIntroduction) + Section("COMMANDS");
  for (const auto& [command, about] : commands) {
    roff += ".TP\n" + Bold(PageName(command)) + "(1)\n" + Escaped(about) + ".\n";
  }
  return roff + Section("INPUT FILES") + Paragraphs(kInput) + Section("OUTPUT") + Paragraphs(kOutput) +
         ExitStatus(kFitExits) + Section("SEE ALSO") + Bold("gnuplot") + "(1), which draws --plot\n";
}

}  // namespace

std::map<std::string, std::string> ManualPages(const CommandLine& commandLine) {
  std::map<std::string, std::string> pages;
  std::vector<std::pair<std::string, std::string>> commands;
  for (const auto& [app, verb] : commandLine.Verbs()) {
    const std::string command = "xemfit " + verb->Text().group + ' ' + verb->Text().name;
    pages[PageName(command) + ".1"] = VerbPage(*app, *verb, command);
    commands.emplace_back(command, verb->Text().about);
  }
  for (const auto& [app, chosen] : commandLine.Commands()) {
    if (chosen->Text().hidden) continue;
    const std::string command = "xemfit " + chosen->Text().name;
    pages[PageName(command) + ".1"] = CommandPage(*app, chosen->Text(), command);
    commands.emplace_back(command, chosen->Text().about);
  }
  pages["xemfit.1"] = MainPage(commandLine, commands);
  return pages;
}

}  // namespace Xem::Tool
