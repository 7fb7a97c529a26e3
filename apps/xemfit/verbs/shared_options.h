#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "command/options.h"
#include "output/output_options.h"
#include "xem/fit/reading.h"

/// Options that verbs share. A verb says which groups it understands.
namespace Xem::Tool {

struct InputOptions {
  std::map<std::string, std::string> columns;    ///< role, x or y -> column name
  std::map<std::string, std::string> selection;  ///< column -> value
  Fit::ReadOptions reading;
};

struct FitOptions {
  Fit::Options fit;
  std::map<std::string, double> weights;  ///< by curve
  // As typed.
  std::map<std::string, std::string> bounds;  ///< by parameter
  std::vector<std::string> ranges;
  std::vector<std::string> leftOut;
  std::string bootstrap;
};

/// The options of a fit with what was typed as text. Throws Failure (Usage).
Fit::Options ReadFitOptions(const FitOptions& options);

/// Lines of --leave-out by curve; the empty name stands for every curve. Throws Failure (Usage).
std::map<std::string, std::set<int>> LinesLeftOut(const FitOptions& options);

void DeclareInput(Options& options, InputOptions& input);
void DeclareFit(Options& options, FitOptions& fit);
void DeclareStable(Options& options, bool& requireStable);
void DeclareOutput(Options& options, OutputOptions& output);

}  // namespace Xem::Tool
