#pragma once

#include "fit/models/rubber.h"

namespace Xem::Fit {

inline constexpr int kHighestOrder = 10;

/// The polynomial strain energy; parameters are all coefficients of the order.
extern const RubberLaw kPolynomialLaw;

/// "C10" of the powers (1, 0).
std::string CoefficientName(int order, int i, int j);

/// A fit of the polynomial or of a part of its terms, in closed form.
class PolynomialFit : public RubberFit {
 public:
  PolynomialFit(const HyperelasticData& data, int order, const RubberLaw& law)
      : RubberFit(data, order, law, MaterialUtil::ModelType::Polynomial) {}
  Minimum Minimise() override;
  Minimum RunExport() override;
  std::string ExportRemedy() const override { return "a positive condition limit may help"; }

 protected:
  ~PolynomialFit() = default;
};

}  // namespace Xem::Fit
