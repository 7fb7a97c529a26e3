#include "fit/screening.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

#include "fit/assemble.h"
#include "solver/linalg/numbers.h"

namespace Xem::Fit {
namespace {

/// A column, and above which numbers it is not what it seems.
struct MeasuredColumn {
  const char* name;
  double largest = std::numeric_limits<double>::infinity();
  const char* remedy = "1 means 100 %";
};

/// Which way ordinates go.
enum class Trend { Any, Rises, Falls };

/// What is known of the curves of a family. `curve`: those whose name begins so.
struct Guard {
  const char* family;
  const char* curve;
  MeasuredColumn x;
  MeasuredColumn y;
  Trend trend = Trend::Any;
  bool refuses = false;                                    ///< numbers above the largest are percent for certain
  bool strain = false;                                     ///< abscissae start at 0 without stress
  bool positive = false;                                   ///< abscissae have one sign
  double limit = std::numeric_limits<double>::infinity();  ///< no fitted ordinate is larger
};

/// The first that fits counts. No soil is strained beyond 100 %, stiffer than at rest or damped by more than half, and
/// few by more than 0.35. Rubber breaks before a strain of 20, sheet metal before one of 1.5.
const Guard kGuards[] = {
    {"rubber", "volumetric", {"linear stretch"}, {"pressure"}},
    {"rubber", "simple_shear", {"strain", 20.0}, {"stress"}, Trend::Rises},
    {"rubber", "", {"strain", 20.0}, {"stress"}, Trend::Rises, false, true},
    {"relaxation", "storage", {"frequency"}, {"storage modulus"}, Trend::Rises},
    {"relaxation", "loss", {"frequency"}, {"loss modulus"}},
    {"relaxation", "", {"time"}, {"modulus"}, Trend::Falls},
    {"creep", "", {"time"}, {"strain", 0.5}, Trend::Rises},
    {.family = "cyclic",
     .curve = "stiffness",
     .x = {"strain", 1.0, "name the column shear_strain_percent or divide by 100"},
     .y = {"stiffness ratio", 1.5, "name the column G_over_Gmax_percent or divide by 100"},
     .trend = Trend::Falls,
     .refuses = true},
    {.family = "cyclic",
     .curve = "damping",
     .x = {"strain", 1.0, "name the column shear_strain_percent or divide by 100"},
     .y = {"damping", 0.5, "name the column damping_percent or divide by 100"},
     .trend = Trend::Rises,
     .refuses = true,
     .limit = 0.4},
    {"hardening", "", {"strain", 1.5}, {"stress"}, Trend::Rises, false, true},
    {.family = "retention",
     .curve = "retention",
     .x = {"suction"},
     .y = {"water content", 2.0, "contents and saturations are fractions"},
     .trend = Trend::Falls,
     .refuses = true,
     .positive = true},
};

const Guard* GuardOf(const std::string& family, const std::string& name) {
  const std::string curve = WithoutNumber(name);
  for (const Guard& guard : kGuards) {
    if (family == guard.family && curve.rfind(guard.curve, 0) == 0) return &guard;
  }
  return nullptr;
}

void RefusePercent(const MeasuredColumn& column, const Curve& curve, const std::vector<double>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!std::isfinite(values[i]) || values[i] <= column.largest) continue;
    throw Error(ErrorKind::BadData, "curve " + curve.name + ": " + column.name + " " + Text(values[i]) + " in row " +
                                        std::to_string(curve.Row(i)) + " looks like percent; " + column.remedy);
  }
}

void NotePercent(const MeasuredColumn& column, const std::string& curve, const std::vector<double>& values,
                 std::vector<std::string>& notes) {
  const double largest = *std::max_element(values.begin(), values.end());
  if (!(largest > column.largest)) return;
  notes.push_back("curve " + curve + ": " + column.name + "s up to " + Text(largest) + " look like percent; " +
                  column.remedy);
}

/// True for abscissae on one side of 1 that begin there without stress: no unstrained specimen has a strain of 1.
bool IsStretch(const Curve& curve) {
  constexpr std::size_t kFewest = 3;
  constexpr double kNoStress = 0.01;
  constexpr double kNear = 0.05;
  double largest = 0.0;
  std::vector<std::size_t> finite;
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    if (!std::isfinite(curve.x[i]) || !std::isfinite(curve.y[i])) continue;
    finite.push_back(i);
    largest = std::max(largest, std::abs(curve.y[i]));
  }
  if (finite.size() < kFewest) return false;
  const auto byX = [&](std::size_t a, std::size_t b) { return curve.x[a] < curve.x[b]; };
  const auto [first, last] = std::minmax_element(finite.begin(), finite.end(), byX);
  const auto unstressed = [&](std::size_t i) { return std::abs(curve.y[i]) <= kNoStress * largest; };
  const double lowest = curve.x[*first];
  const double highest = curve.x[*last];
  if (lowest >= 1.0) return lowest <= 1.0 + kNear && unstressed(*first);
  return lowest > 0.0 && highest <= 1.0 && highest >= 1.0 - kNear && unstressed(*last);
}

/// Where the ordinates, in order of the abscissae, have gone the wrong way by more than this share of their range.
std::optional<double> WrongWay(const std::vector<double>& x, const std::vector<double>& y, Trend trend, double share) {
  if (trend == Trend::Any) return std::nullopt;
  std::vector<std::size_t> order(x.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  if (!std::is_sorted(x.begin(), x.end())) {
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return x[a] < x[b]; });
  }
  const auto [least, most] = std::minmax_element(y.begin(), y.end());
  const double sign = trend == Trend::Rises ? 1.0 : -1.0;
  double furthest = sign * y[order.front()];
  for (const std::size_t i : order) {
    furthest = std::max(furthest, sign * y[i]);
    if (furthest - sign * y[i] > share * (*most - *least)) return x[i];
  }
  return std::nullopt;
}

/// Abscissae that start again from far back, as those of a second test do and those of unloading do not: the first
/// such point, or the number of points.
std::size_t Restart(const std::vector<double>& x) {
  constexpr double kFarBack = 0.5;
  constexpr double kDecades = 100.0;
  const auto [lowest, highest] = std::minmax_element(x.begin(), x.end());
  const bool logarithmic = *lowest > 0.0 && *highest > kDecades * *lowest;
  const auto place = [&](double value) { return logarithmic ? std::log(value) : value; };
  const double range = place(*highest) - place(*lowest);
  for (std::size_t i = 2; i + 1 < x.size(); ++i) {
    const bool rising = x[i - 1] > x[i - 2] && x[i + 1] > x[i];
    if (rising && place(x[i - 1]) - place(x[i]) > kFarBack * range) return i;
  }
  return x.size();
}

void NoteOrder(const Curve& curve, std::vector<std::string>& notes) {
  const auto& x = curve.x;
  if (x.empty()) return;
  const auto falls = std::adjacent_find(x.begin(), x.end(), [](double a, double b) { return b < a; });
  const auto rises = std::adjacent_find(x.begin(), x.end(), [](double a, double b) { return b > a; });
  const std::size_t restart = Restart(x);
  if (restart < x.size()) {
    notes.push_back("curve " + curve.name + ": abscissae start again in row " + std::to_string(curve.Row(restart)) +
                    ", as those of several tests do; all are fitted as one");
  } else if (falls != x.end() && rises != x.end()) {
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

std::string ReasonToDrop(double x, double y, double lateral, const std::string& ordinate, const Objection& objection) {
  if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(lateral)) return "not a finite number";
  if (MaterialUtil::IsNegligible(y)) return "zero " + ordinate;
  return objection ? objection(x, y) : std::string();
}

}  // namespace

std::string WithoutNumber(const std::string& curve) {
  const std::size_t digits = curve.find_last_not_of("0123456789");
  if (digits == std::string::npos || digits + 1 == curve.size() || curve[digits] != '_') return curve;
  return curve.substr(0, digits);
}

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

void RequirePlausible(const std::string& family, const Curve& measured) {
  const Guard* guard = GuardOf(family, measured.name);
  if (guard == nullptr || measured.x.size() != measured.y.size()) return;
  if (guard->refuses) {
    RefusePercent(guard->x, measured, measured.x);
    RefusePercent(guard->y, measured, measured.y);
  }
  if (guard->strain && IsStretch(measured)) {
    throw Error(ErrorKind::BadData, "curve " + measured.name +
                                        ": strains begin at 1 without stress, so they are stretches; name the column "
                                        "stretch or subtract 1");
  }
  const auto wrong = [](double x) { return !(x > 0.0); };
  const auto negative = [](double x) { return x < 0.0; };
  if (guard->positive && std::all_of(measured.x.begin(), measured.x.end(), wrong) &&
      std::any_of(measured.x.begin(), measured.x.end(), negative)) {
    throw Error(ErrorKind::BadData, "curve " + measured.name + ": every " + guard->x.name +
                                        " is negative; give positive numbers (a matric potential is the negative "
                                        "suction)");
  }
}

void NoteOddities(const std::string& family, const Curve& curve, std::vector<std::string>& notes) {
  NoteOrder(curve, notes);
  const Guard* guard = GuardOf(family, curve.name);
  if (guard == nullptr || curve.x.empty()) return;
  if (!guard->refuses) {
    NotePercent(guard->x, curve.name, curve.x, notes);
    NotePercent(guard->y, curve.name, curve.y, notes);
  }
  constexpr std::size_t kFewest = 5;
  constexpr double kBeyondScatter = 0.2;
  if (guard->trend == Trend::Any || curve.x.size() < kFewest) return;
  if (const auto where = WrongWay(curve.x, curve.y, guard->trend, kBeyondScatter)) {
    notes.push_back("curve " + curve.name + ": the measured " + guard->y.name +
                    (guard->trend == Trend::Rises ? " falls" : " rises") + " with the " + guard->x.name + " near " +
                    Text(*where) + ", which no model of this family follows; unloading, failure or another test?");
  }
}

void NoteImpossible(const std::string& family, const Result& result, const FittedOrdinates& ordinates,
                    std::vector<std::string>& notes) {
  constexpr int kSteps = 200;
  constexpr double kVisible = 1e-3;
  for (const CurveResult& curve : result.curves) {
    const Guard* guard = GuardOf(family, curve.name);
    if (guard == nullptr || curve.x.empty()) continue;
    if (guard->trend == Trend::Any && std::isinf(guard->limit)) continue;
    const auto [lowest, highest] = std::minmax_element(curve.x.begin(), curve.x.end());
    const bool logarithmic = *lowest > 0.0 && *highest > 100.0 * *lowest;
    const double logRange = logarithmic ? std::log(*highest / *lowest) : 0.0;
    std::vector<double> x(kSteps + 1);
    for (int i = 0; i <= kSteps; ++i) {
      const double share = static_cast<double>(i) / kSteps;
      x[i] = logarithmic ? *lowest * std::exp(share * logRange) : *lowest + share * (*highest - *lowest);
    }
    const std::vector<double> y = ordinates(curve.name, x);
    if (const auto where = WrongWay(x, y, guard->trend, kVisible)) {
      notes.push_back("the fitted " + std::string(guard->y.name) +
                      (guard->trend == Trend::Rises ? " falls" : " rises") + " with " + guard->x.name + " near " +
                      Text(*where) + (result.curves.size() > 1 ? " (curve " + curve.name + ")" : "") +
                      "; the data are too few for this model: hold parameters or take a smaller one");
    }
    const double largest = *std::max_element(y.begin(), y.end());
    if (largest > guard->limit) {
      notes.push_back("the fitted " + std::string(guard->y.name) + " reaches " + Text(largest) + ", beyond the " +
                      Text(guard->limit) + " that soils stay below");
    }
  }
}

void JoinNotes(std::vector<std::string>& notes) {
  const std::string start = "curve ";
  std::vector<std::string> joined;
  std::map<std::string, std::size_t> places;  // by the text without the name
  for (const std::string& note : notes) {
    const std::size_t end = note.find(": ");
    if (note.rfind(start, 0) != 0 || end == std::string::npos) {
      joined.push_back(note);
      continue;
    }
    const std::string text = note.substr(end);
    const auto [place, isNew] = places.emplace(text, joined.size());
    if (isNew) {
      joined.push_back(note);
      continue;
    }
    std::string& first = joined[place->second];
    const std::string names = first.substr(0, first.size() - text.size());
    const bool several = names.rfind("curves ", 0) == 0;
    first = (several ? names : "curves " + names.substr(start.size())) + ", " +
            note.substr(start.size(), end - start.size()) + text;
  }
  notes = std::move(joined);
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
