#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "fit/assemble.h"
#include "xem/fit/prepare.h"

namespace Xem::Fit {
namespace {

/// A curve whose abscissae rise, for interpolation: points that do not go on from the furthest before are left out.
struct Rising {
  std::vector<double> x;
  std::vector<double> y;

  double At(double place) const {
    const auto above = std::lower_bound(x.begin(), x.end(), place);
    const auto i = static_cast<std::size_t>(above - x.begin());
    if (i == 0 || x[i] == place) return y[i];
    return y[i - 1] + (y[i] - y[i - 1]) * (place - x[i - 1]) / (x[i] - x[i - 1]);
  }
};

Rising MakeRising(const Curve& test) {
  constexpr double kLittle = 0.02;
  if (test.x.size() < 2 || test.x.size() != test.y.size()) {
    throw Error(ErrorKind::BadData, "curve " + test.name + ": a test needs at least 2 points to be averaged");
  }
  const auto [lowest, highest] = std::minmax_element(test.x.begin(), test.x.end());
  const double range = *highest - *lowest;
  const double sign = test.x.back() >= test.x.front() ? 1.0 : -1.0;
  Rising rising;
  for (std::size_t i = 0; i < test.x.size(); ++i) {
    const double x = sign * test.x[i];
    if (!rising.x.empty() && x < rising.x.back() - kLittle * range) {
      throw Error(ErrorKind::BadData, "curve " + test.name + ", row " + std::to_string(test.Row(i)) +
                                          ": strains go back, and a mean needs one branch; take it with --cycle, "
                                          "--branch or --cut-unloading");
    }
    if (!rising.x.empty() && x <= rising.x.back()) continue;
    rising.x.push_back(x);
    rising.y.push_back(test.y[i]);
  }
  if (sign < 0.0) {
    for (double& x : rising.x) x = -x;
    std::reverse(rising.x.begin(), rising.x.end());
    std::reverse(rising.y.begin(), rising.y.end());
  }
  return rising;
}

/// Mean and standard deviation of some numbers.
std::pair<double, double> MeanAndDeviation(const std::vector<double>& values) {
  const double count = static_cast<double>(values.size());
  double mean = 0.0;
  for (const double value : values) mean += value / count;
  double squares = 0.0;
  for (const double value : values) squares += (value - mean) * (value - mean);
  return {mean, values.size() > 1 ? std::sqrt(squares / (count - 1.0)) : 0.0};
}

/// Root mean square of deviations over the ordinates that they belong to, or by themselves.
double RootMeanSquare(const std::vector<double>& values) {
  double squares = 0.0;
  for (const double value : values) squares += value * value;
  return std::sqrt(squares / static_cast<double>(values.size()));
}

/// The tests of one mode, and how far they scatter.
struct ModeTests {
  std::string mode;
  std::vector<Curve*> tests;
  double size = 0.0;     ///< of its stresses
  double scatter = 0.0;  ///< of these between tests; 0: not known
};

std::vector<ModeTests> TestsByMode(HyperelasticData& data) {
  std::vector<ModeTests> modes{{"uniaxial", {&data.uniaxial}},
                               {"equibiaxial", {&data.equibiaxial}},
                               {"pure_shear", {&data.pureShear}},
                               {"simple_shear", {&data.simpleShear}}};
  for (ModeTests& mode : modes) {
    for (ReplicateTest& replicate : data.replicates) {
      if (replicate.mode == mode.mode) mode.tests.push_back(&replicate.curve);
    }
    mode.tests.erase(std::remove_if(mode.tests.begin(), mode.tests.end(), [](const Curve* c) { return c->Empty(); }),
                     mode.tests.end());
  }
  modes.erase(std::remove_if(modes.begin(), modes.end(), [](const ModeTests& mode) { return mode.tests.empty(); }),
              modes.end());
  return modes;
}

void MeasureScatter(ModeTests& mode) {
  mode.size = RootMeanSquare(mode.tests.front()->y);
  if (mode.tests.size() < 2) return;
  std::vector<Curve> tests;
  for (const Curve* test : mode.tests) tests.push_back(*test);
  const MeanCurve mean = Average(tests);
  mode.size = RootMeanSquare(mean.curve.y);
  mode.scatter = RootMeanSquare(mean.deviation);
}

}  // namespace

MeanCurve Average(const std::vector<Curve>& tests, std::size_t points) {
  constexpr std::size_t kUsualPoints = 200;
  if (tests.empty()) throw Error(ErrorKind::BadInput, "there is no test to average");
  std::vector<Rising> rising;
  double lower = -std::numeric_limits<double>::infinity();
  double upper = std::numeric_limits<double>::infinity();
  std::size_t fewest = kUsualPoints;
  for (const Curve& test : tests) {
    rising.push_back(MakeRising(test));
    lower = std::max(lower, rising.back().x.front());
    upper = std::min(upper, rising.back().x.back());
    fewest = std::min(fewest, rising.back().x.size());
  }
  if (!(lower < upper)) {
    throw Error(ErrorKind::BadData, "the tests have no strains in common: one begins at " + Text(lower) +
                                        ", where another has ended at " + Text(upper));
  }
  const std::size_t count = points > 0 ? points : fewest;
  if (count < 2) throw Error(ErrorKind::BadInput, "a mean curve needs at least 2 points");
  MeanCurve mean;
  for (std::size_t i = 0; i < count; ++i) {
    const double share = static_cast<double>(i) / static_cast<double>(count - 1);
    const double x = i + 1 == count ? upper : lower + share * (upper - lower);
    std::vector<double> values;
    for (const Rising& test : rising) values.push_back(test.At(x));
    const auto [middle, deviation] = MeanAndDeviation(values);
    mean.curve.x.push_back(x);
    mean.curve.y.push_back(middle);
    mean.deviation.push_back(deviation);
  }
  return mean;
}

void WeighByScatter(Residual residual, HyperelasticData& data, std::vector<std::string>& notes) {
  std::vector<ModeTests> modes = TestsByMode(data);
  double relative = 0.0;
  double known = 0.0;
  for (ModeTests& mode : modes) {
    MeasureScatter(mode);
    if (!(mode.scatter > 0.0) || !(mode.size > 0.0)) continue;
    relative += mode.scatter / mode.size;
    known += 1.0;
  }
  if (known == 0.0) {
    throw Error(ErrorKind::BadInput, "weights by scatter need replicate tests that differ in at least one mode");
  }
  relative /= known;
  double largest = 0.0;
  for (ModeTests& mode : modes) {
    std::string note = "curve " + mode.mode + ": ";
    if (mode.scatter > 0.0) {
      note += "its " + std::to_string(mode.tests.size()) + " tests scatter by " +
              Text(100.0 * mode.scatter / mode.size) + " %";
    } else {
      mode.scatter = relative * mode.size;
      note += "taken to scatter by " + Text(100.0 * relative) + " %, as other modes do on average";
    }
    notes.push_back(note + "; weighted by the inverse of that");
    if (residual == Residual::Relative) mode.scatter /= mode.size;
    largest = std::max(largest, mode.scatter);
  }
  for (ModeTests& mode : modes) {
    for (Curve* test : mode.tests) test->weight *= largest / mode.scatter;
  }
}

}  // namespace Xem::Fit
