#include "xem/fit/prepare.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "fit/assemble.h"
#include "text/text.h"

namespace Xem::Fit {
namespace {

constexpr double kNoSize = 0.0;

/// The column of the first role that fits.
struct FoundRole {
  const Role* role;
  bool raw;
};

FoundRole RoleOf(const Table& table, const ColumnNames& columns, const Role& raw, const Role& truly, const Role& plain,
                 bool preferRaw) {
  const auto has = [&](const Role& role) {
    return columns.count(std::string(role.name)) > 0 || HasColumn(table, role);
  };
  const bool made = has(truly) || has(plain);
  if (has(raw) && (preferRaw || !made)) return {&raw, true};
  return {has(truly) ? &truly : &plain, false};
}

double Factor(const std::string& unit, const char* wanted, const std::string& what, const std::string& file) {
  if (unit.empty()) return 1.0;
  if (const auto factor = ConversionFactor(unit, wanted)) return *factor;
  throw Error(ErrorKind::BadData, file + ": " + what + " in \"" + unit + "\" cannot be converted to " + wanted);
}

void RequireSize(double size, const char* option, const char* what) {
  if (size > kNoSize && std::isfinite(size)) return;
  throw Error(ErrorKind::BadInput,
              std::string("the record has ") + what + "; give " + option + " of the specimen, a positive number");
}

Curve Converted(Curve curve, CurveMeasure measure) {
  return measure == CurveMeasure::True ? ToTrue(std::move(curve)) : curve;
}

void RequirePoints(const Curve& curve, const char* step) {
  if (!curve.Empty()) return;
  throw Error(ErrorKind::BadData, "curve " + curve.name + ": no point is left after " + step);
}

std::string Points(std::size_t count) { return std::to_string(count) + (count == 1 ? " point" : " points"); }

/// The steps of a preparation, each of which tells what it did.
class Preparation {
 public:
  Preparation(const RawRecord& record, const PrepareOptions& options)
      : record_(record), options_(options), curve_(record.curve.curve) {
    made_.unit = record.curve.yUnit;
  }

  Prepared Run() {
    Tell("read " + record_.curve.input.file + ": " + record_.curve.input.understood);
    UseSize();
    if (record_.measure == CurveMeasure::True) curve_ = ToEngineering(std::move(curve_));
    made_.raw = Converted(curve_, options_.measure);
    TakeCycle();
    CutUnloading();
    ShiftToZero();
    TakeOutToe();
    ChangeMeasure();
    KeepRange();
    SmoothAndThin();
    made_.curve = std::move(curve_);
    return std::move(made_);
  }

 private:
  void Tell(const std::string& what) { made_.history.push_back(what); }
  std::string InUnit(double stress) const { return Text(stress) + (made_.unit.empty() ? "" : " " + made_.unit); }

  void UseSize() {
    const std::string& file = record_.curve.input.file;
    if (record_.extension) {
      RequireSize(options_.gaugeLength, "--gauge-length", "extensions");
      const double factor = Factor(record_.curve.xUnit, "mm", "an extension", file) / options_.gaugeLength;
      for (double& x : curve_.x) x *= factor;
      Tell("strain is extension over the gauge length, " + Text(options_.gaugeLength) + " mm");
    }
    if (record_.force) {
      RequireSize(options_.area, "--area", "forces");
      const double factor = Factor(record_.curve.yUnit, "N", "a force", file) / options_.area;
      for (double& y : curve_.y) y *= factor;
      made_.unit = "MPa";
      Tell("nominal stress is force over the area, " + Text(options_.area) + " mm2" +
           (record_.curve.yUnit.empty() ? "; its column names no unit, taken as N" : ""));
    }
  }

  void TakeCycle() {
    const std::vector<Cycle> cycles = FindCycles(curve_);
    if (options_.cycle == 0 && !options_.branch) {
      if (cycles.size() > 1) {
        Tell("kept as one curve, though the strain turns back: " + std::to_string(cycles.size()) +
             " cycles; --cycle takes one");
      }
      return;
    }
    const std::string all = std::to_string(cycles.size()) + (cycles.size() == 1 ? " cycle" : " cycles");
    if (cycles.empty()) throw Error(ErrorKind::BadData, "curve " + curve_.name + ": the record has no cycle");
    if (options_.cycle == 0 && cycles.size() > 1) {
      throw Error(ErrorKind::BadInput, "the record has " + all + "; --cycle N or --cycle last says which branch");
    }
    const std::size_t count = cycles.size();
    if (options_.cycle < kLastCycle || options_.cycle > static_cast<int>(count)) {
      throw Error(ErrorKind::BadInput,
                  "there is no cycle " + std::to_string(options_.cycle) + "; the record has " + all);
    }
    const std::size_t number = options_.cycle > 0 ? static_cast<std::size_t>(options_.cycle) : count;
    const Branch branch = options_.branch.value_or(Branch::Loading);
    curve_ = TakeBranch(curve_, cycles[number - 1], branch);
    Tell(std::string("took the ") + (branch == Branch::Loading ? "loading" : "unloading") + " branch of cycle " +
         std::to_string(number) + " of " + std::to_string(count) + ", rows " + std::to_string(curve_.Row(0)) + " to " +
         std::to_string(curve_.Row(curve_.x.size() - 1)));
  }

  /// Strains of compression go down.
  void CutUnloading() {
    if (!options_.cutUnloading) return;
    RequirePoints(curve_, "taking a branch");
    const auto further = [&](double a, double b) { return std::abs(a - curve_.x[0]) < std::abs(b - curve_.x[0]); };
    const auto furthest = std::max_element(curve_.x.begin(), curve_.x.end(), further);
    const auto kept = static_cast<std::size_t>(furthest - curve_.x.begin()) + 1;
    const std::size_t cut = curve_.x.size() - kept;
    for (std::vector<double>* values : {&curve_.x, &curve_.y}) values->resize(kept);
    curve_.rows.resize(std::min(curve_.rows.size(), kept));
    Tell("left out what follows the largest strain: " + Points(cut));
  }

  /// An unloading branch ends where its cycle began or near it.
  void ShiftToZero() {
    if (!options_.zero) return;
    RequirePoints(curve_, "taking a branch");
    const bool unloading = options_.branch == Branch::Unloading;
    const double x = unloading ? curve_.x.back() : curve_.x.front();
    const double y = unloading ? curve_.y.back() : curve_.y.front();
    for (double& strain : curve_.x) strain -= x;
    for (double& stress : curve_.y) stress -= y;
    Tell("shifted to the zero of the branch, strain " + Text(x) + " and stress " + InUnit(y));
  }

  void TakeOutToe() {
    if (!options_.toe) return;
    const Toe toe = FindToe(curve_);
    const std::size_t before = curve_.x.size();
    curve_ = WithoutToe(curve_, toe);
    Tell("took out the toe: the straight part between strains " + Text(toe.from) + " and " + Text(toe.to) + ", slope " +
         InUnit(toe.slope) + ", meets zero stress at strain " + Text(toe.strain) + ", the new zero in place of " +
         Points(before + 1 - curve_.x.size()));
  }

  void ChangeMeasure() {
    if (options_.measure == CurveMeasure::True) {
      curve_ = ToTrue(std::move(curve_));
      Tell("turned into true strain and true stress, at constant volume");
    } else if (record_.measure == CurveMeasure::True) {
      Tell("turned from true into engineering strain and stress, at constant volume");
    }
  }

  void KeepRange() {
    const Interval& range = options_.range;
    if (std::isinf(range.lower) && std::isinf(range.upper)) return;
    Curve kept = curve_;
    kept.x.clear();
    kept.y.clear();
    kept.rows.clear();
    for (std::size_t i = 0; i < curve_.x.size(); ++i) {
      if (curve_.x[i] < range.lower || curve_.x[i] > range.upper) continue;
      kept.x.push_back(curve_.x[i]);
      kept.y.push_back(curve_.y[i]);
      kept.rows.push_back(curve_.Row(i));
    }
    Tell("kept strains " + Text(range) + ": " + Points(kept.x.size()) + " of " + std::to_string(curve_.x.size()));
    curve_ = std::move(kept);
    RequirePoints(curve_, "--range");
  }

  void SmoothAndThin() {
    RequirePoints(curve_, "preparing it");
    if (options_.smooth) {
      const Smoothed smoothed = Smooth(curve_);
      curve_ = smoothed.curve;
      Tell("smoothed by parabolas over " + Points(static_cast<std::size_t>(smoothed.window)) + "; stresses moved by " +
           InUnit(smoothed.moved) + " (root mean square)");
    }
    if (options_.points == 0) return;
    const std::size_t before = curve_.x.size();
    const Thinned thinned = Thin(curve_, options_.points);
    curve_ = thinned.curve;
    Tell("thinned from " + std::to_string(before) + " to " + Points(curve_.x.size()) +
         "; none left out lies further than " + InUnit(thinned.error) + " from the lines between them");
  }

  const RawRecord& record_;
  const PrepareOptions& options_;
  Curve curve_;
  Prepared made_;
};

}  // namespace

Curve ToEngineering(Curve truly) {
  for (std::size_t i = 0; i < truly.x.size(); ++i) {
    truly.y[i] /= std::exp(truly.x[i]);
    truly.x[i] = std::expm1(truly.x[i]);
  }
  return truly;
}

Curve ToTrue(Curve engineering) {
  for (std::size_t i = 0; i < engineering.x.size(); ++i) {
    const double strain = engineering.x[i];
    if (!(strain > -1.0)) {
      throw Error(ErrorKind::BadData, "curve " + engineering.name + ", row " + std::to_string(engineering.Row(i)) +
                                          ": engineering strain " + Text(strain) +
                                          " is not above -1, so it has no true strain");
    }
    engineering.y[i] *= 1.0 + strain;
    engineering.x[i] = std::log1p(strain);
  }
  return engineering;
}

RawRecord RecordFromTable(const Table& table, bool hasSize, const ColumnNames& columns) {
  const FoundRole x = RoleOf(table, columns, Roles::kExtension, Roles::kTrueStrain, Roles::kStrain, hasSize);
  const FoundRole y = RoleOf(table, columns, Roles::kForce, Roles::kTrueStress, Roles::kStress, hasSize);
  RawRecord record{CurveFromTable(table, "record", {*x.role, *y.role}, columns)};
  // A travel in percent is a strain.
  const auto isRatio = [&](std::size_t column, const Role& role) {
    return ChooseColumn(table, role, record.curve.input.columns[column]).scale != 1.0;
  };
  record.extension = (x.raw && !isRatio(0, *x.role)) || ConversionFactor(record.curve.xUnit, "mm");
  record.force = y.raw || ConversionFactor(record.curve.yUnit, "N");
  const bool trueStrain = x.role == &Roles::kTrueStrain;
  const bool trueStress = y.role == &Roles::kTrueStress;
  if (trueStrain != trueStress) {
    const auto name = [&](std::size_t column) { return Strings::Printable(record.curve.input.columns[column]); };
    throw Error(ErrorKind::BadData, table.source + ": column " + name(trueStrain ? 0 : 1) + " is true and column " +
                                        name(trueStrain ? 1 : 0) +
                                        " is not; name them true_strain, true_stress or strain, stress, or choose "
                                        "others with --column");
  }
  if (trueStrain) record.measure = CurveMeasure::True;
  return record;
}

Prepared Prepare(const RawRecord& record, const PrepareOptions& options) { return Preparation(record, options).Run(); }

}  // namespace Xem::Fit
