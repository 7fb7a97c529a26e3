#include "testfunctions/scaled_test_function.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

void MultiplyColumns(MatrixView columns, std::span<const double> factors) {
  for (std::int32_t k = 0; k < columns.columns; ++k) {
    ForThisProcessor().multiply(factors.size(), factors.data(), columns.Column(k).data());
  }
}

}  // namespace

ScaledTestFunction::ScaledTestFunction(boost::shared_ptr<XemMaterialTestFunctionBase> inner, Vector factors,
                                       Vector compared)
    : inner_(std::move(inner)), factors_(std::move(factors)) {
  curve_.abscissa = inner_->Stretch();
  curve_.measured = inner_->Stress();
  compared_ = std::move(compared);
  plain_ = std::ranges::all_of(factors_.Span(), [](double factor) { return factor == 1.0; });
}

bool ScaledTestFunction::EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const {
  return inner_->EnforceParameterConstraints(termCount, parameters);
}

void ScaledTestFunction::LinearDesignRows(std::span<const double> nonlinear, MatrixView rows) const {
  inner_->LinearDesignRows(nonlinear, rows);
  MultiplyColumns(rows, factors_);
}

void ScaledTestFunction::Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                                  std::span<double> model, MatrixView derivatives) const {
  inner_->EvaluateBlock(termCount, parameters, first, model, derivatives);
  if (plain_) return;
  const auto factors = factors_.Span().subspan(first, model.size());
  ForThisProcessor().multiply(factors.size(), factors.data(), model.data());
  MultiplyColumns(derivatives, factors);
}

}  // namespace Xem::MaterialUtil
