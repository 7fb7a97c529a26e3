#include "xem/fit/superposition.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <numbers>
#include <numeric>
#include <optional>
#include <utility>

#include "fit/assemble.h"
#include "fit/models/maxwell_curves.h"
#include "fit/screening.h"
#include "fit/superposition_overlap.h"
#include "fit/superposition_spectrum.h"
#include "viscoelastic/shift_law.h"
#include "xem/fit/fit.h"

namespace Xem::Fit {
namespace {

constexpr double kDecade = std::numbers::ln10;
constexpr const char* kFactors = "shift_factors";

/// Fewer factors than this on one side of a transition are no law.
constexpr std::size_t kFewestForLaw = 4;

/// How much better two laws must be than one: by then the one is ruled out (Burnham and Anderson 2002, 2.6).
constexpr double kTwoLawsBetter = 10.0;

/// A loss modulus that is this many times further off than the storage modulus, and by more than this share, does not
/// follow it.
constexpr double kTimesFurther = 3.0;
constexpr double kFurther = 0.03;

/// More points of one temperature than this say no more of its place.
constexpr std::size_t kMostPerCurve = 60;

const char* UnitName(TemperatureUnit unit) {
  switch (unit) {
    case TemperatureUnit::Celsius:
      return "C";
    case TemperatureUnit::Kelvin:
      return "K";
    case TemperatureUnit::Fahrenheit:
      return "F";
  }
  return "";
}

MaxwellCurve Working(const ModulusCurve& measured, const Curve& kept) {
  MaxwellCurve curve{measured.quantity, measured.ratio, kept.weight, kept.x, kept.y};
  for (double& x : curve.x) x *= measured.perUnit;
  return curve;
}

LogCurve AsLogCurve(const MaxwellCurve& curve) {
  std::vector<std::size_t> order(curve.x.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return curve.x[a] < curve.x[b]; });
  LogCurve logs;
  for (const std::size_t i : order) {
    const double x = std::log(curve.x[i]);
    const double y = std::log(curve.y[i]);
    if (!logs.x.empty() && x <= logs.x.back()) continue;  // measured twice
    logs.x.push_back(x);
    logs.y.push_back(y);
  }
  return logs;
}

/// Of dense records means over equal steps, which is what lies beside each other on a logarithmic axis.
MaxwellCurve FewPoints(MaxwellCurve curve) {
  if (curve.x.size() <= kMostPerCurve) return curve;
  std::vector<MaxwellCurve> one{std::move(curve)};
  one = ThinnedOut(std::move(one), kMostPerCurve);
  return std::move(one.front());
}

/// One number for each of several points, over the model in relative distances.
double RootMeanSquare(const std::vector<double>& values, const std::vector<double>& smooth) {
  double sum = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) sum += std::pow(1.0 - smooth[i] / values[i], 2);
  return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(1, values.size())));
}

std::string Percent(double share) { return Text(std::round(1000.0 * share) / 10.0) + " %"; }

class Superposer {
 public:
  Superposer(const SuperpositionData& data, const Options& options) : data_(data), options_(options) {
    // Ranges of the curves as they were measured; what is left is for the law.
    for (const ModulusKind kind : {ModulusKind::Relaxation, ModulusKind::Storage, ModulusKind::Loss}) {
      auto range = options_.ranges.find(NameOf(kind));
      if (range == options_.ranges.end()) range = options_.ranges.find("");
      if (range != options_.ranges.end()) ranges_[kind] = range->second;
    }
    std::erase_if(options_.ranges, [](const auto& range) { return range.first != kFactors; });
  }

  Superposition Run() {
    Screen();
    FindAnchor();
    Overlap();
    Common();
    MoveToReference();
    FitLaw();
    FillOpenFactors();
    Reduce();
    Result& result = out_.result;
    result.notes.insert(result.notes.begin(), notes_.begin(), notes_.end());
    result.dropped.insert(result.dropped.begin(), dropped_.begin(), dropped_.end());
    result.measures.dropped = static_cast<int>(result.dropped.size());
    for (CurveResult& curve : result.curves) {
      curve.measures.dropped =
          static_cast<int>(std::count_if(result.dropped.begin(), result.dropped.end(),
                                         [&](const DroppedPoint& point) { return point.curve == curve.name; }));
    }
    return std::move(out_);
  }

 private:
  /// The screened curves of one temperature.
  struct Temperature {
    double value = 0.0;
    ModulusCurve leading;  ///< storage modulus or relaxation
    std::optional<ModulusCurve> loss;
  };

  ModulusCurve Screened(const ModulusCurve& measured, double temperature) {
    ModulusCurve kept = measured;
    kept.curve.name = NameOf(measured.quantity);
    const bool inTime = measured.quantity == ModulusKind::Relaxation;
    const auto range = ranges_.find(measured.quantity);
    for (const UnusedRow& unused : measured.curve.unused) {
      dropped_.push_back({kept.curve.name, unused.row, unused.reason});
    }
    kept.curve = Xem::Fit::Screen(
        kept.curve, "modulus",
        [&](double x, double y) -> std::string {
          if (x <= 0.0) return (inTime ? "time " : "frequency ") + Text(x) + " is not positive";
          if (range != ranges_.end() && (x < range->second.lower || x > range->second.upper)) {
            return "outside the range " + Text(range->second);
          }
          return y < 0.0 ? "modulus " + Text(y) + " is below 0" : std::string();
        },
        0, dropped_);
    if (!(measured.perUnit > 0.0)) {
      throw Error(ErrorKind::BadInput, "the unit of time or frequency at " + Text(temperature) + " is not positive");
    }
    return kept;
  }

  void Screen() {
    constexpr std::size_t kFewestPoints = 2;
    for (const Isotherm& isotherm : data_.isotherms) {
      Temperature one;
      one.value = isotherm.temperature;
      if (!(InKelvin(one.value, data_.unit) > 0.0)) {
        throw Error(ErrorKind::BadData,
                    "the temperature " + Text(one.value) + " " + UnitName(data_.unit) + " is not above absolute zero");
      }
      bool leads = false;
      for (const ModulusCurve& curve : isotherm.curves) {
        ModulusCurve kept = Screened(curve, one.value);
        if (curve.quantity == ModulusKind::Loss) {
          one.loss = std::move(kept);
        } else {
          one.leading = std::move(kept);
          leads = true;
        }
      }
      if (!leads) {
        throw Error(ErrorKind::BadData, "a storage modulus or a relaxation curve is needed at " + Text(one.value) +
                                            ": they decide on the factors");
      }
      if (one.leading.curve.x.size() < kFewestPoints) {
        notes_.push_back("temperature " + Text(one.value) + ": too few points, left out");
        continue;
      }
      all_.push_back(std::move(one));
    }
    std::stable_sort(all_.begin(), all_.end(), [](const auto& a, const auto& b) { return a.value < b.value; });
    if (all_.size() < 2) {
      throw Error(ErrorKind::BadData, "curves at two temperatures at least are needed to shift them");
    }
    for (std::size_t k = 0; k < all_.size(); ++k) {
      const ModulusCurve& leading = all_[k].leading;
      if (leading.quantity != all_[0].leading.quantity || leading.ratio != all_[0].leading.ratio) {
        throw Error(ErrorKind::BadData, "some temperatures have times and others frequencies; shift them one by one");
      }
      if (k > 0 && !(all_[k].value > all_[k - 1].value)) {
        throw Error(ErrorKind::BadData, "two sets of curves are at " + Text(all_[k].value));
      }
    }
  }

  void FindAnchor() {
    for (std::size_t k = 1; k < all_.size(); ++k) {
      if (std::abs(all_[k].value - data_.reference) < std::abs(all_[anchor_].value - data_.reference)) anchor_ = k;
    }
    const double first = all_.front().value;
    const double last = all_.back().value;
    const double step = (last - first) / static_cast<double>(all_.size() - 1);
    if (data_.reference < first - step || data_.reference > last + step) {
      const std::string text = "the reference temperature " + Text(data_.reference) +
                               " lies outside the measured ones, " + Text(first) + " to " + Text(last);
      if (data_.law == ShiftLaw::None) throw Error(ErrorKind::BadInput, text + "; only a law leads there");
      notes_.push_back(text + ": the law was prolonged");
    }
  }

  void Overlap() {
    double scale = 0.0;
    for (const Temperature& one : all_) {
      const auto& y = one.leading.curve.y;
      scale = std::max(scale, *std::max_element(y.begin(), y.end()));
    }
    for (const Temperature& one : all_) {
      working_.push_back(FewPoints(Working(one.leading, one.leading.curve)));
      for (double& y : working_.back().y) y /= scale;
      working_.back().ratio = false;
    }
    scale_ = scale;
    std::vector<LogCurve> logs;
    for (const MaxwellCurve& curve : working_) logs.push_back(AsLogCurve(curve));
    overlap_.assign(all_.size(), 0.0);
    // log a_T moves frequencies to the right and times to the left.
    const double sign = working_.front().quantity == ModulusKind::Relaxation ? -1.0 : 1.0;
    for (std::size_t k = anchor_ + 1; k < all_.size(); ++k) {
      overlap_[k] = overlap_[k - 1] + sign * OverlapShift(logs[k - 1], logs[k]);
    }
    for (std::size_t k = anchor_; k-- > 0;) {
      overlap_[k] = overlap_[k + 1] + sign * OverlapShift(logs[k + 1], logs[k]);
    }
  }

  void Common() {
    common_ = FitCommonSpectrum(working_, anchor_, overlap_, data_.vertical);
    std::string open;
    for (std::size_t k = 0; k < all_.size(); ++k) {
      ShiftFactor factor;
      factor.temperature = all_[k].value;
      factor.log10aT = common_.shifts[k] / kDecade;
      factor.standardError = common_.errors[k] / kDecade;
      factor.log10bT = common_.vertical[k] / kDecade;
      factor.verticalError = data_.vertical ? common_.verticalErrors[k] / kDecade : factor.verticalError;
      factor.overlap = overlap_[k] / kDecade;
      out_.factors.push_back(factor);
      if (std::isnan(factor.standardError)) open += (open.empty() ? "" : ", ") + Text(factor.temperature);
    }
    if (!open.empty())
      notes_.push_back("the curves do not tell the shift factors at " + open +
                       ": they are too flat, or lie apart from the others");
  }

  ShiftFactorData FactorsFrom(std::size_t first, std::size_t last) const {
    ShiftFactorData factors;
    factors.curve.name = kFactors;
    factors.reference = data_.reference;
    factors.unit = data_.unit;
    for (std::size_t k = first; k < last; ++k) {
      if (std::isnan(out_.factors[k].standardError)) continue;
      factors.curve.x.push_back(out_.factors[k].temperature);
      factors.curve.y.push_back(out_.factors[k].log10aT);
      factors.curve.rows.push_back(static_cast<int>(k) + 1);
      factors.standardErrors.push_back(out_.factors[k].standardError);
    }
    // The anchor's own scatter is in all the others; it counts as the surest of them.
    double surest = std::numeric_limits<double>::infinity();
    for (const double error : factors.standardErrors) {
      if (error > 0.0) surest = std::min(surest, error);
    }
    for (double& error : factors.standardErrors) {
      if (error == 0.0 && std::isfinite(surest)) error = surest;
    }
    return factors;
  }

  Result LawFrom(ShiftLaw law, std::size_t first) const {
    return Fit({NameOf(law), 0}, FactorsFrom(first, all_.size()), options_);
  }

  /// log10 a_T of the anchor against the reference, which need not be a measured temperature: from the factors beside
  /// it, or, where it lies outside of them, from the law.
  double OffsetOfAnchor() const {
    const double reference = data_.reference;
    if (reference < all_.front().value || reference > all_.back().value) {
      if (data_.law == ShiftLaw::None) return -Interpolated();
      ShiftFactorData factors = FactorsFrom(0, all_.size());
      factors.reference = all_[anchor_].value;
      return -Fit({NameOf(data_.law), 0}, factors, {}).evaluate(kFactors, reference);
    }
    return -Interpolated();
  }

  /// The factor at the reference, from the polynomial through those at the nearest temperatures (Lagrange).
  double Interpolated() const {
    constexpr std::size_t kPoints = 4;
    std::vector<std::size_t> near(all_.size());
    std::iota(near.begin(), near.end(), std::size_t{0});
    const auto apart = [&](std::size_t k) { return std::abs(all_[k].value - data_.reference); };
    std::stable_sort(near.begin(), near.end(), [&](std::size_t a, std::size_t b) { return apart(a) < apart(b); });
    near.resize(std::min(kPoints, near.size()));
    double sum = 0.0;
    for (const std::size_t i : near) {
      double part = out_.factors[i].log10aT;
      for (const std::size_t j : near) {
        if (j != i) part *= (data_.reference - all_[j].value) / (all_[i].value - all_[j].value);
      }
      sum += part;
    }
    return sum;
  }

  void FitLaw() {
    if (data_.law == ShiftLaw::None) {
      FactorsAlone();
      return;
    }
    std::size_t first = 0;
    const std::size_t last = all_.size();
    const auto transition = NoteTransition();
    if (transition && data_.law == ShiftLaw::Wlf && *transition <= anchor_) first = *transition;
    if (transition && data_.law == ShiftLaw::Wlf && first == 0) {
      notes_.push_back(
          "the reference temperature lies below the transition, where WLF does not hold; with one above it, "
          "C1 and C2 are those of the temperatures above it alone");
    }
    out_.result = LawFrom(data_.law, first);
    if (transition) out_.result.derived["glass_transition"] = Between(*transition);
    if (transition) out_.result.derivedUnits["glass_transition"] = UnitName(data_.unit);
    if (first > 0) {
      notes_.push_back("the " + std::to_string(first) + " factors below the transition take no part in WLF");
    }
    const ShiftLaw other = data_.law == ShiftLaw::Wlf ? ShiftLaw::Arrhenius : ShiftLaw::Wlf;
    if (last - first < kFewestForLaw) return;
    const Result rival = LawFrom(other, first);
    if (rival.measures.rmse < 0.5 * out_.result.measures.rmse) {
      notes_.push_back(std::string("the ") + NameOf(other) + " law describes the factors better: they are " +
                       Text(rival.measures.rmse) + " decades from it (rms), and " + Text(out_.result.measures.rmse) +
                       " from this one");
    }
  }

  double Between(std::size_t k) const { return 0.5 * (all_[k - 1].value + all_[k].value); }

  /// A straight line of the factors over some function of temperature.
  struct StraightLine {
    double slope = 0.0;
    double squares = 0.0;  ///< distances over what the factors are known to
  };

  StraightLine LineOver(const std::function<double(double)>& abscissa, std::size_t first, std::size_t last) const {
    // No factor is known better, whatever the scatter of its curves.
    constexpr double kKnown = 0.02;
    double w = 0.0, x = 0.0, y = 0.0;
    const auto visit = [&](const std::function<void(double, double, double)>& use) {
      for (std::size_t k = first; k < last; ++k) {
        const ShiftFactor& factor = out_.factors[k];
        if (std::isnan(factor.standardError)) continue;
        use(1.0 / (factor.standardError * factor.standardError + kKnown * kKnown), abscissa(factor.temperature),
            factor.log10aT);
      }
    };
    visit([&](double weight, double at, double value) {
      w += weight;
      x += weight * at;
      y += weight * value;
    });
    double xx = 0.0, xy = 0.0, yy = 0.0;
    visit([&](double weight, double at, double value) {
      xx += weight * (at - x / w) * (at - x / w);
      xy += weight * (at - x / w) * (value - y / w);
      yy += weight * (value - y / w) * (value - y / w);
    });
    return {xy / xx, std::max(yy - xy * xy / xx, 0.0)};
  }

  /// Arrhenius whatever the reference; the slope is the activation energy.
  StraightLine ArrheniusLine(std::size_t first, std::size_t last) const {
    const double zero = InKelvin(all_[first].value, data_.unit);
    return LineOver([&](double t) { return MaterialUtil::ArrheniusShift(1.0, InKelvin(t, data_.unit), zero); }, first,
                    last);
  }

  /// WLF whatever the reference: the best straight line over 1 / (T - pole).
  double WlfSquares(std::size_t first, std::size_t last) const {
    constexpr int kSteps = 100;
    constexpr double kNearest = 2.0;
    constexpr double kFurthest = 2000.0;
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i < kSteps; ++i) {
      const double below = kNearest * std::pow(kFurthest / kNearest, static_cast<double>(i) / (kSteps - 1));
      const double pole = all_[first].value - below;
      best = std::min(best, LineOver([&](double t) { return 1.0 / (t - pole); }, first, last).squares);
    }
    return best;
  }

  /// The first temperature above a glass transition, where two laws are much better than one.
  std::optional<std::size_t> NoteTransition() {
    const std::size_t count = all_.size();
    if (count < 2 * kFewestForLaw) return std::nullopt;
    const auto points = static_cast<int>(count);
    const auto criterion = [&](double squares, int parameters) {
      // Factors nearer to a law than they are known ask for no second one.
      return CorrectedInformation(std::max(squares, 0.01 * points), points, parameters);
    };
    double least = criterion(WlfSquares(0, count), 3) - kTwoLawsBetter;
    std::optional<std::size_t> best;
    for (std::size_t k = kFewestForLaw; k + kFewestForLaw <= count; ++k) {
      const double both = criterion(ArrheniusLine(0, k).squares + WlfSquares(k, count), 6);
      if (both < least) {
        least = both;
        best = k;
      }
    }
    if (!best) return best;
    const double energy = ArrheniusLine(0, *best).slope;
    notes_.push_back("one law does not serve all temperatures: below a transition near " +
                     Text(std::round(Between(*best))) + " " + UnitName(data_.unit) +
                     ", as that of glass, the factors follow a straight line over 1/T (E_a = " +
                     Text(std::round(energy)) + " kJ/mol), above it the WLF law");
    return best;
  }

  void FactorsAlone() {
    Result& result = out_.result;
    result.model = "none";
    result.converged = true;
    result.status = "shifted";
    result.version = XEM_VERSION;
    result.options = options_;
    CurveResult curve;
    curve.name = kFactors;
    for (const ShiftFactor& factor : out_.factors) {
      curve.x.push_back(factor.temperature);
      curve.measured.push_back(factor.log10aT);
    }
    curve.fitted = curve.measured;
    Measure(curve);
    result.measures = curve.measures;
    result.curves = {std::move(curve)};
  }

  void MoveToReference() {
    offset_ = OffsetOfAnchor();
    for (ShiftFactor& factor : out_.factors) {
      factor.log10aT += offset_;
      factor.overlap += offset_;
    }
  }

  /// What the curves do not tell the law does, where there is one; else it is the overlap with the neighbour.
  void FillOpenFactors() {
    for (ShiftFactor& factor : out_.factors) {
      if (!std::isnan(factor.standardError)) continue;
      factor.log10aT =
          data_.law == ShiftLaw::None ? factor.overlap : out_.result.evaluate(kFactors, factor.temperature);
    }
  }

  MasterCurve Joined(const std::function<const ModulusCurve*(const Temperature&)>& of) const {
    struct Point {
      double x, y;
      int row;
      std::size_t isotherm;
    };
    std::vector<Point> points;
    MasterCurve master;
    for (std::size_t k = 0; k < all_.size(); ++k) {
      const ModulusCurve* curve = of(all_[k]);
      if (curve == nullptr) continue;
      master.reduced.quantity = curve->quantity;
      master.reduced.perUnit = curve->perUnit;
      master.reduced.ratio = curve->ratio;
      const double factor = std::pow(10.0, out_.factors[k].log10aT);
      const double vertical = std::pow(10.0, out_.factors[k].log10bT);
      for (std::size_t i = 0; i < curve->curve.x.size(); ++i) {
        const double x = curve->curve.x[i];
        points.push_back({curve->quantity == ModulusKind::Relaxation ? x / factor : x * factor,
                          curve->curve.y[i] / vertical, curve->curve.Row(i), k});
      }
    }
    std::stable_sort(points.begin(), points.end(), [](const Point& a, const Point& b) { return a.x < b.x; });
    master.reduced.curve.name = NameOf(master.reduced.quantity);
    for (const Point& point : points) {
      master.reduced.curve.x.push_back(point.x);
      master.reduced.curve.y.push_back(point.y);
      master.reduced.curve.rows.push_back(point.row);
      master.isotherms.push_back(point.isotherm);
    }
    return master;
  }

  void Reduce() {
    MasterCurve leading = Joined([](const Temperature& one) { return &one.leading; });
    // The spectrum belongs to the anchor, whose factor against the reference is the offset.
    const double move = std::pow(10.0, leading.reduced.quantity == ModulusKind::Relaxation ? offset_ : -offset_);
    for (const double x : leading.reduced.curve.x) {
      leading.smooth.push_back(scale_ * common_.At(leading.reduced.quantity, x * leading.reduced.perUnit * move));
    }
    leading.misfit = RootMeanSquare(leading.reduced.curve.y, leading.smooth);
    const char* what = leading.reduced.quantity == ModulusKind::Storage ? "storage modulus" : "relaxation";
    notes_.push_back(std::string("the ") + what + " superposes within " + Percent(leading.misfit) +
                     " (rms about one common spectrum)");
    out_.master.push_back(std::move(leading));

    MasterCurve loss = Joined([](const Temperature& one) { return one.loss ? &*one.loss : nullptr; });
    if (loss.reduced.curve.x.empty()) return;
    FollowWith(loss);
    out_.master.push_back(std::move(loss));
  }

  /// How well the loss modulus lies on a curve of its own, whatever the storage modulus says of its spectrum.
  void FollowWith(MasterCurve& loss) {
    MaxwellCurve curve = Working(loss.reduced, loss.reduced.curve);
    const double largest = *std::max_element(curve.y.begin(), curve.y.end());
    for (double& y : curve.y) y /= largest;
    constexpr double kBeyond = 10.0;
    const ScaledSpectrum own = DenseMaxwellSpectrum({curve}, Residual::Relative, MeasuredTimes({curve}), kBeyond,
                                                    Instantaneous::Open, 1.0, Neighbours::Apart);
    CommonSpectrum spectrum;
    spectrum.lines = own.lines;
    for (const double x : curve.x) loss.smooth.push_back(largest * spectrum.At(ModulusKind::Loss, x));
    loss.misfit = RootMeanSquare(loss.reduced.curve.y, loss.smooth);
    const double leading = out_.master.front().misfit;
    const bool follows = loss.misfit <= std::max(kTimesFurther * leading, kFurther);
    notes_.push_back("the loss modulus, moved by the same factors, " +
                     std::string(follows ? "follows: it is " : "does not superpose: it is ") + Percent(loss.misfit) +
                     " from its own best curve (rms)" +
                     (follows ? "" : "; the factors are those of the storage modulus"));
  }

  const SuperpositionData& data_;
  Options options_;
  std::map<ModulusKind, Interval> ranges_;
  std::vector<Temperature> all_;
  std::size_t anchor_ = 0;
  double scale_ = 1.0;
  double offset_ = 0.0;
  std::vector<MaxwellCurve> working_;
  std::vector<double> overlap_;
  CommonSpectrum common_;
  std::vector<std::string> notes_;
  std::vector<DroppedPoint> dropped_;
  Superposition out_;
};

}  // namespace

const char* NameOf(ShiftLaw law) {
  switch (law) {
    case ShiftLaw::Wlf:
      return "wlf";
    case ShiftLaw::Arrhenius:
      return "arrhenius";
    case ShiftLaw::None:
      return "none";
  }
  return "";
}

Superposition Superpose(const SuperpositionData& data, const Options& options) {
  return Superposer(data, options).Run();
}

}  // namespace Xem::Fit
