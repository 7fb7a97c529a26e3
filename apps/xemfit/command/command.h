#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "command/options.h"
#include "failure.h"
#include "xem/fit/roles.h"

namespace Xem::Tool {

using Fit::Role;
namespace Roles = Fit::Roles;

struct Report;
using TakeReport = std::function<void(const Report&)>;

/// What `--help`, the man page and the completion of a command say besides its options. The prose of the man page is a
/// file of its own: see ManualText().
struct CommandText {
  std::string group;          ///< "hyper"; empty for a command that stands by itself
  std::string name;           ///< "fit"
  std::string about;          ///< one line
  std::string examples;       ///< command lines, one a line
  std::vector<Role> roles{};  ///< that columns of its input files can have
  bool hidden = false;        ///< known to the build only

  /// "hyper fit"
  std::string Path() const { return group.empty() ? name : group + ' ' + name; }
};

/// One `xemfit GROUP NAME`, or `xemfit NAME` that stands by itself: declares its options, then does what they say.
class Command {
 public:
  virtual ~Command() = default;

  const CommandText& Text() const { return text_; }
  virtual void Declare(Options& options) = 0;
  /// True where the man page tells how files of curves are read.
  virtual bool ReadsCurves() const { return false; }
  /// `arguments` are as typed, the program first. Throws Failure.
  virtual ExitCode Execute(const std::vector<std::string>& arguments) = 0;
  /// Who gets the report in the place of standard output, where there is one.
  void SendReportTo(TakeReport take) { takeReport_ = std::move(take); }
  /// What a message of the fit layer should be told besides: which files the curves named in it came from.
  virtual std::string SourcesOf(std::string_view) const { return ""; }
  /// Forgets what its options were told and what a run has left, so that it can run again.
  virtual void Renew() = 0;

 protected:
  explicit Command(CommandText text) : text_(std::move(text)) {}
  Command(Command&&) = default;
  Command& operator=(Command&&) = default;
  const TakeReport& ReportTaker() const { return takeReport_; }

 private:
  CommandText text_;
  TakeReport takeReport_;
};

using CommandList = std::vector<std::unique_ptr<Command>>;

/// A command that becomes anew in its place, where its options point.
template <class Type>
class Renewable final : public Type {
 public:
  void Renew() override { static_cast<Type&>(*this) = Renewable(); }
};

template <class Type>
std::unique_ptr<Command> MakeCommand() {
  return std::make_unique<Renewable<Type>>();
}

// The tool as a whole, put together in commands.cpp.

/// Every command, in the order of the help; those of a group stand together.
CommandList MakeCommands();
/// One line on a group.
std::string AboutGroup(const std::string& group);

}  // namespace Xem::Tool
