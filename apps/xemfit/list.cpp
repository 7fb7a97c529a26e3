#include <nlohmann/json.hpp>
#include <type_traits>
#include <variant>

#include "commands.h"
#include "output/output.h"
#include "output/text_table.h"
#include "xem/fit/json.h"
#include "xem/version.h"

namespace Xem::Tool {
namespace {

using Json = nlohmann::ordered_json;

/// What the option's value is before anyone types one; null where that is for the command to decide.
Json DefaultOf(const Option& option) {
  if (!option.showsDefault) return nullptr;
  return std::visit(
      [](const auto& target) -> Json {
        using Target = std::decay_t<decltype(target)>;
        if constexpr (std::is_pointer_v<Target>) {
          return *target;
        } else {
          return nullptr;
        }
      },
      option.target);
}

Json OptionJson(const Option& option) {
  Json json = {{"name", option.IsPositional() ? option.names : option.Names().back()},
               {"names", option.Names()},
               {"help", option.help},
               {"type", option.type},
               {"words", option.Words()},
               {"required", option.required},
               {"repeatable", option.repeatable || (option.IsPositional() && option.TakesSeveral())},
               {"writes", option.writes},
               {"default", DefaultOf(option)}};
  if (option.Names().size() > 1 && option.Names().front().starts_with("--")) json["name"] = option.Names().front();
  json["range"] = option.bounds ? Json::array({option.bounds->lowest, option.bounds->highest}) : Json();
  json["suggestions"] = option.suggestions;
  return json;
}

/// The commands with their options, for programs that put a face of their own on the tool.
class List : public Command {
 public:
  List()
      : Command({"", "list", "List the commands with their options, for programs",
                 "xemfit list\n"
                 "xemfit list --json -"}) {}

  void Declare(Options& options) override {
    options.Text("--json", json_, "Write commands and options as JSON; - for standard output", "FILE").Writes();
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    const CommandList commands = MakeCommands();
    if (json_.empty()) {
      WriteStandardOutput(Table(commands));
      return ExitCode::Fitted;
    }
    const std::string text = Document(commands);
    if (json_ == "-") {
      WriteStandardOutput(text);
    } else {
      CheckOutputFile(json_);
      ReplaceFile(json_, text);
    }
    return ExitCode::Fitted;
  }

 private:
  static std::string Table(const CommandList& commands) {
    using Align = TextTable::Align;
    TextTable table({{"command", Align::Left}, {"what it does", Align::Left}});
    for (const auto& command : commands) {
      if (!command->Text().hidden) table.Add({command->Text().Path(), command->Text().about});
    }
    return table.Text();
  }

  static std::string Document(const CommandList& commands) {
    Json document = {{"schema", 1}, {"version", XEM_VERSION}, {"commands", Json::array()}};
    for (const auto& command : commands) {
      const CommandText& text = command->Text();
      if (text.hidden) continue;
      Json json = {{"command", text.Path()}, {"about", text.about}, {"reads_curves", command->ReadsCurves()}};
      json["roles"] = Json::array();
      for (const Role& role : text.roles) json["roles"].push_back(role.name);
      json["options"] = Json::array();
      Options options;
      command->Declare(options);
      for (const Option& option : options.All()) {
        if (!std::holds_alternative<Option::Help>(option.target) &&
            !std::holds_alternative<Option::Version>(option.target)) {
          json["options"].push_back(OptionJson(option));
        }
      }
      document["commands"].push_back(std::move(json));
    }
    return Fit::IndentJson(document.dump());
  }

  std::string json_;
};

}  // namespace

std::unique_ptr<Command> MakeListCommand() { return MakeCommand<List>(); }

}  // namespace Xem::Tool
