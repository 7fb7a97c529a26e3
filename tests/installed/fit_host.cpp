// Uses the installed fit layer only.
#include <xem/fit/hyperelastic.h>

#include <cstdio>

static_assert(__cplusplus >= 201703L, "the target asks for the standard that the fit layer needs");

int main() {
  Xem::Fit::HyperelasticData data;
  data.uniaxial.x = {0.1, 0.3, 0.6, 1.0, 1.5};
  data.uniaxial.y = {0.27, 0.71, 1.20, 1.75, 2.36};
  const Xem::Fit::Result result = Xem::Fit::FitPolynomial(data, 1);
  try {
    Xem::Fit::FitPolynomial(data, 99);
    return 1;
  } catch (const Xem::Fit::Error& error) {
    if (error.Kind() != Xem::Fit::ErrorKind::BadInput) return 1;
  }
  std::printf("fit host: C10 = %.4f +- %.4f\n", result.Value("C10"), result.parameters[0].standardError);
  return result.measures.r2 > 0.99 ? 0 : 1;
}
