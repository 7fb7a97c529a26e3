/// Reads the input as a stored result, asks it for its curves, writes it and reads it again. The reader may refuse with
/// an Error of the documented kind, and so may a curve; what was read must come back as it was.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "xem/fit/json.h"
#include "xem/fit/model.h"

namespace {

using namespace Xem::Fit;

constexpr double kAbscissae[] = {0.0,    0.1,     -0.3,  1.0,
                                 250.0,  -1e-300, 1e300, std::numeric_limits<double>::infinity(),
                                 -1e300, 5e-324,  1e-6,  std::numeric_limits<double>::quiet_NaN()};
constexpr std::size_t kMostCurves = 16;
constexpr const char* kSource = "stored.json";

[[noreturn]] void Report(const char* finding, const std::string& text) {
  std::fprintf(stderr, "FINDING: %s: %s\n", finding, text.c_str());
  std::abort();
}

std::optional<Result> Read(const std::string& text) {
  try {
    return FromJson(text, kSource);
  } catch (const Error& error) {
    const std::string message = error.what();
    if (error.Kind() != ErrorKind::BadData) Report("a refusal of another kind than documented", message);
    if (message.rfind(kSource, 0) != 0) Report("a refusal that does not name its source", message);
    return std::nullopt;
  }
}

/// Those of the document, those of its model, and one that there is not.
std::vector<std::string> CurveNames(const Result& result) {
  std::vector<std::string> names{"no such curve"};
  for (const CurveResult& curve : result.curves) names.push_back(curve.name);
  if (const ModelInfo* model = FindModel(result.model)) {
    for (const CurveInfo& curve : model->curves) names.push_back(curve.name);
  }
  if (names.size() > kMostCurves) names.resize(kMostCurves);
  return names;
}

/// A value, or why there is none.
struct Answer {
  double value = 0.0;
  std::string refusal;

  bool operator==(const Answer& other) const {
    return refusal == other.refusal && (value == other.value || (std::isnan(value) && std::isnan(other.value)));
  }
};

Answer Ask(const Result& result, const std::string& curve, double x) {
  try {
    return {result.evaluate(curve, x), ""};
  } catch (const Error& error) {
    if (*error.what() == '\0') Report("an empty refusal", curve);
    return {0.0, error.what()};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::optional<Result> first = Read(text);
  if (!first) return 0;

  const std::string document = ToJson(*first, "fuzz");
  const std::optional<Result> second = Read(document);
  if (!second) Report("a document of its own is refused", document);
  if (ToJson(*second, "fuzz") != document) Report("a document changes when it is read and written", document);
  if (IndentJson(document) != document) Report("a document is not indented as one", document);

  for (const std::string& curve : CurveNames(*first)) {
    for (const double x : kAbscissae) {
      if (!(Ask(*first, curve, x) == Ask(*second, curve, x))) Report("a curve changes when it is stored", document);
    }
  }
  return 0;
}
