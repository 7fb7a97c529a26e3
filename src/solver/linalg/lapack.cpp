#include "solver/linalg/lapack.h"

#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "kernels/kernels.h"

// Fortran names, with the hidden lengths of character arguments at the end, as gfortran's convention has them.
extern "C" {
void dgesvd_(const char* jobu, const char* jobvt, const std::int32_t* m, const std::int32_t* n, double* a,
             const std::int32_t* lda, double* s, double* u, const std::int32_t* ldu, double* vt,
             const std::int32_t* ldvt, double* work, const std::int32_t* lwork, std::int32_t* info, std::size_t,
             std::size_t);
void dgeqrf_(const std::int32_t* m, const std::int32_t* n, double* a, const std::int32_t* lda, double* tau,
             double* work, const std::int32_t* lwork, std::int32_t* info);
void dpotrf_(const char* uplo, const std::int32_t* n, double* a, const std::int32_t* lda, std::int32_t* info,
             std::size_t);
void dsysv_(const char* uplo, const std::int32_t* n, const std::int32_t* nrhs, double* a, const std::int32_t* lda,
            std::int32_t* ipiv, double* b, const std::int32_t* ldb, double* work, const std::int32_t* lwork,
            std::int32_t* info, std::size_t);
void dsyev_(const char* jobz, const char* uplo, const std::int32_t* n, double* a, const std::int32_t* lda, double* w,
            double* work, const std::int32_t* lwork, std::int32_t* info, std::size_t, std::size_t);
void dgetrf_(const std::int32_t* m, const std::int32_t* n, double* a, const std::int32_t* lda, std::int32_t* ipiv,
             std::int32_t* info);
void dgetri_(const std::int32_t* n, double* a, const std::int32_t* lda, const std::int32_t* ipiv, double* work,
             const std::int32_t* lwork, std::int32_t* info);
void dgetrs_(const char* trans, const std::int32_t* n, const std::int32_t* nrhs, const double* a,
             const std::int32_t* lda, const std::int32_t* ipiv, double* b, const std::int32_t* ldb, std::int32_t* info,
             std::size_t);
void dgemm_(const char* transa, const char* transb, const std::int32_t* m, const std::int32_t* n, const std::int32_t* k,
            const double* alpha, const double* a, const std::int32_t* lda, const double* b, const std::int32_t* ldb,
            const double* beta, double* c, const std::int32_t* ldc, std::size_t, std::size_t);
void dgemv_(const char* trans, const std::int32_t* m, const std::int32_t* n, const double* alpha, const double* a,
            const std::int32_t* lda, const double* x, const std::int32_t* incx, const double* beta, double* y,
            const std::int32_t* incy, std::size_t);
double ddot_(const std::int32_t* n, const double* x, const std::int32_t* incx, const double* y,
             const std::int32_t* incy);
}

namespace Xem::MaterialUtil {
namespace {

constexpr std::int32_t kOne = 1;

/// Up to this many columns are reduced one by one, many points at a time; blocks of more by LAPACK.
constexpr std::int32_t kFewColumns = 32;

/// The one place where a failed routine speaks.
void ThrowInfo(std::int32_t info) {
  if (info != 0) throw static_cast<int>(info);
}

void MultiplyAs(const char* transposed, const Matrix& a, std::span<const double> x, std::span<double> y) {
  if (y.empty()) return;
  if (x.empty()) {
    std::fill(y.begin(), y.end(), 0.0);
    return;
  }
  const std::int32_t rows = a.Rows();
  const std::int32_t columns = a.Columns();
  const double alpha = 1.0;
  const double beta = 0.0;
  dgemv_(transposed, &rows, &columns, &alpha, a.Data(), &rows, x.data(), &kOne, &beta, y.data(), &kOne, 1);
}

}  // namespace

SingularValues DecomposeSingular(Matrix a) {
  const std::int32_t m = a.Rows();
  const std::int32_t n = a.Columns();
  const std::int32_t least = std::min(m, n);
  SingularValues result;
  result.s.Resize(least);
  if (least == 0) return result;

  // A round of dgesvd may make no progress and be repeated for ever where infinities or NaN stand among numbers. With
  // NaN alone it ends: no values, or its status.
  if (!std::all_of(a.Data(), a.Data() + std::int64_t{m} * n, [](double value) { return std::isfinite(value); })) {
    a.Fill(std::numeric_limits<double>::quiet_NaN());
  }

  const bool tall = m >= n;
  Matrix smaller(least, least);  // V^T of a tall matrix, U of a wide one
  const std::int64_t length = std::max<std::int64_t>(3 * std::int64_t{least} + std::max(m, n), 5 * std::int64_t{least});
  const auto lwork = static_cast<std::int32_t>(std::min<std::int64_t>(length, INT32_MAX));
  std::vector<double> work(static_cast<std::size_t>(lwork));
  std::int32_t info = 0;
  if (tall) {
    dgesvd_("O", "S", &m, &n, a.Data(), &m, result.s.Span().data(), nullptr, &m, smaller.Data(), &least, work.data(),
            &lwork, &info, 1, 1);
  } else {
    dgesvd_("S", "O", &m, &n, a.Data(), &m, result.s.Span().data(), smaller.Data(), &least, nullptr, &n, work.data(),
            &lwork, &info, 1, 1);
  }
  ThrowInfo(info);
  result.u = std::move(tall ? a : smaller);
  result.vt = std::move(tall ? smaller : a);
  return result;
}

Triangulariser::Triangulariser(std::int32_t columns)
    : scales_(static_cast<std::size_t>(columns)), work_(32 * static_cast<std::size_t>(columns)) {}

void Triangulariser::Reduce(const MatrixView& a) {
  if (a.rows == 0 || a.columns == 0) return;
  const auto clearBelow = [&a](std::int32_t columns, std::int32_t rows) {
    for (std::int32_t column = 0; column < std::min(rows - 1, columns); ++column) {
      std::ranges::fill(a.Rows(0, rows).Column(column).subspan(static_cast<std::size_t>(column) + 1), 0.0);
    }
  };
  if (a.columns <= kFewColumns) {
    const auto done = static_cast<std::int32_t>(ForThisProcessor().triangularise(
        static_cast<std::size_t>(a.rows), static_cast<std::size_t>(a.columns), a.data, a.leadingDimension));
    if (done == a.columns) return clearBelow(done, std::min(a.rows, a.columns));
    clearBelow(done, a.rows);
  }
  const auto lwork = static_cast<std::int32_t>(work_.size());
  std::int32_t info = 0;
  dgeqrf_(&a.rows, &a.columns, a.data, &a.leadingDimension, scales_.data(), work_.data(), &lwork, &info);
  ThrowInfo(info);
  clearBelow(a.columns, a.rows);
}

bool FactoriseCholesky(const MatrixView& a) {
  if (a.rows == 0) return true;
  std::int32_t info = 0;
  dpotrf_("U", &a.rows, a.data, &a.leadingDimension, &info, 1);
  if (info < 0) ThrowInfo(info);
  return info == 0;
}

SymmetricSolver::SymmetricSolver(std::int32_t order)
    : order_(order), pivots_(static_cast<std::size_t>(order)), work_(48 * static_cast<std::size_t>(order)) {}

void SymmetricSolver::Solve(Matrix& b, std::span<double> x) {
  if (order_ == 0) return;
  const auto lwork = static_cast<std::int32_t>(work_.size());
  std::int32_t info = 0;
  dsysv_("L", &order_, &kOne, b.Data(), &order_, pivots_.data(), x.data(), &order_, work_.data(), &lwork, &info, 1);
  ThrowInfo(info);
}

SymmetricEigenvalues::SymmetricEigenvalues(std::int32_t order)
    : order_(order), values_(static_cast<std::size_t>(order)), work_(50 * static_cast<std::size_t>(order)) {}

std::span<const double> SymmetricEigenvalues::Compute(Matrix& a) {
  if (order_ == 0) return {};
  const auto lwork = static_cast<std::int32_t>(work_.size());
  std::int32_t info = 0;
  dsyev_("N", "L", &order_, a.Data(), &order_, values_.data(), work_.data(), &lwork, &info, 1, 1);
  ThrowInfo(info);
  return values_;
}

void Invert(Matrix& a) {
  const std::int32_t n = a.Rows();
  if (n == 0) return;
  BasicVector<std::int32_t> pivots(n);
  constexpr std::int32_t kBlock = 64;
  const std::int32_t lwork = n <= kBlock ? n : kBlock * n;  // a matrix of no more than a block is not divided
  Vector work(lwork);
  std::int32_t info = 0;
  dgetrf_(&n, &n, a.Data(), &n, pivots.data(), &info);
  ThrowInfo(info);
  dgetri_(&n, a.Data(), &n, pivots.data(), work.data(), &lwork, &info);
  ThrowInfo(info);
}

void SolveLu(Matrix& a, std::span<double> b) {
  const std::int32_t n = a.Rows();
  if (n == 0) return;
  std::vector<std::int32_t> pivots(static_cast<std::size_t>(n));
  std::int32_t info = 0;
  dgetrf_(&n, &n, a.Data(), &n, pivots.data(), &info);
  ThrowInfo(info);
  dgetrs_("N", &n, &kOne, a.Data(), &n, pivots.data(), b.data(), &n, &info, 1);
  ThrowInfo(info);
}

Matrix TransposedProduct(const Matrix& a, const Matrix& b) {
  Matrix c(a.Columns(), b.Columns());
  const std::int32_t rows = a.Columns();
  const std::int32_t columns = b.Columns();
  const std::int32_t inner = a.Rows();
  if (rows == 0 || columns == 0 || inner == 0) return c;
  const double alpha = 1.0;
  const double beta = 0.0;
  dgemm_("T", "N", &rows, &columns, &inner, &alpha, a.Data(), &inner, b.Data(), &inner, &beta, c.Data(), &rows, 1, 1);
  return c;
}

void Multiply(const Matrix& a, std::span<const double> x, std::span<double> y) { MultiplyAs("N", a, x, y); }

void MultiplyTransposed(const Matrix& a, std::span<const double> x, std::span<double> y) { MultiplyAs("T", a, x, y); }

double Dot(std::span<const double> x, std::span<const double> y) {
  const auto n = static_cast<std::int32_t>(x.size());
  return n == 0 ? 0.0 : ddot_(&n, x.data(), &kOne, y.data(), &kOne);
}

void UseOneBlasThread() {
  // Looked up at run time, so that any conforming BLAS serves; the address is found once.
  using Setter = void (*)(int);
  static const auto setter = reinterpret_cast<Setter>(dlsym(RTLD_DEFAULT, "openblas_set_num_threads"));
  if (setter != nullptr) setter(1);
}

}  // namespace Xem::MaterialUtil
