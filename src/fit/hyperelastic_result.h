#pragma once

#include <functional>
#include <span>
#include <string>

#include "fit/hyperelastic_curves.h"
#include "stability/report.h"
#include "xem/fit/hyperelastic.h"

/// What every hyperelastic result carries: volumetric data fitted alongside, initial moduli and the stability report.
namespace Xem::Fit {

/// Options by the model that they concern: those named after volumetric coefficients go to the volumetric fit when
/// there are volumetric data.
struct SplitOptions {
  Options model;
  Options volumetric;
};
SplitOptions SplitByModel(const HyperelasticData& data, const Options& options);

/// The report of a fitted model for given volumetric coefficients.
using StabilityCheck = std::function<MaterialUtil::StabilityReport(std::span<const double> volumetric)>;

/// Completes the result of an incompressible model: fits the volumetric data, if any, else assumes a Poisson ratio of
/// 0.495; adds moduli, stability and the notes of the screening.
void CompleteIncompressible(const HyperelasticData& data, const HyperelasticCurves& screened, const Options& volumetric,
                            double shearModulus, const StabilityCheck& check, Result& result);

/// Strains between which a model is scanned.
struct ScanRange {
  double lower = 0.0;
  double upper = 0.0;
};
/// Throws Error (BadInput) unless the strains lie around 0. A limit of 0 asks for nothing on its side.
ScanRange MakeScanRange(double lower, double upper);

/// In the words of the fit layer. Throws Error (NotConverged) when the eigenvalues of a tangent cannot be computed.
Stability ToStability(const std::function<MaterialUtil::StabilityReport()>& report);

/// Volumetric coefficients for a stability check: those given, or the default of the shear modulus.
std::vector<double> VolumetricOrDefault(const std::vector<double>& volumetric, double shearModulus);

}  // namespace Xem::Fit
