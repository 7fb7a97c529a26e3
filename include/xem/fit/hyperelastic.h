#ifndef XEM_FIT_HYPERELASTIC_H
#define XEM_FIT_HYPERELASTIC_H

#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Hyperelastic models from test curves.
namespace Xem::Fit {

/// A further test in a mode of deformation.
struct ReplicateTest {
  std::string mode;  ///< "uniaxial", ...
  Curve curve;
};

/// Test curves of one material: nominal strain (shear strain for simple shear) against nominal stress (shear stress),
/// one unit of stress for all. Empty curves take no part. Their names are "uniaxial", "equibiaxial", "pure_shear",
/// "simple_shear" and "volumetric". Lateral strains are used by the Blatz-Ko model only.
struct HyperelasticData {
  Curve uniaxial;
  Curve equibiaxial;
  Curve pureShear;
  Curve simpleShear;
  Curve volumetric;  ///< linear stretch (cube root of the volume ratio) and pressure, positive in compression
  int volumetricTerms = 1;
  std::string stressUnit;
  /// Further tests in modes above; not volumetric ones. In results they are curves of their own: "uniaxial_2",
  /// "uniaxial_3", ...
  std::vector<ReplicateTest> replicates = {};
};

// What all results of the fits below have in common
//  - `derived` holds the initial "shear_modulus", "bulk_modulus" and "poisson_ratio". The bulk modulus is that of the
//    volumetric data, which are fitted alongside (parameters D1, D2, ..., see FitVolumetric; they have no part in the
//    measures in all); without them an incompressible model is given a Poisson ratio of 0.495.
//  - `stability` is the report on the widest range of strains.
//  - Errors: BadInput for an impossible number of terms or an unknown parameter name, BadData for curves with too few
//    usable points.

/// Fits W = sum C_ij (I1 - 3)^i (I2 - 3)^j, 1 <= i + j <= order (Rivlin 1948), in closed form; order 1 ... 10.
///
/// Parameters are C10, C01, C20, C11, ... in the stress unit. With pure shear or simple shear alone I1 = I2 and only
/// sums of coefficients are determined: these are then reported as not identifiable, and the smallest solution is
/// returned.
XEM_FIT_EXPORT Result FitPolynomial(const HyperelasticData& data, int order, const Options& options = {});

/// Fits W = sum mu_k / alpha_k (l1^alpha_k + l2^alpha_k + l3^alpha_k - 3) (Ogden 1972) with 1 ... 6 terms, from many
/// starting points; more terms never fit worse than fewer.
///
/// Parameters are mu1, alpha1, mu2, alpha2, ...; exponents lie within -30 ... 30. Unless a name is held or started, the
/// terms come in falling order of their part mu alpha / 2 in the shear modulus. Pure shear and simple shear alone do
/// not tell the sign of the exponents; they are then given as positive, with a note.
XEM_FIT_EXPORT Result FitOgden(const HyperelasticData& data, int terms, const Options& options = {});

/// Fits the modulus "mu" of W = mu / 2 (I2 / I3 + 2 sqrt(I3) - 5) (Blatz and Ko 1962), in closed form.
///
/// Lateral strains are those of the curves; a curve that has none takes those of a lateral face free of stress. The
/// volumetric data are not used: the model has a bulk modulus of its own.
XEM_FIT_EXPORT Result FitBlatzKo(const HyperelasticData& data, const Options& options = {});

/// A volumetric curve: linear stretch (cube root of the volume ratio) and pressure, positive in compression.
struct VolumetricData {
  Curve curve;
  std::string pressureUnit;
};

/// Fits U = sum D_k (J - 1)^(2k), k = 1 ... terms (1 ... 6), in closed form. Parameters are D1, D2, ...; `derived`
/// holds the initial "bulk_modulus" 2 D1. The curve of the result is called "volumetric".
XEM_FIT_EXPORT Result FitVolumetric(const VolumetricData& data, int terms, const Options& options = {});

// Stresses and stability of given models. Parameters are in the order of the fits; `mode` is the name of a stress
// curve. They throw Error (BadInput) for a wrong name or count.

/// Nominal stress (shear stress in simple shear) at a nominal strain.
XEM_FIT_EXPORT double PolynomialStress(const std::string& mode, int order, const std::vector<double>& coefficients,
                                       double strain);
XEM_FIT_EXPORT double OgdenStress(const std::string& mode, int terms, const std::vector<double>& pairs, double strain);
/// With a lateral face free of stress.
XEM_FIT_EXPORT double BlatzKoStress(const std::string& mode, double modulus, double strain);
/// Pressure at a linear stretch.
XEM_FIT_EXPORT double VolumetricPressure(int terms, const std::vector<double>& coefficients, double stretch);

/// Strains between which a model is checked; wider limits than the check can serve are cut (-0.6 or, for Ogden models,
/// -0.5, and 9).
inline constexpr double kLowestStrain = -0.6;
inline constexpr double kHighestStrain = 9.0;

/// The stability report of a model. `volumetric` holds D1, D2, ...; empty means a Poisson ratio of 0.495.
XEM_FIT_EXPORT Stability CheckPolynomial(int order, const std::vector<double>& coefficients,
                                         const std::vector<double>& volumetric = {}, double lower = kLowestStrain,
                                         double upper = kHighestStrain);
XEM_FIT_EXPORT Stability CheckOgden(int terms, const std::vector<double>& pairs,
                                    const std::vector<double>& volumetric = {}, double lower = kLowestStrain,
                                    double upper = kHighestStrain);
XEM_FIT_EXPORT Stability CheckBlatzKo(double modulus, double lower = kLowestStrain, double upper = kHighestStrain);
/// The report of any fitted or stored model of rubber, by its name, terms and parameters; D1, D2, ... among these are
/// volumetric coefficients. Throws Error (BadInput) for a result of another family or with too few parameters.
XEM_FIT_EXPORT Stability CheckStability(const Result& stored, double lower = kLowestStrain,
                                        double upper = kHighestStrain);

}  // namespace Xem::Fit

#endif
