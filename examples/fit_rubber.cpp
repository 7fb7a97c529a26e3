// The fit layer: Ogden constants with standard errors, a word about the data, and the stress at any strain.
#include <xem/fit/hyperelastic.h>

#include <cmath>
#include <cstdio>

int main() {
  Xem::Fit::HyperelasticData data;
  data.stressUnit = "MPa";
  data.uniaxial.x = {0.0, 0.125, 0.39, 0.9, 1.42, 2.02, 3.03, 3.76, 4.36, 4.75, 5.15};
  data.uniaxial.y = {0.0, 0.1344, 0.3169, 0.5003, 0.6769, 0.8633, 1.2263, 1.5892, 1.9522, 2.3152, 2.6879};
  try {
    const Xem::Fit::Result fit = Xem::Fit::FitOgden(data, 2);
    for (const Xem::Fit::Parameter& p : fit.parameters) {
      std::printf("%-7s %10.4g +- %.2g %s\n", p.name.c_str(), p.value, p.standardError, p.unit.c_str());
    }
    std::printf("R^2 = %.5f, shear modulus %.3f MPa\n", fit.measures.r2, fit.derived.at("shear_modulus"));
    for (const Xem::Fit::DroppedPoint& point : fit.dropped) {
      std::printf("dropped: %s, row %d: %s\n", point.curve.c_str(), point.row, point.reason.c_str());
    }
    const double stress = fit.evaluate("uniaxial", 2.5);
    std::printf("at 250 %% tension: %.3f MPa\n", stress);
    return fit.measures.r2 > 0.998 && std::fabs(stress - 1.03) < 0.05 ? 0 : 1;
  } catch (const Xem::Fit::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
