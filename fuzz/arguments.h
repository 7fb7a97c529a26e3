#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "byte_source.h"
#include "xem/records.h"

namespace Xem::Fuzz {

/// A curve as it is measured, over 0 < t <= 1.
using Shape = _T_FUNT_BASE (*)(double t);

namespace Shapes {
_T_FUNT_BASE Rubber(double t);
_T_FUNT_BASE Volume(double t);
_T_FUNT_BASE Relaxation(double t);
_T_FUNT_BASE Creep(double t);
_T_FUNT_BASE StrainHistory(double t);
_T_FUNT_BASE Stiffness(double t);
_T_FUNT_BASE Damping(double t);
_T_FUNT_BASE FlowCurve(double t);
_T_FUNT_BASE Retention(double t);
_T_FUNT_BASE Grading(double t);
}  // namespace Shapes

/// Owns the arrays of one call. What an export must not change is remembered; an output may, now and then, be one of
/// the inputs, which then may change.
class Arguments {
 public:
  explicit Arguments(ByteSource& bytes) : bytes_(bytes) {}

  const PointArray& Curve(Shape shape);
  const Point3Array& Curve3(Shape shape);
  /// Mostly as many numbers as `usual`, around them.
  const DoubleArray& Numbers(std::initializer_list<double> usual);
  /// Coefficients or flags: mostly `count` numbers around `usual`.
  const DoubleArray& Numbers(std::int64_t count, double usual);

  DoubleArray& InOutNumbers(std::initializer_list<double> usual);
  DoubleArray& OutNumbers();
  /// Mostly as long as `like`.
  PointArray& OutCurve(std::int64_t like);
  /// Fills curves of a pair.
  void Fill(PointArray& curve, Shape shape);

  /// True when every input holds what it held before the call, bit for bit.
  bool InputsUnchanged() const;

 private:
  template <class Array>
  struct Kept {
    Array array;
    std::vector<unsigned char> before;
    bool mayChange = false;
  };
  template <class Array>
  using Store = std::deque<Kept<Array>>;

  template <class Array>
  const Array& Remember(Store<Array>& store);
  template <class Array>
  Array& Output(Store<Array>& store);

  ByteSource& bytes_;
  Store<PointArray> curves_;
  Store<Point3Array> curves3_;
  Store<DoubleArray> numbers_;
};

}  // namespace Xem::Fuzz
