#include "stability/voigt.h"

namespace Xem::MaterialUtil {
namespace {

Matrix3 Tensor(const Vector6& stress) {
  Matrix3 tensor{};
  for (std::size_t p = 0; p < 6; ++p) {
    const auto [i, j] = kVoigt[p];
    tensor[i][j] = tensor[j][i] = stress[p];
  }
  return tensor;
}

}  // namespace

Matrix6 PushForward(const Matrix3& f) {
  Matrix6 t{};
  for (std::size_t p = 0; p < 6; ++p) {
    const auto [i, j] = kVoigt[p];
    for (std::size_t q = 0; q < 6; ++q) {
      const auto [k, l] = kVoigt[q];
      t[p][q] = f[i][k] * f[j][l];
      if (k != l) t[p][q] += f[i][l] * f[j][k];
    }
  }
  return t;
}

Vector6 Multiply(const Matrix6& a, const Vector6& x) {
  Vector6 y{};
  for (std::size_t p = 0; p < 6; ++p) {
    for (std::size_t q = 0; q < 6; ++q) y[p] += a[p][q] * x[q];
  }
  return y;
}

Matrix6 Transform(const Matrix6& t, const Matrix6& l) {
  Matrix6 k{};
  for (std::size_t p = 0; p < 6; ++p) {
    Vector6 row{};
    for (std::size_t r = 0; r < 6; ++r) {
      for (std::size_t s = 0; s < 6; ++s) row[s] += t[p][r] * l[r][s];
    }
    for (std::size_t q = 0; q <= p; ++q) {
      for (std::size_t s = 0; s < 6; ++s) k[p][q] += row[s] * t[q][s];
      k[q][p] = k[p][q];
    }
  }
  return k;
}

Matrix6 StressTerms(const Vector6& stress) {
  const Matrix3 t = Tensor(stress);
  const auto delta = [](std::size_t a, std::size_t b) { return a == b ? 1.0 : 0.0; };
  Matrix6 h{};
  for (std::size_t p = 0; p < 6; ++p) {
    const auto [i, j] = kVoigt[p];
    for (std::size_t q = 0; q < 6; ++q) {
      const auto [k, l] = kVoigt[q];
      h[p][q] = 0.5 * (delta(i, k) * t[j][l] + delta(i, l) * t[j][k] + delta(j, k) * t[i][l] + delta(j, l) * t[i][k]);
    }
  }
  return h;
}

}  // namespace Xem::MaterialUtil
