#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "dynamic/stiffness_damping_law.h"
#include "kernels/kernels.h"
#include "solver/linalg/matrix.h"

namespace Xem::MaterialUtil {

/// How a kernel serves a form of a cyclic law: what is known of a point with stored abscissa x and ordinate y before
/// there are parameters, and an elementary function that all of these numbers go through.
struct CyclicKernel {
  using OfPoint = double (*)(double x, double y);
  using Elementary = void (*Kernels::*)(std::size_t count, const double* x, double* result);

  void (*Kernels::*powerLaw)(const PowerLawArguments&, const KernelBlock&) = nullptr;
  void (*Kernels::*hyperbolic)(const HyperbolicArguments&, const KernelBlock&) = nullptr;
  OfPoint known = nullptr;  ///< logarithms of the power law, strains of the hyperbola
  Elementary ofKnown = nullptr;
  OfPoint factor = nullptr;
  Elementary ofFactor = nullptr;
  bool logarithmic = false;  ///< compares s ln gamma
};

/// Null where there is no such law. Without a form R or h is compared at the strain x.
const CyclicKernel* StiffnessKernel(DynamicFamily family, std::optional<ResidualForm> form);
const CyclicKernel* DampingKernel(DynamicFamily family, std::optional<ResidualForm> form);

/// A cyclic curve, evaluated many points at a time.
class CyclicBlocks {
 public:
  /// `known` and `factors` are as long as the curve, to be written.
  void Load(const CyclicKernel* kernel, std::span<const double> x, std::span<const double> y, Vector known,
            Vector factors);

  /// Predicted values of points from `first` on and their derivatives by reference strain and exponent; further columns
  /// are 0. False, with nothing written, where no kernel does it: the law has to be asked point by point.
  bool Evaluate(const CyclicParameters& at, std::int32_t first, std::span<double> model, MatrixView derivatives) const;

 private:
  const CyclicKernel* kernel_ = nullptr;
  Vector known_;
  Vector factors_;
};

}  // namespace Xem::MaterialUtil
