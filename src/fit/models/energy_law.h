#pragma once

#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

#include "fit/models/dual.h"
#include "fit/models/rubber.h"
#include "testdata/kinematics.h"

/// Models of rubber that are told by the slopes of their energy, W(I1, I2) + sum over the principal stretches of
/// w(l_a): stress, derivatives and tangent follow (docs/theory/energies.md). A law is a struct with
///
///   kName, kCount  its name and the number of parameters
///   Parameters()   what the catalogue says of them
///   Slopes(p, i1, i2)     dW/dI1 and dW/dI2 at I1 - 3 and I2 - 3, a template over the type of numbers
///   StretchSlope(p, l)    l dw/dl, or nothing
///   ShearModulus(p)       without strain
///   Reaches(p, excess)    false where the energy has no value
///   kLinear        the parameters that the energy is linear in
///   Keep(largest, parameters)   narrows ranges to what reaches the largest I1 - 3 measured
///   KeepScanned(largest, parameters)   the same for all modes up to that I1 - 3; Keep where a law has none
///   Shapes(largest)       starting values, whatever stands for the linear ones
namespace Xem::Fit {

template <class T>
struct InvariantSlopes {
  T i1;
  T i2;
};

/// A part of a limit, below which it is kept: so near to it the energy grows without bound.
template <class T>
T BelowLimit(const T& part) {
  constexpr double kNearest = 1.0 - 1e-9;
  return ValueOf(part) < kNearest ? part : T(kNearest);
}

/// One measured state of deformation, by all that the stress needs of it.
struct EnergyPoint {
  MaterialUtil::InvariantExcess excess;
  MaterialUtil::StressFactors factors;
  double stretch = 1.0;
  double lateral = 1.0;
  double perStretch = 1.0;  ///< stress = perStretch (l w'(l) - m w'(m)) at the stretch l and the lateral stretch m
};
EnergyPoint DescribePoint(const MaterialUtil::ModeKinematics& mode, double stretch);

template <class Law>
concept HasStretchSlope = requires {
  &Law::template StretchSlope<double>;
};

template <class Law, class T>
T EnergyStress(const std::array<T, Law::kCount>& p, const EnergyPoint& point) {
  const InvariantSlopes<T> slopes = Law::Slopes(p, T(point.excess.i1), T(point.excess.i2));
  T stress = T(point.factors.w1) * slopes.i1 + T(point.factors.w2) * slopes.i2;
  if constexpr (HasStretchSlope<Law>) {
    stress = stress +
             T(point.perStretch) * (Law::StretchSlope(p, T(point.stretch)) - Law::StretchSlope(p, T(point.lateral)));
  }
  return stress;
}

template <class T, std::size_t N>
std::array<T, N> Numbers(std::span<const double> values) {
  std::array<T, N> numbers;
  for (std::size_t k = 0; k < N; ++k) numbers[k] = T(values[k]);
  return numbers;
}

/// A curve of a mode; the abscissa is the stretch.
template <class Law>
class EnergyFunction final : public MaterialUtil::BlockTestFunction {
 public:
  EnergyFunction(const MaterialUtil::ModeKinematics& mode, std::span<const _T_FUNT_BASE> points) {
    SetTestData(points);
    for (const double stretch : Stretch()) points_.push_back(DescribePoint(mode, stretch));
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MaterialUtil::MatrixView derivatives) const override {
    using Number = Dual<Law::kCount>;
    const auto values = Numbers<double, Law::kCount>(parameters);
    std::array<Number, Law::kCount> variables;
    for (std::size_t k = 0; k < Law::kCount; ++k) variables[k] = Number::Variable(parameters[k], k);
    MaterialUtil::EvaluateByPoint<Law::kCount>(
        first, model, derivatives,
        [&](std::int32_t point) { return EnergyStress<Law, double>(values, points_[static_cast<std::size_t>(point)]); },
        [&](std::int32_t point, std::span<double> gradient) {
          const Number stress = EnergyStress<Law, Number>(variables, points_[static_cast<std::size_t>(point)]);
          for (std::size_t k = 0; k < Law::kCount; ++k) gradient[k] = stress.slopes[k];
          return stress.value;
        });
  }

 private:
  std::vector<EnergyPoint> points_;
};

/// beta and gamma of the energy (stability/principal_tangent.h). Where the strain is out of the law's reach the
/// stiffness is negative: no state there is stable.
template <class Law>
MaterialUtil::PrincipalResponse EnergyResponse(std::span<const double> parameters,
                                               const std::array<double, 3>& logarithms) {
  std::array<double, 3> square{};
  std::array<double, 3> inverse{};
  MaterialUtil::InvariantExcess excess{-3.0, -3.0};
  for (std::size_t a = 0; a < 3; ++a) {
    square[a] = std::exp(2.0 * logarithms[a]);
    inverse[a] = 1.0 / square[a];
    excess.i1 += square[a];
    excess.i2 += inverse[a];
  }
  using Number = Dual<2>;
  const InvariantSlopes<Number> w = Law::Slopes(Numbers<Number, Law::kCount>(parameters),
                                                Number::Variable(excess.i1, 0), Number::Variable(excess.i2, 1));
  std::array<double, 3> beta{};
  MaterialUtil::Matrix3 gamma{};
  for (std::size_t a = 0; a < 3; ++a) {
    beta[a] = 2.0 * (w.i1.value * square[a] - w.i2.value * inverse[a]);
    gamma[a][a] = 4.0 * (w.i1.value * square[a] + w.i2.value * inverse[a]);
    if constexpr (HasStretchSlope<Law>) {
      // d/d ln l of l w'(l) is l times its derivative with respect to l.
      const double stretch = std::exp(logarithms[a]);
      const auto slope = Law::StretchSlope(Numbers<Dual<1>, Law::kCount>(parameters), Dual<1>::Variable(stretch, 0));
      beta[a] += slope.value;
      gamma[a][a] += stretch * slope.slopes[0];
    }
    for (std::size_t b = 0; b < 3; ++b) {
      gamma[a][b] += 4.0 * (square[a] * (w.i1.slopes[0] * square[b] - w.i1.slopes[1] * inverse[b]) -
                            inverse[a] * (w.i2.slopes[0] * square[b] - w.i2.slopes[1] * inverse[b]));
    }
  }
  if (!Law::Reaches(Numbers<double, Law::kCount>(parameters), excess)) {
    gamma = {};
    for (std::size_t a = 0; a < 3; ++a) gamma[a][a] = -std::abs(Law::ShearModulus(parameters));
  }
  return MaterialUtil::Deviator(beta, gamma);
}

/// What does not depend on the law.
class EnergyFit : public RubberFit {
 public:
  void Describe() override;
  Minimum Minimise() override;

 protected:
  EnergyFit(const HyperelasticData& data, const RubberLaw& law)
      : RubberFit(data, 1, law, MaterialUtil::ModelType::Polynomial) {}
  ~EnergyFit() = default;

  using Points = std::span<const _T_FUNT_BASE>;
  virtual MaterialUtil::TestFunctionList::value_type MakeFunction(const MaterialUtil::ModeKinematics& mode,
                                                                  Points points) const = 0;
  virtual void Keep(double largest, std::vector<FreeOrHeld>& parameters) const = 0;
  virtual void KeepScanned(double largest, std::vector<FreeOrHeld>& parameters) const = 0;
  virtual std::vector<std::vector<double>> Shapes(double largest) const = 0;
  virtual std::span<const std::size_t> Linear() const = 0;
  std::vector<std::vector<double>> StableStarts(double largest) const override;
  Problem StableProblem(const std::vector<double>& start, double largest) const override;

 private:
  void CompleteShape(std::vector<double>& shape) const;

  double largest_ = 0.0;  // I1 - 3 of all points
};

template <class Law>
class FitOf final : public EnergyFit {
 public:
  FitOf(const HyperelasticData& data, const RubberLaw& law) : EnergyFit(data, law) {}

 private:
  MaterialUtil::TestFunctionList::value_type MakeFunction(const MaterialUtil::ModeKinematics& mode,
                                                          Points points) const override {
    return boost::make_shared<EnergyFunction<Law>>(mode, points);
  }
  void Keep(double largest, std::vector<FreeOrHeld>& parameters) const override { Law::Keep(largest, parameters); }
  void KeepScanned(double largest, std::vector<FreeOrHeld>& parameters) const override {
    if constexpr (requires { Law::KeepScanned(largest, parameters); }) {
      Law::KeepScanned(largest, parameters);
    } else {
      Law::Keep(largest, parameters);
    }
  }
  std::vector<std::vector<double>> Shapes(double largest) const override { return Law::Shapes(largest); }
  std::span<const std::size_t> Linear() const override { return Law::kLinear; }
};

/// As the family of rubber sees a law.
template <class Law>
RubberLaw LawOf() {
  using namespace MaterialUtil;
  return {.parameters = [](int) { return Law::Parameters(); },
          .stress =
              [](const ModeKinematics& mode, std::span<const double> parameters, double stretch, Engine) {
                return EnergyStress<Law, double>(Numbers<double, Law::kCount>(parameters),
                                                 DescribePoint(mode, stretch));
              },
          .shearModulus = Law::ShearModulus,
          .scan = [](std::span<const double>) -> boost::shared_ptr<XemMaterialStabilityBase> {
            return boost::make_shared<XemMaterialStabilityPrincipal>(EnergyResponse<Law>);
          },
          .expand =
              [](int, std::span<const double> shown) {
                if (shown.size() != Law::kCount) {
                  throw Error(ErrorKind::BadInput, "this model has " + std::to_string(Law::kCount) +
                                                       " parameters, not " + std::to_string(shown.size()));
                }
                return std::vector<double>(shown.begin(), shown.end());
              }};
}

/// The entry of the catalogue; `law` lives as long as it.
template <class Law, const RubberLaw& law>
Model ModelOf(ModelInfo info) {
  info.curves = RubberCurves();
  return {.info = std::move(info),
          .parameters = [](int) { return Law::Parameters(); },
          .fit = [](const Tests& tests, int) -> boost::shared_ptr<ModelFit> {
            return boost::make_shared<FitOf<Law>>(TestsOf<HyperelasticData>(tests, Law::kName), law);
          },
          .restore = [](const Result& stored) { return RestoreRubber(law, stored); },
          .rubber = &law};
}

}  // namespace Xem::Fit
