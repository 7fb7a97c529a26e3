#include "kernels/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <vector>

#include "dynamic/cyclic_blocks.h"
#include "dynamic/ghe_law.h"
#include "dynamic/stiffness_damping_law.h"
#include "soil/retention_law.h"
#include "support/near.h"
#include "testdata/strain_energy.h"
#include "viscoelastic/creep_law.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

/// Kernels of every instruction set at hand.
class EachKernels : public testing::TestWithParam<const Kernels*> {};
INSTANTIATE_TEST_SUITE_P(InstructionSets, EachKernels, testing::ValuesIn([] {
                           std::vector<const Kernels*> all;
                           for (const Kernels* const* k = EveryKernels(); *k; ++k) all.push_back(*k);
                           return all;
                         }()));

using Elementary = void (*)(std::size_t, const double*, double*);

/// Within 1.5 units in the last place of the function in extended precision; what is not finite is the same.
void ExpectAccurate(Elementary function, long double (*exact)(long double), const std::vector<double>& arguments) {
  std::vector<double> values(arguments.size());
  function(arguments.size(), arguments.data(), values.data());
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const long double wanted = exact(arguments[i]);
    const auto rounded = static_cast<double>(wanted);
    if (!std::isfinite(rounded)) {
      EXPECT_TRUE(values[i] == rounded || (std::isnan(values[i]) && std::isnan(rounded))) << arguments[i];
      continue;
    }
    const int exponent = std::max(rounded == 0.0 ? -1074 : std::ilogb(rounded) - 52, -1074);
    EXPECT_LE(std::abs(values[i] - wanted), 1.5L * std::ldexp(1.0L, exponent)) << arguments[i];
  }
}

TEST_P(EachKernels, ElementaryFunctionsAreAccurateEverywhere) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  std::vector<double> exponents{0.0,    -0.0,   kInfinity,          -kInfinity,          std::nan(""),       1e-320,
                                -1e308, 1e308,  709.78271289338397, 709.7827128933841,   -745.1332191019411, -746.0,
                                708.0,  -708.1, -708.3964185322641, 0x1.62e42fefa39efp-2};
  std::vector<double> arguments{
      0.0, -0.0,      kInfinity,   -kInfinity,           std::nan(""),          5e-324, -5e-324, -1.0,
      1.0, 0x1p-1022, 1.0 - 1e-16, 0x1.6a09e667f3bcdp-1, 0x1.fffffffffffffp1023};
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> wide(-750.0, 715.0), narrow(-1.0, 1.0), logarithm(-744.0, 709.0);
  for (int i = 0; i < 20000; ++i) {
    exponents.insert(exponents.end(), {wide(random), narrow(random)});
    arguments.insert(arguments.end(), {std::exp(logarithm(random)), 1.0 + 0.5 * narrow(random)});
  }
  ExpectAccurate(GetParam()->exp, expl, exponents);
  ExpectAccurate(GetParam()->log, logl, arguments);
}

TEST_P(EachKernels, OgdenTermsAreThoseOfOnePointAndOppositeInPlanarModes) {
  for (const double e : {-0.5, -1.0, -2.0}) {
    std::vector<double> logs, inverses, stretches;
    for (double stretch = 0.3; stretch < 8.0; stretch *= 1.17) {  // not a multiple of the lanes
      stretches.push_back(stretch);
      logs.push_back(std::log(stretch));
      inverses.push_back(1.0 / stretch);
    }
    const std::size_t count = stretches.size();
    const std::vector<double> pairs{0.7, 1.3, 0.7, -1.3, -0.2, 11.0, 0.1, 0.0};
    std::vector<double> stress(count), columns(count * pairs.size());
    GetParam()->ogden({pairs.size() / 2, pairs.data(), e, logs.data(), inverses.data()},
                      {count, stress.data(), {columns.data(), static_cast<std::ptrdiff_t>(count)}});
    for (std::size_t i = 0; i < count; ++i) {
      ExpectDigits(stress[i], OgdenStress(e, pairs, stretches[i], logs[i]), 1e-13);
      for (std::size_t k = 0; k < pairs.size() / 2; ++k) {
        const OgdenTerm term = EvaluateOgdenTerm(e, pairs[2 * k + 1], stretches[i], logs[i]);
        ExpectDigits(columns[2 * k * count + i], term.value, 1e-13);
        ExpectDigits(columns[(2 * k + 1) * count + i], pairs[2 * k] * term.exponentDerivative, 1e-13);
      }
      if (e != -1.0) continue;
      EXPECT_EQ(columns[i], -columns[2 * count + i]);
      EXPECT_EQ(columns[count + i], columns[3 * count + i]);
    }
  }
}

TEST_P(EachKernels, PolynomialTermsAreThoseOfOnePoint) {
  for (const std::int32_t order : {1, 2, 3, 5}) {
    const auto termCount = static_cast<std::size_t>(PolynomialTermCount(order));
    std::vector<PolynomialTerm> terms;
    ForEachTerm(order, [&](std::int32_t i, std::int32_t j) { terms.push_back({i, j}); });
    std::vector<double> coefficients;
    while (coefficients.size() < termCount)
      coefficients.push_back(1.0 / (1.0 + static_cast<double>(coefficients.size())));
    const std::vector<double> stretches{0.3, 0.8, 1.0, 1.01, 1.5, 2.0,
                                        2.3, 3.0, 3.3, 4.5,  7.0};  // not a multiple of the lanes
    const std::size_t count = stretches.size();
    for (const ModeKinematics* mode : {&kUniaxial, &kEquibiaxial, &kPureShear, &kSimpleShear}) {
      std::vector<double> known(4 * count), stress(count), columns(count * termCount);
      double* const of = known.data();
      mode->ofPoints(stretches, {of, of + count, of + 2 * count, of + 3 * count});
      GetParam()->polynomial({static_cast<std::size_t>(order), termCount, terms.data(), coefficients.data(), of,
                              of + count, of + 2 * count, of + 3 * count},
                             {count, stress.data(), {columns.data(), static_cast<std::ptrdiff_t>(count)}});
      for (std::size_t i = 0; i < count; ++i) {
        ExpectDigits(stress[i], PolynomialStress(*mode, order, coefficients, stretches[i]), 1e-13);
        std::size_t k = 0;
        ForEachTermStress(*mode, order, stretches[i],
                          [&](double term) { ExpectDigits(columns[k++ * count + i], term, 1e-13); });
      }
    }
  }
}

/// Relative; what is not a finite number is the same.
void ExpectSame(double actual, double expected, double tolerance, const std::string& what) {
  if (std::isfinite(expected)) return ExpectDigits(actual, expected, tolerance, what.c_str());
  EXPECT_TRUE(actual == expected || (std::isnan(actual) && std::isnan(expected))) << actual << what;
}

TEST_P(EachKernels, EveryFormOfTheCyclicLawsIsThatOfOnePoint) {
  std::vector<std::pair<double, double>> points{{0.0, 0.0}, {1e-300, 1.0}, {1e9, 0.3}, {1e-4, 0.7}};
  for (double strain = 1e-9; strain < 1e2; strain *= 1.7) points.emplace_back(strain, 0.2 / (1.0 + 3e-4 / strain));
  const auto count = points.size();  // not a multiple of the lanes
  const auto numbers = [&](CyclicKernel::OfPoint ofPoint, CyclicKernel::Elementary function) {
    std::vector<double> result(count);
    for (std::size_t i = 0; i < count && ofPoint; ++i) result[i] = ofPoint(points[i].first, points[i].second);
    if (function) (GetParam()->*function)(count, result.data(), result.data());
    return result;
  };
  const auto compare = [&](const CyclicKernel* kernel, Comparison law, double exponent, const std::string& name) {
    if (!kernel) return;
    const CyclicParameters at{.referenceStrain = 3e-4, .exponent = exponent, .logScale = -0.7};
    const auto known = numbers(kernel->known, kernel->ofKnown), factors = numbers(kernel->factor, kernel->ofFactor);
    std::vector<double> model(count), columns(2 * count);
    const KernelBlock block{count, model.data(), {columns.data(), static_cast<std::ptrdiff_t>(count)}};
    if (kernel->powerLaw) {
      (GetParam()->*kernel->powerLaw)({3e-4, exponent, -0.7, known.data(), factors.data()}, block);
    } else {
      (GetParam()->*kernel->hyperbolic)({3e-4, known.data(), kernel->logarithmic ? -0.7 : 1.0}, block);
    }
    for (std::size_t i = kernel->powerLaw ? 0 : 1; i < count; ++i) {  // of no strain the hyperbola's law is 0/0
      const ComparedPoint wanted = law(at, points[i].first, points[i].second);
      const std::string what = name + " of exponent " + std::to_string(exponent) + " at " + std::to_string(i);
      const double tolerance = 1e-14 * (3.0 + exponent + 1.0 / exponent);
      ExpectSame(model[i], wanted.predicted, tolerance, what);
      ExpectSame(columns[i], wanted.byReferenceStrain, tolerance, what + " by reference strain");
      ExpectSame(columns[count + i], wanted.byExponent, 3.0 * tolerance, what + " by exponent");
    }
  };
  for (const double exponent : {0.3, 0.5, 1.0, 1.3, 15.0}) {
    for (const DynamicFamily family : {DynamicFamily::PowerLaw, DynamicFamily::Hyperbolic}) {
      const bool power = family == DynamicFamily::PowerLaw;
      compare(StiffnessKernel(family, {}), power ? PowerLawStiffness : HyperbolicStiffness, exponent, "R");
      compare(DampingKernel(family, {}), power ? PowerLawDamping : HyperbolicDamping, exponent, "h");
      for (const ResidualForm form : {ResidualForm::Strain, ResidualForm::LogStrain, ResidualForm::Stress}) {
        const std::string name = std::to_string(static_cast<int>(form)) + (power ? " power" : " hyperbolic");
        compare(StiffnessKernel(family, form), StiffnessComparison(family, form), exponent, "stiffness form " + name);
        compare(DampingKernel(family, form), DampingComparison(family, form), exponent, "damping form " + name);
      }
    }
  }
}

TEST_P(EachKernels, PowerLawAtAStrainInvertsTheStrainOfARatio) {
  for (const long double exponent : {0.1L, 1.0L, 2.5L, 60.0L}) {
    for (long double loss = 1e-12L; loss < 1.0L; loss = loss < 0.4L ? 1.9L * loss : 1.0L - 0.3L * (1.0L - loss)) {
      if (1.0L - loss < 1e-9L) break;
      const long double ratio = 1.0L - loss;
      const long double strain = 3e-4L / (2.0L * ratio) * std::pow(loss / ratio, 1.0L / exponent);
      const auto logarithm = static_cast<double>(std::log(2.0L * strain / 3e-4L));
      const auto a = static_cast<double>(exponent);
      double found = 0.0, damping = 0.0;
      GetParam()->powerLawRatiosAtStrains({1.0, a, 1.0, &logarithm, nullptr}, {1, &found, {}});
      GetParam()->powerLawDampingsAtStrains({1.0, a, 1.0, &logarithm, nullptr}, {1, &damping, {}});
      // A rounding of the logarithm is one of a ln gamma in the loss.
      const double rounding = 1e-15 * (1.0 + std::abs(logarithm));
      ExpectDigits(found, static_cast<double>(ratio), rounding);
      ExpectDigits(damping / LargestDamping(a), static_cast<double>(loss), rounding * (1.0 + a));
    }
  }
}

TEST_P(EachKernels, GeneralisedCyclicLawsAreThoseOfOnePoint) {
  const std::vector<double> ghe{1.0, 0.17, 0.83, 2.5, 2.86, 3.229};
  std::vector<double> strains{0.0}, logLosses{-std::numeric_limits<double>::infinity()};
  for (double strain = 1e-9; strain < 1e3; strain *= 1.7) {  // not a multiple of the lanes
    strains.push_back(strain);
    logLosses.push_back(std::log(strain / 1e3));
  }
  const std::size_t count = strains.size();
  std::vector<double> model(count), columns(6 * count);
  const KernelBlock block{count, model.data(), {columns.data(), static_cast<std::ptrdiff_t>(count)}};
  const auto compare = [&](const std::function<double(std::size_t point, std::span<double> gradient)>& law) {
    for (std::size_t i = 0; i < count; ++i) {
      std::array<double, 6> gradient{};
      ExpectDigits(model[i], law(i, gradient), 2e-14);
      for (std::size_t k = 0; k < 6; ++k) ExpectDigits(columns[k * count + i], gradient[k], 1e-13);
    }
    std::ranges::fill(columns, 0.0);
  };
  GetParam()->gheRatios({ghe.data(), strains.data()}, block);
  compare([&](std::size_t i, std::span<double> gradient) { return GheRatioAndGradient(ghe, strains[i], gradient); });
  GetParam()->gheDampings({0.3, 1.1, logLosses.data()}, block);
  compare([&](std::size_t i, std::span<double> gradient) {
    gradient[0] = i == 0 ? 0.0 : std::pow(strains[i] / 1e3, 1.1);
    gradient[1] = i == 0 ? 0.0 : 0.3 * gradient[0] * std::log(strains[i] / 1e3);
    return 0.3 * gradient[0];
  });
}

TEST_P(EachKernels, WaterContentsAreThoseOfOnePointAndAccurate) {
  using Parameters = std::vector<double>;
  using Real = long double;
  static const auto genuchten = [](const Parameters& p, Real s, Real m) {
    return p[1] + (Real(p[0]) - p[1]) * std::exp(-m * std::log1p(std::exp(p[3] * std::log(p[2] * s))));
  };
  struct Case {
    void (*Kernels::*kernel)(const RetentionArguments&, const KernelBlock&);
    RetentionModel model;
    Parameters parameters;
    Real (*law)(const Parameters& p, Real s);
  };
  const auto steepening = [](const Parameters& p, Real s) { return genuchten(p, s, 1 - 1 / Real(p[3])); };
  const auto free = [](const Parameters& p, Real s) { return genuchten(p, s, p[4]); };
  const auto fredlund = [](const Parameters& p, Real s) {
    const Real logSum = std::log(std::exp(Real(1)) + std::exp(p[2] * std::log(s / p[1])));
    return p[0] * (1 - std::log1p(s / p[4]) / std::log1p(Real(1e6) / p[4])) * std::exp(-p[3] * std::log(logSum));
  };
  const auto brooks = [](const Parameters& p, Real s) {
    return s <= p[2] ? p[0] : p[1] + (Real(p[0]) - p[1]) * std::exp(p[3] * std::log(p[2] / s));
  };
  using enum RetentionModel;
  for (const Case& c : {Case{&Kernels::vanGenuchten, VanGenuchten, {.43, .05, .1, 1.6}, steepening},
                        Case{&Kernels::vanGenuchten, VanGenuchten, {.43, 0, 3., 15.}, steepening},
                        Case{&Kernels::freeVanGenuchten, VanGenuchtenFreeM, {.43, .05, .1, 1.6, .5}, free},
                        Case{&Kernels::freeVanGenuchten, VanGenuchtenFreeM, {.43, 0, 1e-3, .1, 9.}, free},
                        Case{&Kernels::fredlundXing, FredlundXing, {.45, 20, 1.5, 1.2, 1500}, fredlund},
                        Case{&Kernels::fredlundXing, FredlundXing, {.45, .3, .05, 19., 1}, fredlund},
                        Case{&Kernels::brooksCorey, BrooksCorey, {.43, .05, 8, .4}, brooks},
                        Case{&Kernels::brooksCorey, BrooksCorey, {.43, 0, .3, 9.}, brooks}}) {
    std::vector<double> suctions{0.0, -3.0, 1e-300, 1e300};
    for (double s = 1e-4; s < 1e6; s *= 1.3) suctions.push_back(s);
    suctions.push_back(c.parameters[2]);  // not a multiple of the lanes
    std::vector<double> logs;
    for (const double s : suctions) logs.push_back(Suction(s).log);
    const std::size_t count = suctions.size();
    std::vector<double> model(count), columns(count * c.parameters.size()), gradient(c.parameters.size());
    (GetParam()->*c.kernel)({c.parameters.data(), 100.0, suctions.data(), logs.data()},
                            {count, model.data(), {columns.data(), static_cast<std::ptrdiff_t>(count)}});
    for (std::size_t i = 0; i < count; ++i) {
      const std::string what = std::to_string(static_cast<int>(c.model)) + " at " + std::to_string(suctions[i]);
      const double content = WaterContentGradient(c.model, c.parameters, Suction(suctions[i]), gradient);
      if (i > 2) ExpectNear(model[i], static_cast<double>(100 * c.law(c.parameters, suctions[i])), 1e-14, what.c_str());
      ExpectSame(model[i], 100.0 * content, suctions[i] > 0.0 ? 1e-13 : 0.0, what);
      for (std::size_t k = 0; k < gradient.size(); ++k) {
        const std::string by = what + " by " + std::to_string(k);
        ExpectNear(columns[k * count + i], 100.0 * gradient[k], 1e-13, by.c_str());
        // Products, which keep their digits where next to nothing has drained.
        if (c.model == VanGenuchtenFreeM && k > 1) ExpectSame(columns[k * count + i], 100.0 * gradient[k], 1e-12, by);
      }
    }
  }
}

TEST_P(EachKernels, CreepStrainsAreThoseOfOnePointAndAccurate) {
  std::vector<double> times, logs;
  for (double time = 1e-6; time < 1e7; time *= 1.9) {  // not a multiple of the lanes
    times.push_back(time);
    logs.push_back(std::log(time));
  }
  const std::size_t count = times.size();
  for (const double exponent : {0.01, 0.3, 2.0}) {
    const CreepArguments law{exponent, 0.7, 1.9, 2.3, 3e-4, 2e-7, times.data(), logs.data()};
    const double stress = std::exp(law.logStress), c2 = std::log(1.9) / 0.7, c6 = std::log(2.3) / 0.7;
    const std::vector<double> constants{3e-4 / 1.9, c2, 0.0, exponent, 2e-7 / 2.3, c6, 0.0};
    std::vector<double> model(count), columns(kCreepConstants * count), gradient(kCreepConstants);
    GetParam()->creep(law, {count, model.data(), {columns.data(), static_cast<std::ptrdiff_t>(count)}});
    for (std::size_t i = 0; i < count; ++i) {
      const long double exact = 3e-4 * std::pow<long double>(times[i], exponent) + 2e-7L * times[i];
      ExpectDigits(model[i], static_cast<double>(exact), 1.2e-16 * (4.0 + std::abs(2.0 * exponent * logs[i])));
      CreepAtStress(constants, stress).Gradient(times[i], logs[i], gradient);
      for (std::size_t k = 0; k < gradient.size(); ++k) ExpectDigits(columns[k * count + i], gradient[k], 1e-14);
    }
  }
}

TEST_P(EachKernels, ProductsAreThoseOfAllPointsInBlocksOfAnyLength) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> draw(-1.0, 1.0);
  for (std::size_t width = 1; width <= 7; ++width) {
    for (const std::size_t count : {1u, 2u, 3u, 5u, 8u, 15u, 33u}) {
      std::vector<std::vector<double>> data(width, std::vector<double>(count));
      std::vector<const double*> columns;
      for (auto& column : data) {
        for (double& entry : column) entry = draw(random);
        columns.push_back(column.data());
      }
      std::vector<double> sums(width * width * kLaneSumLength, std::nan(""));
      GetParam()->addProducts(count, columns.data(), width, sums.data(), true);
      GetParam()->addProducts(count, columns.data(), width, sums.data(), false);
      std::vector<double> totals(width * width);
      GetParam()->totals(sums.data(), width, 0, totals.data());
      for (std::size_t j = 0; j < width; ++j) {
        for (std::size_t i = 0; i <= j; ++i) {
          double product = 0.0;
          for (std::size_t k = 0; k < count; ++k) product += data[i][k] * data[j][k];
          ExpectNear(totals[i + j * width], 2.0 * product, 1e-13);
        }
      }
      GetParam()->addProducts(count, columns.data(), width, sums.data(), true);
      GetParam()->totals(sums.data(), width, 0, totals.data());
      std::vector<double> atOnce(width * width);
      GetParam()->products(count, columns.data(), width, sums.data(), atOnce.data());
      for (std::size_t j = 0; j < width; ++j) {
        EXPECT_TRUE(std::equal(&atOnce[j * width], &atOnce[j * width] + j + 1, &totals[j * width])) << width;
      }
    }
  }
}

TEST_P(EachKernels, TrianglesKeepTheProductsOfTheirColumns) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> draw(-1.0, 1.0);
  for (std::size_t columns = 1; columns <= 7; ++columns) {
    for (const std::size_t rows : {1u, 2u, 7u, 8u, 33u, 70u}) {
      const auto stride = static_cast<std::ptrdiff_t>(rows + 3);
      std::vector<double> a(columns * (rows + 3));
      for (double& entry : a) entry = draw(random);
      if (columns > 3) std::fill_n(a.begin() + 2 * stride, rows, 0.0);
      const std::vector<double> before = a;
      ASSERT_EQ(GetParam()->triangularise(rows, columns, a.data(), stride), columns);
      for (std::size_t j = 0; j < columns; ++j) {
        for (std::size_t i = 0; i <= j; ++i) {
          double product = 0.0, reduced = 0.0;
          for (std::size_t k = 0; k < rows; ++k) product += before[i * (rows + 3) + k] * before[j * (rows + 3) + k];
          for (std::size_t k = 0; k <= std::min(i, rows - 1); ++k)
            reduced += a[i * (rows + 3) + k] * a[j * (rows + 3) + k];
          ExpectNear(reduced, product, 1e-12);
        }
      }
    }
  }
  for (const double bad : {1e-170, 1e-150, 1e150, std::nan("")}) {
    std::vector<double> a{1.0, 2.0, 3.0, 0.0, bad, 0.0};
    EXPECT_EQ(GetParam()->triangularise(3, 2, a.data(), 3), 1u) << bad;
  }
}

TEST_P(EachKernels, SmallSystemsAreSolvedOrLeftAlone) {
  constexpr double kDamping = 0.01;
  for (std::size_t n = 1; n <= kLargestPositiveDefinite; ++n) {
    // A Hilbert matrix, whose last pivot is 1 / C(2n-2, n-1)^2 of its diagonal entry, damped and not.
    const auto entry = [](std::size_t i, std::size_t j) { return 1.0 / static_cast<double>(i + j + 1); };
    const std::size_t stride = n + 1;
    std::vector<double> a(n * stride, std::nan("")), x(n), rightHandSide(n);
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = i; j < n; ++j) a[i + j * stride] = entry(i, j);
      rightHandSide[i] = static_cast<double>(i) - 3.5;
    }
    x = rightHandSide;
    ASSERT_TRUE(GetParam()->solvePositiveDefinite(n, a.data(), stride, kDamping, x.data(), x.data()));
    for (std::size_t i = 0; i < n; ++i) {
      double sum = kDamping * entry(i, i) * x[i];
      for (std::size_t j = 0; j < n; ++j) sum += entry(i, j) * x[j];
      ExpectNear(sum, rightHandSide[i], 1e-11);
    }
    x = rightHandSide;
    EXPECT_EQ(GetParam()->solvePositiveDefinite(n, a.data(), stride, 0.0, x.data(), x.data()), n < 11) << n;
    if (n >= 11) {
      EXPECT_EQ(x, rightHandSide);
    }
  }
  for (const double bad : {0.0, -1.0, std::nan(""), 1e-310, std::numeric_limits<double>::infinity()}) {
    double x = 1.0;
    EXPECT_FALSE(GetParam()->solvePositiveDefinite(1, &bad, 1, 0.0, &x, &x)) << bad;
  }
}

}  // namespace
}  // namespace Xem::Testing
