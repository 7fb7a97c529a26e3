#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>
#include <vector>

#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"
#include "testdata/curve.h"
#include "testfunctions/block_operations.h"

namespace Xem::MaterialUtil {

/// What the solver fits: one curve and a model that, for given parameters, supplies measured value, model value and
/// gradient at every point. The eleven virtual operations stand in slot order; a concrete class overrides a few of
/// them.
///
/// `termCount` is the model's size as the class understands it (terms of a series, or parameters). The solver asks for
/// blocks of points: a class that has block operations hands itself to the constructor, others are asked point by
/// point.
class XemMaterialTestFunctionBase {
 public:
  virtual void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options);
  /// Moves the parameters into the admissible region; true when anything was changed.
  virtual bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const;
  virtual void SetTestData3(const Point3Array& points);
  virtual void SetTestData(const PointArray& points);
  /// Loads a curve with a companion curve, for models that need both.
  virtual void SetTestData(std::span<const _T_FUNT_BASE> points, std::span<const _T_FUNT_BASE> companion);
  virtual void SetTestData3(std::span<const _T_FUNT_BASE3> points);
  virtual void SetTestData(std::span<const _T_FUNT_BASE> points);
  /// Derivatives of the model value with respect to every parameter, into `gradient`, which the caller has cleared.
  virtual void ParameterGradient(std::int32_t termCount, std::span<const double> parameters, std::int32_t point,
                                 std::span<double> gradient) const = 0;
  virtual void EvaluatePoint(std::int32_t termCount, std::span<const double> parameters, std::int32_t point,
                             double& measured, double& model) const = 0;
  /// For given nonlinear parameters: the response to a unit coefficient of each term, a row per point.
  virtual void LinearDesignRows(std::span<const double> nonlinear, MatrixView rows) const;
  /// Writes fitted parameters as the user knows them, and model values at the abscissae of `curve`.
  virtual void Output(std::span<const double> parameters, std::span<double> fitted,
                      std::span<_T_FUNT_BASE> curve) const;

  /// Measured and model values of points first ... first + measured.size() - 1.
  void EvaluateBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                     std::span<double> measured, std::span<double> model) const;
  /// The same with gradients: row by row, parameters.size() entries each, not cleared by the caller.
  void GradientBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                     std::span<double> measured, std::span<double> model, std::span<double> gradients) const;

  std::int32_t PointCount() const { return curve_.PointCount(); }
  const Vector& Stretch() const { return curve_.stretch; }
  /// Measured values, one per point.
  const Vector& Stress() const { return curve_.stress; }

 protected:
  /// `blocks` is the object itself where its class has block operations.
  explicit XemMaterialTestFunctionBase(const BlockOperations* blocks = nullptr) : blocks_(blocks) {}
  // A copy would ask the original for its blocks.
  XemMaterialTestFunctionBase(const XemMaterialTestFunctionBase&) = delete;
  XemMaterialTestFunctionBase& operator=(const XemMaterialTestFunctionBase&) = delete;
  ~XemMaterialTestFunctionBase() = default;

  Curve curve_;

 private:
  const BlockOperations* blocks_;
};

using TestFunctionList = std::vector<boost::shared_ptr<XemMaterialTestFunctionBase>>;

}  // namespace Xem::MaterialUtil
