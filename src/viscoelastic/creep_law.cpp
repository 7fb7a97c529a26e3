#include "viscoelastic/creep_law.h"

#include <cmath>
#include <cstddef>

namespace Xem::MaterialUtil {
namespace {

/// Ordinary least-squares line.
struct Line {
  double slope = 0.0;
  double intercept = 0.0;
};

/// Sums of a straight-line regression. Differences from the first point keep the digits that N sum x^2 - (sum x)^2
/// would lose, and are exactly zero for a constant abscissa: the slope is then 0/0.
class LineSums {
 public:
  void Add(double x, double y) {
    if (count_ == 0.0) {
      x0_ = x;
      y0_ = y;
    }
    const double dx = x - x0_;
    const double dy = y - y0_;
    count_ += 1.0;
    x_ += dx;
    y_ += dy;
    xx_ += dx * dx;
    xy_ += dx * dy;
  }
  Line Fit() const {
    const double slope = (count_ * xy_ - x_ * y_) / (count_ * xx_ - x_ * x_);
    return {slope, y0_ + y_ / count_ - slope * (x0_ + x_ / count_)};
  }

 private:
  double count_ = 0.0, x0_ = 0.0, y0_ = 0.0, x_ = 0.0, y_ = 0.0, xx_ = 0.0, xy_ = 0.0;
};

bool ClampInto(double& target, double tested, double lower, double upper) {
  if (tested > upper) {
    target = upper;
    return true;
  }
  if (tested < lower) {
    target = lower;
    return true;
  }
  return false;
}

bool MakePositive(double& value) {
  if (!(value < 0.0)) return false;
  value = -value;
  return true;
}

}  // namespace

CreepAtStress::CreepAtStress(std::span<const double> c, double stress)
    : timeExponent_(c[kC4]),
      logStress_(std::log(stress)),
      stressToC2_(std::pow(stress, c[kC2])),
      stressToC6_(std::pow(stress, c[kC6])),
      primary_(c[kC1] * stressToC2_),
      secondary_(c[kC5] * stressToC6_) {}

double CreepAtStress::Strain(double time) const { return primary_ * std::pow(time, timeExponent_) + secondary_ * time; }

double CreepAtStress::Gradient(double time, double logTime, std::span<double> gradient) const {
  const double timeToC4 = std::pow(time, timeExponent_);
  const double primary = primary_ * timeToC4;
  const double secondary = secondary_ * time;
  gradient[kC1] = stressToC2_ * timeToC4;
  gradient[kC2] = primary * logStress_;
  gradient[kC3] = 0.0;
  gradient[kC4] = primary * logTime;
  gradient[kC5] = stressToC6_ * time;
  gradient[kC6] = secondary * logStress_;
  gradient[kC7] = 0.0;
  return primary + secondary;
}

void CreepAtStress::Strains(const double* times, const double* logTimes, const KernelBlock& block) const {
  ForThisProcessor().creep({timeExponent_, logStress_, stressToC2_, stressToC6_, primary_, secondary_, times, logTimes},
                           block);
}

double CreepStrain(std::span<const double> constants, double stress, double time) {
  return CreepAtStress(constants, stress).Strain(time);
}

bool ConstrainCreep(std::span<double> c) {
  bool changed = MakePositive(c[kC1]);
  changed = MakePositive(c[kC5]) || changed;
  changed = ClampInto(c[kC2], c[kC2], 1.0001, 7.999) || changed;
  changed = ClampInto(c[kC4], c[kC4], 0.20001, 2.0) || changed;
  // Deliberate: the bounds of C6 are written into C4; C6 itself is never clamped.
  changed = ClampInto(c[kC4], c[kC6], 1.0001, 7.999) || changed;
  return changed;
}

double CreepStrain(const CreepLine& line, double time) {
  return line.amplitude * std::pow(time, line.exponent) + line.rate * time;
}

void FitPrimary(std::span<const double> times, std::span<const double> values, CreepLine& line) {
  LineSums sums;
  for (std::size_t i = 0; i < times.size(); ++i) sums.Add(std::log10(times[i]), std::log10(values[i]));
  const Line fitted = sums.Fit();
  line.exponent = fitted.slope;
  line.amplitude = std::pow(10.0, fitted.intercept);
}

double FitRate(std::span<const double> times, std::span<const double> values) {
  LineSums sums;
  for (std::size_t i = 0; i < times.size(); ++i) sums.Add(times[i], values[i]);
  return sums.Fit().slope;
}

double CreepDetermination(const CreepLine& line, std::span<const double> times, std::span<const double> strains) {
  double sum = 0.0;
  for (const double strain : strains) sum += strain;
  const double mean = sum / static_cast<double>(strains.size());
  double total = 0.0;
  double residual = 0.0;
  for (std::size_t i = 0; i < strains.size(); ++i) {
    const double difference = strains[i] - CreepStrain(line, times[i]);
    total += (strains[i] - mean) * (strains[i] - mean);
    residual += difference * difference;
  }
  return (total - residual) / total;
}

}  // namespace Xem::MaterialUtil
