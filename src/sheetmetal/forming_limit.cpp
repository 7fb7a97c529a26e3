#include "sheetmetal/forming_limit.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>

#include "sheetmetal/power.h"

namespace Xem::MaterialUtil::SheetMetalForming {
namespace {

/// No metal survives such a major strain: a path that reaches it is given up.
constexpr double kLargestMajorStrain = 20.0;

/// Forces further apart than this, relative to their size, are not brought together by rounding.
constexpr double kFarBeyondRounding = 1e-6;

/// Steps before the first leap, and least number in one.
constexpr std::int64_t kFirstLeap = 16;

/// The same number, or no number again.
bool Unchanged(double now, double before) { return now == before || (std::isnan(now) && std::isnan(before)); }

/// One path under concrete laws, whose operations are no virtual calls.
template <class Yield, class Hardening>
class PathMarch {
 public:
  PathMarch(const FLCMMFCParams& params, const Yield& yield, const Hardening& hardening)
      : delta_(params.delta), tol_(params.tol), yield_(yield), hardening_(hardening) {}

  StrainPath Follow(double alpha);

 private:
  struct State {
    double alpha = 0.0;
    double beta = 0.0;
    double phi = 0.0;
    double strainIncrement = 0.0;  ///< of the equivalent strain per step, phi (1 + alpha beta) delta
    double slopeFactor = 0.0;      ///< phi^2 (1 + alpha beta)
    double strain = 0.0;           ///< equivalent strain
  };
  /// A major force that grows or not: sigma1, and S, which sigma1 must reach for the path to turn.
  struct Force {
    double present = 0.0;
    double required = 0.0;
    bool isFarFromTurning = false;  ///< required is above present by more than rounding can take away
  };

  static bool Same(const State& a, const State& b) {
    return Unchanged(a.strain, b.strain) && Unchanged(a.beta, b.beta) && Unchanged(a.alpha, b.alpha);
  }
  void TakeStressRatio(double alpha);
  Force ForceOf(const Flow& flow) const;
  bool Advance();
  bool IsStraightForever(const Force& force) const;
  void LeapBeforeTheTurn(StrainPath& path);

  double delta_;
  double tol_;
  const Yield& yield_;
  const Hardening& hardening_;
  const double rateFactor_ = hardening_.RateFactor(0.0);
  State state_;
};

template <class Yield, class Hardening>
StrainPath PathMarch<Yield, Hardening>::Follow(double alpha) {
  const double beta = yield_.StrainRatio(alpha);
  StrainPath path;
  path.alpha = alpha;
  path.right = beta > 0.0;
  if (std::abs(beta) <= tol_) {
    path.end = PathEnd::PlaneStrainFromTheStart;
    return path;
  }
  state_.beta = beta;
  TakeStressRatio(alpha);
  for (std::int64_t step = 1;; ++step) {
    const State before = state_;
    const double majorBefore = path.major;
    path.major += delta_;
    path.minor += state_.beta * delta_;
    const bool goesOn = Advance();
    path.strain = state_.strain;
    // A strain ratio that is not a number ends the path, too.
    if (!(std::abs(state_.beta) >= tol_)) {
      path.end = PathEnd::Reached;
      return path;
    }
    const bool stands = Unchanged(path.major, majorBefore) && Same(state_, before);
    if (!goesOn || stands || std::abs(path.major) >= kLargestMajorStrain) {
      path.end = PathEnd::Never;
      return path;
    }
    if (step == kFirstLeap) LeapBeforeTheTurn(path);
  }
}

/// One step of the material; false when it is sure that the path turns no more, or when it has turned to infinity.
template <class Yield, class Hardening>
bool PathMarch<Yield, Hardening>::Advance() {
  state_.strain += state_.strainIncrement;
  const Flow flow = hardening_.At(state_.strain);
  const Force force = ForceOf(flow);
  if (!(force.present >= force.required)) return !IsStraightForever(force);

  const double slope = yield_.StressFactorSlope(state_.alpha, state_.phi);
  state_.beta += (force.present - force.required) / (slope * (flow.stress * rateFactor_)) * delta_;
  TakeStressRatio(yield_.StressRatio(state_.beta));
  return !std::isinf(slope) && !std::isinf(state_.beta);
}

template <class Yield, class Hardening>
typename PathMarch<Yield, Hardening>::Force PathMarch<Yield, Hardening>::ForceOf(const Flow& flow) const {
  const double present = state_.phi * (flow.stress * rateFactor_);
  const double required = state_.slopeFactor * flow.slope;
  const double size = std::abs(required) + std::abs(state_.phi * rateFactor_) * flow.largestPart;
  return {present, required, required - present > kFarBeyondRounding * size};
}

/// For a path whose last step did not turn it: its strain ratio stays, and its strain goes on by equal increments. A
/// step that jumped beyond beta = -2 has made the stress factor negative; the path then turns again only when hardening
/// catches up with the flow stress, which it doesn't on a curve that grows ever flatter.
template <class Yield, class Hardening>
bool PathMarch<Yield, Hardening>::IsStraightForever(const Force& force) const {
  return state_.phi < 0.0 && force.isFarFromTurning && state_.strainIncrement > 0.0 && delta_ > 0.0 &&
         hardening_.IsConcaveFrom(state_.strain);
}

/// Steps that add up and do nothing else. Where the curve grows ever flatter the major force gains less and less with
/// every step: as long as it certainly still grows after many steps, none of them turns the path, and the rule need not
/// be asked at each. Their number doubles until it takes the path too far, then halves.
template <class Yield, class Hardening>
void PathMarch<Yield, Hardening>::LeapBeforeTheTurn(StrainPath& path) {
  const bool growsAlways = delta_ > 0.0 && state_.strainIncrement > 0.0 && state_.phi > 0.0 &&
                           state_.slopeFactor > 0.0 && rateFactor_ >= 0.0 && hardening_.IsConcaveFrom(state_.strain);
  bool tooFar = false;
  for (std::int64_t steps = kFirstLeap; growsAlways && steps >= kFirstLeap; steps = tooFar ? steps / 2 : steps * 2) {
    StrainPath ahead = path;
    const double minorIncrement = state_.beta * delta_;
    for (std::int64_t step = 0; step < steps; ++step) {
      ahead.major += delta_;
      ahead.minor += minorIncrement;
      ahead.strain += state_.strainIncrement;
    }
    // A sum that no longer changes is for the march to notice.
    if (ahead.major < kLargestMajorStrain && ahead.major + delta_ > ahead.major &&
        ForceOf(hardening_.At(ahead.strain)).isFarFromTurning) {
      path = ahead;
      state_.strain = ahead.strain;
    } else {
      tooFar = true;
    }
  }
}

template <class Yield, class Hardening>
void PathMarch<Yield, Hardening>::TakeStressRatio(double alpha) {
  state_.alpha = alpha;
  state_.phi = yield_.StressFactor(alpha);
  state_.strainIncrement = state_.phi * (1.0 + alpha * state_.beta) * delta_;
  state_.slopeFactor = Square(state_.phi) * (1.0 + alpha * state_.beta);
}

/// Calls then(law) with the law as what it is, if it is one of these.
template <class... Known, class Law, class Then>
StrainPath AsItIs(const Law& law, Then&& then) {
  StrainPath path;
  const bool known =
      ((dynamic_cast<const Known*>(&law) != nullptr && (path = then(static_cast<const Known&>(law)), true)) || ...);
  return known ? path : then(law);
}

}  // namespace

XemFLC::XemFLC(const boost::shared_ptr<HardeningParams>& hardening, const boost::shared_ptr<YieldParams>& yield)
    : hardening_(MakeHardeningRule(hardening)), yield_(MakeYieldCriterion(yield)) {}

double XemFLC::StressFactor(double alpha) const { return yield_->StressFactor(alpha); }

double XemFLC::FlowStress(double strain, double rate) const { return hardening_->FlowStress(strain, rate); }

XemFLCMMFC::XemFLCMMFC(const boost::shared_ptr<FLCMMFCParams>& params,
                       const boost::shared_ptr<HardeningParams>& hardening, const boost::shared_ptr<YieldParams>& yield)
    : XemFLC(hardening, yield), params_(params) {}

void XemFLCMMFC::ComputeCurve(PointArray& curve) const {
  const std::vector<_T_FUNT_BASE> points = LimitPoints(MarchAll());
  curve.SetSize(static_cast<std::int64_t>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) curve[static_cast<std::int64_t>(i)] = points[i];
}

std::vector<StrainPath> XemFLCMMFC::MarchAll() const {
  const std::int32_t count = params_->N;
  std::vector<StrainPath> paths;
  paths.reserve(static_cast<std::size_t>(count));
  // A single path has the stress ratio 0/0.
  for (std::int32_t i = 0; i < count; ++i) paths.push_back(March(static_cast<double>(i) / (count - 1)));
  return paths;
}

StrainPath XemFLCMMFC::March(double alpha) const {
  return AsItIs<XemSMYCVonMises, XemSMYCHill1979>(*yield_, [&](const auto& yield) {
    return AsItIs<XemSMHRGhosh, XemSMHRHockettSherby>(
        *hardening_, [&](const auto& hardening) { return PathMarch(*params_, yield, hardening).Follow(alpha); });
  });
}

std::vector<_T_FUNT_BASE> LimitPoints(std::span<const StrainPath> paths) {
  std::vector<_T_FUNT_BASE> points;
  points.reserve(paths.size() + 1);
  const auto append = [&](bool right) {
    for (const StrainPath& path : paths) {
      if (path.end == PathEnd::Reached && path.right == right) points.emplace_back(path.major, path.minor);
    }
  };
  append(false);
  const std::size_t left = points.size();
  if (left < 2) throw CInvalidArgException("fewer than two paths on the left of plane strain have a limit");
  points.emplace_back(PlaneStrainLimit(points[left - 2], points[left - 1]), 0.0);
  append(true);
  return points;
}

double PlaneStrainLimit(const _T_FUNT_BASE& before, const _T_FUNT_BASE& last) {
  return last.first - (before.first - last.first) / (before.second - last.second) * last.second;
}

boost::shared_ptr<XemFLC> MakeFormingLimitCurve(const boost::shared_ptr<LimitCurveParams>& params,
                                                const boost::shared_ptr<YieldParams>& yield,
                                                const boost::shared_ptr<HardeningParams>& hardening) {
  if (!params || !yield || !hardening) return {};
  switch (params->type) {
    case LimitCurveType::ModifiedMaximumForce:
      return boost::make_shared<XemFLCMMFC>(boost::static_pointer_cast<FLCMMFCParams>(params), hardening, yield);
  }
  return {};
}

}  // namespace Xem::MaterialUtil::SheetMetalForming
