#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

#include "commands.h"
#include "numbers.h"
#include "output/output.h"
#include "output/text_table.h"
#include "text.h"
#include "xem/fit/json.h"
#include "xem/fit/model.h"

namespace Xem::Tool {
namespace {

using Json = nlohmann::ordered_json;

/// "polynomial:N", "yeoh[:N]", "creep:primary|secondary|both"
std::string Spelled(const Fit::ModelInfo& info) {
  if (!info.variants.empty()) return info.name + ':' + Join(info.variants, "|");
  if (info.mostTerms == 0) return info.name;
  return info.name + (info.usualTerms > 0 ? "[:N]" : ":N");
}

std::string ParameterNames(const Fit::ModelInfo& info) {
  std::vector<std::string> names;
  for (const Fit::ParameterInfo& parameter : info.parameters) names.push_back(parameter.name);
  return Join(names, ", ") + (info.mostTerms > 0 ? ", ..." : "");
}

std::string Range(const Fit::ParameterInfo& parameter) {
  const bool below = std::isfinite(parameter.lower);
  const bool above = std::isfinite(parameter.upper);
  if (!below && !above) return "any";
  if (!above) return "from " + Shortly(parameter.lower);
  if (!below) return "up to " + Shortly(parameter.upper);
  return Shortly(parameter.lower) + " to " + Shortly(parameter.upper);
}

std::string List(const std::vector<Fit::ModelInfo>& models) {
  using Align = TextTable::Align;
  TextTable table(
      {{"model", Align::Left}, {"family", Align::Left}, {"parameters", Align::Left}, {"source", Align::Left}});
  for (const Fit::ModelInfo& info : models) table.Add({Spelled(info), info.family, ParameterNames(info), info.source});
  return table.Text();
}

std::string Described(const Fit::ModelInfo& info) {
  using Align = TextTable::Align;
  std::string text = fmt::format("{}: {} ({})\n\n    {}\n\n", Spelled(info), info.title, info.source, info.formula);
  if (!info.conductivity.empty()) text += fmt::format("Conductivity (Mualem 1976): K/Ks = {}\n\n", info.conductivity);
  if (info.mostTerms > 0)
    text +=
        fmt::format("{} to {} terms; parameters of the shortest usual series:\n\n", info.fewestTerms, info.mostTerms);
  if (!info.parameters.empty()) {
    TextTable table(
        {{"parameter", Align::Left}, {"unit", Align::Left}, {"range", Align::Left}, {"meaning", Align::Left}});
    for (const Fit::ParameterInfo& one : info.parameters) table.Add({one.name, one.unit, Range(one), one.meaning});
    text += table.Text();
  }
  if (!info.curves.empty()) {
    TextTable table(
        {{"curve", Align::Left}, {"abscissa", Align::Left}, {"ordinate", Align::Left}, {"besides", Align::Left}});
    for (const Fit::CurveInfo& one : info.curves) table.Add({one.name, one.x, one.y, one.companion});
    text += '\n' + table.Text();
  }
  if (!info.plainExport.empty()) text += "\nExported function: " + info.plainExport + '\n';
  return text;
}

Json ModelJson(const Fit::ModelInfo& info) {
  Json json = {{"name", info.name}, {"title", info.title}, {"family", info.family}};
  json["terms"] = {{"fewest", info.fewestTerms}, {"most", info.mostTerms}, {"usual", info.usualTerms}};
  json["variants"] = info.variants;
  json["curves"] = Json::array();
  for (const Fit::CurveInfo& one : info.curves) {
    json["curves"].push_back({{"name", one.name},
                              {"x", one.x},
                              {"x_unit", one.xUnit},
                              {"y", one.y},
                              {"y_unit", one.yUnit},
                              {"companion", one.companion},
                              {"logarithmic", one.logarithmic}});
  }
  json["parameters"] = Json::array();
  for (const Fit::ParameterInfo& one : info.parameters) {
    json["parameters"].push_back({{"name", one.name},
                                  {"unit", one.unit},
                                  {"range", Json::array({one.lower, one.upper})},
                                  {"meaning", one.meaning}});
  }
  json["formula"] = info.formula;
  json["conductivity"] = info.conductivity;
  json["source"] = info.source;
  json["export"] = info.plainExport;
  json["page"] = info.page;
  return json;
}

class ModelCatalogue : public Command {
 public:
  ModelCatalogue()
      : Command({"", "models", "List the models with their parameters, ranges, formulas and sources",
                 "xemfit models\n"
                 "xemfit models ogden van-genuchten\n"
                 "xemfit models ogden:3\n"
                 "xemfit models --family rubber --json -"}) {}

  void Declare(Options& options) override {
    std::vector<std::string> names;
    for (const Fit::ModelInfo& info : Fit::Models()) names.push_back(info.name);
    options.Texts("name", names_, "Models to describe; none: list them all", "NAME").Suggest(names);
    options.Text("--family", family_, "Only the models of one family: " + Join(Fit::ModelFamilies(), ", "), "FAMILY")
        .Suggest(Fit::ModelFamilies());
    options.Text("--json", json_, "Write the catalogue as JSON; - for standard output", "FILE").Writes();
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    const auto chosen = Chosen();
    if (!json_.empty() && json_ != "-") CheckOutputFile(json_);
    if (!json_.empty()) {
      Json document = {{"schema", 1}, {"models", Json::array()}};
      for (const Fit::ModelInfo& info : chosen) document["models"].push_back(ModelJson(info));
      const std::string text = Fit::IndentJson(document.dump());
      if (json_ != "-") {
        ReplaceFile(json_, text);
      } else {
        WriteStandardOutput(text);
      }
      return ExitCode::Fitted;
    }
    if (names_.empty()) {
      WriteStandardOutput(List(chosen));
      return ExitCode::Fitted;
    }
    std::string text;
    for (const Fit::ModelInfo& info : chosen) text += (text.empty() ? "" : "\n") + Described(info);
    WriteStandardOutput(text);
    return ExitCode::Fitted;
  }

 private:
  /// A model of so many terms has the parameters of these.
  std::vector<Fit::ModelInfo> Chosen() const {
    const auto& families = Fit::ModelFamilies();
    if (!family_.empty() && std::find(families.begin(), families.end(), family_) == families.end()) {
      throw Failure(ExitCode::Usage,
                    fmt::format("--family: {} is not one of {}", Quoted(family_), Join(families, ", ")));
    }
    std::vector<Fit::ModelInfo> chosen;
    for (const std::string& name : names_) {
      const Fit::ModelInfo* info = Fit::FindModel(name.substr(0, name.find(':')));
      if (info == nullptr) {
        throw Failure(ExitCode::Usage, fmt::format("there is no model {}; xemfit models lists them", Quoted(name)));
      }
      chosen.push_back(*info);
      if (name.find(':') == std::string::npos) continue;
      const std::vector<Fit::ModelChoice> choices = Fit::ChooseModels(name, info->family);
      chosen.back().parameters = Fit::ModelParameters(info->name, choices.back().terms);
    }
    for (const Fit::ModelInfo& info : Fit::Models()) {
      if (names_.empty() && (family_.empty() || info.family == family_)) chosen.push_back(info);
    }
    return chosen;
  }

  std::vector<std::string> names_;
  std::string family_;
  std::string json_;
};

}  // namespace

std::unique_ptr<Command> MakeModelsCommand() { return MakeCommand<ModelCatalogue>(); }

}  // namespace Xem::Tool
