#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "xem/records.h"

namespace Xem::Testing {

/// Points of a bundled curve: columns `x` and `y` of data/<file>; only rows whose `filterColumn`, if named, equals
/// `filterValue`. Throws std::runtime_error when the file or a column is missing.
std::vector<_T_FUNT_BASE> BundledCurve(const std::string& file, const std::string& x, const std::string& y,
                                       const std::string& filterColumn = "", const std::string& filterValue = "");

/// The three curves of Treloar 1944 in the order uniaxial, equibiaxial, pure shear.
std::vector<std::vector<_T_FUNT_BASE>> TreloarCurves();

void Fill(PointArray& array, std::span<const _T_FUNT_BASE> points);
void Fill(DoubleArray& array, std::initializer_list<double> values);
void Fill(DoubleArray& array, std::span<const double> values);
std::vector<double> Values(const DoubleArray& array);
std::vector<_T_FUNT_BASE> Values(const PointArray& array);

}  // namespace Xem::Testing
