#pragma once

namespace Xem::MaterialUtil::SheetMetalForming {

/// x^2, correctly rounded: what compilers make of std::pow(x, 2.0). The power function itself rounds one x in a
/// thousand the other way, and a path may end elsewhere for that.
inline double Square(double x) { return x * x; }

}  // namespace Xem::MaterialUtil::SheetMetalForming
