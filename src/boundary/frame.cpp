#include "boundary/frame.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstddef>

#include "solver/linalg/numbers.h"
#include "testdata/volumetric_test_data.h"

namespace Xem::MaterialUtil {
namespace {

constexpr std::int32_t kDefaultGridPoints = 50;

/// An ordinate that the filter for unmeasured points lets through; it has no other meaning.
constexpr double kPlaceholder = -1.0;

/// Whatever `make` makes of each mode that is switched on, in order.
template <class List, class Make>
List ForEachSwitchedOn(const ModeSwitches& switches, Make make) {
  List list;
  for (std::size_t m = 0; m < kModeCount; ++m) {
    if (switches[m] != 0) list.push_back(make(m));
  }
  return list;
}

template <class Target>
void Load3(const Point3Array& curve, LateralStretches lateral, Target& target) {
  target.SetTestData3(curve);
  if (lateral == LateralStretches::FromExponent) target.ComputeLateralStretches();
}

constexpr ModeSwitches kEveryMode{1, 1, 1, 1};

}  // namespace

void RequireMode(const ModeSwitches& switches) {
  if (std::all_of(switches.begin(), switches.end(), [](std::int32_t use) { return use == 0; })) {
    throw CInvalidArgException("no deformation mode is switched on");
  }
}

TestDataList LoadTestData(const InputCurves& curves, const ModeSwitches& switches) {
  return ForEachSwitchedOn<TestDataList>(switches, [&](std::size_t m) {
    const auto data = MakeTestData(kAllModes[m]);
    data->SetTestData(*curves[m]);
    return data;
  });
}

TestFunctionList LoadTestFunctions(const InputCurves& curves, const ModeSwitches& switches, ModelType model) {
  return ForEachSwitchedOn<TestFunctionList>(switches, [&](std::size_t m) {
    const auto function = MakeTestFunction(kAllModes[m], model);
    function->SetTestData(*curves[m]);
    return function;
  });
}

LateralStretches LateralFromValue(double lateralValue) {
  return IsNegligible(lateralValue) ? LateralStretches::Measured : LateralStretches::FromExponent;
}

TestDataList LoadTestData(const InputCurves3& curves, const ModeSwitches& switches, LateralStretches lateral) {
  return ForEachSwitchedOn<TestDataList>(switches, [&](std::size_t m) {
    const auto data = MakeTestData(kAllModes[m]);
    Load3(*curves[m], lateral, *data);
    return data;
  });
}

TestFunctionList LoadTestFunctions(const InputCurves3& curves, const ModeSwitches& switches, ModelType model,
                                   LateralStretches lateral) {
  return ForEachSwitchedOn<TestFunctionList>(switches, [&](std::size_t m) {
    const auto function = MakeTestFunction(kAllModes[m], model);
    Load3(*curves[m], lateral, *function);
    return function;
  });
}

void FillDefaultGrid(PointArray& curve, double lower, double upper) {
  curve.SetSize(kDefaultGridPoints);
  for (std::int32_t i = 0; i < kDefaultGridPoints; ++i) {
    // Deliberate: the lower bound is not added, the grid starts at zero and ends a step short of the span.
    curve[i] = _T_FUNT_BASE(i * (upper - lower) / kDefaultGridPoints, kPlaceholder);
  }
}

TestDataList LoadForEvaluation(const InputCurves& curves, const OutputCurves& out, double lower, double upper) {
  return ForEachSwitchedOn<TestDataList>(kEveryMode, [&](std::size_t m) {
    const auto data = MakeTestData(kAllModes[m]);
    if (curves[m]->IsEmpty()) FillDefaultGrid(*out[m], lower, upper);
    data->SetTestData(curves[m]->IsEmpty() ? *out[m] : *curves[m]);
    return data;
  });
}

TestDataList LoadForEvaluation(const InputCurves3& curves, const OutputCurves& out, LateralStretches lateral,
                               double lower, double upper) {
  return ForEachSwitchedOn<TestDataList>(kEveryMode, [&](std::size_t m) {
    const auto data = MakeTestData(kAllModes[m]);
    if (curves[m]->IsEmpty()) {
      FillDefaultGrid(*out[m], lower, upper);
      data->SetTestData(*out[m]);
      data->ComputeLateralStretches();
    } else {
      Load3(*curves[m], lateral, *data);
    }
    return data;
  });
}

TestDataList LoadVolumetric(const PointArray& curve) {
  TestDataList list;
  if (curve.IsEmpty()) return list;
  const auto data = boost::make_shared<XemMaterialTestDataVolumetric>();
  data->SetTestData(curve);
  list.push_back(data);
  return list;
}

void WriteStresses(std::span<const double> stresses, std::span<PointArray* const> out) {
  std::size_t next = 0;
  for (PointArray* curve : out) {
    // Deliberate: points beyond the last stress keep their ordinates.
    for (std::int64_t i = 0; i < curve->GetSize() && next < stresses.size(); ++i) (*curve)[i].second = stresses[next++];
  }
}

std::span<const double> Values(const DoubleArray& array) {
  return {array.GetData(), static_cast<std::size_t>(array.GetSize())};
}

Vector CopyIn(const DoubleArray& array, std::int32_t count) {
  Vector values(count);
  for (std::int32_t i = 0; i < count; ++i) values[i] = array[i];
  return values;
}

std::span<_T_FUNT_BASE> OutputPoints(PointArray& array) {
  return {array.GetData(), static_cast<std::size_t>(array.GetSize())};
}

void CopyOut(std::span<const double> values, DoubleArray& array) {
  array.SetSize(static_cast<std::int64_t>(values.size()));
  for (std::size_t i = 0; i < values.size(); ++i) array[static_cast<std::int64_t>(i)] = values[i];
}

void CopyOut(std::span<const _T_FUNT_BASE> points, PointArray& array) {
  array.SetSize(static_cast<std::int64_t>(points.size()));
  std::copy(points.begin(), points.end(), OutputPoints(array).begin());
}

}  // namespace Xem::MaterialUtil
