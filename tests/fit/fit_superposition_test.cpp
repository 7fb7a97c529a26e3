#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <map>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/json.h"
#include "xem/fit/reading.h"

namespace Xem::Testing {
namespace {

using Fit::ModulusKind;
using Fit::Result;

constexpr double kCycles = 2.0 * std::numbers::pi;

/// Moduli of Maxwell elements in parallel with a spring, written as sums over complex springs and dashpots.
struct Material {
  std::vector<double> moduli;
  std::vector<double> times;
  double longTerm = 0.0;

  double At(ModulusKind kind, double x) const {
    double value = kind == ModulusKind::Loss ? 0.0 : longTerm;
    for (std::size_t i = 0; i < moduli.size(); ++i) {
      const std::complex<double> element = moduli[i] / (1.0 + 1.0 / std::complex<double>(0.0, x * times[i]));
      value += kind == ModulusKind::Relaxation ? moduli[i] * std::exp(-x / times[i])
               : kind == ModulusKind::Storage  ? element.real()
                                               : element.imag();
    }
    return value;
  }
  /// `moved`: what abscissae are multiplied by for the material, those of the curve being in cycles or times.
  Fit::ModulusCurve Measured(ModulusKind kind, double from, double to, int points, double moved = 1.0) const {
    Fit::ModulusCurve curve;
    curve.quantity = kind;
    curve.perUnit = kind == ModulusKind::Relaxation ? 1.0 : kCycles;
    for (int i = 0; i < points; ++i) {
      curve.curve.x.push_back(from * std::pow(to / from, i / (points - 1.0)));
      curve.curve.y.push_back(At(kind, curve.curve.x.back() * curve.perUnit * moved));
    }
    return curve;
  }
};

const Material kThreeTerms{{50.0, 20.0, 5.0}, {1e-2, 1.0, 30.0}, 2.0};

Fit::Options Relative() {
  Fit::Options options;
  options.residual = Fit::Residual::Relative;
  return options;
}

TEST(FitDynamicProny, RecoversASeriesFromEveryKindOfCurve) {
  const auto storage = kThreeTerms.Measured(ModulusKind::Storage, 1e-3, 1e3, 31);
  const auto loss = kThreeTerms.Measured(ModulusKind::Loss, 1e-3, 1e3, 31);
  auto early = kThreeTerms.Measured(ModulusKind::Storage, 0.3, 1e3, 20);
  auto late = kThreeTerms.Measured(ModulusKind::Relaxation, 0.05, 300.0, 20);
  const auto ratio = [](Fit::ModulusCurve curve) {
    for (double& y : curve.curve.y) y /= 77.0;
    curve.ratio = true;
    return curve;
  };
  const std::vector<std::vector<Fit::ModulusCurve>> cases{
      {storage, loss}, {storage}, {loss}, {early, late}, {loss, ratio(late), storage}, {ratio(late), ratio(storage)}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    for (const int terms : {3, Fit::kAutomaticTerms}) {
      Fit::DynamicData data;
      data.curves = cases[i];
      const Result result = Fit::FitDynamicProny(data, terms, Relative());
      ASSERT_EQ(result.terms, 3);
      const bool onlyLoss = i == 2;
      const double instantaneous = i == 5 ? 77.0 : result.Value("E0");
      for (std::size_t k = 0; k < 3; ++k) {
        const double share = result.parameters[k].value;
        ExpectDigits(share * instantaneous, kThreeTerms.moduli[k], 1e-6);
        ExpectDigits(result.parameters[3 + k].value, kThreeTerms.times[k], 1e-6);
      }
      if (i != 5) ExpectDigits(result.Value("E0"), onlyLoss ? 75.0 : 77.0, 1e-6);
      EXPECT_EQ(Mentions(result.notes, "E0 is open"), onlyLoss);
      EXPECT_NE(result.parameters.back().identifiable, onlyLoss);
      // What is stored of it gives the same curves.
      const Result stored = Fit::FromJson(Fit::ToJson(result, "test"), "stored");
      for (const auto& curve : result.curves) {
        ExpectDigits(stored.evaluate(curve.name, curve.x[5]), curve.measured[5], 1e-6);
      }
    }
  }
}

TEST(FitDynamicProny, HoldsWhatItIsToldAndRefusesTheImpossible) {
  Fit::DynamicData data;
  data.curves = {kThreeTerms.Measured(ModulusKind::Storage, 1e-3, 1e3, 31)};
  Fit::Options options = Relative();
  options.held = {{"tau1", 30.0}, {"g2", 50.0 / 77.0}};
  const Result held = Fit::FitDynamicProny(data, 3, options);
  EXPECT_EQ(held.Value("tau1"), 30.0);
  ExpectDigits(held.Value("g1"), 5.0 / 77.0, 1e-6);
  options.held = {{"E0", 77.0}};
  ExpectDigits(Fit::FitDynamicProny(data, 3, options).derived.at("long_term_modulus"), 2.0, 1e-5);
  // A modulus below what was measured leaves nothing for the long term.
  data.normalise = Fit::Normalise::Value;
  data.modulus = 70.0;
  const Result low = Fit::FitDynamicProny(data, 2, Relative());
  EXPECT_EQ(low.Value("E0"), 70.0);
  EXPECT_GE(low.derived.at("g_infinity"), 0.0);
  data.normalise = Fit::Normalise::First;
  EXPECT_THROW(Fit::FitDynamicProny(data, 2), Fit::Error);
  data.normalise = Fit::Normalise::Free;
  data.curves.front().curve.name = "loss";
  EXPECT_THROW(Fit::FitDynamicProny(data, 2), Fit::Error);
}

/// The bundled sweeps, by set.
Fit::SuperpositionData Interlayer() {
  const Fit::Table table = Fit::ReadTable(std::string(XEM_DATA_DIR) + "/dma_pvb_raw.csv");
  std::map<int, Fit::Isotherm> sets;
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    const auto cell = [&](std::size_t column) { return table.columns[column].numbers[row]; };
    Fit::Isotherm& isotherm = sets[static_cast<int>(cell(4))];
    if (isotherm.curves.empty()) {
      isotherm.curves.resize(2);
      isotherm.curves[1].quantity = ModulusKind::Loss;
    }
    for (std::size_t k = 0; k < 2; ++k) {
      isotherm.curves[k].perUnit = kCycles;
      isotherm.curves[k].curve.x.push_back(cell(0));
      isotherm.curves[k].curve.y.push_back(cell(1 + k));
    }
    isotherm.temperature += cell(3) / 10.0;
  }
  Fit::SuperpositionData data;
  for (const auto& set : sets) data.isotherms.push_back(set.second);
  data.reference = data.isotherms[15].temperature;
  return data;
}

// Reference: non-negative least squares at free times from 40 starts each, by another program (SciPy).
TEST(FitDynamicProny, SumsOfSquaresAreThoseOfAnotherProgram) {
  const std::map<std::size_t, std::vector<double>> reference{
      {10, {4.02519, 0.86523, 0.0964837, 0.00762756, 0.00261844}},
      {13, {3.9388, 0.788541, 0.110773, 0.0201956, 0.00861318}},
      {20, {3.58257, 0.663807, 0.0727991, 0.0114258, 0.00399789}}};
  const Fit::SuperpositionData interlayer = Interlayer();
  for (const auto& [set, sums] : reference) {
    for (std::size_t terms = 1; terms <= sums.size(); ++terms) {
      Fit::DynamicData data;
      data.curves = interlayer.isotherms[set].curves;
      const Result result = Fit::FitDynamicProny(data, static_cast<int>(terms), Relative());
      ExpectDigits(result.measures.objective, sums[terms - 1], 1e-4);
    }
  }
}

TEST(FitDynamicProny, ThirtyDecadesNeedAsManyTermsAsTheyShow) {
  Material wide{{}, {}, 1.0};
  for (int i = 0; i < 90; ++i) {
    wide.times.push_back(std::pow(10.0, -15.0 + i / 3.0));
    wide.moduli.push_back(80.0 * std::exp(-std::pow((i - 45) / 20.0, 2)));
  }
  std::mt19937 generator(5);
  std::normal_distribution<double> normal(1.0, 0.03);
  Fit::DynamicData data;
  for (const ModulusKind kind : {ModulusKind::Storage, ModulusKind::Loss}) {
    data.curves.push_back(wide.Measured(kind, 1e-15, 1e15, 150));
    for (double& y : data.curves.back().curve.y) y *= normal(generator);
  }
  const Result result = Fit::FitDynamicProny(data, Fit::kAutomaticTerms, Relative());
  EXPECT_GE(result.terms, 15);
  EXPECT_LE(result.terms, Fit::kMostPronyTerms);
  EXPECT_LT(std::sqrt(result.measures.objective / 300.0), 0.04);
}

struct PlantedLaw {
  Fit::ShiftLaw law;
  ModulusKind kind;
  double reference;  // between two measured temperatures, and outside of them
  std::vector<double> constants;
};

TEST(Superpose, FindsPlantedConstants) {
  Material wide{{}, {}, 0.5};
  for (int i = 0; i < 24; ++i) {
    wide.times.push_back(std::pow(10.0, -8.0 + 0.7 * i));
    wide.moduli.push_back(600.0 / (1.0 + std::pow(10.0, 0.3 * (i - 10))));
  }
  const auto wlf = [](double t, double reference) { return -12.3 * (t - reference) / (65.0 + t - reference); };
  for (const PlantedLaw& planted :
       {PlantedLaw{Fit::ShiftLaw::Wlf, ModulusKind::Storage, 20.0, {12.3, 65.0}},
        PlantedLaw{Fit::ShiftLaw::Wlf, ModulusKind::Relaxation, 20.0, {12.3, 65.0}},
        PlantedLaw{Fit::ShiftLaw::Wlf, ModulusKind::Storage, 25.0, {12.3 * 65.0 / 70.0, 70.0}},
        PlantedLaw{Fit::ShiftLaw::Arrhenius, ModulusKind::Storage, 25.0, {150.0}},
        PlantedLaw{Fit::ShiftLaw::Arrhenius, ModulusKind::Relaxation, 67.0, {150.0}}}) {
    const auto factor = [&](double t, double reference) {
      return planted.law == Fit::ShiftLaw::Wlf
                 ? wlf(t, 20.0) - wlf(reference, 20.0)
                 : 150e3 / (8.314462618 * std::log(10.0)) * (1.0 / (t + 273.15) - 1.0 / (reference + 273.15));
    };
    Fit::SuperpositionData data;
    data.law = planted.law;
    data.reference = planted.reference;
    for (double t = 4.0; t <= 60.0; t += 8.0) {
      const double moved = std::pow(10.0, factor(t, planted.reference));
      const bool inTime = planted.kind == ModulusKind::Relaxation;
      Fit::Isotherm isotherm{t, {wide.Measured(planted.kind, 0.1, 100.0, 16, inTime ? 1.0 / moved : moved)}};
      if (!inTime) isotherm.curves.push_back(wide.Measured(ModulusKind::Loss, 0.1, 100.0, 16, moved));
      data.isotherms.insert(data.isotherms.begin(), isotherm);  // whatever their order
    }
    // A specimen that is stiffer at one temperature.
    data.vertical = planted.law == Fit::ShiftLaw::Wlf && planted.reference == 25.0;
    const double stiffer = data.vertical ? 1.2 : 1.0;
    for (Fit::ModulusCurve& curve : data.isotherms[2].curves) {
      for (double& y : curve.curve.y) y *= stiffer;
    }
    const Fit::Superposition found = Fit::Superpose(data);
    EXPECT_NEAR(found.factors[5].log10bT, std::log10(stiffer), 1e-3);
    for (std::size_t k = 0; k < planted.constants.size(); ++k) {
      EXPECT_NEAR(found.result.parameters[k].value / planted.constants[k], 1.0, 5e-3);
    }
    ASSERT_EQ(found.factors.size(), data.isotherms.size());
    for (const Fit::ShiftFactor& one : found.factors) {
      EXPECT_NEAR(one.log10aT, factor(one.temperature, planted.reference), 0.02) << one.temperature;
      EXPECT_GE(one.standardError, 0.0);
    }
    EXPECT_FALSE(Mentions(found.result.notes, "one law does not serve"));
    EXPECT_EQ(Mentions(found.result.notes, "follows"), planted.kind == ModulusKind::Storage);
    EXPECT_TRUE(std::is_sorted(found.master[0].reduced.curve.x.begin(), found.master[0].reduced.curve.x.end()));
  }
}

// Reference: mean horizontal distance of neighbours at equal storage moduli, by another program; below 0 degrees the
// curves are flat, and such factors differ by half a decade among each other.
TEST(Superpose, LaysTheBundledSweepsAsOthersDo) {
  Fit::SuperpositionData data = Interlayer();
  const std::vector<double> reference{23.884, 23.303, 21.875, 20.407, 18.867, 16.588, 14.333,
                                      12.370, 10.919, 9.362,  7.765,  6.054,  4.222,  2.431,
                                      1.097,  0.0,    -0.954, -1.813, -2.584, -3.273, -3.871};
  const Fit::Superposition found = Fit::Superpose(data);
  ASSERT_EQ(found.factors.size(), reference.size());
  for (std::size_t k = 0; k < reference.size(); ++k) {
    const Fit::ShiftFactor& factor = found.factors[k];
    EXPECT_NEAR(factor.log10aT, reference[k], factor.temperature > 0.0 ? 0.3 : 0.6) << factor.temperature;
    EXPECT_LT(factor.standardError, 1.0);
  }
  EXPECT_TRUE(Mentions(found.result.notes, "one law does not serve all temperatures"));
  EXPECT_NEAR(found.result.derived.at("glass_transition"), 30.0, 10.0);
  EXPECT_TRUE(Mentions(found.result.notes, "does not superpose"));
  EXPECT_LT(found.master[0].misfit, 0.015);

  data.isotherms.resize(1);
  EXPECT_THROW(Fit::Superpose(data), Fit::Error);
}

}  // namespace
}  // namespace Xem::Testing
