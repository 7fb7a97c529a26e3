#include "fit/models/prony_joint.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <numeric>
#include <utility>

#include "fit/models/maxwell_search.h"
#include "fit/models/prony_search.h"
#include "fit/screening.h"

namespace Xem::Fit {
namespace {

constexpr const char* kPerUnit = "per_unit";
constexpr const char* kRatio = "ratio";
constexpr ModulusKind kQuantities[] = {ModulusKind::Relaxation, ModulusKind::Storage, ModulusKind::Loss};

bool BeginsWith(const std::string& name, const std::string& start) { return name.rfind(start, 0) == 0; }

/// The series and what turns the abscissae of each curve into those of the law.
class JointEvaluator {
 public:
  struct Scale {
    double perUnit = 1.0;
    bool ratio = false;
  };

  explicit JointEvaluator(std::vector<double> parameters) : series_(std::move(parameters)) {
    if (series_.size() % 2 == 0) return;
    modulus_ = series_.back();
    series_.pop_back();
  }

  void Add(const std::string& curve, Scale scale) { scales_[curve] = scale; }

  double operator()(const std::string& curve, double x) const {
    const auto found = scales_.find(curve);
    const Scale scale = found == scales_.end() ? Scale() : found->second;
    for (const ModulusKind quantity : {ModulusKind::Storage, ModulusKind::Loss}) {
      if (BeginsWith(curve, NameOf(quantity))) return At(quantity, x, scale);
    }
    return At(ModulusKind::Relaxation, x, scale);
  }

 private:
  double At(ModulusKind quantity, double x, const Scale& scale) const {
    double value = 0.0;
    const double reduced = x * scale.perUnit;
    MaxwellModuli(quantity, series_, {&reduced, 1}, {&value, 1}, {});
    return scale.ratio ? value : modulus_ * value;
  }

  std::vector<double> series_;
  double modulus_ = 1.0;
  std::map<std::string, Scale> scales_;
};

class JointPronyFit final : public ModelFit {
 public:
  JointPronyFit(const DynamicData& data, int count) : data_(data) {
    terms = count;
    NameCurves(data_.curves);
  }

  void Screen() override {
    if (Plain()) throw Error(ErrorKind::BadInput, "the export fits one relaxation curve, and no frequencies");
    if (data_.normalise == Normalise::First) {
      throw Error(ErrorKind::BadInput,
                  "of several curves, or of frequencies, there is no first value; give the "
                  "instantaneous modulus or let it be fitted");
    }
    for (const ModulusCurve& measured : data_.curves) {
      if (!measured.curve.Empty()) ScreenCurve(measured);
    }
    if (curves.empty()) throw Error(ErrorKind::BadData, "there is no curve to fit");
    onlyRatios_ = std::all_of(working_.begin(), working_.end(), [](const MaxwellCurve& curve) { return curve.ratio; });
    const bool anyModulus = std::any_of(working_.begin(), working_.end(), [](const MaxwellCurve& curve) {
      return !curve.ratio && curve.quantity != ModulusKind::Loss;
    });
    tellsModulus_ = anyModulus || onlyRatios_;
    RequireTerms();
  }

  void Describe() override {
    if (terms == kAutomaticTerms && Named()) {
      throw Error(ErrorKind::BadInput, "held values, starting values and bounds need a number of terms");
    }
    DescribeSeries();
    given.assign(problem.parameters.size(), std::numeric_limits<double>::quiet_NaN());
    if (onlyRatios_ || data_.normalise != Normalise::Value) return;
    problem.parameters.back().held = true;
    given.back() = data_.modulus;
  }

  Minimum Minimise() override {
    const bool isHeld = onlyRatios_ || problem.parameters.back().held;
    instantaneous_ = isHeld ? Instantaneous::Held : tellsModulus_ ? Instantaneous::Free : Instantaneous::Open;
    const double scale = WorkingScale();
    std::vector<MaxwellCurve> scaled = working_;
    for (MaxwellCurve& curve : scaled) {
      for (double& value : curve.y) value /= curve.ratio ? 1.0 : scale;
    }
    MaxwellSearch search(Named() ? scaled : ThinnedOut(scaled), options.residual, MeasuredTimes(working_),
                         instantaneous_, 1.0);
    Minimum minimum = Named() ? MinimiseNamed(search, scale) : MinimiseFree(search, std::move(scaled));
    if (onlyRatios_) return minimum;
    minimum.parameters.back() *= scale;
    if (instantaneous_ == Instantaneous::Open) UseSmallestModulus(minimum);
    return minimum;
  }

  bool OnlyRanges() const override { return false; }

  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    JointEvaluator evaluator(parameters);
    for (const ModulusCurve& curve : data_.curves) evaluator.Add(curve.curve.name, {curve.perUnit, curve.ratio});
    return evaluator;
  }

  void Complete(const Minimum& minimum, Result& result) override {
    for (CurveResult& curve : result.curves) {
      for (const ModulusCurve& measured : data_.curves) {
        if (measured.curve.name != curve.name) continue;
        curve.conditions[kPerUnit] = measured.perUnit;
        if (measured.ratio) curve.conditions[kRatio] = 1.0;
      }
    }
    NoteLastTime(minimum, result.notes);
    double rest = 1.0;
    for (int i = 0; i < terms; ++i) rest -= minimum.parameters[i];
    rest = std::max(rest, 0.0);
    if (!onlyRatios_) result.measures.unit = data_.modulusUnit;
    if (instantaneous_ == Instantaneous::Open) {
      LeaveModulusOpen(result);
      return;
    }
    if (rest < 1e-9) {
      result.notes.push_back("the coefficients add up to 1, the most they can: the modulus vanishes at long times");
    }
    result.derived["g_infinity"] = rest;
    if (onlyRatios_) return;
    const double modulus = minimum.parameters.back();
    result.derived["instantaneous_modulus"] = modulus;
    result.derived["long_term_modulus"] = modulus * rest;
    for (const char* name : {"instantaneous_modulus", "long_term_modulus"}) {
      result.derivedUnits[name] = data_.modulusUnit;
    }
  }

 private:
  void ScreenCurve(const ModulusCurve& measured) {
    const std::string& name = measured.curve.name;
    if (!BeginsWith(name, NameOf(measured.quantity))) {
      throw Error(ErrorKind::BadInput,
                  "the name of curve " + name + " does not begin with " + NameOf(measured.quantity));
    }
    if (!(measured.perUnit > 0.0) || !std::isfinite(measured.perUnit)) {
      throw Error(ErrorKind::BadInput, "curve " + name + ": its unit of time or frequency is not positive");
    }
    const bool inTime = measured.quantity == ModulusKind::Relaxation;
    const bool relative = options.residual == Residual::Relative;
    Curve kept = Xem::Fit::Screen(
        measured.curve, "modulus",
        [&](double x, double value) -> std::string {
          if (x <= 0.0) return (inTime ? "time " : "frequency ") + Text(x) + " is not positive";
          if (value < 0.0 && (relative || !inTime)) return "modulus " + Text(value) + " is below 0";
          return {};
        },
        1, dropped);
    NoteOddities("relaxation", kept, notes);
    MaxwellCurve working{measured.quantity, measured.ratio, kept.weight, kept.x, kept.y};
    for (double& x : working.x) x *= measured.perUnit;
    working_.push_back(std::move(working));
    curves.push_back(std::move(kept));
  }

  void RequireTerms() const {
    if (terms != kAutomaticTerms && (terms < 1 || terms > kMostPronyTerms)) {
      throw Error(ErrorKind::BadInput,
                  std::to_string(terms) + " terms are not between 1 and " + std::to_string(kMostPronyTerms));
    }
    std::size_t points = 0;
    for (const Curve& curve : curves) points += curve.x.size();
    const int least = std::max(2, 2 * terms) + (tellsModulus_ && !onlyRatios_ ? 1 : 0);
    if (static_cast<int>(points) < least) {
      throw Error(ErrorKind::BadData,
                  std::to_string(points) + " usable points are too few for " + std::to_string(least) + " parameters");
    }
  }

  /// The physical problem over all points.
  void DescribeSeries() {
    const LogRange range = MeasuredTimes(working_);
    constexpr double kBeyondMeasured = 10.0;
    problem = Problem();
    for (std::size_t i = 0; i < working_.size(); ++i) {
      problem.functions.push_back(MakeMaxwellFunction(working_[i]));
      problem.weights.push_back(curves[i].weight);
    }
    problem.residual = options.residual;
    problem.termCount = terms;
    problem.parameters.resize(2 * static_cast<std::size_t>(terms));
    for (int i = 0; i < terms; ++i) {
      problem.parameters[i] = {.name = "g" + std::to_string(i + 1), .unit = "", .lower = 0.0, .upper = 1.0};
      problem.parameters[terms + i] = {.name = "tau" + std::to_string(i + 1),
                                       .unit = data_.timeUnit,
                                       .lower = std::exp(range.from) / kBeyondMeasured,
                                       .upper = std::exp(range.to) * kBeyondMeasured};
    }
    if (onlyRatios_) return;
    problem.parameters.push_back({.name = kModulusName, .unit = data_.modulusUnit, .lower = 0.0});
  }

  /// What makes moduli numbers of the order of 1. An open modulus is taken so large that no term feels its limit.
  double WorkingScale() const {
    if (onlyRatios_) return 1.0;
    if (instantaneous_ == Instantaneous::Held) {
      const double modulus = given.back();
      if (!(modulus > 0.0)) throw Error(ErrorKind::BadInput, "the instantaneous modulus must be positive");
      return modulus;
    }
    double largest = 0.0;
    for (const MaxwellCurve& curve : working_) {
      if (!curve.ratio) largest = std::max(largest, *std::max_element(curve.y.begin(), curve.y.end()));
    }
    if (instantaneous_ == Instantaneous::Free) return largest;
    const ScaledSpectrum dense =
        DenseMaxwellSpectrum(working_, options.residual, MeasuredTimes(working_), 10.0, Instantaneous::Open, largest);
    double sum = 0.0;
    for (const SpectrumLine& line : dense.lines) sum += line.g;
    return 4.0 * std::max(sum, 1.0) * largest;
  }

  /// A minimum in shares as one in coefficients and times, without a modulus where all are ratios.
  Minimum Physical(const MaxwellFit& fit, bool sorted) const {
    const auto count = static_cast<std::size_t>(fit.terms);
    const std::vector<double> series = MaxwellSearch::ToSeries(fit, problem.parameters);
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (sorted) {
      std::stable_sort(order.begin(), order.end(),
                       [&](std::size_t a, std::size_t b) { return series[count + a] < series[count + b]; });
    }
    Minimum physical = fit.minimum;
    for (std::size_t i = 0; i < count; ++i) {
      physical.parameters[i] = series[order[i]];
      physical.parameters[count + i] = series[count + order[i]];
      // A share of 1 is a coefficient that takes all that is left, not one at a bound of its own.
      physical.atBound[i] = fit.minimum.atBound[order[i]] && (Named() || series[order[i]] == 0.0);
      physical.atBound[count + i] = fit.minimum.atBound[count + order[i]];
    }
    if (onlyRatios_) {
      physical.parameters.pop_back();
      physical.atBound.pop_back();
    }
    return physical;
  }

  /// The number of terms is searched for on thinned curves; the final fit sees every point.
  Minimum MinimiseFree(MaxwellSearch& search, std::vector<MaxwellCurve> scaled) {
    if (terms == kAutomaticTerms) {
      terms = search.Best();
      notes.push_back(
          "the number of terms was chosen by Schwarz's criterion among those that each lower the sum of squares "
          "by 5 % at least");
    } else {
      std::string reasons;
      const int supported = search.Supported(terms, reasons);
      if (supported < terms) {
        notes.push_back(std::to_string(terms) + " terms were asked for, the data support " + std::to_string(supported) +
                        " (" + reasons + ")");
      }
      terms = supported;
    }
    const MaxwellSearch fine(std::move(scaled), options.residual, MeasuredTimes(working_), instantaneous_, 1.0);
    const MaxwellFit fit =
        fine.Fit(search.Series(terms), {MaxwellSearch::ToSeries(search.With(terms), search.Series(terms))});
    DescribeSeries();
    if (!onlyRatios_) problem.parameters.back().held = instantaneous_ != Instantaneous::Free;
    return Physical(fit, true);
  }

  /// With held or starting values the number of terms and their order are the caller's.
  Minimum MinimiseNamed(MaxwellSearch& search, double scale) {
    if (instantaneous_ == Instantaneous::Open) {
      throw Error(ErrorKind::BadInput,
                  "the loss modulus alone leaves the instantaneous modulus open, to which coefficients refer; hold E0, "
                  "too");
    }
    std::vector<FreeOrHeld> series = problem.parameters;
    std::vector<std::vector<double>> starts = search.Starts(terms);
    if (onlyRatios_) {
      for (auto& start : starts) start.pop_back();
    } else {
      for (auto& start : starts) start.back() *= scale;
    }
    for (auto& start : starts) PutLinesWhereHeld(start);
    starts = WithGiven(starts, starts.front(), Proposed::Last);
    if (onlyRatios_) {
      series.push_back({.name = kModulusName, .unit = "", .held = true});
      for (auto& start : starts) start.push_back(1.0);
    } else {
      series.back().lower /= scale;
      series.back().upper /= scale;
      for (auto& start : starts) start.back() = series.back().held ? 1.0 : start.back() / scale;
    }
    const auto count = static_cast<std::size_t>(terms);
    double least = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
      least += series[i].held ? starts.front()[i] : series[i].lower;
      for (const auto& start : starts) {
        if (start[count + i] > 0.0 && start[i] >= 0.0) continue;
        throw Error(ErrorKind::BadInput, "times must be positive, and coefficients 0 or more");
      }
    }
    if (least > 1.0) {
      throw Error(ErrorKind::BadInput, "lower bounds and held values of coefficients add up to more than 1");
    }
    Minimum minimum = Physical(search.Fit(series, starts), false);
    for (std::size_t k = 0; k < 2 * count; ++k) {
      if (problem.parameters[k].held) minimum.parameters[k] = given[k];  // not through a logarithm and back
    }
    return minimum;
  }

  /// The lines of a start in the order in which held times, then held coefficients, come nearest to them.
  void PutLinesWhereHeld(std::vector<double>& start) const {
    const auto count = static_cast<std::size_t>(terms);
    std::vector<std::size_t> left(count);
    std::iota(left.begin(), left.end(), std::size_t{0});
    std::vector<std::size_t> chosen(count, count);
    const auto choose = [&](std::size_t term, const std::function<double(std::size_t)>& apart) {
      const auto nearest =
          std::min_element(left.begin(), left.end(), [&](std::size_t a, std::size_t b) { return apart(a) < apart(b); });
      chosen[term] = *nearest;
      left.erase(nearest);
    };
    for (std::size_t i = 0; i < count; ++i) {
      if (std::isnan(given[count + i])) continue;
      choose(i, [&](std::size_t line) { return std::abs(std::log(start[count + line] / given[count + i])); });
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (chosen[i] < count || std::isnan(given[i])) continue;
      choose(i, [&](std::size_t line) { return std::abs(start[line] - given[i]); });
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (chosen[i] == count) choose(i, [](std::size_t line) { return static_cast<double>(line); });
    }
    const std::vector<double> before = start;
    for (std::size_t i = 0; i < count; ++i) {
      start[i] = before[chosen[i]];
      start[count + i] = before[count + chosen[i]];
    }
  }

  void UseSmallestModulus(Minimum& minimum) {
    double sum = 0.0;
    for (int i = 0; i < terms; ++i) sum += minimum.parameters[i];
    for (int i = 0; i < terms; ++i) minimum.parameters[i] /= sum;
    minimum.parameters.back() *= sum;
  }

  void LeaveModulusOpen(Result& result) const {
    Parameter& modulus = result.parameters.back();
    modulus.identifiable = false;
    result.status = kNotIdentifiable;
    result.notes.push_back(
        "the loss modulus alone does not tell the instantaneous modulus: E0 is open, shown is the smallest that it can "
        "be, " +
        Text(modulus.value) +
        ", to which the coefficients refer (the moduli E0 g are determined); give a storage modulus or "
        "hold E0");
  }

  void NoteLastTime(const Minimum& minimum, std::vector<std::string>& lines) const {
    if (terms == 0) return;
    const double last = std::exp(MeasuredTimes(working_).to);
    const double tau = minimum.parameters[2 * static_cast<std::size_t>(terms) - 1];
    if (tau > last) {
      lines.push_back("tau" + std::to_string(terms) + " lies beyond the longest measured time " + Text(last) +
                      " (one over the lowest angular frequency): the long-term modulus is extrapolated");
    }
  }

  DynamicData data_;
  std::vector<MaxwellCurve> working_;
  bool onlyRatios_ = false;
  bool tellsModulus_ = true;
  Instantaneous instantaneous_ = Instantaneous::Free;
};

}  // namespace

const char* NameOf(ModulusKind quantity) {
  switch (quantity) {
    case ModulusKind::Relaxation:
      return "relaxation";
    case ModulusKind::Storage:
      return "storage";
    case ModulusKind::Loss:
      return "loss";
  }
  return "";
}

void NameCurves(std::vector<ModulusCurve>& curves) {
  for (const ModulusKind quantity : kQuantities) {
    int number = 0;
    for (ModulusCurve& curve : curves) {
      if (curve.quantity != quantity) continue;
      ++number;
      if (!curve.curve.name.empty()) continue;
      curve.curve.name = NameOf(quantity) + (number > 1 ? "_" + std::to_string(number) : std::string());
    }
  }
}

boost::shared_ptr<ModelFit> MakeJointPronyFit(const DynamicData& data, int terms) {
  return boost::make_shared<JointPronyFit>(data, terms);
}

Evaluator RestoreProny(const Result& stored) {
  JointEvaluator evaluator(ParameterValues(stored));
  for (const CurveResult& curve : stored.curves) {
    JointEvaluator::Scale scale;
    const auto perUnit = curve.conditions.find(kPerUnit);
    if (perUnit != curve.conditions.end()) scale.perUnit = perUnit->second;
    scale.ratio = curve.conditions.count(kRatio) > 0;
    evaluator.Add(curve.name, scale);
  }
  return evaluator;
}

Result FitDynamicProny(const DynamicData& data, int terms, const Options& options) {
  return Fit({"prony", terms}, data, options);
}

}  // namespace Xem::Fit
