// A sand that drains: van Genuchten's curve through measured water contents.
#include <xem/soil.h>

#include <cmath>
#include <cstdio>
#include <initializer_list>

int main() {
  const double test[][2] = {{0.392, 0.354}, {1.08, 0.349}, {2.06, 0.345},  {3.33, 0.326},  {3.92, 0.27}, {5.1, 0.172},
                            {6.18, 0.1},    {8.24, 0.06},  {11.47, 0.044}, {14.02, 0.037}, {98.1, 0.032}};
  CArray22 measured, result;  // first: (suction in kPa, volumetric water content); second: a grading, none here
  for (const auto& point : test) measured.first.Add({point[0], point[1]});
  result.first.Add({5.0, 0.0});  // the curve is wanted at 5 kPa

  Xem::DoubleArray settings, parameters;
  for (const double code : {0.0, 0.0, 1.0}) settings.Add(code);  // van Genuchten, measured points, absolute residuals
  const std::int32_t status = CurveFitting4UnsaturatedSoil(settings, measured, parameters, result);
  std::printf("status %d: theta_s %.3f, theta_r %.3f, alpha %.3f 1/kPa, n %.2f\n", static_cast<int>(status),
              parameters[0], parameters[1], parameters[2], parameters[3]);
  std::printf("water content at 5 kPa: %.3f\n", result.first[0].second);
  return status == 0 && std::fabs(result.first[0].second - 0.18) < 0.02 ? 0 : 1;
}
