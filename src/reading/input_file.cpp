#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "reading/decoding.h"
#include "reading/errors.h"
#include "text/text.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

/// Closes what it opened.
class InputFile {
 public:
  explicit InputFile(const std::string& path)
      : owned_(path != "-"), descriptor_(owned_ ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {}
  ~InputFile() {
    if (owned_ && descriptor_ >= 0) close(descriptor_);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  int Descriptor() const { return descriptor_; }

  /// 0 for what is not a file on a disk.
  std::size_t Size() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    return static_cast<std::size_t>(status.st_size);
  }

 private:
  bool owned_;
  int descriptor_;
};

[[noreturn]] void RefuseSize(const std::string& source) {
  RefuseData(source + ": larger than 160 MiB, which no test curve is; take fewer points or one test out of it");
}

}  // namespace

std::string SourceName(const std::string& path) { return path == "-" ? "standard input" : Strings::Printable(path); }

std::string ReadInput(const std::string& path) {
  constexpr std::size_t kBlock = 65536;
  const std::string source = SourceName(path);
  const InputFile file(path);
  const auto refuse = [&] { RefuseData(source + ": cannot be read: " + std::strerror(errno)); };
  if (file.Descriptor() < 0) refuse();
  const std::size_t size = file.Size();
  if (size > kLargestInput) RefuseSize(source);
  std::string text(size + 1, '\0');  // the byte too many shows the end
  std::size_t filled = 0;
  for (;;) {
    if (filled == text.size()) text.resize(std::clamp(2 * filled, kBlock, kLargestInput + 1));
    const ssize_t count = read(file.Descriptor(), text.data() + filled, text.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) refuse();
    filled += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    if (filled > kLargestInput) RefuseSize(source);
    if (count == 0) break;
  }
  text.resize(filled);
  return text;
}

}  // namespace Xem::Fit
