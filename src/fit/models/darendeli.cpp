#include "fit/models/darendeli.h"

#include <boost/make_shared.hpp>
#include <cmath>

#include "fit/models/dual.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;
using std::exp;
using std::log;

constexpr std::size_t kCount = 4;
using Sensitive = Dual<kCount>;

/// Damping of the hyperbola's Masing loops, with all digits where the strain is small.
double LoopDamping(double referenceStrain, double strain) {
  return HyperbolicDamping({.referenceStrain = referenceStrain}, strain, 0.0).predicted;
}
Sensitive LoopDamping(const Sensitive& referenceStrain, double strain) {
  const ComparedPoint loops = HyperbolicDamping({.referenceStrain = referenceStrain.value}, strain, 0.0);
  Sensitive damping(loops.predicted);
  for (std::size_t k = 0; k < kCount; ++k) damping.slopes[k] = loops.byReferenceStrain * referenceStrain.slopes[k];
  return damping;
}

/// (gamma/gamma_r)^s
template <class T>
T PowerOfStrain(const T& referenceStrain, const T& exponent, double strain) {
  return exp(exponent * (T(std::log(strain)) - log(referenceStrain)));
}

template <class T>
T ModulusRatio(const T* p, double strain) {
  return T(1.0) / (T(1.0) + PowerOfStrain(p[0], p[1], strain));
}

template <class T>
T DampingRatio(const T* p, double strain) {
  const T& s = p[1];
  const T c1 = (T(-1.1143) * s + T(1.8618)) * s + T(0.2523);
  const T c2 = (T(0.0805) * s + T(-0.0710)) * s + T(-0.0095);
  const T c3 = (T(-0.0005) * s + T(0.0002)) * s + T(0.0003);
  const T d = LoopDamping(p[0], strain);
  const T masing = d * (c1 + T(100.0) * d * (c2 + T(100.0) * d * c3));
  return p[3] + p[2] * exp(T(0.1) * log(ModulusRatio(p, strain))) * masing;
}

class DarendeliFunction final : public BlockTestFunction {
 public:
  DarendeliFunction(CyclicCurve curve, std::span<const _T_FUNT_BASE> points) : curveKind_(curve) {
    Load(points, KeepMeasured(), AsItStands);
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    std::array<Sensitive, kCount> variables;
    for (std::size_t k = 0; k < parameters.size(); ++k) variables[k] = Sensitive::Variable(parameters[k], k);
    EvaluateByPoint<kCount>(
        first, model, derivatives,
        [&](std::int32_t point) { return DarendeliOrdinate(curveKind_, parameters, curve_.abscissa[point]); },
        [&](std::int32_t point, std::span<double> gradient) {
          const double strain = curve_.abscissa[point];
          const Sensitive ordinate = curveKind_ == CyclicCurve::Stiffness ? ModulusRatio(variables.data(), strain)
                                                                          : DampingRatio(variables.data(), strain);
          for (std::size_t k = 0; k < kCount; ++k) gradient[k] = ordinate.slopes[k];
          return ordinate.value;
        });
  }

 private:
  CyclicCurve curveKind_;
};

}  // namespace

TestFunctionList::value_type MakeDarendeliFunction(CyclicCurve curve, std::span<const _T_FUNT_BASE> points) {
  return boost::make_shared<DarendeliFunction>(curve, points);
}

double DarendeliOrdinate(CyclicCurve curve, std::span<const double> parameters, double strain) {
  return curve == CyclicCurve::Stiffness ? ModulusRatio(parameters.data(), strain)
                                         : DampingRatio(parameters.data(), strain);
}

}  // namespace Xem::Fit
