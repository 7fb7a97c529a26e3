#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/curves.h"
#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/json.h"
#include "xem/fit/model.h"
#include "xem/fit/soil.h"

namespace Xem::Testing {
namespace {

using Fit::Result;

constexpr double kPaPerCentimetre = 0.0980665;

Fit::RetentionData Unsoda(const std::string& soil, bool withGrading = false) {
  Fit::RetentionData data;
  data.retention = FitCurve(BundledCurve("unsoda_retention.csv", "suction_cm", "theta", "soil", soil));
  data.suctionUnit = "cm";
  if (withGrading) {
    data.grading = FitCurve(BundledCurve("unsoda_grain_size.csv", "particle_size_um", "fraction_finer", "soil", soil));
    data.diameterUnit = "um";
  }
  return data;
}

std::vector<double> Values(const Result& result) {
  std::vector<double> values;
  for (const Fit::Parameter& parameter : result.parameters) values.push_back(parameter.value);
  return values;
}

/// Points of a model at suctions from 0.1 to `highest` kPa.
Fit::Curve Planted(const std::string& model, const std::vector<double>& parameters, double highest = 3e4) {
  Fit::Curve curve;
  for (int i = 0; i < 23; ++i) {
    curve.x.push_back(0.1 * std::pow(highest / 0.1, i / 22.0));
    curve.y.push_back(Fit::RetentionContent(model, parameters, curve.x.back()));
  }
  return curve;
}

TEST(FitRetention, PlantedParametersComeBack) {
  struct Case {
    const char* model;
    std::vector<double> parameters;
    std::map<std::string, double> start;
  };
  for (const Case& c :
       {Case{"van-genuchten", {.43, .05, .1, 1.6}, {}}, Case{"van-genuchten-m", {.43, .05, .1, 1.6, .5}, {}},
        Case{"fredlund-xing", {.45, 20, 1.5, 1.2, 1500}, {}},
        Case{"fredlund-xing", {.45, 20, 1.5, 1.2, 400}, {{"psi_r", 3000}}}, Case{"brooks-corey", {.43, .05, 8, .4}, {}},
        Case{"kosugi", {.05, .45, 30, 1.2}, {}}, Case{"van-genuchten-dual", {.05, .5, .6, .5, 2, .005, 1.8}, {}},
        Case{"van-genuchten-dual", {.02, .6, .25, 2, 4, .03, 1.4}, {}}}) {
    for (const Fit::Residual residual : {Fit::Residual::Absolute, Fit::Residual::Relative}) {
      Fit::RetentionData data;
      data.retention = Planted(c.model, c.parameters);
      Fit::Options options;
      options.residual = residual;
      options.start = c.start;
      ExpectAllDigits(Values(Fit::FitRetention(data, c.model, options)), c.parameters, 1e-6);
    }
  }
}

/// K/Ks by Mualem's integral of dSe/psi, summed over small steps of ln psi (in kPa) from contents alone.
double MualemByQuadrature(const std::string& model, const std::vector<double>& parameters, double theta_r,
                          double theta_s, double suction) {
  const auto saturation = [&](double psi) {
    return (Fit::RetentionContent(model, parameters, psi) - theta_r) / (theta_s - theta_r);
  };
  const auto integral = [&](double from, double to) {
    constexpr int kSteps = 20000;
    const double step = std::pow(to / from, 1.0 / kSteps);
    double sum = 0.0, below = saturation(from);
    for (double psi = from; psi < to * (1 - 1e-9); psi *= step) {
      const double above = saturation(psi * step);
      sum += (below - above) / (psi * std::sqrt(step));
      below = above;
    }
    return sum;
  };
  const double filled = integral(suction, 1e9 * suction);
  return std::sqrt(saturation(suction)) * std::pow(filled / (filled + integral(1e-9 * suction, suction)), 2);
}

// The values at 50 kPa were computed beside the library.
TEST(FitRetention, ConductivityIsMualemsIntegral) {
  struct Case {
    const char* model;
    std::vector<double> parameters;
    std::size_t saturated, residual;
    double content, conductivity;
  };
  for (const Case& c : {Case{"kosugi", {.05, .45, 30, 1.2}, 1, 0, .184067039, 1.5659275e-3},
                        Case{"van-genuchten-dual", {.05, .5, .6, .5, 2, .005, 1.8}, 1, 0, .234562129, 1.80386758e-5},
                        Case{"van-genuchten", {.45, .05, .1, 1.6}, 0, 1, 0, 4.48436739e-4},
                        Case{"brooks-corey", {.45, .05, 8, .4}, 0, 1, 0, .004096}}) {
    SCOPED_TRACE(c.model);
    Fit::RetentionData data;
    data.retention = Planted(c.model, c.parameters);
    data.saturatedConductivity = 12.5;
    data.conductivityUnit = "cm/d";
    const Result fit = Fit::FitRetention(data, c.model);
    EXPECT_EQ(fit.curves.back().name, "conductivity");
    Result planted = fit;
    for (std::size_t k = 0; k < c.parameters.size(); ++k) planted.parameters[k].value = c.parameters[k];
    const Result stored = Fit::FromJson(Fit::ToJson(planted));
    if (c.content > 0.0) ExpectDigits(stored.evaluate("retention", 50), c.content, 3e-9);
    ExpectDigits(stored.evaluate("conductivity", 50), 12.5 * c.conductivity, 3e-9);
    for (const double suction : {8.5, 20.0, 300.0, 9000.0}) {
      const double known =
          MualemByQuadrature(c.model, c.parameters, c.parameters[c.residual], c.parameters[c.saturated], suction);
      // Pores that fill below a part of 1e-9 of the suction are missing from the sum.
      ExpectDigits(stored.evaluate("conductivity", suction), 12.5 * known, 1e-3);
    }
    EXPECT_EQ(stored.evaluate("conductivity", 0), 12.5);
  }
  Fit::RetentionData data = Unsoda("4670");
  data.saturatedConductivity = 1.0;
  EXPECT_THROW(Fit::FitRetention(data, "fredlund-xing"), Fit::Error);
  EXPECT_THROW(Fit::FitRetention(data, "van-genuchten-m"), Fit::Error);
}

TEST(FitRetention, SuctionsOfEveryUnitMeanTheSameSoil) {
  // psi_r is held at 1500 kPa and the soil is dry at 1e6 kPa, whatever the unit of the data.
  const std::vector<double> inKilopascal{.45, 20, 1.5, 1.2, 1500};
  std::vector<double> inCentimetres = inKilopascal;
  for (const std::size_t k : {1u, 4u}) inCentimetres[k] /= kPaPerCentimetre;
  Fit::RetentionData data;
  data.suctionUnit = "cm";
  for (int i = 0; i < 23; ++i) {
    const double suction = 0.1 * std::pow(3e5, i / 22.0);
    const double content = Fit::RetentionContent("fredlund-xing", inKilopascal, suction);
    const double correction = 1.0 - std::log1p(suction / 1500) / std::log1p(1e6 / 1500);
    ExpectNear(content, correction * .45 * std::pow(std::log(std::exp(1.0) + std::pow(suction / 20, 1.5)), -1.2),
               Tolerance::Rounding);
    ExpectNear(Fit::RetentionContent("fredlund-xing", inCentimetres, suction / kPaPerCentimetre, "cm"), content,
               Tolerance::Rounding);
    ExpectNear(Fit::RetentionContent("fredlund-xing", inCentimetres, std::log10(suction / kPaPerCentimetre), "pF"),
               content, Tolerance::Rounding);
    data.retention.x.push_back(suction / kPaPerCentimetre);
    data.retention.y.push_back(content);
  }
  const Result result = Fit::FitRetention(data, "fredlund-xing");
  ExpectAllDigits(Values(result), inCentimetres, 1e-6);
  EXPECT_TRUE(result.parameters[4].held);
  EXPECT_EQ(result.parameters[4].unit, "cm");
  ExpectNear(result.evaluate("retention", 500.0), Fit::RetentionContent("fredlund-xing", inCentimetres, 500.0, "cm"),
             1e-7);
}

TEST(FitRetention, UnitsChangeNumbersNotTheSoil) {
  const Result reference = Fit::FitRetention(Unsoda("4170"), "van-genuchten");
  const std::vector<double>& cm = reference.curves[0].x;
  for (const auto& [unit, perCentimetre] :
       {std::pair("kPa", kPaPerCentimetre), {"m", .01}, {"hPa", 10 * kPaPerCentimetre}}) {
    Fit::RetentionData data = Unsoda("4170");
    data.suctionUnit = unit;
    for (double& suction : data.retention.x) suction *= perCentimetre;
    const Result result = Fit::FitRetention(data, "van-genuchten");
    EXPECT_EQ(result.parameters[2].unit, std::string("1/") + unit);
    ExpectDigits(result.Value("alpha") * perCentimetre, reference.Value("alpha"), 1e-6, unit);
    ExpectDigits(result.parameters[2].standardError * perCentimetre, reference.parameters[2].standardError, 1e-4);
    ExpectDigits(result.Value("n"), reference.Value("n"), 1e-6, unit);
    ExpectNear(result.evaluate("retention", 100 * perCentimetre), reference.evaluate("retention", 100), 1e-7);
  }
  Fit::RetentionData data = Unsoda("4170");
  data.suctionUnit = "pF";
  data.water = Fit::WaterMeasure::Saturation;
  data.porosity = .43;
  for (double& suction : data.retention.x) suction = std::log10(suction);
  for (double& water : data.retention.y) water /= .43;
  const Result result = Fit::FitRetention(data, "van-genuchten");
  ExpectAllDigits(Values(result), Values(reference), 1e-6);
  ExpectAllDigits(result.curves[0].x, cm, Tolerance::Rounding);
  EXPECT_EQ(result.derived.at("porosity"), .43);
}

TEST(FitRetention, SaysWhenTheDataDoNotDryFarEnough) {
  // The same loam measured to 10 and to 3000 m of water: only the latter shows where the curve ends.
  for (const double highest : {100.0, 3e4}) {
    Fit::RetentionData data;
    data.retention = Planted("van-genuchten", {.43, .05, .02, 1.3}, highest);
    for (std::size_t i = 0; i < data.retention.y.size(); ++i) data.retention.y[i] += i % 2 == 0 ? .002 : -.002;
    const Result result = Fit::FitRetention(data, "van-genuchten");
    const bool expected = highest > 1000;
    EXPECT_EQ(result.parameters[1].identifiable, expected);
    EXPECT_EQ(std::isfinite(result.parameters[1].standardError), expected);
    EXPECT_EQ(Mentions(result.notes, "theta_r is not identifiable"), !expected);
  }
}

TEST(FitRetention, HeldAndStartingValuesAreInTheUnitOfTheData) {
  Fit::Options options;
  options.held = {{"alpha", .017}, {"theta_r", 0.0}};
  const Result result = Fit::FitRetention(Unsoda("4521"), "van-genuchten", options);
  EXPECT_EQ(result.Value("alpha"), .017);
  EXPECT_EQ(result.Value("theta_r"), 0.0);
  EXPECT_TRUE(result.parameters[1].held && result.parameters[1].identifiable);
  Fit::Options far;
  far.start = {{"alpha", 5.0}, {"n", 1.05}};
  ExpectAllDigits(Values(Fit::FitRetention(Unsoda("4521"), "van-genuchten", far)),
                  Values(Fit::FitRetention(Unsoda("4521"), "van-genuchten")), 1e-6);
}

TEST(FitRetention, GradingIsComparedOrFitted) {
  Fit::RetentionData data = Unsoda("4170", true);
  const Result measured = Fit::FitRetention(data, "van-genuchten");
  ASSERT_EQ(measured.curves.size(), 2U);
  EXPECT_EQ(measured.curves[1].name, "grading");
  EXPECT_EQ(measured.measures.points, 9);
  // The wettest measured point stands in for the porosity; both curves speak of one soil.
  EXPECT_EQ(measured.derived.at("porosity"), .409);
  EXPECT_LT(measured.curves[1].measures.rmse, .05);

  Fit::RetentionData inMillimetres = data;
  inMillimetres.diameterUnit = "mm";
  for (double& diameter : inMillimetres.grading.x) diameter /= 1000;
  for (double& passing : inMillimetres.grading.y) passing *= 100;
  ExpectAllDigits(Fit::FitRetention(inMillimetres, "van-genuchten").curves[1].x, measured.curves[1].x, 1e-9);

  data.points = Fit::RetentionPoints::Both;
  const Result both = Fit::FitRetention(data, "van-genuchten");
  EXPECT_EQ(both.measures.points, 9 + measured.curves[1].measures.points);
  data.grading.weight = 1e-6;
  ExpectAllDigits(Values(Fit::FitRetention(data, "van-genuchten")), Values(measured), 1e-4);

  Fit::RetentionData alone;
  alone.grading = data.grading;
  alone.diameterUnit = "um";
  alone.porosity = .409;
  alone.points = Fit::RetentionPoints::Grading;
  const Result derived = Fit::FitRetention(alone, "van-genuchten");
  EXPECT_EQ(derived.curves.size(), 1U);
  EXPECT_LT(derived.measures.rmse, .02);
  EXPECT_EQ(derived.parameters[2].unit, "1/kPa");
}

/// A silty soil with scatter whose lowest valley lies between two suctions far from the air entry of the smooth shape.
/// Known: the best of a scan over 400 air entries and 80 exponents with the contents by linear least squares.
TEST(FitRetention, NoAirEntryBetweenSuctionsFitsBetter) {
  Fit::RetentionData data;
  data.retention.x = {1, 2, 10, 16, 33, 60, 100, 250, 1000, 1500};
  data.retention.y = {.4505, .4461, .4551, .4498, .4439, .4288, .4142, .3598, .2425, .2116};
  EXPECT_LT(Fit::FitRetention(data, "brooks-corey").measures.objective, 1.0196e-3);
}

TEST(FitRetention, TheExportNeverFitsBetter) {
  Fit::Options plain;
  plain.engine = Fit::Engine::Export;
  for (const std::string& model : Fit::RetentionModels()) {
    if (Fit::FindModel(model)->plainExport.empty()) {
      EXPECT_THROW(Fit::FitRetention(Unsoda("4670"), model, plain), Fit::Error);
      continue;
    }
    const double exported = Fit::FitRetention(Unsoda("4670"), model, plain).measures.objective;
    EXPECT_LE(Fit::FitRetention(Unsoda("4670"), model).measures.objective, exported * (1 + 1e-12)) << model;
  }
}

TEST(FitRetention, OddPointsAreDroppedWithTheirReason) {
  Fit::RetentionData data = Unsoda("4521");
  const Result clean = Fit::FitRetention(data, "van-genuchten");
  data.retention.x.insert(data.retention.x.begin(), {-1, 10, 10, 0});
  data.retention.y.insert(data.retention.y.begin(), {.3, 0, 1.3, .3526});
  const Result result = Fit::FitRetention(data, "van-genuchten");
  ASSERT_EQ(result.dropped.size(), 3U);
  EXPECT_EQ(result.dropped[2].row, 3);
  EXPECT_EQ(result.measures.points, clean.measures.points + 1);  // suction 0 is a point
  ExpectAllDigits(Values(result), Values(clean), 1e-2);
  for (const double fitted : result.curves[0].fitted) EXPECT_TRUE(std::isfinite(fitted));
}

}  // namespace
}  // namespace Xem::Testing
