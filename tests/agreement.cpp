// How far results differ between compilers, optimisation levels and BLAS libraries.
//   agreement                      prints every call and its numbers
//   agreement REFERENCE            prints every call and its greatest difference from numbers printed before
//   agreement REFERENCE DOCUMENT   fails where it exceeds the tolerance in the document's table
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/every_export.h"

namespace {

using Numbers = std::vector<double>;

std::ifstream Open(const char* path) {
  std::ifstream stream(path);
  if (!stream) throw std::runtime_error(std::string("cannot read ") + path);
  return stream;
}

std::map<std::string, Numbers> ReadReference(const char* path) {
  std::map<std::string, Numbers> reference;
  std::ifstream stream = Open(path);
  for (std::string line, name, word; std::getline(stream, line);) {
    std::istringstream words(line);
    words >> name;
    while (words >> word) reference[name].push_back(std::stod(word));  // a stream does not read "nan"
  }
  return reference;
}

/// Rows "| name | tolerance | ..." of a Markdown table.
std::map<std::string, double> ReadTolerances(const char* path) {
  std::map<std::string, double> tolerances;
  std::ifstream stream = Open(path);
  for (std::string line, bar, name, tolerance; std::getline(stream, line);) {
    std::istringstream words(line);
    words >> bar >> name >> bar >> tolerance;
    if (words && name.size() > 2 && name.front() == '`') {
      tolerances[name.substr(1, name.size() - 2)] = std::stod(tolerance);
    }
  }
  return tolerances;
}

/// Greatest difference relative to the reference; what is nothing but rounding of zero counts as zero.
double Difference(const Numbers& numbers, const Numbers& reference) {
  if (numbers.size() != reference.size()) return HUGE_VAL;
  double greatest = 0.0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (std::isnan(numbers[i]) && std::isnan(reference[i])) continue;
    const double difference = std::abs(numbers[i] - reference[i]) / std::max(std::abs(reference[i]), 1e-10);
    greatest = std::isnan(difference) ? HUGE_VAL : std::max(greatest, difference);
  }
  return greatest;
}

int Run(int count, char** arguments) {
  std::map<std::string, Numbers> reference;
  std::map<std::string, double> tolerances;
  if (count > 1) reference = ReadReference(arguments[1]);
  if (count > 2) tolerances = ReadTolerances(arguments[2]);
  int failures = 0;
  for (const auto calls : {Xem::Testing::EveryExport(), Xem::Testing::FitLayerCalls()}) {
    for (const Xem::Testing::Call& call : calls) {
      const Numbers numbers = call.run();
      std::printf("%s", call.name);
      if (count == 1) {
        for (const double number : numbers) std::printf(" %.17g", number);
      } else {
        const double difference = Difference(numbers, reference[call.name]);
        std::printf(" %.1e", difference);
        if (count > 2 && !(tolerances.count(call.name) != 0 && difference <= tolerances[call.name])) {
          std::printf(" exceeds its tolerance");
          ++failures;
        }
      }
      std::printf("\n");
    }
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return Run(count, arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "agreement: %s\n", error.what());
    return 2;
  }
}
