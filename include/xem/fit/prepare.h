#ifndef XEM_FIT_PREPARE_H
#define XEM_FIT_PREPARE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "xem/fit/reading.h"

/// @file
/// From the record of a testing machine to a curve that a model can be fitted to: each step by itself, and all of them
/// in their order. Records are curves whose points stand in the order of measuring. The functions throw Error: BadData
/// for records that a step cannot be taken on, BadInput for options that make no sense.
namespace Xem::Fit {

enum class CurveMeasure {
  Engineering,  ///< over the first length and cross-section
  True,         ///< logarithmic strain, force over the present cross-section of a specimen that keeps its volume
};

/// Strain and stress in engineering measure from true ones, and back: e = exp(eps) - 1, s = sigma / (1 + e).
XEM_FIT_EXPORT Curve ToEngineering(Curve truly);
XEM_FIT_EXPORT Curve ToTrue(Curve engineering);

/// Loading and unloading between two turning points of the strain, as indices of points: loading from `first` to
/// `peak`, unloading from there to `last`, which is `peak` where the record ends before.
struct Cycle {
  std::size_t first = 0;
  std::size_t peak = 0;
  std::size_t last = 0;
};

/// The cycles of a record, in which strains go away from where they began, to either side, and back. A turn counts when
/// strains go back by more than a hundredth of their range, and by more than their scatter.
XEM_FIT_EXPORT std::vector<Cycle> FindCycles(const Curve& record);

enum class Branch { Loading, Unloading };
XEM_FIT_EXPORT Curve TakeBranch(const Curve& record, const Cycle& cycle, Branch branch);

/// The straight part with which a curve begins behind its slack, as ASTM D638 looks for it.
struct Toe {
  double strain = 0.0;  ///< where the straight part, prolonged, meets zero stress
  double slope = 0.0;
  double from = 0.0;  ///< strains between which the curve is straight
  double to = 0.0;
};
XEM_FIT_EXPORT Toe FindToe(const Curve& curve);
/// Without the points before the straight part, which a new origin replaces, and shifted to it.
XEM_FIT_EXPORT Curve WithoutToe(const Curve& curve, const Toe& toe);

struct Thinned {
  Curve curve;
  double error = 0.0;  ///< no point lies further from the lines between those kept, in the unit of stress
};
/// Keeps the points between which straight lines follow the curve best: the one that lies furthest from the lines
/// between those that are kept already comes next.
XEM_FIT_EXPORT Thinned Thin(const Curve& curve, std::size_t points);

struct Smoothed {
  Curve curve;
  int window = 0;      ///< points to a parabola
  double moved = 0.0;  ///< root mean square of how far stresses moved
};
/// Stresses from parabolas through neighbouring points (Savitzky and Golay 1964), a fiftieth of the curve, 5 to 51.
XEM_FIT_EXPORT Smoothed Smooth(const Curve& curve);

struct MeanCurve {
  Curve curve;                    ///< on equal steps over the strains that all tests have
  std::vector<double> deviation;  ///< standard deviation of the tests at each point
};
/// The mean of replicate tests, each a single branch. `points` 0: as many as the shortest test has, 200 at most.
XEM_FIT_EXPORT MeanCurve Average(const std::vector<Curve>& tests, std::size_t points = 0);

/// Weighs each mode of deformation by the inverse scatter of its replicate tests, relative to the stresses with
/// relative residuals, besides the weights that curves have; a mode of one test is taken to scatter as much, relative
/// to its stresses, as the others on average. Notes say what was found.
XEM_FIT_EXPORT void WeighByScatter(Residual residual, HyperelasticData& data, std::vector<std::string>& notes);

/// A record as its columns tell it.
struct RawRecord {
  TableCurve curve;
  bool force = false;      ///< ordinates are forces in N, to be divided by the cross-section
  bool extension = false;  ///< abscissae are extensions in mm, to be divided by the gauge length
  CurveMeasure measure = CurveMeasure::Engineering;
};
/// Columns force or stress, and extension or strain; where a file has both, `hasSize` (of the specimen) asks for force
/// and extension.
XEM_FIT_EXPORT RawRecord RecordFromTable(const Table& table, bool hasSize, const ColumnNames& columns = {});

inline constexpr int kLastCycle = -1;

struct PrepareOptions {
  double area = 0.0;                                 ///< in mm^2, for forces; 0: not known
  double gaugeLength = 0.0;                          ///< in mm, for extensions; 0: not known
  CurveMeasure measure = CurveMeasure::Engineering;  ///< of the output
  int cycle = 0;                                     ///< counted from 1; 0: the whole record
  std::optional<Branch> branch = std::nullopt;       ///< of the cycle, or of a record of one
  bool cutUnloading = false;                         ///< leave out what follows the largest strain
  bool zero = false;                                 ///< shift to the first point of the branch
  bool toe = false;                                  ///< take out the slack
  Interval range = {};                               ///< of strains in the output
  std::size_t points = 0;                            ///< thin to so many; 0: keep all
  bool smooth = false;
};

struct Prepared {
  Curve curve;
  Curve raw;                         ///< the record in the measure of the output
  std::string unit;                  ///< of stress
  std::vector<std::string> history;  ///< what was done, a sentence each
};

/// All steps in this order: size of the specimen, cycle and branch, unloading, zero, toe, measure, range, smoothing,
/// thinning. Without a step that asks for one branch, the record stays as it is.
XEM_FIT_EXPORT Prepared Prepare(const RawRecord& record, const PrepareOptions& options);

}  // namespace Xem::Fit

#endif
