#include "command/command_line.h"

#include <exception>
#include <iostream>
#include <new>

#include "failure.h"
#include "output/output.h"
#include "text.h"
#include "xem/fit/result.h"

namespace Xem::Tool {
namespace {

constexpr const char* kVersion = "xemfit " XEM_VERSION;

/// The one place where kinds of errors of the fit layer become exit codes.
ExitCode CodeOf(Fit::ErrorKind kind) {
  switch (kind) {
    case Fit::ErrorKind::BadInput:
      return ExitCode::Usage;
    case Fit::ErrorKind::BadData:
    case Fit::ErrorKind::NotIdentifiable:
      return ExitCode::BadData;
    case Fit::ErrorKind::NotConverged:
      return ExitCode::NotConverged;
  }
  return ExitCode::Other;
}

int Tell(ExitCode code, const std::string& sentence) {
  std::cerr << "xemfit: " << Printable(sentence) << '\n';
  return static_cast<int>(code);
}

int RunVerb(Verb& verb, const std::vector<std::string>& arguments) {
  CheckOutputs(verb.Output(), {});
  Report report = verb.Run();
  auto& notes = report.result.notes;
  notes.insert(notes.begin(), verb.ReadingNotes().begin(), verb.ReadingNotes().end());
  verb.RefuseUnusedColumns();
  CheckOutputs(verb.Output(), verb.Inputs());
  const Fit::Result& result = report.result;
  if (verb.RequiresStable() && !result.stability) {
    throw Failure(ExitCode::Other, "--require-stable: model " + ModelLabel(result) + " has no stability report");
  }
  WriteOutputs({verb.Text().group + ' ' + verb.Text().name, arguments}, report, verb.Output());
  if (report.fitted && !result.converged)
    return Tell(ExitCode::NotConverged,
                "the fit did not converge: " + result.status + "; fewer terms, held values or another test may help");
  if (verb.RequiresStable() && !result.stability->Stable()) {
    return Tell(ExitCode::Unstable, "model " + ModelLabel(result) + " is not stable at all strains");
  }
  return static_cast<int>(ExitCode::Fitted);
}

/// `sourcesOf` adds to the message of a fit which files its curves came from.
template <class Work, class SourcesOf>
int RunAndExplain(Work work, SourcesOf sourcesOf) {
  try {
    return work();
  } catch (const Failure& failure) {
    return Tell(failure.Code(), failure.what());
  } catch (const Fit::Error& error) {
    return Tell(CodeOf(error.Kind()), error.what() + sourcesOf(error.what()));
  } catch (const std::bad_alloc&) {
    return Tell(ExitCode::Other, "not enough memory");
  } catch (const std::exception& error) {
    return Tell(ExitCode::Other, error.what());
  }
}

std::string Examples(const std::string& examples) {
  std::string text = "Examples:";
  for (const std::string& line : Split(examples, '\n')) text += "\n  " + line;
  return text;
}

void Prepare(CLI::App& app, const std::string& footer) {
  app.set_version_flag("--version", kVersion, "Print the version and exit");
  app.footer(footer);
  app.get_formatter()->column_width(36);
}

}  // namespace

CommandLine::CommandLine()
    : app_("Material parameters from test curves", "xemfit"), verbs_(MakeVerbs()), commands_(MakeCommands()) {
  Prepare(app_, Examples(verbs_.front()->Text().examples) +
                    "\n\nExit codes: 0 fitted, 1 anything else, 2 usage, 3 bad data, 4 not converged, 5 unstable.");
  app_.require_subcommand(0, 1);
  for (const auto& verb : verbs_) Add(*verb);
  for (const auto& command : commands_) Add(*command);
}

int CommandLine::Run(int argumentCount, char** arguments) {
  try {
    app_.parse(argumentCount, arguments);
  } catch (const CLI::Success& request) {
    return app_.exit(request);
  } catch (const CLI::ParseError& error) {
    return Tell(ExitCode::Usage, std::string(error.what()) + "; see " + Deepest() + " --help");
  } catch (const Failure& failure) {
    return Tell(failure.Code(), failure.what());
  }
  if (Verb* verb = ParsedVerb()) {
    return RunAndExplain(
        [&] {
          return RunVerb(*verb, {arguments, arguments + argumentCount});
        },
        [verb](const char* message) { return verb->SourcesOf(message); });
  }
  for (const auto& [app, command] : runsCommand_) {
    if (app->parsed()) {
      return RunAndExplain([chosen = command] { return static_cast<int>(chosen->Run()); },
                           [](const char*) { return std::string(); });
    }
  }
  return Tell(ExitCode::Usage, "name a command; see " + Deepest() + " --help");
}

const Verb& CommandLine::Parse(const std::vector<std::string>& arguments) {
  try {
    app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success&) {
    throw Failure(ExitCode::Usage, "--help and --version fit nothing");
  } catch (const CLI::ParseError& error) {
    throw Failure(ExitCode::Usage, std::string(error.what()) + "; see " + Deepest() + " --help");
  }
  if (const Verb* verb = ParsedVerb()) return *verb;
  throw Failure(ExitCode::Usage, "it must begin with a command and its verb, such as " + verbs_.front()->Text().group +
                                     ' ' + verbs_.front()->Text().name);
}

void CommandLine::Add(Verb& verb) {
  CLI::App*& group = groups_[verb.Text().group];
  if (!group) {
    group = app_.add_subcommand(verb.Text().group, AboutGroup(verb.Text().group));
    group->require_subcommand(0, 1);
    Prepare(*group, "Each command has its own --help.");
  }
  CLI::App* app = group->add_subcommand(verb.Text().name, verb.Text().about);
  Prepare(*app, Examples(verb.Text().examples));
  verb.Attach(*app);
  runsVerb_.emplace_back(app, &verb);
}

void CommandLine::Add(Command& command) {
  CLI::App* app = app_.add_subcommand(command.Text().name, command.Text().about);
  if (command.Text().hidden) app->group("");
  Prepare(*app, Examples(command.Text().examples));
  command.Attach(*app);
  runsCommand_.emplace_back(app, &command);
}

Verb* CommandLine::ParsedVerb() const {
  for (const auto& [app, verb] : runsVerb_) {
    if (app->parsed()) return verb;
  }
  return nullptr;
}

/// The command that was being parsed, for a hint.
std::string CommandLine::Deepest() const {
  std::string name = "xemfit";
  const CLI::App* app = &app_;
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    name += ' ' + app->get_name();
  }
  return name;
}

}  // namespace Xem::Tool
