#pragma once

#include <string>
#include <vector>

/// Values of options that say more than one number. `option` or `context` begins the messages.
namespace Xem::Tool {

/// FROM:TO:COUNT as equally spaced numbers. Throws Failure (Usage) naming `option`.
std::vector<double> ParseGrid(const std::string& text, const std::string& option);

/// LO:HI with one side possibly empty, which then is infinite. Throws Failure (Usage) naming `option`.
struct NumberInterval {
  double lower = 0.0;
  double upper = 0.0;
};
NumberInterval ParseInterval(const std::string& text, const std::string& option);

/// A range of counts, N or FROM..TO, within lowest ... highest. Throws Failure (Usage); `context` starts the message,
/// such as "--terms".
struct CountRange {
  int from = 0;
  int to = 0;
};
CountRange ParseCountRange(const std::string& text, int lowest, int highest, const std::string& context);

}  // namespace Xem::Tool
