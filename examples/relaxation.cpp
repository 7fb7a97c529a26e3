// A polymer held at constant strain: a Prony series of one term, and how well it follows the curve.
#include <xem/viscoelastic.h>

#include <cmath>
#include <cstdio>

int main() {
  // Modulus over instantaneous modulus. The first point is dropped: nothing has relaxed yet.
  const double test[][2] = {{0.0, 1.0},  {0.1, 0.972}, {0.3, 0.927}, {0.6, 0.876}, {1.0, 0.832},
                            {2.0, 0.79}, {3.0, 0.776}, {5.0, 0.771}, {8.0, 0.77},  {10.0, 0.77}};
  Xem::PointArray curve;  // (time in s, ratio)
  for (const auto& point : test) curve.Add({point[0], point[1]});

  Xem::DoubleArray series;  // g_1, tau_1
  const int terms = 1, absoluteResiduals = 1;
  const std::int32_t status = CurveFitting4Relaxation(curve, terms, absoluteResiduals, series);
  const double g = series[0], tau = series[1];
  std::printf("status %d: g = %.4f, tau = %.3f s, long-term modulus %.1f %%\n", static_cast<int>(status), g, tau,
              100.0 * (1.0 - g));

  double worst = 0.0;
  for (std::int64_t i = 0; i < curve.GetSize(); ++i) {
    const double fitted = 1.0 - g * (1.0 - std::exp(-curve[i].first / tau));
    worst = std::fmax(worst, std::fabs(fitted - curve[i].second));
  }
  std::printf("off by %.4f at most\n", worst);
  return status == 0 && worst < 0.005 ? 0 : 1;
}
