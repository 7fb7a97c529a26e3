#pragma once

#include <boost/shared_ptr.hpp>
#include <span>
#include <string>
#include <vector>

#include "fit/model.h"
#include "fit/models/rubber_curves.h"
#include "stability/report.h"
#include "stability/stability_scan.h"

/// What all models of rubber share: screening, volumetric data fitted alongside, initial moduli, the stability report.
namespace Xem::Fit {

/// A strain energy as the family sees it. Parameters are all of the law's own, hidden ones included.
struct RubberLaw {
  std::vector<ParameterInfo> (*parameters)(int count);
  /// Nominal stress (shear stress in simple shear) at a principal stretch.
  double (*stress)(const MaterialUtil::ModeKinematics& mode, std::span<const double> parameters, double stretch,
                   Engine engine);
  double (*shearModulus)(std::span<const double> parameters);
  /// The stability scan of a law of so many parameters, and how far into compression it goes.
  boost::shared_ptr<MaterialUtil::XemMaterialStabilityBase> (*scan)(std::span<const double> parameters);
  double lowestScanned = kLowestStrain;
  /// The law's own parameters from those that results show; null where these are the same.
  std::vector<double> (*expand)(int terms, std::span<const double> shown) = nullptr;
};

/// Curves of a model of rubber.
std::vector<CurveInfo> RubberCurves(const std::string& companion = "");

class StableSearch;

/// A fit of an incompressible model to test curves of one material.
class RubberFit : public ModelFit {
 public:
  void Screen() override;
  void Describe() override;
  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override;
  void Complete(const Minimum& minimum, Result& result) override;
  /// The best parameters that are stable over the measured strains in all modes; `minimum` where that is.
  Minimum Stabilised(const Minimum& minimum) override;

 protected:
  /// Starts of a search for stable parameters besides the unrestricted minimum; `largest` is the largest I1 - 3 of the
  /// states that must be stable.
  virtual std::vector<std::vector<double>> StableStarts(double) const { return {}; }
  /// The problem in the ranges that a search from there keeps to.
  virtual Problem StableProblem(const std::vector<double>&, double) const { return problem; }
  /// Interchangeable terms in their order.
  virtual void Order(Minimum&) const {}

  /// `core` is what the test functions of the core call the model, and `count` how many terms they shall have.
  RubberFit(const HyperelasticData& data, int count, const RubberLaw& law, MaterialUtil::ModelType core)
      : data_(data), count_(count), law_(law), core_(core) {}
  ~RubberFit() = default;

  HyperelasticData data_;
  int count_;
  HyperelasticCurves screened_;

 private:
  std::vector<std::vector<double>> BestStarts(const StableSearch& search, std::vector<std::vector<double>> others,
                                              const std::vector<double>& minimum) const;
  void CompleteBulk(std::span<const double> parameters, Result& result);

  const RubberLaw& law_;
  MaterialUtil::ModelType core_;
  Options volumetricOptions_;
};

/// Stress of the curve of that name at a nominal strain (shear strain in simple shear). Throws Error (BadInput) for a
/// name that is no mode of deformation.
double StressOf(const RubberLaw& law, const std::string& curve, std::span<const double> parameters, double strain,
                Engine engine);

/// The evaluator of a stored result.
Evaluator RestoreRubber(const RubberLaw& law, const Result& stored);

/// A stability report. `volumetric` empty means a Poisson ratio of 0.495. Throws Error: BadInput unless the strains lie
/// around 0, NotConverged when the eigenvalues of a tangent cannot be computed.
Stability CheckLaw(const RubberLaw& law, std::span<const double> parameters, const std::vector<double>& volumetric,
                   double lower, double upper);

/// One coefficient that gives a Poisson ratio of 0.495 where `volumetric` is empty.
std::vector<double> VolumetricOrDefault(const std::vector<double>& volumetric, double shearModulus);

/// Values of a stored result by what they belong to: volumetric coefficients are those named D1, D2, ...
struct StoredRubber {
  std::vector<double> model;
  std::vector<double> volumetric;
};
StoredRubber SplitStored(const Result& stored);

}  // namespace Xem::Fit
