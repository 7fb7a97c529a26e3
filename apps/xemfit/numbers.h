#pragma once

#include <string>

#include "text/parse.h"

/// Numbers as text: read, and written with as many digits as their reader wants.
namespace Xem::Tool {

using Strings::ParseCount;
using Strings::ParseNumber;

/// The shortest text that reads back as the same number: for files.
std::string Exactly(double value);
/// Six digits, for people.
std::string Shortly(double value);
/// Five digits, more than any test curve determines; "-" for what is no finite number.
std::string Briefly(double value);
/// With the digits that an interval around it leaves, two behind the point at most; "none" for what is no finite
/// number.
std::string WithinInterval(double value, double lower, double upper);
/// So many digits behind the point; "-" for what is no finite number.
std::string Fixed(double value, int digits);
/// "95 %" of 0.95.
std::string Percent(double share);
/// R^2 so: a number below 1 never reads 1.
std::string Determination(double r2, int digits);

}  // namespace Xem::Tool
