#include "batch/outcome.h"

#include <fmt/format.h>

#include <cctype>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "failure.h"
#include "input/csv.h"
#include "output/output.h"
#include "text.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr std::size_t kLongestFileName = 120;

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

double NumberIn(const Json& object, const char* key) {
  return object.is_object() && object.contains(key) && object[key].is_number() ? object[key].get<double>()
                                                                               : Outcome::kNone;
}

std::string TextIn(const Json& object, const char* key) {
  return object.is_object() && object.contains(key) && object[key].is_string() ? object[key].get<std::string>() : "";
}

Outcome Read(int exitCode, std::string message, const Json& result) {
  Outcome outcome{exitCode, std::move(message), TextIn(result, "model")};
  const double terms = NumberIn(result, "terms");
  if (terms > 0) outcome.model += fmt::format(":{:.0f}", terms);
  if (!result.is_object()) return outcome;
  if (result.contains("dropped")) outcome.dropped = static_cast<double>(result["dropped"].size());
  if (result.contains("measures")) {
    const Json& measures = result["measures"];
    outcome.points = NumberIn(measures, "points");
    outcome.sse = NumberIn(measures, "sse");
    outcome.rmse = NumberIn(measures, "rmse");
    outcome.r2 = NumberIn(measures, "r2");
    outcome.aicc = NumberIn(measures, "aicc");
  }
  if (result.contains("parameters")) {
    for (const Json& one : result["parameters"]) {
      outcome.parameters.push_back(
          {TextIn(one, "name"), TextIn(one, "unit"), NumberIn(one, "value"), NumberIn(one, "standard_error")});
    }
  }
  if (result.contains("derived")) {
    for (const auto& [name, value] : result["derived"].items()) {
      if (value.is_number()) outcome.derived.emplace_back(name, value.get<double>());
    }
  }
  return outcome;
}

}  // namespace

std::string Outcome::Status() const {
  switch (static_cast<ExitCode>(exitCode)) {
    case ExitCode::Fitted:
      return "fitted";
    case ExitCode::Usage:
      return "refused";
    case ExitCode::BadData:
      return "bad data";
    case ExitCode::NotConverged:
      return "not converged";
    case ExitCode::Unstable:
      return "unstable";
    default:
      return exitCode < 0 ? "stopped" : "failed";
  }
}

Outcome OutcomeOf(int exitCode, std::string message, const std::string& document) {
  if (document.empty()) return Read(exitCode, std::move(message), nullptr);
  const Json result = Json::parse(document, nullptr, false);
  return result.is_discarded() ? Outcome{-1, "its result cannot be read", ""}
                               : Read(exitCode, std::move(message), result);
}

OutcomeStore::OutcomeStore(std::string folder) : folder_(std::move(folder)) {
  std::error_code error;
  fs::create_directories(folder_, error);
  if (error) {
    throw Failure(ExitCode::Other, fmt::format("{}: the work folder cannot be made: {}; choose another with --work",
                                               Printable(folder_), error.message()));
  }
}

std::string OutcomeStore::Key(const std::string& specimen, const std::vector<std::string>& words,
                              const std::vector<bool>& isOutput, const std::string& workingFolder) {
  Digest digest;
  digest.Add(XEM_VERSION);
  digest.Add(specimen);
  for (std::size_t i = 0; i < words.size(); ++i) {
    digest.Add(words[i]);
    const fs::path file = fs::path(workingFolder) / FileOf(words[i]);
    std::error_code error;
    if (!isOutput[i] && fs::is_regular_file(file, error)) {
      try {
        digest.Add(ReadInput(file.string()));
      } catch (const Failure&) {
        digest.Add("unreadable");
      }
    }
  }
  return FileName(specimen) + '.' + digest.Text();
}

std::string OutcomeStore::PathOf(const std::string& key) const {
  return (fs::path(folder_) / (key + ".json")).string();
}

std::optional<Outcome> OutcomeStore::Find(const std::string& key) const {
  std::error_code error;
  if (!fs::is_regular_file(PathOf(key), error)) return std::nullopt;
  try {
    const Json stored = Json::parse(ReadInput(PathOf(key)));
    return Read(stored.at("exit_code").get<int>(), stored.at("message").get<std::string>(), stored.at("result"));
  } catch (const std::exception&) {
    return std::nullopt;  // damaged, such as by a full disk: it is simply done again
  }
}

void OutcomeStore::Keep(const std::string& key, const std::string& specimen, const Outcome& outcome,
                        const std::string& document) const {
  const Json stored{{"specimen", specimen},
                    {"exit_code", outcome.exitCode},
                    {"message", outcome.message},
                    {"result", document.empty() ? Json() : Json::parse(document)}};
  ReplaceFile(PathOf(key), stored.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
}

}  // namespace Xem::Tool
