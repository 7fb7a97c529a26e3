#include "xem/soil.h"

#include <span>

#include "boundary/frame.h"
#include "soil/retention_fit.h"

using namespace Xem::MaterialUtil;

namespace {

std::span<const double> Numbers(const Xem::DoubleArray& array) {
  return {array.GetData(), static_cast<std::size_t>(array.GetSize())};
}

}  // namespace

std::int32_t CurveFitting4UnsaturatedSoil(const Xem::DoubleArray& settings, const CArray22& input,
                                          Xem::DoubleArray& parameters, CArray22& output) {
  const auto read = RetentionSettings::Read(Numbers(settings));
  if (!read) return 0;
  const RetentionPoints data = LoadRetention(*read, Points(input.first), Points(input.second));
  const RetentionFit fit = FitRetention(*read, data, Numbers(parameters));

  CopyOut(fit.parameters, parameters);
  CopyOut(data.derived, output.second);
  if (output.first.IsEmpty()) CopyOut(RetentionGrid(), output.first);
  fit.function->Output(fit.parameters, {}, OutputPoints(output.first));
  return fit.status;
}
