#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/curves.h"
#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Testing {
namespace {

using Fit::Result;

/// Best of 60 random starts of SciPy's bounded least squares in the exponents, moduli from a linear solve: one curve,
/// whose best pair of terms holds neither of the best single one.
TEST(FitOgden, OneCurveHasNoBetterPairOfTerms) {
  Fit::HyperelasticData data = TreloarData();
  data.equibiaxial = data.pureShear = {};
  EXPECT_LT(Fit::FitOgden(data, 2, {}).measures.objective, 1.01 * 0.106573);
}

/// Scattered curves of a material whose stability limits are known: 95 % intervals hold them.
TEST(StabilityIntervals, HoldTheTruth) {
  const std::vector<double> truth{0.2, 0.03, -0.004, 0.002, -0.001};
  const Fit::Stability limits = Fit::CheckPolynomial(2, truth);
  int covered = 0;
  int intervals = 0;
  std::mt19937 generator(11);
  std::normal_distribution<double> normal(0.0, 0.005);
  for (int replicate = 0; replicate < 40; ++replicate) {
    Fit::HyperelasticData data;
    for (double strain = 0.05; strain < 1.5; strain += 0.05) {
      for (auto [curve, mode] : {std::pair(&data.uniaxial, "uniaxial"), {&data.equibiaxial, "equibiaxial"}}) {
        curve->x.push_back(strain);
        curve->y.push_back(Fit::PolynomialStress(mode, 2, truth, strain) + normal(generator));
      }
    }
    const Result result = Fit::FitPolynomial(data, 2, {});
    for (const auto& [name, truly] : {std::pair("uniaxial_tension", limits.uniaxialTension),
                                      {"equibiaxial_tension", limits.equibiaxialTension},
                                      {"pure_shear_tension", limits.pureShearTension}}) {
      ASSERT_TRUE(std::isfinite(truly)) << name;
      const auto found = result.stability->intervals.find(name);
      if (found == result.stability->intervals.end()) continue;
      ++intervals;
      covered += found->second.lower <= truly + 0.01 && truly <= found->second.upper + 0.01 ? 1 : 0;
    }
    EXPECT_EQ(Mentions(result.notes, "not measured"), !(limits.pureShearTension > limits.equibiaxialTension));
  }
  EXPECT_EQ(intervals, 120);
  EXPECT_GE(covered, 106);
}

// Best of 40 random starts of a variable-projection search by a general least-squares program, exponents unlimited.
TEST(FitOgden, FindsTheBestMinimum) {
  struct Minimum {
    int terms;
    Fit::Residual residual;
    double objective;
  };
  using enum Fit::Residual;
  for (const Minimum& minimum :
       {Minimum{2, Absolute, 1.576896}, Minimum{3, Absolute, 0.20849}, Minimum{4, Absolute, 0.071249},
        Minimum{3, Relative, 0.289448}, Minimum{4, Relative, 0.240337}}) {
    Fit::Options options;
    options.residual = minimum.residual;
    const Result result = Fit::FitOgden(TreloarData(), minimum.terms, options);
    EXPECT_TRUE(result.converged);
    EXPECT_LE(result.measures.objective, minimum.objective * (1.0 + 1e-5)) << minimum.terms;
  }
  // Terms that nearly cancel, as silicone's do: with moduli of any size, which are within a range here.
  const double silicone[] = {0.0113457601, 0.0086278708, 0.0044050094};
  for (const int terms : {2, 3, 4}) {
    EXPECT_LE(Fit::FitOgden(RubberData("silicone"), terms).measures.objective, silicone[terms - 2] * (1.0 + 1e-4));
  }
}

TEST(FitOgden, MoreTermsAndTheExportNeverFitBetter) {
  for (const auto residual : {Fit::Residual::Absolute, Fit::Residual::Relative}) {
    for (int modes = 1; modes < 8; ++modes) {
      Fit::HyperelasticData data = TreloarData();
      if ((modes & 1) == 0) data.uniaxial = {};
      if ((modes & 2) == 0) data.equibiaxial = {};
      if ((modes & 4) == 0) data.pureShear = {};
      double shorter = INFINITY;
      for (int terms = 1; terms <= 3; ++terms) {
        Fit::Options options;
        options.residual = residual;
        const double best = Fit::FitOgden(data, terms, options).measures.objective;
        EXPECT_LE(best, shorter * (1.0 + 1e-12)) << "modes " << modes << ", terms " << terms;
        shorter = best;
        if (modes != 7 || terms == 3) continue;  // one set of modes is enough for the slower comparison
        options.engine = Fit::Engine::Export;
        EXPECT_LE(best, Fit::FitOgden(data, terms, options).measures.objective * (1.0 + 1e-12));
      }
    }
  }
}

TEST(FitOgden, PlantedTermsComeBackInOrderWithHeldOnesInPlace) {
  const std::vector<double> planted{0.63, 1.3, -0.01, -2.0, 0.0012, 5.0};  // by falling part in the shear modulus
  Fit::HyperelasticData data;
  for (int i = 1; i <= 30; ++i) {
    const double strain = 0.15 * i;
    data.uniaxial.x.push_back(strain);
    data.uniaxial.y.push_back(Fit::OgdenStress("uniaxial", 3, planted, strain));
    data.equibiaxial.x.push_back(strain / 2.0);
    data.equibiaxial.y.push_back(Fit::OgdenStress("equibiaxial", 3, planted, strain / 2.0));
  }
  const Result free = Fit::FitOgden(data, 3);
  for (std::size_t k = 0; k < planted.size(); ++k) ExpectDigits(free.parameters[k].value, planted[k], 1e-6);
  EXPECT_FALSE(Mentions(free.notes, "fit equally well"));
  ExpectDigits(free.derived.at("shear_modulus"), 0.4225, 1e-6);

  Fit::Options options;
  options.held = {{"alpha1", 5.0}, {"mu1", 0.0012}};
  const Result held = Fit::FitOgden(data, 3, options);
  EXPECT_EQ(held.Value("alpha1"), 5.0);
  EXPECT_TRUE(held.parameters[0].held);
  EXPECT_LT(held.measures.objective, 1e-16);
  options.held = {{"alpha9", 1.0}};
  EXPECT_THROW(Fit::FitOgden(data, 3, options), Fit::Error);
}

// Of one mode a rival with other exponents fits as well, by its sum of squares too; of planted data there is none.
TEST(FitOgden, NamesARivalThatFitsEquallyWell) {
  Fit::HyperelasticData data;
  data.equibiaxial = TreloarData().equibiaxial;
  const Result result = Fit::FitOgden(data, 2);
  std::vector<double> rival(4);
  double squares = 0.0;
  ASSERT_EQ(std::sscanf(result.notes.front().c_str(),
                        "other exponents fit equally well: mu1 = %lf, alpha1 = %lf, mu2 = %lf, alpha2 = %lf", &rival[0],
                        &rival[1], &rival[2], &rival[3]),
            4)
      << result.notes.front();
  const Fit::CurveResult& curve = result.curves[0];
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    squares += std::pow(Fit::OgdenStress("equibiaxial", 2, rival, curve.x[i]) - curve.measured[i], 2);
  }
  EXPECT_GT(std::abs(rival[3] - result.parameters[3].value), 0.01);
  const double difference = static_cast<double>(curve.x.size()) * std::log(squares / result.measures.objective);
  EXPECT_TRUE(difference > -1e-4 && difference < 2.0) << difference;
}

// An exponent of 40 is out of range: the fit ends at 30, and only that entry counts as held there.
TEST(FitOgden, AnExponentAtItsBoundIsTheOneThatIsMarked) {
  const std::vector<double> planted{1e-11, 40.0, 0.3, 1.5};
  Fit::HyperelasticData data;
  for (int i = 1; i <= 30; ++i) {
    data.uniaxial.x.push_back(0.03 * i);
    data.uniaxial.y.push_back(Fit::OgdenStress("uniaxial", 2, planted, 0.03 * i));
  }
  const Result result = Fit::FitOgden(data, 2);
  int held = 0;
  for (const Fit::Parameter& parameter : result.parameters) {
    EXPECT_EQ(parameter.held, parameter.value == 30.0) << parameter.name;
    EXPECT_EQ(parameter.held, std::isnan(parameter.standardError)) << parameter.name;
    if (!parameter.held) continue;
    ++held;
    EXPECT_TRUE(Mentions(result.notes, parameter.name + " = 30 lies at the bound")) << parameter.name;
  }
  EXPECT_EQ(held, 1);
}

// W = 1/2 (I1 - 3): in every model the shear stress of simple shear is the shear strain, of either sign.
TEST(HyperelasticModels, SimpleShearIsTheShearStressWithItsSign) {
  Fit::HyperelasticData data;
  for (int i = -6; i <= 6; ++i) {
    data.simpleShear.x.push_back(0.25 * i);
    data.simpleShear.y.push_back(0.25 * i);
  }
  const Result ogden = Fit::FitOgden(data, 1);
  ExpectNear(ogden.Value("mu1"), 1.0, 1e-8);
  ExpectNear(ogden.Value("alpha1"), 2.0, 1e-8);
  EXPECT_TRUE(Mentions(ogden.notes, "sign of an exponent"));
  const Result blatzKo = Fit::FitBlatzKo(data);
  ExpectNear(blatzKo.Value("mu"), 1.0, Tolerance::Rounding);
  Fit::Options options;
  options.held["C01"] = 0.0;
  const Result polynomial = Fit::FitPolynomial(data, 1, options);
  ExpectNear(polynomial.Value("C10"), 0.5, Tolerance::Rounding);
  for (const Result& result : {ogden, blatzKo, polynomial}) {
    EXPECT_EQ(result.measures.dropped, 1);  // the origin
    ExpectNear(result.evaluate("simple_shear", -0.75), -0.75, 1e-7);
    ExpectNear(result.evaluate("simple_shear", 0.75), 0.75, 1e-7);
  }
}

TEST(FitBlatzKo, TakesMeasuredLateralStrainsOrThoseOfAFreeFace) {
  const double modulus = 0.22;
  Fit::HyperelasticData data;
  for (const double stretch : {0.7, 1.3, 1.8}) {
    const double lateral = std::pow(stretch, -0.25);
    data.uniaxial.x.push_back(stretch - 1.0);
    data.uniaxial.lateral.push_back(lateral - 1.0);
    data.uniaxial.y.push_back(modulus * (lateral * lateral - std::pow(stretch, -3)));
    data.pureShear.x.push_back(stretch - 1.0);
    data.pureShear.y.push_back(modulus * (std::pow(stretch, -1.0 / 3.0) - std::pow(stretch, -3)));
  }
  const Result result = Fit::FitBlatzKo(data);
  ExpectNear(result.Value("mu"), modulus, Tolerance::Rounding);
  EXPECT_EQ(result.derived.at("poisson_ratio"), 0.25);
  EXPECT_TRUE(result.stability->Stable());
  EXPECT_TRUE(Mentions(result.notes, "free of stress"));
  ExpectNear(Fit::BlatzKoStress("uniaxial", modulus, 0.8), data.uniaxial.y[2], Tolerance::Rounding);

  // Exponents of the lateral stretch -0.2 at a strain of 0.5 and -0.4 at 1: -0.3 half-way, and no others beyond.
  Fit::HyperelasticData foam;
  foam.uniaxial.x = {0.5, 1.0};
  foam.uniaxial.lateral = {std::pow(1.5, -0.2) - 1.0, std::pow(2.0, -0.4) - 1.0};
  const auto stress = [](double stretch, double exponent) {
    return 0.3 * (std::pow(stretch, 2.0 * exponent) - std::pow(stretch, -3));
  };
  foam.uniaxial.y = {stress(1.5, -0.2), stress(2.0, -0.4)};
  const Result between = Fit::FitBlatzKo(foam);
  for (const auto& [stretch, exponent] :
       {std::pair(1.25, -0.2), {1.5, -0.2}, {1.75, -0.3}, {1.875, -0.35}, {2.5, -0.4}}) {
    ExpectNear(between.evaluate("uniaxial", stretch - 1.0), stress(stretch, exponent), Tolerance::Rounding);
  }

  // Lateral strains of another material change the answer, and the fitted values are those at the measured ones.
  data.pureShear = {};
  data.uniaxial.lateral = {0.1, -0.1, -0.2};
  const Result other = Fit::FitBlatzKo(data);
  EXPECT_GT(std::abs(other.Value("mu") - modulus), 1e-3);
  const double lateral = 0.8 * 0.8;
  ExpectNear(other.curves[0].fitted[2], other.Value("mu") * (lateral - std::pow(1.8, -3)), Tolerance::Rounding);
  data.uniaxial.lateral[1] = -1.0;
  EXPECT_THROW(Fit::FitBlatzKo(data), Fit::Error);
}

TEST(HyperelasticModels, VolumetricDataAreFittedAlongside) {
  Fit::HyperelasticData data = TreloarData();
  const Result alone = Fit::FitOgden(data, 1);
  ExpectNear(alone.derived.at("poisson_ratio"), 0.495, 1e-10);
  EXPECT_TRUE(Mentions(alone.notes, "0.495"));
  data.volumetric = FitCurve(BundledCurve("silicone_volumetric.csv", "linear_stretch", "pressure_MPa"));
  data.volumetricTerms = 2;
  Fit::Options options;
  options.held["D2"] = 30000.0;
  options.start["D1"] = 500.0;
  const Result both = Fit::FitOgden(data, 1, options);
  EXPECT_EQ(both.Value("mu1"), alone.Value("mu1"));
  EXPECT_EQ(both.Value("D2"), 30000.0);
  EXPECT_EQ(both.measures.sse, alone.measures.sse);
  EXPECT_EQ(both.derived.at("bulk_modulus"), 2.0 * both.Value("D1"));
  const double ratio = both.derived.at("poisson_ratio");
  ExpectDigits(2.0 * both.derived.at("shear_modulus") * (1.0 + ratio),
               3.0 * both.derived.at("bulk_modulus") * (1.0 - 2.0 * ratio), 1e-9);  // both are Young's modulus
  ASSERT_EQ(both.correlation.size(), 4u);
  EXPECT_EQ(both.correlation[0][2], 0.0);
  EXPECT_TRUE(std::isnan(both.correlation[3][3]));
  EXPECT_EQ(both.curves.back().name, "volumetric");
  ExpectNear(both.evaluate("volumetric", both.curves.back().x[5]), both.curves.back().fitted[5], Tolerance::Exact);
}

TEST(StabilityOfGivenModels, KeepsToTheStrainsAskedFor) {
  const std::vector<double> softening{0.5, -0.3};
  ExpectNear(Fit::CheckPolynomial(1, softening).uniaxialTension, 0.30, 1e-12);
  ExpectNear(Fit::CheckOgden(2, {1.0, 2.0, 0.6, -2.0}).uniaxialCompression, -0.23, 1e-12);
  // Zero means none of that side here.
  EXPECT_TRUE(std::isnan(Fit::CheckPolynomial(1, softening, {}, 0.0, 9.0).uniaxialCompression));
  EXPECT_TRUE(std::isnan(Fit::CheckPolynomial(1, softening, {}, -0.5, 0.0).uniaxialTension));
  EXPECT_FALSE(Fit::CheckBlatzKo(-1.0).Stable());
  EXPECT_THROW(Fit::CheckPolynomial(1, softening, {}, 0.1, 9.0), Fit::Error);
  EXPECT_THROW(Fit::CheckPolynomial(1, softening, {}, NAN, 9.0), Fit::Error);
  EXPECT_THROW(Fit::CheckOgden(2, softening), Fit::Error);
  EXPECT_THROW(Fit::CheckOgden(1, {NAN, 2.0}).Stable(), Fit::Error);
}

}  // namespace
}  // namespace Xem::Testing
