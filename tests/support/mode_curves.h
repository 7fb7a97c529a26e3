#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "support/curves.h"
#include "xem/records.h"

namespace Xem::Testing {

/// Arrays of a call over the four deformation modes; every mode with a curve is switched on unless a test says
/// otherwise.
struct ModeCurves {
  PointArray in[4];
  PointArray out[4];
  int use[4] = {0, 0, 0, 0};
  DoubleArray coefficients;

  void Load(int mode, std::span<const _T_FUNT_BASE> points) {
    Fill(in[mode], points);
    out[mode].SetSize(static_cast<std::int64_t>(points.size()));
    for (std::int64_t i = 0; i < in[mode].GetSize(); ++i) out[mode][i].first = in[mode][i].first;
    use[mode] = 1;
  }
  void LoadTreloar() {
    const auto curves = TreloarCurves();
    for (int m = 0; m < 3; ++m) Load(m, curves[static_cast<std::size_t>(m)]);
  }
};

}  // namespace Xem::Testing
