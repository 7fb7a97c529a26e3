#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace Xem::Tool {

/// "812 of 2000 specimens, 3 failed, 154 per second, 8 s left".
std::string ProgressText(std::size_t finished, std::size_t all, std::size_t failed, double perSecond);

/// One line on standard error that is rewritten as work goes on; nothing at all unless that is a terminal.
class ProgressLine {
 public:
  ProgressLine(std::size_t all, bool wanted);
  ~ProgressLine() { Clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// `fresh` of the `finished` were done in this run; they decide the rate.
  void Show(std::size_t finished, std::size_t fresh, std::size_t failed);
  void Clear();

 private:
  std::size_t all_;
  bool active_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point started_;
  std::chrono::steady_clock::time_point last_;
};

}  // namespace Xem::Tool
