#include <functional>
#include <limits>
#include <ostream>
#include <random>
#include <vector>

#include "solver/linalg/lapack.h"
#include "stability/blatz_ko_tangent.h"
#include "stability/ogden_tangent.h"
#include "stability/polynomial_tangent.h"
#include "stability/stability_scan.h"
#include "stability/symmetric3.h"
#include "stability/volumetric_energy.h"
#include "support/near.h"
#include "testdata/strain_energy.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

Matrix3 Diagonal(double a, double b, double c) { return {{{a, 0.0, 0.0}, {0.0, b, 0.0}, {0.0, 0.0, c}}}; }

Matrix3 Product(const Matrix3& a, const Matrix3& b) {
  Matrix3 c{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      for (std::size_t k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
    }
  }
  return c;
}

Matrix3 RightCauchyGreen(const Matrix3& f) {
  Matrix3 transposed{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) transposed[i][j] = f[j][i];
  }
  return Product(transposed, f);
}

double Determinant(const Matrix3& f) {
  return f[0][0] * (f[1][1] * f[2][2] - f[1][2] * f[2][1]) - f[0][1] * (f[1][0] * f[2][2] - f[1][2] * f[2][0]) +
         f[0][2] * (f[1][0] * f[2][1] - f[1][1] * f[2][0]);
}

/// exp(size d) f, to third order, for the strain rate d of a Voigt direction (shear doubled): no spin.
Matrix3 Strained(const Matrix3& f, std::size_t direction, double size) {
  const auto [k, l] = kVoigt[direction];
  Matrix3 d{};
  d[k][l] += 0.5 * size;
  d[l][k] += 0.5 * size;
  const Matrix3 d2 = Product(d, d);
  Matrix3 step = Diagonal(1.0, 1.0, 1.0);
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) step[i][j] += d[i][j] + d2[i][j] / 2.0;
  }
  return Product(step, f);
}

const std::vector<double> kVolumetric{3.0, 20.0};

double VolumetricEnergy(double j) {
  return kVolumetric[0] * std::pow(j - 1.0, 2) + kVolumetric[1] * std::pow(j - 1.0, 4);
}

struct Material {
  const char* name;
  std::function<Tangent(const Matrix3&)> tangent;
  std::function<double(const Matrix3&)> energy;
};

void PrintTo(const Material& material, std::ostream* out) { *out << material.name; }

Material Polynomial() {
  static const std::vector<double> c{0.4, 0.1, -0.02, 0.03, 0.01, 1e-3, -2e-3, 3e-3, 4e-4};
  return {"polynomial", [](const Matrix3& f) { return PolynomialTangent(3, c, kVolumetric, f); },
          [](const Matrix3& f) {
            double i1 = 0.0, squares = 0.0;
            const Matrix3 right = RightCauchyGreen(f);
            for (std::size_t i = 0; i < 3; ++i) {
              i1 += right[i][i];
              for (std::size_t j = 0; j < 3; ++j) squares += right[i][j] * right[i][j];
            }
            const double j = Determinant(f);
            const double a = i1 * std::pow(j, -2.0 / 3.0) - 3.0;
            const double b = (i1 * i1 - squares) / 2.0 * std::pow(j, -4.0 / 3.0) - 3.0;
            double w = VolumetricEnergy(j);
            std::size_t k = 0;
            ForEachTerm(3, [&](int p, int q) { w += c[k++] * std::pow(a, p) * std::pow(b, q); });
            return w;
          }};
}

Material Ogden() {
  static const std::vector<double> pairs{0.6, 1.3, -0.1, -2.2, 0.02, 5.0};
  return {"Ogden", [](const Matrix3& f) { return OgdenTangent(pairs, kVolumetric, f); },
          [](const Matrix3& f) {
            Matrix right(3, 3);
            const Matrix3 product = RightCauchyGreen(f);
            for (std::size_t i = 0; i < 3; ++i) {
              for (std::size_t j = 0; j < 3; ++j) right(static_cast<int>(i), static_cast<int>(j)) = product[i][j];
            }
            SymmetricEigenvalues solver(3);
            const double j = Determinant(f);
            double w = VolumetricEnergy(j);
            for (const double square : solver.Compute(right)) {
              const double stretch = std::sqrt(square) / std::cbrt(j);
              for (std::size_t k = 0; k < pairs.size(); k += 2) {
                w += pairs[k] / pairs[k + 1] * (std::pow(stretch, pairs[k + 1]) - 1.0);
              }
            }
            return w;
          }};
}

Material BlatzKo() {
  return {"Blatz-Ko", [](const Matrix3& f) { return BlatzKoTangent(0.7, f); },
          [](const Matrix3& f) {
            // I2 / I3 is the trace of C^-1.
            const double j = Determinant(f);
            double cofactors = 0.0;
            for (std::size_t i = 0; i < 3; ++i) {
              for (std::size_t k = 0; k < 3; ++k) {
                const std::size_t r = (i + 1) % 3, s = (i + 2) % 3, u = (k + 1) % 3, v = (k + 2) % 3;
                cofactors += std::pow(f[r][u] * f[s][v] - f[r][v] * f[s][u], 2);
              }
            }
            return 0.35 * (cofactors / (j * j) + 2.0 * j - 5.0);
          }};
}

class TangentLaw : public testing::TestWithParam<Material> {};
INSTANTIATE_TEST_SUITE_P(AllModels, TangentLaw, testing::Values(Polynomial(), Ogden(), BlatzKo()));

/// Deformations with rotation, shear and change of volume, and some with equal principal stretches.
std::vector<Matrix3> Deformations() {
  std::vector<Matrix3> list{Diagonal(1.0, 1.0, 1.0), Diagonal(1.5, 1.5, 0.4), Diagonal(1.3, 0.9, 0.9)};
  std::mt19937 random(7);
  std::uniform_real_distribution<double> entry(-0.4, 0.4);
  for (int n = 0; n < 6; ++n) {
    Matrix3 f = Diagonal(1.2, 1.0, 0.9);
    for (auto& row : f) {
      for (double& x : row) x += entry(random);
    }
    list.push_back(f);
  }
  return list;
}

// Power conjugacy: the stress is the derivative of the energy with respect to the logarithmic strain.
TEST_P(TangentLaw, StressIsTheDerivativeOfTheEnergy) {
  const double step = 1e-5;
  for (const Matrix3& f : Deformations()) {
    const Tangent tangent = GetParam().tangent(f);
    for (std::size_t q = 0; q < 6; ++q) {
      const double slope =
          (GetParam().energy(Strained(f, q, step)) - GetParam().energy(Strained(f, q, -step))) / (2.0 * step);
      ExpectNear(tangent.stress[q], slope, Tolerance::Derivative);
    }
  }
}

// Without spin the Jaumann rate is the plain rate, so the tangent is the difference quotient of the stress.
TEST_P(TangentLaw, StiffnessIsTheDerivativeOfTheStress) {
  const double step = 1e-5;
  for (const Matrix3& f : Deformations()) {
    const Tangent tangent = GetParam().tangent(f);
    for (std::size_t q = 0; q < 6; ++q) {
      const Tangent above = GetParam().tangent(Strained(f, q, step));
      const Tangent below = GetParam().tangent(Strained(f, q, -step));
      for (std::size_t p = 0; p < 6; ++p) {
        ExpectNear(tangent.stiffness[p][q], (above.stress[p] - below.stress[p]) / (2.0 * step), Tolerance::Derivative);
      }
    }
  }
}

/// Ogden's tangents, each of them computed.
class EveryTangent final : public XemMaterialStabilityBase {
 public:
  explicit EveryTangent(std::int32_t terms) : XemMaterialStabilityBase(-0.5), ogden_(terms) {}
  void ComputeTangent(const Matrix& f, Matrix& tangent, std::span<double> stress, double a, double b,
                      double c) const override {
    ogden_.ComputeTangent(f, tangent, stress, a, b, c);
  }
  void SetParameters(std::span<const double> pairs, std::span<const double> volumetric) override {
    ogden_.SetParameters(pairs, volumetric);
  }

 private:
  XemMaterialStabilityOgden ogden_;
};

TEST(StabilityScan, StatesThatNeedNoTangentAreStable) {
  std::mt19937 random(5);
  const auto draw = [&](double from, double to) { return std::uniform_real_distribution<double>(from, to)(random); };
  int limited = 0;
  for (int trial = 0; trial < 150; ++trial) {
    const std::int32_t terms = 1 + trial % 3;
    std::vector<double> pairs;
    for (std::int32_t k = 0; k < terms; ++k) {
      const double alpha = trial % 5 == 0 ? draw(-25.0, 25.0) : draw(-6.0, 6.0);
      // Terms that pull against each other, by little or by much.
      pairs.insert(pairs.end(), {(k == 0 ? 1.0 : draw(-0.3, 0.5)) * (alpha < 0.0 ? -1.0 : 1.0), alpha});
    }
    const std::vector<double> volumetric{trial % 7 == 0 ? 1e9 : draw(0.0, 100.0)};
    XemMaterialStabilityOgden quick(terms);
    EveryTangent slow(terms);
    for (XemMaterialStabilityBase* model :
         {static_cast<XemMaterialStabilityBase*>(&quick), static_cast<XemMaterialStabilityBase*>(&slow)}) {
      model->SetParameters(pairs, volumetric);
      model->CheckStability(-1.0, 10.0);
    }
    for (double StabilityLimits::*limit :
         {&StabilityLimits::uniaxialCompression, &StabilityLimits::equibiaxialCompression,
          &StabilityLimits::pureShearCompression, &StabilityLimits::uniaxialTension,
          &StabilityLimits::equibiaxialTension, &StabilityLimits::pureShearTension}) {
      EXPECT_EQ(quick.Limits().*limit, slow.Limits().*limit) << trial;
      limited += slow.Limits().*limit != 0.0 ? 1 : 0;
    }
  }
  EXPECT_GT(limited, 100);
}

TEST(Symmetric3, ReproducesMatricesWithDistinctAndRepeatedEigenvalues) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> entry(-1.0, 1.0);
  // Repeated, far apart, and nearly equal eigenvalues.
  std::vector<Matrix3> matrices{Diagonal(1, 1, 1),
                                Diagonal(0, 0, 0),
                                Diagonal(1e200, 1e-200, 0),
                                {{{2.0, 1.0, 1.0}, {1.0, 2.0, 1.0}, {1.0, 1.0, 2.0}}},
                                {{{1.0, 1e-9, 0.0}, {1e-9, 1.0, -1e-9}, {0.0, -1e-9, 1.0}}}};
  for (int n = 0; n < 200; ++n) {
    Matrix3 a{};
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = 0; j <= i; ++j) a[i][j] = a[j][i] = entry(random) * std::pow(10.0, n % 7 - 3);
    }
    matrices.push_back(a);
  }
  for (const Matrix3& a : matrices) {
    const Eigensystem3 e = DecomposeSymmetric3(a);
    double norm = 0.0;
    for (const auto& row : a) {
      for (const double x : row) norm = std::max(norm, std::abs(x));
    }
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = 0; j < 3; ++j) {
        double image = 0.0;
        double product = 0.0;
        for (std::size_t k = 0; k < 3; ++k) {
          image += e.vectors[i][k] * e.values[k] * e.vectors[j][k];
          product += e.vectors[k][i] * e.vectors[k][j];
        }
        EXPECT_NEAR(image, a[i][j], 1e-14 * norm);
        EXPECT_NEAR(product, i == j ? 1.0 : 0.0, 1e-14);
      }
    }
  }
}

TEST(Symmetric3, NotANumberComesBackInBoundedTime) {
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    const Eigensystem3 e = DecomposeSymmetric3({{{1.0, 0.5, bad}, {0.5, 1.0, 0.2}, {bad, 0.2, 1.0}}});
    EXPECT_TRUE(std::isnan(e.values[0] + e.values[1] + e.values[2]));
  }
}

}  // namespace
}  // namespace Xem::Testing
