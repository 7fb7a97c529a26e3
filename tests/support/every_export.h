#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "xem/records.h"
#include "xem/text.h"

namespace Xem::Testing {

/// Arguments of an exported function; each uses those that it has and finds them realistic after `Call::prepare`.
struct Arguments {
  PointArray curves[4];  ///< one per deformation mode; or stiffness, damping; or the only one
  Point3Array foam[4];
  CArray22 soil;
  std::array<std::int32_t, 4> use{};
  std::int32_t count = 0;  ///< order, number of terms or type
  std::int32_t volumetricTerms = 0;
  std::int32_t variant = 1;  ///< absolute residuals
  double conditionLimit = 0.0;
  double lateral = 0.0;
  double referenceStrain = 0.0;
  std::array<double, 2> exponents{1.0, 1.0};
  std::array<std::int32_t, 3> codes{};  ///< of the forming limit, the yield criterion, the hardening rule
  double stress = 0.0;
  int nullPointer = -1;  ///< which of the pointers is null
  DoubleArray settings;
  DoubleArray parameters;  ///< read, not written
  DoubleArray flags;
  DoubleArray further;  ///< weights; volumetric coefficients; constants of the hardening rule

  // What comes back.
  DoubleArray fitted;  ///< or read and written
  DoubleArray measures;
  PointArray out[4];
  CArray22 soilOut;
  CString report;
  double determination = 0.0;
};
/// Every number of what comes back.
std::vector<double> Results(const Arguments& arguments);

/// A call on realistic data that returns every number of its result, status first. Rows share nothing that is written.
struct Call {
  const char* name;
  void (*prepare)(Arguments& arguments);
  std::vector<double> (*call)(Arguments& arguments);

  std::vector<double> run() const {
    Arguments arguments;
    prepare(arguments);
    return call(arguments);
  }
};

/// One row per exported function.
std::span<const Call> EveryExport();
/// One row per family of the fit layer: values and standard errors of the parameters, then the measures. They bring
/// their own data.
std::span<const Call> FitLayerCalls();

}  // namespace Xem::Testing
