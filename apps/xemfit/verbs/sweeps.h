#pragma once

#include <string>
#include <vector>

#include "verbs/verb.h"
#include "xem/fit/superposition.h"

namespace Xem::Tool {

/// Curves over time and over frequency as files hold them, in one unit of modulus.
struct Sweeps {
  /// By temperature; where files name none, one with everything.
  std::vector<Fit::Isotherm> isotherms;
  bool hasTemperatures = false;
  Fit::TemperatureUnit unit = Fit::TemperatureUnit::Celsius;
  std::string temperatureUnit;
  std::string timeUnit;  ///< that 1/angular frequency is counted in
  std::string timeAxisUnit;
  std::string frequencyUnit;
  std::string modulusUnit;
  std::vector<std::string> notes;

  bool HasFrequencies() const;
  bool HasTimes() const;
};

/// Verbs that read relaxation curves and sweeps.
class SweepVerb : public Verb {
 protected:
  using Verb::Verb;

  /// True for a table with frequencies.
  bool HoldsFrequencies(const Fit::Table& table);
  /// Temperatures or numbers of sets within a table tell its isotherms; without, `# temperature: 20` may do.
  Sweeps ReadSweeps(const std::vector<Fit::Table>& tables);
};

/// The columns of a law's shift factors and of the master curve, as --curves writes them.
std::string MasterCsv(const std::string& command, const Sweeps& sweeps, const Fit::Superposition& superposition,
                      double reference);

/// "shift" and "reference_temperature" of the JSON document.
void AmendShift(const Fit::Superposition& superposition, double reference, Json& document);

/// One temperature after another before they are shifted, the factors over temperature, and the master curve. Adds to
/// `drawn` what only pictures show.
std::vector<Panel> ShiftPanels(const Sweeps& sweeps, const Fit::Superposition& superposition, double reference,
                               std::vector<Fit::CurveResult>& drawn);

/// Temperature, factor and standard error, one line each.
std::string FactorTable(const Sweeps& sweeps, const Fit::Superposition& superposition);

Axis FrequencyAxis(const Sweeps& sweeps);
Axis TimeAxis(const Sweeps& sweeps);

}  // namespace Xem::Tool
