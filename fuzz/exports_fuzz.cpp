/// Calls one exported function with arguments drawn from the input: its first byte chooses the row of the table, or the
/// environment variable XEM_FUZZ_EXPORT names it. A call may return, or raise what the headers promise:
/// CInvalidArgException, a positive LAPACK status as an int, or std::bad_alloc. Anything else ends the process.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>
#include <span>
#include <string_view>

#include "arguments.h"
#include "byte_source.h"
#include "solver/linalg/lapack.h"
#include "xem/material_util.h"

namespace {

using namespace Xem::Fuzz;
using Xem::DoubleArray;
using Xem::Point3Array;
using Xem::PointArray;

/// What every call draws from.
struct Draw {
  ByteSource& bytes;
  Arguments& args;
};

/// Curves and switches of the four deformation modes; mostly only the first mode has points.
template <class Array>
struct Modes {
  std::array<const Array*, 4> in;
  std::array<std::int32_t, 4> use;
  std::array<PointArray*, 4> out;
};

template <class Array, class DrawCurve>
Modes<Array> DrawModes(Draw& d, DrawCurve drawCurve) {
  Modes<Array> m;
  static const Array kEmpty;
  const bool single = d.bytes.Byte() % 4 != 3;
  for (std::size_t i = 0; i < 4; ++i) m.in[i] = single && i > 0 ? &kEmpty : &drawCurve();
  for (std::int32_t& use : m.use) use = d.bytes.Switch();
  for (std::size_t i = 0; i < 4; ++i) m.out[i] = &d.args.OutCurve(m.in[i]->GetSize());
  return m;
}
Modes<PointArray> DrawModes(Draw& d) {
  return DrawModes<PointArray>(d, [&]() -> const PointArray& { return d.args.Curve(Shapes::Rubber); });
}
Modes<Point3Array> DrawModes3(Draw& d) {
  return DrawModes<Point3Array>(d, [&]() -> const Point3Array& { return d.args.Curve3(Shapes::Rubber); });
}

std::int64_t PolynomialCount(std::int32_t order) { return std::int64_t{order} * (std::int64_t{order} + 3) / 2; }

std::int32_t FitPolynomial(Draw& d) {
  const auto m = DrawModes(d);
  const std::int32_t order = d.bytes.Count(2, 5);
  const std::int32_t method = d.bytes.Code(0, 3);
  const double limit = d.bytes.Near(1e8);
  DoubleArray& coefficients = d.args.OutNumbers();
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(1.0);
  return CurveFitting4Polynominal(*m.in[0], *m.in[1], *m.in[2], *m.in[3], m.use[0], m.use[1], m.use[2], m.use[3], order,
                                  method, limit, coefficients, *m.out[0], *m.out[1], *m.out[2], *m.out[3], lower,
                                  upper);
}

std::int32_t EvaluatePolynomial(Draw& d) {
  const auto m = DrawModes(d);
  const std::int32_t order = d.bytes.Count(2, 12);
  const DoubleArray& coefficients = d.args.Numbers(PolynomialCount(order), 0.3);
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(1.0);
  return ComputeStress4Polynominal(*m.in[0], *m.in[1], *m.in[2], *m.in[3], order, coefficients, *m.out[0], *m.out[1],
                                   *m.out[2], *m.out[3], lower, upper);
}

std::int32_t FitOgden(Draw& d) {
  const auto m = DrawModes(d);
  const std::int32_t terms = d.bytes.Count(1, 4);
  const std::int32_t method = d.bytes.Code(0, 3);
  DoubleArray& coefficients = d.args.OutNumbers();
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(1.0);
  return CurveFitting4Ogden(*m.in[0], *m.in[1], *m.in[2], *m.in[3], m.use[0], m.use[1], m.use[2], m.use[3], terms,
                            method, coefficients, *m.out[0], *m.out[1], *m.out[2], *m.out[3], lower, upper);
}

std::int32_t EvaluateOgden(Draw& d) {
  const auto m = DrawModes(d);
  const std::int32_t terms = d.bytes.Count(2, 12);
  const DoubleArray& coefficients = d.args.Numbers(2 * std::int64_t{terms}, 1.5);
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(1.0);
  return ComputeStress4Ogden(*m.in[0], *m.in[1], *m.in[2], *m.in[3], terms, coefficients, *m.out[0], *m.out[1],
                             *m.out[2], *m.out[3], lower, upper);
}

std::int32_t FitBlatzKo(Draw& d) {
  const auto m = DrawModes3(d);
  const double lateral = d.bytes.Near(0.0);
  const std::int32_t method = d.bytes.Code(0, 3);
  const double limit = d.bytes.Near(1e8);
  DoubleArray& coefficient = d.args.OutNumbers();
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(1.0);
  return CurveFitting4BlatzKo(*m.in[0], *m.in[1], *m.in[2], *m.in[3], m.use[0], m.use[1], m.use[2], m.use[3], lateral,
                              method, limit, coefficient, *m.out[0], *m.out[1], *m.out[2], *m.out[3], lower, upper);
}

std::int32_t EvaluateBlatzKo(Draw& d) {
  const auto m = DrawModes3(d);
  const double lateral = d.bytes.Near(0.0);
  const DoubleArray& coefficient = d.args.Numbers({0.4});
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(1.0);
  return ComputeStress4BlatzKo(*m.in[0], *m.in[1], *m.in[2], *m.in[3], lateral, coefficient, *m.out[0], *m.out[1],
                               *m.out[2], *m.out[3], lower, upper);
}

std::int32_t FitVolume(Draw& d) {
  const PointArray& curve = d.args.Curve(Shapes::Volume);
  const std::int32_t terms = d.bytes.Count(2, 20);
  const std::int32_t method = d.bytes.Code(0, 3);
  const double limit = d.bytes.Near(0.0);
  DoubleArray& coefficients = d.args.OutNumbers();
  PointArray& out = d.args.OutCurve(curve.GetSize());
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(0.1);
  return CurveFitting4Volume(curve, terms, method, limit, coefficients, out, lower, upper);
}

std::int32_t EvaluateVolume(Draw& d) {
  const PointArray& curve = d.args.Curve(Shapes::Volume);
  const std::int32_t terms = d.bytes.Count(2, 20);
  const DoubleArray& coefficients = d.args.Numbers(terms, 20.0);
  PointArray& out = d.args.OutCurve(curve.GetSize());
  const double lower = d.bytes.Near(-0.1);
  const double upper = d.bytes.Near(0.1);
  return ComputeStress4Volume(curve, terms, coefficients, out, lower, upper);
}

using StabilityCheck = decltype(CheckMaterialStability4Polynomial);

/// Limits of a few steps; a whole scan has three thousand.
std::int32_t CheckStability(Draw& d, StabilityCheck check, std::int32_t count, std::int64_t entries) {
  const DoubleArray& coefficients = d.args.Numbers(entries, 0.4);
  const std::int32_t terms = d.bytes.Count(1, 3);
  static const DoubleArray kNone;
  const DoubleArray& volumetric = d.bytes.Byte() % 2 == 0 ? kNone : d.args.Numbers(terms, 20.0);
  const bool whole = d.bytes.Byte() == 255;
  const double lower = whole ? d.bytes.Double() : -0.01 * (1 + d.bytes.Byte() % 16);
  const double upper = whole ? d.bytes.Double() : 0.02 * (d.bytes.Byte() % 16);
  const double unused = d.bytes.Double();
  CString report(L"report\n");
  check(coefficients, volumetric, count, terms, lower, upper, unused, unused, report);
  return 0;
}

std::int32_t CheckPolynomial(Draw& d) {
  const std::int32_t order = d.bytes.Count(2, 6);
  return CheckStability(d, CheckMaterialStability4Polynomial, order, PolynomialCount(order));
}

std::int32_t CheckOgden(Draw& d) {
  const std::int32_t terms = d.bytes.Count(2, 6);
  return CheckStability(d, CheckMaterialStability4Ogden, terms, 2 * std::int64_t{terms});
}

std::int32_t FitCreep(Draw& d) {
  const PointArray& curve = d.args.Curve(Shapes::Creep);
  const std::int32_t type = d.bytes.Code(0, 4);
  const double stress = d.bytes.Near(0.3);
  const double primary = d.bytes.Near(1.5);
  const double secondary = d.bytes.Near(2.0);
  DoubleArray& constants = d.args.OutNumbers();
  double determination = 0.0;
  const int missing = d.bytes.Byte() - 250;
  return CurveFitting4Creep(curve, missing == 0 ? nullptr : &type, missing == 1 ? nullptr : &stress,
                            missing == 2 ? nullptr : &primary, missing == 3 ? nullptr : &secondary, constants,
                            missing == 4 ? nullptr : &determination);
}

std::int32_t FitCreepIteratively(Draw& d) {
  const PointArray& curve = d.args.Curve(Shapes::Creep);
  const std::int32_t unused = d.bytes.Code(0, 2);
  const double stress = d.bytes.Near(0.3);
  DoubleArray& constants = d.args.InOutNumbers({1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0});
  double determination = 0.0;
  return CurveFitting4CreepLMMethod(curve, unused, stress, constants, d.bytes.Byte() == 255 ? nullptr : &determination);
}

std::int32_t FitRelaxation(Draw& d) {
  const PointArray& curve = d.args.Curve(Shapes::Relaxation);
  const std::int32_t terms = d.bytes.Count(1, 4);
  const std::int32_t variant = d.bytes.Code(0, 2);
  return CurveFitting4Relaxation(curve, terms, variant, d.args.OutNumbers());
}

std::array<std::int32_t, 4> DrawSwitches(Draw& d) {
  std::array<std::int32_t, 4> use{};
  for (std::int32_t& one : use) one = d.bytes.Switch();
  return use;
}

using Conversion = decltype(CurveFitting4PolyConvertRelaxation);

std::int32_t Convert(Draw& d, Conversion convert, std::int32_t count, std::int64_t entries, double usual) {
  const PointArray& curve = d.args.Curve(Shapes::StrainHistory);
  const double reference = d.bytes.Near(1.0);
  const auto use = DrawSwitches(d);
  const DoubleArray& coefficients = d.args.Numbers(entries, usual);
  PointArray& result = d.args.OutCurve(curve.GetSize());
  return convert(curve, reference, use[0], use[1], use[2], use[3], count, coefficients, result);
}

std::int32_t ConvertPolynomial(Draw& d) {
  const std::int32_t order = d.bytes.Count(2, 12);
  return Convert(d, CurveFitting4PolyConvertRelaxation, order, PolynomialCount(order), 0.3);
}

std::int32_t ConvertOgden(Draw& d) {
  const std::int32_t terms = d.bytes.Count(2, 12);
  return Convert(d, CurveFitting4OgdenConvertRelaxation, terms, 2 * std::int64_t{terms}, 1.5);
}

std::int32_t ConvertBlatzKo(Draw& d) {
  const PointArray& curve = d.args.Curve(Shapes::StrainHistory);
  const double lateral = d.bytes.Near(0.0);
  const double reference = d.bytes.Near(1.0);
  const auto use = DrawSwitches(d);
  const DoubleArray& coefficient = d.args.Numbers({0.4});
  PointArray& result = d.args.OutCurve(curve.GetSize());
  return CurveFitting4BlatzKoConvertRelaxation(curve, lateral, reference, use[0], use[1], use[2], use[3], coefficient,
                                               result);
}

/// What the two forming-limit curves have in common.
struct FormingArguments {
  PointArray* curve;
  std::int32_t flcType;
  const DoubleArray* flc;
  std::int32_t yieldType;
  const DoubleArray* yield;
};

FormingArguments DrawForming(Draw& d) {
  FormingArguments a{};
  a.flcType = d.bytes.Byte() < 250 ? 0 : d.bytes.Code(0, 3);
  a.flc = &d.args.Numbers({5.0, 0.01, 0.05});
  a.yieldType = d.bytes.Code(100, 3);
  a.yield = &d.args.Numbers({1.0, 2.0});
  a.curve = &d.args.OutCurve(0);
  return a;
}

/// A path that does not end takes 20 / increment steps, so that a small increment would hold the fuzzer up.
bool EndsSoon(const DoubleArray& flc) {
  constexpr double kLeastIncrement = 0.004;
  constexpr double kMostPaths = 50.0;
  if (flc.GetSize() < 2) return true;
  const double increment = std::abs(flc[1]);
  return !(flc[0] > kMostPaths) && !(increment > 0.0 && increment < kLeastIncrement);
}

std::int32_t FormingLimit(Draw& d) {
  const FormingArguments a = DrawForming(d);
  const std::int32_t type = d.bytes.Code(200, 3);
  const DoubleArray& hardening =
      type == 201 ? d.args.Numbers({200.0, 400.0, 5.0, 0.8}) : d.args.Numbers({500.0, 0.01, 0.2, 0.0});
  if (!EndsSoon(*a.flc)) return 0;
  return FormingLimitCurve(*a.curve, a.flcType, *a.flc, a.yieldType, *a.yield, type, hardening);
}

std::int32_t FormingLimitOfTable(Draw& d) {
  const FormingArguments a = DrawForming(d);
  const std::int32_t type = d.bytes.Byte() < 240 ? 298 : d.bytes.Code(298, 2);
  const PointArray& hardening = d.args.Curve(Shapes::FlowCurve);
  if (!EndsSoon(*a.flc)) return 0;
  return FormingLimitCurveCustomHR(*a.curve, a.flcType, *a.flc, a.yieldType, *a.yield, type, hardening);
}

/// Options of the dynamic exports: [family or reference, form, residual kind], codes as doubles.
const DoubleArray& DrawOptions(Draw& d) {
  const std::uint8_t kind = d.bytes.Byte();
  return d.args.Numbers(
      {static_cast<double>(kind % 2), static_cast<double>(kind / 2 % 3), static_cast<double>(kind / 8 % 2)});
}

/// Mostly all free, now and then some held.
const DoubleArray& DrawFlags(Draw& d, std::int64_t count) {
  return d.bytes.Byte() % 4 == 3 ? d.args.Numbers(count, 1.0) : d.args.Numbers(count, 0.0);
}

std::int32_t FitGhe(Draw& d) {
  const DoubleArray& options = DrawOptions(d);
  const DoubleArray& parameters = d.bytes.Byte() % 2 == 0 ? d.args.Numbers(6, 0.0) : d.args.Numbers(6, 0.5);
  const DoubleArray& flags = DrawFlags(d, 6);
  const PointArray& stiffness = d.args.Curve(Shapes::Stiffness);
  const double reference = d.bytes.Near(5e-4);
  DoubleArray& fitted = d.args.OutNumbers();
  PointArray& curve = d.args.OutCurve(d.bytes.Byte() % 8);
  return CurveFitting4GHEModel6Parameters(options, parameters, flags, stiffness, reference, fitted, curve,
                                          d.args.OutNumbers());
}

std::int32_t FitGheDamping(Draw& d) {
  const DoubleArray& options = DrawOptions(d);
  const DoubleArray& parameters = d.args.Numbers({0.0, 0.0, 5e-4, 1.0, 0.17, 0.83, 2.5, 2.86, 3.229});
  const DoubleArray& flags = DrawFlags(d, 2);
  const PointArray& damping = d.args.Curve(Shapes::Damping);
  const PointArray& stiffness = d.args.Curve(Shapes::Stiffness);
  DoubleArray& fitted = d.args.OutNumbers();
  return CurveFitting4GHEModelDamping(options, parameters, flags, damping, stiffness, fitted,
                                      d.args.OutCurve(d.bytes.Byte() % 8));
}

std::int32_t InitialDynamic(Draw& d) {
  const DoubleArray& options = DrawOptions(d);
  DoubleArray& parameters = d.args.InOutNumbers({5e-4, 0.2});
  const DoubleArray& flags = DrawFlags(d, 2);
  return InitialDynamicMatParameters(options, parameters, flags, d.args.Curve(Shapes::Stiffness));
}

std::int32_t ModifyDynamic(Draw& d) {
  const DoubleArray& fitted = d.args.Numbers(d.bytes.Count(2, 6), 0.5);
  const DoubleArray& flags = DrawFlags(d, fitted.GetSize());
  DoubleArray& target = d.args.OutNumbers();
  if (target.IsEmpty()) target.SetSize(d.bytes.Size(fitted.GetSize()));
  return ModifyDynamicMatParameters(fitted, target, flags);
}

std::int32_t FitStiffness(Draw& d) {
  const DoubleArray& options = DrawOptions(d);
  const DoubleArray& parameters = d.args.Numbers({5e-4, 0.2});
  const DoubleArray& flags = DrawFlags(d, 2);
  const PointArray& stiffness = d.args.Curve(Shapes::Stiffness);
  DoubleArray& fitted = d.args.OutNumbers();
  return CurveFitting4DynamicMatShearStiff(options, parameters, flags, stiffness, fitted, d.args.OutCurve(0));
}

std::int32_t FitDamping(Draw& d) {
  const DoubleArray& options = DrawOptions(d);
  const DoubleArray& parameters = d.args.Numbers({5e-4, 0.2});
  const DoubleArray& flags = DrawFlags(d, 2);
  const PointArray& damping = d.args.Curve(Shapes::Damping);
  const PointArray& stiffness = d.args.Curve(Shapes::Stiffness);
  DoubleArray& fitted = d.args.OutNumbers();
  return CurveFitting4DynamicMatDamping(options, parameters, flags, damping, stiffness, fitted, d.args.OutCurve(0));
}

std::int32_t FitDynamic(Draw& d) {
  const DoubleArray& options = DrawOptions(d);
  DoubleArray& parameters = d.args.InOutNumbers({5e-4, 0.2});
  const DoubleArray& flags = DrawFlags(d, 2);
  DoubleArray& weights = d.args.InOutNumbers({1.0, 1.0});
  const PointArray& stiffness = d.args.Curve(Shapes::Stiffness);
  const PointArray& damping = d.args.Curve(Shapes::Damping);
  DoubleArray& fitted = d.args.OutNumbers();
  const std::int64_t points = d.bytes.Byte() % 8;
  PointArray& stiffnessOut = d.args.OutCurve(points);
  return CurveFitting4DynamicMatParameters(options, parameters, flags, weights, stiffness, damping, fitted,
                                           stiffnessOut, d.args.OutCurve(points));
}

std::int32_t FitSoil(Draw& d) {
  // The start of a fit tries every shape of a grid: ten for models 0 and 3, four times as many for the others.
  static constexpr double kModels[] = {0.0, 3.0, 0.0, 3.0, 0.0, 3.0, 0.0, 3.0, 1.0, 2.0};
  const double model = kModels[d.bytes.Byte() % std::size(kModels)];
  const double data = d.bytes.Byte() % 3;
  DoubleArray& settings = d.args.InOutNumbers({model, data, 0.0, 0.4, 2.65, 1.38, 0.0, 0.0, 0.0, 0.0, 0.0});
  DoubleArray& parameters = d.args.InOutNumbers({0.45, 0.05, 0.02, 1.6, 0.5});
  CArray22 input;
  CArray22 output;
  if (d.bytes.Byte() % 8 != 7) d.args.Fill(input.first, Shapes::Retention);
  if (data > 0.0 || d.bytes.Byte() % 4 == 3) d.args.Fill(input.second, Shapes::Grading);
  if (d.bytes.Byte() % 4 != 3) d.args.Fill(output.first, Shapes::Retention);
  const bool shared = d.bytes.Byte() >= 240;
  return CurveFitting4UnsaturatedSoil(settings, input, shared ? settings : parameters, shared ? input : output);
}

struct Row {
  const char* name;
  std::int32_t (*call)(Draw&);
};

constexpr Row kRows[] = {
    {"CurveFitting4Polynominal", FitPolynomial},
    {"ComputeStress4Polynominal", EvaluatePolynomial},
    {"CurveFitting4Ogden", FitOgden},
    {"ComputeStress4Ogden", EvaluateOgden},
    {"CurveFitting4BlatzKo", FitBlatzKo},
    {"ComputeStress4BlatzKo", EvaluateBlatzKo},
    {"CurveFitting4Volume", FitVolume},
    {"ComputeStress4Volume", EvaluateVolume},
    {"CheckMaterialStability4Polynomial", CheckPolynomial},
    {"CheckMaterialStability4Ogden", CheckOgden},
    {"CurveFitting4Creep", FitCreep},
    {"CurveFitting4CreepLMMethod", FitCreepIteratively},
    {"CurveFitting4Relaxation", FitRelaxation},
    {"CurveFitting4PolyConvertRelaxation", ConvertPolynomial},
    {"CurveFitting4OgdenConvertRelaxation", ConvertOgden},
    {"CurveFitting4BlatzKoConvertRelaxation", ConvertBlatzKo},
    {"FormingLimitCurve", FormingLimit},
    {"FormingLimitCurveCustomHR", FormingLimitOfTable},
    {"CurveFitting4GHEModel6Parameters", FitGhe},
    {"CurveFitting4GHEModelDamping", FitGheDamping},
    {"InitialDynamicMatParameters", InitialDynamic},
    {"ModifyDynamicMatParameters", ModifyDynamic},
    {"CurveFitting4DynamicMatShearStiff", FitStiffness},
    {"CurveFitting4DynamicMatDamping", FitDamping},
    {"CurveFitting4DynamicMatParameters", FitDynamic},
    {"CurveFitting4UnsaturatedSoil", FitSoil},
};
static_assert(std::size(kRows) == 26, "one row per export");

/// The row that XEM_FUZZ_EXPORT names, or nothing when it is not set.
const Row* OnlyRow() {
  const char* name = std::getenv("XEM_FUZZ_EXPORT");
  if (name == nullptr) return nullptr;
  const auto row =
      std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& r) { return name == std::string_view(r.name); });
  if (row != std::end(kRows)) return row;
  std::fprintf(stderr, "XEM_FUZZ_EXPORT: there is no export %s\n", name);
  std::exit(2);
}

[[noreturn]] void Report(const Row& row, const char* finding) {
  std::fprintf(stderr, "FINDING in %s: %s\n", row.name, finding);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Xem::MaterialUtil::UseOneBlasThread();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Row* const kOnly = OnlyRow();
  ByteSource bytes(std::span(data, size));
  const std::uint8_t chosen = bytes.Byte();
  const Row& row = kOnly != nullptr ? *kOnly : kRows[chosen % std::size(kRows)];
  Arguments args(bytes);
  Draw draw{bytes, args};
  try {
    const std::int32_t status = row.call(draw);
    if (status != 0 && status != -1) Report(row, "a status that is neither 0 nor -1");
  } catch (const CInvalidArgException&) {
  } catch (const std::bad_alloc&) {
  } catch (int info) {
    if (info <= 0) Report(row, "LAPACK was called with an illegal argument");
  } catch (const std::exception& error) {
    Report(row, error.what());
  } catch (...) {
    Report(row, "an exception of an unknown type");
  }
  if (!args.InputsUnchanged()) Report(row, "an input array was changed");
  return 0;
}
