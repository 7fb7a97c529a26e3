// Forming-limit curve of an IF steel: Swift hardening with von Mises yielding.
#include <xem/sheet_metal.h>

#include <cmath>
#include <cstdio>
#include <initializer_list>

int main() {
  const int maximumForce = 0, vonMises = 100, ghosh = 200;
  Xem::DoubleArray paths, yield, hardening;
  for (const double setting : {11.0, 1e-4, 0.01}) paths.Add(setting);  // stress paths, strain step, tolerance
  for (const double constant : {518.968, 0.0007648, 0.28985, 0.0}) hardening.Add(constant);  // K (MPa), e0, n, p

  Xem::PointArray limit;
  FormingLimitCurve(limit, maximumForce, paths, vonMises, yield, ghosh, hardening);
  double planeStrain = -1.0;
  for (std::int64_t i = 0; i < limit.GetSize(); ++i) {
    std::printf("minor strain %7.4f, major strain %.4f\n", limit[i].second, limit[i].first);
    if (limit[i].second == 0.0) planeStrain = limit[i].first;
  }
  std::printf("limit in plane strain: %.3f\n", planeStrain);
  return std::fabs(planeStrain - 0.289) < 0.01 ? 0 : 1;  // n - e0 by theory; a line through few paths lies above
}
