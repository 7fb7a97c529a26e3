#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "support/curves.h"
#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/sheet_metal.h"

namespace Xem::Testing {
namespace {

using Fit::ErrorKind;
using Fit::TensileData;

TensileData Sgcc(const std::string& angle) {
  TensileData data;
  data.curve =
      FitCurve(BundledCurve("sgcc_flow_curve.csv", "plastic_strain", "true_stress_MPa", "angle_deg", angle), "sgcc");
  data.stressUnit = "MPa";
  return data;
}

/// A tensile test of Swift's law 500 (0.008 + eps)^0.22, as a machine records it: elastic part, uniform strain, and
/// engineering values that fall beyond the maximum force.
constexpr double kModulus = 205000.0;

TensileData EngineeringTest() {
  TensileData data;
  data.curve.name = "test";
  data.strain = Fit::StrainMeasure::Engineering;
  data.stress = Fit::StressMeasure::Engineering;
  data.youngsModulus = kModulus;
  const auto add = [&](double stress, double plastic) {
    const double strain = plastic + stress / kModulus;
    data.curve.x.push_back(std::expm1(strain));
    data.curve.y.push_back(stress / std::exp(strain));
  };
  const double yieldStress = 500.0 * std::pow(0.008, 0.22);
  for (int i = 0; i < 10; ++i) add(0.1 * i * yieldStress, 0.0);
  for (int i = 0; i <= 100; ++i) add(500.0 * std::pow(0.008 + 0.003 * i, 0.22), 0.003 * i);
  return data;
}

ErrorKind KindOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Fit::Error& error) {
    return error.Kind();
  }
  ADD_FAILURE() << "nothing was thrown";
  return ErrorKind::BadInput;
}

TEST(HardeningFit, RecoversPlantedConstants) {
  TensileData data;
  data.curve.name = "planted";
  const std::vector<std::pair<std::string, std::vector<double>>> laws{{"ghosh", {600.0, 0.02, 0.35, 100.0}},
                                                                      {"swift", {518.968, 0.0007648, 0.28985, 0.0}},
                                                                      {"hockett-sherby", {120.0, 555.5, 1.106, 0.5232}},
                                                                      {"voce", {200.0, 150.0, 12.0}}};
  for (const auto& [law, constants] : laws) {
    data.curve.x.clear();
    data.curve.y.clear();
    for (int i = 0; i <= 40; ++i) {
      data.curve.x.push_back(0.006 * i);
      data.curve.y.push_back(Fit::FlowStress({law, constants, {}}, data.curve.x.back()));
    }
    const Fit::Result result = Fit::FitHardening(law, data);
    for (std::size_t k = 0; k < constants.size(); ++k) {
      ExpectNear(result.parameters[k].value, constants[k], 1e-6, law.c_str());
    }
    if (law != "swift" && law != "voce") continue;
    // Of the two laws the one that the data follow has all of the share, and its constants.
    const Fit::Result both = Fit::FitHardening("swift-voce", data);
    EXPECT_NEAR(both.Value("w"), law == "swift" ? 1.0 : 0.0, 1e-9);
    for (const Fit::Parameter& parameter : result.parameters) {
      EXPECT_TRUE(parameter.name == "p" || both.Value(parameter.name) == parameter.value) << parameter.name;
    }
    const std::vector<double> halves{500.0, 0.01, 0.2, 200.0, 150.0, 12.0, 0.5};
    EXPECT_NEAR(Fit::FlowStress({"swift-voce", halves, {}}, 0.1),
                0.5 * (Fit::FlowStress({"swift", {500.0, 0.01, 0.2}, {}}, 0.1) +
                       Fit::FlowStress({"voce", {200.0, 150.0, 12.0}, {}}, 0.1)),
                1e-12);
  }
}

// Curves whose best constants lie outside the law's range end at its bound.
TEST(HardeningFit, ConstantsStayAboveTheirLowerBounds) {
  struct Case {
    const char* law;
    const char* name;
    double bound;
    double (*stress)(double strain);
  };
  for (const Case& c :
       {Case{"swift", "e0", 0.0, [](double strain) { return 500.0 * std::pow(strain - 0.019, 0.2); }},
        Case{"swift", "n", 0.0, [](double strain) { return 500.0 * std::pow(strain + 0.1, -0.2); }},
        Case{"hockett-sherby", "si", 0.0, [](double strain) { return 400.0 - 900.0 * std::exp(-5.0 * strain); }}}) {
    TensileData data;
    data.curve.name = "outside";
    for (int i = 0; i <= 40; ++i) {
      const double strain = 0.02 + 0.01 * i;
      if (!(c.stress(strain) > 0.0)) continue;
      data.curve.x.push_back(strain);
      data.curve.y.push_back(c.stress(strain));
    }
    const Fit::Result result = Fit::FitHardening(c.law, data);
    EXPECT_EQ(result.Value(c.name), c.bound) << c.law;
    EXPECT_TRUE(Mentions(result.notes, std::string(c.name) + " = 0 lies at the bound")) << c.law;
  }
}

TEST(HardeningFit, HoldsAndStartsByName) {
  Fit::Options options;
  options.held["p"] = 50.0;
  options.start["n"] = 0.3;
  const Fit::Result result = Fit::FitHardening("ghosh", Sgcc("00"), options);
  EXPECT_EQ(result.Value("p"), 50.0);
  EXPECT_TRUE(result.parameters[3].held);
  options.held = {{"si", 1.0}};
  EXPECT_EQ(KindOf([&] { Fit::FitHardening("ghosh", Sgcc("00"), options); }), ErrorKind::BadInput);
  EXPECT_EQ(KindOf([&] { Fit::FitHardening("ludwik", Sgcc("00")); }), ErrorKind::BadInput);
  options = {};
  options.engine = Fit::Engine::Export;
  EXPECT_EQ(KindOf([&] { Fit::FitHardening("ghosh", Sgcc("00"), options); }), ErrorKind::BadInput);
}

TEST(FlowCurveFromTest, EngineeringValuesBecomeTrueOnesWithoutElasticPart) {
  const Fit::Result result = Fit::FitHardening("swift", EngineeringTest());
  ExpectDigits(result.Value("K"), 500.0, 1e-8);
  ExpectDigits(result.Value("n"), 0.22, 1e-8);
  const auto dropped = [&](const std::string& reason) {
    return std::count_if(result.dropped.begin(), result.dropped.end(),
                         [&](const Fit::DroppedPoint& point) { return point.reason.find(reason) == 0; });
  };
  EXPECT_EQ(dropped("zero stress"), 1);
  EXPECT_EQ(dropped("plastic strain below 0.002") + dropped("negative plastic strain"), 10);
  // Considere: the force is largest at the true strain n - e0, near 0.212: the nearest point is number 71.
  EXPECT_EQ(dropped("beyond the maximum force"), 100 - 71);
}

// Of the exponent 0.22 a fit that takes elastic strain for plastic misses a seventh.
TEST(FlowCurveFromTest, YoungsModulusIsReadFromTheCurveAndCheckedAgainstIt) {
  TensileData data = EngineeringTest();
  data.stressUnit = "MPa";
  data.youngsModulus = 0.0;
  const Fit::Result estimated = Fit::FitHardening("swift", data);
  ExpectNear(estimated.Value("K"), 500.0, 0.005);
  ExpectNear(estimated.Value("n"), 0.22, 0.005);
  EXPECT_TRUE(Mentions(estimated.notes, "205000 MPa, the slope of the first"));
  data.youngsModulus = 1e3 * kModulus * 1e3;
  EXPECT_TRUE(Mentions(Fit::MakeFlowCurve(data).notes, "is it in the unit of the stress?"));
  data.youngsModulus = kModulus / 1e3;
  try {
    Fit::MakeFlowCurve(data);
    ADD_FAILURE() << "GPa pass for MPa";
  } catch (const Fit::Error& error) {
    EXPECT_NE(std::string(error.what()).find("1000 times too small, as if it were in GPa and not in MPa"),
              std::string::npos)
        << error.what();
  }
  // Without its elastic part the curve cannot tell.
  data.youngsModulus = 0.0;
  data.curve.x.erase(data.curve.x.begin(), data.curve.x.begin() + 10);
  data.curve.y.erase(data.curve.y.begin(), data.curve.y.begin() + 10);
  EXPECT_TRUE(Mentions(Fit::MakeFlowCurve(data).notes, "with the 210 GPa of steel"));
}

TEST(FlowCurveFromTest, SaysWhatItCannotConvert) {
  TensileData data = EngineeringTest();
  data.youngsModulus = 0.0;
  for (double& x : data.curve.x) x *= 100.0;
  EXPECT_TRUE(Mentions(Fit::MakeFlowCurve(data).notes, "look like percent"));
  data.strain = Fit::StrainMeasure::Plastic;
  EXPECT_EQ(KindOf([&] { Fit::MakeFlowCurve(data); }), ErrorKind::BadInput);
  data.stress = Fit::StressMeasure::True;
  data.youngsModulus = kModulus;
  EXPECT_EQ(KindOf([&] { Fit::MakeFlowCurve(data); }), ErrorKind::BadInput);
  data.youngsModulus = -1.0;
  EXPECT_EQ(KindOf([&] { Fit::MakeFlowCurve(data); }), ErrorKind::BadInput);
  data.youngsModulus = 0.0;
  data.proofStrain = std::nan("");
  EXPECT_EQ(KindOf([&] { Fit::MakeFlowCurve(data); }), ErrorKind::BadInput);
  data.proofStrain = 0.0;
  data.curve.x.assign(data.curve.x.size(), -0.1);
  EXPECT_EQ(KindOf([&] { Fit::MakeFlowCurve(data); }), ErrorKind::BadData);
}

const Fit::Hardening kSteel{"ghosh", {518.968, 0.0007648, 0.28985, 0.0}, {}};

TEST(LimitCurve, DefaultsAreSafe) {
  const Fit::FormingLimit limit = Fit::ComputeFormingLimit(kSteel, {});
  EXPECT_EQ(limit.settings.paths, 41);
  ExpectDigits(limit.settings.tolerance, 0.01, Tolerance::Rounding);
  EXPECT_EQ(limit.majorStrain.size(), 41u);
  EXPECT_EQ(limit.minorStrain[limit.planeStrain], 0.0);
  EXPECT_NEAR(limit.PlaneStrainLimit(), 0.28985, 3e-3);
  EXPECT_TRUE(limit.notes.empty());
  EXPECT_TRUE(std::is_sorted(limit.minorStrain.begin(), limit.minorStrain.end()));
  EXPECT_EQ(Fit::LimitAt(limit, 0.0), limit.PlaneStrainLimit());
  EXPECT_NEAR(Fit::LimitAt(limit, 0.1), 0.40, 0.02);
  EXPECT_TRUE(std::isnan(Fit::LimitAt(limit, 0.9)));
  // A small r moves plane strain towards uniaxial tension: the left side still gets its points.
  EXPECT_GE(Fit::ComputeFormingLimit(kSteel, {"hill1979", 0.1, 2.0}).planeStrain, 6u);
}

/// Swift's law with a ratio phi of major to flow stress: s1 = ds1/de1 at e1 = n - e0/phi; phi = 2/sqrt(3) for von
/// Mises, (1 + r)/sqrt(1 + 2r) for Hill's criterion with m = 2.
TEST(LimitCurve, PlaneStrainStandsWhereItsConditionPutsItWhateverTheSettings) {
  const double hill = (1 + 1.7) / std::sqrt(1 + 2 * 1.7);
  for (const double increment : {1e-4, 2e-3}) {
    for (const int paths : {21, 41, 101}) {
      const Fit::FormingLimitSettings settings{paths, increment, 0.0};
      ExpectNear(Fit::ComputeFormingLimit(kSteel, {}, settings).PlaneStrainLimit(),
                 0.28985 - 0.0007648 / (2 / std::sqrt(3.0)), Tolerance::Rounding);
      ExpectNear(Fit::ComputeFormingLimit(kSteel, {"hill1979", 1.7, 2.0}, settings).PlaneStrainLimit(),
                 0.28985 - 0.0007648 / hill, Tolerance::Rounding);
    }
  }
  // Prestrained beyond its limit, and hardening for ever.
  EXPECT_EQ(Fit::PlaneStrainLimit({"swift", {500.0, 0.3, 0.2}, {}}, {}), 0.0);
  EXPECT_TRUE(std::isnan(Fit::PlaneStrainLimit({"swift", {500.0, 0.0, 40.0}, {}}, {})));
}

TEST(LimitCurve, NotesTellWhatIsDoubtful) {
  Fit::FormingLimitSettings settings;
  settings.tolerance = 0.004;
  EXPECT_TRUE(Mentions(Fit::ComputeFormingLimit(kSteel, {}, settings).notes, "half the square root"));
  settings.increment = 3e-3;
  settings.tolerance = 1e-3;
  settings.paths = 41;
  EXPECT_TRUE(Mentions(Fit::ComputeFormingLimit(kSteel, {}, settings).notes, "jumped across plane strain"));
  EXPECT_TRUE(
      Mentions(Fit::ComputeFormingLimit(kSteel, {"hill1979", 2.0, 2.5}).notes, "equibiaxial path has no limit"));
  const Fit::Result plateau = Fit::FitHardening("hockett-sherby", Sgcc("00"));
  Fit::Hardening flat{"hockett-sherby", {}, {}};
  for (const auto& parameter : plateau.parameters) flat.constants.push_back(parameter.value);
  EXPECT_TRUE(Mentions(Fit::ComputeFormingLimit(flat, {}).notes, "starts flat"));
}

TEST(LimitCurve, TablesAreSortedAndJudged) {
  Fit::Hardening table{"table", {}, {}};
  table.table.name = "rows";
  for (int i = 200; i >= 0; --i) {
    table.table.x.push_back(0.005 * i);
    table.table.y.push_back(Fit::FlowStress(kSteel, 0.005 * i));
  }
  const Fit::FormingLimit limit = Fit::ComputeFormingLimit(table, {});
  EXPECT_NEAR(limit.PlaneStrainLimit(), 0.28985, 5e-3);
  EXPECT_TRUE(Mentions(limit.notes, "continued straight on")) << limit.largestStrain;
  table.table.y[100] += 3.0;
  EXPECT_TRUE(Mentions(Fit::ComputeFormingLimit(table, {}).notes, "slope of the table"));
  table.table.x[100] = table.table.x[101];
  EXPECT_EQ(KindOf([&] { Fit::ComputeFormingLimit(table, {}); }), ErrorKind::BadData);
  table.table.x.resize(1);
  table.table.y.resize(1);
  EXPECT_EQ(KindOf([&] { Fit::ComputeFormingLimit(table, {}); }), ErrorKind::BadData);
}

TEST(LimitCurve, RefusesWhatMakesNoSense) {
  struct Case {
    Fit::Hardening hardening;
    Fit::YieldCriterion yield;
    Fit::FormingLimitSettings settings;
  };
  for (const Case& c :
       {Case{{"ghosh", {500.0, 0.01, 0.2}, {}}, {}, {}}, Case{{"ghosh", {500.0, -0.01, 0.2, 0.0}, {}}, {}, {}},
        Case{{"hockett-sherby", {100.0, 200.0, std::nan(""), 0.5}, {}}, {}, {}},
        Case{kSteel, {"hill1979", 0.0, 2.0}, {}}, Case{kSteel, {"hill1979", 1.0, 1.0}, {}},
        Case{kSteel, {}, {41, 0.0, 0.0}}, Case{kSteel, {}, {41, 1e-4, 2.0}}, Case{kSteel, {}, {1000000, 1e-4, 0.0}}}) {
    EXPECT_EQ(KindOf([&] { Fit::ComputeFormingLimit(c.hardening, c.yield, c.settings); }), ErrorKind::BadInput);
  }
  EXPECT_EQ(Fit::MeanAnisotropy(2.2, 2.0, 2.9), 2.275);
}

}  // namespace
}  // namespace Xem::Testing
