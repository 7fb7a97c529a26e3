#include <cmath>
#include <cstddef>

#include "fit/screening.h"
#include "solver/linalg/numbers.h"
#include "xem/fit/viscoelastic.h"

namespace Xem::Fit {

Result ConvertToRelaxation(const Curve& record, double reference, const std::function<double(double strain)>& stress) {
  if (!std::isfinite(reference) || reference == 0.0) {
    throw Error(ErrorKind::BadInput, "the reference stress must be a number other than 0");
  }
  Curve named = record;
  if (named.name.empty()) named.name = "relaxation";
  Result result;
  // A strain of zero, like any other without a stress, has no value on a relaxation curve.
  const auto objection = [&](double, double strain) -> std::string {
    const double value = stress(strain);
    if (!std::isfinite(value)) return "the stress at this strain is not a finite number";
    return MaterialUtil::IsNegligible(value) ? "no stress at this strain" : std::string();
  };
  const Curve kept = Screen(named, "strain", objection, 1, result.dropped);
  NoteOddities("", kept, result.notes);
  CurveResult curve;
  curve.name = kept.name;
  curve.x = kept.x;
  for (const double strain : kept.y) curve.fitted.push_back(reference / stress(strain));
  curve.measures.dropped = static_cast<int>(result.dropped.size());
  result.curves.push_back(std::move(curve));
  return result;
}

}  // namespace Xem::Fit
