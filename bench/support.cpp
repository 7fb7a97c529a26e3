#include "support.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <new>
#include <span>

#include "testdata/deformation_mode.h"

// The reference that figures are measured against; the library itself does not use it.
extern "C" void dgelss_(const std::int32_t* m, const std::int32_t* n, const std::int32_t* nrhs, double* a,
                        const std::int32_t* lda, double* b, const std::int32_t* ldb, double* s, const double* rcond,
                        std::int32_t* rank, double* work, const std::int32_t* lwork, std::int32_t* info);

namespace {

// Counted between ResetPeak and StopCounting alone, so that calls timed before and after cost what they cost without;
// what is freed may have been allocated earlier.
std::atomic<bool> counting{false};
std::atomic<std::int64_t> inUse{0};
std::atomic<std::int64_t> peak{0};
std::atomic<std::size_t> allocations{0};

void* Counted(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  if (!counting) return memory;
  const std::int64_t now = inUse += static_cast<std::int64_t>(malloc_usable_size(memory));
  peak = std::max(peak.load(), now);
  ++allocations;
  return memory;
}

void Release(void* memory) noexcept {
  if (memory != nullptr && counting) inUse -= static_cast<std::int64_t>(malloc_usable_size(memory));
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return Counted(size); }
void* operator new[](std::size_t size) { return Counted(size); }
void operator delete(void* memory) noexcept { Release(memory); }
void operator delete[](void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Release(memory); }

namespace Xem::Bench {

using namespace MaterialUtil;

PlainSolve::PlainSolve(std::int32_t rows, std::int32_t columns)
    : rows_(rows), columns_(columns), singular_(static_cast<std::size_t>(columns)), work_(1) {
  const std::int32_t one = 1;
  const std::int32_t query = -1;
  const double rcond = -1.0;
  std::int32_t rank = 0;
  std::int32_t info = 0;
  dgelss_(&rows_, &columns_, &one, nullptr, &rows_, nullptr, &rows_, singular_.data(), &rcond, &rank, work_.data(),
          &query, &info);
  work_.resize(static_cast<std::size_t>(work_[0]));
}

void PlainSolve::Run(Matrix& a, std::vector<double>& b) {
  const std::int32_t one = 1;
  const auto lwork = static_cast<std::int32_t>(work_.size());
  const double rcond = -1.0;
  std::int32_t rank = 0;
  std::int32_t info = 0;
  dgelss_(&rows_, &columns_, &one, a.Data(), &rows_, b.data(), &rows_, singular_.data(), &rcond, &rank, work_.data(),
          &lwork, &info);
}

std::vector<_T_FUNT_BASE> RubberCurve(std::int32_t points) {
  std::vector<_T_FUNT_BASE> curve;
  curve.reserve(static_cast<std::size_t>(points));
  for (std::int32_t i = 0; i < points; ++i) {
    const double strain = 0.001 + 3.999 * i / points;
    const double stretch = 1.0 + strain;
    curve.emplace_back(strain, (stretch - 1.0 / (stretch * stretch)) * (0.4 + 0.01 * std::sin(40.0 * strain)));
  }
  return curve;
}

Matrix RubberDesign(const std::vector<_T_FUNT_BASE>& points) {
  const auto data = MakeTestData(DeformationMode::Uniaxial);
  data->SetTestData(std::span<const _T_FUNT_BASE>(points));
  Matrix design(data->PointCount(), 9);
  data->AssemblePolynomialRows(3, 0, FixedTermMask(9), design.View());
  return design;
}

double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

void ResetPeak() {
  counting = true;
  peak = inUse.load();
  allocations = 0;
}
void StopCounting() { counting = false; }
std::int64_t PeakBytes() { return peak.load(); }
std::size_t AllocationCount() { return allocations.load(); }

}  // namespace Xem::Bench
