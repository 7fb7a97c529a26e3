#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "commands.h"
#include "input/bundled.h"
#include "numbers.h"
#include "output/output.h"
#include "output/text_table.h"
#include "text.h"
#include "verbs/shared_options.h"
#include "xem/fit/json.h"
#include "xem/fit/model.h"

namespace Xem::Tool {
namespace {

using Json = nlohmann::ordered_json;

/// A column with no more different values than these may tell tests from each other.
constexpr std::size_t kMostValues = 50;
constexpr std::size_t kRowsShown = 3;

/// Curves of a sweep have either name for their abscissa.
std::optional<Fit::CurveRoles> SweepRoles(const Fit::Table& table, const std::string& curve,
                                          const std::map<std::string, std::string>& columns) {
  if (curve != "storage" && curve != "loss") return std::nullopt;
  const bool angular =
      columns.count("omega") > 0 || (columns.count("frequency") == 0 && !Fit::HasColumn(table, Roles::kFrequency) &&
                                     Fit::HasColumn(table, Roles::kOmega));
  return Fit::CurveRoles{angular ? Roles::kOmega : Roles::kFrequency,
                         curve == "storage" ? Roles::kStorage : Roles::kLoss};
}

Fit::CurveRoles RolesIn(const Fit::Table& table, const std::string& curve,
                        const std::map<std::string, std::string>& columns) {
  if (auto sweep = SweepRoles(table, curve, columns)) return *sweep;
  Fit::CurveRoles roles = Fit::RolesOf(curve);
  if (curve == "retention" && Fit::HoldsSaturation(table, columns)) roles.y = Roles::kSaturation;
  return roles;
}

/// Every curve that files can hold: those of the catalogue and those beside them.
std::vector<std::string> CurveNames() {
  std::vector<std::string> names;
  const auto add = [&](const std::string& name) {
    if (name != "shift_factors" && std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  };
  for (const Fit::ModelInfo& info : Fit::Models()) {
    for (const Fit::CurveInfo& curve : info.curves) add(curve.name);
  }
  for (const char* beside : {"grading", "flow_curve", "measured_limits"}) add(beside);
  return names;
}

/// File names need not be UTF-8.
std::string AsText(const Json& document) {
  return Fit::IndentJson(document.dump(-1, ' ', false, Json::error_handler_t::replace));
}

Json NumberOrNull(double value) { return std::isfinite(value) ? Json(value) : Json(); }

/// Tells how a file is read, without fitting anything.
class Look : public Command {
 public:
  Look()
      : Command({"",
                 "look",
                 "Tell how files of curves are read: columns, units, what they may be, rows without a point",
                 "xemfit look treloar1944_uniaxial.csv dma_pvb_raw.csv\n"
                 "xemfit look treloar1944_uniaxial.csv --as uniaxial --json -",
                 {}}) {}

  bool ReadsCurves() const override { return true; }

  void Declare(Options& options) override {
    options.Texts("files", files_, "Files of curves; - for standard input", "FILE").Required();
    options.Text("--as", curve_, "Read the points as this curve, such as " + Join(CurveNames(), ", "), "CURVE")
        .Suggest(CurveNames());
    options.Text("--json", json_, "Write what was understood as JSON; - for standard output", "FILE").Writes();
    DeclareInput(options, input_);
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    CheckOutputs({json_, "", "", "", false}, files_);
    Json document = {{"schema", 1}, {"files", Json::array()}};
    std::string text;
    for (const std::string& file : files_) {
      Fit::Table table = Fit::ParseTable(ReadFile(file), Fit::SourceName(file), input_.reading);
      const Json all = FileJson(table);
      Fit::SelectRows(table, input_.selection);
      Json read = all;
      read["curve"] = curve_.empty() ? Json() : CurveJson(table);
      text += (text.empty() ? "" : "\n") + Told(read);
      document["files"].push_back(std::move(read));
    }
    if (json_.empty()) {
      WriteStandardOutput(text);
    } else if (json_ == "-") {
      WriteStandardOutput(AsText(document));
    } else {
      ReplaceFile(json_, AsText(document));
    }
    return ExitCode::Fitted;
  }

 private:
  Json FileJson(const Fit::Table& table) const {
    Json json = {{"file", table.source}, {"rows", table.RowCount()}, {"header_line", table.headerLine}};
    json["remarks"] = table.remarks;
    json["metadata"] = Json::object();
    for (const auto& [key, value] : table.metadata) json["metadata"][key] = value;
    json["columns"] = Json::array();
    for (std::size_t i = 0; i < table.columns.size(); ++i) json["columns"].push_back(ColumnJson(table, i));
    json["may_be"] = Json::array();
    for (const std::string& name : CurveNames()) {
      const Fit::CurveRoles roles = RolesIn(table, name, input_.columns);
      if (!Fit::HasColumn(table, roles.x) || !Fit::HasColumn(table, roles.y)) continue;
      try {
        const Fit::ColumnChoice x = Fit::ChooseColumn(table, roles.x);
        const Fit::ColumnChoice y = Fit::ChooseColumn(table, roles.y);
        json["may_be"].push_back(
            {{"curve", name}, {"x", table.columns[x.index].name}, {"y", table.columns[y.index].name}});
      } catch (const Fit::Error&) {
        // Two columns fit: whoever reads the file as this curve is told.
        json["may_be"].push_back({{"curve", name}, {"x", nullptr}, {"y", nullptr}});
      }
    }
    return json;
  }

  static Json ColumnJson(const Fit::Table& table, std::size_t index) {
    const Fit::Column& column = table.columns[index];
    double lowest = std::numeric_limits<double>::infinity();
    double highest = -lowest;
    int numbers = 0;
    std::set<std::string> values;
    for (std::size_t row = 0; row < table.RowCount(); ++row) {
      if (values.size() <= kMostValues) values.insert(Fit::CellText(table, row, index));
      if (Fit::IsMissing(table, row, index) || !std::isfinite(column.numbers[row])) continue;
      ++numbers;
      lowest = std::min(lowest, column.numbers[row]);
      highest = std::max(highest, column.numbers[row]);
    }
    Json json = {{"name", column.name},
                 {"unit", column.unit},
                 {"numbers", numbers},
                 {"smallest", NumberOrNull(lowest)},
                 {"largest", NumberOrNull(highest)}};
    json["first"] = Json::array();
    for (std::size_t row = 0; row < std::min(kRowsShown, table.RowCount()); ++row) {
      json["first"].push_back(Fit::CellText(table, row, index));
    }
    // Each value stands in several rows: a number or name of a test rather than a measurement.
    json["values"] = Json::array();
    if (values.size() > 1 && values.size() <= kMostValues && 3 * values.size() <= table.RowCount()) {
      for (const std::string& value : values) json["values"].push_back(value);
    }
    return json;
  }

  Json CurveJson(const Fit::Table& table) const {
    const Fit::TableCurve read =
        Fit::CurveFromTable(table, curve_, RolesIn(table, curve_, input_.columns), input_.columns);
    Json json = {{"name", curve_},
                 {"understood", read.input.understood},
                 {"columns", read.input.columns},
                 {"x_unit", read.xUnit},
                 {"y_unit", read.yUnit},
                 {"x", read.curve.x},
                 {"y", read.curve.y},
                 {"lines", read.curve.rows}};
    json["unused"] = Json::array();
    for (const Fit::UnusedRow& row : read.curve.unused) {
      json["unused"].push_back({{"line", row.row}, {"reason", row.reason}});
    }
    json["notes"] = read.notes;
    return json;
  }

  static std::string Told(const Json& file) {
    using Align = TextTable::Align;
    std::string text = fmt::format("{}: {} rows below line {}", Printable(file["file"].get<std::string>()),
                                   file["rows"].get<int>(), file["header_line"].get<int>());
    for (const Json& remark : file["remarks"]) text += "; " + remark.get<std::string>();
    TextTable columns({{"Column", Align::Left}, {"Unit", Align::Left}, {"Numbers"}, {"From"}, {"To"}});
    for (const Json& column : file["columns"]) {
      const auto number = [&](const char* key) {
        return column[key].is_null() ? "-" : Shortly(column[key].get<double>());
      };
      columns.Add({Printable(column["name"].get<std::string>()), Printable(column["unit"].get<std::string>()),
                   std::to_string(column["numbers"].get<int>()), number("smallest"), number("largest")});
    }
    text += "\n\n" + columns.Text();
    std::vector<std::string> curves;
    for (const Json& one : file["may_be"]) curves.push_back(one["curve"]);
    text += curves.empty() ? "\nNo curve is known with these columns; --column names them\n"
                           : "\nMay be: " + Join(curves, ", ") + '\n';
    const Json& curve = file["curve"];
    if (curve.is_null()) return text;
    text += fmt::format("As {}: {}\n", curve["name"].get<std::string>(), curve["understood"].get<std::string>());
    for (const Json& row : curve["unused"]) {
      text += fmt::format("  line {}: {}\n", row["line"].get<int>(), row["reason"].get<std::string>());
    }
    for (const Json& note : curve["notes"]) text += "  " + note.get<std::string>() + '\n';
    return text;
  }

  std::vector<std::string> files_;
  std::string curve_;
  std::string json_;
  InputOptions input_;
};

}  // namespace

std::unique_ptr<Command> MakeLookCommand() { return MakeCommand<Look>(); }

}  // namespace Xem::Tool
