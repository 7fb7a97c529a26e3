/// Prepares the input, a file of a record, in ways that its first bytes draw: every step, alone and with others.
/// Prepare may refuse with an Error whose sentence fits a terminal; what it returns must be a curve of finite numbers
/// that is told of, with no more points than were asked for. Anything else ends the process.

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "refusal.h"
#include "xem/fit/prepare.h"

namespace {

using namespace Xem::Fit;

PrepareOptions Drawn(const std::uint8_t* bytes) {
  PrepareOptions options;
  options.area = bytes[0] % 4 == 0 ? 0.0 : 20.0;
  options.gaugeLength = bytes[0] / 4 % 4 == 0 ? 0.0 : 25.0;
  options.measure = bytes[0] / 16 % 2 == 0 ? CurveMeasure::Engineering : CurveMeasure::True;
  options.cutUnloading = bytes[0] / 32 % 2 == 1;
  options.zero = bytes[0] / 64 % 2 == 1;
  options.toe = bytes[0] / 128 == 1;
  options.cycle = bytes[1] % 5 - 1;
  if (bytes[1] / 8 % 3 > 0) options.branch = bytes[1] / 8 % 3 == 1 ? Branch::Loading : Branch::Unloading;
  options.smooth = bytes[1] / 32 % 2 == 1;
  if (bytes[1] / 64 % 2 == 1) options.range = {-0.25, 0.75};
  options.points = bytes[2] % 16;
  return options;
}

void RequireFinite(const Curve& curve) {
  if (curve.x.size() != curve.y.size() || curve.Empty()) Report("a curve that is none", curve.name);
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    if (!std::isfinite(curve.x[i]) || !std::isfinite(curve.y[i])) Report("a number that is not finite", curve.name);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kDrawn = 3;
  if (size < kDrawn) return 0;
  MayRefuse([&] {
    const Table table = ParseTable({reinterpret_cast<const char*>(data + kDrawn), size - kDrawn}, "input.csv");
    const PrepareOptions options = Drawn(data);
    const Prepared prepared = Prepare(RecordFromTable(table, options.area > 0.0), options);
    RequireFinite(prepared.curve);
    if (options.points > 0 && prepared.curve.x.size() > options.points) Report("more points than asked for", "");
    if (prepared.history.empty()) Report("a curve without history", "");
    const MeanCurve mean = Average({prepared.curve, prepared.raw}, options.points);
    RequireFinite(mean.curve);
  });
  return 0;
}
