#include "batch/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>

namespace Xem::Tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kInterval{200};

std::string Duration(double seconds) {
  const long whole = std::lround(std::min(seconds, 1e8));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
}

}  // namespace

std::string ProgressText(std::size_t finished, std::size_t all, std::size_t failed, double perSecond) {
  std::string text = fmt::format("{} of {} specimens", finished, all);
  if (failed > 0) text += fmt::format(", {} failed", failed);
  if (perSecond <= 0.0) return text;
  text += perSecond >= 1.0 ? fmt::format(", {:.0f} per second", perSecond)
                           : fmt::format(", {} each", Duration(1.0 / perSecond));
  return text + ", " + Duration(static_cast<double>(all - finished) / perSecond) + " left";
}

ProgressLine::ProgressLine(std::size_t all, bool wanted)
    : all_(all), active_(wanted && isatty(STDERR_FILENO) != 0), started_(Clock::now()), last_(started_) {}

void ProgressLine::Show(std::size_t finished, std::size_t fresh, std::size_t failed) {
  const auto now = Clock::now();
  if (!active_ || now - last_ < kInterval) return;
  last_ = now;
  const double seconds = std::chrono::duration<double>(now - started_).count();
  // Carriage return, text, erase the rest of the line.
  std::fprintf(stderr, "\r%s\x1b[K",
               ProgressText(finished, all_, failed, static_cast<double>(fresh) / seconds).c_str());
  std::fflush(stderr);
  shown_ = true;
}

void ProgressLine::Clear() {
  if (!shown_) return;
  std::fputs("\r\x1b[K", stderr);
  std::fflush(stderr);
  shown_ = false;
}

}  // namespace Xem::Tool
