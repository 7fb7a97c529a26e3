#include "sheetmetal/forming_limit.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>

namespace Xem::MaterialUtil::SheetMetalForming {
namespace {

/// A path that has not ended after so many steps is given up.
constexpr std::int64_t kMostSteps = 20'000'000;

/// So many paths given up are waited for; those after them get fewer steps, so that a call with thousands of paths that
/// do not end takes minutes and not hours.
constexpr std::int32_t kPatience = 100;
constexpr std::int64_t kStepsWithoutPatience = 1'000'000;

/// No strain ratio is smaller in magnitude than a tolerance of zero: only one that is not a number ends such a path,
/// and that comes early or not at all.
constexpr std::int64_t kStepsWithoutTolerance = 1000;

/// The same number, or no number again.
bool Unchanged(double now, double before) { return now == before || (std::isnan(now) && std::isnan(before)); }

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
  std::int64_t mostSteps = params_->tol <= 0.0 ? kStepsWithoutTolerance : kMostSteps;
  std::int32_t givenUp = 0;
  for (std::int32_t i = 0; i < count; ++i) {
    // A single path has the stress ratio 0/0.
    paths.push_back(March(static_cast<double>(i) / (count - 1), mostSteps));
    if (paths.back().end == PathEnd::OutOfSteps && ++givenUp == kPatience) {
      mostSteps = std::min(mostSteps, kStepsWithoutPatience);
    }
  }
  return paths;
}

StrainPath XemFLCMMFC::March(double alpha, std::int64_t mostSteps) const {
  const double beta = yield_->StrainRatio(alpha);
  StrainPath path;
  path.alpha = alpha;
  path.right = beta > 0.0;
  if (std::abs(beta) <= params_->tol) {
    path.end = PathEnd::PlaneStrainFromTheStart;
    return path;
  }
  State state{alpha, beta, StressFactor(alpha), 0.0};
  for (std::int64_t step = 0; step < mostSteps; ++step) {
    const State before = state;
    path.major += params_->delta;
    path.minor += state.beta * params_->delta;
    const bool goesOn = Advance(state);
    path.strain = state.strain;
    // A strain ratio that is not a number ends the path, too.
    if (!(std::abs(state.beta) >= params_->tol)) {
      path.end = PathEnd::Reached;
      return path;
    }
    if (!goesOn || Same(state, before)) {
      path.end = PathEnd::Never;
      return path;
    }
  }
  path.end = PathEnd::OutOfSteps;
  return path;
}

/// One step of the material; false when it is sure that the path turns no more, or when it has turned to infinity.
bool XemFLCMMFC::Advance(State& state) const {
  state.strain += StrainIncrement(state);
  const double stress = FlowStress(state.strain, 0.0);
  const Forces forces = ForcesAt(state, stress, state.strain);
  if (forces.present >= forces.required) return Turn(state, forces, stress);
  return !IsStraightForever(state, forces);
}

/// For a path whose last step did not turn it: its strain ratio stays, and its strain goes on by equal increments.
bool XemFLCMMFC::IsStraightForever(const State& state, const Forces& forces) const {
  const double increment = StrainIncrement(state);
  if (forces.present < forces.required) {
    // A step that jumped beyond beta = -2 has made the stress factor negative. The path then turns again only when
    // hardening catches up with the flow stress, which it doesn't on a curve that grows ever flatter.
    return state.phi < 0.0 && increment > 0.0 && params_->delta > 0.0 && hardening_->IsConcaveFrom(state.strain);
  }
  // The forces are not numbers. If they are none at the furthest strain either, they won't be in between.
  const double furthest = state.strain + static_cast<double>(kMostSteps) * increment;
  const Forces then = ForcesAt(state, FlowStress(furthest, 0.0), furthest);
  return std::isnan(then.present) || std::isnan(then.required);
}

bool XemFLCMMFC::Turn(State& state, const Forces& forces, double stress) const {
  const double slope = yield_->StressFactorSlope(state.alpha);
  state.beta += (forces.present - forces.required) / (slope * stress) * params_->delta;
  state.alpha = yield_->StressRatio(state.beta);
  state.phi = StressFactor(state.alpha);
  return !std::isinf(slope) && !std::isinf(state.beta);
}

double XemFLCMMFC::StrainIncrement(const State& state) const {
  return state.phi * (1.0 + state.alpha * state.beta) * params_->delta;
}

XemFLCMMFC::Forces XemFLCMMFC::ForcesAt(const State& state, double stress, double strain) const {
  const double slope = hardening_->HardeningSlope(strain);
  return {state.phi * stress, state.phi * state.phi * (1.0 + state.alpha * state.beta) * slope};
}

bool XemFLCMMFC::Same(const State& a, const State& b) {
  return Unchanged(a.strain, b.strain) && Unchanged(a.beta, b.beta) && Unchanged(a.alpha, b.alpha);
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
