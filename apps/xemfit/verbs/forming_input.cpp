#include "verbs/forming_input.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <tuple>

#include "failure.h"
#include "numbers.h"
#include "text.h"

namespace Xem::Tool {
namespace {

constexpr const char* kLaws[] = {"ghosh", "swift", "hockett-sherby", "voce", "swift-voce"};

[[noreturn]] void Refuse(const std::string& sentence) { throw Failure(ExitCode::Usage, sentence); }

double Number(const std::string& text, const std::string& context) {
  const auto number = ParseNumber(Trimmed(text));
  if (!number || !std::isfinite(*number)) Refuse(fmt::format("{}: {} is not a number", context, Quoted(text)));
  return *number;
}

/// Splits NAME=REST; a `=` behind a `@`, a `:` or a `/` belongs to the rest.
std::pair<std::string, std::string> SplitName(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || text.find_first_of("@:/") < equals) return {"", text};
  return {std::string(Trimmed(text.substr(0, equals))), text.substr(equals + 1)};
}

std::map<std::string, std::string> ParseSelection(const std::string& text, const std::string& option) {
  std::map<std::string, std::string> selection;
  for (const std::string& pair : Split(text, ',')) {
    const auto equals = pair.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == pair.size()) {
      Refuse(fmt::format("{}: {} behind @ is not of the form COLUMN=VALUE", option, Quoted(pair)));
    }
    selection[std::string(Trimmed(pair.substr(0, equals)))] = std::string(Trimmed(pair.substr(equals + 1)));
  }
  return selection;
}

std::string LawNamed(const std::string& text) {
  const std::string name = text.substr(0, text.find(':'));
  const auto found = std::find(std::begin(kLaws), std::end(kLaws), name);
  return found == std::end(kLaws) ? "" : name;
}

Fit::Hardening LawWithConstants(const std::string& law, const std::string& text) {
  Fit::Hardening hardening;
  hardening.law = law;
  const std::vector<std::string> names = Fit::HardeningConstants(law);
  const std::vector<std::string> parts = Split(text.size() > law.size() ? text.substr(law.size() + 1) : "", ',');
  if (parts.size() != names.size()) {
    Refuse(fmt::format("--hardening: {} needs {} constants: {}:{}", law, names.size(), law, Join(names, ",")));
  }
  for (std::size_t k = 0; k < parts.size(); ++k) {
    hardening.constants.push_back(Number(parts[k], "--hardening " + law + ", " + names[k]));
  }
  return hardening;
}

double Anisotropy(const std::string& text) {
  const std::vector<std::string> parts = Split(text, '/');
  if (parts.size() == 1) return Number(text, "--yield hill1979, r");
  if (parts.size() != 3) Refuse(fmt::format("--yield: {} is neither r nor r0/r45/r90", Quoted(text)));
  std::vector<double> r;
  for (const std::string& part : parts) r.push_back(Number(part, "--yield hill1979, r0/r45/r90"));
  return Fit::MeanAnisotropy(r[0], r[1], r[2]);
}

}  // namespace

NamedFile ParseNamedFile(const std::string& text, const std::string& option) {
  NamedFile file;
  std::tie(file.name, file.path) = SplitName(text);
  const auto at = file.path.rfind('@');
  if (at != std::string::npos && file.path.find('=', at) != std::string::npos) {
    file.selection = ParseSelection(file.path.substr(at + 1), option);
    file.path.resize(at);
  }
  if (file.path.empty()) Refuse(fmt::format("{}: {} names no file", option, Quoted(text)));
  return file;
}

NamedHardening ParseHardening(const std::string& text) {
  NamedHardening named;
  const auto [name, rest] = SplitName(text);
  const std::string law = LawNamed(rest);
  if (!law.empty()) {
    named.file.name = name;
    named.hardening = LawWithConstants(law, rest);
    return named;
  }
  std::error_code error;
  if (rest.find(':') != std::string::npos && !std::filesystem::exists(rest, error)) {
    Refuse(fmt::format(
        "--hardening: there is no law {}; give ghosh:K,e0,n,p, swift:K,e0,n, hockett-sherby:si,ss,N,p, voce:s0,q,b "
        "or a CSV file of a flow curve",
        Quoted(rest.substr(0, rest.find(':')))));
  }
  named.file = ParseNamedFile(text, "--hardening");
  named.hardening.law = "table";
  return named;
}

Fit::YieldCriterion ParseYield(const std::string& text) {
  Fit::YieldCriterion yield;
  yield.name = text.substr(0, text.find(':'));
  const bool hasConstants = text.find(':') != std::string::npos;
  if (yield.name == "vonmises" && !hasConstants) return yield;
  if (yield.name == "vonmises") Refuse("--yield: vonmises has no constants");
  if (yield.name != "hill1979") {
    Refuse(fmt::format("--yield: there is no criterion {}; give vonmises, hill1979:r,m or hill1979:r0/r45/r90,m",
                       Quoted(yield.name)));
  }
  const std::vector<std::string> parts = Split(hasConstants ? text.substr(text.find(':') + 1) : "", ',');
  if (!hasConstants || parts.size() > 2) Refuse("--yield: hill1979 needs r and, unless it is 2, m: hill1979:r,m");
  yield.r = Anisotropy(parts[0]);
  if (parts.size() == 2) yield.m = Number(parts[1], "--yield hill1979, m");
  return yield;
}

}  // namespace Xem::Tool
