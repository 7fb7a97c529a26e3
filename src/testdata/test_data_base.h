#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>
#include <vector>

#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"
#include "testdata/curve.h"

namespace Xem::MaterialUtil {

/// One laboratory curve of one kind of test. Models ask it for design rows and stresses and never look at the mode.
/// Virtual operations stand in slot order.
class XemMaterialTestDataBase {
 public:
  virtual void SetTestData3(const Point3Array& points);
  virtual void SetTestData(const PointArray& points);
  virtual void SetTestData3(std::span<const _T_FUNT_BASE3> points);
  virtual void SetTestData(std::span<const _T_FUNT_BASE> points);
  /// Writes the rows of the points from `first` on, as many as `rows` has, one column per free term.
  virtual void AssemblePolynomialRows(std::int32_t order, std::int32_t first, const FixedTermMask& mask,
                                      MatrixView rows) const;
  /// Stress of all terms, fixed or not; `coefficients` must hold them all.
  virtual double PolynomialStress(std::int32_t order, std::span<const double> coefficients, double stretch,
                                  double lateralStretch) const;
  /// The same for the one modulus: `rows` has one column, or none where the modulus is held.
  virtual void AssembleBlatzKoRows(std::int32_t first, MatrixView rows) const;
  virtual double BlatzKoStress(double modulus, double stretch, double lateralStretch) const;
  /// Linearised creep fit; only creep data can do it. `fit` is (a, m, b).
  virtual void FitCreepLaw(std::span<double> fit, const Vector& strains, const Vector& times, double* determination);
  virtual double LateralStretchExponent() const;
  virtual void ComputeLateralStretches();
  /// PolynomialStress at every point.
  virtual void PolynomialStresses(std::int32_t order, std::span<const double> coefficients,
                                  std::span<double> stresses) const;

  std::int32_t PointCount() const { return curve_.PointCount(); }
  const Vector& Stretch() const { return curve_.abscissa; }
  const Vector& Stress() const { return curve_.measured; }
  const Vector& LateralStretch() const { return curve_.companion; }

 protected:
  ~XemMaterialTestDataBase() = default;

  LoadedCurve curve_;
};

using TestDataList = std::vector<boost::shared_ptr<XemMaterialTestDataBase>>;

/// Kept points of all curves together.
std::int32_t PointCount(const TestDataList& list);

}  // namespace Xem::MaterialUtil
