#include "apps/vantrel/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "apps/vantrel/Command.h"
#include "apps/vantrel/Output.h"

namespace app {
namespace {

// The file itself is replaced, not a link that leads to it.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
  return real ? real.get() : path;
}

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == path.npos ? "./" : path.substr(0, slash + 1);
}

mode_t modeOfNewFiles() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path), target_(path == "-" ? path : resolved(path)) {
  if (path_ != "-") open();
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::open() {
  struct stat status {};
  const bool exists = stat(target_.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    descriptor_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) tell();
    return;
  }
  // Replacing takes no right to write to the file, but whoever took it away did not mean that.
  if (exists && access(target_.c_str(), W_OK) != 0) {
    tell();
    return;
  }
  if (!createBeside(exists ? status.st_mode & 0777 : modeOfNewFiles())) tell();
}

bool OutputFile::createBeside(mode_t mode) {
  std::string name = folderOf(target_) + ".vantrel-XXXXXX";
  descriptor_ = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor_ < 0) return false;
  temporary_ = std::move(name);
  return fchmod(descriptor_, mode) == 0;
}

bool OutputFile::tell() {
  if (!failed_) message(path_ + ": " + std::strerror(errno));
  failed_ = true;
  return false;
}

bool OutputFile::write(std::string_view piece) {
  if (failed_) return false;
  if (descriptor_ < 0) return app::write(piece);
  while (!piece.empty()) {
    const ssize_t count = ::write(descriptor_, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return tell();
    piece.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

int OutputFile::finish() {
  if (failed_) return kFailed;
  if (descriptor_ < 0) return kDone;
  return place() || tell() ? kDone : kFailed;
}

bool OutputFile::place() {
  // The contents must be there before the name is, or a crash leaves neither the old file nor the new one.
  if (!temporary_.empty() && fsync(descriptor_) != 0) return false;
  if (close(std::exchange(descriptor_, -1)) != 0) return false;
  if (temporary_.empty()) return true;
  if (rename(temporary_.c_str(), target_.c_str()) != 0) return false;
  temporary_.clear();
  return true;
}

}  // namespace app
