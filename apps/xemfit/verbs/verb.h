#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "command/options.h"
#include "failure.h"
#include "input/columns.h"
#include "input/csv.h"
#include "input/roles.h"
#include "output/report.h"

namespace CLI {
class App;
}

namespace Xem::Tool {

struct VerbText {
  std::string group;          ///< "hyper"
  std::string name;           ///< "fit"
  std::string about;          ///< one line
  std::string examples;       ///< command lines, one a line
  std::string manual;         ///< paragraphs for the man page: the law, its parameters, which data, what to choose when
  std::vector<Role> roles{};  ///< that columns of its input files can have
};

/// A curve as read: numbers in the units that its columns name.
struct MeasuredCurve {
  Fit::Curve curve;
  CsvTable table;  ///< metadata and further columns
  std::string xUnit;
  std::string yUnit;
  std::string_view xName;  ///< names of the roles that the columns go by; empty for columns called otherwise
  std::string_view yName;
};

/// One `xemfit GROUP NAME`: declares its options, then turns them into a report.
class Verb {
 public:
  virtual ~Verb() = default;
  Verb(const Verb&) = delete;
  Verb& operator=(const Verb&) = delete;

  const VerbText& Text() const { return text_; }
  const OutputOptions& Output() const { return output_; }
  bool ReadsCurves() const { return shares_ != Shares::Output; }
  bool RequiresStable() const { return requireStable_; }
  /// Files that were read, which no output may replace.
  const std::vector<std::string>& Inputs() const { return inputs_; }
  /// What a reader of the result should know about the files.
  const std::vector<std::string>& ReadingNotes() const { return readingNotes_; }
  /// Throws Failure (Usage) for a --column whose role the verb never looked for.
  void RefuseUnusedColumns() const;
  /// Which files the curves named in a message came from, as an addition to it; empty when none is named.
  std::string SourcesOf(std::string_view message) const;

  void Attach(CLI::App& app);
  virtual Report Run() = 0;

 protected:
  enum class Shares {
    Output,           ///< --json, --curves, --plot, --report, --quiet
    OutputAndStable,  ///< and --require-stable
    InputOutput,      ///< --column, --select and what Output has
    FitAndStable,     ///< and the options of a fit, and --require-stable
    Fit,              ///< the same without --require-stable
  };
  Verb(VerbText text, Shares shares) : text_(std::move(text)), shares_(shares) {}

  virtual void Declare(CLI::App& app) = 0;

  /// Options of the fit; to be asked for after the curves are read, because weights must name one of them.
  Fit::Options FitOptions() const;

  /// True when --weight was given.
  bool HasWeights() const { return !fit_.weights.empty(); }

  /// Reads the columns of two roles (and a third, where the file has it, into `lateral`) from a file. Throws Failure
  /// with file, line and column.
  MeasuredCurve ReadCurve(const std::string& path, const std::string& curveName, const Role& x, const Role& y,
                          const Role* lateral = nullptr);
  /// The same from a table that was read before.
  MeasuredCurve CurveFrom(CsvTable table, const std::string& curveName, const Role& x, const Role& y,
                          const Role* lateral = nullptr);
  /// A table whose columns the verb chooses itself, after --select or a selection of its own.
  CsvTable ReadTable(const std::string& path);
  CsvTable ReadTable(const std::string& path, const std::map<std::string, std::string>& selection);
  /// The contents of any other input.
  std::string ReadText(const std::string& path);

  /// The column that --column names for a role; `axis` is 'x', 'y' or 0.
  std::optional<std::string> WantedColumn(const Role& role, char axis);

 private:
  VerbText text_;
  Shares shares_;
  InputOptions input_;
  Tool::FitOptions fit_;
  OutputOptions output_;
  bool requireStable_ = false;
  std::vector<std::string> inputs_;
  std::vector<std::string> readingNotes_;
  std::vector<std::pair<std::string, std::string>> sources_;  // curve, file
  std::set<std::string> roles_;                               // that --column can name
};

/// Converts the ordinates of the curves to the unit of the first one that has points and says so in `notes`; returns
/// that unit. Curves that name no unit are taken to be in it. Throws Failure (BadData) when a unit cannot be converted.
std::string UseOneOrdinateUnit(const std::vector<MeasuredCurve*>& curves, std::vector<std::string>& notes);
/// The same for abscissae.
std::string UseOneAbscissaUnit(const std::vector<MeasuredCurve*>& curves, std::vector<std::string>& notes);

using VerbList = std::vector<std::unique_ptr<Verb>>;
/// Every verb, in the order of the help.
VerbList MakeVerbs();
/// One line on a group of verbs.
std::string AboutGroup(const std::string& group);

}  // namespace Xem::Tool
