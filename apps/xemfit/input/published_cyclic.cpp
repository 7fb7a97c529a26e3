#include "input/published_cyclic.h"

#include <fmt/format.h>

#include <algorithm>

#include "failure.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

/// A name on the command line, the bundled files that it stands for, and its legend.
struct Entry {
  std::string_view name;
  std::string_view files;
  std::string_view legend;
};

constexpr Entry kEntries[] = {
    {"sand", "seed_idriss1970_sand", "Seed & Idriss 1970, sand"},
    {"clay", "vucetic_dobry1991_pi30", "Vucetic & Dobry 1991, clay PI 30"},
};

Fit::Table Bundled(const std::string& name) {
  const auto& files = BundledCyclicFiles();
  const auto found =
      std::find_if(files.begin(), files.end(), [&](const BundledFile& file) { return file.name == name; });
  if (found == files.end()) throw Failure(ExitCode::Other, fmt::format("the curve {} is not bundled", Quoted(name)));
  return Fit::ParseTable(std::string(found->text), name);
}

}  // namespace

std::vector<std::string> PublishedCyclicKeys() {
  std::vector<std::string> keys;
  for (const Entry& entry : kEntries) keys.emplace_back(entry.name);
  return keys;
}

std::string PublishedCyclicNames() {
  std::string names;
  for (const Entry& entry : kEntries) {
    names += fmt::format("{}{} ({})", names.empty() ? "" : ", ", entry.name, entry.legend);
  }
  return names;
}

PublishedCyclic PublishedCyclicCalled(const std::string& name) {
  for (const Entry& entry : kEntries) {
    if (!EqualIgnoringCase(name, entry.name) && !EqualIgnoringCase(name, entry.files)) continue;
    const Fit::Table stiffness = Bundled(std::string(entry.files) + "_stiffness");
    const Fit::Table damping = Bundled(std::string(entry.files) + "_damping");
    const auto source = stiffness.metadata.find("source");
    return {std::string(entry.name), std::string(entry.legend),
            source == stiffness.metadata.end() ? "" : source->second, Fit::CurveFromTable(stiffness, "stiffness").curve,
            Fit::CurveFromTable(damping, "damping").curve};
  }
  throw Failure(ExitCode::Usage, fmt::format("--overlay: there is no published curve {}; there are {}", Quoted(name),
                                             PublishedCyclicNames()));
}

}  // namespace Xem::Tool
