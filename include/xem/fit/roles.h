#ifndef XEM_FIT_ROLES_H
#define XEM_FIT_ROLES_H

#include <cmath>
#include <cstddef>
#include <string_view>

/// @file
/// What the columns of an input file can be, and the names by which they are known: the one place to add a role.
namespace Xem::Fit {

/// A column name without its unit suffix. The quantity is what the column holds plus `offset`, turned by `convert`;
/// `unit` is that of a name which says it without a suffix.
struct AcceptedName {
  std::string_view name;
  double offset = 0.0;
  std::string_view unit = "";
  double (*convert)(double) = nullptr;
  bool exactCase = false;  ///< where the case of a letter tells quantities apart: g is a ratio, G a modulus
};

inline double CubeRoot(double volumeRatio) { return std::cbrt(volumeRatio); }

/// The names of a role, best first.
class AcceptedNames {
 public:
  template <std::size_t Count>
  constexpr AcceptedNames(const AcceptedName (&names)[Count]) : first_(names), count_(Count) {}
  constexpr const AcceptedName* begin() const { return first_; }
  constexpr const AcceptedName* end() const { return first_ + count_; }

 private:
  const AcceptedName* first_;
  std::size_t count_;
};

struct Role {
  std::string_view name;  ///< in messages and in `--column name=COLUMN`
  AcceptedNames accepted;
};

namespace Names {
inline constexpr AcceptedName kStrain[] = {{"nominal_strain"},     {"engineering_strain"}, {"strain"},
                                           {"tensile_strain"},     {"axial_strain"},       {"stretch", -1.0},
                                           {"stretch_ratio", -1.0}};
inline constexpr AcceptedName kShearStrain[] = {{"shear_strain"}, {"gamma"}, {"strain"}, {"nominal_strain"}};
inline constexpr AcceptedName kStress[] = {{"nominal_stress"}, {"engineering_stress"}, {"stress"},
                                           {"shear_stress"},   {"tensile_stress"},     {"axial_stress"}};
inline constexpr AcceptedName kLateralStrain[] = {
    {"lateral_strain"}, {"transverse_strain"}, {"lateral_stretch", -1.0}, {"transverse_stretch", -1.0}};
inline constexpr AcceptedName kLinearStretch[] = {
    {"linear_stretch"}, {"stretch"}, {"volume_ratio_J", 0.0, "", CubeRoot}, {"volume_ratio", 0.0, "", CubeRoot}};
inline constexpr AcceptedName kPressure[] = {{"pressure"}, {"hydrostatic_pressure"}};
inline constexpr AcceptedName kTime[] = {{"time"}, {"t"}};
inline constexpr AcceptedName kModulusRatio[] = {{"g", 0.0, "", nullptr, true},
                                                 {"relative_modulus"},
                                                 {"normalised_modulus"},
                                                 {"relaxation_modulus"},
                                                 {"modulus"},
                                                 {"E_relax"},
                                                 {"E"},
                                                 {"G", 0.0, "", nullptr, true},
                                                 {"stress"}};
inline constexpr AcceptedName kFrequency[] = {{"frequency"}, {"freq"}, {"f"}};
inline constexpr AcceptedName kOmega[] = {
    {"omega", 0.0, "rad/s"}, {"angular_frequency", 0.0, "rad/s"}, {"w", 0.0, "rad/s"}, {"\u03c9", 0.0, "rad/s"}};
inline constexpr AcceptedName kStorage[] = {{"storage"},   {"storage_modulus"}, {"E_stor"},  {"G_stor"},
                                            {"E_storage"}, {"G_storage"},       {"E'"},      {"G'"},
                                            {"E\u2032"},   {"G\u2032"},         {"E_prime"}, {"G_prime"}};
inline constexpr AcceptedName kLoss[] = {
    {"loss"}, {"loss_modulus"}, {"E_loss"},  {"G_loss"},         {"E''"},           {"G''"}, {"E\""},
    {"G\""},  {"E\u2033"},      {"G\u2033"}, {"E_double_prime"}, {"G_double_prime"}};
inline constexpr AcceptedName kTemperature[] = {{"temperature"}, {"temp"}, {"T", 0.0, "", nullptr, true}};
inline constexpr AcceptedName kSet[] = {{"set"}, {"sweep"}};
inline constexpr AcceptedName kCreepStrain[] = {{"creep_strain"}, {"creep"}, {"strain"}};
inline constexpr AcceptedName kStiffnessRatio[] = {{"G_over_Gmax"},       {"G/Gmax"},         {"G_over_G0"}, {"G/G0"},
                                                   {"modulus_reduction"}, {"stiffness_ratio"}};
inline constexpr AcceptedName kDamping[] = {{"damping_ratio"}, {"damping"}};
inline constexpr AcceptedName kTensileStrain[] = {
    {"plastic_strain"}, {"true_plastic_strain"}, {"equivalent_plastic_strain"},
    {"true_strain"},    {"logarithmic_strain"},  {"engineering_strain"},
    {"nominal_strain"}, {"stretch", -1.0},       {"strain"}};
inline constexpr AcceptedName kTensileStress[] = {{"true_stress"},        {"cauchy_stress"},  {"flow_stress"},
                                                  {"engineering_stress"}, {"nominal_stress"}, {"stress"}};
inline constexpr AcceptedName kFlowStrain[] = {
    {"plastic_strain"}, {"true_plastic_strain"}, {"equivalent_plastic_strain"}, {"strain"}};
inline constexpr AcceptedName kFlowStress[] = {{"true_stress"}, {"cauchy_stress"}, {"flow_stress"}, {"stress"}};
inline constexpr AcceptedName kMinorStrain[] = {{"minor_strain"}, {"minor"}, {"e2"}, {"eps2"}};
inline constexpr AcceptedName kMajorStrain[] = {{"major_strain"}, {"major"}, {"e1"}, {"eps1"}};
inline constexpr AcceptedName kSuction[] = {{"suction"}, {"matric_suction"}, {"tension"}, {"pressure_head"},
                                            {"psi"},     {"pF", 0.0, "pF"}};
inline constexpr AcceptedName kWaterContent[] = {{"theta"}, {"volumetric_water_content"}, {"water_content"}};
inline constexpr AcceptedName kSaturation[] = {{"saturation"}, {"degree_of_saturation"}};
inline constexpr AcceptedName kDiameter[] = {{"diameter"},   {"particle_size"}, {"grain_size"},
                                             {"sieve_size"}, {"sieve"},         {"size"}};
inline constexpr AcceptedName kPassing[] = {{"passing"},         {"finer"},          {"fraction_passing"},
                                            {"percent_passing"}, {"mass_passing"},   {"fraction_finer"},
                                            {"percent_finer"},   {"cumulative_mass"}};
inline constexpr AcceptedName kForce[] = {{"force"},       {"load"},       {"standard_force"},
                                          {"axial_force"}, {"axial_load"}, {"F", 0.0, "", nullptr, true}};
inline constexpr AcceptedName kExtension[] = {{"extension"},          {"elongation"}, {"displacement"},
                                              {"axial_displacement"}, {"crosshead"},  {"crosshead_displacement"},
                                              {"crosshead_travel"},   {"travel"},     {"stroke"}};
inline constexpr AcceptedName kTrueStrain[] = {{"true_strain"}, {"logarithmic_strain"}};
inline constexpr AcceptedName kTrueStress[] = {{"true_stress"}, {"cauchy_stress"}};
inline constexpr AcceptedName kStressDeviation[] = {{"stress_std"}};
inline constexpr AcceptedName kPorosity[] = {{"porosity"}};
inline constexpr AcceptedName kParticleDensity[] = {{"particle_density"}};
}  // namespace Names

namespace Roles {
// Hyperelastic models. A stretch becomes a nominal strain; a strain column wins over it.
inline constexpr Role kStrain{"strain", Names::kStrain};
inline constexpr Role kShearStrain{"shear_strain", Names::kShearStrain};
inline constexpr Role kStress{"stress", Names::kStress};
inline constexpr Role kLateralStrain{"lateral_strain", Names::kLateralStrain};
inline constexpr Role kLinearStretch{"linear_stretch", Names::kLinearStretch};
inline constexpr Role kPressure{"pressure", Names::kPressure};

// Viscoelastic models
inline constexpr Role kTime{"time", Names::kTime};
inline constexpr Role kModulusRatio{"g", Names::kModulusRatio};
inline constexpr Role kFrequency{"frequency", Names::kFrequency};
inline constexpr Role kOmega{"omega", Names::kOmega};
inline constexpr Role kStorage{"storage", Names::kStorage};
inline constexpr Role kLoss{"loss", Names::kLoss};
inline constexpr Role kTemperature{"temperature", Names::kTemperature};
inline constexpr Role kSet{"set", Names::kSet};
inline constexpr Role kCreepStrain{"creep_strain", Names::kCreepStrain};

// Cyclic soil behaviour
inline constexpr Role kStiffnessRatio{"G_over_Gmax", Names::kStiffnessRatio};
inline constexpr Role kDamping{"damping", Names::kDamping};

// Sheet metal. The name that a column of a tensile test goes by tells its measure.
inline constexpr Role kTensileStrain{"strain", Names::kTensileStrain};
inline constexpr Role kTensileStress{"stress", Names::kTensileStress};
inline constexpr Role kFlowStrain{"plastic_strain", Names::kFlowStrain};
inline constexpr Role kFlowStress{"flow_stress", Names::kFlowStress};
inline constexpr Role kMinorStrain{"minor_strain", Names::kMinorStrain};
inline constexpr Role kMajorStrain{"major_strain", Names::kMajorStrain};

// Unsaturated soil
inline constexpr Role kSuction{"suction", Names::kSuction};
inline constexpr Role kWaterContent{"theta", Names::kWaterContent};
inline constexpr Role kSaturation{"saturation", Names::kSaturation};
inline constexpr Role kDiameter{"diameter", Names::kDiameter};
inline constexpr Role kPassing{"passing", Names::kPassing};
inline constexpr Role kPorosity{"porosity", Names::kPorosity};
inline constexpr Role kParticleDensity{"particle_density", Names::kParticleDensity};

// Raw records of testing machines
inline constexpr Role kForce{"force", Names::kForce};
inline constexpr Role kExtension{"extension", Names::kExtension};
inline constexpr Role kTrueStrain{"true_strain", Names::kTrueStrain};
inline constexpr Role kTrueStress{"true_stress", Names::kTrueStress};
inline constexpr Role kStressDeviation{"stress_std", Names::kStressDeviation};
}  // namespace Roles

}  // namespace Xem::Fit

#endif
