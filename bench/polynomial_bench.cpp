#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "solver/levenberg_marquardt.h"
#include "solver/linalg/least_squares.h"
#include "support.h"
#include "testfunctions/hyperelastic_test_function.h"
#include "xem/hyperelastic.h"

namespace Xem::Bench {
namespace {

using namespace MaterialUtil;

std::vector<double> Ordinates(const std::vector<_T_FUNT_BASE>& points) {
  std::vector<double> values;
  for (const auto& point : points) values.push_back(point.second);
  return values;
}

/// Times `work` and a plain solve of the same rows in turns; reports their ratio and, if asked, time per point.
template <class Work>
void Compare(benchmark::State& state, Work&& work) {
  const auto rows = static_cast<std::int32_t>(state.range(0));
  const auto points = RubberCurve(rows);
  const Matrix design = RubberDesign(points);
  const auto target = Ordinates(points);
  PlainSolve plain(rows, design.Columns());
  double own = 0.0;
  double reference = 0.0;
  for (auto _ : state) {
    Matrix copy = design;
    std::vector<double> b = target;
    reference += Seconds([&] { plain.Run(copy, b); });
    const double time = work(points, design, target);
    own += time;
    state.SetIterationTime(time);
  }
  state.counters["ratio_to_dgelss"] = own / reference;
  state.counters["ns_per_point"] = 1e9 * own / static_cast<double>(state.iterations()) / rows;
}

void LinearSolve(benchmark::State& state) {
  std::size_t peak = 0;
  std::size_t designBytes = 1;
  Compare(state, [&](const auto&, const Matrix& design, const auto& target) {
    Matrix copy = design;
    designBytes = sizeof(double) * static_cast<std::size_t>(copy.Rows()) * static_cast<std::size_t>(copy.Columns());
    ResetPeak();
    const std::size_t before = PeakBytes();
    const double time = Seconds([&] { benchmark::DoNotOptimize(SolveTruncated(std::move(copy), target, 0.0)); });
    peak = PeakBytes() - before;
    return time;
  });
  // Beyond the design matrix itself, which the solve takes over.
  state.counters["extra_memory_per_design"] = static_cast<double>(peak) / static_cast<double>(designBytes);
}
BENCHMARK(LinearSolve)->Arg(50)->Arg(1000)->Arg(20000)->Arg(1000000)->UseManualTime();

void SolverIteration(benchmark::State& state) {
  std::size_t allocated = 0;
  Compare(state, [&](const auto& points, const Matrix&, const auto&) {
    const auto function = MakeTestFunction(DeformationMode::Uniaxial, ModelType::Polynomial);
    function->SetTestData(std::span<const _T_FUNT_BASE>(points));
    const TestFunctionList functions{function};
    LevenbergMarquardtMethodAbsolute solver(functions, 3);
    solver.SetMask(FixedTermMask(9));
    std::vector<double> parameters(9, 0.01);
    ResetPeak();
    const double time = Seconds([&] { solver.Solve(parameters, 1e-4); });
    allocated = AllocationCount();
    return time / solver.Iterations();
  });
  state.counters["allocations_per_solve"] = static_cast<double>(allocated);
}
BENCHMARK(SolverIteration)->Arg(50)->Arg(1000)->Arg(20000)->Arg(1000000)->UseManualTime();

void WholePolynomialFit(benchmark::State& state) {
  Compare(state, [&](const auto& points, const Matrix&, const auto&) {
    PointArray curve, none, out[4];
    DoubleArray coefficients;
    for (const auto& point : points) curve.Add(point);
    out[0].SetSize(curve.GetSize());
    return Seconds([&] {
      CurveFitting4Polynominal(curve, none, none, none, 1, 0, 0, 0, 3, 1, 0.0, coefficients, out[0], out[1], out[2],
                               out[3], 0.0, 1.0);
    });
  });
}
BENCHMARK(WholePolynomialFit)->Arg(50)->Arg(1000)->Arg(20000)->Arg(1000000)->UseManualTime();

}  // namespace
}  // namespace Xem::Bench
