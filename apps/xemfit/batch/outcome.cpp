#include "batch/outcome.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <string_view>
#include <system_error>
#include <utility>

#include "batch/fields.h"
#include "failure.h"
#include "text.h"
#include "xem/fit/reading.h"
#include "xem/version.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestFileName = 120;

constexpr const char* kLines = ".outcomes";

/// Of a curve among many others.
constexpr std::size_t kMostPoints = 200;

/// FNV-1a in 64 bits (Fowler, Noll and Vo 1991), each text with its length.
class Digest {
 public:
  void Add(std::string_view text) {
    AddBytes(text);
    AddBytes(fmt::format("/{}/", text.size()));
  }
  std::string Text() const { return fmt::format("{:016x}", state_); }

 private:
  void AddBytes(std::string_view bytes) {
    for (const char byte : bytes) state_ = (state_ ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  }
  std::uint64_t state_ = 0xcbf29ce484222325U;
};

/// A name that is one file name on every system.
std::string FileName(const std::string& specimen) {
  std::string name;
  for (const char letter : specimen.substr(0, kLongestFileName)) {
    const bool plain = std::isalnum(static_cast<unsigned char>(letter)) || letter == '-' || letter == '_' ||
                       (letter == '.' && !name.empty());
    name += plain ? letter : '_';
  }
  return name;
}

/// Every n-th of too many, and the last.
std::vector<double> Thinned(const std::vector<double>& values) {
  const std::size_t step = values.size() / kMostPoints + 1;
  std::vector<double> thinned;
  for (std::size_t i = 0; i < values.size(); i += step) thinned.push_back(values[i]);
  if (step > 1) thinned.push_back(values.back());
  return thinned;
}

/// In the panel that shows it.
Outcome::Curve CurveOf(const Fit::CurveResult& curve, const std::vector<Panel>& panels) {
  Outcome::Curve shown{curve.name, {}, {}, {}, {}};
  for (const Panel& panel : panels) {
    const bool isIn = std::find(panel.curves.begin(), panel.curves.end(), curve.name) != panel.curves.end();
    if (!isIn && !panel.curves.empty()) continue;
    shown.x = panel.x;
    shown.y = panel.y;
    break;
  }
  if (!curve.measured.empty()) {
    shown.points[0] = Thinned(curve.x);
    shown.points[1] = Thinned(curve.measured);
  }
  std::vector<std::size_t> order(curve.x.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) { return curve.x[i] < curve.x[j]; });
  for (const std::size_t i : order) {
    if (i >= curve.fitted.size()) continue;
    shown.line[0].push_back(curve.x[i]);
    shown.line[1].push_back(curve.fitted[i]);
  }
  for (auto& values : shown.line) values = Thinned(values);
  return shown;
}

/// Of an option whose value, if any, is the next word.
bool IsName(const std::string& word) { return word.starts_with("--") && word.find('=') == std::string::npos; }

}  // namespace

bool Outcome::Lasting() const {
  return exitCode >= 0 && exitCode != static_cast<int>(ExitCode::Other) &&
         exitCode <= static_cast<int>(ExitCode::Unstable);
}

Outcome OutcomeWithout(int exitCode, const std::string& message) {
  Outcome outcome;
  outcome.exitCode = exitCode;
  outcome.message = message;
  return outcome;
}

Outcome OutcomeOf(const Report& report) {
  Outcome outcome{Fit::OutcomeOf(report.result), {}};
  for (const Fit::CurveResult& curve : report.result.curves) outcome.curves.push_back(CurveOf(curve, report.panels));
  return outcome;
}

template <class Fields, ConstOr<Outcome::Parameter> Parameter>
void Exchange(Fields& fields, Parameter& parameter) {
  fields(parameter.name)(parameter.unit)(parameter.value)(parameter.standardError)(parameter.doubt);
}

template <class Fields, ConstOr<Axis> SomeAxis>
void Exchange(Fields& fields, SomeAxis& axis) {
  fields(axis.label)(axis.unit)(axis.logarithmic)(axis.fromZero);
}

template <class Fields, ConstOr<Outcome::Curve> Curve>
void Exchange(Fields& fields, Curve& curve) {
  fields(curve.name);
  for (auto* axis : {&curve.x, &curve.y}) Exchange(fields, *axis);
  for (auto* columns : {&curve.points, &curve.line}) fields((*columns)[0])((*columns)[1]);
}

template <class Fields, ConstOr<Outcome> Some>
void Exchange(Fields& fields, Some& outcome) {
  fields(outcome.exitCode)(outcome.message)(outcome.model)(outcome.points)(outcome.dropped)(outcome.sse)(outcome.rmse)(
      outcome.r2)(outcome.aicc)(outcome.worstR2)(outcome.unit)(outcome.relative)(outcome.parameters)(outcome.derived)(
      outcome.curves);
}

std::string ToText(const Outcome& outcome) {
  FieldWriter fields;
  Exchange(fields, outcome);
  return fields.Text();
}

Outcome OutcomeFrom(std::string_view text) {
  FieldReader fields(text);
  Outcome outcome;
  Exchange(fields, outcome);
  return outcome;
}

OutcomeStore::OutcomeStore(const std::string& folder, const std::string& prefix)
    : prefix_(prefix), folder_(fs::absolute(folder).string()) {
  std::error_code error;
  fs::create_directories(folder_, error);
  if (error) {
    throw Failure(ExitCode::Other, fmt::format("{}: the work folder cannot be made: {}; choose another with --work",
                                               Printable(folder), error.message()));
  }
}

void OutcomeStore::FindKept() {
  std::error_code error;
  for (fs::directory_iterator entry(folder_, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() != kLines) continue;
    const std::string file = entry->path().string();
    const std::string text = Fit::ReadInput(file);
    for (std::size_t from = 0, to; (to = text.find('\n', from)) != std::string::npos; from = to + 1) {
      const std::size_t blank = text.find(' ', from);
      if (blank < to) kept_[text.substr(from, blank - from)] = {file, blank + 1, to - blank - 1};
    }
  }
}

std::string OutcomeStore::Key(const std::string& specimen, const std::vector<std::string>& words,
                              const std::vector<bool>& isOutput, const std::string& workingFolder) {
  Digest digest;
  digest.Add(XEM_VERSION);
  digest.Add(specimen);
  for (std::size_t i = 0; i < words.size(); ++i) {
    digest.Add(words[i]);
    if (isOutput[i] || IsName(words[i])) continue;
    const fs::path file = fs::path(workingFolder) / FileOf(words[i]);
    std::error_code error;
    if (fs::is_regular_file(file, error)) {
      try {
        digest.Add(Fit::ReadInput(file.string()));
      } catch (const Fit::Error&) {
        digest.Add("unreadable");
      }
    }
  }
  return FileName(specimen) + '.' + digest.Text();
}

std::optional<Outcome> OutcomeStore::Find(const std::string& key) const {
  const auto kept = kept_.find(key);
  if (kept == kept_.end()) return std::nullopt;
  try {
    const auto& [file, offset, size] = kept->second;
    std::string text(size, '\0');
    std::ifstream stream(file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(offset));
    stream.read(text.data(), static_cast<std::streamsize>(size));
    return OutcomeFrom(text);
  } catch (const std::exception&) {
    return std::nullopt;  // damaged: it is simply done again
  }
}

void OutcomeStore::Keep(const std::string& key, const Outcome& outcome) const {
  const std::string file = (fs::path(folder_) / (prefix_ + std::to_string(getpid()) + kLines)).string();
  // What an older process of this number left unfinished ends before the line begins.
  const std::string line = '\n' + key + ' ' + ToText(outcome) + '\n';
  const int descriptor = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  const bool written =
      descriptor >= 0 && write(descriptor, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  const int error = errno;
  if (descriptor >= 0) close(descriptor);
  if (!written) throw Failure(ExitCode::Other, Printable(file) + ": cannot be written: " + std::strerror(error));
}

}  // namespace Xem::Tool
