#include <stdexcept>

#include "support/curves.h"
#include "support/every_export.h"
#include "support/fit_curves.h"
#include "xem/fit/cyclic.h"
#include "xem/fit/hyperelastic.h"
#include "xem/fit/sheet_metal.h"
#include "xem/fit/soil.h"
#include "xem/fit/viscoelastic.h"

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

std::vector<double> Polynomial() { return Numbers(Fit::FitPolynomial(TreloarData(), 3)); }
std::vector<double> Ogden() { return Numbers(Fit::FitOgden(TreloarData(), 2)); }

std::vector<double> Prony() {
  Fit::RelaxationData data;
  data.curve = FitCurve(BundledCurve("polymer_relaxation.csv", "time_s", "g"));
  return Numbers(Fit::FitProny(data, 3));
}

std::vector<double> Creep() {
  Fit::CreepData data;
  const auto points = BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain", "primary_secondary", "1");
  data.tests.push_back({FitCurve(points), 500.0});
  return Numbers(Fit::FitCreep(data, Fit::CreepTerms::Primary));
}

std::vector<double> Cyclic() {
  Fit::CyclicData data;
  data.stiffness = FitCurve(BundledCurve("vucetic_dobry1991_pi30_stiffness.csv", "shear_strain", "G_over_Gmax"));
  data.damping = FitCurve(BundledCurve("vucetic_dobry1991_pi30_damping.csv", "shear_strain", "damping"));
  return Numbers(Fit::FitCyclic(data, Fit::CyclicFamily::Power));
}

std::vector<double> Hardening() {
  Fit::TensileData data;
  data.curve = FitCurve(BundledCurve("sgcc_flow_curve.csv", "plastic_strain", "true_stress_MPa", "angle_deg", "00"));
  return Numbers(Fit::FitHardening("hockett-sherby", data));
}

std::vector<double> Retention() {
  Fit::RetentionData data;
  data.retention = FitCurve(BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", "4521"));
  return Numbers(Fit::FitRetention(data, "van-genuchten"));
}

void NoArguments(Arguments&) {}
template <std::vector<double> (*fit)()>
std::vector<double> Fitted(Arguments&) {
  return fit();
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
