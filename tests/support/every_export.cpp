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

/// Stiffness and damping; power law in the stress form, absolute residuals.
void Clay(Arguments& a) {
  static const Points stiffness = BundledCurve("vucetic_dobry1991_pi30_stiffness.csv", "shear_strain", "G_over_Gmax");
  static const Points damping = BundledCurve("vucetic_dobry1991_pi30_damping.csv", "shear_strain", "damping");
  Fill(a.curves[0], stiffness);
  Fill(a.curves[1], damping);
  Fill(a.settings, {0, 2, 1});
  Fill(a.parameters, {5e-4, 0.24});
  Fill(a.flags, {0, 0});
}

}  // namespace

std::vector<double> Results(const Arguments& a) {
  return All(a.fitted, a.measures, a.out, a.soilOut.first, a.soilOut.second, a.report, a.determination);
}

std::span<const Call> EveryExport() {
  static constexpr Call kRows[] = {
      {"CurveFitting4Polynominal", [](Arguments& a) { Rubber(a, 3); },
       [](Arguments& a) {
         return All(CurveFitting4Polynominal(a.curves[0], a.curves[1], a.curves[2], a.curves[3], a.use[0], a.use[1],
                                             a.use[2], a.use[3], a.count, 1, 0.0, a.fitted, a.out[0], a.out[1],
                                             a.out[2], a.out[3], 0.0, 1.0),
                    a.fitted, a.out);
       }},
      {"ComputeStress4Polynominal",
       [](Arguments& a) {
         Rubber(a, 1, {0.1743, 0.0099});
       },
       [](Arguments& a) {
         return All(ComputeStress4Polynominal(a.curves[0], a.curves[1], a.curves[2], a.curves[3], a.count, a.parameters,
                                              a.out[0], a.out[1], a.out[2], a.out[3], 0.0, 1.0),
                    a.out);
       }},
      {"CurveFitting4Ogden", [](Arguments& a) { Rubber(a, 2); },
       [](Arguments& a) {
         return All(
             CurveFitting4Ogden(a.curves[0], a.curves[1], a.curves[2], a.curves[3], a.use[0], a.use[1], a.use[2],
                                a.use[3], a.count, 1, a.fitted, a.out[0], a.out[1], a.out[2], a.out[3], 0.0, 1.0),
             a.fitted, a.out);
       }},
      {"ComputeStress4Ogden",
       [](Arguments& a) {
         Rubber(a, 2, {0.4, 1.7, -0.01, -2.1});
       },
       [](Arguments& a) {
         return All(ComputeStress4Ogden(a.curves[0], a.curves[1], a.curves[2], a.curves[3], a.count, a.parameters,
                                        a.out[0], a.out[1], a.out[2], a.out[3], 0.0, 1.0),
                    a.out);
       }},
      {"CurveFitting4BlatzKo", Foam,
       [](Arguments& a) {
         return All(
             CurveFitting4BlatzKo(a.foam[0], a.foam[1], a.foam[2], a.foam[3], a.use[0], a.use[1], a.use[2], a.use[3],
                                  0.0, 1, 0.0, a.fitted, a.out[0], a.out[1], a.out[2], a.out[3], 0.0, 1.0),
             a.fitted, a.out);
       }},
      {"ComputeStress4BlatzKo", Foam,
       [](Arguments& a) {
         return All(ComputeStress4BlatzKo(a.foam[0], a.foam[1], a.foam[2], a.foam[3], 0.0, a.parameters, a.out[0],
                                          a.out[1], a.out[2], a.out[3], 0.0, 1.0),
                    a.out);
       }},
      {"CurveFitting4Volume", Silicone,
       [](Arguments& a) {
         return All(CurveFitting4Volume(a.curves[0], a.count, 1, 0.0, a.fitted, a.out[0], 0.0, 0.0), a.fitted,
                    a.out[0]);
       }},
      {"ComputeStress4Volume", Silicone,
       [](Arguments& a) {
         return All(ComputeStress4Volume(a.curves[0], a.count, a.parameters, a.out[0], 0.0, 0.0), a.out[0]);
       }},
      {"CheckMaterialStability4Polynomial",
       [](Arguments& a) {
         Coefficients(a, {0.1, 0.03, -0.002, 0.0, 0.001});
       },
       [](Arguments& a) {
         CheckMaterialStability4Polynomial(a.parameters, a.further, a.count, a.volumetricTerms, -0.5, 3.0, 0.0, 0.0,
                                           a.report);
         return All(a.report);
       }},
      {"CheckMaterialStability4Ogden",
       [](Arguments& a) {
         Coefficients(a, {0.6, 1.2, -0.02, 3.5});
       },
       [](Arguments& a) {
         CheckMaterialStability4Ogden(a.parameters, a.further, a.count, a.volumetricTerms, -0.5, 3.0, 0.0, 0.0,
                                      a.report);
         return All(a.report);
       }},
      {"CurveFitting4Creep", Metal,
       [](Arguments& a) {
         static constexpr std::int32_t kBoth = 2;
         static constexpr double kExponent = 1.0;
         const auto unlessNull = [&](int k, const auto* pointer) { return a.nullPointer == k ? nullptr : pointer; };
         double* const determination = a.nullPointer == 4 ? nullptr : &a.determination;
         return All(CurveFitting4Creep(a.curves[0], unlessNull(0, &kBoth), unlessNull(1, &a.stress),
                                       unlessNull(2, &kExponent), unlessNull(3, &kExponent), a.fitted, determination),
                    a.fitted, a.determination);
       }},
      {"CurveFitting4CreepLMMethod",
       [](Arguments& a) {
         Metal(a);
         const Points points = Values(a.curves[0]);
         Fill(a.curves[0], std::span(points).subspan(1));  // the first strain is negative
         a.stress = 0.5;
         a.fitted.SetSize(7);
       },
       [](Arguments& a) {
         double* const determination = a.nullPointer == 0 ? nullptr : &a.determination;
         const int status = CurveFitting4CreepLMMethod(a.curves[0], 0, a.stress, a.fitted, determination);
         // One stress determines a and b of a t^C4 + b t, not the pairs C1, C2 and C5, C6 that they are made of.
         const double amplitude = a.fitted[0] * std::pow(a.stress, a.fitted[1]);
         const double rate = a.fitted[4] * std::pow(a.stress, a.fitted[5]);
         return All(status, amplitude, a.fitted[3], rate, a.determination);
       }},
      {"CurveFitting4Relaxation",
       [](Arguments& a) {
         static const Points points = BundledCurve("polymer_relaxation.csv", "time_s", "g");
         Fill(a.curves[0], points);
         a.count = 1;
       },
       [](Arguments& a) { return All(CurveFitting4Relaxation(a.curves[0], a.count, 1, a.fitted), a.fitted); }},
      {"CurveFitting4PolyConvertRelaxation",
       [](Arguments& a) {
         History(a, 0, {0.3, 0.1});
       },
       [](Arguments& a) {
         return All(CurveFitting4PolyConvertRelaxation(a.curves[0], 0.3, a.use[0], a.use[1], a.use[2], a.use[3],
                                                       a.count, a.parameters, a.out[0]),
                    a.out[0]);
       }},
      {"CurveFitting4OgdenConvertRelaxation",
       [](Arguments& a) {
         History(a, 1, {0.4, 1.7});
       },
       [](Arguments& a) {
         return All(CurveFitting4OgdenConvertRelaxation(a.curves[0], 0.3, a.use[0], a.use[1], a.use[2], a.use[3],
                                                        a.count, a.parameters, a.out[0]),
                    a.out[0]);
       }},
      {"CurveFitting4BlatzKoConvertRelaxation", [](Arguments& a) { History(a, 2, {0.22}); },
       [](Arguments& a) {
         return All(CurveFitting4BlatzKoConvertRelaxation(a.curves[0], 1.0, 0.3, a.use[0], a.use[1], a.use[2], a.use[3],
                                                          a.parameters, a.out[0]),
                    a.out[0]);
       }},
      {"FormingLimitCurve",
       [](Arguments& a) {
         Fill(a.settings, {11, 1e-3, 0.02});
         Fill(a.parameters, {1.6, 2.0});
         Fill(a.further, {518.968, 0.0007648, 0.28985, 0.0});
         a.codes = {0, 101, 200};
       },
       [](Arguments& a) {
         return All(
             FormingLimitCurve(a.out[0], a.codes[0], a.settings, a.codes[1], a.parameters, a.codes[2], a.further),
             a.out[0]);
       }},
      {"FormingLimitCurveCustomHR",
       [](Arguments& a) {
         static const Points points =
             BundledCurve("sgcc_flow_curve.csv", "plastic_strain", "true_stress_MPa", "angle_deg", "00");
         Fill(a.settings, {11, 1e-3, 0.02});
         Fill(a.curves[0], points);
         a.codes = {0, 100, 298};
       },
       [](Arguments& a) {
         return All(FormingLimitCurveCustomHR(a.out[0], a.codes[0], a.settings, a.codes[1], a.parameters, a.codes[2],
                                              a.curves[0]),
                    a.out[0]);
       }},
      {"InitialDynamicMatParameters",
       [](Arguments& a) {
         Clay(a);
         Fill(a.fitted, {5e-4, 0.24});
       },
       [](Arguments& a) {
         return All(InitialDynamicMatParameters(a.settings, a.fitted, a.flags, a.curves[0]), a.fitted);
       }},
      {"ModifyDynamicMatParameters",
       [](Arguments& a) {
         Fill(a.parameters, {1.2e-3, 0.21});
         Fill(a.fitted, {1, 2, 3});
         Fill(a.flags, {0, 1});
       },
       [](Arguments& a) { return All(ModifyDynamicMatParameters(a.parameters, a.fitted, a.flags), a.fitted); }},
      {"CurveFitting4DynamicMatShearStiff", Clay,
       [](Arguments& a) {
         return All(
             CurveFitting4DynamicMatShearStiff(a.settings, a.parameters, a.flags, a.curves[0], a.fitted, a.out[0]),
             a.fitted);
       }},
      {"CurveFitting4DynamicMatDamping", Clay,
       [](Arguments& a) {
         return All(CurveFitting4DynamicMatDamping(a.settings, a.parameters, a.flags, a.curves[1], a.curves[0],
                                                   a.fitted, a.out[0]),
                    a.fitted);
       }},
      {"CurveFitting4DynamicMatParameters",
       [](Arguments& a) {
         Clay(a);
         Fill(a.further, {1, 1});
         a.out[0].SetSize(8);
         a.out[1].SetSize(8);
       },
       [](Arguments& a) {
         return All(CurveFitting4DynamicMatParameters(a.settings, a.parameters, a.flags, a.further, a.curves[0],
                                                      a.curves[1], a.fitted, a.out[0], a.out[1]),
                    a.parameters, a.further, a.fitted, a.out[0], a.out[1]);
       }},
      {"CurveFitting4GHEModel6Parameters",
       [](Arguments& a) {
         Clay(a);
         Fill(a.settings, {1, 1, 1});
         Fill(a.parameters, {1, 0, 0, 0, 0, 0});
         Fill(a.flags, {1, 0, 0, 0, 0, 0});
       },
       [](Arguments& a) {
         return All(CurveFitting4GHEModel6Parameters(a.settings, a.parameters, a.flags, a.curves[0], 0.0, a.fitted,
                                                     a.out[0], a.measures),
                    a.fitted, a.out[0], a.measures);
       }},
      {"CurveFitting4GHEModelDamping",
       [](Arguments& a) {
         Clay(a);
         Fill(a.settings, {0, 0, 1});
         Fill(a.parameters, {0, 0});
       },
       [](Arguments& a) {
         return All(CurveFitting4GHEModelDamping(a.settings, a.parameters, a.flags, a.curves[1], a.curves[0], a.fitted,
                                                 a.out[0]),
                    a.fitted, a.out[0]);
       }},
      {"CurveFitting4UnsaturatedSoil",
       [](Arguments& a) {
         static const Points measured = BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", "4170");
         static const Points grading =
             BundledCurve("unsoda_grain_size.csv", "particle_size_um", "fraction_finer", "soil", "4170");
         Fill(a.soil.first, measured);
         for (const _T_FUNT_BASE& point : grading) a.soil.second.Add({point.first / 1000.0, point.second});
         Fill(a.settings, {0, 0, 1});
       },
       [](Arguments& a) {
         return All(CurveFitting4UnsaturatedSoil(a.settings, a.soil, a.fitted, a.soilOut), a.fitted, a.soilOut.first,
                    a.soilOut.second);
       }},
  };
  return kRows;
}

}  // namespace Xem::Testing
