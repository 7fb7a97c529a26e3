#include "support/every_export.h"

#include <cmath>
#include <cstddef>
#include <cwchar>
#include <initializer_list>
#include <string>

#include "support/curves.h"
#include "xem/material_util.h"

namespace Xem::Testing {
namespace {

using Numbers = std::vector<double>;
using Points = std::vector<_T_FUNT_BASE>;

void Put(Numbers& numbers, double value) { numbers.push_back(value); }
void Put(Numbers& numbers, const DoubleArray& array) {
  for (const double value : Values(array)) numbers.push_back(value);
}
void Put(Numbers& numbers, const PointArray& array) {
  for (const _T_FUNT_BASE& point : Values(array)) numbers.insert(numbers.end(), {point.first, point.second});
}
void Put(Numbers& numbers, const PointArray (&arrays)[4]) {
  for (const PointArray& array : arrays) Put(numbers, array);
}
/// Of a report: its length and the limits in it.
void Put(Numbers& numbers, const CString& report) {
  numbers.push_back(report.GetLength());
  const std::wstring text = report.GetString();
  for (auto sign = text.find(L'='); sign != std::wstring::npos; sign = text.find(L'=', sign + 1)) {
    numbers.push_back(std::wcstod(text.c_str() + sign + 1, nullptr));
  }
}
template <class... Parts>
Numbers All(const Parts&... parts) {
  Numbers numbers;
  (Put(numbers, parts), ...);
  return numbers;
}

/// Treloar's rubber in three modes; simple shear is left to the default grid.
void Rubber(Arguments& a, std::int32_t count, std::initializer_list<double> parameters = {}) {
  static const auto curves = TreloarCurves();
  for (std::size_t m = 0; m < 3; ++m) {
    Fill(a.curves[m], curves[m]);
    Fill(a.out[m], curves[m]);
    a.use[m] = 1;
  }
  a.count = count;
  Fill(a.parameters, parameters);
}

/// A foam of modulus 0.22 whose lateral strains are those of a Poisson ratio of 1/4, with a reading error.
void Foam(Arguments& a) {
  for (int i = 1; i <= 12; ++i) {
    const double stretch = 1.0 + 0.05 * i;
    const double lateral = std::pow(stretch, -0.25);
    const double stress = 0.22 * (lateral * lateral - std::pow(stretch, -3.0)) * (1.0 + 0.01 * std::sin(i));
    a.foam[0].Add({stretch - 1.0, lateral - 1.0, stress});
  }
  a.out[0].SetSize(12);
  a.use[0] = 1;
  Fill(a.parameters, {0.22});
}

void Silicone(Arguments& a) {
  static const Points points = BundledCurve("silicone_volumetric.csv", "linear_stretch", "pressure_MPa");
  Fill(a.curves[0], points);
  a.out[0].SetSize(20);
  a.count = 2;
  Fill(a.parameters, {1e3, 2e4});
}

void Metal(Arguments& a) {
  static const Points points =
      BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain", "primary_secondary", "1");
  Fill(a.curves[0], points);
  a.stress = 500.0;
  a.count = 2;
}

/// Strain over time in a stepped test, in one mode.
void History(Arguments& a, std::size_t mode, std::initializer_list<double> parameters) {
  Fill(a.curves[0], Points{{0.0, 0.0}, {0.1, 0.05}, {0.5, 0.2}, {2.0, 0.5}, {10.0, 0.8}});
  a.use[mode] = 1;
  a.count = 1;
  Fill(a.parameters, parameters);
}

void Coefficients(Arguments& a, std::initializer_list<double> parameters) {
  Fill(a.parameters, parameters);
  a.count = 2;
  a.volumetricTerms = 1;
}

using List = std::initializer_list<double>;

/// Stiffness and damping; power law in the stress form, absolute residuals.
void Clay(Arguments& a, List settings = {0, 2, 1}, List parameters = {5e-4, 0.24}, List flags = {0, 0}) {
  static const Points stiffness = BundledCurve("vucetic_dobry1991_pi30_stiffness.csv", "shear_strain", "G_over_Gmax");
  static const Points damping = BundledCurve("vucetic_dobry1991_pi30_damping.csv", "shear_strain", "damping");
  Fill(a.curves[0], stiffness);
  Fill(a.curves[1], damping);
  Fill(a.settings, settings);
  Fill(a.parameters, parameters);
  Fill(a.flags, flags);
}

void Polymer(Arguments& a) {
  static const Points points = BundledCurve("polymer_relaxation.csv", "time_s", "g");
  Fill(a.curves[0], points);
  a.count = 1;
}

void HillSteel(Arguments& a) {
  Fill(a.settings, {11, 1e-3, 0.02});
  Fill(a.parameters, {1.6, 2.0});
  Fill(a.further, {518.968, 0.0007648, 0.28985, 0.0});
  a.codes = {0, 101, 200};
}

void VonMisesSheet(Arguments& a) {
  static const Points points =
      BundledCurve("sgcc_flow_curve.csv", "plastic_strain", "true_stress_MPa", "angle_deg", "00");
  Fill(a.settings, {11, 1e-3, 0.02});
  Fill(a.curves[0], points);
  a.codes = {0, 100, 298};
}

void Loam(Arguments& a) {
  static const Points measured = BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", "4170");
  static const Points grading =
      BundledCurve("unsoda_grain_size.csv", "particle_size_um", "fraction_finer", "soil", "4170");
  Fill(a.soil.first, measured);
  for (const _T_FUNT_BASE& point : grading) a.soil.second.Add({point.first / 1000.0, point.second});
  Fill(a.settings, {0, 0, 1});
}

template <class Pointee>
Pointee* UnlessNull(const Arguments& a, int which, Pointee* pointer) {
  return a.nullPointer == which ? nullptr : pointer;
}

template <auto check>
Numbers Stability(Arguments& a) {
  check(a.parameters, a.further, a.count, a.volumetricTerms, -0.5, 3.0, 0.0, 0.0, a.report);
  return All(a.report);
}

}  // namespace

std::vector<double> Results(const Arguments& a) {
  return All(a.fitted, a.measures, a.out, a.soilOut.first, a.soilOut.second, a.report, a.determination);
}

// One row: a name, how its arguments are prepared, the arguments in the call, and what comes back besides the status.
#define ROW(name, prepare, arguments, ...)                                                                \
  Call {                                                                                                  \
#name, [](Arguments & a) { prepare; }, [](Arguments & a) { return All(name arguments, __VA_ARGS__); } \
  }
#define FOUR(array) array[0], array[1], array[2], array[3]

std::span<const Call> EveryExport() {
  static constexpr Call kRows[] = {
      ROW(CurveFitting4Polynominal, Rubber(a, 3),
          (FOUR(a.curves), FOUR(a.use), a.count, a.variant, a.conditionLimit, a.fitted, FOUR(a.out), 0.0, 1.0),
          a.fitted, a.out),
      ROW(ComputeStress4Polynominal, Rubber(a, 1, {0.1743, 0.0099}),
          (FOUR(a.curves), a.count, a.parameters, FOUR(a.out), 0.0, 1.0), a.out),
      ROW(CurveFitting4Ogden, Rubber(a, 2),
          (FOUR(a.curves), FOUR(a.use), a.count, a.variant, a.fitted, FOUR(a.out), 0.0, 1.0), a.fitted, a.out),
      ROW(ComputeStress4Ogden, Rubber(a, 2, {0.4, 1.7, -0.01, -2.1}),
          (FOUR(a.curves), a.count, a.parameters, FOUR(a.out), 0.0, 1.0), a.out),
      ROW(CurveFitting4BlatzKo, Foam(a),
          (FOUR(a.foam), FOUR(a.use), a.lateral, a.variant, a.conditionLimit, a.fitted, FOUR(a.out), 0.0, 1.0),
          a.fitted, a.out),
      ROW(ComputeStress4BlatzKo, Foam(a), (FOUR(a.foam), a.lateral, a.parameters, FOUR(a.out), 0.0, 1.0), a.out),
      ROW(CurveFitting4Volume, Silicone(a),
          (a.curves[0], a.count, a.variant, a.conditionLimit, a.fitted, a.out[0], 0.0, 0.0), a.fitted, a.out[0]),
      ROW(ComputeStress4Volume, Silicone(a), (a.curves[0], a.count, a.parameters, a.out[0], 0.0, 0.0), a.out[0]),
      {"CheckMaterialStability4Polynomial", [](Arguments& a) { Coefficients(a, {0.1, 0.03, -0.002, 0.0, 0.001}); },
       Stability<CheckMaterialStability4Polynomial>},
      {"CheckMaterialStability4Ogden", [](Arguments& a) { Coefficients(a, {0.6, 1.2, -0.02, 3.5}); },
       Stability<CheckMaterialStability4Ogden>},
      ROW(CurveFitting4Creep, Metal(a),
          (a.curves[0], UnlessNull(a, 0, &a.count), UnlessNull(a, 1, &a.stress), UnlessNull(a, 2, &a.exponents[0]),
           UnlessNull(a, 3, &a.exponents[1]), a.fitted, UnlessNull(a, 4, &a.determination)),
          a.fitted, a.determination),
      {"CurveFitting4CreepLMMethod",
       [](Arguments& a) {
         Metal(a);
         const Points points = Values(a.curves[0]);
         Fill(a.curves[0], std::span(points).subspan(1));  // the first strain is negative
         a.stress = 0.5;
         a.fitted.SetSize(7);
       },
       [](Arguments& a) {
         const int status =
             CurveFitting4CreepLMMethod(a.curves[0], 0, a.stress, a.fitted, UnlessNull(a, 0, &a.determination));
         // One stress determines a and b of a t^C4 + b t, not the pairs C1, C2 and C5, C6 that they are made of.
         const double amplitude = a.fitted[0] * std::pow(a.stress, a.fitted[1]);
         const double rate = a.fitted[4] * std::pow(a.stress, a.fitted[5]);
         return All(status, amplitude, a.fitted[3], rate, a.determination);
       }},
      ROW(CurveFitting4Relaxation, Polymer(a), (a.curves[0], a.count, a.variant, a.fitted), a.fitted),
      ROW(CurveFitting4PolyConvertRelaxation, History(a, 0, {0.3, 0.1}),
          (a.curves[0], 0.3, FOUR(a.use), a.count, a.parameters, a.out[0]), a.out[0]),
      ROW(CurveFitting4OgdenConvertRelaxation, History(a, 1, {0.4, 1.7}),
          (a.curves[0], 0.3, FOUR(a.use), a.count, a.parameters, a.out[0]), a.out[0]),
      ROW(CurveFitting4BlatzKoConvertRelaxation, History(a, 2, {0.22}),
          (a.curves[0], 1.0, 0.3, FOUR(a.use), a.parameters, a.out[0]), a.out[0]),
      ROW(FormingLimitCurve, HillSteel(a),
          (a.out[0], a.codes[0], a.settings, a.codes[1], a.parameters, a.codes[2], a.further), a.out[0]),
      ROW(FormingLimitCurveCustomHR, VonMisesSheet(a),
          (a.out[0], a.codes[0], a.settings, a.codes[1], a.parameters, a.codes[2], a.curves[0]), a.out[0]),
      ROW(InitialDynamicMatParameters, (Clay(a), Fill(a.fitted, {5e-4, 0.24})),
          (a.settings, a.fitted, a.flags, a.curves[0]), a.fitted),
      ROW(ModifyDynamicMatParameters,
          (Fill(a.parameters, {1.2e-3, 0.21}), Fill(a.fitted, {1, 2, 3}), Fill(a.flags, {0, 1})),
          (a.parameters, a.fitted, a.flags), a.fitted),
      ROW(CurveFitting4DynamicMatShearStiff, Clay(a),
          (a.settings, a.parameters, a.flags, a.curves[0], a.fitted, a.out[0]), a.fitted),
      ROW(CurveFitting4DynamicMatDamping, Clay(a),
          (a.settings, a.parameters, a.flags, a.curves[1], a.curves[0], a.fitted, a.out[0]), a.fitted),
      ROW(CurveFitting4DynamicMatParameters,
          (Clay(a), Fill(a.further, {1, 1}), a.out[0].SetSize(8), a.out[1].SetSize(8)),
          (a.settings, a.parameters, a.flags, a.further, a.curves[0], a.curves[1], a.fitted, a.out[0], a.out[1]),
          a.parameters, a.further, a.fitted, a.out[0], a.out[1]),
      ROW(CurveFitting4GHEModel6Parameters, Clay(a, {1, 1, 1}, {1, 0, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 0}),
          (a.settings, a.parameters, a.flags, a.curves[0], a.referenceStrain, a.fitted, a.out[0], a.measures), a.fitted,
          a.out[0], a.measures),
      ROW(CurveFitting4GHEModelDamping, Clay(a, {0, 0, 1}, {0, 0}),
          (a.settings, a.parameters, a.flags, a.curves[1], a.curves[0], a.fitted, a.out[0]), a.fitted, a.out[0]),
      ROW(CurveFitting4UnsaturatedSoil, Loam(a), (a.settings, a.soil, a.fitted, a.soilOut), a.fitted, a.soilOut.first,
          a.soilOut.second),
  };
  return kRows;
}

}  // namespace Xem::Testing
