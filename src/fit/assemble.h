#pragma once

#include <string>
#include <vector>

#include "fit/problem.h"
#include "xem/fit/result.h"

namespace Xem::Fit {

/// Everything in a result that is the same for all families: parameters with uncertainty, measures in all and per
/// curve, fitted values. `curves` are the screened curves, one per test function and in the same order; fitted values
/// come from `evaluate`, called with curve name and abscissa.
Result Assemble(const Problem& problem, const Minimum& minimum, const std::vector<Curve>& curves,
                std::vector<DroppedPoint> dropped, std::function<double(const std::string&, double)> evaluate);

/// Takes hidden parameters out of a result.
void RemoveHidden(const Problem& problem, Result& result);

/// Marks held parameters in `problem` and puts held and starting values into `start`. Throws Error (BadInput) for names
/// that the model does not have; the message lists those that it has.
void ApplyOptions(const Options& options, Problem& problem, std::vector<double>& start);

/// The corrected Akaike criterion, see Measures.
double CorrectedInformation(double objective, int points, int freeParameters);

/// Differences in the criterion up to this one do not tell models apart (Burnham and Anderson 2002).
inline constexpr double kEquallyGood = 2.0;

/// The measures of a curve with measured and fitted values, all but how many points were dropped.
void Measure(CurveResult& curve);

/// A number for messages, six digits.
std::string Text(double value);

}  // namespace Xem::Fit
