#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "solver/linalg/matrix.h"
#include "xem/records.h"

/// What the benchmarks share. Absolute times vary from machine to machine and from minute to minute, so every figure is
/// a ratio to a plain LAPACK solve that is timed in the same run, in turns.
namespace Xem::Bench {

/// Least squares by LAPACK's dgelss, workspace made beforehand by the routine's own advice.
class PlainSolve {
 public:
  PlainSolve(std::int32_t rows, std::int32_t columns);
  void Run(MaterialUtil::Matrix& a, std::vector<double>& b);

 private:
  std::int32_t rows_, columns_;
  std::vector<double> singular_, work_;
};

/// Uniaxial points of a rubber-like material with a ripple, at strains 0.001 ... 4.
std::vector<_T_FUNT_BASE> RubberCurve(std::int32_t points);

/// The design matrix of a polynomial of order 3 on such a curve: nine columns.
MaterialUtil::Matrix RubberDesign(const std::vector<_T_FUNT_BASE>& points);

/// Heap bytes in use at the highest point since ResetPeak, as differences: the count begins there and lasts until
/// StopCounting, for nothing should be timed meanwhile.
void ResetPeak();
void StopCounting();
std::int64_t PeakBytes();
/// Heap allocations since ResetPeak.
std::size_t AllocationCount();

/// Processor time of the process so far: other programs on the machine cost none.
double ProcessorSeconds();

template <class Work>
double Seconds(Work&& work) {
  const double begin = ProcessorSeconds();
  work();
  return ProcessorSeconds() - begin;
}

}  // namespace Xem::Bench
