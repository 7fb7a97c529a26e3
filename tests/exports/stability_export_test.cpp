#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "support/curves.h"
#include "xem/stability.h"

namespace Xem::Testing {
namespace {

enum class Model { Polynomial, Ogden };

struct Material {
  Model model;
  int terms;
  std::vector<double> coefficients;
};

constexpr double kWide = 1e9;

std::wstring Check(const Material& material, double lower = -kWide, double upper = kWide,
                   const std::vector<double>& volumetric = {}, int volumetricTerms = 1, const wchar_t* before = L"") {
  DoubleArray coefficients;
  DoubleArray bulk;
  Fill(coefficients, material.coefficients);
  Fill(bulk, volumetric);
  CString report(before);
  const auto check =
      material.model == Model::Polynomial ? CheckMaterialStability4Polynomial : CheckMaterialStability4Ogden;
  check(coefficients, bulk, material.terms, volumetricTerms, lower, upper, NAN, NAN, report);
  return report.GetString();
}

/// Limits in the order of the report: uniaxial, equibiaxial, pure shear, tension before compression; 0 is stable.
using Limits = std::array<double, 6>;

std::wstring Expected(const Limits& limits) {
  static const wchar_t* const labels[] = {L"Uniaxial   tension     : ", L"Uniaxial   compression : ",
                                          L"Equbiaxial tension     : ", L"Equbiaxial compression : ",
                                          L"Pure shear tension     : ", L"Pure shear compression : "};
  std::wstring text;
  bool unstable = false;
  for (std::size_t i = 0; i < 6; ++i) {
    text += labels[i];
    if (limits[i] == 0.0) {
      text += L"stable \n";
      continue;
    }
    unstable = true;
    text +=
        i % 2 == 0 ? L"unstable at a nominal strain larger than = " : L"unstable at a nominal strain less than   = ";
    const std::string digits = std::to_string(limits[i]);
    text += std::wstring(digits.begin(), digits.end() - 2) + L" \n";
  }
  return unstable ? text + L"\nUNSTABLE  HYPERELASTIC  MATERIAL\n" : text;
}

constexpr Limits kStable{};

// Mooney-Rivlin and two-term Ogden limits follow from the closed form h1 h2 + h2 h3 + h3 h1 > 0, h_a the sum of
// mu alpha lambda_a^alpha, rounded to the next step of the scan; the others from an independent computation.
TEST(StabilityReport, FindsTheLimits) {
  using enum Model;
  const std::pair<Material, Limits> references[] = {
      {{Polynomial, 1, {0.5, 0.0}}, kStable},
      {{Polynomial, 1, {0.4, 0.1}}, kStable},
      {{Polynomial, 1, {0.4, -0.02}}, {3.48, 0, 2.17, -0.53, 3.38, 0}},
      {{Polynomial, 1, {-0.5, 0.0}}, {0.01, -0.01, 0.01, -0.01, 0.01, -0.01}},
      {{Polynomial, 1, {0.3, -0.4}}, {0.01, -0.01, 0.01, -0.01, 0.01, -0.01}},
      {{Polynomial, 2, {0.0795412, 0.0348966, 0.00273661, -0.00158759, 7.03727e-5}}, {4.47, 0, 2.30, -0.58, 4.25, 0}},
      {{Polynomial,
        3,
        {0.159437, 0.0301622, -8.65935e-4, -0.00279946, 1.43642e-4, 2.26674e-5, 9.18968e-5, -1.01897e-5, 2.9245e-7}},
       {0, 0, 3.91, 0, 0, 0}},
      {{Ogden, 3, {0.63, 1.3, 0.0012, 5.0, -0.01, -2.0}}, kStable},
      {{Ogden, 2, {1.0, 2.0, 0.2, -3.0}}, {0.62, -0.36, 0.25, -0.22, 0.49, -0.33}}};
  for (const auto& [material, limits] : references) EXPECT_EQ(Check(material), Expected(limits));
}

const Material kSoftening{Model::Polynomial, 1, {0.5, -0.3}};
const Material kSofteningTwin{Model::Ogden, 2, {1.0, 2.0, 0.6, -2.0}};

TEST(StabilityReport, LimitsOfTheScanAreClamped) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Limits all{0.30, -0.23, 0.14, -0.12, 0.26, -0.21};
  const Limits tension{0.30, 0, 0.14, 0, 0.26, 0};
  const Limits compression{0, -0.23, 0, -0.12, 0, -0.21};
  const struct {
    double lower, upper;
    Limits limits;
  } cases[] = {
      {0.0, -1.0, all},            // of the wrong sign: the widest range
      {nan, nan, all},             // and so for what is not a number
      {-infinity, infinity, all},  // cut
      {-0.005, 9.0, tension},      // less than a step
      {-0.6, 0.005, compression},  //
      {-0.6, 0.0, all},            // zero is no limit
      {0.0, 0.0, all},             //
      {-0.0, 0.005, compression},  //
      {-0.215, 0.265, {0, 0, 0.14, -0.12, 0.26, -0.21}},
      {-0.21, 0.26, {0, 0, 0.14, -0.12, 0, 0}},  // added up step by step, these strains lie just beyond
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Check(kSoftening, c.lower, c.upper), Expected(c.limits)) << c.lower << " " << c.upper;
    EXPECT_EQ(Check(kSofteningTwin, c.lower, c.upper), Expected(c.limits)) << c.lower << " " << c.upper;
  }
}

// A material that fails between the two floors: equibiaxial compression at 0.472871 of the first, the closed-form root.
TEST(StabilityReport, FloorsOfTheTwoModelsDiffer) {
  EXPECT_NE(Check({Model::Polynomial, 1, {0.4, -0.02}}).find(L"-0.5300"), std::wstring::npos);
  EXPECT_EQ(Check({Model::Ogden, 2, {0.8, 2.0, 0.04, -2.0}}).find(L"less than"), std::wstring::npos);
}

TEST(StabilityReport, IsAppended) {
  const Material stable{Model::Polynomial, 1, {0.5, 0.0}};
  EXPECT_EQ(Check(stable, -kWide, kWide, {}, 1, L"before\n"), L"before\n" + Expected(kStable));
}

TEST(StabilityReport, VolumetricCoefficientsAreGivenDefaultOrZero) {
  // At constant volume only the first coefficient counts, and its size does not move the limits.
  EXPECT_EQ(Check(kSoftening, -kWide, kWide, {500.0, 1e6}, 2), Check(kSoftening));
  EXPECT_EQ(Check(kSoftening, -kWide, kWide, {500.0, -1.0}, 1), Check(kSoftening));
  // Without a first coefficient the volumetric stiffness is zero: a report without meaning, but a report.
  for (const int terms : {0, 2, 4096}) EXPECT_FALSE(Check(kSoftening, -kWide, kWide, {}, terms).empty());
  EXPECT_EQ(Check({Model::Ogden, 0, {}}), Expected(kStable));  // no material at all, no stiffness, nothing negative
}

}  // namespace
}  // namespace Xem::Testing
