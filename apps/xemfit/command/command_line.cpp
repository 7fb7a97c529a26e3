#include "command/command_line.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>

#include "failure.h"
#include "text.h"
#include "xem/fit/result.h"

namespace Xem::Tool {
namespace {

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

CommandLine::Ended RunAndExplain(Command& command, const std::vector<std::string>& arguments) {
  try {
    return {command.Execute(arguments), ""};
  } catch (const Failure& failure) {
    return {failure.Code(), failure.what()};
  } catch (const Fit::Error& error) {
    return {CodeOf(error.Kind()), error.what() + command.SourcesOf(error.what())};
  } catch (const std::bad_alloc&) {
    return {ExitCode::Other, "not enough memory"};
  } catch (const std::exception& error) {
    return {ExitCode::Other, error.what()};
  }
}

bool IsNamedBy(const std::vector<std::string>& words, const Command& command) {
  const CommandText& text = command.Text();
  if (text.group.empty()) return !words.empty() && words[0] == text.name;
  return words.size() > 1 && words[0] == text.group && words[1] == text.name;
}

/// The command that the words begin with alone, all of them when there is none.
CommandList CommandsFor(const std::vector<std::string>& words) {
  CommandList commands = MakeCommands();
  const auto named =
      std::find_if(commands.begin(), commands.end(), [&](const auto& command) { return IsNamedBy(words, *command); });
  if (named == commands.end()) return commands;
  CommandList alone;
  alone.push_back(std::move(*named));
  return alone;
}

std::string Examples(const CommandText& text) {
  std::string lines = "Examples:";
  for (const std::string& line : Split(text.examples, '\n')) lines += "\n  " + line;
  return lines;
}

CommandNode& ChildCalled(const std::string& name, std::vector<CommandNode>& nodes) {
  return *std::find_if(nodes.begin(), nodes.end(), [&](const CommandNode& node) { return node.name == name; });
}

}  // namespace

CommandLine::CommandLine() : CommandLine(MakeCommands()) {}

CommandLine::CommandLine(const std::vector<std::string>& words) : CommandLine(CommandsFor(words)) {}

CommandLine::CommandLine(CommandList commands)
    : commands_(std::move(commands)),
      tool_{"xemfit", "Material parameters from test curves",
            Examples(commands_.front()->Text()) +
                "\n\nExit codes: 0 fitted, 1 anything else, 2 usage, 3 bad data, 4 not converged, 5 unstable."},
      parser_(tool_) {
  for (const auto& command : commands_) Add(*command);
}

void CommandLine::Add(Command& command) {
  const CommandText& text = command.Text();
  std::vector<CommandNode>* siblings = &tool_.below;
  if (!text.group.empty()) {
    const auto isGroup = [&](const CommandNode& node) { return node.name == text.group; };
    if (std::none_of(siblings->begin(), siblings->end(), isGroup)) {
      siblings->push_back({text.group, AboutGroup(text.group), "Each command has its own --help."});
    }
    siblings = &ChildCalled(text.group, *siblings).below;
  }
  CommandNode& node = siblings->emplace_back(CommandNode{text.name, text.about, Examples(text), text.hidden});
  node.command = &command;
  command.Declare(node.options);
}

bool CommandLine::IsMadeFor(const std::vector<std::string>& words) const {
  return commands_.size() == 1 && IsNamedBy(words, *commands_.front());
}

ParsedLine CommandLine::ParseAnew(const std::vector<std::string>& words) {
  for (const auto& command : commands_) {
    if (used_) command->Renew();
  }
  used_ = true;
  return parser_.Parse(words);
}

int CommandLine::Run(const std::vector<std::string>& arguments) {
  const Ended ended = Run(arguments, nullptr);
  if (!ended.sentence.empty()) std::fprintf(stderr, "xemfit: %s\n", Printable(ended.sentence).c_str());
  return static_cast<int>(ended.code);
}

CommandLine::Ended CommandLine::Run(const std::vector<std::string>& arguments, const TakeReport& take) {
  try {
    const ParsedLine line = ParseAnew({arguments.begin() + (arguments.empty() ? 0 : 1), arguments.end()});
    if (line.answer) {
      std::fwrite(line.answer->data(), 1, line.answer->size(), stdout);
      return {ExitCode::Fitted, ""};
    }
    if (!line.command) return {ExitCode::Usage, "name a command; see " + line.path + " --help"};
    line.command->SendReportTo(take);
    return RunAndExplain(*line.command, arguments);
  } catch (const Failure& failure) {
    return {failure.Code(), failure.what()};
  }
}

const Options& CommandLine::Parse(const std::vector<std::string>& words) {
  const ParsedLine line = ParseAnew(words);
  if (line.answer) throw Failure(ExitCode::Usage, "--help and --version fit nothing");
  for (const CommandNode& group : tool_.below) {
    for (const CommandNode& node : group.below) {
      if (node.command == line.command && line.command) return node.options;
    }
  }
  throw Failure(ExitCode::Usage,
                "it must begin with a command and its verb, such as " + MakeCommands().front()->Text().Path());
}

}  // namespace Xem::Tool
