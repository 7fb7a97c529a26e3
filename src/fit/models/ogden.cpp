#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

#include "fit/assemble.h"
#include "fit/linear_model.h"
#include "fit/models/models.h"
#include "fit/models/ogden_trials.h"
#include "fit/models/rubber.h"
#include "fit/models/shear_stress_function.h"
#include "fit/separable.h"
#include "hyperelastic/export_fits.h"
#include "solver/starting_vector.h"
#include "testdata/strain_energy.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr int kMostTerms = 6;
constexpr double kLargestExponent = 30.0;

/// Towards an exponent of 0 a term depends on mu alpha alone, and the modulus grows without limit.
constexpr double kSmallestExponent = 0.05;

/// Where an exponent goes on that was stopped there.
constexpr double kBeyondZero = 0.5;

/// Two terms of nearly equal exponents can cancel with moduli of any size; beyond this multiple of the shear modulus
/// they say nothing.
constexpr double kLargestModulus = 1000.0;

/// How many of the tried sets of exponents are refined, by the misfit that their best moduli leave, and how many of
/// single exponents on either side of 0.
constexpr std::size_t kRefined = 12;
constexpr std::size_t kRefinedOfASide = 2;

/// How many different minima of a model are extended by one more term.
constexpr std::size_t kExtended = 6;

/// Exponents tried for one more term, spread over what rubber and foam need.
constexpr std::array kTriedExponents{-24.0, -16.0, -10.0, -6.0, -4.0, -3.0, -2.0, -1.0, -0.4, 0.4,  0.8,
                                     1.3,   2.0,   2.7,   3.5,  4.5,  5.5,  7.0,  9.0,  12.0, 16.0, 24.0};

/// Whole sets of exponents to start from; a model takes as many as it has terms.
constexpr std::array<std::array<double, kMostTerms>, 5> kPatterns{{{2.0, -2.0, 6.0, 10.0, 14.0, 18.0},
                                                                   {1.3, 5.0, -2.0, 10.0, -6.0, 0.5},
                                                                   {1.0, -1.0, 4.0, -4.0, 8.0, -8.0},
                                                                   {1.5, 8.0, -2.3, 4.0, 16.0, -10.0},
                                                                   {4.5, -0.5, 1.5, -3.0, 12.0, -12.0}}};

void RequireTerms(int terms) {
  if (terms < 1 || terms > kMostTerms) {
    throw Error(ErrorKind::BadInput,
                std::to_string(terms) + " Ogden terms are not between 1 and " + std::to_string(kMostTerms));
  }
}

void RequirePairs(int terms, std::span<const double> pairs) {
  RequireTerms(terms);
  if (static_cast<int>(pairs.size()) != 2 * terms) {
    throw Error(ErrorKind::BadInput, "an Ogden model of " + std::to_string(terms) + " terms has " +
                                         std::to_string(2 * terms) + " parameters, not " +
                                         std::to_string(pairs.size()));
  }
}

std::vector<ParameterInfo> OgdenParameters(int terms) {
  std::vector<ParameterInfo> parameters;
  for (int k = 1; k <= terms; ++k) {
    parameters.push_back({.name = "mu" + std::to_string(k),
                          .unit = "stress",
                          .meaning = "modulus of a term, up to 1000 times the shear modulus"});
    parameters.push_back({.name = "alpha" + std::to_string(k),
                          .unit = "",
                          .lower = -kLargestExponent,
                          .upper = kLargestExponent,
                          .meaning = "exponent of a term, 0.05 or more from 0"});
  }
  return parameters;
}

Problem MakeOgdenProblem(const HyperelasticCurves& screened, int terms, const std::string& unit,
                         const Options& options) {
  Problem problem = MakeHyperelasticProblem(screened, ModelType::Ogden, terms, options);
  problem.parameters = Describe(OgdenParameters(terms), unit);
  return problem;
}

/// A full vector of parameters, and the misfit that it leaves.
struct Start {
  std::vector<double> parameters;
  double objective = std::numeric_limits<double>::infinity();
};

/// The best moduli for given exponents; held parameters keep their values. Moduli enter linearly, so a start is as good
/// as its exponents, and only these are searched for (Golub and Pereyra 1973; see docs/theory/ogden.md).
Start WithBestModuli(const Problem& problem, std::vector<double> parameters) {
  std::vector<std::size_t> moduli(parameters.size() / 2);
  for (std::size_t k = 0; k < moduli.size(); ++k) moduli[k] = 2 * k;
  Start start;
  try {
    SolveCoefficients(problem, moduli, parameters);
    start.objective = Objective(problem, parameters);
  } catch (int) {
    // No singular values: exponents far too large for the strains. Such a start is worth nothing.
  }
  if (!std::isfinite(start.objective)) start.objective = std::numeric_limits<double>::infinity();
  start.parameters = std::move(parameters);
  return start;
}

/// `held` brings held values and has one entry per parameter; free exponents are taken from `exponents` in turn.
Start FromExponents(const Problem& problem, const std::vector<double>& held, std::span<const double> exponents) {
  std::vector<double> parameters = held;
  std::size_t next = 0;
  for (std::size_t k = 1; k < parameters.size(); k += 2) {
    const FreeOrHeld& exponent = problem.parameters[k];
    if (!exponent.held) parameters[k] = std::clamp(exponents[next++], exponent.lower, exponent.upper);
  }
  return WithBestModuli(problem, std::move(parameters));
}

/// What the plain export finds, if it finds anything: a start that makes sure to be no worse.
void AddExportsResult(const Problem& problem, std::vector<Start>& starts) {
  Start start;
  start.parameters.resize(problem.parameters.size());
  try {
    FitOgdenSeries(problem.functions, KindOf(problem.residual), start.parameters);
    start.objective = Objective(problem, start.parameters);
  } catch (int) {
    return;
  }
  if (std::isfinite(start.objective)) starts.push_back(std::move(start));
}

std::vector<std::vector<double>> BestOf(std::vector<Start> starts, std::size_t count) {
  std::stable_sort(starts.begin(), starts.end(),
                   [](const Start& a, const Start& b) { return a.objective < b.objective; });
  std::vector<std::vector<double>> best;
  for (Start& start : starts) {
    if (best.size() < count && std::isfinite(start.objective)) best.push_back(std::move(start.parameters));
  }
  return best;
}

/// Of single terms: the misfit has a valley on either side of 0.
std::vector<std::vector<double>> BestOfBothSides(std::vector<Start> starts) {
  const auto negative = std::stable_partition(starts.begin(), starts.end(),
                                              [](const Start& start) { return start.parameters.back() > 0.0; });
  std::vector<std::vector<double>> best = BestOf({starts.begin(), negative}, kRefinedOfASide);
  for (auto& start : BestOf({negative, starts.end()}, kRefinedOfASide)) best.push_back(std::move(start));
  return best;
}

/// Narrows a range unless nothing would be left of it, as of one that the caller gave.
void Narrow(double lower, double upper, FreeOrHeld& parameter) {
  const double from = std::max(lower, parameter.lower);
  const double to = std::min(upper, parameter.upper);
  if (!(from < to)) return;
  parameter.lower = from;
  parameter.upper = to;
}

/// The same problem with ranges that keep terms meaningful: exponents on their side of 0, as in `start`, and moduli of
/// the order of the material's.
Problem Bounded(Problem problem, const std::vector<double>& start, double shearModulus) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const double largest = kLargestModulus * shearModulus;
  for (std::size_t k = 0; k < start.size(); k += 2) {
    Narrow(-largest, largest, problem.parameters[k]);
    const bool negative = start[k + 1] < 0.0;
    Narrow(negative ? -kInfinity : kSmallestExponent, negative ? -kSmallestExponent : kInfinity,
           problem.parameters[k + 1]);
  }
  return problem;
}

/// On shear paths alone (mu, alpha) and (-mu, -alpha) are the same curve.
std::vector<double> SortedExponents(const Minimum& minimum, bool onlyShear) {
  std::vector<double> exponents;
  for (std::size_t k = 1; k < minimum.parameters.size(); k += 2) {
    exponents.push_back(onlyShear ? std::abs(minimum.parameters[k]) : minimum.parameters[k]);
  }
  std::sort(exponents.begin(), exponents.end());
  return exponents;
}

/// True for terms, in whatever order, that differ in more than rounding and the last digits of a minimum.
bool DifferentExponents(const Minimum& a, const Minimum& b, bool onlyShear) {
  constexpr double kNotable = 0.5;
  return !std::ranges::equal(SortedExponents(a, onlyShear), SortedExponents(b, onlyShear),
                             [](double one, double other) { return std::abs(one - other) <= kNotable; });
}

/// After this many evaluations of each start the lowest valleys are known; most of the time of a fit would go into the
/// ends of others.
constexpr int kComparedEvaluations = 200;

/// Valleys of which none is higher than this multiple of the lowest are followed to their ends.
constexpr double kWorthFollowing = 1.5;

std::vector<TermPlaces> PairPlaces(std::size_t terms) {
  std::vector<TermPlaces> places;
  for (std::size_t k = 0; k < terms; ++k) places.push_back({.coefficient = 2 * k, .shape = 2 * k + 1});
  return places;
}

/// Goes down in ranges that keep terms meaningful: in the exponents alone, with the best moduli all the way, unless
/// parameters are held.
class OgdenDescent {
 public:
  OgdenDescent(const Problem& problem, double shearModulus) : problem_(problem), shearModulus_(shearModulus) {
    if (problem.FreeCount() < static_cast<int>(problem.parameters.size())) return;
    inExponents_.emplace(problem, PairPlaces(problem.parameters.size() / 2));
  }

  /// Far enough to compare the valley with others. Nothing for starts that lead nowhere.
  std::optional<Minimum> Compare(const std::vector<double>& start) {
    const Problem bounded = Bounded(problem_, start, shearModulus_);
    if (inExponents_) {
      if (std::optional<Minimum> reached = inExponents_->Run(bounded, start, kComparedEvaluations)) return reached;
    }
    try {
      return Minimise(bounded, {start}, {kComparedEvaluations});
    } catch (const Error&) {
      return std::nullopt;
    }
  }

  /// To the end of a valley, as far as it matters for a comparison.
  void Follow(Minimum& minimum) {
    if (!inExponents_) return Polish(minimum);
    const Problem bounded = Bounded(problem_, minimum.parameters, shearModulus_);
    std::optional<Minimum> further = inExponents_->Run(bounded, minimum.parameters);
    if (further) Replace(std::move(*further), minimum);
  }

  /// To the last digit.
  void Polish(Minimum& minimum) const {
    Replace(Minimise(Bounded(problem_, minimum.parameters, shearModulus_), {minimum.parameters}), minimum);
  }

 private:
  static void Replace(Minimum further, Minimum& minimum) {
    further.iterations += minimum.iterations;
    if (further.objective <= minimum.objective) minimum = std::move(further);
  }

  const Problem& problem_;
  double shearModulus_;
  std::optional<SeparableDescent> inExponents_;
};

/// The minima that the starts lead to, the best first; starts that lead nowhere are left out.
std::vector<Minimum> MinimaFrom(const Problem& problem, const std::vector<std::vector<double>>& starts,
                                double shearModulus, bool onlyShear) {
  OgdenDescent descent(problem, shearModulus);
  std::vector<Minimum> minima;
  const auto follow = [&](const std::vector<double>& start) {
    std::optional<Minimum> reached = descent.Compare(start);
    if (reached) minima.push_back(std::move(*reached));
    return reached.has_value();
  };
  for (const auto& start : starts) {
    if (!follow(start)) continue;
    // An exponent that is pushed against 0 wants to its other side, where the term is another one.
    std::vector<double> crossed = minima.back().parameters;
    int pushed = 0;
    for (std::size_t k = 1; k < crossed.size(); k += 2) {
      if (problem.parameters[k].held || !minima.back().atBound[k] || std::abs(crossed[k]) > kSmallestExponent) continue;
      ++pushed;
      crossed[k] = (crossed[k] > 0.0 ? -kBeyondZero : kBeyondZero) * pushed;  // no two at one place
    }
    if (pushed > 0) follow(WithBestModuli(problem, std::move(crossed)).parameters);
  }
  if (minima.empty()) {
    throw Error(ErrorKind::NotConverged,
                "no starting point led to a finite misfit; check the units of the data or give starting values");
  }
  const auto lowest = [](const Minimum& a, const Minimum& b) { return a.objective < b.objective; };
  std::stable_sort(minima.begin(), minima.end(), lowest);
  std::vector<const Minimum*> followed;
  const double highest = kWorthFollowing * minima.front().objective;
  for (Minimum& minimum : minima) {
    const bool isNew = std::all_of(followed.begin(), followed.end(), [&](const Minimum* other) {
      return DifferentExponents(minimum, *other, onlyShear);
    });
    if (!isNew || minimum.objective > highest) continue;
    descent.Follow(minimum);
    followed.push_back(&minimum);
  }
  std::stable_sort(minima.begin(), minima.end(), lowest);
  descent.Polish(minima.front());
  return minima;
}

double ShearModulusScale(const Minimum& oneTerm) { return std::abs(OgdenShearModulus(oneTerm.parameters)); }

/// The best minima that differ from each other.
std::vector<std::vector<double>> Different(const std::vector<Minimum>& minima, bool onlyShear) {
  std::vector<const Minimum*> chosen;
  for (const Minimum& minimum : minima) {
    const bool isNew = std::all_of(chosen.begin(), chosen.end(), [&](const Minimum* other) {
      return DifferentExponents(minimum, *other, onlyShear);
    });
    if (isNew && chosen.size() < kExtended) chosen.push_back(&minimum);
  }
  std::vector<std::vector<double>> parameters;
  for (const Minimum* minimum : chosen) parameters.push_back(minimum->parameters);
  return parameters;
}

/// Nobody has named a parameter: terms are added one by one, each time at the exponents that help most, so that a model
/// is never worse than the one with a term less.
std::vector<Minimum> SearchStepwise(const HyperelasticCurves& screened, int terms, const std::string& unit,
                                    const Options& options) {
  std::vector<Minimum> minima;
  double shearModulus = std::numeric_limits<double>::infinity();
  const Problem oneTerm = MakeOgdenProblem(screened, 1, unit, options);
  OgdenTrials trials(oneTerm);
  for (int count = 1; count <= terms; ++count) {
    std::vector<std::vector<double>> shorter = Different(minima, screened.OnlyShear());
    if (shorter.empty()) shorter.emplace_back();
    const Problem problem = MakeOgdenProblem(screened, count, unit, options);
    // What was learnt with a term less and what was not: a good pair of exponents often contains neither of the best
    // one.
    std::vector<Start> tried;
    const auto attempt = [&](std::vector<double> pairs) {
      const double objective = trials.FitModuli(pairs);
      tried.push_back(std::isnan(objective) ? WithBestModuli(problem, std::move(pairs))
                                            : Start{std::move(pairs), objective});
    };
    for (const auto& pattern : kPatterns) {
      std::vector<double> pairs(problem.parameters.size(), 0.0);
      for (std::size_t k = 1; k < pairs.size(); k += 2) pairs[k] = pattern[k / 2];
      attempt(std::move(pairs));
    }
    for (const double exponent : kTriedExponents) {
      for (std::vector<double> extended : shorter) {
        extended.insert(extended.end(), {0.0, exponent});
        attempt(std::move(extended));
      }
      // A pair is soon tried with every other exponent, whatever a single term does.
      for (const double other : kTriedExponents) {
        if (count == 2 && other < exponent) attempt({0.0, other, 0.0, exponent});
      }
    }
    std::vector<std::vector<double>> starts =
        count == 1 ? BestOfBothSides(std::move(tried)) : BestOf(std::move(tried), kRefined);
    std::vector<Start> exports;
    AddExportsResult(problem, exports);
    for (Start& start : exports) starts.push_back(std::move(start.parameters));
    // A new term of modulus 0 leaves the shorter model's misfit as it is: this start alone makes sure that one more
    // term is never worse.
    if (count > 1) {
      starts.push_back(shorter.front());
      starts.back().insert(starts.back().end(), {0.0, 2.0});
    }
    // The first number of terms has no bound on its modulus yet: it gives the scale that bounds the others.
    minima = MinimaFrom(problem, starts, shearModulus, screened.OnlyShear());
    if (count == 1) shearModulus = ShearModulusScale(minima.front());
  }
  return minima;
}

/// Some parameters are held or started by name, so the terms keep their places.
std::vector<Minimum> SearchNamed(const Problem& problem, const std::vector<double>& given, bool started,
                                 double shearModulus, bool onlyShear) {
  std::vector<Start> tried;
  // Held terms break the symmetry between terms, so which exponent a free place starts from matters: each pattern is
  // tried in all rotations.
  for (const auto& pattern : kPatterns) {
    for (std::size_t shift = 0; shift < pattern.size(); ++shift) {
      auto exponents = pattern;
      std::rotate(exponents.begin(), exponents.begin() + static_cast<std::ptrdiff_t>(shift), exponents.end());
      tried.push_back(FromExponents(problem, given, exponents));
    }
  }
  std::vector<std::vector<double>> starts = BestOf(std::move(tried), 2 * kRefined);
  if (started) starts.insert(starts.begin(), given);
  return MinimaFrom(problem, starts, shearModulus, onlyShear);
}

/// Says so when another minimum fits equally well: the data of these modes do not decide between them.
void NoteRival(const Problem& problem, const std::vector<Minimum>& minima, bool onlyShear,
               std::vector<std::string>& notes) {
  // Both have as many parameters, so the difference of their criteria is m ln(E2 / E1).
  const double points = problem.PointCount();
  for (const Minimum& rival : minima) {
    if (!(points * std::log(rival.objective / minima.front().objective) < kEquallyGood)) return;
    if (!rival.converged || !DifferentExponents(rival, minima.front(), onlyShear)) continue;
    std::string values;
    for (std::size_t k = 0; k < rival.parameters.size(); ++k) {
      values += (k == 0 ? "" : ", ") + problem.parameters[k].name + " = " + Text(rival.parameters[k]);
    }
    notes.push_back("other exponents fit equally well: " + values +
                    "; the two answer differently in modes that were not measured");
    return;
  }
}

/// Terms in falling order of their part in the shear modulus; on shear paths alone, where (mu, alpha) and (-mu, -alpha)
/// are the same curve, exponents become positive.
void Tidy(bool onlyShear, Minimum& minimum) {
  const std::vector<double> found = minimum.parameters;
  const std::vector<bool> atBound = minimum.atBound;
  std::vector<std::size_t> order(found.size() / 2);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return std::abs(found[2 * a] * found[2 * a + 1]) > std::abs(found[2 * b] * found[2 * b + 1]);
  });
  for (std::size_t k = 0; k < order.size(); ++k) {
    const std::size_t from = 2 * order[k];
    const double sign = onlyShear && found[from + 1] < 0.0 ? -1.0 : 1.0;
    for (const std::size_t part : {std::size_t{0}, std::size_t{1}}) {
      minimum.parameters[2 * k + part] = sign * found[from + part];
      minimum.atBound[2 * k + part] = atBound[from + part];
    }
  }
}

class OgdenFit final : public RubberFit {
 public:
  OgdenFit(const HyperelasticData& data, int count);
  Minimum Minimise() override;
  Minimum RunExport() override;
  std::string ExportRemedy() const override { return "fewer terms or another deformation mode may help"; }
  void Complete(const Minimum& minimum, Result& result) override;

 protected:
  std::vector<std::vector<double>> StableStarts(double largest) const override;
  Problem StableProblem(const std::vector<double>& start, double) const override {
    return Bounded(whole_, start, scale_);
  }
  void Order(Minimum& minimum) const override {
    if (!Named()) Tidy(screened_.OnlyShear(), minimum);
  }

 private:
  Problem whole_;                                           // in ranges that leave exponents their sign
  double scale_ = std::numeric_limits<double>::infinity();  // shear modulus of a single term
};

}  // namespace

const RubberLaw kOgdenLaw{
    .parameters = OgdenParameters,
    .stress =
        [](const ModeKinematics& mode, std::span<const double> pairs, double stretch, Engine engine) {
          const double stress = MaterialUtil::OgdenStress(mode.lateralExponent, pairs, stretch, std::log(stretch));
          const bool convert = engine == Engine::Best && &mode == &kSimpleShear;
          return convert ? stress * ShearStressFactor(stretch) : stress;
        },
    .shearModulus = OgdenShearModulus,
    .scan = [](std::span<const double> pairs) -> boost::shared_ptr<XemMaterialStabilityBase> {
      return boost::make_shared<XemMaterialStabilityOgden>(static_cast<std::int32_t>(pairs.size() / 2));
    },
    .lowestScanned = -0.5,
    .expand =
        [](int terms, std::span<const double> shown) {
          RequirePairs(terms, shown);
          return std::vector<double>(shown.begin(), shown.end());
        }};

const Model kOgden{.info = {.name = "ogden",
                            .title = "Ogden",
                            .family = "rubber",
                            .fewestTerms = 1,
                            .mostTerms = kMostTerms,
                            .curves = RubberCurves(),
                            .formula = "W = sum mu_k/alpha_k (l1^alpha_k + l2^alpha_k + l3^alpha_k - 3), k = 1 ... N",
                            .source = "Ogden 1972",
                            .plainExport = "CurveFitting4Ogden",
                            .page = "theory/ogden.md"},
                   .parameters = OgdenParameters,
                   .fit = [](const Tests& tests, int terms) -> boost::shared_ptr<ModelFit> {
                     RequireTerms(terms);
                     return boost::make_shared<OgdenFit>(TestsOf<HyperelasticData>(tests, "ogden"), terms);
                   },
                   .restore = [](const Result& stored) { return RestoreRubber(kOgdenLaw, stored); },
                   .rubber = &kOgdenLaw};

namespace {

OgdenFit::OgdenFit(const HyperelasticData& data, int count) : RubberFit(data, count, kOgdenLaw, ModelType::Ogden) {
  terms = count;
}

Minimum OgdenFit::Minimise() {
  // The scale of moduli that still mean something comes from a single term.
  std::vector<Minimum> minima = SearchStepwise(screened_, Named() ? 1 : terms, data_.stressUnit, options);
  scale_ = ShearModulusScale(minima.front());
  if (Named()) {
    std::vector<double> seeds(given.size());
    WriteOgdenSeeds(terms, seeds);
    for (std::size_t k = 0; k < seeds.size(); ++k) {
      if (!std::isnan(given[k])) seeds[k] = given[k];
    }
    minima =
        SearchNamed(problem, seeds, !options.start.empty(), ShearModulusScale(minima.front()), screened_.OnlyShear());
  } else {
    for (Minimum& minimum : minima) Tidy(screened_.OnlyShear(), minimum);
  }
  whole_ = problem;
  NoteRival(problem, minima, screened_.OnlyShear(), notes);
  // What else is done with the minimum stays in the ranges that it was found in.
  problem = Bounded(problem, minima.front().parameters, std::numeric_limits<double>::infinity());
  return minima.front();
}

/// Sets of exponents whose terms are all convex, each with the best moduli of its signs: stable whatever the strains.
std::vector<std::vector<double>> OgdenFit::StableStarts(double) const {
  std::vector<std::vector<double>> starts;
  for (const auto& pattern : kPatterns) {
    Problem convex = whole_;
    std::vector<double> start = FromExponents(whole_, given, pattern).parameters;
    for (std::size_t k = 0; k < start.size(); k += 2) {
      if (convex.parameters[k].held || convex.parameters[k + 1].held) continue;
      convex.parameters[k + 1].held = true;
      Narrow(start[k + 1] > 0.0 ? 0.0 : -std::numeric_limits<double>::infinity(),
             start[k + 1] > 0.0 ? std::numeric_limits<double>::infinity() : 0.0, convex.parameters[k]);
      start[k] = std::clamp(start[k], convex.parameters[k].lower, convex.parameters[k].upper);
    }
    const std::vector<Minimum> reached = Descend(convex, {start}, 500);
    if (!reached.empty()) starts.push_back(reached.front().parameters);
  }
  return starts;
}

Minimum OgdenFit::RunExport() {
  Minimum minimum;
  minimum.parameters.resize(problem.parameters.size());
  const OgdenFitStatus status = FitOgdenSeries(problem.functions, KindOf(options.residual), minimum.parameters);
  minimum.converged = status.solverStatus == 0;
  minimum.iterations = status.iterations;
  return minimum;
}

void OgdenFit::Complete(const Minimum& minimum, Result& result) {
  if (screened_.OnlyShear()) {
    result.notes.push_back(
        "pure and simple shear do not tell the sign of an exponent: -alpha with -mu fits equally well but answers "
        "differently in other modes; add a uniaxial or equibiaxial test");
  }
  if (Plain() && !data_.simpleShear.Empty()) {
    result.notes.push_back(
        "the export takes simple-shear stresses as nominal stresses in the direction of greatest stretch");
  }
  RubberFit::Complete(minimum, result);
}

}  // namespace

Result FitOgden(const HyperelasticData& data, int terms, const Options& options) {
  return Fit({"ogden", terms}, data, options);
}

double OgdenStress(const std::string& mode, int terms, const std::vector<double>& pairs, double strain) {
  RequirePairs(terms, pairs);
  return StressOf(kOgdenLaw, mode, pairs, strain, Engine::Best);
}

Stability CheckOgden(int terms, const std::vector<double>& pairs, const std::vector<double>& volumetric, double lower,
                     double upper) {
  RequirePairs(terms, pairs);
  return CheckLaw(kOgdenLaw, pairs, volumetric, lower, upper);
}

}  // namespace Xem::Fit
