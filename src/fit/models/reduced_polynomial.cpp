#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstddef>

#include "fit/models/models.h"
#include "fit/models/polynomial.h"
#include "testdata/strain_energy.h"

/// Neo-Hooke, Mooney-Rivlin and Yeoh: polynomials with terms left out. What is left out is a coefficient that the model
/// holds at 0 and hides.
namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr int kUsualYeohOrder = 3;

/// Which terms (I1 - 3)^i (I2 - 3)^j a model keeps, in term order.
enum class Keeps { FirstInvariant, Everything };

std::vector<bool> Kept(int order, Keeps keeps) {
  std::vector<bool> kept;
  ForEachTerm(order, [&](std::int32_t, std::int32_t j) { kept.push_back(keeps == Keeps::Everything || j == 0); });
  return kept;
}

template <Keeps keeps>
std::vector<ParameterInfo> Shown(int order) {
  const std::vector<bool> kept = Kept(order, keeps);
  std::vector<ParameterInfo> shown;
  for (std::size_t k = 0; k < kept.size(); ++k) {
    if (kept[k]) shown.push_back(kPolynomialLaw.parameters(order)[k]);
  }
  return shown;
}

/// All coefficients of the order from those that results show. Models without a number of terms are of order 1.
template <Keeps keeps>
std::vector<double> Expand(int terms, std::span<const double> shown) {
  const int order = terms == 0 ? 1 : terms;
  const std::vector<bool> kept = Kept(order, keeps);
  const auto expected = static_cast<std::size_t>(std::count(kept.begin(), kept.end(), true));
  if (shown.size() != expected) {
    throw Error(ErrorKind::BadInput,
                "this model has " + std::to_string(expected) + " coefficients, not " + std::to_string(shown.size()));
  }
  std::vector<double> coefficients(kept.size(), 0.0);
  std::size_t next = 0;
  for (std::size_t k = 0; k < kept.size(); ++k) {
    if (kept[k]) coefficients[k] = shown[next++];
  }
  return coefficients;
}

class ReducedPolynomialFit final : public PolynomialFit {
 public:
  ReducedPolynomialFit(const HyperelasticData& data, int order, Keeps keeps)
      : PolynomialFit(data, order, kPolynomialLaw), keeps_(keeps) {}

  void Describe() override {
    PolynomialFit::Describe();
    const std::vector<bool> kept = Kept(count_, keeps_);
    for (std::size_t k = 0; k < kept.size(); ++k) {
      if (kept[k]) continue;
      problem.parameters[k].held = problem.parameters[k].hidden = true;
      given[k] = 0.0;
    }
  }

  Minimum RunExport() override {
    return keeps_ == Keeps::Everything ? PolynomialFit::RunExport() : ModelFit::RunExport();
  }

 private:
  Keeps keeps_;
};

template <Keeps keeps>
RubberLaw ReducedLaw() {
  RubberLaw law = kPolynomialLaw;
  law.expand = Expand<keeps>;
  return law;
}

const RubberLaw kFirstInvariantLaw = ReducedLaw<Keeps::FirstInvariant>();
const RubberLaw kMooneyRivlinLaw = ReducedLaw<Keeps::Everything>();

}  // namespace

const Model kNeoHooke{.info = {.name = "neo-hooke",
                               .title = "Neo-Hooke",
                               .family = "rubber",
                               .curves = RubberCurves(),
                               .formula = "W = C10 (I1 - 3)",
                               .source = "Rivlin 1948",
                               .page = "theory/reduced_polynomial.md"},
                      .parameters = [](int) { return Shown<Keeps::FirstInvariant>(1); },
                      .fit = [](const Tests& tests, int) -> boost::shared_ptr<ModelFit> {
                        return boost::make_shared<ReducedPolynomialFit>(TestsOf<HyperelasticData>(tests, "neo-hooke"),
                                                                        1, Keeps::FirstInvariant);
                      },
                      .restore = [](const Result& stored) { return RestoreRubber(kFirstInvariantLaw, stored); },
                      .rubber = &kFirstInvariantLaw};

const Model kMooneyRivlin{.info = {.name = "mooney-rivlin",
                                   .title = "Mooney-Rivlin",
                                   .family = "rubber",
                                   .curves = RubberCurves(),
                                   .formula = "W = C10 (I1 - 3) + C01 (I2 - 3)",
                                   .source = "Mooney 1940, Rivlin 1948",
                                   .plainExport = "CurveFitting4Polynominal",
                                   .page = "theory/reduced_polynomial.md"},
                          .parameters = [](int) { return Shown<Keeps::Everything>(1); },
                          .fit = [](const Tests& tests, int) -> boost::shared_ptr<ModelFit> {
                            return boost::make_shared<ReducedPolynomialFit>(
                                TestsOf<HyperelasticData>(tests, "mooney-rivlin"), 1, Keeps::Everything);
                          },
                          .restore = [](const Result& stored) { return RestoreRubber(kMooneyRivlinLaw, stored); },
                          .rubber = &kMooneyRivlinLaw};

const Model kYeoh{.info = {.name = "yeoh",
                           .title = "Yeoh",
                           .family = "rubber",
                           .fewestTerms = 1,
                           .mostTerms = 6,
                           .usualTerms = kUsualYeohOrder,
                           .curves = RubberCurves(),
                           .formula = "W = sum Ck0 (I1 - 3)^k, k = 1 ... N",
                           .source = "Yeoh 1993",
                           .page = "theory/reduced_polynomial.md"},
                  .parameters = Shown<Keeps::FirstInvariant>,
                  .fit = [](const Tests& tests, int order) -> boost::shared_ptr<ModelFit> {
                    const auto fit = boost::make_shared<ReducedPolynomialFit>(TestsOf<HyperelasticData>(tests, "yeoh"),
                                                                              order, Keeps::FirstInvariant);
                    fit->terms = order;
                    return fit;
                  },
                  .restore = [](const Result& stored) { return RestoreRubber(kFirstInvariantLaw, stored); },
                  .rubber = &kFirstInvariantLaw};

}  // namespace Xem::Fit
