// The fit layer: as many Prony terms as a relaxation curve supports, from raw moduli.
#include <xem/fit/viscoelastic.h>

#include <cmath>
#include <cstdio>

int main() {
  Xem::Fit::RelaxationData data;
  data.normalise = Xem::Fit::Normalise::Free;  // the instantaneous modulus is a parameter, E0
  data.modulusUnit = "MPa";
  data.timeUnit = "s";
  for (double time = 0.001; time < 1000.0; time *= 1.6) {  // 12 MPa: a quarter relaxes at 0.1 s, a quarter at 20 s
    data.curve.x.push_back(time);
    data.curve.y.push_back(6.0 + 3.0 * std::exp(-time / 0.1) + 3.0 * std::exp(-time / 20.0));
  }
  try {
    const Xem::Fit::Result fit = Xem::Fit::FitProny(data, Xem::Fit::kAutomaticTerms);
    for (const Xem::Fit::Parameter& p : fit.parameters)
      std::printf("%-5s %9.4f %s\n", p.name.c_str(), p.value, p.unit.c_str());
    for (const std::string& note : fit.notes) std::printf("note: %s\n", note.c_str());
    const double longTerm = fit.derived.at("long_term_modulus");
    std::printf("long-term modulus %.3f MPa\n", longTerm);
    return fit.terms == 2 && std::fabs(longTerm - 6.0) < 1e-6 ? 0 : 1;
  } catch (const Xem::Fit::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
