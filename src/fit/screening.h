#pragma once

#include <functional>
#include <string>
#include <vector>

#include "xem/fit/result.h"
#include "xem/records.h"

namespace Xem::Fit {

/// Why a point cannot be used, or an empty text.
using Objection = std::function<std::string(double x, double y)>;

/// The usable points of a curve; unusable ones go to `dropped` with row and reason: not finite, zero ordinate (named
/// by `ordinate`, such as "stress"), then `objection`. Throws Error: BadInput for a weight that is not positive,
/// BadData when the columns differ in length or fewer than `fewest` points remain.
Curve Screen(const Curve& curve, const std::string& ordinate, const Objection& objection, int fewest,
             std::vector<DroppedPoint>& dropped);

/// The name of a curve without the number that tells replicate tests apart: "uniaxial" of "uniaxial_2".
std::string WithoutNumber(const std::string& curve);

/// Refuses a curve of a family, as the catalogue calls both, that cannot be what it is taken for: percent as a
/// fraction, stretch as strain, suctions of the wrong sign. Throws Error (BadData) with the remedy.
void RequirePlausible(const std::string& family, const Curve& measured);

/// Notes on what looks odd but was used: duplicate abscissae, unsorted ones, several tests in one curve, numbers that
/// may be percent, ordinates that go the wrong way.
void NoteOddities(const std::string& family, const Curve& curve, std::vector<std::string>& notes);

/// Ordinates of a fitted curve.
using FittedOrdinates = std::function<std::vector<double>(const std::string& curve, const std::vector<double>& x)>;

/// Notes on fitted curves that do within the measured range what no such material does.
void NoteImpossible(const std::string& family, const Result& result, const FittedOrdinates& ordinates,
                    std::vector<std::string>& notes);

/// Notes "curve NAME: text" that hold for several curves become one, "curves NAME, NAME: text", at the place of the
/// first.
void JoinNotes(std::vector<std::string>& notes);

/// Two-value points for the core.
std::vector<_T_FUNT_BASE> CorePoints(const Curve& curve);
/// Three-value points; lateral strain 0 where the curve has none.
std::vector<_T_FUNT_BASE3> CorePoints3(const Curve& curve);

}  // namespace Xem::Fit
