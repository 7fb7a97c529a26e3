// Whole calls of the exports against general solvers on the same problem: same start, and for the solvers the loosest
// tolerance that reaches the same sum of squares. Processor time, in turns, best of them; ratios above 1 are in favour
// of the export. Usage: peers [TEXT], workloads whose name contains the text; peers prony TERMS REPEATS FILE...: the
// fit layer over files of (time, ratio) alone.
#include <cminpack.h>
#include <gsl/gsl_errno.h>
#include <gsl/gsl_multifit_nlinear.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>

#include "dynamic/dynamic_fit.h"
#include "solver/linalg/lapack.h"
#include "solver/make_solver.h"
#include "support.h"
#include "testfunctions/hyperelastic_test_function.h"
#include "viscoelastic/relaxation.h"
#include "xem/fit/hyperelastic.h"
#include "xem/fit/viscoelastic.h"
#include "xem/material_util.h"

namespace Xem::Bench {
namespace {

using namespace MaterialUtil;

/// What the names of workloads must contain.
std::string wanted;

bool IsWanted(const std::string& workload) { return workload.find(wanted) != std::string::npos; }

/// Seconds of one call, repeated until the clock can tell, which is asked after ever more calls: it costs a third of a
/// microsecond itself.
double SecondsOf(const std::function<void()>& call) {
  const double begin = ProcessorSeconds();
  double seconds = 0.0;
  int calls = 0;
  while (seconds < 0.005) {
    for (int i = std::max(calls, 1); i > 0; --i, ++calls) call();
    seconds = ProcessorSeconds() - begin;
  }
  return seconds / calls;
}

/// Best times of several calls that take turns.
std::vector<double> InTurns(const std::vector<std::function<void()>>& calls) {
  std::vector<double> best(calls.size(), std::numeric_limits<double>::infinity());
  const double begin = ProcessorSeconds();
  for (int turn = 0; turn < 7 && (turn < 2 || ProcessorSeconds() - begin < 2.0); ++turn) {
    for (std::size_t i = 0; i < calls.size(); ++i) best[i] = std::min(best[i], SecondsOf(calls[i]));
  }
  return best;
}

/// Least squares as a general solver wants it: one residual and one row of derivatives after the other.
struct Problem {
  std::size_t points = 0;
  std::vector<double> start;
  std::function<void(const double* p, double* residuals)> residuals;
  std::function<void(const double* p, double* jacobian, std::size_t byPoint, std::size_t byParameter)> jacobian;

  double SumOfSquares(const std::vector<double>& p) const {
    std::vector<double> r(points);
    residuals(p.data(), r.data());
    double sum = 0.0;
    for (const double residual : r) sum += residual * residual;
    return sum;
  }
};

std::vector<double> Cminpack(const Problem& problem, double tolerance) {
  const auto call = [](void* data, int m, int, const double* p, double* f, double* jacobian, int, int flag) {
    const auto& given = *static_cast<const Problem*>(data);
    if (flag == 1) given.residuals(p, f);
    if (flag == 2) given.jacobian(p, jacobian, 1, static_cast<std::size_t>(m));
    return 0;
  };
  const auto m = static_cast<int>(problem.points);
  const auto n = static_cast<int>(problem.start.size());
  std::vector<double> p = problem.start, f(problem.points), jacobian(problem.points * p.size());
  std::vector<double> scale(p.size()), qtf(p.size()), w1(p.size()), w2(p.size()), w3(p.size()), w4(problem.points);
  std::vector<int> pivots(p.size());
  int evaluations = 0, gradients = 0;
  lmder(call, const_cast<Problem*>(&problem), m, n, p.data(), f.data(), jacobian.data(), m, tolerance, tolerance, 0.0,
        400, scale.data(), 1, 100.0, 0, &evaluations, &gradients, pivots.data(), qtf.data(), w1.data(), w2.data(),
        w3.data(), w4.data());
  return p;
}

std::vector<double> Gsl(const Problem& problem, double tolerance) {
  gsl_multifit_nlinear_fdf functions{};
  functions.n = problem.points;
  functions.p = problem.start.size();
  functions.params = const_cast<Problem*>(&problem);
  functions.f = [](const gsl_vector* p, void* data, gsl_vector* f) -> int {
    static_cast<const Problem*>(data)->residuals(p->data, f->data);
    return GSL_SUCCESS;
  };
  functions.df = [](const gsl_vector* p, void* data, gsl_matrix* jacobian) -> int {
    static_cast<const Problem*>(data)->jacobian(p->data, jacobian->data, jacobian->tda, 1);
    return GSL_SUCCESS;
  };
  gsl_multifit_nlinear_parameters options = gsl_multifit_nlinear_default_parameters();
  options.solver = gsl_multifit_nlinear_solver_cholesky;
  gsl_multifit_nlinear_workspace* workspace =
      gsl_multifit_nlinear_alloc(gsl_multifit_nlinear_trust, &options, functions.n, functions.p);
  const gsl_vector_const_view start = gsl_vector_const_view_array(problem.start.data(), problem.start.size());
  gsl_multifit_nlinear_init(&start.vector, &functions, workspace);
  int info = 0;
  gsl_multifit_nlinear_driver(400, tolerance, tolerance, 0.0, nullptr, nullptr, &info, workspace);
  const gsl_vector* found = gsl_multifit_nlinear_position(workspace);
  std::vector<double> p(found->data, found->data + problem.start.size());
  gsl_multifit_nlinear_free(workspace);
  return p;
}

struct Solver {
  const char* name;
  std::vector<double> (*solve)(const Problem&, double tolerance);
};
constexpr Solver kSolvers[] = {{"cminpack", Cminpack}, {"GSL", Gsl}};

/// Zero where no tolerance reaches the sum of squares.
double LoosestTolerance(const Solver& solver, const Problem& problem, double sumOfSquares) {
  for (double tolerance = 1e-1; tolerance > 1e-15; tolerance /= 10.0) {
    if (problem.SumOfSquares(solver.solve(problem, tolerance)) <= sumOfSquares * (1.0 + 1e-6)) return tolerance;
  }
  return 0.0;
}

/// One row: the export, and each solver over all of the problems, of which the export solves one after the other.
void Row(const std::string& workload, const std::vector<Problem>& problems, const std::function<void()>& call,
         const std::vector<std::vector<double>>& found) {
  std::vector<std::function<void()>> calls{call};
  std::vector<int> missed;
  for (const Solver& solver : kSolvers) {
    std::vector<double> tolerances;
    for (std::size_t i = 0; i < problems.size(); ++i) {
      const double sumOfSquares = problems[i].SumOfSquares(found[i]);
      tolerances.push_back(LoosestTolerance(solver, problems[i], sumOfSquares));
    }
    missed.push_back(static_cast<int>(std::count(tolerances.begin(), tolerances.end(), 0.0)));
    // A problem that the solver does not solve costs it what its sharpest try costs.
    calls.emplace_back([&problems, &solver, tolerances] {
      for (std::size_t i = 0; i < problems.size(); ++i) solver.solve(problems[i], std::max(tolerances[i], 1e-15));
    });
  }
  const std::vector<double> seconds = InTurns(calls);
  std::printf("%-44s %10.4g ms |", workload.c_str(), 1e3 * seconds[0]);
  for (std::size_t i = 0; i < std::size(kSolvers); ++i) {
    std::printf(" %s %6.2f", kSolvers[i].name, seconds[i + 1] / seconds[0]);
    if (missed[i] > 0) std::printf(" (%d of %zu not reached)", missed[i], problems.size());
  }
  ResetPeak();
  call();
  StopCounting();
  std::printf(" | best peer %.2f | %zu allocations a fit\n",
              *std::min_element(seconds.begin() + 1, seconds.end()) / seconds[0], AllocationCount() / problems.size());
}

using Points = std::vector<_T_FUNT_BASE>;

PointArray Array(const Points& points) {
  PointArray array;
  array.SetSize(static_cast<std::int64_t>(points.size()));
  std::copy(points.begin(), points.end(), array.GetData());
  return array;
}

DoubleArray Numbers(std::initializer_list<double> values) {
  DoubleArray array;
  for (const double value : values) array.Add(value);
  return array;
}

std::vector<double> Values(const DoubleArray& array) { return {array.GetData(), array.GetData() + array.GetSize()}; }

Points RelaxationCurve(int points, std::size_t terms, std::mt19937& generator) {
  constexpr double kShares[] = {0.22, 0.16, 0.12, 0.1, 0.08, 0.07};
  constexpr double kTimes[] = {2.0, 18.0, 70.0, 6.0, 35.0, 0.7};
  std::normal_distribution<double> noise(0.0, 5e-4), scatter(0.0, 0.03);
  double shares[6], times[6];
  for (std::size_t k = 0; k < terms; ++k) {
    shares[k] = kShares[k] * std::exp(scatter(generator));
    times[k] = kTimes[k] * std::exp(scatter(generator));
  }
  Points curve;
  for (int i = 0; i < points; ++i) {
    const double t = 0.5 * std::pow(200.0, (i + 0.5) / points);
    double g = 1.0 + noise(generator);
    for (std::size_t k = 0; k < terms; ++k) g -= shares[k] * (1.0 - std::exp(-t / times[k]));
    curve.emplace_back(t, g);
  }
  return curve;
}

Problem PronyProblem(const Points& curve, std::size_t terms) {
  const auto function = boost::make_shared<XemHyperViscoElasticRelaxation>();
  function->SetTestData(std::span<const _T_FUNT_BASE>(curve));
  Problem problem;
  problem.points = curve.size();
  problem.start.resize(2 * terms);
  StartRelaxation(TestFunctionList{function}, static_cast<std::int32_t>(terms), function->MaxTime(),
                  function->MinTime(), FixedTermMask(2 * terms), problem.start);
  problem.residuals = [curve, terms](const double* p, double* r) {
    for (std::size_t i = 0; i < curve.size(); ++i) {
      double g = 1.0;
      for (std::size_t k = 0; k < terms; ++k) g -= p[k] * (1.0 - std::exp(-curve[i].first / p[terms + k]));
      r[i] = g - curve[i].second;
    }
  };
  problem.jacobian = [curve, terms](const double* p, double* jacobian, std::size_t byPoint, std::size_t byParameter) {
    for (std::size_t i = 0; i < curve.size(); ++i) {
      double* row = jacobian + i * byPoint;
      for (std::size_t k = 0; k < terms; ++k) {
        const double t = curve[i].first;
        const double tau = p[terms + k];
        const double decay = std::exp(-t / tau);
        row[k * byParameter] = decay - 1.0;
        row[(terms + k) * byParameter] = p[k] * decay * t / (tau * tau);
      }
    }
  };
  return problem;
}

/// `fits` curves, fitted one after the other.
void Prony(const std::string& workload, int points, std::size_t terms, int fits = 1) {
  if (!IsWanted(workload)) return;
  std::mt19937 generator(1944);
  std::vector<Problem> problems;
  std::vector<PointArray> curves;
  std::vector<std::vector<double>> found;
  DoubleArray result;
  while (static_cast<int>(curves.size()) < fits) {
    const Points curve = RelaxationCurve(points, terms, generator);
    curves.push_back(Array(curve));
    CurveFitting4Relaxation(curves.back(), static_cast<std::int32_t>(terms), 1, result);
    found.push_back(Values(result));
    problems.push_back(PronyProblem(curve, terms));
  }
  Row(
      workload, problems,
      [&] {
        for (const PointArray& curve : curves) {
          CurveFitting4Relaxation(curve, static_cast<std::int32_t>(terms), 1, result);
        }
      },
      found);
}

Points Read(const std::string& path) {
  std::ifstream file(path);
  if (!file) std::fprintf(stderr, "peers: cannot read %s\n", path.c_str()), std::exit(2);
  Points points;
  for (std::string line; std::getline(file, line);) {
    double x = 0.0, y = 0.0;
    if (std::sscanf(line.c_str(), "%lf,%lf", &x, &y) == 2) points.emplace_back(x, y);
  }
  return points;
}

/// Ogden over uniaxial, equibiaxial and pure shear curves.
void Ogden(const std::string& workload, const Points (&tests)[3], std::size_t terms) {
  if (!IsWanted(workload)) return;
  struct Point {
    double stretch, stress, lateral;
  };
  std::vector<Point> all;
  TestFunctionList functions;
  const PointArray curves[] = {Array(tests[0]), Array(tests[1]), Array(tests[2])};
  PointArray none, out[4];
  for (std::size_t mode = 0; mode < 3; ++mode) {
    const auto function = MakeTestFunction(kAllModes[mode], ModelType::Ogden);
    function->SetTestData(std::span<const _T_FUNT_BASE>(tests[mode]));
    functions.push_back(function);
    out[mode].SetSize(function->PointCount());
    for (const auto& [strain, stress] : tests[mode]) {
      if (stress != 0.0) all.push_back({1.0 + strain, stress, function->LateralStretchExponent()});
    }
  }
  Problem problem;
  problem.points = all.size();
  problem.start.resize(2 * terms);
  StartOgden(functions, static_cast<std::int32_t>(terms), FixedTermMask(2 * terms), problem.start);
  problem.residuals = [all, terms](const double* p, double* r) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      double stress = 0.0;
      for (std::size_t k = 0; k < terms; ++k) {
        const double alpha = p[2 * k + 1];
        stress +=
            p[2 * k] * (std::pow(all[i].stretch, alpha - 1.0) - std::pow(all[i].stretch, alpha * all[i].lateral - 1.0));
      }
      r[i] = stress - all[i].stress;
    }
  };
  problem.jacobian = [all, terms](const double* p, double* jacobian, std::size_t byPoint, std::size_t byParameter) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      double* row = jacobian + i * byPoint;
      const double log = std::log(all[i].stretch);
      for (std::size_t k = 0; k < terms; ++k) {
        const double alpha = p[2 * k + 1];
        const double axial = std::pow(all[i].stretch, alpha - 1.0);
        const double lateral = std::pow(all[i].stretch, alpha * all[i].lateral - 1.0);
        row[2 * k * byParameter] = axial - lateral;
        row[(2 * k + 1) * byParameter] = p[2 * k] * log * (axial - all[i].lateral * lateral);
      }
    }
  };
  DoubleArray pairs;
  const auto call = [&] {
    CurveFitting4Ogden(curves[0], curves[1], curves[2], none, 1, 1, 1, 0, static_cast<std::int32_t>(terms), 1, pairs,
                       out[0], out[1], out[2], out[3], 0.0, 1.0);
  };
  call();
  Row(workload, {problem}, call, {Values(pairs)});
}

void BundledOgden() {
  const std::string data = XEM_DATA;
  const Points tests[] = {Read(data + "/treloar1944_uniaxial.csv"), Read(data + "/treloar1944_equibiaxial.csv"),
                          Read(data + "/treloar1944_pure_shear.csv")};
  const std::size_t points = tests[0].size() + tests[1].size() + tests[2].size();
  Ogden("Ogden, 3 terms, " + std::to_string(points) + " points in three modes", tests, 3);
}

void LongOgden(int points, std::size_t terms) {
  constexpr double kPairs[] = {0.63, 1.3, 0.0012, 5.0, -0.01, -2.0};
  constexpr double kLongest[] = {6.0, 3.5, 4.0};
  std::mt19937 generator(1944);
  std::normal_distribution<double> noise(0.0, 0.01);
  Points tests[3];
  for (std::size_t mode = 0; mode < 3; ++mode) {
    const double lateral = MakeTestFunction(kAllModes[mode], ModelType::Ogden)->LateralStretchExponent();
    for (int i = 0; i < points / 3; ++i) {
      const double stretch = 1.0 + (kLongest[mode] - 1.0) * (i + 1) / (points / 3);
      double stress = noise(generator);
      for (std::size_t k = 0; k < 3; ++k) {
        stress += kPairs[2 * k] *
                  (std::pow(stretch, kPairs[2 * k + 1] - 1.0) - std::pow(stretch, kPairs[2 * k + 1] * lateral - 1.0));
      }
      tests[mode].emplace_back(stretch - 1.0, stress);
    }
  }
  Ogden("Ogden, " + std::to_string(terms) + " terms, " + std::to_string(points) + " points", tests, terms);
}

/// Power-law stiffness in the stress form, 1 / (1 + (2 x / gr)^a) at x = R gamma.
void Stiffness(int points) {
  const std::string workload = "power-law stiffness, " + std::to_string(points) + " points";
  if (!IsWanted(workload)) return;
  std::mt19937 generator(1970);
  std::normal_distribution<double> noise(0.0, 0.01);
  Points curve;
  for (int i = 0; i < points; ++i) {
    const double strain = 1e-6 * std::pow(1e4, static_cast<double>(i) / (points - 1));
    CyclicParameters truth;
    truth.referenceStrain = 3e-4;
    truth.exponent = 1.4;
    curve.emplace_back(strain, SolvePowerLawRatio(truth, strain).value_or(0.5) * (1.0 + noise(generator)));
  }
  const PointArray stiffness = Array(curve);
  const DoubleArray options = Numbers({0, 2, 1}), flags = Numbers({0, 0}), start = Numbers({5e-4, 0.2});
  DoubleArray fitted;
  PointArray drawn;
  const auto call = [&] { CurveFitting4DynamicMatShearStiff(options, start, flags, stiffness, fitted, drawn); };
  call();
  Problem problem;
  problem.points = curve.size();
  problem.start = {5e-4, ExponentOfLargestDamping(0.2)};
  problem.residuals = [curve](const double* p, double* r) {
    for (std::size_t i = 0; i < curve.size(); ++i) {
      const double stress = curve[i].first * curve[i].second;
      r[i] = 1.0 / (1.0 + std::pow(2.0 * stress / p[0], p[1])) - curve[i].second;
    }
  };
  problem.jacobian = [curve](const double* p, double* jacobian, std::size_t byPoint, std::size_t byParameter) {
    for (std::size_t i = 0; i < curve.size(); ++i) {
      const double base = 2.0 * curve[i].first * curve[i].second / p[0];
      const double power = std::pow(base, p[1]);
      const double factor = -power / ((1.0 + power) * (1.0 + power));
      jacobian[i * byPoint] = -factor * p[1] / p[0];
      jacobian[i * byPoint + byParameter] = factor * std::log(base);
    }
  };
  Row(workload, {problem}, call, {{fitted[0], ExponentOfLargestDamping(fitted[1])}});
}

/// Against LAPACK's dgelss over a matrix that is there already.
void Polynomial(std::int32_t points) {
  const std::string workload = "polynomial of order 3, " + std::to_string(points) + " rows";
  if (!IsWanted(workload)) return;
  const Points curve = RubberCurve(points);
  const Matrix design = RubberDesign(curve);
  PlainSolve plain(points, design.Columns());
  const PointArray uniaxial = Array(curve);
  PointArray none, out[4];
  DoubleArray coefficients;
  out[0].SetSize(points);
  Matrix copy;
  std::vector<double> b;
  const auto call = [&] {
    CurveFitting4Polynominal(uniaxial, none, none, none, 1, 0, 0, 0, 3, 1, 0.0, coefficients, out[0], out[1], out[2],
                             out[3], 0.0, 1.0);
  };
  ResetPeak();
  const std::int64_t before = PeakBytes();
  call();
  StopCounting();
  const double bytes = static_cast<double>(PeakBytes() - before) / points;
  double best[2] = {1e300, 1e300};
  for (int turn = 0; turn < (points > 500'000 ? 3 : 7); ++turn) {
    best[0] = std::min(best[0], SecondsOf(call));
    copy = design;
    b.clear();
    for (const auto& point : curve) b.push_back(point.second);
    best[1] = std::min(best[1], Seconds([&] { plain.Run(copy, b); }));
  }
  std::printf("%-44s %10.4g ms | dgelss %.2f | %.0f bytes per point\n", workload.c_str(), 1e3 * best[0],
              best[1] / best[0], bytes);
}

/// The march as it is written down, powers and all; phi and what else does not change between turns is kept.
struct PlainMarch {
  double r, m;           // Hill 1979; r = 0: von Mises
  const DoubleArray& c;  // Ghosh with r = 0, else Hockett-Sherby

  double Beta(double a) const {
    if (r == 0.0) return (2.0 * a - 1.0) / (2.0 - a);
    const double x = std::pow(1.0 + a, m - 1.0), y = (2.0 * r + 1.0) * std::pow(1.0 - a, m - 1.0);
    return (x - y) / (x + y);
  }
  double Alpha(double b) const {
    if (r == 0.0) return (2.0 * b + 1.0) / (b + 2.0);
    const double e = std::pow((b + 1.0) * (2.0 * r + 1.0), 1.0 / (m - 1.0)), d = std::pow(1.0 - b, 1.0 / (m - 1.0));
    return (e - d) / (d + e);
  }
  double Phi(double a) const {
    if (r == 0.0) {
      const double t = Beta(a);
      return (t + 2.0) / std::sqrt(3.0 * (t * t + t + 1.0));
    }
    const double sum = std::pow(1.0 - a, m) * (2.0 * r + 1.0) + std::pow(1.0 + a, m);
    return std::pow(sum / (2.0 * r + 2.0), -1.0 / m);
  }
  double PhiByBeta(double a) const {
    if (r == 0.0) {
      const double t = Beta(a), q = 3.0 * (t * t) + 3.0 * t + 3.0;
      return std::pow(q, -0.5) - std::pow(q, -1.5) * (3.0 * t + 1.5) * (t + 2.0);
    }
    const double x = std::pow(1.0 + a, m - 1.0), y = std::pow(1.0 - a, m - 1.0) * (2.0 * r + 1.0);
    const double byAlpha = std::pow(Phi(a), m + 1.0) * (x - y) / (-2.0 * (r + 1.0));
    return byAlpha * ((y + x) * (y + x) / (4.0 * std::pow(1.0 - a * a, m - 2.0) * (2.0 * m * r + m - 2.0 * r - 1.0)));
  }
  double Stress(double e) const {
    return r == 0.0 ? c[0] * std::pow(c[1] + e, c[2]) - c[3]
                    : c[1] - (c[1] - c[0]) * std::exp(-c[2] * std::pow(e, c[3]));
  }
  double Slope(double e) const {
    return r == 0.0 ? c[2] * c[0] * std::pow(c[1] + e, c[2] - 1.0)
                    : std::exp(-c[2] * std::pow(e, c[3])) * std::pow(e, c[3] - 1.0) * c[2] * c[3] * (c[1] - c[0]);
  }
  Points Paths(int count, double delta, double tolerance) const {
    Points limits;
    for (int i = 0; i < count; ++i) {
      double a = static_cast<double>(i) / (count - 1), b = Beta(a), major = 0.0, minor = 0.0, strain = 0.0;
      if (std::abs(b) <= tolerance) continue;
      double phi = Phi(a);
      do {
        major += delta;
        minor += b * delta;
        strain += phi * (1.0 + a * b) * delta;
        const double stress = Stress(strain), present = phi * stress;
        const double required = phi * phi * (1.0 + a * b) * Slope(strain);
        if (present >= required) {
          b += (present - required) / (PhiByBeta(a) * stress) * delta;
          a = Alpha(b);
          phi = Phi(a);
        }
      } while (std::abs(b) >= tolerance && major < 20.0);
      if (!(std::abs(b) >= tolerance)) limits.emplace_back(major, minor);
    }
    return limits;
  }
};

void FormingLimit(const char* workload, double r, double m, const DoubleArray& hardening) {
  if (!IsWanted(workload)) return;
  const DoubleArray settings = Numbers({201.0, 1e-4, 0.01});
  const DoubleArray anisotropy = r == 0.0 ? Numbers({}) : Numbers({r, m});
  PointArray curve;
  Points limits;
  const std::vector<double> seconds = InTurns({[&] {
                                                 FormingLimitCurve(curve, 0, settings, r == 0.0 ? 100 : 101, anisotropy,
                                                                   r == 0.0 ? 200 : 201, hardening);
                                               },
                                               [&] {
                                                 limits = PlainMarch{r, m, hardening}.Paths(201, 1e-4, 0.01);
                                               }});
  // The curve holds one more point, of plane strain itself.
  std::size_t same = 0;
  for (std::int64_t i = 0; i < curve.GetSize(); ++i) {
    same += static_cast<std::size_t>(std::count_if(limits.begin(), limits.end(), [&](const _T_FUNT_BASE& limit) {
      return limit.first == curve[i].first && limit.second == curve[i].second;
    }));
  }
  std::printf("%-44s %10.4g ms | plain loop %.2f | %s\n", workload, 1e3 * seconds[0], seconds[1] / seconds[0],
              same == limits.size() ? "equal bits" : "DIFFERENT LIMITS");
}

Fit::Curve ReadCurve(const std::string& file) {
  Fit::Curve curve;
  for (const auto& [x, y] : Read(file)) {
    curve.x.push_back(x);
    curve.y.push_back(y);
  }
  return curve;
}

/// The fit layer alone: processor time per fit over the files, and the last sum of squares.
int FitFiles(int terms, int repeats, const std::vector<std::string>& files) {
  std::vector<Fit::RelaxationData> specimens;
  for (const std::string& file : files) specimens.push_back({.curve = ReadCurve(file), .timeUnit = "s"});
  double sumOfSquares = 0.0;
  const double begin = ProcessorSeconds();
  for (int i = 0; i < repeats; ++i) {
    for (const Fit::RelaxationData& data : specimens) sumOfSquares = Fit::FitProny(data, terms).measures.sse;
  }
  std::printf("%.9g %.12g\n", (ProcessorSeconds() - begin) / (repeats * static_cast<double>(specimens.size())),
              sumOfSquares);
  return 0;
}

/// Searches of the fit layer on bundled curves, for which there is no other program.
void Search(const std::string& workload, const std::function<Fit::Result()>& fit) {
  if (!IsWanted(workload)) return;
  double sumOfSquares = 0.0;
  const double seconds = InTurns({[&] { sumOfSquares = fit().measures.sse; }}).front();
  std::printf("%-44s %10.4g ms | sum of squares %.6g\n", workload.c_str(), 1e3 * seconds, sumOfSquares);
}

void Searches() {
  const std::string data = XEM_DATA;
  Fit::RelaxationData relaxation;
  relaxation.curve = ReadCurve(data + "/polymer_relaxation.csv");
  relaxation.timeUnit = "s";
  Search("Prony, terms found, polymer", [&] { return Fit::FitProny(relaxation, Fit::kAutomaticTerms); });
  for (const std::string rubber : {"treloar1944", "silicone"}) {
    Fit::HyperelasticData tests;
    tests.uniaxial = ReadCurve(data + "/" + rubber + "_uniaxial.csv");
    tests.equibiaxial = ReadCurve(data + "/" + rubber + "_equibiaxial.csv");
    tests.pureShear = ReadCurve(data + "/" + rubber + "_pure_shear.csv");
    for (int terms = 1; terms <= 4; ++terms) {
      Search("Ogden, " + std::to_string(terms) + " terms, " + rubber, [&] { return Fit::FitOgden(tests, terms); });
    }
  }
}

void Everything() {
  std::puts("whole calls of the exports; ratios are time of the other over time of the export");
  Prony("Prony, 3 terms, 50 points", 50, 3);
  Prony("Prony, 3 terms, 1,000 points", 1'000, 3);
  Prony("Prony, 3 terms, 100,000 points", 100'000, 3);
  Prony("1,000 Prony fits, 2 terms, 25 points", 25, 2, 1'000);
  BundledOgden();
  LongOgden(100'000, 3);
  Stiffness(20);
  for (const std::int32_t points : {20, 1'000, 10'000, 100'000, 1'000'000}) Polynomial(points);
  FormingLimit("forming limit, 201 paths, Mises, Ghosh", 0.0, 0.0, Numbers({518.968, 0.0007648, 0.28985, 0.0}));
  FormingLimit("forming limit, 201 paths, Hill, Hockett-Sherby", 0.57, 1.8, Numbers({120.0, 555.5, 1.106, 0.5232}));
  std::puts("searches of the fit layer, uncertainty and stability included");
  Searches();
  std::puts("growth with the number of terms");
  for (const std::size_t terms : {1, 2, 4, 6}) {
    Prony("Prony, " + std::to_string(terms) + " terms, 1,000 points", 1'000, terms);
  }
  for (const std::size_t terms : {1, 2}) LongOgden(10'000, terms);
}

}  // namespace
}  // namespace Xem::Bench

int main(int count, char** arguments) {
  gsl_set_error_handler_off();
  Xem::MaterialUtil::UseOneBlasThread();
  const std::vector<std::string> words(arguments + 1, arguments + count);
  if (words.size() > 3 && words[0] == "prony") {
    return Xem::Bench::FitFiles(std::stoi(words[1]), std::stoi(words[2]), {words.begin() + 3, words.end()});
  }
  if (!words.empty()) Xem::Bench::wanted = words[0];
  Xem::Bench::Everything();
}
