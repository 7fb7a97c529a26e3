#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "solver/linalg/lapack.h"
#include "stability/stability_scan.h"
#include "support.h"
#include "testdata/strain_energy.h"
#include "testfunctions/hyperelastic_test_function.h"

namespace Xem::Bench {
namespace {

using namespace MaterialUtil;

/// Deformations of a scan that finds nothing, over the widest range of an Ogden model.
constexpr int kScanSteps = 3 * (49 + 899);

/// As many bare eigenvalue computations of a 6 x 6 matrix.
double EigenvaluesAlone() {
  SymmetricEigenvalues solver(6);
  Matrix matrix(6, 6);
  return Seconds([&] {
    for (int step = 0; step < kScanSteps; ++step) {
      for (std::int32_t i = 0; i < 6; ++i) {
        for (std::int32_t j = 0; j < 6; ++j) matrix(i, j) = 1.0 / (1 + i + j) + (i == j ? 1.0 : 0.0);
      }
      benchmark::DoNotOptimize(solver.Compute(matrix));
    }
  });
}

void Scan(benchmark::State& state, XemMaterialStabilityBase& model, double lower) {
  double own = 0.0;
  double eigenvalues = 0.0;
  std::size_t allocated = 0;
  for (auto _ : state) {
    eigenvalues += EigenvaluesAlone();
    ResetPeak();
    const double time = Seconds([&] { model.CheckStability(lower, 9.0); });
    allocated = AllocationCount();
    own += time;
    state.SetIterationTime(time);
  }
  state.counters["allocations_per_scan"] = static_cast<double>(allocated);
  state.counters["ratio_to_eigenvalues"] = own / eigenvalues;
  state.counters["us_per_step"] = 1e6 * own / static_cast<double>(state.iterations()) / kScanSteps;
}

void PolynomialScan(benchmark::State& state) {
  const auto order = static_cast<std::int32_t>(state.range(0));
  std::vector<double> coefficients(static_cast<std::size_t>(PolynomialTermCount(order)), 1e-9);
  coefficients[0] = 0.4;
  XemMaterialStabilityPolynomial model(order);
  model.SetParameters(coefficients, std::vector<double>{25.0});
  Scan(state, model, -0.5);
}
BENCHMARK(PolynomialScan)->Arg(1)->Arg(3)->UseManualTime();

void OgdenScan(benchmark::State& state) {
  const std::vector<double> pairs{0.63, 1.3, 0.0012, 5.0, -0.01, -2.0};
  const auto terms = static_cast<std::int32_t>(state.range(0));
  XemMaterialStabilityOgden model(terms);
  model.SetParameters(pairs, std::vector<double>{21.0});
  Scan(state, model, -0.5);
}
BENCHMARK(OgdenScan)->Arg(1)->Arg(3)->UseManualTime();

/// Values and gradients of an Ogden series at all points, against one exponential per term and point.
void OgdenPass(benchmark::State& state) {
  const auto terms = static_cast<std::size_t>(state.range(0));
  constexpr std::int32_t kPoints = 1000;
  const auto points = RubberCurve(kPoints);
  const auto function = MakeTestFunction(DeformationMode::Uniaxial, ModelType::Ogden);
  function->SetTestData(std::span<const _T_FUNT_BASE>(points));
  std::vector<double> pairs;
  for (std::size_t k = 0; k < terms; ++k) pairs.insert(pairs.end(), {0.1, 1.5 + static_cast<double>(k)});
  std::vector<double> model(kPoints), logs;
  Matrix derivatives(kPoints, static_cast<std::int32_t>(pairs.size()));
  for (const auto& point : points) logs.push_back(std::log1p(point.first));
  double own = 0.0;
  double exponentials = 0.0;
  for (auto _ : state) {
    exponentials += Seconds([&] {
      double sum = 0.0;
      for (std::size_t k = 0; k < terms; ++k) {
        for (const double log : logs) sum += std::exp(pairs[2 * k + 1] * log);
      }
      benchmark::DoNotOptimize(sum);
    });
    const double time = Seconds([&] {
      function->EvaluateBlock(static_cast<std::int32_t>(terms), pairs, 0, model, derivatives.View());
      benchmark::DoNotOptimize(derivatives.Data());
    });
    own += time;
    state.SetIterationTime(time);
  }
  state.counters["ratio_to_exponentials"] = own / exponentials;
  state.counters["ns_per_term_and_point"] =
      1e9 * own / static_cast<double>(state.iterations()) / (kPoints * static_cast<double>(terms));
}
BENCHMARK(OgdenPass)->Arg(1)->Arg(3)->Arg(6)->UseManualTime();

}  // namespace
}  // namespace Xem::Bench
