#include "support/run_tool.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Xem::Testing {
namespace {

std::string Contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void Redirect(const std::filesystem::path& path, int flags, int descriptor) {
  const int opened = open(path.c_str(), flags, 0600);
  if (opened < 0 || dup2(opened, descriptor) < 0) _exit(125);
  close(opened);
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "xemfit-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot make a temporary folder");
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TemporaryFolder::Write(const std::string& name, const std::string& contents) const {
  std::ofstream(path_ / name, std::ios::binary) << contents;
}

std::string TemporaryFolder::Read(const std::string& name) const { return Testing::Contents(path_ / name); }

std::vector<std::string> TemporaryFolder::Contents() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path_))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

ToolRun RunTool(const std::vector<std::string>& arguments, const std::filesystem::path& folder,
                const std::string& input, const std::vector<std::string>& environment) {
  const TemporaryFolder streams;
  streams.Write("in", input);
  std::vector<std::string> texts = arguments;
  texts.insert(texts.begin(), XEM_TOOL);
  std::vector<std::string> extra = environment;
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);

  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) {
    Redirect(streams.Path() / "in", O_RDONLY, STDIN_FILENO);
    Redirect(streams.Path() / "out", O_WRONLY | O_CREAT, STDOUT_FILENO);
    Redirect(streams.Path() / "err", O_WRONLY | O_CREAT, STDERR_FILENO);
    if (chdir(folder.c_str()) != 0) _exit(125);
    for (std::string& variable : extra) putenv(variable.data());
    execv(pointers.front(), pointers.data());
    _exit(125);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, streams.Read("out"), streams.Read("err")};
}

}  // namespace Xem::Testing
