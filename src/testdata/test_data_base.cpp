#include "testdata/test_data_base.h"

#include <cstddef>

#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

double NominalStretch(double strain) { return strain + 1.0; }

}  // namespace

void XemMaterialTestDataBase::SetTestData3(const Point3Array& points) { SetTestData3(Points(points)); }

void XemMaterialTestDataBase::SetTestData(const PointArray& points) { SetTestData(Points(points)); }

void XemMaterialTestDataBase::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  curve_.Load(points, KeepMeasured(), NominalStretch);
}

void XemMaterialTestDataBase::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), NominalStretch);
}

void XemMaterialTestDataBase::AssemblePolynomialRows(std::int32_t, std::int32_t, const FixedTermMask&,
                                                     MatrixView) const {}

double XemMaterialTestDataBase::PolynomialStress(std::int32_t, std::span<const double>, double, double) const {
  return 0.0;
}

void XemMaterialTestDataBase::AssembleBlatzKoRows(std::int32_t, MatrixView) const {}

double XemMaterialTestDataBase::BlatzKoStress(double, double, double) const { return 0.0; }

void XemMaterialTestDataBase::FitCreepLaw(std::span<double>, const Vector&, const Vector&, double*) {}

double XemMaterialTestDataBase::LateralStretchExponent() const { return 0.0; }

void XemMaterialTestDataBase::ComputeLateralStretches() {}

void XemMaterialTestDataBase::PolynomialStresses(std::int32_t order, std::span<const double> coefficients,
                                                 std::span<double> stresses) const {
  for (std::size_t i = 0; i < stresses.size(); ++i) {
    stresses[i] = PolynomialStress(order, coefficients, curve_.abscissa[i], curve_.companion[i]);
  }
}

std::int32_t PointCount(const TestDataList& list) {
  std::int64_t count = 0;
  for (const auto& data : list) count += data->PointCount();
  if (count > INT32_MAX) throw CInvalidArgException("too many points");
  return static_cast<std::int32_t>(count);
}

}  // namespace Xem::MaterialUtil
