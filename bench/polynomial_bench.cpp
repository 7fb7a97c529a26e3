#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "hyperelastic/linear_fit.h"
#include "solver/levenberg_marquardt.h"
#include "support.h"
#include "testdata/deformation_mode.h"
#include "testfunctions/hyperelastic_test_function.h"

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
  std::int64_t peak = 0;
  std::size_t designBytes = 1;
  Compare(state, [&](const auto& points, const Matrix& design, const auto&) {
    const auto data = MakeTestData(DeformationMode::Uniaxial);
    data->SetTestData(std::span<const _T_FUNT_BASE>(points));
    const TestDataList list{data};
    const XemMaterialCurveFittingPolynomial model(list, 3);
    std::vector<double> coefficients(9);
    designBytes = sizeof(double) * static_cast<std::size_t>(design.Rows()) * static_cast<std::size_t>(design.Columns());
    ResetPeak();
    const std::int64_t before = PeakBytes();
    const double time = Seconds([&] { SolveLinear(model, FixedTermMask(9), coefficients, 1, 0.0); });
    peak = PeakBytes() - before;
    return time;
  });
  // Beyond the points themselves.
  state.counters["memory_per_design"] = static_cast<double>(peak) / static_cast<double>(designBytes);
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

}  // namespace
}  // namespace Xem::Bench
