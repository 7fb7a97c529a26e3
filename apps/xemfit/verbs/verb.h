#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "command/command.h"
#include "failure.h"
#include "output/report.h"
#include "verbs/shared_options.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {

/// A curve as read: numbers in the units that its columns name.
struct MeasuredCurve : Fit::TableCurve {
  Fit::Table table;  ///< metadata and further columns
};

/// One `xemfit GROUP NAME`: declares its options, then turns them into a report.
class Verb : public Command {
 public:
  void Declare(Options& options) final;
  bool ReadsCurves() const final { return shares_ != Shares::Output && shares_ != Shares::OutputAndStable; }
  ExitCode Execute(const std::vector<std::string>& arguments) final;
  std::string SourcesOf(std::string_view message) const final;

 protected:
  enum class Shares {
    Output,           ///< --json, --curves, --plot, --report, --quiet
    OutputAndStable,  ///< and --require-stable
    InputOutput,      ///< --column, --select and what Output has
    FitAndStable,     ///< and the options of a fit, and --require-stable
    Fit,              ///< the same without --require-stable
  };
  Verb(CommandText text, Shares shares) : Command(std::move(text)), shares_(shares) {}

  /// Its options before the shared ones.
  virtual void DeclareOwn(Options& options) = 0;
  virtual Report Run() = 0;

  const OutputOptions& Output() const { return output_; }
  /// Files that were read, which no output may replace.
  const std::vector<std::string>& Inputs() const { return inputs_; }

  /// Options of the fit; to be asked for after the curves are read, because weights must name one of them.
  Fit::Options FitOptions() const;

  /// True when --residual was given.
  bool HasResidual() const { return residualGiven_; }

  /// True when --weight was given.
  bool HasWeights() const { return !fit_.weights.empty(); }

  /// Reads the columns of two roles (and a third, where the file has it, into `lateral`) from a file. Throws Fit::Error
  /// with file, line and column.
  MeasuredCurve ReadCurve(const std::string& path, const std::string& curveName, const Role& x, const Role& y,
                          const Role* lateral = nullptr);
  /// The same from a table that was read before.
  MeasuredCurve CurveFrom(Fit::Table table, const std::string& curveName, const Role& x, const Role& y,
                          const Role* lateral = nullptr);
  /// Takes back what reading curves so far has told of them.
  void ForgetCurves();
  /// Columns that the command line names for the roles of a curve.
  Fit::ColumnNames WantedColumns(const Fit::CurveRoles& roles);
  /// A table whose columns the verb chooses itself, after --select or a selection of its own.
  Fit::Table ReadTable(const std::string& path);
  Fit::Table ReadTable(const std::string& path, const std::map<std::string, std::string>& selection);
  /// The contents of any other input.
  std::string ReadText(const std::string& path);

  /// The column that --column names for a role; `axis` is 'x', 'y' or 0.
  std::optional<std::string> WantedColumn(const Role& role, char axis);

 private:
  /// Takes the points of --leave-out from a curve as it was read.
  void LeaveOut(Fit::Curve& curve) const;
  /// Throws Failure (Usage) for a curve that was not read.
  void RequireCurve(const char* option, const std::string& curve) const;
  /// Throws Failure (Usage) for a --column whose role the verb never looked for.
  void RefuseUnusedColumns() const;
  void TellInputs(Fit::Result& result) const;

  Shares shares_;
  InputOptions input_;
  Tool::FitOptions fit_;
  OutputOptions output_;
  bool requireStable_ = false;
  bool residualGiven_ = false;
  std::vector<std::string> inputs_;
  std::vector<std::string> readingNotes_;       // on the files, for readers of the result
  std::vector<Fit::Input> sources_;             // what each curve was read from
  std::map<std::string, std::string> digests_;  // of the inputs, by their names in messages
  std::set<std::string> roles_;                 // that --column can name
};

}  // namespace Xem::Tool
