#include <algorithm>
#include <cmath>

#include "fit/assemble.h"
#include "xem/fit/prepare.h"

namespace Xem::Fit {
namespace {

/// How far neighbouring strains scatter about a straight line, from second differences, half of which are smaller.
double Scatter(const std::vector<double>& x) {
  std::vector<double> bends;
  for (std::size_t i = 1; i + 1 < x.size(); ++i) bends.push_back(std::abs(x[i - 1] - 2.0 * x[i] + x[i + 1]));
  if (bends.empty()) return 0.0;
  const auto middle = bends.begin() + static_cast<std::ptrdiff_t>(bends.size() / 2);
  std::nth_element(bends.begin(), middle, bends.end());
  return *middle;
}

/// 1 for strains that go up from where they begin, -1 for those of a compression test.
double Direction(const std::vector<double>& x) {
  const auto [lowest, highest] = std::minmax_element(x.begin(), x.end());
  return *highest - x.front() >= x.front() - *lowest ? 1.0 : -1.0;
}

/// Valleys and peaks by turns, the first of which is a valley.
std::vector<std::size_t> TurningPoints(const std::vector<double>& x) {
  constexpr double kNoTurn = 0.01;
  constexpr double kScatters = 6.0;
  constexpr double kSurelyTurn = 0.05;  // few points to a cycle look like scatter
  const double direction = Direction(x);
  const auto [lowest, highest] = std::minmax_element(x.begin(), x.end());
  const double range = *highest - *lowest;
  const double least = std::clamp(kScatters * Scatter(x), kNoTurn * range, kSurelyTurn * range);
  const auto at = [&](std::size_t i) { return direction * x[i]; };
  std::vector<std::size_t> turns;
  std::size_t valley = 0;
  std::size_t peak = 0;
  bool rising = false;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (at(i) < at(valley) && !rising) valley = i;
    if (at(i) > at(peak) && rising) peak = i;
    if (!rising && at(i) > at(valley) + least) {
      turns.push_back(valley);
      rising = true;
      peak = i;
    } else if (rising && at(i) < at(peak) - least) {
      turns.push_back(peak);
      rising = false;
      valley = i;
    }
  }
  if (!turns.empty()) turns.push_back(rising ? peak : valley);
  return turns;
}

Curve Part(const Curve& record, std::size_t first, std::size_t last) {
  Curve part = record;
  const auto keep = [&](auto& values) {
    if (values.empty()) return;
    values.erase(values.begin() + static_cast<std::ptrdiff_t>(last) + 1, values.end());
    values.erase(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(first));
  };
  keep(part.x);
  keep(part.y);
  keep(part.lateral);
  keep(part.rows);
  return part;
}

}  // namespace

std::vector<Cycle> FindCycles(const Curve& record) {
  std::vector<Cycle> cycles;
  if (record.Empty()) return cycles;
  const std::vector<std::size_t> turns = TurningPoints(record.x);
  for (std::size_t i = 0; i + 1 < turns.size(); i += 2) {
    cycles.push_back({turns[i], turns[i + 1], i + 2 < turns.size() ? turns[i + 2] : turns[i + 1]});
  }
  return cycles;
}

Curve TakeBranch(const Curve& record, const Cycle& cycle, Branch branch) {
  if (branch == Branch::Loading) return Part(record, cycle.first, cycle.peak);
  if (cycle.last == cycle.peak) {
    throw Error(ErrorKind::BadData, "curve " + record.name + ": the record ends before this cycle is unloaded");
  }
  return Part(record, cycle.peak, cycle.last);
}

}  // namespace Xem::Fit
