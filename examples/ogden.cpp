// Vulcanised rubber up to 500 % strain: one Ogden term cannot follow the upturn, two can.
#include <xem/hyperelastic.h>

#include <cmath>
#include <cstdio>

int main() {
  const double tension[][2] = {{0.125, 0.1344}, {0.39, 0.3169}, {0.9, 0.5003},  {1.42, 0.6769}, {2.02, 0.8633},
                               {3.03, 1.2263},  {3.76, 1.5892}, {4.36, 1.9522}, {4.75, 2.3152}, {5.15, 2.6879}};
  Xem::PointArray uniaxial, none, fitted[4];  // (nominal strain, nominal stress in MPa)
  for (const auto& point : tension) uniaxial.Add({point[0], point[1]});
  fitted[0].SetSize(uniaxial.GetSize());

  double worst[3] = {};
  for (const int terms : {1, 2}) {
    Xem::DoubleArray pairs;  // mu_1, alpha_1, mu_2, alpha_2
    const int absoluteResiduals = 1;
    const std::int32_t status = CurveFitting4Ogden(uniaxial, none, none, none, 1, 0, 0, 0, terms, absoluteResiduals,
                                                   pairs, fitted[0], fitted[1], fitted[2], fitted[3], 0.0, 1.0);
    for (std::int64_t i = 0; i < uniaxial.GetSize(); ++i) {
      worst[terms] = std::fmax(worst[terms], std::fabs(fitted[0][i].second - uniaxial[i].second));
    }
    std::printf("%d term(s), status %d, off by %.3f MPa at most:", terms, static_cast<int>(status), worst[terms]);
    for (std::int64_t k = 0; k < pairs.GetSize(); k += 2) std::printf("  mu %.4g alpha %.4g", pairs[k], pairs[k + 1]);
    std::printf("\n");
    if (status != 0) return 1;
  }
  return worst[2] < worst[1] && worst[2] < 0.1 ? 0 : 1;
}
