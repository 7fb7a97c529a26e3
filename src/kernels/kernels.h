#pragma once

#include <cstddef>

/// Laws over blocks of points, several points at once, compiled for more than one instruction set.
///
/// A kernel writes model values and, unless there is nowhere to write them, the derivatives by each parameter: a
/// contiguous column per parameter. What a point gets does not depend on the block that it stands in. Between
/// instruction sets results differ by rounding only.
///
/// Nothing in this header is more than a declaration, so that no function compiled for one processor serves another.
namespace Xem::MaterialUtil {

/// Derivatives of a block: columns `stride` numbers apart; none without `first`.
struct KernelColumns {
  double* first;
  std::ptrdiff_t stride;
};

/// Where the results of a block go.
struct KernelBlock {
  std::size_t count;
  double* model;
  KernelColumns derivatives;
};

/// Prony series g_1 ... g_n, tau_1 ... tau_n (viscoelastic/prony.h).
struct PronyArguments {
  std::size_t terms;
  const double* parameters;
  const double* times;
};

/// Derivatives of a Prony series by one coefficient and its time, to become those by its share of a rest and the
/// logarithm of the time.
struct PronyShareColumns {
  double* byCoefficient;
  double* byTime;
  double* byRest;  ///< what a larger rest gives to the terms that follow; becomes what it gives from this one on
};

/// Ogden series mu_1, alpha_1, mu_2, ... (testdata/strain_energy.h). `lateralExponent` is -1/2, -1 or -2, and no
/// |alpha ln lambda| is above kLargestOgdenLogarithm.
struct OgdenArguments {
  std::size_t terms;
  const double* pairs;
  double lateralExponent;
  const double* logStretches;
  const double* inverseStretches;
};
inline constexpr double kLargestOgdenLogarithm = 350.0;

/// Term C_ij (I1 - 3)^i (I2 - 3)^j of a strain energy.
struct PolynomialTerm {
  int i;
  int j;
};

/// Polynomial strain energy (testdata/strain_energy.h): what its points are known by, and derivatives by the
/// coefficients. Terms are of a total degree up to `order`, which is at most kLargestPolynomialOrder; where they
/// are all, by total degree and then by falling i. Without coefficients there are derivatives alone.
struct PolynomialArguments {
  std::size_t order;
  std::size_t termCount;
  const PolynomialTerm* terms;
  const double* coefficients;
  const double* i1;  // I1 - 3
  const double* i2;  // I2 - 3
  const double* w1;  // the stress is w1 dW/dI1 + w2 dW/dI2
  const double* w2;
};
inline constexpr int kLargestPolynomialOrder = 64;

/// Power-law stiffness and damping (dynamic/stiffness_damping_law.h), derivatives by reference strain and exponent. Of
/// each point strains from a ratio have ln(1 / R - 1) and the factor 1 / (2 R), its logarithm for that of the strain;
/// strains from a damping have h in place of the factor; ratios and dampings have ln(2 x) of the stress x or,
/// for an exponent above 0, ln(2 gamma).
struct PowerLawArguments {
  double referenceStrain;
  double exponent;
  double logScale;
  const double* logarithms;
  const double* factors;
};

/// Hyperbolic stiffness and damping of strains, derivatives by the reference strain: one column. That of the stiffness
/// is multiplied by a number.
struct HyperbolicArguments {
  double referenceStrain;
  const double* strains;
  double slopeScale;
};

/// Generalised hyperbolic stiffness (dynamic/ghe_law.h) of strains over the reference strain, none negative, with both
/// scales above 0; six derivatives.
struct GheArguments {
  const double* parameters;
  const double* strains;
};

/// The damping that goes with it, of the logarithms of 1 - G/G0; derivatives by both numbers.
struct GheDampingArguments {
  double largestDamping;
  double exponent;
  const double* logLosses;
};

/// Water contents (soil/retention_law.h) times `scale`, and their derivatives by the parameters of the model. Suctions
/// have logarithms where they are above 0.
struct RetentionArguments {
  const double* parameters;
  double scale;
  const double* suctions;
  const double* logSuctions;
};

/// Creep strains at one stress (viscoelastic/creep_law.h), whose powers come with it, at finite times above 0;
/// derivatives by C1 ... C7.
struct CreepArguments {
  double timeExponent;
  double logStress;
  double stressToC2;
  double stressToC6;
  double primary;    // C1 s^C2
  double secondary;  // C5 s^C6
  const double* times;
  const double* logTimes;
};

inline constexpr std::size_t kLaneSumLength = 8;
inline constexpr std::size_t kLargestPositiveDefinite = 24;

struct Kernels {
  void (*exp)(std::size_t count, const double* x, double* result);
  void (*log)(std::size_t count, const double* x, double* result);
  void (*prony)(const PronyArguments& series, const KernelBlock& block);
  /// `span` is what the coefficient can be at most, `share` what it takes of a larger rest.
  void (*pronyShare)(std::size_t count, double span, double share, double time, const PronyShareColumns& columns);
  void (*ogden)(const OgdenArguments& series, const KernelBlock& block);
  void (*polynomial)(const PolynomialArguments& energy, const KernelBlock& block);

  void (*powerLawStrains)(const PowerLawArguments& law, const KernelBlock& block);
  void (*powerLawLogStrains)(const PowerLawArguments& law, const KernelBlock& block);
  void (*powerLawRatios)(const PowerLawArguments& law, const KernelBlock& block);
  void (*powerLawRatiosAtStrains)(const PowerLawArguments& law, const KernelBlock& block);
  void (*powerLawDampingStrains)(const PowerLawArguments& law, const KernelBlock& block);
  void (*powerLawDampingLogStrains)(const PowerLawArguments& law, const KernelBlock& block);
  void (*powerLawDampings)(const PowerLawArguments& law, const KernelBlock& block);
  void (*powerLawDampingsAtStrains)(const PowerLawArguments& law, const KernelBlock& block);
  void (*hyperbolicRatios)(const HyperbolicArguments& law, const KernelBlock& block);
  void (*hyperbolicDampings)(const HyperbolicArguments& law, const KernelBlock& block);
  void (*gheRatios)(const GheArguments& law, const KernelBlock& block);
  void (*gheDampings)(const GheDampingArguments& law, const KernelBlock& block);

  void (*vanGenuchten)(const RetentionArguments& law, const KernelBlock& block);
  void (*freeVanGenuchten)(const RetentionArguments& law, const KernelBlock& block);  // m too
  void (*fredlundXing)(const RetentionArguments& law, const KernelBlock& block);
  void (*brooksCorey)(const RetentionArguments& law, const KernelBlock& block);

  void (*creep)(const CreepArguments& law, const KernelBlock& block);

  /// residuals = measured - residuals; relative: 1 - residuals / measured.
  void (*absoluteResiduals)(std::size_t count, const double* measured, double* residuals);
  /// The same, and every column over measured; of the columns from `row` on.
  void (*relativeResiduals)(std::size_t count, const double* measured, double* residuals, std::size_t row,
                            double* const* columns, std::size_t columnCount);
  /// x *= factors.
  void (*multiply)(std::size_t count, const double* factors, double* x);
  /// Adds the inner product of columns i and j, for i <= j, to sum i + j columnCount; what stands below the diagonal of
  /// this square means nothing. A sum is spread over kLaneSumLength numbers until the points are through. It does not
  /// depend on the other columns, nor on the lengths of blocks that are multiples of kLaneSumLength. With `fresh` sums
  /// begin at zero, whatever stands there.
  void (*addProducts)(std::size_t count, const double* const* columns, std::size_t columnCount, double* sums,
                      bool fresh);
  /// The same for the last column j alone.
  void (*addProductsOfLast)(std::size_t count, const double* const* columns, std::size_t columnCount, double* sums,
                            bool fresh);
  /// Makes numbers of the sums of columns `from` ... columnCount - 1.
  void (*totals)(const double* sums, std::size_t columnCount, std::size_t from, double* totals);
  /// Both at once, with the same result, for points of one block alone. `sums` is room that it may use.
  void (*products)(std::size_t count, const double* const* columns, std::size_t columnCount, double* sums,
                   double* totals);

  /// Solves (A + damping diag A) x = b, A of an order up to kLargestPositiveDefinite, by its columns, `stride` numbers
  /// apart, down to the diagonal. Returns false, with x as it was, unless every pivot of L D L^T is well clear of what
  /// rounding may make of it; a general factorisation then tells what the matrix is. x may be b.
  bool (*solvePositiveDefinite)(std::size_t order, const double* a, std::size_t stride, double damping, const double* b,
                                double* x);

  /// The triangle R of A = Q R in place of A, of columns `stride` numbers apart; what stands below it means nothing.
  /// Returns how many columns were reduced: all of them, or those before one whose square is not in the range of
  /// numbers; a column of zeros stays one. A general factorisation may go on from there, once the columns before have
  /// zeros below R.
  std::size_t (*triangularise)(std::size_t rows, std::size_t columns, double* a, std::ptrdiff_t stride);
};

/// The kernels for the processor at hand, which does not change.
const Kernels& ForThisProcessor();

/// Those that it can run, the best first; null ends the list.
const Kernels* const* EveryKernels();

}  // namespace Xem::MaterialUtil
