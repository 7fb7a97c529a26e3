#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

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

  /// Sum of squared differences between measured and fitted stresses of the modes in use.
  double SumOfSquares() const {
    double sum = 0.0;
    for (int m = 0; m < 4; ++m) {
      for (std::int64_t i = 0; use[m] != 0 && i < in[m].GetSize(); ++i) {
        sum += std::pow(in[m][i].second - out[m][i].second, 2);
      }
    }
    return sum;
  }
  /// R^2 about the mean of all measured points of the modes in use.
  double RSquared() const {
    std::vector<double> measured;
    double sum = 0.0;
    for (int m = 0; m < 4; ++m) {
      for (std::int64_t i = 0; use[m] != 0 && i < in[m].GetSize(); ++i) {
        measured.push_back(in[m][i].second);
        sum += in[m][i].second;
      }
    }
    const double mean = sum / static_cast<double>(measured.size());
    double total = 0.0;
    for (const double value : measured) total += (value - mean) * (value - mean);
    return 1.0 - SumOfSquares() / total;
  }
};

}  // namespace Xem::Testing
