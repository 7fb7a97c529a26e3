#include "fit/models/cyclic_functions.h"

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <numbers>
#include <utility>

#include "dynamic/cyclic_blocks.h"
#include "dynamic/ghe_law.h"
#include "fit/models/darendeli.h"
#include "solver/linalg/numbers.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;
using namespace CyclicIndex;

CyclicParameters ModelParameters(CyclicFamily family, std::span<const double> parameters) {
  CyclicParameters model{.referenceStrain = parameters[kReferenceStrain]};
  if (family == CyclicFamily::Power) model.exponent = ExponentOfLargestDamping(parameters[kLargestDamping]);
  return model;
}

/// da / dhmax
double ExponentSlope(double largestDamping) {
  const double complement = 2.0 - std::numbers::pi * largestDamping;
  return 4.0 * std::numbers::pi / (complement * complement);
}

MaterialUtil::Comparison OrdinateComparison(CyclicFamily family, CyclicCurve curve) {
  const bool stiffness = curve == CyclicCurve::Stiffness;
  if (family == CyclicFamily::Power) return stiffness ? PowerLawStiffness : PowerLawDamping;
  return stiffness ? HyperbolicStiffness : HyperbolicDamping;
}

MaterialUtil::Comparison ChooseComparison(CyclicFamily family, CyclicCurve curve, CyclicForm form) {
  const auto choose = [curve](ResidualForm core) {
    return curve == CyclicCurve::Stiffness ? StiffnessComparison(MaterialUtil::DynamicFamily::PowerLaw, core)
                                           : DampingComparison(MaterialUtil::DynamicFamily::PowerLaw, core);
  };
  switch (form) {
    case CyclicForm::Ordinate:
      break;
    case CyclicForm::Strain:
      return choose(ResidualForm::Strain);
    case CyclicForm::LogStrain:
      return choose(ResidualForm::LogStrain);
    case CyclicForm::Stress:
      return choose(ResidualForm::Stress);
  }
  return OrdinateComparison(family, curve);
}

const CyclicKernel* ChooseKernel(CyclicFamily family, CyclicCurve curve, CyclicForm form) {
  const bool ordinate = form == CyclicForm::Ordinate;
  const bool power = !ordinate || family == CyclicFamily::Power;
  const auto choose = curve == CyclicCurve::Stiffness ? StiffnessKernel : DampingKernel;
  std::optional<ResidualForm> core;
  if (form == CyclicForm::Strain) core = ResidualForm::Strain;
  if (form == CyclicForm::LogStrain) core = ResidualForm::LogStrain;
  if (form == CyclicForm::Stress) core = ResidualForm::Stress;
  return choose(power ? DynamicFamily::PowerLaw : DynamicFamily::Hyperbolic, core);
}

double StoredAbscissa(CyclicCurve curve, CyclicForm form, const _T_FUNT_BASE& point,
                      std::span<const _T_FUNT_BASE> stiffness) {
  if (form == CyclicForm::LogStrain) return std::log(point.first);
  if (form != CyclicForm::Stress) return point.first;
  return curve == CyclicCurve::Stiffness ? point.first * point.second : NormalisedStressAt(stiffness, point.first);
}

class CyclicFunction final : public BlockTestFunction {
 public:
  CyclicFunction(CyclicFamily family, CyclicCurve curve, CyclicForm form, std::span<const _T_FUNT_BASE> points,
                 std::span<const _T_FUNT_BASE> stiffness)
      : family_(family), comparison_(ChooseComparison(family, curve, form)) {
    Load(points, KeepMeasured(), AsItStands, 2);
    for (std::int32_t i = 0; i < PointCount(); ++i) {
      curve_.abscissa[i] = StoredAbscissa(curve, form, points[i], stiffness);
      curve_.companion[i] = curve_.measured[i];  // the ordinate; what is compared counts as measured
      curve_.measured[i] = Compare({1.0, 1.0, 1.0}, i).observed;
    }
    compared_ = curve_.measured;
    blocks_.Load(ChooseKernel(family, curve, form), curve_.abscissa.Span(), curve_.companion.Span(), FurtherColumn(0),
                 FurtherColumn(1));
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    const CyclicParameters at = ModelParameters(family_, parameters);
    const double slope = family_ == CyclicFamily::Power ? ExponentSlope(parameters[kLargestDamping]) : 0.0;
    if (blocks_.Evaluate(at, first, model, derivatives)) {
      if (static_cast<std::size_t>(derivatives.columns) <= kLargestDamping) return;
      for (double& entry : derivatives.Column(kLargestDamping)) entry *= slope;
      return;
    }
    EvaluateByPoint<2>(
        first, model, derivatives, [&](std::int32_t point) { return Compare(at, point).predicted; },
        [&](std::int32_t point, std::span<double> gradient) {
          const ComparedPoint compared = Compare(at, point);
          gradient[kReferenceStrain] = compared.byReferenceStrain;
          gradient[kLargestDamping] = compared.byExponent * slope;
          return compared.predicted;
        });
  }

 private:
  ComparedPoint Compare(const CyclicParameters& at, std::int32_t point) const {
    return comparison_(at, curve_.abscissa[point], curve_.companion[point]);
  }

  CyclicFamily family_;
  MaterialUtil::Comparison comparison_;
  CyclicBlocks blocks_;
};

/// The generalised equation or its damping, which is a power of 1 - R.
class GheFunction final : public BlockTestFunction {
 public:
  GheFunction(CyclicCurve curve, std::span<const _T_FUNT_BASE> points) : curveKind_(curve) {
    Load(points, KeepMeasured(), AsItStands);
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    derivatives.Fill(0.0);
    for (std::size_t done = 0; done < model.size(); done += kBlock) {
      const std::size_t count = std::min(kBlock, model.size() - done);
      const auto row = static_cast<std::int32_t>(done);
      const auto part = model.subspan(done, count);
      const MatrixView rows = derivatives.Rows(row, static_cast<std::int32_t>(count));
      EvaluateRatios(parameters, first + row, part, rows);
      if (curveKind_ == CyclicCurve::Damping) DampingsOfRatios(parameters, part, rows);
    }
  }

 private:
  static constexpr std::size_t kBlock = 64;
  using Numbers = std::array<double, kBlock>;

  static KernelBlock Block(std::span<double> model, MatrixView derivatives, std::size_t firstColumn) {
    double* const columns = derivatives.Empty() ? nullptr : derivatives.Column(firstColumn).data();
    return {model.size(), model.data(), {columns, derivatives.leadingDimension}};
  }

  void EvaluateRatios(std::span<const double> p, std::int32_t first, std::span<double> model,
                      MatrixView derivatives) const {
    Numbers strains;
    for (std::size_t i = 0; i < model.size(); ++i) {
      strains[i] = curve_.abscissa[first + static_cast<std::int32_t>(i)] / p[kReferenceStrain];
    }
    ForThisProcessor().gheRatios({p.data() + kGheFirst, strains.data()}, Block(model, derivatives, kGheFirst));
  }

  /// The power of the loss has an infinite slope at 0 for an exponent below 1. There the damping is 0 anyway, whatever
  /// the parameters are.
  static void DampingsOfRatios(std::span<const double> p, std::span<double> model, MatrixView derivatives) {
    Numbers losses;
    Numbers logarithms;
    for (std::size_t i = 0; i < model.size(); ++i) {
      const double loss = 1.0 - model[i];
      losses[i] = loss < kNegligible ? 0.0 : loss;
    }
    const Kernels& kernels = ForThisProcessor();
    kernels.log(model.size(), losses.data(), logarithms.data());
    kernels.gheDampings({p[kGheLargestDamping], p[kGheExponent], logarithms.data()},
                        Block(model, derivatives, kGheLargestDamping));
    if (derivatives.Empty()) return;
    Numbers slopes;
    for (std::size_t i = 0; i < model.size(); ++i) {
      slopes[i] = losses[i] == 0.0 ? 0.0 : -model[i] * p[kGheExponent] / losses[i];
    }
    for (std::size_t k = 0; k < kGheParameterCount; ++k) {
      kernels.multiply(model.size(), slopes.data(), derivatives.Column(kGheFirst + k).data());
    }
  }

  CyclicCurve curveKind_;
};

/// Over a function that knows nothing of the last parameter, h_min.
class OverSmallStrainDamping final : public BlockTestFunction {
 public:
  OverSmallStrainDamping(TestFunctionList::value_type inner, CyclicCurve curve)
      : inner_(std::move(inner)), slope_(curve == CyclicCurve::Damping ? 1.0 : 0.0) {
    curve_.abscissa = inner_->Stretch();
    curve_.measured = inner_->Stress();
    compared_ = inner_->Compared();
  }

  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    const std::size_t last = parameters.size() - 1;
    const auto columns = static_cast<std::int32_t>(last);
    inner_->EvaluateBlock(termCount - 1, parameters.first(last), first, model,
                          derivatives.Empty() ? derivatives : derivatives.FirstColumns(columns));
    for (double& value : model) value += slope_ * parameters[last];
    if (!derivatives.Empty()) std::ranges::fill(derivatives.Column(columns), slope_);
  }

 private:
  TestFunctionList::value_type inner_;
  double slope_;
};

double OrdinateWithout(CyclicFamily family, CyclicCurve curve, std::span<const double> parameters, double strain) {
  if (family != CyclicFamily::Ghe) {
    return OrdinateComparison(family, curve)(ModelParameters(family, parameters), strain, 0.0).predicted;
  }
  const double ratio =
      GheRatio(parameters.subspan(kGheFirst, kGheParameterCount), strain / parameters[kReferenceStrain]);
  if (curve == CyclicCurve::Stiffness) return ratio;
  return GheDamping(parameters[kGheLargestDamping], parameters[kGheExponent], 1.0 - ratio);
}

}  // namespace

TestFunctionList::value_type WithSmallStrainDamping(TestFunctionList::value_type function, CyclicCurve curve) {
  return boost::make_shared<OverSmallStrainDamping>(std::move(function), curve);
}

TestFunctionList::value_type MakeCyclicFunction(CyclicFamily family, CyclicCurve curve, CyclicForm form,
                                                std::span<const _T_FUNT_BASE> points,
                                                std::span<const _T_FUNT_BASE> stiffness) {
  return boost::make_shared<CyclicFunction>(family, curve, form, points, stiffness);
}

TestFunctionList::value_type MakeGheFunction(CyclicCurve curve, std::span<const _T_FUNT_BASE> points) {
  return boost::make_shared<GheFunction>(curve, points);
}

double CyclicOrdinate(CyclicFamily family, CyclicCurve curve, std::span<const double> parameters, double strain) {
  if (family == CyclicFamily::Darendeli) return DarendeliOrdinate(curve, parameters, strain);
  const double ordinate = OrdinateWithout(family, curve, parameters, strain);
  const std::size_t smallStrain = SmallStrainDamping(family);
  const bool adds = curve == CyclicCurve::Damping && parameters.size() > smallStrain;
  return adds ? ordinate + parameters[smallStrain] : ordinate;
}

}  // namespace Xem::Fit
