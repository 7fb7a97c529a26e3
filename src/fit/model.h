#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "fit/problem.h"
#include "solver/make_solver.h"
#include "xem/fit/fit.h"
#include "xem/fit/model.h"

namespace Xem::Fit {

/// Value at an abscissa of the curve of that name; throws Error (BadInput) for a name that a model does not have.
using Evaluator = std::function<double(const std::string& curve, double x)>;

/// One fit of one model to one set of tests: the steps that differ between models. Fit() of fit.cpp drives them in the
/// order in which they stand here and does everything else. Each step may rely on what those before it left in the
/// public fields.
class ModelFit {
 public:
  /// Fills `curves` with the points that can be used, `dropped` with the others, `notes` with what looks odd.
  virtual void Screen() = 0;
  /// Fills `problem`: a test function and a weight per curve, the parameters with their ranges. `given` gets one entry
  /// per parameter: its value where the model itself holds it, else NaN. Held and starting values of `options` are
  /// then put into both.
  virtual void Describe() = 0;
  /// Throws Error for held values that make no sense (BadInput) and for data that cannot determine what is free
  /// (BadData).
  virtual void RequireDetermined() const {}
  /// The best minimum that the data allow. May describe the problem anew, as a series does whose terms are counted
  /// on the way.
  virtual Minimum Minimise() = 0;
  /// The best parameters whose material is stable where it was measured; `minimum` where that is. Only models of rubber
  /// know.
  virtual Minimum Stabilised(const Minimum& minimum);
  /// True when the ranges in `problem` are all that parameters must obey.
  virtual bool OnlyRanges() const { return true; }
  /// Throws Error (BadInput) for options that the plain export does not know: usually all held values, starts and
  /// weights.
  virtual void RequirePlainOptions() const;
  /// What the plain export returns; its parameters, iterations and whether it converged are enough. An int that leaves
  /// it is told to the caller, with `ExportRemedy`.
  virtual Minimum RunExport();
  virtual std::string ExportRemedy() const { return {}; }
  virtual Evaluator MakeEvaluator(const std::vector<double>& parameters) const = 0;
  /// What the evaluator gives at many abscissae of a curve; empty where nothing is gained by asking for all of them at
  /// once.
  virtual std::vector<double> Ordinates(const std::vector<double>& /*parameters*/, const std::string& /*curve*/,
                                        std::span<const double> /*x*/) const {
    return {};
  }
  /// Derived quantities, stability, and notes on the result; `minimum` is in the parameters of `problem`.
  virtual void Complete(const Minimum& minimum, Result& result) = 0;

  Options options;
  int terms = 0;  ///< 0 in a result that has none
  std::vector<Curve> curves;
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;
  Problem problem;
  std::vector<double> given;

 protected:
  ~ModelFit() = default;

  bool Plain() const { return options.engine == Engine::Export; }
  /// Parameters were named by the caller, so that their order and number are his.
  bool Named() const { return !options.held.empty() || !options.start.empty() || !options.bounds.empty(); }
  bool Weighted() const;
  /// Held values into every start; what a model holds without a value of its own is the start's.
  void PutHeld(std::vector<std::vector<double>>& starts) const;
  /// Held values into every start, and one more start with the values that the caller proposes, at the front or back;
  /// what he leaves open it takes from `base`.
  enum class Proposed { First, Last };
  std::vector<std::vector<double>> WithGiven(std::vector<std::vector<double>> starts, std::vector<double> base,
                                             Proposed place) const;
};

/// Parameters with the names and ranges of the catalogue; what counts in "stress" there gets the unit of the data.
std::vector<FreeOrHeld> Describe(const std::vector<ParameterInfo>& infos, const std::string& unitOfStress);

/// The words of the exported functions for a kind of residual.
inline MaterialUtil::ResidualKind KindOf(Residual residual) {
  return residual == Residual::Absolute ? MaterialUtil::ResidualKind::Absolute : MaterialUtil::ResidualKind::Relative;
}
inline std::int32_t MethodCode(Residual residual) { return residual == Residual::Absolute ? 1 : 0; }

struct RubberLaw;
struct RetentionLaw;

/// A model of the catalogue: what it says of itself, and how it is fitted and evaluated. One constant per model, in
/// the file of its law or of its siblings, and one line in models/models.h.
struct Model {
  ModelInfo info;
  std::vector<ParameterInfo> (*parameters)(int terms);
  /// Null for models that are evaluated only. Throws Error (BadInput) for tests of another family.
  boost::shared_ptr<ModelFit> (*fit)(const Tests& tests, int terms);
  /// From stored parameters: `stored` has model, terms, parameters, curves, options and derived quantities,
  /// as they were read.
  Evaluator (*restore)(const Result& stored);
  /// Models of rubber: what stability and stresses need of them.
  const RubberLaw* rubber = nullptr;
  /// Models of water retention.
  const RetentionLaw* retention = nullptr;
};

const std::vector<const Model*>& Catalogue();
/// Throws Error (BadInput) for an unknown name.
const Model& ModelCalled(const std::string& name);

/// The tests of the family of a model. Throws Error (BadInput) for those of another.
template <class Data>
const Data& TestsOf(const Tests& tests, const char* model) {
  if (const Data* data = std::get_if<Data>(&tests)) return *data;
  throw Error(ErrorKind::BadInput, std::string("model ") + model + " does not explain tests of this kind");
}

/// Values of the parameters of a stored result, in its order.
std::vector<double> ParameterValues(const Result& stored);

}  // namespace Xem::Fit
