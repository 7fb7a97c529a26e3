#include "fit/screening.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "fit/assemble.h"
#include "solver/linalg/numbers.h"

namespace Xem::Fit {
namespace {

std::string ReasonToDrop(double x, double y, double lateral, const std::string& ordinate, const Objection& objection) {
  if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(lateral)) return "not a finite number";
  if (MaterialUtil::IsNegligible(y)) return "zero " + ordinate;
  return objection ? objection(x, y) : std::string();
}

}  // namespace

Curve Screen(const Curve& curve, const std::string& ordinate, const Objection& objection, int fewest,
             std::vector<DroppedPoint>& dropped) {
  const std::size_t points = curve.x.size();
  if (curve.y.size() != points || (!curve.lateral.empty() && curve.lateral.size() != points) ||
      (!curve.rows.empty() && curve.rows.size() != points)) {
    throw Error(ErrorKind::BadData, "curve " + curve.name + ": its columns differ in length");
  }
  if (!(curve.weight > 0.0) || !std::isfinite(curve.weight)) {
    throw Error(ErrorKind::BadInput,
                "curve " + curve.name + ": weight " + Text(curve.weight) + " is not a positive number");
  }
  Curve kept;
  kept.name = curve.name;
  kept.weight = curve.weight;
  for (std::size_t i = 0; i < points; ++i) {
    const double lateral = curve.lateral.empty() ? 0.0 : curve.lateral[i];
    const std::string reason = ReasonToDrop(curve.x[i], curve.y[i], lateral, ordinate, objection);
    if (!reason.empty()) {
      dropped.push_back({curve.name, curve.Row(i), reason});
      continue;
    }
    kept.x.push_back(curve.x[i]);
    kept.y.push_back(curve.y[i]);
    if (!curve.lateral.empty()) kept.lateral.push_back(lateral);
    kept.rows.push_back(curve.Row(i));
  }
  if (static_cast<int>(kept.x.size()) < fewest) {
    throw Error(ErrorKind::BadData, "curve " + curve.name + ": " + std::to_string(kept.x.size()) + " of " +
                                        std::to_string(points) + " points can be used, at least " +
                                        std::to_string(fewest) + " are needed");
  }
  return kept;
}

void NoteOddities(const Curve& curve, std::vector<std::string>& notes) {
  const auto& x = curve.x;
  const auto falls = std::adjacent_find(x.begin(), x.end(), [](double a, double b) { return b < a; });
  const auto rises = std::adjacent_find(x.begin(), x.end(), [](double a, double b) { return b > a; });
  if (falls != x.end() && rises != x.end()) {
    const auto row = curve.Row(static_cast<std::size_t>(falls - x.begin()) + 1);
    notes.push_back("curve " + curve.name + ": abscissae are not sorted (row " + std::to_string(row) +
                    "); used as they are");
  }
  std::vector<double> sorted = x;
  std::sort(sorted.begin(), sorted.end());
  const auto repeated = std::adjacent_find(sorted.begin(), sorted.end());
  if (repeated != sorted.end()) {
    notes.push_back("curve " + curve.name + ": abscissa " + Text(*repeated) +
                    " occurs more than once; all its points are used");
  }
}

std::vector<_T_FUNT_BASE> CorePoints(const Curve& curve) {
  std::vector<_T_FUNT_BASE> points;
  points.reserve(curve.x.size());
  for (std::size_t i = 0; i < curve.x.size(); ++i) points.emplace_back(curve.x[i], curve.y[i]);
  return points;
}

std::vector<_T_FUNT_BASE3> CorePoints3(const Curve& curve) {
  std::vector<_T_FUNT_BASE3> points;
  points.reserve(curve.x.size());
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    points.emplace_back(curve.x[i], curve.lateral.empty() ? 0.0 : curve.lateral[i], curve.y[i]);
  }
  return points;
}

}  // namespace Xem::Fit
