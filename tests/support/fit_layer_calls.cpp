#include "support/curves.h"
#include "support/every_export.h"
#include "support/fit_curves.h"
#include "xem/fit/fit.h"

namespace Xem::Testing {
namespace {

std::vector<double> Numbers(const Fit::Result& result) {
  std::vector<double> numbers;
  for (const Fit::Parameter& parameter : result.parameters) {
    numbers.insert(numbers.end(), {parameter.value, parameter.standardError});
  }
  numbers.insert(numbers.end(), {result.measures.rmse, result.measures.r2});
  return numbers;
}

void NoArguments(Arguments&) {}
template <Fit::Result (*fit)()>
std::vector<double> Fitted(Arguments&) {
  return Numbers(fit());
}

Fit::Result Polynomial() { return Fit::FitPolynomial(TreloarData(), 3); }
Fit::Result Ogden() { return Fit::FitOgden(TreloarData(), 2); }

Fit::Result Prony() {
  Fit::RelaxationData data;
  data.curve = FitCurve(BundledCurve("polymer_relaxation.csv", "time_s", "g"));
  return Fit::FitProny(data, 3);
}

Fit::Result Creep() {
  Fit::CreepData data;
  const auto points = BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain", "primary_secondary", "1");
  data.tests.push_back({FitCurve(points), 500.0});
  return Fit::FitCreep(data, Fit::CreepTerms::Primary);
}

Fit::Result Cyclic() {
  Fit::CyclicData data;
  data.stiffness = FitCurve(BundledCurve("vucetic_dobry1991_pi30_stiffness.csv", "shear_strain", "G_over_Gmax"));
  data.damping = FitCurve(BundledCurve("vucetic_dobry1991_pi30_damping.csv", "shear_strain", "damping"));
  return Fit::FitCyclic(data, Fit::CyclicFamily::Power);
}

Fit::Result Hardening() {
  Fit::TensileData data;
  data.curve = FitCurve(BundledCurve("sgcc_flow_curve.csv", "plastic_strain", "true_stress_MPa", "angle_deg", "00"));
  return Fit::FitHardening("hockett-sherby", data);
}

Fit::Result Retention() {
  Fit::RetentionData data;
  data.retention = FitCurve(BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", "4521"));
  return Fit::FitRetention(data, "van-genuchten");
}

}  // namespace

std::span<const Call> FitLayerCalls() {
  static constexpr Call kRows[] = {
      {"FitPolynomial", NoArguments, Fitted<Polynomial>}, {"FitOgden", NoArguments, Fitted<Ogden>},
      {"FitProny", NoArguments, Fitted<Prony>},           {"FitCreep", NoArguments, Fitted<Creep>},
      {"FitCyclic", NoArguments, Fitted<Cyclic>},         {"FitHardening", NoArguments, Fitted<Hardening>},
      {"FitRetention", NoArguments, Fitted<Retention>},
  };
  return kRows;
}

}  // namespace Xem::Testing
