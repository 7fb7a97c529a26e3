#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "hyperelastic/models.h"
#include "testdata/deformation_mode.h"
#include "testdata/test_data_base.h"
#include "testfunctions/hyperelastic_test_function.h"
#include "xem/records.h"

/// The steps that exported functions share.
namespace Xem::MaterialUtil {

/// One entry per deformation mode, in the fixed order.
using InputCurves = std::array<const PointArray*, kModeCount>;
using InputCurves3 = std::array<const Point3Array*, kModeCount>;
using OutputCurves = std::array<PointArray*, kModeCount>;
using ModeSwitches = std::array<std::int32_t, kModeCount>;

/// Throws CInvalidArgException when no mode is switched on.
void RequireMode(const ModeSwitches& switches);

/// Test data, or test functions of a model, for the modes that are switched on.
TestDataList LoadTestData(const InputCurves& curves, const ModeSwitches& switches);
TestFunctionList LoadTestFunctions(const InputCurves& curves, const ModeSwitches& switches, ModelType model);

/// Where the lateral stretches of three-value curves come from.
enum class LateralStretches { Measured, FromExponent };
/// The lateral value of the interface: zero keeps the measured ones.
LateralStretches LateralFromValue(double lateralValue);

/// The same for three-value curves.
TestDataList LoadTestData(const InputCurves3& curves, const ModeSwitches& switches, LateralStretches lateral);
TestFunctionList LoadTestFunctions(const InputCurves3& curves, const ModeSwitches& switches, ModelType model,
                                   LateralStretches lateral);

/// Makes `curve` the default grid: 50 points (i (upper - lower) / 50, -1), i = 0 ... 49.
void FillDefaultGrid(PointArray& curve, double lower, double upper);

/// Test data of all four modes; where an input curve is empty, the output curve becomes the default grid and is used.
TestDataList LoadForEvaluation(const InputCurves& curves, const OutputCurves& out, double lower, double upper);
/// A default grid has no measured lateral strains, so it always takes the exponent of its mode.
TestDataList LoadForEvaluation(const InputCurves3& curves, const OutputCurves& out, LateralStretches lateral,
                               double lower, double upper);

/// The volumetric curve; an empty list for an empty curve.
TestDataList LoadVolumetric(const PointArray& curve);

/// Deals the stresses of all points out to the ordinates of the output curves, in order and by their sizes, while there
/// are any; further points keep their ordinates.
void WriteStresses(std::span<const double> stresses, std::span<PointArray* const> out);

/// The values of an input array, where they are.
std::span<const double> Values(const DoubleArray& array);
/// The first `count` values of an array; fewer throw CInvalidArgException.
Vector CopyIn(const DoubleArray& array, std::int32_t count);
/// The points of an output array.
std::span<_T_FUNT_BASE> OutputPoints(PointArray& array);
/// Resizes the array to the values or points and copies them.
void CopyOut(std::span<const double> values, DoubleArray& array);
void CopyOut(std::span<const _T_FUNT_BASE> points, PointArray& array);

}  // namespace Xem::MaterialUtil
