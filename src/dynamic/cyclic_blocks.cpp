#include "dynamic/cyclic_blocks.h"

#include <utility>

namespace Xem::MaterialUtil {
namespace {

double Abscissa(double x, double) { return x; }
double TwiceAbscissa(double x, double) { return 2.0 * x; }
double Ordinate(double, double y) { return y; }
double Odds(double, double y) { return 1.0 / y - 1.0; }
double HalfInverse(double, double y) { return 0.5 / y; }

constexpr CyclicKernel kStrains{
    .powerLaw = &Kernels::powerLawStrains, .known = Odds, .ofKnown = &Kernels::log, .factor = HalfInverse};
constexpr CyclicKernel kLogStrains{.powerLaw = &Kernels::powerLawLogStrains,
                                   .known = Odds,
                                   .ofKnown = &Kernels::log,
                                   .factor = HalfInverse,
                                   .ofFactor = &Kernels::log};
constexpr CyclicKernel kRatiosAtStresses{
    .powerLaw = &Kernels::powerLawRatios, .known = TwiceAbscissa, .ofKnown = &Kernels::log};
constexpr CyclicKernel kRatiosAtStrains{
    .powerLaw = &Kernels::powerLawRatiosAtStrains, .known = TwiceAbscissa, .ofKnown = &Kernels::log};
constexpr CyclicKernel kDampingStrains{.powerLaw = &Kernels::powerLawDampingStrains, .factor = Ordinate};
constexpr CyclicKernel kDampingLogStrains{.powerLaw = &Kernels::powerLawDampingLogStrains, .factor = Ordinate};
constexpr CyclicKernel kDampingsAtStresses{
    .powerLaw = &Kernels::powerLawDampings, .known = TwiceAbscissa, .ofKnown = &Kernels::log};
constexpr CyclicKernel kDampingsAtStrains{
    .powerLaw = &Kernels::powerLawDampingsAtStrains, .known = TwiceAbscissa, .ofKnown = &Kernels::log};

constexpr CyclicKernel kHyperbolicRatios{.hyperbolic = &Kernels::hyperbolicRatios, .known = Abscissa};
constexpr CyclicKernel kHyperbolicRatiosOfLogStrains{
    .hyperbolic = &Kernels::hyperbolicRatios, .known = Abscissa, .ofKnown = &Kernels::exp, .logarithmic = true};
constexpr CyclicKernel kHyperbolicDampings{.hyperbolic = &Kernels::hyperbolicDampings, .known = Abscissa};

void Fill(std::span<const double> x, std::span<const double> y, CyclicKernel::OfPoint ofPoint,
          CyclicKernel::Elementary function, Vector& numbers) {
  if (!ofPoint) return;
  for (std::int32_t i = 0; i < numbers.Size(); ++i) numbers[i] = ofPoint(x[i], y[i]);
  if (function) (ForThisProcessor().*function)(numbers.size(), numbers.begin(), numbers.begin());
}

}  // namespace

const CyclicKernel* StiffnessKernel(DynamicFamily family, std::optional<ResidualForm> form) {
  const bool power = family == DynamicFamily::PowerLaw;
  if (!power && family != DynamicFamily::Hyperbolic) return nullptr;
  if (!form) return power ? &kRatiosAtStrains : &kHyperbolicRatios;
  switch (*form) {
    case ResidualForm::Strain:
      return power ? &kStrains : &kHyperbolicRatios;
    case ResidualForm::LogStrain:
      return power ? &kLogStrains : &kHyperbolicRatiosOfLogStrains;
    case ResidualForm::Stress:
      return power ? &kRatiosAtStresses : nullptr;
  }
  return nullptr;
}

const CyclicKernel* DampingKernel(DynamicFamily family, std::optional<ResidualForm> form) {
  if (family == DynamicFamily::Hyperbolic) return &kHyperbolicDampings;  // of x, whatever the form has stored
  if (family != DynamicFamily::PowerLaw) return nullptr;
  if (!form) return &kDampingsAtStrains;
  switch (*form) {
    case ResidualForm::Strain:
      return &kDampingStrains;
    case ResidualForm::LogStrain:
      return &kDampingLogStrains;
    case ResidualForm::Stress:
      return &kDampingsAtStresses;
  }
  return nullptr;
}

void CyclicBlocks::Load(const CyclicKernel* kernel, std::span<const double> x, std::span<const double> y, Vector known,
                        Vector factors) {
  kernel_ = kernel;
  known_ = std::move(known);
  factors_ = std::move(factors);
  if (!kernel_) return;
  Fill(x, y, kernel_->known, kernel_->ofKnown, known_);
  Fill(x, y, kernel_->factor, kernel_->ofFactor, factors_);
}

bool CyclicBlocks::Evaluate(const CyclicParameters& at, std::int32_t first, std::span<double> model,
                            MatrixView derivatives) const {
  const std::int32_t own = kernel_ && kernel_->powerLaw ? 2 : 1;
  if (!kernel_ || (!derivatives.Empty() && derivatives.columns < own)) return false;
  if (derivatives.columns > own) derivatives.Fill(0.0);
  const Kernels& kernels = ForThisProcessor();
  const KernelBlock block{
      model.size(), model.data(), {derivatives.Empty() ? nullptr : derivatives.data, derivatives.leadingDimension}};
  const double* const known = kernel_->known ? known_.begin() + first : nullptr;
  const double* const factors = kernel_->factor ? factors_.begin() + first : nullptr;
  if (kernel_->powerLaw) {
    (kernels.*kernel_->powerLaw)({at.referenceStrain, at.exponent, at.logScale, known, factors}, block);
  } else {
    (kernels.*kernel_->hyperbolic)({at.referenceStrain, known, kernel_->logarithmic ? at.logScale : 1.0}, block);
  }
  return true;
}

}  // namespace Xem::MaterialUtil
