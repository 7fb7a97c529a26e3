#pragma once

#include <string>
#include <vector>

#include "fit/problem.h"
#include "fit/screening.h"
#include "xem/fit/model.h"
#include "xem/fit/result.h"

namespace Xem::Fit {

/// Everything in a result that is the same for all families: parameters with uncertainty, measures in all and per
/// curve, fitted values. `curves` are the screened curves, one per test function and in the same order.
Result Assemble(const Problem& problem, const Minimum& minimum, const std::vector<Curve>& curves,
                std::vector<DroppedPoint> dropped, const FittedOrdinates& ordinates, double level = 0.95);

/// How many parameters a criterion counts: those that were free. One that ended at a bound of 0 makes the model a
/// smaller one and is not counted, just as if it had been held there; at any other bound it is.
int CountedParameters(const Result& result);

/// True when one scale of error suits all curves of a model: not for stiffness and damping.
bool OneQuantity(const ModelInfo& info, const std::vector<CurveResult>& curves);

/// Takes hidden parameters out of a result.
void RemoveHidden(const Problem& problem, Result& result);

/// Narrows ranges to the bounds given, marks held parameters in `problem` and puts held and starting values into
/// `start`. Throws Error (BadInput) for names that the model does not have, with a list of those that it has, and for
/// bounds that leave nothing or exclude a held or starting value.
void ApplyOptions(const Options& options, Problem& problem, std::vector<double>& start);

/// The corrected Akaike criterion, see Measures.
double CorrectedInformation(double objective, int points, int freeParameters);

/// The status of a fit whose curve has settled while parameters have not.
inline constexpr const char* kNotIdentifiable = "not identifiable";

/// Differences in the criterion up to this one do not tell models apart (Burnham and Anderson 2002).
inline constexpr double kEquallyGood = 2.0;

/// The measures of a curve with measured and fitted values, all but how many points were dropped.
void Measure(CurveResult& curve);

/// A number for messages, six digits.
std::string Text(double value);
/// "0.1 to 2", "from 0.1 on", "up to 2".
std::string Text(const Interval& interval);

}  // namespace Xem::Fit
