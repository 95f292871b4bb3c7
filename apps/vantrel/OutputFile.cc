#include "apps/vantrel/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "apps/vantrel/Command.h"
#include "apps/vantrel/Output.h"
#include "vantrel/base/io/Files.h"

namespace app {
namespace {

/// Replacing what standard output leads to would lose what others write to it.
bool isStandardOutput(const struct stat& status) {
  struct stat output {};
  return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == status.st_dev &&
         output.st_ino == status.st_ino;
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path) {
  if (path_ != "-") open();
}

void OutputFile::open() {
  struct stat status {};
  const bool exists = stat(path_.c_str(), &status) == 0;
  if (exists && isStandardOutput(status)) return;
  if (exists && !S_ISREG(status.st_mode)) {
    special_ = vantrel::Descriptor(::open(path_.c_str(), O_WRONLY | O_CLOEXEC));
    if (!special_) tell(vantrel::Error::ofSystem(errno));
    return;
  }
  auto file = vantrel::AtomicFile::create(path_);
  if (file) {
    file_.emplace(*std::move(file));
  } else {
    tell(file.error());
  }
}

bool OutputFile::tell(const vantrel::Error& error) {
  if (!failed_) message(path_ + ": " + error.description());
  failed_ = true;
  return false;
}

bool OutputFile::keep(const vantrel::Result<void>& done) { return done || tell(done.error()); }

bool OutputFile::write(std::string_view piece) {
  if (failed_) return false;
  if (file_) return keep(file_->write(bytesOf(piece)));
  if (special_) return keep(vantrel::files::write(special_.get(), bytesOf(piece)));
  return app::write(piece);
}

int OutputFile::finish() {
  if (failed_) return kFailed;
  if (file_) return keep(file_->commit()) ? kDone : kFailed;
  if (special_ && !special_.close()) tell(vantrel::Error::ofSystem(errno));
  return failed_ ? kFailed : kDone;
}

}  // namespace app
