#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "support/curves.h"
#include "support/every_export.h"

// What every export does with arguments that make no sense: one outcome each, and nothing that comes back is touched.
namespace Xem::Testing {
namespace {

using A = Arguments;

enum class Outcome {
  Refused,   ///< throws CInvalidArgException
  Singular,  ///< throws LAPACK's complaint
  Ignored,   ///< returns 0
};
using enum Outcome;

struct Bad {
  std::string what;
  std::function<void(A&)> spoil;
  Outcome outcome = Refused;
};
using Cases = std::vector<Bad>;

Cases operator+(Cases some, const Cases& more) {
  some.insert(some.end(), more.begin(), more.end());
  return some;
}

/// One case per value of an argument.
template <class Value>
Cases Each(Value A::*argument, const std::vector<Value>& values, Outcome outcome = Refused) {
  Cases cases;
  for (const Value& value : values) {
    cases.push_back({testing::PrintToString(value), [=](A& a) { a.*argument = value; }, outcome});
  }
  return cases;
}
Cases Each(DoubleArray A::*argument, const std::vector<std::vector<double>>& values, Outcome outcome = Refused) {
  Cases cases;
  for (const auto& value : values) {
    cases.push_back({testing::PrintToString(value), [=](A& a) { Fill(a.*argument, value); }, outcome});
  }
  return cases;
}

/// Numbers of terms outside 0 ... `most`.
Cases Counts(std::int32_t most, std::int32_t A::*count = &A::count) {
  using Limits = std::numeric_limits<std::int32_t>;
  return Each(count, {-1, -4, most + 1, Limits::max(), Limits::min()});
}

/// One entry too few, and none.
Cases Short(DoubleArray A::*array) {
  return {{"one entry too few", [=](A& a) { (a.*array).SetSize((a.*array).GetSize() - 1); }},
          {"no entry", [=](A& a) { (a.*array).RemoveAll(); }}};
}

Cases NoCurve(int curve, Outcome outcome = Refused) {
  return {{"no curve " + std::to_string(curve), [=](A& a) { a.curves[curve].RemoveAll(); }, outcome}};
}

/// The joint fit may have drawn strains into its out-curves before it looks at anything else.
Cases WithoutGrid(Cases cases) {
  for (Bad& bad : cases) {
    bad.spoil = [spoil = bad.spoil](A& a) {
      for (PointArray& curve : a.out) curve.RemoveAll();
      spoil(a);
    };
  }
  return cases;
}

/// More coefficients than a gibibyte holds.
void TooManyPoints(A& a) {
  a.count = 64;
  a.curves[0].SetSize(70'000);
  for (int i = 0; i < 70'000; ++i) a.curves[0][i] = {0.5, 1.0};
}

void TooFewVolumetric(A& a) {
  Fill(a.further, {25.0});
  a.volumetricTerms = 2;
}

void Saturated(A& a) { Fill(a.soil.first, std::vector<_T_FUNT_BASE>{{0, 0.4}, {0, 0.41}}); }

std::map<std::string, Cases> EveryBadArgument() {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Cases noMode = Each(&A::use, {{0, 0, 0, 0}});
  const Cases parameters = Short(&A::parameters);
  const Cases fewSettings = Each(&A::settings, {{0, 2}}, Ignored);
  const Cases stability = Counts(2048) + parameters + Counts(4096, &A::volumetricTerms) +
                          Cases{{"one volumetric coefficient, not two", TooFewVolumetric}};
  const Cases limit =
      Each(&A::settings, {{11, 1e-4},
                          {nan, 1e-4, 0.01},  // paths
                          {-5, 1e-4, 0.01},
                          {1e300, 1e-4, 0.01},
                          {0.5, 1e-4, 0.01},
                          {1, 1e-4, 0.01},
                          {11, 0, 0.01},  // increment
                          {11, 1e-4, 0},  // tolerance
                          {11, 1e-4, 2}}) +
      Each(&A::codes, {{1, 100, 200}, {-1, 101, 200}, {0, 102, 200}, {0, 100, 202}, {0, 100, 299}, {0, 0, 298}},
           Ignored);
  // Flags hold everything when their sum is 2; here it is not.
  const Cases dynamic =
      parameters + Short(&A::flags) + Each(&A::parameters, {{5e-4, 0.24, 0, 0}}) + Each(&A::flags, {{3, 3}}, Singular);
  const Cases generalised = fewSettings + parameters + Short(&A::flags);
  return {
      {"CurveFitting4Polynominal", noMode + Counts(64) + Cases{{"too many points", TooManyPoints}}},
      {"ComputeStress4Polynominal", Counts(64) + parameters},
      {"CurveFitting4Ogden", noMode + Counts(2048)},
      {"ComputeStress4Ogden", Counts(2048) + parameters},
      {"CurveFitting4BlatzKo", noMode},
      {"ComputeStress4BlatzKo", parameters},
      {"CurveFitting4Volume", Counts(4096)},
      {"ComputeStress4Volume", Counts(4096) + parameters},
      {"CheckMaterialStability4Polynomial", stability + Counts(64)},
      {"CheckMaterialStability4Ogden", stability},
      {"CurveFitting4Creep", Each(&A::nullPointer, {0, 1, 2, 3, 4})},
      {"CurveFitting4CreepLMMethod", Each(&A::nullPointer, {0}) +
                                         Each(&A::fitted, {std::vector<double>(6), std::vector<double>(5000)}) +
                                         Each(&A::stress, {1.0, 500.0}, Singular)},
      {"CurveFitting4Relaxation", Counts(2048)},
      {"CurveFitting4PolyConvertRelaxation", noMode + Counts(64) + parameters},
      {"CurveFitting4OgdenConvertRelaxation", noMode + Counts(2048) + parameters},
      {"CurveFitting4BlatzKoConvertRelaxation", noMode + parameters},
      {"FormingLimitCurve", limit + parameters + Short(&A::further) + Each(&A::codes, {{0, 100, 298}}, Ignored)},
      {"FormingLimitCurveCustomHR", limit + NoCurve(0) +
                                        Each(&A::settings, {{3, 1e-4, 0.01}}) +  // one path on the left of plane strain
                                        Cases{{"one point", [](A& a) { a.curves[0].SetSize(1); }}} +
                                        Each(&A::codes, {{1, 100, 298}, {0, 100, 200}, {0, 100, 201}}, Ignored)},
      {"InitialDynamicMatParameters", Each(&A::settings, {{0}}) + Each(&A::flags, {{}}) + Each(&A::fitted, {{}})},
      {"ModifyDynamicMatParameters", Each(&A::flags, {{}}) + Each(&A::fitted, {{}})},
      {"CurveFitting4DynamicMatShearStiff",
       dynamic + fewSettings + NoCurve(0, Singular) + Each(&A::settings, {{1, 2, 1}}, Singular)},
      {"CurveFitting4DynamicMatDamping", dynamic + fewSettings + NoCurve(0)},
      {"CurveFitting4DynamicMatParameters",
       WithoutGrid(dynamic + Short(&A::further) + Each(&A::further, {{1e-6, 1e-7}}) + Each(&A::settings, {{0, 2}}) +
                   NoCurve(0) + NoCurve(1)) +
           Cases{{"short damping out-curve", [](A& a) { a.out[1].SetSize(7); }}}},
      {"CurveFitting4GHEModel6Parameters", generalised},
      {"CurveFitting4GHEModelDamping", generalised + Each(&A::settings, {{1, 0, 1}})},  // without the model
      {"CurveFitting4UnsaturatedSoil",
       Each(&A::settings, {{}, {0, 0}, {9, 0, 1}, {0, 5, 1}}, Ignored) +
           Each(&A::settings, {{0, 0, 1, -1, 0, 0, 0, 0, 0, 1}}) +  // a held parameter without a value
           Cases{{"no suction", Saturated, Singular}}},
  };
}

Outcome OutcomeOf(const Call& row, Arguments& arguments) {
  try {
    EXPECT_EQ(row.call(arguments).front(), 0.0);
    return Ignored;
  } catch (const CInvalidArgException&) {
    return Refused;
  } catch (int) {
    return Singular;
  }
}

/// Leaves something in what comes back that can be told from an answer; sizes stay where they mean something.
void Mark(Arguments& arguments) {
  for (DoubleArray* array : {&arguments.fitted, &arguments.measures}) {
    if (array->IsEmpty()) array->Add(42.0);
  }
  for (PointArray& curve : arguments.out) {
    for (std::int64_t i = 0; i < curve.GetSize(); ++i) curve[i].second = 42.0;
  }
  arguments.soilOut.second.Add({42.0, 42.0});
  arguments.report += L"= 42";
  arguments.determination = 42.0;
}

TEST(BadArguments, HaveOneOutcomeAndTouchNothing) {
  const auto table = EveryBadArgument();
  for (const Call& row : EveryExport()) {
    ASSERT_EQ(table.count(row.name), 1U) << row.name;
    EXPECT_NO_THROW(row.run()) << row.name;
    for (const Bad& bad : table.at(row.name)) {
      SCOPED_TRACE(std::string(row.name) + ": " + bad.what);
      Arguments arguments;
      row.prepare(arguments);
      Mark(arguments);
      bad.spoil(arguments);
      const std::vector<double> before = Results(arguments);
      EXPECT_EQ(OutcomeOf(row, arguments), bad.outcome);
      EXPECT_EQ(Results(arguments), before);
    }
  }
}

}  // namespace
}  // namespace Xem::Testing
