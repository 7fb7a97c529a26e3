#include "sheetmetal/forming_limit.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>

#include "fit/assemble.h"
#include "fit/screening.h"
#include "sheetmetal/table.h"
#include "xem/fit/sheet_metal.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil::SheetMetalForming;

constexpr int kUsualPaths = 41;

/// The left side is drawn through at least so many points, if the caller leaves the number of paths open.
constexpr int kFewestLeftPoints = 6;

[[noreturn]] void RefuseLimit(const std::string& what) { throw Error(ErrorKind::BadInput, what); }

// --- Hardening ------------------------------------------------------------------------------------------------------

struct Bound {
  const char* name;
  double lowest;
  bool included;
};

void RequireConstants(const Hardening& hardening, const std::vector<Bound>& bounds) {
  if (hardening.constants.size() != bounds.size()) {
    RefuseLimit("hardening law " + hardening.law + " has " + std::to_string(bounds.size()) + " constants, not " +
                std::to_string(hardening.constants.size()));
  }
  for (std::size_t k = 0; k < bounds.size(); ++k) {
    const double value = hardening.constants[k];
    const Bound& bound = bounds[k];
    if (std::isfinite(value) && (bound.included ? value >= bound.lowest : value > bound.lowest)) continue;
    RefuseLimit("hardening law " + hardening.law + ": constant " + bound.name + " = " + Text(value) +
                (bound.included ? " must be at least " : " must be above ") + Text(bound.lowest));
  }
}

constexpr double kAnything = -std::numeric_limits<double>::infinity();

boost::shared_ptr<HardeningParams> GhoshRecord(Hardening hardening) {
  if (hardening.law == "swift" && hardening.constants.size() == 3) hardening.constants.push_back(0.0);
  RequireConstants(hardening, {{"K", 0.0, false}, {"e0", 0.0, true}, {"n", 0.0, false}, {"p", kAnything, false}});
  const auto& c = hardening.constants;
  return boost::make_shared<HRGhoshParams>(c[0], c[1], c[2], c[3]);
}

boost::shared_ptr<HardeningParams> HockettSherbyRecord(const Hardening& hardening) {
  RequireConstants(hardening, {{"si", 0.0, true}, {"ss", 0.0, false}, {"N", 0.0, false}, {"p", 0.0, false}});
  const auto& c = hardening.constants;
  return boost::make_shared<HRHockettSherbyParams>(c[0], c[1], c[2], c[3]);
}

boost::shared_ptr<HardeningParams> VoceRecord(const Hardening& hardening) {
  const std::vector<Bound> voce{{"s0", 0.0, true}, {"q", 0.0, true}, {"b", 0.0, false}};
  const auto& c = hardening.constants;
  if (hardening.law == "voce") {
    RequireConstants(hardening, voce);
    return boost::make_shared<HRSwiftVoceParams>(0.0, 0.0, 0.0, c[0], c[1], c[2], 0.0);
  }
  std::vector<Bound> both{{"K", 0.0, false}, {"e0", 0.0, true}, {"n", 0.0, false}};
  both.insert(both.end(), voce.begin(), voce.end());
  both.push_back({"w", 0.0, true});
  RequireConstants(hardening, both);
  if (c[6] > 1.0) RefuseLimit("hardening law swift-voce: constant w = " + Text(c[6]) + " must be at most 1");
  return boost::make_shared<HRSwiftVoceParams>(c[0], c[1], c[2], c[3], c[4], c[5], c[6]);
}

/// The points of a table in order of strain, one for each strain.
boost::shared_ptr<HardeningParams> TableRecord(const Curve& table) {
  std::vector<DroppedPoint> none;
  const Curve screened = Screen(table, "stress", {}, 2, none);
  std::vector<_T_FUNT_BASE> points = CorePoints(screened);
  std::stable_sort(points.begin(), points.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  const auto repeated =
      std::adjacent_find(points.begin(), points.end(), [](const auto& a, const auto& b) { return a.first == b.first; });
  if (repeated != points.end()) {
    throw Error(ErrorKind::BadData, "curve " + table.name + ": strain " + Text(repeated->first) +
                                        " occurs more than once, so that its slope is not defined; keep one point of "
                                        "each strain or fit a law");
  }
  return boost::make_shared<HRCustomCurve>(points);
}

boost::shared_ptr<HardeningParams> Record(const Hardening& hardening) {
  if (hardening.law == "table") return TableRecord(hardening.table);
  HardeningConstants(hardening.law);  // refuses unknown laws
  if (hardening.law == "voce" || hardening.law == "swift-voce") return VoceRecord(hardening);
  return hardening.law == "hockett-sherby" ? HockettSherbyRecord(hardening) : GhoshRecord(hardening);
}

// --- Yield criterion and settings -----------------------------------------------------------------------------------

boost::shared_ptr<YieldParams> Record(const YieldCriterion& yield) {
  if (yield.name == "vonmises") return boost::make_shared<YCVonMisesParams>();
  if (yield.name != "hill1979") {
    RefuseLimit("there is no yield criterion " + yield.name + "; the criteria are vonmises and hill1979");
  }
  if (!std::isfinite(yield.r) || yield.r <= 0.0) RefuseLimit("hill1979: r = " + Text(yield.r) + " must be above 0");
  if (!std::isfinite(yield.m) || yield.m <= 1.0) RefuseLimit("hill1979: m = " + Text(yield.m) + " must be above 1");
  return boost::make_shared<YCHill1979Params>(yield.r, yield.m);
}

int LeftPaths(const XemSMYieldCriterion& criterion, int paths, double tolerance) {
  int left = 0;
  for (int i = 0; i < paths; ++i) {
    if (criterion.StrainRatio(static_cast<double>(i) / (paths - 1)) < -tolerance) ++left;
  }
  return left;
}

FormingLimitSettings Completed(FormingLimitSettings settings, const boost::shared_ptr<YieldParams>& yield) {
  if (!(settings.increment >= 1e-7 && settings.increment <= 0.1)) {
    RefuseLimit("the increment of the major strain, " + Text(settings.increment) + ", must lie between 1e-7 and 0.1");
  }
  if (settings.tolerance == 0.0) settings.tolerance = std::sqrt(settings.increment);
  if (!(settings.tolerance > 0.0 && settings.tolerance <= 0.4)) {
    RefuseLimit("the tolerance on the strain ratio, " + Text(settings.tolerance) + ", must lie between 0 and 0.4");
  }
  const auto criterion = MakeYieldCriterion(yield);
  const bool open = settings.paths == 0;
  if (open) settings.paths = kUsualPaths;
  if (settings.paths < 2 || settings.paths > kMostPaths) {
    RefuseLimit("the number of paths, " + std::to_string(settings.paths) + ", must lie between 2 and " +
                std::to_string(kMostPaths));
  }
  const int wanted = open ? kFewestLeftPoints : 2;
  int needed = settings.paths;
  while (LeftPaths(*criterion, needed, settings.tolerance) < wanted && needed <= kMostPaths / 2)
    needed = 2 * needed - 1;
  if (open) settings.paths = needed;
  if (LeftPaths(*criterion, settings.paths, settings.tolerance) < 2) {
    RefuseLimit("with " + std::to_string(settings.paths) +
                " paths fewer than two lie left of plane strain, and two are needed; take " + std::to_string(needed));
  }
  return settings;
}

// --- Curve and notes ------------------------------------------------------------------------------------------------

void NoteLostPaths(const std::vector<StrainPath>& paths, const YieldCriterion& yield, FormingLimit& limit) {
  int lost = 0;
  bool equibiaxial = false;
  std::string ratios;
  for (const StrainPath& path : paths) {
    if (path.end != PathEnd::Never) continue;
    if (path.alpha == 1.0 && yield.name == "hill1979" && yield.m != 2.0) {
      equibiaxial = true;
      continue;
    }
    ++lost;
    if (lost <= 5) ratios += (ratios.empty() ? "" : ", ") + Text(path.alpha);
  }
  if (equibiaxial) {
    limit.notes.push_back("the equibiaxial path has no limit: Hill's criterion keeps its strain ratio when m is not 2");
  }
  if (lost > 0) {
    limit.notes.push_back(std::to_string(lost) + " of " + std::to_string(paths.size()) +
                          " paths have no limit (stress ratios " + ratios + (lost > 5 ? ", ..." : "") +
                          "): the march jumped across plane strain; take a larger tolerance or a smaller increment");
  }
}

void NoteSettings(const FormingLimitSettings& settings, FormingLimit& limit) {
  const double safe = 0.5 * std::sqrt(settings.increment);
  if (settings.tolerance < safe) {
    limit.notes.push_back("tolerance " + Text(settings.tolerance) + " is below " + Text(safe) +
                          ", half the square root of the increment: the march may jump across plane strain, and limits "
                          "then scatter");
  }
  if (settings.tolerance > 0.1) {
    limit.notes.push_back("tolerance " + Text(settings.tolerance) + " ends paths well before plane strain");
  }
}

void NoteTable(const Hardening& hardening, const boost::shared_ptr<HardeningParams>& record, FormingLimit& limit) {
  if (hardening.law != "table") return;
  const auto& points = boost::static_pointer_cast<HRCustomCurve>(record)->points;
  int rising = 0;
  double before = std::numeric_limits<double>::infinity();
  for (std::size_t i = 1; i < points.size(); ++i) {
    const double slope = (points[i].second - points[i - 1].second) / (points[i].first - points[i - 1].first);
    if (slope < 0.0 || slope > 1.1 * before) ++rising;
    before = slope;
  }
  if (rising > 0) {
    limit.notes.push_back("curve " + hardening.table.name + ": the slope of the table falls below zero or rises at " +
                          std::to_string(rising) + " of " + std::to_string(points.size() - 1) +
                          " segments; limits follow the slope, so a fitted law is steadier");
  }
  if (limit.largestStrain > points.back().first) {
    limit.notes.push_back("curve " + hardening.table.name + ": the table ends at strain " + Text(points.back().first) +
                          " and is continued straight on to " + Text(limit.largestStrain));
  }
}

void NotePlateau(const Hardening& hardening, const YieldCriterion& yield, FormingLimit& limit) {
  if (!LimitsCollapse(hardening, yield)) return;
  limit.notes.push_back(
      "the flow curve starts flat and hardens later: near plane strain the criterion takes the plateau for a neck, and "
      "limits there have no meaning; take a law without a plateau, such as swift, or leave the plateau out");
}

/// The path of plane strain: the stress ratio stays, and the equivalent strain is phi times the major one.
class PlaneStrainPath {
 public:
  PlaneStrainPath(const Hardening& hardening, const YieldCriterion& yield)
      : rule_(MakeHardeningRule(Record(hardening))) {
    const auto criterion = MakeYieldCriterion(Record(yield));
    factor_ = criterion->StressFactor(criterion->StressRatio(0.0));
  }

  /// The major stress rises less than by itself per unit of major strain.
  bool Necks(double major) const {
    const double strain = factor_ * major;
    return !(factor_ * rule_->HardeningSlope(strain) > rule_->FlowStress(strain));
  }

 private:
  boost::shared_ptr<XemSMHardeningRule> rule_;
  double factor_ = 1.0;
};

constexpr double kFirstStrain = 1e-6;
constexpr double kSearchStep = 1e-3;
constexpr double kLargestStrain = 20.0;

void RequireFinite(const FormingLimit& limit) {
  const auto finite = [](double value) { return std::isfinite(value); };
  if (std::all_of(limit.majorStrain.begin(), limit.majorStrain.end(), finite) &&
      std::all_of(limit.minorStrain.begin(), limit.minorStrain.end(), finite)) {
    return;
  }
  throw Error(ErrorKind::NotConverged, "the forming-limit curve is not finite; check the hardening curve");
}

}  // namespace

double MeanAnisotropy(double r0, double r45, double r90) { return (r0 + 2.0 * r45 + r90) / 4.0; }

double PlaneStrainLimit(const Hardening& hardening, const YieldCriterion& yield) {
  const PlaneStrainPath path(hardening, yield);
  if (path.Necks(kFirstStrain)) return 0.0;
  double before = kFirstStrain;
  double after = kSearchStep;
  while (!path.Necks(after)) {
    if (after > kLargestStrain) return std::numeric_limits<double>::quiet_NaN();
    before = after;
    after += kSearchStep;
  }
  while (after - before > 1e-15 * after) {
    const double middle = 0.5 * (before + after);
    if (middle <= before || middle >= after) break;
    (path.Necks(middle) ? after : before) = middle;
  }
  return after;
}

bool LimitsCollapse(const Hardening& hardening, const YieldCriterion& yield) {
  const PlaneStrainPath path(hardening, yield);
  if (!path.Necks(kSearchStep)) return false;
  for (double major = kSearchStep; major < 1.0; major += kSearchStep) {
    if (!path.Necks(major)) return true;
  }
  return false;
}

double FlowStress(const Hardening& hardening, double strain) {
  return MakeHardeningRule(Record(hardening))->FlowStress(strain);
}

FormingLimit ComputeFormingLimit(const Hardening& hardening, const YieldCriterion& yield,
                                 const FormingLimitSettings& settings) {
  const auto hardeningRecord = Record(hardening);
  const auto yieldRecord = Record(yield);
  FormingLimit limit;
  limit.settings = Completed(settings, yieldRecord);
  const auto record =
      boost::make_shared<FLCMMFCParams>(limit.settings.paths, limit.settings.increment, limit.settings.tolerance);
  const std::vector<StrainPath> paths = XemFLCMMFC(record, hardeningRecord, yieldRecord).MarchAll();
  for (const StrainPath& path : paths) {
    if (path.end == PathEnd::Reached) limit.largestStrain = std::max(limit.largestStrain, path.strain);
    if (path.end == PathEnd::Reached && !path.right) ++limit.planeStrain;
  }
  if (limit.planeStrain < 2) {
    throw Error(ErrorKind::NotConverged,
                "fewer than two paths left of plane strain have a limit: take a larger tolerance or a smaller "
                "increment, and check that the hardening curve flattens");
  }
  for (const _T_FUNT_BASE& point : LimitPoints(paths)) {
    limit.majorStrain.push_back(point.first);
    limit.minorStrain.push_back(point.second);
  }
  const double exact = PlaneStrainLimit(hardening, yield);
  if (std::isfinite(exact)) limit.majorStrain[limit.planeStrain] = exact;
  RequireFinite(limit);
  NoteSettings(limit.settings, limit);
  NoteLostPaths(paths, yield, limit);
  NotePlateau(hardening, yield, limit);
  NoteTable(hardening, hardeningRecord, limit);
  return limit;
}

double LimitAt(const FormingLimit& limit, double minorStrain) {
  const auto& x = limit.minorStrain;
  const auto& y = limit.majorStrain;
  for (std::size_t i = 1; i < x.size(); ++i) {
    if (!(minorStrain >= x[i - 1] && minorStrain <= x[i]) || x[i] == x[i - 1]) continue;
    return y[i - 1] + (y[i] - y[i - 1]) * ((minorStrain - x[i - 1]) / (x[i] - x[i - 1]));
  }
  return std::numeric_limits<double>::quiet_NaN();
}

}  // namespace Xem::Fit
