#include "boundary/frame.h"

#include <algorithm>
#include <cstddef>

namespace Xem::MaterialUtil {
namespace {

constexpr std::int32_t kDefaultGridPoints = 50;

/// An ordinate that the filter for unmeasured points lets through; it has no other meaning.
constexpr double kPlaceholder = -1.0;

}  // namespace

void RequireMode(const ModeSwitches& switches) {
  if (std::all_of(switches.begin(), switches.end(), [](std::int32_t use) { return use == 0; })) {
    throw CInvalidArgException("no deformation mode is switched on");
  }
}

TestDataList LoadTestData(const InputCurves& curves, const ModeSwitches& switches) {
  TestDataList list;
  for (std::size_t m = 0; m < kModeCount; ++m) {
    if (switches[m] == 0) continue;
    const auto data = MakeTestData(kAllModes[m]);
    data->SetTestData(*curves[m]);
    list.push_back(data);
  }
  return list;
}

TestFunctionList LoadTestFunctions(const InputCurves& curves, const ModeSwitches& switches, ModelType model) {
  TestFunctionList list;
  for (std::size_t m = 0; m < kModeCount; ++m) {
    if (switches[m] == 0) continue;
    const auto function = MakeTestFunction(kAllModes[m], model);
    function->SetTestData(*curves[m]);
    list.push_back(function);
  }
  return list;
}

void FillDefaultGrid(PointArray& curve, double lower, double upper) {
  curve.SetSize(kDefaultGridPoints);
  for (std::int32_t i = 0; i < kDefaultGridPoints; ++i) {
    // Deliberate: the lower bound is not added, the grid starts at zero and ends a step short of the span.
    curve[i] = _T_FUNT_BASE(i * (upper - lower) / kDefaultGridPoints, kPlaceholder);
  }
}

TestDataList LoadForEvaluation(const InputCurves& curves, const OutputCurves& out, double lower, double upper) {
  TestDataList list;
  for (std::size_t m = 0; m < kModeCount; ++m) {
    const auto data = MakeTestData(kAllModes[m]);
    if (curves[m]->IsEmpty()) FillDefaultGrid(*out[m], lower, upper);
    data->SetTestData(curves[m]->IsEmpty() ? *out[m] : *curves[m]);
    list.push_back(data);
  }
  return list;
}

void WriteStresses(std::span<const double> stresses, std::span<PointArray* const> out) {
  std::int64_t wanted = 0;
  for (const PointArray* curve : out) wanted += curve->GetSize();
  if (wanted > static_cast<std::int64_t>(stresses.size())) {
    throw CInvalidArgException("the output curves hold more points than there are stresses");
  }
  std::size_t next = 0;
  for (PointArray* curve : out) {
    for (std::int64_t i = 0; i < curve->GetSize(); ++i) (*curve)[i].second = stresses[next++];
  }
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
