#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "support/curves.h"
#include "support/mode_curves.h"
#include "support/near.h"
#include "xem/hyperelastic.h"

namespace Xem::Testing {
namespace {

struct Call : ModeCurves {
  std::int32_t Fit(int terms, int method) {
    return CurveFitting4Ogden(in[0], in[1], in[2], in[3], use[0], use[1], use[2], use[3], terms, method, coefficients,
                              out[0], out[1], out[2], out[3], 0.0, 1.0);
  }
  std::int32_t Evaluate(int terms, double lower = 0.0, double upper = 1.0) {
    return ComputeStress4Ogden(in[0], in[1], in[2], in[3], terms, coefficients, out[0], out[1], out[2], out[3], lower,
                               upper);
  }
};

TEST(OgdenExport, APlantedTermComesBack) {
  for (const int method : {1, 0}) {
    Call call;
    call.Load(0, std::vector<_T_FUNT_BASE>{{-0.3, 0}, {0.2, 0}, {0.6, 0}, {1.5, 0}});
    for (std::int64_t i = 0; i < 4; ++i) {
      const double stretch = 1.0 + call.in[0][i].first;
      call.in[0][i].second = 0.6 * (std::pow(stretch, 1.7) - std::pow(stretch, -2.35));
    }
    EXPECT_EQ(call.Fit(1, method), 0);
    ExpectNear(call.coefficients[0], 0.6, 1e-6);
    ExpectNear(call.coefficients[1], 2.7, 1e-6);
    for (std::int64_t i = 0; i < 4; ++i) ExpectNear(call.out[0][i].second, call.in[0][i].second, 1e-6);
  }
}

// Every choice of modes, terms and residuals comes to an end, with a status or the factorisation's complaint.
TEST(OgdenExport, EveryCombinationEnds) {
  for (int modes = 1; modes < 8; ++modes) {
    for (int terms = 1; terms <= 4; ++terms) {
      for (const int method : {1, 0}) {
        Call call;
        call.LoadTreloar();
        for (int m = 0; m < 3; ++m) call.use[m] = modes >> m & 1;
        try {
          const std::int32_t status = call.Fit(terms, method);
          EXPECT_TRUE(status == 0 || status == -1);
          EXPECT_EQ(call.coefficients.GetSize(), 2 * terms);
          EXPECT_FALSE(modes == 4 && terms > 1) << "pure shear alone, terms " << terms;
        } catch (int info) {
          // Pure shear alone: the start's exponents 2 and -2 have opposite columns.
          EXPECT_EQ(modes, 4) << "terms " << terms;
          EXPECT_EQ(info, 2);
        }
      }
    }
  }
}

/// What a call throws, or 0.
int Thrown(Call& call, int terms, int method) {
  try {
    call.Fit(terms, method);
    return 0;
  } catch (int info) {
    return info;
  }
}

TEST(OgdenExport, PlanarDataAloneThrowTheNumberOfTheSecondTerm) {
  std::mt19937 random(20);
  const auto draw = [&](double from, double to) { return std::uniform_real_distribution<double>(from, to)(random); };
  for (int trial = 0; trial < 150; ++trial) {
    Call call;
    for (const int mode : {2, 3}) {
      std::vector<_T_FUNT_BASE> curve;
      const double modulus = std::pow(10.0, draw(-6.0, 6.0)), bend = draw(-0.3, 0.5), step = draw(0.02, 0.4);
      for (int i = 1; i <= 15; ++i) {
        const double strain = step * (i + draw(-0.4, 0.4));
        curve.emplace_back(strain, modulus * strain / (1.0 + 0.5 * strain) * (1.0 + bend * std::sin(strain)));
      }
      call.Load(mode, curve);
    }
    if (trial % 3 < 2) call.use[2 + trial % 3] = 0;
    for (int terms = 2; terms <= 4; ++terms) {
      for (const int method : {1, 0}) EXPECT_EQ(Thrown(call, terms, method), 2) << trial << ' ' << terms;
    }
  }
}

TEST(OgdenExport, SimpleShearOrdinateIsTheStressAlongTheGreatestStretch) {
  Call call;
  call.Load(3, std::vector<_T_FUNT_BASE>{{0.5, 1.0}, {2.0, 1.0}});
  Fill(call.coefficients, {1.0, 2.0});
  EXPECT_EQ(call.Evaluate(1), 0);
  EXPECT_NEAR(call.out[3][0].second, 0.8048059, 1e-7);
  // The shear stress of this neo-Hooke material is the shear strain; 1 + lambda^-2 leads from one to the other.
  for (std::int64_t i = 0; i < 2; ++i) {
    const double shear = call.in[3][i].first;
    const double stretch = std::sqrt(1.0 + shear * shear / 2.0 + shear * std::sqrt(1.0 + shear * shear / 4.0));
    ExpectNear(call.out[3][i].second / (1.0 + std::pow(stretch, -2)), shear, Tolerance::Rounding);
  }
  // In pure shear the same formula is the nominal stress itself; empty curves take the grid from zero.
  for (std::int64_t i = 0; i < 50; ++i) {
    const double stretch = 1.0 + call.out[2][i].first;
    ExpectNear(call.out[2][i].second, stretch - std::pow(stretch, -3), Tolerance::Rounding);
  }
}

TEST(OgdenExport, NothingOrTooLittleToFitSpeaksThroughTheFactorisation) {
  Call call;
  call.use[0] = 1;
  EXPECT_EQ(Thrown(call, 1, 1), 1);  // a curve without points
  call.Load(0, std::vector<_T_FUNT_BASE>{{0.5, 1.0}, {1.0, 0.0}});
  EXPECT_EQ(Thrown(call, 2, 1), 2);  // one kept point, two moduli
  call.Load(0, std::vector<_T_FUNT_BASE>{{0.5, 1.0}, {1.0, 1.4}, {1.5, 1.7}});
  EXPECT_EQ(Thrown(call, 4, 0), 4);
}

}  // namespace
}  // namespace Xem::Testing
