// A metal under constant load: primary and secondary creep from one test.
#include <xem/viscoelastic.h>

#include <cmath>
#include <cstdio>

int main() {
  const double test[][2] = {{3.37, 0.00136}, {9.19, 0.00236},  {15.15, 0.00276},
                            {21.1, 0.00316}, {27.05, 0.00356}, {33.01, 0.00396}};
  Xem::PointArray curve;  // (time in h, creep strain without the instantaneous one)
  for (const auto& point : test) curve.Add({point[0], point[1]});

  const std::int32_t primaryTerm = 0;
  const double stress = 500.0, primaryExponent = 1.0, secondaryExponent = 1.0;  // one stress cannot tell exponents
  Xem::DoubleArray c;
  double determination = 0.0;
  CurveFitting4Creep(curve, &primaryTerm, &stress, &primaryExponent, &secondaryExponent, c, &determination);
  std::printf("creep strain = %.3g s^%g t^%.3f, s in MPa, t in h; R^2 = %.4f\n", c[0], c[1], c[3], determination);

  const double after20h = c[0] * std::pow(stress, c[1]) * std::pow(20.0, c[3]);
  std::printf("after 20 h: %.3f %%\n", 100.0 * after20h);
  return determination > 0.97 && std::fabs(after20h - 0.0031) < 0.0002 ? 0 : 1;
}
