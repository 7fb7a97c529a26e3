#include "stability/report.h"

#include <algorithm>
#include <cwchar>

#include "solver/linalg/numbers.h"

namespace Xem::MaterialUtil {
namespace {

struct ReportLine {
  const wchar_t* label;
  const wchar_t* phrase;
  double StabilityLimits::*limit;
};

constexpr const wchar_t* kTension = L"unstable at a nominal strain larger than = ";
constexpr const wchar_t* kCompression = L"unstable at a nominal strain less than   = ";

// Hosts parse these lines: spelling and inner spaces stay as they are.
constexpr ReportLine kReportLines[] = {
    {L"Uniaxial   tension     : ", kTension, &StabilityLimits::uniaxialTension},
    {L"Uniaxial   compression : ", kCompression, &StabilityLimits::uniaxialCompression},
    {L"Equbiaxial tension     : ", kTension, &StabilityLimits::equibiaxialTension},
    {L"Equbiaxial compression : ", kCompression, &StabilityLimits::equibiaxialCompression},
    {L"Pure shear tension     : ", kTension, &StabilityLimits::pureShearTension},
    {L"Pure shear compression : ", kCompression, &StabilityLimits::pureShearCompression},
};

std::wstring FourDecimals(double value) {
  wchar_t buffer[32];
  const int length = std::swprintf(buffer, 32, L"%.4f", value);
  return {buffer, buffer + std::max(length, 0)};
}

}  // namespace

std::wstring WriteStabilityReport(const StabilityLimits& limits) {
  std::wstring text;
  bool unstable = false;
  for (const ReportLine& line : kReportLines) {
    const double limit = limits.*line.limit;
    unstable = unstable || limit != 0.0;
    text += line.label;
    text += IsNegligible(limit) ? L"stable \n" : line.phrase + FourDecimals(limit) + L" \n";
  }
  if (unstable) text += L"\nUNSTABLE  HYPERELASTIC  MATERIAL\n";
  return text;
}

StabilityReport ReportStability(XemMaterialStabilityBase& model, std::span<const double> parameters,
                                std::span<const double> volumetric, double lower, double upper) {
  model.SetParameters(parameters, volumetric);
  model.CheckStability(lower, upper);
  return {model.Limits(), WriteStabilityReport(model.Limits())};
}

StabilityReport ReportPolynomialStability(std::int32_t order, std::span<const double> coefficients,
                                          std::span<const double> volumetric, double lower, double upper) {
  XemMaterialStabilityPolynomial checker(order);
  return ReportStability(checker, coefficients, volumetric, lower, upper);
}

StabilityReport ReportOgdenStability(std::int32_t terms, std::span<const double> pairs,
                                     std::span<const double> volumetric, double lower, double upper) {
  XemMaterialStabilityOgden checker(terms);
  return ReportStability(checker, pairs, volumetric, lower, upper);
}

StabilityReport ReportBlatzKoStability(double modulus, double lower, double upper) {
  XemMaterialStabilityBlatzKo checker;
  return ReportStability(checker, {&modulus, 1}, {}, lower, upper);
}

}  // namespace Xem::MaterialUtil
