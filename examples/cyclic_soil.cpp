// Sand under cyclic shear: stiffness and damping against strain by one pair of constants, and the curves they draw.
#include <xem/dynamic.h>

#include <cmath>
#include <cstdio>
#include <initializer_list>

int main() {
  const double test[][3] = {{1e-5, 0.96, 0.017},    {3.16e-5, 0.88, 0.031}, {1e-4, 0.74, 0.055},
                            {3.16e-4, 0.52, 0.095}, {1e-3, 0.29, 0.155},    {3.16e-3, 0.15, 0.211}};
  Xem::PointArray stiffness, damping;  // (shear strain, G/G0) and (shear strain, damping ratio)
  for (const auto& point : test) {
    stiffness.Add({point[0], point[1]});
    damping.Add({point[0], point[2]});
  }

  Xem::DoubleArray options, parameters, flags, weights, fitted;
  for (const double option : {0.0, 2.0, 1.0}) options.Add(option);  // power law, stress form, absolute residuals
  for (const double start : {5e-4, 0.25}) parameters.Add(start);    // reference strain, greatest damping
  for (int i = 0; i < 2; ++i) flags.Add(0.0), weights.Add(1.0);     // both free, curves alike
  Xem::PointArray ratio, ratioOfDamping;
  ratio.SetSize(8);  // strains 1e-7, 1e-6, ... 1
  ratioOfDamping.SetSize(8);
  const std::int32_t status = CurveFitting4DynamicMatParameters(options, parameters, flags, weights, stiffness, damping,
                                                                fitted, ratio, ratioOfDamping);
  std::printf("status %d: reference strain %.3g, greatest damping %.1f %%\n", static_cast<int>(status), fitted[0],
              100.0 * fitted[1]);
  for (std::int64_t i = 0; i < 8; ++i) {
    std::printf("strain %5.0e: G/G0 %.3f, damping %4.1f %%\n", ratio[i].first, ratio[i].second,
                100.0 * ratioOfDamping[i].second);
  }
  return status == 0 && std::fabs(ratio[3].second - 0.74) < 0.1 && std::fabs(ratioOfDamping[4].second - 0.155) < 0.03
             ? 0
             : 1;
}
