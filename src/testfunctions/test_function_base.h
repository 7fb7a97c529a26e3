#pragma once

#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>
#include <vector>

#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"
#include "testdata/curve.h"
#include "testfunctions/block_evaluation.h"

namespace Xem::MaterialUtil {

/// What the solver fits: one curve and a model that, for given parameters, supplies values and derivatives at its
/// points. The eleven virtual operations stand in slot order; a concrete class derives from BlockTestFunction,
/// evaluates its model there, and overrides a few of these.
///
/// `termCount` is the model's size as the class counts it, which each class says: terms of a series, its order, or
/// parameters. The parameter vector has an entry per parameter, whatever `termCount` is.
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
  /// Derivatives of the model value with respect to every parameter: EvaluateBlock of one point, as published.
  virtual void ParameterGradient(std::int32_t termCount, std::span<const double> parameters, std::int32_t point,
                                 std::span<double> gradient) const final;
  virtual void EvaluatePoint(std::int32_t termCount, std::span<const double> parameters, std::int32_t point,
                             double& measured, double& model) const final;
  /// For given nonlinear parameters: the response to a unit coefficient of each term, a row per point.
  virtual void LinearDesignRows(std::span<const double> nonlinear, MatrixView rows) const;
  /// Writes fitted parameters as the user knows them, and model values at the abscissae of `curve`.
  virtual void Output(std::span<const double> parameters, std::span<double> fitted,
                      std::span<_T_FUNT_BASE> curve) const;

  /// BlockEvaluation::Evaluate of the class.
  void EvaluateBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                     std::span<double> model, MatrixView derivatives = {}) const {
    blocks_.Evaluate(termCount, parameters, first, model, derivatives);
  }

  /// BlockEvaluation::IsLinear of the class.
  bool IsLinearModel() const { return blocks_.IsLinear(); }

  std::int32_t PointCount() const { return curve_.PointCount(); }
  const Vector& Stretch() const { return curve_.abscissa; }
  /// Measured values, one per point.
  const Vector& Stress() const { return curve_.measured; }
  /// What model values are compared with, one per point: the measured values, unless the class says otherwise.
  const Vector& Compared() const { return compared_; }

 protected:
  explicit XemMaterialTestFunctionBase(const BlockEvaluation& blocks) : blocks_(blocks) {}
  // A copy would evaluate the original.
  XemMaterialTestFunctionBase(const XemMaterialTestFunctionBase&) = delete;
  XemMaterialTestFunctionBase& operator=(const XemMaterialTestFunctionBase&) = delete;
  ~XemMaterialTestFunctionBase() = default;

  /// LoadedCurve::Load; the measured values are compared.
  template <class Point, class Keep, class Convert>
  void Load(std::span<const Point> points, Keep keep, Convert convert, std::int32_t further = 0) {
    curve_.Load(points, keep, convert, 1 + further);
    compared_ = curve_.Further(0);
    std::ranges::copy(curve_.measured, compared_.begin());
  }
  /// One of the further columns, see LoadedCurve::Further.
  Vector FurtherColumn(std::int32_t column) { return curve_.Further(1 + column); }

  LoadedCurve curve_;
  Vector compared_;

 private:
  const BlockEvaluation& blocks_;
};

/// What concrete test functions derive from.
class BlockTestFunction : public XemMaterialTestFunctionBase, public BlockEvaluation {
 protected:
  BlockTestFunction() : XemMaterialTestFunctionBase(static_cast<const BlockEvaluation&>(*this)) {}
  ~BlockTestFunction() = default;
};

using TestFunctionList = std::vector<boost::shared_ptr<XemMaterialTestFunctionBase>>;
/// Somebody else's list of them.
using TestFunctions = std::span<const boost::shared_ptr<XemMaterialTestFunctionBase>>;

}  // namespace Xem::MaterialUtil
