#include "xem/fit/card.h"

#include "commands.h"
#include "output/output.h"
#include "xem/fit/json.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

class Card : public Command {
 public:
  Card()
      : Command({"", "card", "Write a stored result as material of a solver",
                 "xemfit hyper fit --model ogden:2 --uniaxial treloar1944_uniaxial.csv --json fit.json --quiet\n"
                 "xemfit card fit.json --for calculix --name RUBBER"}) {}

  void Declare(Options& options) override {
    options.Text("file", file_, "Result, as written by --json; - for standard input", "FILE").Required();
    options.Text("--for", target_, "Program, or text for people", "calculix|ufl|text").Required();
    options.Text("--name", name_, "Name of the material; the model's when it is left out", "NAME");
    options.Text("--out", out_, "Write there instead of standard output", "FILE").Writes();
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    if (!out_.empty()) CheckOutputFile(out_);
    const std::string card =
        Fit::MaterialCard(Fit::FromJson(Fit::ReadInput(file_), Fit::SourceName(file_)), target_, name_);
    if (out_.empty()) {
      WriteStandardOutput(card);
    } else {
      ReplaceFile(out_, card);
    }
    return ExitCode::Fitted;
  }

 private:
  std::string file_;
  std::string target_;
  std::string name_;
  std::string out_;
};

}  // namespace

std::unique_ptr<Command> MakeCardCommand() { return MakeCommand<Card>(); }

}  // namespace Xem::Tool
