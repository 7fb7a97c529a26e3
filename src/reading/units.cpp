#include <algorithm>

#include "text/text.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

enum class Dimension {
  Ratio,
  Stress,
  Time,
  Length,
  Temperature,
  Angle,
  Force,
  Frequency,
  AngularFrequency,
  Kelvin,
  Fahrenheit
};

struct Unit {
  const char* name;
  Dimension dimension;
  double factor;  ///< to the first unit of its dimension
};

// 0.45359237 kg x 9.80665 m/s^2, for psi on (0.0254 m)^2, exact by definition.
constexpr double kPound = 0.45359237 * 9.80665;
constexpr double kPsi = kPound / (0.0254 * 0.0254);

constexpr Unit kUnits[] = {
    {"-", Dimension::Ratio, 1.0},
    {"percent", Dimension::Ratio, 0.01},
    {"pct", Dimension::Ratio, 0.01},
    {"%", Dimension::Ratio, 0.01},
    {"permille", Dimension::Ratio, 1e-3},
    {"microstrain", Dimension::Ratio, 1e-6},
    {"Pa", Dimension::Stress, 1.0},
    {"hPa", Dimension::Stress, 1e2},
    {"kPa", Dimension::Stress, 1e3},
    {"MPa", Dimension::Stress, 1e6},
    {"GPa", Dimension::Stress, 1e9},
    {"bar", Dimension::Stress, 1e5},
    {"psi", Dimension::Stress, kPsi},
    {"ksi", Dimension::Stress, 1e3 * kPsi},
    {"N/mm2", Dimension::Stress, 1e6},
    {"N/mm²", Dimension::Stress, 1e6},
    {"N/mm^2", Dimension::Stress, 1e6},
    {"ms", Dimension::Time, 1e-3},
    {"s", Dimension::Time, 1.0},
    {"min", Dimension::Time, 60.0},
    {"h", Dimension::Time, 3600.0},
    {"d", Dimension::Time, 86400.0},
    {"um", Dimension::Length, 1e-6},
    {"mm", Dimension::Length, 1e-3},
    {"cm", Dimension::Length, 1e-2},
    {"m", Dimension::Length, 1.0},
    {"C", Dimension::Temperature, 1.0},
    {"deg", Dimension::Angle, 1.0},
    {"°C", Dimension::Temperature, 1.0},
    {"N", Dimension::Force, 1.0},
    {"mN", Dimension::Force, 1e-3},
    {"kN", Dimension::Force, 1e3},
    {"MN", Dimension::Force, 1e6},
    {"lbf", Dimension::Force, kPound},
    {"kgf", Dimension::Force, 9.80665},
    {"in", Dimension::Length, 0.0254},
    {"inch", Dimension::Length, 0.0254},
    {"Hz", Dimension::Frequency, 1.0},
    {"mHz", Dimension::Frequency, 1e-3},
    {"kHz", Dimension::Frequency, 1e3},
    {"rad/s", Dimension::AngularFrequency, 1.0},
    // Scales of temperature differ in their zero, too, so none is converted to another by a factor.
    {"degC", Dimension::Temperature, 1.0},
    {"K", Dimension::Kelvin, 1.0},
    {"°F", Dimension::Fahrenheit, 1.0},
    {"degF", Dimension::Fahrenheit, 1.0},
    {"mm/mm", Dimension::Ratio, 1.0},
    {"m/m", Dimension::Ratio, 1.0},
    {"µm", Dimension::Length, 1e-6},
    {"μm", Dimension::Length, 1e-6},
    {"sec", Dimension::Time, 1.0},
};

const Unit* Find(std::string_view text) {
  const auto exact = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit& u) { return u.name == text; });
  if (exact != std::end(kUnits)) return exact;
  const auto similar = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit& u) {
    return text.size() > 1 && Strings::EqualIgnoringCase(u.name, text);
  });
  return similar != std::end(kUnits) ? similar : nullptr;
}

}  // namespace

std::optional<std::string> KnownUnit(std::string_view text) {
  const Unit* unit = Find(text);
  return unit ? std::optional<std::string>(unit->name) : std::nullopt;
}

std::optional<double> ConversionFactor(std::string_view from, std::string_view to) {
  constexpr std::string_view kPer = "1/";
  constexpr std::string_view kSquare = "^2";
  if (from == to) return 1.0;
  if (from.starts_with(kPer) && to.starts_with(kPer)) return ConversionFactor(to.substr(2), from.substr(2));
  if (from.ends_with(kSquare) && to.ends_with(kSquare) && !Find(from)) {
    const auto root = ConversionFactor(from.substr(0, from.size() - 2), to.substr(0, to.size() - 2));
    return root ? std::optional(*root * *root) : root;
  }
  const Unit* source = Find(from);
  const Unit* target = Find(to);
  if (!source || !target || source->dimension != target->dimension) return std::nullopt;
  return source->factor / target->factor;
}

}  // namespace Xem::Fit
