#pragma once

#include <cmath>

namespace Xem::MaterialUtil::SheetMetalForming {

/// x^2 by the power function, as every other power of a strain path. Compilers make a product of std::pow(x, 2.0),
/// whose last bit differs for one x in a thousand, and a path may end elsewhere for that; a volatile exponent keeps
/// them from it.
inline double Square(double x) {
  const volatile double two = 2.0;
  return std::pow(x, two);
}

}  // namespace Xem::MaterialUtil::SheetMetalForming
