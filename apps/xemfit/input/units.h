#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Xem::Tool {

/// The usual spelling of a unit that the tool knows ("MPa" for "mpa"), nothing for any other text.
std::optional<std::string> KnownUnit(std::string_view text);

/// What a number in `from` is multiplied by to be in `to`; nothing when one of them is unknown or they measure
/// different things. Reciprocals ("1/MPa") and squares ("MPa^2") of units are converted like the units.
std::optional<double> ConversionFactor(std::string_view from, std::string_view to);

}  // namespace Xem::Tool
