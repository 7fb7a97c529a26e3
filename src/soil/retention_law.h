#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "kernels/kernels.h"
#include "solver/linalg/vector.h"

/// Water retention of unsaturated soil: volumetric water content theta at a matric suction s in kPa.
///
///   van Genuchten (1980)       theta = theta_r + (theta_s - theta_r) Se,  Se = (1 + (alpha s)^n)^(-m)
///                              with m = 1 - 1/n, or with m free
///   Fredlund and Xing (1994)   theta = C theta_s (ln(e + (s/a)^n))^(-m),
///                              C = 1 - ln(1 + s/psi_r) / ln(1 + 10^6/psi_r)
///   Brooks and Corey (1964)    theta = theta_s for s <= psi_b, else theta_r + (theta_s - theta_r) (psi_b/s)^lambda
///
/// At s <= 0 every model is saturated: theta = theta_s, gradient (1, 0, ...). Powers are taken through logarithms, so
/// that no suction, however large, overflows.
namespace Xem::MaterialUtil {

/// Models by the codes of the interface.
enum class RetentionModel : std::int32_t { VanGenuchten = 0, VanGenuchtenFreeM = 1, FredlundXing = 2, BrooksCorey = 3 };

std::optional<RetentionModel> RetentionModelFromCode(std::int32_t code);

inline constexpr std::size_t kMostRetentionParameters = 5;

/// Where each model keeps its parameters: theta_s first, then theta_r where it has one.
inline constexpr std::size_t kSaturatedContent = 0;
inline constexpr std::size_t kResidualContent = 1;
/// psi_r of Fredlund and Xing.
inline constexpr std::size_t kResidualSuction = 4;
inline constexpr double kUsualResidualSuction = 1500.0;  ///< kPa

/// The residual content stays this far below the saturated one.
inline constexpr double kLargestResidualShare = 0.95;

/// One parameter with its admissible range.
struct RetentionParameter {
  const char* name;
  const char* unit;
  double lower;
  double upper;
};
std::span<const RetentionParameter> RetentionParameters(RetentionModel model);

inline bool HasResidualContent(RetentionModel model) { return model != RetentionModel::FredlundXing; }

/// A suction with its logarithm, which is taken once per point; it has no meaning at or below zero.
struct Suction {
  double value = 0.0;
  double log = 0.0;

  Suction() = default;
  explicit Suction(double kPa) : value(kPa), log(kPa <= 0.0 ? 0.0 : std::log(kPa)) {}
};

/// What the contents multiply: Se, for Fredlund and Xing C (ln(e + (s/a)^n))^(-m). Reads no content.
double RetentionShape(RetentionModel model, std::span<const double> parameters, Suction suction);

/// theta, for parameters in the order of RetentionParameters.
double WaterContent(RetentionModel model, std::span<const double> parameters, Suction suction);

/// theta, and its derivatives into `gradient`, one per parameter.
double WaterContentGradient(RetentionModel model, std::span<const double> parameters, Suction suction,
                            std::span<double> gradient);

/// theta at many suctions at once, and its derivatives: RetentionParameters(model).size() columns.
void WaterContents(RetentionModel model, const RetentionArguments& law, const KernelBlock& block);

/// Moves the free entries (mask 0) into their ranges, then theta_r to at most 0.95 theta_s. Held entries are not
/// touched, wherever they are. True when anything was changed.
bool ConstrainRetention(RetentionModel model, const FixedTermMask& mask, std::span<double> parameters);

}  // namespace Xem::MaterialUtil
