#include "support/every_export.h"

#include <cmath>
#include <cwchar>
#include <string>

#include "support/curves.h"
#include "support/mode_curves.h"
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

struct Doubles : DoubleArray {
  Doubles(std::initializer_list<double> values) { Fill(*this, values); }
};

struct Curve : PointArray {
  explicit Curve(std::span<const _T_FUNT_BASE> points = {}) { Fill(*this, points); }
};

const Points& Silicone() {
  static const Points points = BundledCurve("silicone_volumetric.csv", "linear_stretch", "pressure_MPa");
  return points;
}
const Points& Creep() {
  static const Points points =
      BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain", "primary_secondary", "1");
  return points;
}
const Points& Polymer() {
  static const Points points = BundledCurve("polymer_relaxation.csv", "time_s", "g");
  return points;
}
const Points& ClayStiffness() {
  static const Points points = BundledCurve("vucetic_dobry1991_pi30_stiffness.csv", "shear_strain", "G_over_Gmax");
  return points;
}
const Points& ClayDamping() {
  static const Points points = BundledCurve("vucetic_dobry1991_pi30_damping.csv", "shear_strain", "damping");
  return points;
}
const Points& SheetFlow() {
  static const Points points =
      BundledCurve("sgcc_flow_curve.csv", "plastic_strain", "true_stress_MPa", "angle_deg", "00");
  return points;
}

/// Treloar's rubber in three modes; simple shear is left to the default grid.
struct Rubber : ModeCurves {
  Rubber() {
    static const auto curves = TreloarCurves();
    for (int m = 0; m < 3; ++m) Load(m, curves[static_cast<std::size_t>(m)]);
  }
};

/// A foam of modulus 0.22 whose lateral strains are those of a Poisson ratio of 1/4, with a reading error.
struct Foam {
  Point3Array in[4];
  PointArray out[4];
  DoubleArray modulus;

  Foam() {
    for (int i = 1; i <= 12; ++i) {
      const double stretch = 1.0 + 0.05 * i;
      const double lateral = std::pow(stretch, -0.25);
      const double stress = 0.22 * (lateral * lateral - std::pow(stretch, -3.0)) * (1.0 + 0.01 * std::sin(i));
      in[0].Add({stretch - 1.0, lateral - 1.0, stress});
    }
    out[0].SetSize(12);
  }
};

/// Strain over time in a stepped test.
const Points kHistory{{0.0, 0.0}, {0.1, 0.05}, {0.5, 0.2}, {2.0, 0.5}, {10.0, 0.8}};

Numbers FitPolynomialStress() {
  Rubber r;
  const int status = CurveFitting4Polynominal(r.in[0], r.in[1], r.in[2], r.in[3], 1, 1, 1, 0, 3, 1, 0.0, r.coefficients,
                                              r.out[0], r.out[1], r.out[2], r.out[3], 0.0, 1.0);
  return All(status, r.coefficients, r.out);
}

Numbers PolynomialStress() {
  Rubber r;
  const int status = ComputeStress4Polynominal(r.in[0], r.in[1], r.in[2], r.in[3], 1, Doubles{0.1743, 0.0099}, r.out[0],
                                               r.out[1], r.out[2], r.out[3], 0.0, 1.0);
  return All(status, r.out);
}

Numbers FitOgdenStress() {
  Rubber r;
  const int status = CurveFitting4Ogden(r.in[0], r.in[1], r.in[2], r.in[3], 1, 1, 1, 0, 2, 1, r.coefficients, r.out[0],
                                        r.out[1], r.out[2], r.out[3], 0.0, 1.0);
  return All(status, r.coefficients, r.out);
}

Numbers OgdenStress() {
  Rubber r;
  const int status = ComputeStress4Ogden(r.in[0], r.in[1], r.in[2], r.in[3], 2, Doubles{0.4, 1.7, -0.01, -2.1},
                                         r.out[0], r.out[1], r.out[2], r.out[3], 0.0, 1.0);
  return All(status, r.out);
}

Numbers FitFoam() {
  Foam f;
  const int status = CurveFitting4BlatzKo(f.in[0], f.in[1], f.in[2], f.in[3], 1, 0, 0, 0, 0.0, 1, 0.0, f.modulus,
                                          f.out[0], f.out[1], f.out[2], f.out[3], 0.0, 1.0);
  return All(status, f.modulus, f.out);
}

Numbers FoamStress() {
  Foam f;
  const int status = ComputeStress4BlatzKo(f.in[0], f.in[1], f.in[2], f.in[3], 0.0, Doubles{0.22}, f.out[0], f.out[1],
                                           f.out[2], f.out[3], 0.0, 1.0);
  return All(status, f.out);
}

Numbers FitPressure() {
  Curve curve(Silicone());
  PointArray out;
  DoubleArray coefficients;
  out.SetSize(20);
  const int status = CurveFitting4Volume(curve, 2, 1, 0.0, coefficients, out, 0.0, 0.0);
  return All(status, coefficients, out);
}

Numbers Pressure() {
  Curve curve(Silicone());
  PointArray out;
  out.SetSize(20);
  const int status = ComputeStress4Volume(curve, 2, Doubles{1e3, 2e4}, out, 0.0, 0.0);
  return All(status, out);
}

Numbers CheckPolynomial() {
  CString report;
  CheckMaterialStability4Polynomial(Doubles{0.1, 0.03, -0.002, 0.0, 0.001}, Doubles{}, 2, 1, -0.5, 3.0, 0.0, 0.0,
                                    report);
  return All(report);
}

Numbers CheckOgden() {
  CString report;
  CheckMaterialStability4Ogden(Doubles{0.6, 1.2, -0.02, 3.5}, Doubles{}, 2, 1, -0.5, 3.0, 0.0, 0.0, report);
  return All(report);
}

Numbers FitCreepByLines() {
  Curve curve(Creep());
  const std::int32_t both = 2;
  const double stress = 500.0, exponent = 1.0;
  double determination = 0.0;
  DoubleArray constants;
  const int status = CurveFitting4Creep(curve, &both, &stress, &exponent, &exponent, constants, &determination);
  return All(status, constants, determination);
}

Numbers FitCreepBySteps() {
  const Points& points = Creep();
  Curve curve(std::span<const _T_FUNT_BASE>(points).subspan(1));  // the first strain is negative
  DoubleArray constants;
  constants.SetSize(7);
  double determination = 0.0;
  const double stress = 0.5;
  const int status = CurveFitting4CreepLMMethod(curve, 0, stress, constants, &determination);
  // One stress determines a and b of a t^C4 + b t, not the pairs C1, C2 and C5, C6 that they are made of.
  const double a = constants[0] * std::pow(stress, constants[1]);
  const double b = constants[4] * std::pow(stress, constants[5]);
  return All(status, a, constants[3], b, determination);
}

Numbers FitRelaxation() {
  Curve curve(Polymer());
  DoubleArray series;
  const int status = CurveFitting4Relaxation(curve, 1, 1, series);
  return All(status, series);
}

Numbers ConvertPolynomial() {
  Curve curve(kHistory);
  PointArray out;
  const int status = CurveFitting4PolyConvertRelaxation(curve, 0.3, 1, 0, 0, 0, 1, Doubles{0.3, 0.1}, out);
  return All(status, out);
}

Numbers ConvertOgden() {
  Curve curve(kHistory);
  PointArray out;
  const int status = CurveFitting4OgdenConvertRelaxation(curve, 0.3, 0, 1, 0, 0, 1, Doubles{0.4, 1.7}, out);
  return All(status, out);
}

Numbers ConvertFoam() {
  Curve curve(kHistory);
  PointArray out;
  const int status = CurveFitting4BlatzKoConvertRelaxation(curve, 1.0, 0.3, 0, 0, 1, 0, Doubles{0.22}, out);
  return All(status, out);
}

Numbers LimitOfGhosh() {
  PointArray curve;
  const int status = FormingLimitCurve(curve, 0, Doubles{11, 1e-3, 0.02}, 101, Doubles{1.6, 2.0}, 200,
                                       Doubles{518.968, 0.0007648, 0.28985, 0.0});
  return All(status, curve);
}

Numbers LimitOfTable() {
  Curve table(SheetFlow());
  PointArray curve;
  const int status = FormingLimitCurveCustomHR(curve, 0, Doubles{11, 1e-3, 0.02}, 100, Doubles{}, 298, table);
  return All(status, curve);
}

/// Arguments of the fits of cyclic curves: power law in the stress form, absolute residuals.
struct Clay {
  Doubles options{0, 2, 1}, parameters{5e-4, 0.24}, flags{0, 0}, weights{1, 1};
  Curve stiffness{ClayStiffness()}, damping{ClayDamping()};
  DoubleArray fitted;
  PointArray stiffnessOut, dampingOut;
};

Numbers FitStiffness() {
  Clay c;
  const int status =
      CurveFitting4DynamicMatShearStiff(c.options, c.parameters, c.flags, c.stiffness, c.fitted, c.stiffnessOut);
  return All(status, c.fitted);
}

Numbers FitDamping() {
  Clay c;
  const int status =
      CurveFitting4DynamicMatDamping(c.options, c.parameters, c.flags, c.damping, c.stiffness, c.fitted, c.dampingOut);
  return All(status, c.fitted);
}

Numbers FitStiffnessAndDamping() {
  Clay c;
  c.stiffnessOut.SetSize(8);
  c.dampingOut.SetSize(8);
  const int status = CurveFitting4DynamicMatParameters(c.options, c.parameters, c.flags, c.weights, c.stiffness,
                                                       c.damping, c.fitted, c.stiffnessOut, c.dampingOut);
  return All(status, c.parameters, c.weights, c.fitted, c.stiffnessOut, c.dampingOut);
}

Numbers InitialParameters() {
  Clay c;
  const int status = InitialDynamicMatParameters(c.options, c.parameters, c.flags, c.stiffness);
  return All(status, c.parameters);
}

Numbers ModifyParameters() {
  Doubles target{1, 2, 3};
  const int status = ModifyDynamicMatParameters(Doubles{1.2e-3, 0.21}, target, Doubles{0, 1});
  return All(status, target);
}

Numbers FitSixParameters() {
  Clay c;
  DoubleArray measures;
  const int status =
      CurveFitting4GHEModel6Parameters(Doubles{1, 1, 1}, Doubles{1, 0, 0, 0, 0, 0}, Doubles{1, 0, 0, 0, 0, 0},
                                       c.stiffness, 0.0, c.fitted, c.stiffnessOut, measures);
  return All(status, c.fitted, c.stiffnessOut, measures);
}

Numbers FitDampingOfSix() {
  Clay c;
  const int status = CurveFitting4GHEModelDamping(Doubles{0, 0, 1}, Doubles{0, 0}, c.flags, c.damping, c.stiffness,
                                                  c.fitted, c.dampingOut);
  return All(status, c.fitted, c.dampingOut);
}

Numbers FitRetention() {
  static const Points measured = BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", "4170");
  static const Points grading =
      BundledCurve("unsoda_grain_size.csv", "particle_size_um", "fraction_finer", "soil", "4170");
  CArray22 in, out;
  Fill(in.first, measured);
  for (const _T_FUNT_BASE& point : grading) in.second.Add({point.first / 1000.0, point.second});
  DoubleArray parameters;
  const int status = CurveFitting4UnsaturatedSoil(Doubles{0, 0, 1}, in, parameters, out);
  return All(status, parameters, out.first, out.second);
}

}  // namespace

std::span<const Call> EveryExport() {
  static constexpr Call kRows[] = {
      {"CurveFitting4Polynominal", FitPolynomialStress},
      {"ComputeStress4Polynominal", PolynomialStress},
      {"CurveFitting4Ogden", FitOgdenStress},
      {"ComputeStress4Ogden", OgdenStress},
      {"CurveFitting4BlatzKo", FitFoam},
      {"ComputeStress4BlatzKo", FoamStress},
      {"CurveFitting4Volume", FitPressure},
      {"ComputeStress4Volume", Pressure},
      {"CheckMaterialStability4Polynomial", CheckPolynomial},
      {"CheckMaterialStability4Ogden", CheckOgden},
      {"CurveFitting4Creep", FitCreepByLines},
      {"CurveFitting4CreepLMMethod", FitCreepBySteps},
      {"CurveFitting4Relaxation", FitRelaxation},
      {"CurveFitting4PolyConvertRelaxation", ConvertPolynomial},
      {"CurveFitting4OgdenConvertRelaxation", ConvertOgden},
      {"CurveFitting4BlatzKoConvertRelaxation", ConvertFoam},
      {"FormingLimitCurve", LimitOfGhosh},
      {"FormingLimitCurveCustomHR", LimitOfTable},
      {"InitialDynamicMatParameters", InitialParameters},
      {"ModifyDynamicMatParameters", ModifyParameters},
      {"CurveFitting4DynamicMatShearStiff", FitStiffness},
      {"CurveFitting4DynamicMatDamping", FitDamping},
      {"CurveFitting4DynamicMatParameters", FitStiffnessAndDamping},
      {"CurveFitting4GHEModel6Parameters", FitSixParameters},
      {"CurveFitting4GHEModelDamping", FitDampingOfSix},
      {"CurveFitting4UnsaturatedSoil", FitRetention},
  };
  return kRows;
}

}  // namespace Xem::Testing
