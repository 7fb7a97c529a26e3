#pragma once

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

namespace Xem::Testing {

struct ToolRun {
  int exitCode = -1;
  std::string output;
  std::string errors;
};

/// Runs the built command-line tool in a folder, with `input` as its standard input and extra "NAME=value" environment.
ToolRun RunTool(const std::vector<std::string>& arguments, const std::filesystem::path& folder,
                const std::string& input = "", const std::vector<std::string>& environment = {});

/// A derived quantity of a result, NaN where there is none of that name.
template <class Json>
double Derived(const Json& result, const std::string& name) {
  for (const auto& quantity : result.at("derived")) {
    if (quantity.at("name") == name) return quantity.at("value").template get<double>();
  }
  return std::numeric_limits<double>::quiet_NaN();
}

/// An empty folder that disappears with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  void Write(const std::string& name, const std::string& contents) const;
  std::string Read(const std::string& name) const;
  /// Names of everything in it, sorted.
  std::vector<std::string> Contents() const;

 private:
  std::filesystem::path path_;
};

}  // namespace Xem::Testing
