#include "viscoelastic/prony.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numbers>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

#include "fit/models/models.h"
#include "fit/models/prony_joint.h"
#include "fit/models/prony_search.h"
#include "fit/screening.h"
#include "fit/uncertainty.h"
#include "viscoelastic/relaxation.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// A root-mean-square misfit below this is rounding: no reason to add a term.
constexpr double kRounding = 1e-11;

/// Up to this number of terms each fit also starts from the one with a term less.
constexpr int kMostTermsInChain = 12;

/// Scatter of a curve that has relaxed completely may take it this far below zero.
constexpr double kNoiseAroundZero = 0.05;

/// Enough for every series that the data support; a series with too many terms could creep on for ever.
constexpr Effort kRanking{.evaluations = 300, .iterations = 60};

/// A misfit below this part of the curve, of their sums of squares, is no scatter of a measurement: such curves were
/// computed, and have narrow valleys that are worth any number of steps.
constexpr double kNoScatter = 1e-9;
constexpr Effort kRankingWithoutScatter{.evaluations = 300};

/// From where a search of the same curve, or of a thinned one, has arrived.
constexpr Effort kPolish{.iterations = 0};

/// A fitted series: coordinates of PronyShares, and the modulus where it is free.
struct SeriesFit {
  int terms = 0;
  Minimum minimum;
  double information = 0.0;  ///< corrected Akaike criterion
};

/// How the instantaneous modulus takes part: ratios have none, and a held one turns moduli into ratios.
enum class Modulus { None, Free };

/// Everything about one curve that fits with different numbers of terms share. Parameters are g_1 ... g_n, tau_1 ...
/// tau_n, and with a free modulus E0 after them.
class PronyFitter {
 public:
  PronyFitter(const Curve& curve, Residual residual, LogRange range, Modulus modulus)
      : curve_(curve), points_(CorePoints(curve)), residual_(residual), range_(range), modulus_(modulus) {}

  Problem MakeProblem(const std::vector<FreeOrHeld>& series) const {
    const std::size_t terms = series.size() / 2;
    Problem problem;
    problem.functions.push_back(boost::make_shared<PronyInShares>(SharesOf(series), points_));
    problem.weights.push_back(curve_.weight);
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

  /// The best minimum from starts g_1 ... g_n, tau_1 ... tau_n.
  SeriesFit Fit(const std::vector<FreeOrHeld>& series, const std::vector<std::vector<double>>& starts,
                const Effort& effort = {}) const {
    const Problem problem = MakeProblem(series);
    const PronyShares shares = SharesOf(series);
    std::vector<std::vector<double>> coordinates;
    for (const auto& start : starts) {
      coordinates.push_back(shares.FromSeries(start));
      if (Raw()) coordinates.back().push_back(start.back());
    }
    SeriesFit fit;
    fit.terms = static_cast<int>(shares.Terms());
    fit.minimum = Minimise(problem, coordinates, effort);
    fit.information = Information(fit.minimum.objective, problem.FreeCount());
    return fit;
  }

  /// Of curves computed from a series the misfit is rounding, whose logarithm would prefer whichever rounds best.
  double Information(double objective, int freeParameters) const {
    const auto points = static_cast<double>(points_.size());
    const double floor = points * (kRounding * curve_.weight) * (kRounding * curve_.weight);
    return CorrectedInformation(std::max(objective, floor), static_cast<int>(points_.size()), freeParameters);
  }

  const Curve& Points() const { return curve_; }
  /// What a misfit is compared with.
  double SumOfSquares() const {
    double sum = 0.0;
    for (const double y : curve_.y) sum += residual_ == Residual::Relative ? 1.0 : y * y;
    return curve_.weight * curve_.weight * sum;
  }
  const LogRange& Range() const { return range_; }
  Residual Kind() const { return residual_; }
  bool Raw() const { return modulus_ == Modulus::Free; }

  /// The best coefficients, and modulus, for given times.
  ScaledSpectrum LinesAt(const std::vector<double>& logTimes) const {
    return FitSpectrum(curve_, residual_, logTimes, Raw());
  }

 private:
  const Curve& curve_;
  std::vector<_T_FUNT_BASE> points_;
  Residual residual_;
  LogRange range_;
  Modulus modulus_;
};

/// Coefficients, times within and a little beyond the measured ones, and of raw moduli the instantaneous one.
std::vector<FreeOrHeld> SeriesParameters(int terms, const LogRange& range, bool raw, const std::string& timeUnit = "",
                                         const std::string& modulusUnit = "") {
  std::vector<FreeOrHeld> parameters(2 * static_cast<std::size_t>(terms));
  for (int i = 0; i < terms; ++i) {
    FreeOrHeld& coefficient = parameters[i];
    coefficient.name = "g" + std::to_string(i + 1);
    coefficient.lower = 0.0;
    coefficient.upper = 1.0;
    FreeOrHeld& time = parameters[terms + i];
    time.name = "tau" + std::to_string(i + 1);
    time.unit = timeUnit;
    time.lower = std::exp(range.from) / kBeyondMeasured;
    time.upper = std::exp(range.to) * kBeyondMeasured;
  }
  if (raw) parameters.push_back({.name = kModulusName, .unit = modulusUnit, .lower = 0.0});
  return parameters;
}

std::vector<double> ToSeries(const SeriesFit& fit) {
  std::vector<double> series = fit.minimum.parameters;  // a modulus stays as it is
  PronyShares(std::vector<PronyShares::Coefficient>(static_cast<std::size_t>(fit.terms)))
      .ToSeries(fit.minimum.parameters, series);
  return series;
}

Spectrum ToSpectrum(const std::vector<double>& series) {
  const std::size_t terms = series.size() / 2;
  Spectrum spectrum;
  for (std::size_t i = 0; i < terms; ++i) spectrum.push_back({series[i], std::log(series[terms + i])});
  std::stable_sort(spectrum.begin(), spectrum.end(),
                   [](const SpectrumLine& a, const SpectrumLine& b) { return a.logTime < b.logTime; });
  return spectrum;
}

/// As a start: lines without a coefficient get a small one, so that their times can move.
std::vector<double> AsStart(const PronyFitter& fitter, const ScaledSpectrum& scaled) {
  const Spectrum& spectrum = scaled.lines;
  double sum = 0.0;
  for (const SpectrumLine& line : spectrum) sum += line.g;
  const double least = std::max(1e-3 * sum, 1e-6) / static_cast<double>(std::max<std::size_t>(1, spectrum.size()));
  std::vector<double> start(2 * spectrum.size());
  for (std::size_t i = 0; i < spectrum.size(); ++i) {
    start[i] = std::max(spectrum[i].g, least);
    start[spectrum.size() + i] = std::exp(spectrum[i].logTime);
  }
  if (fitter.Raw()) start.push_back(scaled.modulus);
  return start;
}

/// Fits with any number of terms, each computed once, to see how many the data support (docs/theory/viscoelastic.md).
/// Asking for n terms fits those below as well: a series with a term less, and a new one in it, is the start that finds
/// narrow valleys.
class SeriesSearch {
 public:
  explicit SeriesSearch(const PronyFitter& fitter)
      : fitter_(fitter),
        dense_(DenseSpectrum(fitter.Points(), fitter.Kind(), fitter.Range(), fitter.Raw())),
        fits_(kMostPronyTerms) {}

  const SeriesFit& With(int terms) {
    auto& fit = fits_[static_cast<std::size_t>(terms) - 1];
    if (fit) return *fit;
    std::vector<std::vector<double>> starts = SpectrumStarts(static_cast<std::size_t>(terms));
    if (terms > 1 && terms <= kMostTermsInChain) AddSplits(With(terms - 1), starts);
    // A series with more terms than the data have lines wanders along a valley without a floor. To rank it, where it
    // stands after this many evaluations is enough.
    const std::vector<FreeOrHeld> series = SeriesParameters(terms, fitter_.Range(), fitter_.Raw());
    fit = fitter_.Fit(series, starts, kRanking);
    if (fit->minimum.objective <= kNoScatter * fitter_.SumOfSquares()) {
      fit = fitter_.Fit(series, starts, kRankingWithoutScatter);
    }
    return *fit;
  }

  /// No criterion of a series of so many terms is lower.
  double LeastInformation(int terms) {
    if (!leastMisfit_) {
      const double beyond = std::log(kBeyondMeasured);
      const LogRange range{fitter_.Range().from - beyond, fitter_.Range().to + beyond};
      leastMisfit_ = LeastMisfit(fitter_.Points(), fitter_.Kind(), range, fitter_.Raw());
    }
    const double weight = fitter_.Points().weight;
    return fitter_.Information(weight * weight * *leastMisfit_, 2 * terms + (fitter_.Raw() ? 1 : 0));
  }

  /// More are not supported by the data for certain.
  int MostTerms() const { return std::min(kMostPronyTerms, static_cast<int>(dense_.size()) + kBeyondSpectrum); }

  std::vector<std::vector<double>> SpectrumStarts(std::size_t terms) const {
    std::vector<std::vector<double>> starts;
    // Merging moves times and picking leaves some of the curve unexplained, so coefficients are fitted again.
    const auto add = [&](const std::vector<double>& logTimes) {
      if (logTimes.size() == terms) starts.push_back(AsStart(fitter_, fitter_.LinesAt(logTimes)));
    };
    add(LogTimes(SplitTo(MergedTo(dense_, terms), terms)));
    if (dense_.size() > terms && terms <= static_cast<std::size_t>(kMostTermsInChain)) {
      add(LogTimes(LargestOf(dense_, terms)));
    }
    add(SpreadTimes(fitter_.Range(), terms));
    return starts;
  }

 private:
  /// A term more than `fewer`: in the widest gaps between its times, and at the ends.
  void AddSplits(const SeriesFit& fewer, std::vector<std::vector<double>>& starts) const {
    const Spectrum lines = ToSpectrum(ToSeries(fewer));
    std::vector<double> borders = LogTimes(lines);
    borders.insert(borders.begin(), fitter_.Range().from);
    borders.push_back(fitter_.Range().to);
    ScaledSpectrum best;
    best.misfit = std::numeric_limits<double>::infinity();
    for (std::size_t k = 0; k + 1 < borders.size(); ++k) {
      std::vector<double> times = LogTimes(lines);
      times.push_back(0.5 * (borders[k] + borders[k + 1]));
      std::sort(times.begin(), times.end());
      ScaledSpectrum candidate = fitter_.LinesAt(times);
      if (candidate.misfit < best.misfit) best = std::move(candidate);
    }
    if (!best.lines.empty()) starts.push_back(AsStart(fitter_, best));
  }

  const PronyFitter& fitter_;
  Spectrum dense_;
  std::optional<double> leastMisfit_;
  std::vector<std::optional<SeriesFit>> fits_;
};

/// Why the curve does not support as many terms, or an empty text.
std::string Unsupported(const SeriesFit& fit, SeriesSearch& search) {
  // A minimiser spends a term that it doesn't need in one of three ways: it empties it, lays it on another, or follows
  // the noise with it.
  const Spectrum lines = ToSpectrum(ToSeries(fit));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].g <= kNoCoefficient) return "a coefficient became 0";
    if (i > 0 && lines[i].logTime - lines[i - 1].logTime < kSameTime) {
      return "two times came together at " + Text(std::exp(lines[i].logTime));
    }
  }
  if (search.With(fit.terms - 1).information <= fit.information) return "the misfit does not justify it";
  return {};
}

/// The number of terms asked for, less those that the curve does not support.
int SupportedTerms(int wanted, SeriesSearch& search, std::vector<std::string>& notes) {
  int terms = std::min(wanted, search.MostTerms());
  std::string reasons;
  if (terms < wanted) reasons = "its spectrum has " + std::to_string(terms - kBeyondSpectrum) + " lines";
  while (terms > 1) {
    const std::string reason = Unsupported(search.With(terms), search);
    if (reason.empty()) break;
    reasons += (reasons.empty() ? "" : "; ") + std::to_string(terms) + ": " + reason;
    --terms;
  }
  if (terms < wanted) {
    notes.push_back(std::to_string(wanted) + " terms were asked for, the data support " + std::to_string(terms) + " (" +
                    reasons + ")");
  }
  return terms;
}

/// The physical problem g_1 ... tau_n [E0] over all points, for uncertainty and measures.
Problem PhysicalProblem(const Curve& curve, Residual residual, std::vector<FreeOrHeld> parameters) {
  Problem problem;
  if (parameters.size() % 2 == 1) {
    problem.functions.push_back(boost::make_shared<PronyWithModulus>(CorePoints(curve)));
  } else {
    const auto function = boost::make_shared<XemHyperViscoElasticRelaxation>();
    function->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(curve)));
    problem.functions.push_back(function);
  }
  problem.weights.push_back(curve.weight);
  problem.residual = residual;
  problem.termCount = static_cast<std::int32_t>(parameters.size() / 2);
  problem.parameters = std::move(parameters);
  return problem;
}

/// A minimum in shares as one in coefficients and times; sorted by time if `sorted`.
Minimum Physical(const SeriesFit& fit, const std::vector<FreeOrHeld>& series, bool sorted) {
  const auto terms = static_cast<std::size_t>(fit.terms);
  std::vector<double> values(2 * terms);
  SharesOf(series).ToSeries(fit.minimum.parameters, values);

  std::vector<std::size_t> order(terms);
  std::iota(order.begin(), order.end(), std::size_t{0});
  if (sorted) {
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return values[terms + a] < values[terms + b]; });
  }
  // A parameter's flag moves with its value, or the wrong one would be reported as held at its bound.
  Minimum physical = fit.minimum;
  for (std::size_t i = 0; i < terms; ++i) {
    physical.parameters[i] = values[order[i]];
    physical.parameters[terms + i] = values[terms + order[i]];
    physical.atBound[i] = fit.minimum.atBound[order[i]];
    physical.atBound[terms + i] = fit.minimum.atBound[terms + order[i]];
  }
  return physical;
}

/// Every coefficient differs from 0 and every time is known better than its own size.
bool Determined(const SeriesFit& fit, const PronyFitter& fitter) {
  const std::vector<FreeOrHeld> series = SeriesParameters(fit.terms, fitter.Range(), fitter.Raw());
  const Problem problem = PhysicalProblem(fitter.Points(), fitter.Kind(), series);
  const Uncertainty uncertainty = EstimateUncertainty(problem, Physical(fit, series, true));
  for (std::size_t k = 0; k < series.size(); ++k) {
    const Parameter& parameter = uncertainty.parameters[k];
    const bool coefficient = k < series.size() / 2;
    if (coefficient ? !(parameter.lower > 0.0) : !(parameter.standardError < parameter.value)) return false;
  }
  return true;
}

/// The smallest number of terms that is as good as the best one, with nothing in it left open.
int BestTerms(const PronyFitter& fitter, SeriesSearch& search, std::vector<std::string>& notes) {
  constexpr int kPatience = 2;
  constexpr int kFirstStep = 8;
  const auto points = static_cast<int>(fitter.Points().x.size());
  // A term spans about a decade of time; more than one and a half in each, two points per parameter, or more than the
  // spectrum shows can't be determined, and trying them is what costs time.
  const int byDecades = static_cast<int>(std::ceil(1.5 * fitter.Range().Decades())) + 3;
  const int most = std::max(1, std::min({byDecades, (points - 2) / 2, search.MostTerms()}));
  const auto better = [&](int terms, int best) {
    if (!(search.LeastInformation(terms) < search.With(best).information)) return false;
    return search.With(terms).information < search.With(best).information && Determined(search.With(terms), fitter);
  };
  int best = 1;
  int terms = 2;
  for (; terms <= std::min(most, kMostTermsInChain) && terms <= best + kPatience; ++terms) {
    if (better(terms, best)) best = terms;
  }
  // Longer series, for many decades: the criterion has one valley, which steps of halving length find.
  const bool open = terms > kMostTermsInChain && terms <= best + kPatience;
  for (int step = open ? kFirstStep : 0; step > 0;) {
    if (best + step <= most && better(best + step, best)) {
      best += step;
    } else if (best - step >= 1 && better(best - step, best)) {
      best -= step;
    } else {
      step /= 2;
    }
  }
  // Within two of the best criterion the data don't tell the numbers apart: an analyst wants the shorter series.
  const double least = search.With(best).information;
  int chosen = best;
  while (chosen > 1 && search.With(chosen - 1).information <= least + kEquallyGood) --chosen;
  while (chosen > 1 && !Unsupported(search.With(chosen), search).empty()) --chosen;
  notes.push_back(
      "the number of terms was chosen by the corrected Akaike criterion among those whose terms are determined");
  if (best == most && most < (points - 2) / 2) {
    notes.push_back("more than " + std::to_string(most) + " terms may describe the curve still better; ask for them");
  }
  return chosen;
}

/// The earliest usable point.
std::size_t Earliest(const Curve& curve) {
  std::size_t earliest = curve.x.size();
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    if (!std::isfinite(curve.x[i]) || !std::isfinite(curve.y[i]) || curve.x[i] < 0.0) continue;
    if (earliest == curve.x.size() || curve.x[i] < curve.x[earliest]) earliest = i;
  }
  return earliest;
}

double LargestOf(const Curve& curve) {
  double largest = 0.0;
  for (const double value : curve.y) {
    if (std::isfinite(value)) largest = std::max(largest, value);
  }
  return largest;
}

/// The modulus that makes ratios of the ordinates; 1 for ratios, and for a free modulus a number of its size.
double ReferenceModulus(const RelaxationData& data, const Curve& curve) {
  double modulus = 1.0;
  if (data.normalise == Normalise::Value) modulus = data.modulus;
  if (data.normalise == Normalise::Free) modulus = LargestOf(curve);
  if (data.normalise == Normalise::First && curve.y.size() == curve.x.size()) {
    const std::size_t earliest = Earliest(curve);
    if (earliest < curve.x.size()) modulus = curve.y[earliest];
  }
  if (modulus > 0.0 && std::isfinite(modulus)) return modulus;
  throw Error(
      data.normalise == Normalise::Value ? ErrorKind::BadInput : ErrorKind::BadData,
      "curve " + curve.name + ": cannot be normalised by " + Text(modulus) + ", which is not a positive modulus");
}

/// The usable points; raw moduli stay as they are. `modulus` receives what makes ratios of them.
Curve ScreenRelaxation(const RelaxationData& data, double& modulus, std::vector<DroppedPoint>& dropped,
                       std::vector<std::string>& notes) {
  Curve curve = data.curve;
  if (curve.name.empty()) curve.name = "relaxation";
  modulus = ReferenceModulus(data, curve);
  const auto above = std::count_if(curve.y.begin(), curve.y.end(), [&](double y) { return y / modulus > 1.5; });
  if (2 * static_cast<std::size_t>(above) > curve.y.size()) {
    throw Error(ErrorKind::BadData, "curve " + curve.name + ": values up to " + Text(LargestOf(curve)) +
                                        " are not ratios to the instantaneous modulus; fit that modulus, too, or "
                                        "normalise them by the first value or by a given one");
  }
  const std::size_t reference = data.normalise == Normalise::First ? Earliest(curve) : curve.x.size();
  const double referenceTime = reference < curve.x.size() ? curve.x[reference] : -1.0;
  const bool held = data.normalise != Normalise::Free;
  const std::string what = held ? "ratio " : "modulus ";
  Curve kept = Screen(
      curve, "modulus",
      [&](double time, double value) -> std::string {
        const double ratio = value / modulus;
        const auto shown = [&] { return what + Text(held ? ratio : value); };
        if (time == referenceTime && ratio == 1.0) return "the point that the curve is normalised by";
        if (time <= 0.0) return "time " + Text(time) + " is not positive";
        if (held && ratio >= 1.0) return shown() + " is not below 1";
        if (ratio < -kNoiseAroundZero) return shown() + " is below 0";
        return {};
      },
      1, dropped);
  NoteOddities("relaxation", kept, notes);
  if (referenceTime > 0.0) {
    notes.push_back("curve " + curve.name + ": normalised by its value at time " + Text(referenceTime) +
                    "; what relaxed before is not seen, and the scatter of this one value is in all results");
  }
  return kept;
}

Curve Divided(Curve curve, double modulus) {
  for (double& value : curve.y) value /= modulus;
  return curve;
}

void RequireTerms(int terms, const Curve& curve, bool freeModulus) {
  if (terms != kAutomaticTerms && (terms < 1 || terms > kMostPronyTerms)) {
    throw Error(ErrorKind::BadInput,
                std::to_string(terms) + " terms are not between 1 and " + std::to_string(kMostPronyTerms));
  }
  const int least = std::max(2, 2 * terms) + (freeModulus ? 1 : 0);
  if (static_cast<int>(curve.x.size()) < least) {
    throw Error(ErrorKind::BadData, "curve " + curve.name + ": " + std::to_string(curve.x.size()) +
                                        " usable points are too few for " + std::to_string(least) + " parameters");
  }
}

std::vector<ParameterInfo> Parameters(int terms) {
  std::vector<ParameterInfo> parameters;
  for (int i = 1; i <= terms; ++i) {
    parameters.push_back(
        {"g" + std::to_string(i), "", 0.0, 1.0, "share of the instantaneous modulus that a term loses"});
  }
  for (int i = 1; i <= terms; ++i) {
    parameters.push_back({.name = "tau" + std::to_string(i),
                          .unit = "time",
                          .lower = 0.0,
                          .meaning = "relaxation time, from a tenth of the first measured time to ten times the last"});
  }
  parameters.push_back({kModulusName, "stress", 0.0, std::numeric_limits<double>::infinity(),
                        "instantaneous modulus, of raw moduli only"});
  return parameters;
}

void RequireMeaning(const std::vector<FreeOrHeld>& series, const std::vector<std::vector<double>>& starts) {
  const std::size_t terms = series.size() / 2;
  for (const auto& start : starts) {
    for (std::size_t i = 0; i < terms; ++i) {
      if (start[terms + i] > 0.0) continue;
      throw Error(ErrorKind::BadInput, series[terms + i].name + " must be positive, not " + Text(start[terms + i]));
    }
  }
  double heldSum = 0.0;
  double least = 0.0;
  for (std::size_t i = 0; i < terms; ++i) {
    least += series[i].held ? starts.front()[i] : series[i].lower;
    if (!series[i].held) continue;
    heldSum += starts.front()[i];
    if (starts.front()[i] < 0.0 || heldSum > 1.0) {
      throw Error(ErrorKind::BadInput, "held coefficients must be 0 or more and add up to 1 at most");
    }
  }
  if (least > 1.0) {
    throw Error(ErrorKind::BadInput, "lower bounds and held values of coefficients add up to more than 1");
  }
}

void NoteLimits(const Minimum& minimum, const Curve& curve, std::vector<std::string>& notes) {
  const std::size_t terms = minimum.parameters.size() / 2;
  double sum = 0.0;
  for (std::size_t i = 0; i < terms; ++i) sum += minimum.parameters[i];
  if (sum > 1.0 - 1e-9) {
    notes.push_back("the coefficients add up to 1, the most they can: the modulus vanishes at long times");
  }
  const double last = *std::max_element(curve.x.begin(), curve.x.end());
  if (terms > 0 && minimum.parameters[2 * terms - 1] > last) {
    notes.push_back("tau" + std::to_string(terms) + " lies beyond the last measured time " + Text(last) +
                    ": the long-term modulus is extrapolated");
  }
}

class PronyFit final : public ModelFit {
 public:
  PronyFit(const RelaxationData& data, int count) : data_(data) { terms = count; }

  void Screen() override {
    if (Plain() && data_.normalise == Normalise::Free) {
      throw Error(ErrorKind::BadInput,
                  "the export fits ratios: the instantaneous modulus must be the first value or a given one");
    }
    curves = {ScreenRelaxation(data_, modulus_, dropped, notes)};
    // The export's results are those of ratios.
    if (Plain()) curves.front() = Divided(std::move(curves.front()), modulus_);
    RequireTerms(terms, curves.front(), data_.normalise == Normalise::Free);
  }

  /// With automatic terms there is nothing to describe before they are counted.
  void Describe() override {
    if (terms == kAutomaticTerms && Named()) {
      throw Error(ErrorKind::BadInput, "held values, starting values and bounds need a number of terms");
    }
    DescribeSeries();
    given.assign(problem.parameters.size(), std::numeric_limits<double>::quiet_NaN());
    if (Raw() && problem.parameters.back().held) given.back() = modulus_;
  }

  Minimum Minimise() override { return Named() ? MinimiseNamed() : MinimiseFree(); }

  /// The coefficients have a sum to keep, too.
  bool OnlyRanges() const override { return false; }

  void RequirePlainOptions() const override {
    ModelFit::RequirePlainOptions();
    if (terms == kAutomaticTerms) throw Error(ErrorKind::BadInput, "the export engine needs a number of terms");
  }

  Minimum RunExport() override {
    const auto function = boost::make_shared<XemHyperViscoElasticRelaxation>();
    function->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(curves.front())));
    Minimum minimum;
    minimum.parameters.resize(2 * static_cast<std::size_t>(terms));
    minimum.converged = FitRelaxation(function, KindOf(options.residual), minimum.parameters) == 0;
    return minimum;
  }
  std::string ExportRemedy() const override { return "fit fewer terms"; }

  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    return [series = Series::Of(parameters), name = curves.front().name](const std::string& called, double time) {
      if (called != name) throw Error(ErrorKind::BadInput, "there is no curve " + called);
      return series.At(time);
    };
  }

  std::vector<double> Ordinates(const std::vector<double>& parameters, const std::string&,
                                std::span<const double> times) const override {
    const Series series = Series::Of(parameters);
    std::vector<double> moduli(times.size());
    PronyModuli(series.ratios, times, moduli, {});
    for (double& modulus : moduli) modulus *= series.modulus;
    return moduli;
  }

  void Complete(const Minimum& minimum, Result& result) override {
    NoteLimits(minimum, curves.front(), result.notes);
    double sum = 0.0;
    for (int i = 0; i < terms; ++i) sum += minimum.parameters[i];
    result.derived["g_infinity"] = 1.0 - sum;
    if (Raw()) result.measures.unit = data_.modulusUnit;
    if (data_.normalise == Normalise::Nothing) return;
    const double modulus = Raw() ? minimum.parameters.back() : modulus_;
    result.derived["instantaneous_modulus"] = modulus;
    result.derived["long_term_modulus"] = modulus * (1.0 - sum);
    for (const char* name : {"instantaneous_modulus", "long_term_modulus"}) {
      result.derivedUnits[name] = data_.modulusUnit;
    }
  }

  /// g_1 ... tau_n and, of raw moduli, E0 as a function of time.
  struct Series {
    std::vector<double> ratios;
    double modulus = 1.0;

    static Series Of(std::vector<double> parameters) {
      Series series{std::move(parameters)};
      if (series.ratios.size() % 2 == 0) return series;
      series.modulus = series.ratios.back();
      series.ratios.pop_back();
      return series;
    }
    double At(double time) const { return modulus * MaterialUtil::PronyModulus(ratios, time); }
  };

 private:
  bool Raw() const { return !Plain() && data_.normalise != Normalise::Nothing; }
  /// Held by what the data say or by the caller, a modulus turns the curve into ratios.
  bool FreeModulus() const { return Raw() && !problem.parameters.back().held; }

  void DescribeSeries() {
    const Curve& curve = curves.front();
    problem = PhysicalProblem(curve, options.residual,
                              SeriesParameters(terms, MeasuredRange(curve), Raw(), data_.timeUnit, data_.modulusUnit));
    if (Raw()) problem.parameters.back().held = data_.normalise != Normalise::Free;
  }

  /// What the search works on: numbers of the order of 1.
  double WorkingScale() const { return Raw() && !FreeModulus() && Named() ? given.back() : modulus_; }
  Curve WorkingCurve() const { return Raw() ? Divided(curves.front(), WorkingScale()) : curves.front(); }
  Modulus Kind() const { return FreeModulus() ? Modulus::Free : Modulus::None; }

  /// From working units, where a held modulus has no place.
  Minimum WithModulus(Minimum minimum) const {
    if (!Raw()) return minimum;
    if (FreeModulus()) {
      minimum.parameters.back() *= WorkingScale();
    } else {
      minimum.parameters.push_back(WorkingScale());
      minimum.atBound.push_back(false);
    }
    return minimum;
  }

  /// With held or starting values the number of terms and their order are the caller's.
  Minimum MinimiseNamed() {
    const double scale = WorkingScale();
    if (!(scale > 0.0)) throw Error(ErrorKind::BadInput, "the instantaneous modulus must be positive");
    const Curve curve = WorkingCurve();
    const PronyFitter fitter(curve, options.residual, MeasuredRange(curve), Kind());
    std::vector<FreeOrHeld> series = problem.parameters;
    if (Raw() && !FreeModulus()) series.pop_back();
    auto starts = SeriesSearch(fitter).SpectrumStarts(static_cast<std::size_t>(terms));
    const auto scaleModulus = [&](double factor) {
      for (auto& start : starts) {
        if (FreeModulus()) start.back() *= factor;
      }
    };
    scaleModulus(scale);
    starts = WithGiven(starts, starts.back(), Proposed::Last);
    scaleModulus(1.0 / scale);
    if (FreeModulus()) {
      series.back().lower /= scale;
      series.back().upper /= scale;
    }
    RequireMeaning(series, starts);
    Minimum minimum = WithModulus(Physical(fitter.Fit(series, starts), series, false));
    for (std::size_t k = 0; k < minimum.parameters.size(); ++k) {
      if (problem.parameters[k].held) minimum.parameters[k] = given[k];  // not through a logarithm and back
    }
    return minimum;
  }

  /// The number of terms is searched for on a thinned curve; the final fit sees every point.
  Minimum MinimiseFree() {
    const Curve curve = WorkingCurve();
    const Curve thinned = ThinnedOut(curve);
    const LogRange range = MeasuredRange(curve);
    const PronyFitter coarse(thinned, options.residual, range, Kind());
    const PronyFitter fine(curve, options.residual, range, Kind());
    SeriesSearch search(coarse);
    terms = terms == kAutomaticTerms ? BestTerms(coarse, search, notes) : SupportedTerms(terms, search, notes);
    const std::vector<FreeOrHeld> series = SeriesParameters(terms, range, FreeModulus());
    const SeriesFit fit = fine.Fit(series, {ToSeries(search.With(terms))}, kPolish);
    DescribeSeries();
    return WithModulus(Physical(fit, series, true));
  }

  RelaxationData data_;
  double modulus_ = 1.0;
};

}  // namespace

const Model kProny{
    .info = {.name = "prony",
             .title = "Prony series",
             .family = "relaxation",
             .fewestTerms = 1,
             .mostTerms = kMostPronyTerms,
             .curves = {{"relaxation", "time", "time", "modulus over instantaneous modulus", "", "", true},
                        {"storage", "frequency", "1/time", "storage modulus", "stress", "", true},
                        {"loss", "frequency", "1/time", "loss modulus", "stress", "", true}},
             .formula = "g(t) = 1 - sum g_i (1 - exp(-t/tau_i)), i = 1 ... n; of raw moduli E(t) = E0 g(t), E'(w) = E0 "
                        "(1 - sum g_i/(1 + (w tau_i)^2)), E''(w) = E0 sum g_i w tau_i/(1 + (w tau_i)^2)",
             .source = "Ferry 1980, Tschoegl 1989",
             .plainExport = "CurveFitting4Relaxation",
             .page = "theory/viscoelastic.md"},
    .parameters = Parameters,
    .fit = [](const Tests& tests, int terms) -> boost::shared_ptr<ModelFit> {
      if (const auto* several = std::get_if<DynamicData>(&tests)) return MakeJointPronyFit(*several, terms);
      return boost::make_shared<PronyFit>(TestsOf<RelaxationData>(tests, "prony"), terms);
    },
    .restore = RestoreProny};

double PronyModulus(const std::vector<double>& parameters, double time) {
  if (parameters.size() % 2 != 0) {
    throw Error(ErrorKind::BadInput, "a Prony series has as many coefficients as times, so not " +
                                         std::to_string(parameters.size()) + " parameters");
  }
  return MaterialUtil::PronyModulus(parameters, time);
}

Result FitProny(const RelaxationData& data, int terms, const Options& options) {
  return Fit({"prony", terms}, data, options);
}

}  // namespace Xem::Fit
