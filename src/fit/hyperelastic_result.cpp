#include "fit/hyperelastic_result.h"

#include <cctype>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "fit/assemble.h"
#include "stability/volumetric_energy.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool IsVolumetricName(const std::string& name) {
  return name.size() > 1 && name[0] == 'D' && std::isdigit(static_cast<unsigned char>(name[1]));
}

void Move(std::map<std::string, double>& from, std::map<std::string, double>& to) {
  for (auto entry = from.begin(); entry != from.end();) {
    if (IsVolumetricName(entry->first)) {
      to.insert(*entry);
      entry = from.erase(entry);
    } else {
      ++entry;
    }
  }
}

/// The two fits share no data, so their parameters are not correlated.
void AppendCorrelation(const Result& more, Result& result) {
  const std::size_t own = result.correlation.size();
  const std::size_t added = more.correlation.size();
  const auto cross = [](const std::vector<std::vector<double>>& matrix, std::size_t i) {
    return std::isnan(matrix[i][i]) ? kNaN : 0.0;
  };
  for (std::size_t i = 0; i < own; ++i) {
    for (std::size_t j = 0; j < added; ++j) {
      result.correlation[i].push_back(cross(result.correlation, i) + cross(more.correlation, j));
    }
  }
  for (std::size_t j = 0; j < added; ++j) {
    std::vector<double> row;
    for (std::size_t i = 0; i < own; ++i) row.push_back(result.correlation[i][own + j]);
    row.insert(row.end(), more.correlation[j].begin(), more.correlation[j].end());
    result.correlation.push_back(std::move(row));
  }
}

template <class T>
void Append(const std::vector<T>& more, std::vector<T>& list) {
  list.insert(list.end(), more.begin(), more.end());
}

/// Fits the volumetric data and makes them part of the result; measures in all stay those of the stress curves. Returns
/// the coefficients.
std::vector<double> AddVolumetric(const HyperelasticData& data, const Options& options, Result& result) {
  const Result volumetric = FitVolumetric({data.volumetric, data.stressUnit}, data.volumetricTerms, options);
  std::vector<double> coefficients;
  for (const Parameter& parameter : volumetric.parameters) coefficients.push_back(parameter.value);
  AppendCorrelation(volumetric, result);
  Append(volumetric.parameters, result.parameters);
  Append(volumetric.curves, result.curves);
  Append(volumetric.dropped, result.dropped);
  Append(volumetric.notes, result.notes);
  result.evaluate = [stress = result.evaluate, pressure = volumetric.evaluate](const std::string& curve, double x) {
    return curve == "volumetric" ? pressure(curve, x) : stress(curve, x);
  };
  return coefficients;
}

double OrNaN(double limit) { return limit == 0.0 ? kNaN : limit; }

}  // namespace

SplitOptions SplitByModel(const HyperelasticData& data, const Options& options) {
  SplitOptions split{options, options};
  split.volumetric.held.clear();
  split.volumetric.start.clear();
  if (!data.volumetric.Empty()) {
    Move(split.model.held, split.volumetric.held);
    Move(split.model.start, split.volumetric.start);
  }
  return split;
}

std::vector<double> VolumetricOrDefault(const std::vector<double>& volumetric, double shearModulus) {
  if (!volumetric.empty()) return volumetric;
  const Vector assumed = DefaultVolumetricCoefficients(1, shearModulus);
  return {assumed.Span().begin(), assumed.Span().end()};
}

ScanRange MakeScanRange(double lower, double upper) {
  constexpr double kLessThanAStep = 1e-3;
  if (!(lower <= 0.0) || !(upper >= 0.0)) {
    throw Error(ErrorKind::BadInput,
                "the strains " + Text(lower) + " ... " + Text(upper) + " of a stability check do not lie around 0");
  }
  return {lower == 0.0 ? -kLessThanAStep : lower, upper == 0.0 ? kLessThanAStep : upper};
}

Stability ToStability(const std::function<StabilityReport()>& report) {
  StabilityReport found;
  try {
    found = report();
  } catch (int) {
    throw Error(ErrorKind::NotConverged, "the stability check fails: the coefficients give no finite stiffness");
  }
  Stability stability;
  stability.uniaxialTension = OrNaN(found.limits.uniaxialTension);
  stability.uniaxialCompression = OrNaN(found.limits.uniaxialCompression);
  stability.equibiaxialTension = OrNaN(found.limits.equibiaxialTension);
  stability.equibiaxialCompression = OrNaN(found.limits.equibiaxialCompression);
  stability.pureShearTension = OrNaN(found.limits.pureShearTension);
  stability.pureShearCompression = OrNaN(found.limits.pureShearCompression);
  for (const wchar_t letter : found.text) stability.text += static_cast<char>(letter);  // ASCII throughout
  return stability;
}

void CompleteIncompressible(const HyperelasticData& data, const HyperelasticCurves& screened, const Options& volumetric,
                            double shearModulus, const StabilityCheck& check, Result& result) {
  Append(screened.notes, result.notes);
  std::vector<double> bulk;
  if (data.volumetric.Empty()) {
    bulk = VolumetricOrDefault({}, shearModulus);
    result.notes.push_back("without volumetric data the bulk modulus assumes a Poisson ratio of 0.495");
  } else {
    bulk = AddVolumetric(data, volumetric, result);
  }
  const double bulkModulus = 2.0 * bulk.front();
  result.derived["shear_modulus"] = shearModulus;
  result.derived["bulk_modulus"] = bulkModulus;
  result.derived["poisson_ratio"] = (3.0 * bulkModulus - 2.0 * shearModulus) / (6.0 * bulkModulus + 2.0 * shearModulus);
  if (!(shearModulus > 0.0)) {
    result.notes.push_back("the initial shear modulus is not positive: the model fails before it is strained");
  }
  result.stability = ToStability([&] { return check(bulk); });
}

}  // namespace Xem::Fit
