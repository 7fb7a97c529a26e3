#include "input/bundled.h"

#include <filesystem>
#include <string_view>
#include <system_error>

#include "failure.h"
#include "shared_files.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {

std::string ReadFile(const std::string& path) {
  constexpr std::string_view kMark = "data:";
  std::error_code error;
  if (!path.starts_with(kMark) || std::filesystem::exists(path, error)) return Fit::ReadInput(path);
  const std::string name = path.substr(kMark.size());
  const auto bundled = SharedFolder() / "data" / (name + ".csv");
  // A name, and no way out of that folder.
  if (name.find('/') != name.npos || !std::filesystem::exists(bundled, error)) {
    throw Failure(ExitCode::BadData, "there is no curve " + Quoted(name) + "; xemfit data lists them");
  }
  return Fit::ReadInput(bundled.string());
}

}  // namespace Xem::Tool
