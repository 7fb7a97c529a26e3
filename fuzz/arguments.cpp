#include "arguments.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace Xem::Fuzz {

namespace Shapes {

_T_FUNT_BASE Rubber(double t) {
  const double stretch = 1.0 + 2.0 * t;
  return {2.0 * t, 2.0 * (stretch - 1.0 / (stretch * stretch)) * (0.2 + 0.1 / stretch)};
}
_T_FUNT_BASE Volume(double t) { return {1.0 - 0.05 * t, 300.0 * t * (1.0 + t)}; }
_T_FUNT_BASE Relaxation(double t) {
  const double time = std::pow(10.0, 4.0 * t - 2.0);
  return {time, 0.3 + 0.4 * std::exp(-time / 0.5) + 0.2 * std::exp(-time / 20.0)};
}
_T_FUNT_BASE Creep(double t) { return {100.0 * t, 1e-3 * std::pow(100.0 * t, 0.4) + 1e-3 * t}; }
_T_FUNT_BASE StrainHistory(double t) { return {10.0 * t, 0.4 * t}; }
_T_FUNT_BASE Stiffness(double t) {
  const double strain = std::pow(10.0, 5.0 * t - 6.0);
  return {strain, 1.0 / (1.0 + std::pow(strain / 1e-3, 0.9))};
}
_T_FUNT_BASE Damping(double t) {
  const _T_FUNT_BASE stiffness = Stiffness(t);
  return {stiffness.first, 0.22 * (1.0 - stiffness.second) + 1e-3};
}
_T_FUNT_BASE FlowCurve(double t) { return {0.5 * t, 500.0 * std::pow(0.01 + 0.5 * t, 0.2)}; }
_T_FUNT_BASE Retention(double t) {
  const double suction = std::pow(10.0, 6.0 * t - 2.0);
  return {suction, 0.05 + 0.4 * std::pow(1.0 + std::pow(0.05 * suction, 1.6), -0.4)};
}
_T_FUNT_BASE Grading(double t) { return {std::pow(10.0, 3.3 * t - 3.0), t * t * (3.0 - 2.0 * t)}; }

}  // namespace Shapes

namespace {

/// Mostly 2 to 5 points, seldom none or up to 200.
std::int64_t PointCount(ByteSource& bytes) {
  const std::uint8_t kind = bytes.Byte();
  if (kind == 255) return bytes.Byte() % 16 == 15 ? bytes.Byte() % 201 : 0;
  return kind < 208 ? 2 + (kind + 2) % 4 : kind % 13;
}

double& Coordinate(_T_FUNT_BASE& point, int which) { return which % 2 == 0 ? point.first : point.second; }
double& Coordinate(_T_FUNT_BASE3& point, int which) {
  return which % 3 == 0 ? point.first : which % 3 == 1 ? point.second : point.third;
}
_T_FUNT_BASE Scaled(const _T_FUNT_BASE& point, double x, double y) { return {point.first * x, point.second * y}; }
/// Nearly incompressible in the lateral direction.
_T_FUNT_BASE3 WithLateral(const _T_FUNT_BASE& point) {
  return {point.first, 1.0 / std::sqrt(1.0 + point.first) - 1.0, point.second};
}

void FillCurve(ByteSource& bytes, Shape shape, PointArray& curve) {
  static constexpr double kFactors[] = {1.0, 1.0, 1.0, 0.1, 1e3, 1e-3, -0.3, 1e9};
  const std::int64_t count = PointCount(bytes);
  const std::uint8_t kind = bytes.Byte();
  curve.SetSize(count);
  for (std::int64_t i = 0; i < count; ++i) {
    if (kind >= 232) {
      curve[i] = {bytes.Double(), bytes.Double()};
    } else {
      const double t = static_cast<double>(i + 1) / static_cast<double>(count);
      curve[i] = Scaled(shape(t), kFactors[kind / 8 % 8], kFactors[kind % 8]);
    }
  }
}

/// Puts any number in any place, mostly nowhere.
template <class Array>
void Spoil(ByteSource& bytes, Array& curve) {
  if (curve.IsEmpty()) return;
  for (int spoilt = bytes.Byte() - 192; spoilt > 0; spoilt -= 24) {
    const std::uint8_t place = bytes.Byte();
    Coordinate(curve[place / 3 % curve.GetSize()], place % 3) = bytes.Double();
  }
}

template <class Array>
std::vector<unsigned char> Image(const Array& array) {
  const std::size_t length = static_cast<std::size_t>(array.GetSize()) * sizeof(*array.GetData());
  std::vector<unsigned char> image(length);
  if (length > 0) std::memcpy(image.data(), array.GetData(), length);
  return image;
}

}  // namespace

template <class Array>
const Array& Arguments::Remember(Store<Array>& store) {
  store.back().before = Image(store.back().array);
  return store.back().array;
}

template <class Array>
Array& Arguments::Output(Store<Array>& store) {
  const std::uint8_t kind = bytes_.Byte();
  if (kind >= 248 && !store.empty()) {
    auto& shared = store[kind % store.size()];
    shared.mayChange = true;
    return shared.array;
  }
  store.emplace_back().mayChange = true;
  return store.back().array;
}

void Arguments::Fill(PointArray& curve, Shape shape) {
  FillCurve(bytes_, shape, curve);
  Spoil(bytes_, curve);
}

const PointArray& Arguments::Curve(Shape shape) {
  Fill(curves_.emplace_back().array, shape);
  return Remember(curves_);
}

const Point3Array& Arguments::Curve3(Shape shape) {
  PointArray plain;
  FillCurve(bytes_, shape, plain);
  Point3Array& curve = curves3_.emplace_back().array;
  curve.SetSize(plain.GetSize());
  for (std::int64_t i = 0; i < curve.GetSize(); ++i) curve[i] = WithLateral(plain[i]);
  Spoil(bytes_, curve);
  return Remember(curves3_);
}

const DoubleArray& Arguments::Numbers(std::initializer_list<double> usual) {
  InOutNumbers(usual);
  numbers_.back().mayChange = false;
  return Remember(numbers_);
}

const DoubleArray& Arguments::Numbers(std::int64_t count, double usual) {
  DoubleArray& numbers = numbers_.emplace_back().array;
  numbers.SetSize(bytes_.Size(std::clamp<std::int64_t>(count, 0, 100)));
  for (std::int64_t i = 0; i < numbers.GetSize(); ++i) numbers[i] = bytes_.Near(usual);
  return Remember(numbers_);
}

DoubleArray& Arguments::InOutNumbers(std::initializer_list<double> usual) {
  auto& kept = numbers_.emplace_back();
  kept.mayChange = true;
  kept.array.SetSize(bytes_.Size(static_cast<std::int64_t>(usual.size())));
  for (std::int64_t i = 0; i < kept.array.GetSize(); ++i) {
    const auto k = static_cast<std::size_t>(i);
    kept.array[i] = k < usual.size() ? bytes_.Near(usual.begin()[k]) : bytes_.Double();
  }
  return kept.array;
}

DoubleArray& Arguments::OutNumbers() { return Output(numbers_); }

PointArray& Arguments::OutCurve(std::int64_t like) {
  PointArray& curve = Output(curves_);
  if (curve.IsEmpty()) curve.SetSize(bytes_.Size(like));
  return curve;
}

bool Arguments::InputsUnchanged() const {
  const auto unchanged = [](const auto& store) {
    return std::all_of(store.begin(), store.end(),
                       [](const auto& kept) { return kept.mayChange || Image(kept.array) == kept.before; });
  };
  return unchanged(curves_) && unchanged(curves3_) && unchanged(numbers_);
}

}  // namespace Xem::Fuzz
