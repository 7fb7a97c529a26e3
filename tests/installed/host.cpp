// Uses the installed headers and library only. Returns 0 when the interface works from outside.
#include <xem/material_util.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "check.h"

namespace {

using PointArray = CArray<_T_FUNT_BASE, _T_FUNT_BASE&>;
using Point3Array = CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>;
using DoubleArray = CArray<double, double&>;

// What a host compiled into itself must stay as it is.
static_assert(std::is_same<decltype(_T_FUNT_BASE::first), double>::value && offsetof(_T_FUNT_BASE, first) == 0, "");
static_assert(std::is_same<decltype(_T_FUNT_BASE::second), double>::value && offsetof(_T_FUNT_BASE, second) == 8, "");
static_assert(sizeof(_T_FUNT_BASE) == 16 && alignof(_T_FUNT_BASE) == 8, "");
static_assert(std::is_same<decltype(_T_FUNT_BASE3::first), double>::value && offsetof(_T_FUNT_BASE3, first) == 0, "");
static_assert(std::is_same<decltype(_T_FUNT_BASE3::second), double>::value && offsetof(_T_FUNT_BASE3, second) == 8, "");
static_assert(std::is_same<decltype(_T_FUNT_BASE3::third), double>::value && offsetof(_T_FUNT_BASE3, third) == 16, "");
static_assert(sizeof(_T_FUNT_BASE3) == 24 && alignof(_T_FUNT_BASE3) == 8, "");
static_assert(std::is_same<decltype(CArray22::first), PointArray>::value, "");
static_assert(std::is_same<decltype(CArray22::second), PointArray>::value, "");
static_assert(sizeof(PointArray) == 40 && sizeof(DoubleArray) == 40 && sizeof(CArray22) == 80, "");
static_assert(std::is_base_of<CObject, PointArray>::value && !std::is_copy_constructible<PointArray>::value, "");
static_assert(std::is_base_of<std::invalid_argument, CInvalidArgException>::value, "");
static_assert(std::is_same<decltype(PointArray().GetSize()), std::int64_t>::value, "");

/// Uniaxial stress of C10 = 0.5, C01 = 0.1.
double MooneyRivlin(double strain) {
  const double stretch = 1.0 + strain;
  return 2.0 * (1.0 - std::pow(stretch, -3.0)) * (0.5 * stretch + 0.1);
}

void CheckRecords() {
  _T_FUNT_BASE3 a(1.0, 2.0, 3.0), b;
  Check(b.first == 0.0 && b.third == 0.0, "records start at zero");
  b = a;
  CArray22 pair;
  Check(reinterpret_cast<char*>(&pair.second) - reinterpret_cast<char*>(&pair.first) == 40, "CArray22's offsets");
  Check(pair.first.GetData() == nullptr && pair.second.IsEmpty(), "CArray22 starts empty");
  pair.first.Add({b.third, 0.0});
  Check(pair.first[0].first == 3.0, "records are copied");
}

void CheckCalls() {
  PointArray uniaxial, none, out[4];
  DoubleArray coefficients;
  for (int i = 1; i <= 20; ++i) uniaxial.Add({0.1 * i, MooneyRivlin(0.1 * i)});
  out[0].SetSize(uniaxial.GetSize());
  const auto fit = [&](int useUniaxial) {
    return CurveFitting4Polynominal(uniaxial, none, none, none, useUniaxial, 0, 0, 0, 1, 1, 0.0, coefficients, out[0],
                                    out[1], out[2], out[3], 0.0, 1.0);
  };
  Check(fit(1) == 0, "the fit returns 0");
  Check(coefficients.GetSize() == 2 && std::abs(coefficients[0] - 0.5) < 1e-9 && std::abs(coefficients[1] - 0.1) < 1e-9,
        "the fit finds the coefficients");
  Check(out[1].GetSize() == 50, "the library sizes the host's arrays");

  // Exceptions of the library are caught by type, as what they are and as what they derive from.
  Check(Throws<CInvalidArgException>([&] { fit(0); }), "a fit without a mode, by the exception's own type");
  Check(Throws<std::invalid_argument>([&] { fit(0); }), "a fit without a mode, by the base type");
  Check(Throws<int>([&] { CurveFitting4Relaxation(none, 1, 1, coefficients); }), "a singular system, as an int");

  CString report(L"before");
  CheckMaterialStability4Polynomial(coefficients, DoubleArray(), 0, 1, 0.0, 0.1, 0.0, 0.0, report);
  Check(report.GetLength() > 6 && std::wstring(report.GetString(), 6) == L"before", "the report is appended");
}

/// The macros, and what find_package told.
void CheckVersion() {
  const std::string version = XEM_VERSION;
  Check(version == std::to_string(XEM_VERSION_MAJOR) + "." + std::to_string(XEM_VERSION_MINOR) + "." +
                       std::to_string(XEM_VERSION_PATCH),
        "the parts of the version");
#if defined(HOST_FOUND_VERSION)
  Check(version == HOST_FOUND_VERSION, "the version of the package");
#endif
}

}  // namespace

int main() {
  CheckVersion();
  CheckArrays();
  CheckTexts();
  CheckRecords();
  CheckCalls();
  if (Failures() == 0) std::puts("host: the installed interface works");
  return Failures() == 0 ? 0 : 1;
}
