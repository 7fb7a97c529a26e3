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
  // A single path has the stress ratio 0/0.
  for (std::int32_t i = 0; i < count; ++i) paths.push_back(March(static_cast<double>(i) / (count - 1)));
  return paths;
}

StrainPath XemFLCMMFC::March(double alpha) const {
  const double beta = yield_->StrainRatio(alpha);
  StrainPath path;
  path.alpha = alpha;
  path.right = beta > 0.0;
  if (std::abs(beta) <= params_->tol) {
    path.end = PathEnd::PlaneStrainFromTheStart;
    return path;
  }
  State state;
  state.beta = beta;
  TakeStressRatio(state, alpha);
  for (;;) {
    const State before = state;
    const double majorBefore = path.major;
    path.major += params_->delta;
    path.minor += state.beta * params_->delta;
    const bool goesOn = Advance(state);
    path.strain = state.strain;
    // A strain ratio that is not a number ends the path, too.
    if (!(std::abs(state.beta) >= params_->tol)) {
      path.end = PathEnd::Reached;
      return path;
    }
    const bool stands = Unchanged(path.major, majorBefore) && Same(state, before);
    if (!goesOn || stands || std::abs(path.major) >= kLargestMajorStrain) {
      path.end = PathEnd::Never;
      return path;
    }
  }
}

/// One step of the material; false when it is sure that the path turns no more, or when it has turned to infinity.
bool XemFLCMMFC::Advance(State& state) const {
  state.strain += state.strainIncrement;
  const double stress = FlowStress(state.strain, 0.0);
  const double present = state.phi * stress;
  const double required = state.slopeFactor * hardening_->HardeningSlope(state.strain);
  if (!(present >= required)) return !IsStraightForever(state, present, required);

  const double slope = yield_->StressFactorSlope(state.alpha);
  state.beta += (present - required) / (slope * stress) * params_->delta;
  TakeStressRatio(state, yield_->StressRatio(state.beta));
  return !std::isinf(slope) && !std::isinf(state.beta);
}

/// For a path whose last step did not turn it: its strain ratio stays, and its strain goes on by equal increments. A
/// step that jumped beyond beta = -2 has made the stress factor negative; the path then turns again only when hardening
/// catches up with the flow stress, which it doesn't on a curve that grows ever flatter.
bool XemFLCMMFC::IsStraightForever(const State& state, double present, double required) const {
  return required - present > kFarBeyondRounding * (std::abs(required) + std::abs(present)) && state.phi < 0.0 &&
         state.strainIncrement > 0.0 && params_->delta > 0.0 && hardening_->IsConcaveFrom(state.strain);
}

void XemFLCMMFC::TakeStressRatio(State& state, double alpha) const {
  state.alpha = alpha;
  state.phi = StressFactor(alpha);
  state.strainIncrement = state.phi * (1.0 + alpha * state.beta) * params_->delta;
  state.slopeFactor = Square(state.phi) * (1.0 + alpha * state.beta);
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
