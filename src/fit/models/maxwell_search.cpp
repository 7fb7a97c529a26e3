#include "fit/models/maxwell_search.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "fit/models/prony_search.h"

namespace Xem::Fit {
namespace {

/// A root-mean-square misfit below this is rounding: no reason to add a term.
constexpr double kRoundingOfSweeps = 1e-9;
/// Up to this number of terms each fit also starts from the one with a term less.
constexpr int kMostTermsInSweepChain = 6;
/// A term must lower the sum of squares by this share. Temperatures that were superposed, and instruments, leave errors
/// that neighbours have in common, which a criterion for independent scatter would have followed to the last wiggle.
constexpr double kWorthATerm = 0.05;
/// Enough to rank numbers of terms.
constexpr int kSweepEvaluations = 80;

/// Long series have valleys with almost level floors: along them the curve no longer changes, and that ends it.
void FollowDown(const Problem& problem, Minimum& minimum) {
  constexpr double kLevel = 1e-5;
  constexpr int kMostRounds = 20;
  for (int round = 0; round < kMostRounds && !minimum.converged; ++round) {
    std::vector<Minimum> further = Descend(problem, {minimum.parameters}, kSweepEvaluations);
    if (further.empty()) return;
    const bool isLevel = further.front().objective >= (1.0 - kLevel) * minimum.objective;
    further.front().iterations += minimum.iterations;
    minimum = std::move(further.front());
    minimum.converged = minimum.converged || isLevel;
  }
}

}  // namespace

MaxwellSearch::MaxwellSearch(std::vector<MaxwellCurve> curves, Residual residual, LogRange range,
                             Instantaneous instantaneous, double modulus)
    : curves_(std::move(curves)),
      residual_(residual),
      range_(range),
      instantaneous_(instantaneous),
      modulus_(modulus),
      fits_(kMostPronyTerms) {
  for (const MaxwellCurve& curve : curves_) points_ += static_cast<int>(curve.x.size());
}

const Spectrum& MaxwellSearch::Dense() {
  if (!dense_) {
    dense_ = DenseMaxwellSpectrum(curves_, residual_, range_, kBeyondMeasured, instantaneous_, modulus_).lines;
  }
  return *dense_;
}

Problem MaxwellSearch::InShares(const std::vector<FreeOrHeld>& series) const {
  const std::size_t terms = series.size() / 2;
  Problem problem;
  for (const MaxwellCurve& curve : curves_) {
    problem.functions.push_back(MakeMaxwellFunction(curve, SharesOf(series)));
    problem.weights.push_back(curve.weight);
  }
  problem.residual = residual_;
  problem.termCount = static_cast<std::int32_t>(terms);
  problem.parameters = series;
  for (std::size_t k = 0; k < 2 * terms; ++k) {
    if (series[k].held) continue;
    const bool coefficient = k < terms;
    problem.parameters[k].lower = coefficient ? 0.0 : std::log(series[k].lower);
    problem.parameters[k].upper = coefficient ? 1.0 : std::log(series[k].upper);
  }
  return problem;
}

MaxwellFit MaxwellSearch::Fit(const std::vector<FreeOrHeld>& series, const std::vector<std::vector<double>>& starts,
                              Depth depth) const {
  const Problem problem = InShares(series);
  const PronyShares shares = SharesOf(series);
  std::vector<std::vector<double>> coordinates;
  for (const auto& start : starts) {
    coordinates.push_back(shares.FromSeries(start));
    coordinates.back().push_back(start.back());
  }
  MaxwellFit fit;
  fit.terms = static_cast<int>(shares.Terms());
  for (Minimum& reached : Descend(problem, coordinates, kSweepEvaluations)) {
    if (reached.objective < fit.minimum.objective) fit.minimum = std::move(reached);
  }
  if (fit.minimum.parameters.empty()) fit.minimum = Minimise(problem, coordinates);
  if (depth == Depth::Minimum) FollowDown(problem, fit.minimum);
  // Of curves computed from a series the misfit is rounding, whose logarithm would prefer whichever rounds best.
  const double floor = points_ * kRoundingOfSweeps * kRoundingOfSweeps;
  const double points = points_;
  fit.information = points * std::log(std::max(fit.minimum.objective, floor) / points) +
                    fit.terms * std::max(2.0 * std::log(points), kWorthATerm * points);
  return fit;
}

std::vector<FreeOrHeld> MaxwellSearch::Series(int terms) const {
  std::vector<FreeOrHeld> series(2 * static_cast<std::size_t>(terms) + 1);
  for (int i = 0; i < terms; ++i) {
    series[i] = {.name = "g" + std::to_string(i + 1), .unit = "", .lower = 0.0, .upper = 1.0};
    series[terms + i] = {.name = "tau" + std::to_string(i + 1),
                         .unit = "",
                         .lower = std::exp(range_.from) / kBeyondMeasured,
                         .upper = std::exp(range_.to) * kBeyondMeasured};
  }
  series.back() = {.name = "E0", .unit = "", .lower = 0.0, .held = instantaneous_ != Instantaneous::Free};
  return series;
}

std::vector<double> MaxwellSearch::AsStart(const ScaledSpectrum& spectrum) const {
  const Spectrum& lines = spectrum.lines;
  double sum = 0.0;
  for (const SpectrumLine& line : lines) sum += line.g;
  std::vector<double> start(2 * lines.size());
  // Empty lines get a little, so that their times can move: of what is left at their place, since a modulus may fall by
  // many decades.
  double left = std::max(1.0 - sum, 1e-6);
  for (std::size_t i = lines.size(); i-- > 0;) {
    start[i] = std::max(lines[i].g, 1e-4 * left);
    left += start[i];
    start[lines.size() + i] = std::exp(lines[i].logTime);
  }
  start.push_back(spectrum.modulus);
  return start;
}

ScaledSpectrum MaxwellSearch::SpectrumAt(const std::vector<double>& logTimes) const {
  return FitMaxwellSpectrum(curves_, residual_, logTimes, instantaneous_, modulus_);
}

std::vector<double> MaxwellSearch::ToSeries(const MaxwellFit& fit, const std::vector<FreeOrHeld>& series) {
  std::vector<double> values = fit.minimum.parameters;
  SharesOf(series).ToSeries(fit.minimum.parameters, values);
  return values;
}

/// In the widest gap between the times where a term helps most, and at the ends.
std::vector<double> MaxwellSearch::WithOneMore(const MaxwellFit& fewer) const {
  const std::vector<double> series = ToSeries(fewer, Series(fewer.terms));
  const auto terms = static_cast<std::size_t>(fewer.terms);
  std::vector<double> times;
  for (std::size_t i = 0; i < terms; ++i) times.push_back(std::log(series[terms + i]));
  std::sort(times.begin(), times.end());
  std::vector<double> borders = times;
  borders.insert(borders.begin(), range_.from);
  borders.push_back(range_.to);
  ScaledSpectrum best;
  best.misfit = std::numeric_limits<double>::infinity();
  for (std::size_t k = 0; k + 1 < borders.size(); ++k) {
    std::vector<double> more = times;
    more.push_back(0.5 * (borders[k] + borders[k + 1]));
    std::sort(more.begin(), more.end());
    ScaledSpectrum candidate = SpectrumAt(more);
    if (candidate.misfit < best.misfit) best = std::move(candidate);
  }
  return AsStart(best);
}

std::vector<std::vector<double>> MaxwellSearch::Starts(int terms) {
  const auto count = static_cast<std::size_t>(terms);
  std::vector<std::vector<double>> starts;
  const auto add = [&](const std::vector<double>& times) {
    if (times.size() == count) starts.push_back(AsStart(SpectrumAt(times)));
  };
  add(LogTimes(SplitTo(MergedTo(Dense(), count), count)));
  add(SpreadTimes(range_, count));
  if (terms > 1 && terms <= kMostTermsInSweepChain) starts.push_back(WithOneMore(With(terms - 1)));
  return starts;
}

const MaxwellFit& MaxwellSearch::With(int terms) {
  auto& fit = fits_[static_cast<std::size_t>(terms) - 1];
  if (!fit) fit = Fit(Series(terms), Starts(terms), Depth::Ranking);
  return *fit;
}

int MaxwellSearch::MostTerms() {
  return std::min(
      {kMostPronyTerms, static_cast<int>(Dense().size()) + kBeyondSpectrum, std::max(1, (points_ - 3) / 2)});
}

int MaxwellSearch::Supported(int terms, std::string& reasons) {
  const auto why = [&](int count) -> std::string {
    std::vector<double> series = ToSeries(With(count), Series(count));
    Spectrum lines;
    for (int i = 0; i < count; ++i) lines.push_back({series[i], std::log(series[count + i])});
    std::sort(lines.begin(), lines.end(),
              [](const SpectrumLine& a, const SpectrumLine& b) { return a.logTime < b.logTime; });
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].g <= kNoCoefficient * lines.front().g) return "a coefficient became 0";
      if (i > 0 && lines[i].logTime - lines[i - 1].logTime < kSameTime) {
        return "two times came together at " + Text(std::exp(lines[i].logTime));
      }
    }
    return {};
  };
  int count = std::min(terms, MostTerms());
  if (count < terms) reasons = "the spectrum has " + std::to_string(Dense().size()) + " lines";
  for (; count > 1; --count) {
    const std::string reason = why(count);
    if (reason.empty()) break;
    reasons += (reasons.empty() ? "" : "; ") + std::to_string(count) + ": " + reason;
  }
  return count;
}

int MaxwellSearch::Best() {
  constexpr int kFirstStep = 4;
  constexpr int kPointsPerTerm = 4;  // with fewer a series follows the scatter of short sweeps
  const int most = std::min(MostTerms(), std::max(1, (points_ - 1) / kPointsPerTerm));
  const auto criterion = [&](int terms) { return With(terms).information; };
  // The criterion has one valley but for the luck of single fits; the spectrum shows about as many lines as it has
  // terms, so the search begins there and goes both ways.
  int best = std::clamp(static_cast<int>(Dense().size()) - kBeyondSpectrum, 1, most);
  for (int step = kFirstStep; step > 0;) {
    const int longer = best + step <= most && criterion(best + step) < criterion(best) ? step : 0;
    const int shorter = longer == 0 && best - step >= 1 && criterion(best - step) < criterion(best) ? -step : 0;
    if (longer + shorter == 0) step /= 2;
    best += longer + shorter;
  }
  // The data don't tell numbers within this apart: the shorter series.
  const double least = criterion(best);
  while (best > 1 && criterion(best - 1) <= least + kEquallyGood) --best;
  std::string reasons;
  return Supported(best, reasons);
}

}  // namespace Xem::Fit
