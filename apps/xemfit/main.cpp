#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "failure.h"
#include "output.h"
#include "text.h"
#include "verb.h"
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
  const Report report = verb.Run();
  verb.RefuseUnusedColumns();
  CheckOutputs(verb.Output(), verb.Inputs());
  const Fit::Result& result = report.result;
  if (verb.RequiresStable() && !result.stability) {
    throw Failure(ExitCode::Other, "--require-stable: model " + ModelLabel(result) + " has no stability report");
  }
  WriteOutputs({verb.Text().group + ' ' + verb.Text().name, arguments}, report, verb.Output());
  if (report.fitted && !result.converged)
    return Tell(ExitCode::NotConverged, "the fit did not converge: " + result.status);
  if (verb.RequiresStable() && !result.stability->Stable()) {
    return Tell(ExitCode::Unstable, "model " + ModelLabel(result) + " is not stable at all strains");
  }
  return static_cast<int>(ExitCode::Fitted);
}

int RunAndExplain(Verb& verb, const std::vector<std::string>& arguments) {
  try {
    return RunVerb(verb, arguments);
  } catch (const Failure& failure) {
    return Tell(failure.Code(), failure.what());
  } catch (const Fit::Error& error) {
    return Tell(CodeOf(error.Kind()), error.what() + verb.SourcesOf(error.what()));
  } catch (const std::bad_alloc&) {
    return Tell(ExitCode::Other, "not enough memory");
  } catch (const std::exception& error) {
    return Tell(ExitCode::Other, error.what());
  }
}

/// The command line: one subcommand per group, one below it per verb.
class CommandLine {
 public:
  CommandLine() : app_("Material parameters from test curves", "xemfit"), verbs_(MakeVerbs()) {
    Prepare(app_, Examples(*verbs_.front()) +
                      "\n\nExit codes: 0 fitted, 1 anything else, 2 usage, 3 bad data, 4 not converged, 5 unstable.");
    app_.require_subcommand(0, 1);
    for (const auto& verb : verbs_) Add(*verb);
  }

  int Run(int argumentCount, char** arguments) {
    try {
      app_.parse(argumentCount, arguments);
    } catch (const CLI::Success& request) {
      return app_.exit(request);
    } catch (const CLI::ParseError& error) {
      return Tell(ExitCode::Usage, std::string(error.what()) + "; see " + Deepest() + " --help");
    } catch (const Failure& failure) {
      return Tell(failure.Code(), failure.what());
    }
    for (const auto& [app, verb] : commands_) {
      if (app->parsed()) return RunAndExplain(*verb, {arguments, arguments + argumentCount});
    }
    return Tell(ExitCode::Usage, "name a command; see " + Deepest() + " --help");
  }

 private:
  static std::string Examples(const Verb& verb) {
    std::string text = "Examples:";
    for (const std::string& line : Split(verb.Text().examples, '\n')) text += "\n  " + line;
    return text;
  }

  static void Prepare(CLI::App& app, const std::string& footer) {
    app.set_version_flag("--version", kVersion, "Print the version and exit");
    app.footer(footer);
    app.get_formatter()->column_width(36);
  }

  void Add(Verb& verb) {
    CLI::App*& group = groups_[verb.Text().group];
    if (!group) {
      group = app_.add_subcommand(verb.Text().group, AboutGroup(verb.Text().group));
      group->require_subcommand(0, 1);
      Prepare(*group, "Each command has its own --help.");
    }
    CLI::App* app = group->add_subcommand(verb.Text().name, verb.Text().about);
    Prepare(*app, Examples(verb));
    verb.Attach(*app);
    commands_.emplace_back(app, &verb);
  }

  /// The command that was being parsed, for a hint.
  std::string Deepest() const {
    std::string name = "xemfit";
    const CLI::App* app = &app_;
    while (!app->get_subcommands().empty()) {
      app = app->get_subcommands().front();
      name += ' ' + app->get_name();
    }
    return name;
  }

  CLI::App app_;
  VerbList verbs_;
  std::map<std::string, CLI::App*> groups_;
  std::vector<std::pair<CLI::App*, Verb*>> commands_;
};

}  // namespace
}  // namespace Xem::Tool

int main(int argumentCount, char** arguments) {
  // A closed pipe is seen as an error of the write, not as the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return Xem::Tool::CommandLine().Run(argumentCount, arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "xemfit: %s\n", error.what());
    return 1;
  }
}
