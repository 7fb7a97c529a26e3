#include "stability/symmetric3.h"

#include <cmath>
#include <cstddef>

#include "solver/linalg/numbers.h"

namespace Xem::MaterialUtil {
namespace {

/// Two or three sweeps per eigenvalue suffice; the limit is for matrices that are not finite.
constexpr int kMaximumSweeps = 60;

constexpr Matrix3 kIdentity{{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};

/// t = H t H and v = v H for the reflection H in the plane of axes 1 and 2 that clears t[0][2].
void Tridiagonalise(Matrix3& t, Matrix3& v) {
  if (t[0][2] == 0.0) return;
  const double length = std::hypot(t[0][1], t[0][2]);
  const double image = t[0][1] > 0.0 ? -length : length;
  const double normal1 = t[0][1] - image;  // the sum of two magnitudes: no cancellation
  const double normal2 = t[0][2];
  const double scale = 2.0 / (normal1 * normal1 + normal2 * normal2);
  const auto reflect = [&](double& x1, double& x2) {
    const double along = scale * (normal1 * x1 + normal2 * x2);
    x1 -= along * normal1;
    x2 -= along * normal2;
  };
  for (std::size_t i = 0; i < 3; ++i) reflect(t[i][1], t[i][2]);
  for (std::size_t j = 0; j < 3; ++j) reflect(t[1][j], t[2][j]);
  for (auto& row : v) reflect(row[1], row[2]);
  t[0][2] = t[2][0] = 0.0;
}

/// Rotates the axes p and p + 1 so that the pair (across, along) becomes (0, length).
void Rotate(double across, double along, std::size_t p, Matrix3& t, Matrix3& v) {
  const double length = std::hypot(across, along);
  if (length == 0.0) return;
  const double c = along / length;
  const double s = across / length;
  const auto turn = [c, s](double& x, double& y) {
    const double turned = c * x - s * y;
    y = s * x + c * y;
    x = turned;
  };
  for (auto& row : t) turn(row[p], row[p + 1]);
  for (std::size_t j = 0; j < 3; ++j) turn(t[p][j], t[p + 1][j]);
  for (auto& row : v) turn(row[p], row[p + 1]);
}

bool IsSplit(const Matrix3& t, std::size_t i) {
  return std::abs(t[i][i + 1]) <= kNegligible * (std::abs(t[i][i]) + std::abs(t[i + 1][i + 1]));
}

/// The eigenvalue of the leading 2 x 2 block at `first` that is nearer to its upper left entry.
double Shift(const Matrix3& t, std::size_t first) {
  const double off = t[first][first + 1];
  const double half = (t[first + 1][first + 1] - t[first][first]) / 2.0;
  return t[first][first] - off * off / (half + std::copysign(std::hypot(half, off), half));
}

/// One QL sweep over the rows first ... last: a rotation at the lower end, then the entry that it brings outside the
/// three diagonals is chased off at the upper end.
void Sweep(std::size_t first, std::size_t last, Matrix3& t, Matrix3& v) {
  Rotate(t[last - 1][last], t[last][last] - Shift(t, first), last - 1, t, v);
  if (last - first < 2) return;
  Rotate(t[0][2], t[1][2], 0, t, v);
  t[0][2] = t[2][0] = 0.0;
}

}  // namespace

Eigensystem3 DecomposeSymmetric3(const Matrix3& a) {
  Matrix3 t = a;
  Eigensystem3 result;
  result.vectors = kIdentity;
  Tridiagonalise(t, result.vectors);
  std::size_t first = 0;
  for (int sweep = 0; first < 2 && sweep < kMaximumSweeps;) {
    if (IsSplit(t, first)) {
      ++first;
      continue;
    }
    Sweep(first, first == 0 && IsSplit(t, 1) ? 1 : 2, t, result.vectors);
    ++sweep;
  }
  for (std::size_t i = 0; i < 3; ++i) result.values[i] = t[i][i];
  return result;
}

}  // namespace Xem::MaterialUtil
