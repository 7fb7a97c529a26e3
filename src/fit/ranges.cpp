#include "fit/ranges.h"

#include <cstddef>
#include <utility>

#include "fit/assemble.h"
#include "fit/models/prony_joint.h"
#include "fit/models/rubber_curves.h"
#include "fit/screening.h"

namespace Xem::Fit {
namespace {

/// A measured curve by the name that results give it.
using NamedCurves = std::vector<std::pair<std::string, Curve*>>;

std::string OwnName(const Curve& curve, const char* otherwise) { return curve.name.empty() ? otherwise : curve.name; }

NamedCurves CurvesOf(HyperelasticData& data) {
  NamedCurves curves{{"uniaxial", &data.uniaxial},
                     {"equibiaxial", &data.equibiaxial},
                     {"pure_shear", &data.pureShear},
                     {"simple_shear", &data.simpleShear},
                     {"volumetric", &data.volumetric}};
  for (std::size_t i = 0; i < data.replicates.size(); ++i) {
    curves.emplace_back(ReplicateName(data, i), &data.replicates[i].curve);
  }
  return curves;
}
NamedCurves CurvesOf(VolumetricData& data) { return {{"volumetric", &data.curve}}; }
NamedCurves CurvesOf(RelaxationData& data) { return {{OwnName(data.curve, "relaxation"), &data.curve}}; }
NamedCurves CurvesOf(DynamicData& data) {
  NameCurves(data.curves);
  NamedCurves curves;
  for (ModulusCurve& curve : data.curves) curves.emplace_back(curve.curve.name, &curve.curve);
  return curves;
}
NamedCurves CurvesOf(ShiftFactorData& data) { return {{OwnName(data.curve, "shift_factors"), &data.curve}}; }
NamedCurves CurvesOf(CreepData& data) {
  NamedCurves curves;
  for (CreepTest& test : data.tests) curves.emplace_back(OwnName(test.curve, "creep"), &test.curve);
  return curves;
}
NamedCurves CurvesOf(CyclicData& data) { return {{"stiffness", &data.stiffness}, {"damping", &data.damping}}; }
NamedCurves CurvesOf(TensileData& data) { return {{OwnName(data.curve, "tensile_test"), &data.curve}}; }
NamedCurves CurvesOf(RetentionData& data) { return {{"retention", &data.retention}}; }

NamedCurves AllOf(Tests& tests) {
  NamedCurves curves = std::visit([](auto& data) { return CurvesOf(data); }, tests);
  std::erase_if(curves, [](const auto& named) { return named.second->Empty(); });
  return curves;
}

template <class T>
void KeepAt(const std::vector<std::size_t>& kept, std::vector<T>& values) {
  std::vector<T> chosen;
  for (const std::size_t i : kept) {
    if (i < values.size()) chosen.push_back(values[i]);
  }
  values = std::move(chosen);
}

void Keep(const std::string& name, const Interval& range, Curve& curve, std::vector<DroppedPoint>& dropped) {
  std::vector<std::size_t> kept;
  std::vector<int> rows;
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    // What is not a number is for the model to refuse.
    if (curve.x[i] < range.lower || curve.x[i] > range.upper) {
      dropped.push_back({name, curve.Row(i), "outside the range " + Text(range)});
      continue;
    }
    kept.push_back(i);
    rows.push_back(curve.Row(i));
  }
  if (kept.empty()) {
    throw Error(ErrorKind::BadData, "curve " + name + ": none of its " + std::to_string(curve.x.size()) +
                                        " points lies in the range " + Text(range));
  }
  // Columns of other lengths stay so, for screening to find.
  const bool rectangular = curve.y.size() == curve.x.size();
  for (std::vector<double>* column : {&curve.x, &curve.y, &curve.lateral}) {
    if (rectangular) KeepAt(kept, *column);
  }
  if (rectangular) curve.rows = std::move(rows);
}

}  // namespace

std::vector<DroppedPoint> UnusedRows(const Tests& tests) {
  std::vector<DroppedPoint> dropped;
  // Only looked at.
  NamedCurves curves = AllOf(const_cast<Tests&>(tests));
  for (const auto& [name, curve] : curves) {
    for (const UnusedRow& unused : curve->unused) dropped.push_back({name, unused.row, unused.reason});
  }
  return dropped;
}

std::vector<DroppedPoint> KeepRanges(const std::map<std::string, Interval>& ranges, Tests& tests) {
  std::vector<DroppedPoint> dropped;
  if (ranges.empty()) return dropped;
  const NamedCurves curves = AllOf(tests);
  for (const auto& [name, range] : ranges) {
    if (!(range.lower < range.upper)) {
      throw Error(ErrorKind::BadInput,
                  "the range " + Text(range) + (name.empty() ? "" : " of curve " + name) + " ends before it begins");
    }
    std::string known;
    bool found = name.empty();
    for (const auto& named : curves) {
      found = found || named.first == name;
      known += (known.empty() ? "" : ", ") + named.first;
    }
    if (!found) throw Error(ErrorKind::BadInput, "there is no curve " + name + " to take a range of, only " + known);
  }
  for (const auto& [name, curve] : curves) {
    auto range = ranges.find(name);
    if (range == ranges.end()) range = ranges.find(WithoutNumber(name));
    if (range == ranges.end()) range = ranges.find("");
    if (range != ranges.end()) Keep(name, range->second, *curve, dropped);
  }
  return dropped;
}

}  // namespace Xem::Fit
