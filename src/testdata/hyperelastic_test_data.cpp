#include "testdata/hyperelastic_test_data.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "testdata/strain_energy.h"

namespace Xem::MaterialUtil {
namespace {

/// Polynomial terms of a few points side by side, so that one instruction serves several of them.
class TermBatch {
 public:
  static constexpr std::size_t kPoints = 32;
  using Values = std::array<double, kPoints>;

  TermBatch(const ModeKinematics& mode, std::int32_t order)
      : mode_(mode), order_(order), powersOf1_(static_cast<std::size_t>(order)), powersOf2_(powersOf1_) {}

  /// Calls visit(term, values) for every term in term order with its stresses at up to kPoints stretches.
  template <class Visit>
  void ForEachTermStress(std::span<const double> stretches, Visit&& visit) {
    if (order_ == 0) return;
    Raise(stretches);
    std::int32_t term = 0;
    ForEachTerm(order_, [&](std::int32_t i, std::int32_t j) {
      Values values;
      for (std::size_t p = 0; p < kPoints; ++p) {
        values[p] = TermStress(
            i, j, StressFactors{w1_[p], w2_[p]}, [&](std::int32_t exponent) { return powersOf1_[exponent][p]; },
            [&](std::int32_t exponent) { return powersOf2_[exponent][p]; });
      }
      visit(term++, std::span<const double>(values).first(stretches.size()));
    });
  }

 private:
  void Raise(std::span<const double> stretches) {
    Values x1{};
    Values x2{};
    for (std::size_t p = 0; p < stretches.size(); ++p) {
      const InvariantExcess excess = mode_.invariants(stretches[p]);
      const StressFactors factors = mode_.factors(stretches[p]);
      x1[p] = excess.i1;
      x2[p] = excess.i2;
      w1_[p] = factors.w1;
      w2_[p] = factors.w2;
    }
    powersOf1_[0].fill(1.0);
    powersOf2_[0].fill(1.0);
    for (std::size_t k = 1; k < powersOf1_.size(); ++k) {
      for (std::size_t p = 0; p < kPoints; ++p) {
        powersOf1_[k][p] = powersOf1_[k - 1][p] * x1[p];
        powersOf2_[k][p] = powersOf2_[k - 1][p] * x2[p];
      }
    }
  }

  const ModeKinematics& mode_;
  std::int32_t order_;
  Values w1_{};
  Values w2_{};
  std::vector<Values> powersOf1_;  // differentiation takes one power away
  std::vector<Values> powersOf2_;
};

/// Calls visit(first, stretches) for as many points at a time as a batch takes.
template <class Visit>
void ForEachBatch(std::span<const double> stretches, Visit&& visit) {
  for (std::size_t first = 0; first < stretches.size(); first += TermBatch::kPoints) {
    visit(first, stretches.subspan(first, std::min(TermBatch::kPoints, stretches.size() - first)));
  }
}

}  // namespace

void XemMaterialTestDataHyperelastic::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::AssemblePolynomialRows(std::int32_t order, std::int32_t first,
                                                             const FixedTermMask& mask, MatrixView rows) const {
  TermBatch batch(mode_, order);
  const auto stretches = std::as_const(curve_.abscissa).Span().subspan(first, rows.rows);
  ForEachBatch(stretches, [&](std::size_t from, std::span<const double> some) {
    std::int32_t column = 0;
    batch.ForEachTermStress(some, [&](std::int32_t term, std::span<const double> values) {
      if (mask[term] == 0) std::ranges::copy(values, rows.Column(column++).subspan(from).begin());
    });
  });
}

void XemMaterialTestDataHyperelastic::PolynomialStresses(std::int32_t order, std::span<const double> coefficients,
                                                         std::span<double> stresses) const {
  TermBatch batch(mode_, order);
  std::ranges::fill(stresses, 0.0);
  ForEachBatch(curve_.abscissa.Span(), [&](std::size_t from, std::span<const double> some) {
    double* sums = stresses.data() + from;
    batch.ForEachTermStress(some, [&](std::int32_t term, std::span<const double> values) {
      for (std::size_t p = 0; p < values.size(); ++p) sums[p] += coefficients[term] * values[p];
    });
  });
}

double XemMaterialTestDataHyperelastic::PolynomialStress(std::int32_t order, std::span<const double> coefficients,
                                                         double stretch, double) const {
  return MaterialUtil::PolynomialStress(mode_, order, coefficients, stretch);
}

void XemMaterialTestDataHyperelastic::AssembleBlatzKoRows(std::int32_t first, MatrixView rows) const {
  if (rows.columns == 0) return;
  for (std::int32_t row = 0; row < rows.rows; ++row) {
    rows(row, 0) = mode_.blatzKo(curve_.abscissa[first + row], curve_.companion[first + row]);
  }
}

double XemMaterialTestDataHyperelastic::BlatzKoStress(double modulus, double stretch, double lateralStretch) const {
  return modulus * mode_.blatzKo(stretch, lateralStretch);
}

void XemMaterialTestDataHyperelastic::ComputeLateralStretches() { curve_.DeriveCompanion(LateralStretchExponent()); }

}  // namespace Xem::MaterialUtil
