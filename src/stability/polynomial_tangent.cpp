#include "stability/polynomial_tangent.h"

#include <cmath>

#include "stability/volumetric_energy.h"
#include "testdata/strain_energy.h"

namespace Xem::MaterialUtil {
namespace {

/// First and second derivatives of a scalar with respect to C, in Voigt form.
struct Derivatives {
  Vector6 first{};
  Matrix6 second{};
};

/// Right Cauchy-Green tensor F^T F.
Vector6 RightCauchyGreen(const Matrix3& f) {
  Vector6 c{};
  for (std::size_t p = 0; p < 6; ++p) {
    const auto [i, j] = kVoigt[p];
    for (std::size_t k = 0; k < 3; ++k) c[p] += f[k][i] * f[k][j];
  }
  return c;
}

void AddProduct(double factor, const Vector6& a, const Vector6& b, Matrix6& sum) {
  for (std::size_t p = 0; p < 6; ++p) {
    for (std::size_t q = 0; q < 6; ++q) sum[p][q] += factor * a[p] * b[q];
  }
}

void AddScaled(double factor, const Matrix6& a, Matrix6& sum) {
  for (std::size_t p = 0; p < 6; ++p) {
    for (std::size_t q = 0; q < 6; ++q) sum[p][q] += factor * a[p][q];
  }
}

/// Principal invariants of C with their derivatives; the second derivative of I1 is zero.
struct Invariants {
  double i1 = 0.0;
  double i2 = 0.0;
  double i3 = 0.0;
  Vector6 d1{};
  Derivatives d2;
  Derivatives d3;
};

Invariants DifferentiateInvariants(const Vector6& c) {
  const auto [c11, c22, c33, c12, c23, c13] = c;
  Invariants v;
  v.i1 = c11 + c22 + c33;
  v.i2 = c11 * c22 + c22 * c33 + c33 * c11 - c12 * c12 - c23 * c23 - c13 * c13;
  v.i3 = c11 * c22 * c33 + 2.0 * c12 * c23 * c13 - c11 * c23 * c23 - c22 * c13 * c13 - c33 * c12 * c12;
  v.d1 = {1.0, 1.0, 1.0, 0.0, 0.0, 0.0};

  v.d2.first = {v.i1 - c11, v.i1 - c22, v.i1 - c33, -c12, -c23, -c13};
  for (std::size_t p = 0; p < 3; ++p) {
    for (std::size_t q = 0; q < 3; ++q) v.d2.second[p][q] = p == q ? 0.0 : 1.0;
    v.d2.second[p + 3][p + 3] = -0.5;
  }

  // I3 C^-1, the cofactors of C.
  v.d3.first = {c22 * c33 - c23 * c23, c33 * c11 - c13 * c13, c11 * c22 - c12 * c12,
                c13 * c23 - c12 * c33, c12 * c13 - c23 * c11, c12 * c23 - c13 * c22};
  v.d3.second = {{{0.0, c33, c22, 0.0, -c23, 0.0},
                  {c33, 0.0, c11, 0.0, 0.0, -c13},
                  {c22, c11, 0.0, -c12, 0.0, 0.0},
                  {0.0, 0.0, -c12, -c33 / 2.0, c13 / 2.0, c23 / 2.0},
                  {-c23, 0.0, 0.0, c13 / 2.0, -c11 / 2.0, c12 / 2.0},
                  {0.0, -c13, 0.0, c23 / 2.0, c12 / 2.0, -c22 / 2.0}}};
  return v;
}

/// A = I3^(-1/3) I1 - 3.
Derivatives DifferentiateFirstReduced(const Invariants& v) {
  const double root = std::cbrt(v.i3);
  Derivatives a;
  for (std::size_t p = 0; p < 6; ++p) a.first[p] = (v.d1[p] - v.i1 / (3.0 * v.i3) * v.d3.first[p]) / root;
  const double perI3 = 1.0 / (3.0 * v.i3 * root);  // I3^(-4/3) / 3
  AddProduct(-perI3, v.d1, v.d3.first, a.second);
  AddProduct(-perI3, v.d3.first, v.d1, a.second);
  AddProduct(4.0 / 3.0 * v.i1 * perI3 / v.i3, v.d3.first, v.d3.first, a.second);
  AddScaled(-v.i1 * perI3, v.d3.second, a.second);
  return a;
}

/// B = I3^(-2/3) I2 - 3.
Derivatives DifferentiateSecondReduced(const Invariants& v) {
  const double root = std::cbrt(v.i3);
  const double square = root * root;
  Derivatives b;
  for (std::size_t p = 0; p < 6; ++p) {
    b.first[p] = (v.d2.first[p] - 2.0 * v.i2 / (3.0 * v.i3) * v.d3.first[p]) / square;
  }
  const double perI3 = 2.0 / (3.0 * v.i3 * square);  // 2 I3^(-5/3) / 3
  AddScaled(1.0 / square, v.d2.second, b.second);
  AddProduct(-perI3, v.d2.first, v.d3.first, b.second);
  AddProduct(-perI3, v.d3.first, v.d2.first, b.second);
  AddProduct(5.0 / 3.0 * v.i2 * perI3 / v.i3, v.d3.first, v.d3.first, b.second);
  AddScaled(-v.i2 * perI3, v.d3.second, b.second);
  return b;
}

/// J = sqrt(I3).
Derivatives DifferentiateVolumeRatio(const Invariants& v, double j) {
  Derivatives d;
  for (std::size_t p = 0; p < 6; ++p) d.first[p] = v.d3.first[p] / (2.0 * j);
  AddScaled(1.0 / (2.0 * j), v.d3.second, d.second);
  AddProduct(-1.0 / (4.0 * j * j * j), v.d3.first, v.d3.first, d.second);
  return d;
}

/// Derivatives of sum C_ij A^i B^j with respect to A and B.
struct EnergyDerivatives {
  double a = 0.0, b = 0.0, aa = 0.0, ab = 0.0, bb = 0.0;
};

EnergyDerivatives DifferentiateEnergy(std::int32_t order, std::span<const double> coefficients, double a, double b) {
  const PowerTable pa(a, order);
  const PowerTable pb(b, order);
  EnergyDerivatives w;
  std::size_t k = 0;
  ForEachTerm(order, [&](std::int32_t i, std::int32_t j) {
    const double c = coefficients[k++];
    // A vanishing factor suppresses its term, so that no negative power is formed.
    if (i > 0) w.a += c * i * pa[i - 1] * pb[j];
    if (j > 0) w.b += c * j * pa[i] * pb[j - 1];
    if (i > 1) w.aa += c * i * (i - 1) * pa[i - 2] * pb[j];
    if (i > 0 && j > 0) w.ab += c * i * j * pa[i - 1] * pb[j - 1];
    if (j > 1) w.bb += c * j * (j - 1) * pa[i] * pb[j - 2];
  });
  return w;
}

}  // namespace

Tangent PolynomialTangent(std::int32_t order, std::span<const double> coefficients, std::span<const double> volumetric,
                          const Matrix3& deformationGradient) {
  const Invariants v = DifferentiateInvariants(RightCauchyGreen(deformationGradient));
  const double root = std::cbrt(v.i3);
  const double j = std::sqrt(v.i3);
  const Derivatives a = DifferentiateFirstReduced(v);
  const Derivatives b = DifferentiateSecondReduced(v);
  const Derivatives dj = DifferentiateVolumeRatio(v, j);
  const EnergyDerivatives w = DifferentiateEnergy(order, coefficients, v.i1 / root - 3.0, v.i2 / (root * root) - 3.0);
  const VolumetricDerivatives u = DifferentiateVolumetricEnergy(volumetric, j);

  Vector6 s{};
  for (std::size_t p = 0; p < 6; ++p) s[p] = 2.0 * (w.a * a.first[p] + w.b * b.first[p] + u.first * dj.first[p]);
  Matrix6 l{};
  AddScaled(4.0 * w.a, a.second, l);
  AddScaled(4.0 * w.b, b.second, l);
  AddScaled(4.0 * u.first, dj.second, l);
  AddProduct(4.0 * w.aa, a.first, a.first, l);
  AddProduct(4.0 * w.bb, b.first, b.first, l);
  AddProduct(4.0 * w.ab, a.first, b.first, l);
  AddProduct(4.0 * w.ab, b.first, a.first, l);
  AddProduct(4.0 * u.second, dj.first, dj.first, l);

  const Matrix6 t = PushForward(deformationGradient);
  Tangent tangent{Transform(t, l), Multiply(t, s)};
  AddScaled(1.0, StressTerms(tangent.stress), tangent.stiffness);
  return tangent;
}

}  // namespace Xem::MaterialUtil
