// A silicone under pressure: bulk modulus from the linear stretch of a compressed block.
#include <xem/hyperelastic.h>

#include <cmath>
#include <cstdio>

int main() {
  const double test[][2] = {{0.999633, 2.2076}, {0.998999, 6.0333}, {0.998431, 9.539}, {0.997929, 12.943}};
  Xem::PointArray curve, fitted;  // (linear stretch, pressure in MPa)
  for (const auto& point : test) curve.Add({point[0], point[1]});
  fitted.SetSize(curve.GetSize());

  Xem::DoubleArray d;
  const int terms = 1, relativeResiduals = 0;
  CurveFitting4Volume(curve, terms, relativeResiduals, 0.0, d, fitted, 0.0, 0.0);
  std::printf("bulk modulus %.0f MPa\n", 2.0 * d[0]);

  double worst = 0.0;
  for (std::int64_t i = 0; i < curve.GetSize(); ++i) {
    std::printf("stretch %.6f: measured %7.3f MPa, fitted %7.3f MPa\n", curve[i].first, curve[i].second,
                fitted[i].second);
    worst = std::fmax(worst, std::fabs(fitted[i].second / curve[i].second - 1.0));
  }
  return worst < 0.1 && d[0] > 900.0 && d[0] < 1200.0 ? 0 : 1;
}
