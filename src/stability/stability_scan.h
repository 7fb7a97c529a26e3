#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"
#include "stability/principal_tangent.h"
#include "stability/voigt.h"

namespace Xem::MaterialUtil {

/// Nominal strain at which each mode first fails; exactly 0 where it does not within the scan.
struct StabilityLimits {
  double uniaxialCompression = 0.0;
  double equibiaxialCompression = 0.0;
  double pureShearCompression = 0.0;
  double uniaxialTension = 0.0;
  double equibiaxialTension = 0.0;
  double pureShearTension = 0.0;
};

/// Principal stretches of a mode, volume kept.
using IsochoricDeformation = std::array<double, 3> (*)(double stretch);
std::array<double, 3> UniaxialStretches(double stretch);
std::array<double, 3> EquibiaxialStretches(double stretch);
std::array<double, 3> PureShearStretches(double stretch);
inline constexpr std::array<IsochoricDeformation, 3> kScannedModes{UniaxialStretches, EquibiaxialStretches,
                                                                   PureShearStretches};
/// The scan goes outwards in such steps of the nominal strain.
inline constexpr double kScanStep = 0.01;

/// Consecutive states of a scan in one mode, whose principal stretches are the stretch of the mode, the same to the
/// power of `lateralExponent`, and one of these again or, in pure shear, 1.
enum class ScannedMode { Uniaxial, Equibiaxial, PureShear };
inline constexpr std::size_t kScannedAtOnce = 64;
struct ScannedStates {
  ScannedMode mode;
  double lateralExponent;
  std::span<const double> logStretches;
  /// (a^2 + b^2) / (a^2 - b^2) / 2 of the first two principal stretches, and of the first and 1.
  std::span<const double> shearFactors;
  std::span<const double> middleFactors;
};

/// Scans uniaxial, equibiaxial and pure-shear deformations, isochoric, in compression and tension for the first nominal
/// strain at which the tangent is not positive definite (Drucker 1959). Virtual operations stand in slot order.
class XemMaterialStabilityBase {
 public:
  /// Material tangent (6 x 6) and stress (6) at a deformation gradient (3 x 3). The last three arguments have no
  /// meaning; the scan passes 1, 0 and 0.
  virtual void ComputeTangent(const Matrix& deformationGradient, Matrix& tangent, std::span<double> stress,
                              double factor, double zero1, double zero2) const = 0;
  /// Takes the coefficients of the model and of the volumetric energy; throws CInvalidArgException for too few.
  virtual void SetParameters(std::span<const double> coefficients, std::span<const double> volumetric) = 0;

  /// Scans from 1 % strain in steps of 1 % to the limits. A lower limit that is not negative and an upper limit that
  /// is not positive, and NaN for either, mean the widest range; wider ones are cut.
  void CheckStability(double lower, double upper);

  const StabilityLimits& Limits() const { return limits_; }

 protected:
  /// Marks states that are stable by far more than rounding, for which no tangent is computed: a model that can tell
  /// this of many states at once spares most of its scan.
  using MarkClear = void (*)(const XemMaterialStabilityBase& model, const ScannedStates& states, std::span<bool> clear);

  /// `lowest` is the widest lower limit of the model.
  explicit XemMaterialStabilityBase(double lowest, MarkClear markClear = nullptr)
      : lowest_(lowest), markClear_(markClear) {}
  ~XemMaterialStabilityBase() = default;

 private:
  class Probe;
  double Scan(ScannedMode mode, bool tension, double limit, Probe& probe) const;

  double lowest_;
  StabilityLimits limits_;
  MarkClear markClear_;  // not a slot
};

class XemMaterialStabilityPolynomial final : public XemMaterialStabilityBase {
 public:
  explicit XemMaterialStabilityPolynomial(std::int32_t order);
  void ComputeTangent(const Matrix& deformationGradient, Matrix& tangent, std::span<double> stress, double factor,
                      double zero1, double zero2) const override;
  void SetParameters(std::span<const double> coefficients, std::span<const double> volumetric) override;

 private:
  std::int32_t order_;
  Vector coefficients_;
  Vector volumetric_;
};

class XemMaterialStabilityOgden final : public XemMaterialStabilityBase {
 public:
  explicit XemMaterialStabilityOgden(std::int32_t terms);
  void ComputeTangent(const Matrix& deformationGradient, Matrix& tangent, std::span<double> stress, double factor,
                      double zero1, double zero2) const override;
  void SetParameters(std::span<const double> coefficients, std::span<const double> volumetric) override;

 private:
  std::int32_t terms_;
  Vector pairs_;
  Vector volumetric_;
};

/// Any isotropic energy, told by its response to isochoric principal stretches (IsochoricLogarithms) and scanned as
/// deeply as a polynomial; no export asks for it.
class XemMaterialStabilityPrincipal final : public XemMaterialStabilityBase {
 public:
  using Response = PrincipalResponse (*)(std::span<const double> parameters, const std::array<double, 3>& logarithms);

  explicit XemMaterialStabilityPrincipal(Response response);
  void ComputeTangent(const Matrix& deformationGradient, Matrix& tangent, std::span<double> stress, double factor,
                      double zero1, double zero2) const override;
  void SetParameters(std::span<const double> parameters, std::span<const double> volumetric) override;

 private:
  Response response_;
  Vector parameters_;
  Vector volumetric_;
};

/// No export asks for this one; it has a bulk modulus of its own and ignores volumetric coefficients.
class XemMaterialStabilityBlatzKo final : public XemMaterialStabilityBase {
 public:
  XemMaterialStabilityBlatzKo();
  void ComputeTangent(const Matrix& deformationGradient, Matrix& tangent, std::span<double> stress, double factor,
                      double zero1, double zero2) const override;
  void SetParameters(std::span<const double> modulus, std::span<const double> volumetric) override;

 private:
  double modulus_ = 0.0;
};

}  // namespace Xem::MaterialUtil
