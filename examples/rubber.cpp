// Natural rubber: Mooney-Rivlin constants from two test curves, a stress from the constants, and where they are stable.
#include <xem/material_util.h>

#include <cmath>
#include <cstdio>
#include <initializer_list>

Xem::PointArray Curve(std::initializer_list<_T_FUNT_BASE> points) {
  Xem::PointArray curve;
  for (const _T_FUNT_BASE& point : points) curve.Add(point);
  return curve;
}

int main() {
  // (nominal strain, nominal stress in MPa)
  const auto uniaxial = Curve({{0.125, 0.1344}, {0.24, 0.2256}, {0.39, 0.3169}, {0.585, 0.4081}, {0.9, 0.5003}});
  const auto pureShear = Curve({{0.12, 0.1589}, {0.19, 0.2452}, {0.31, 0.3326}, {0.46, 0.4189}, {0.84, 0.5925}});
  Xem::PointArray none, fitted[4];
  fitted[0].SetSize(uniaxial.GetSize());
  fitted[2].SetSize(pureShear.GetSize());

  Xem::DoubleArray c;
  const int order = 1, absoluteResiduals = 1;
  CurveFitting4Polynominal(uniaxial, none, pureShear, none, 1, 0, 1, 0, order, absoluteResiduals, 0.0, c, fitted[0],
                           fitted[1], fitted[2], fitted[3], 0.0, 1.0);
  std::printf("C10 = %.4f MPa, C01 = %.4f MPa, shear modulus %.3f MPa\n", c[0], c[1], 2.0 * (c[0] + c[1]));

  Xem::PointArray stress[4];
  const auto at = Curve({{0.5, 1.0}});  // the ordinate only says that the point counts
  stress[0].SetSize(1);
  ComputeStress4Polynominal(at, none, none, none, order, c, stress[0], stress[1], stress[2], stress[3], 0.0, 1.0);
  std::printf("at 50 %% tension: %.3f MPa\n", stress[0][0].second);

  CString report;
  CheckMaterialStability4Polynomial(c, Xem::DoubleArray(), order, 1, -0.5, 2.0, 0.0, 0.0, report);
  std::printf("%ls", report.GetString());

  double worst = 0.0;
  for (std::int64_t i = 0; i < uniaxial.GetSize(); ++i) {
    worst = std::fmax(worst, std::fabs(fitted[0][i].second - uniaxial[i].second));
  }
  return worst < 0.05 && std::fabs(stress[0][0].second - 0.37) < 0.02 && report.Find(L"stable") > 0 ? 0 : 1;
}
