#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "support.h"
#include "xem/sheet_metal.h"

namespace Xem::Bench {
namespace {

constexpr double kIncrement = 1e-4;

void Fill(DoubleArray& array, const std::vector<double>& values) {
  for (const double value : values) array.Add(value);
}

/// A whole curve of state.range(0) paths; allocations of the call and time per step of a path.
template <class Call>
void WholeCurve(benchmark::State& state, Call&& call) {
  PointArray curve;
  DoubleArray settings;
  Fill(settings, {static_cast<double>(state.range(0)), kIncrement, 0.01});
  std::size_t allocated = 0;
  for (auto _ : state) {
    ResetPeak();
    call(curve, settings);
    allocated = AllocationCount();
  }
  double steps = 0.0;
  for (std::int64_t i = 0; i < curve.GetSize(); ++i) steps += curve[i].first / kIncrement;
  state.counters["allocations"] = static_cast<double>(allocated);
  state.counters["time_per_step"] =
      benchmark::Counter(steps, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void FormingLimitVonMises(benchmark::State& state) {
  DoubleArray none, steel;
  Fill(steel, {518.968, 0.0007648, 0.28985, 0.0});
  WholeCurve(state, [&](PointArray& curve, const DoubleArray& settings) {
    FormingLimitCurve(curve, 0, settings, 100, none, 200, steel);
  });
}
BENCHMARK(FormingLimitVonMises)->Arg(11)->Arg(201)->Unit(benchmark::kMillisecond);

void FormingLimitHill(benchmark::State& state) {
  DoubleArray anisotropy, aluminium;
  Fill(anisotropy, {0.57, 1.8});
  Fill(aluminium, {120.0, 555.5, 1.106, 0.5232});
  WholeCurve(state, [&](PointArray& curve, const DoubleArray& settings) {
    FormingLimitCurve(curve, 0, settings, 101, anisotropy, 201, aluminium);
  });
}
BENCHMARK(FormingLimitHill)->Arg(201)->Unit(benchmark::kMillisecond);

/// The hardening table has state.range(1) points: time grows with the logarithm of that number, not with it.
void FormingLimitTable(benchmark::State& state) {
  DoubleArray none;
  PointArray table;
  const auto points = static_cast<int>(state.range(1));
  for (int i = 0; i < points; ++i) {
    const double strain = 2.0 * i / (points - 1);
    table.Add({strain, 518.968 * std::pow(0.0007648 + strain, 0.28985)});
  }
  WholeCurve(state, [&](PointArray& curve, const DoubleArray& settings) {
    FormingLimitCurveCustomHR(curve, 0, settings, 100, none, 298, table);
  });
}
BENCHMARK(FormingLimitTable)->Args({201, 100})->Args({201, 10000})->Args({201, 1000000})->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Xem::Bench
