#include "vantrel/system/detail/FileContents.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "vantrel/system/detail/Descriptor.h"

namespace vantrel::system::detail {
namespace {

bool writeAll(int file, const Bytes& data) {
  for (std::size_t done = 0; done < data.size();) {
    const ssize_t count = ::write(file, data.data() + done, data.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool isRegular(int file, struct stat& status) {
  return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == path.npos ? "." : path.substr(0, slash + 1);
}

// The size may be wrong by now, and is 0 for what the kernel makes up on the fly.
std::optional<std::vector<std::uint8_t>> readToEnd(int file, std::size_t expected) {
  std::vector<std::uint8_t> contents(expected + 1);
  for (std::size_t length = 0;;) {
    if (length == contents.size()) contents.resize(std::max<std::size_t>(4096, 2 * length));
    const ssize_t count = ::read(file, contents.data() + length, contents.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || length > kLargestReadFile) return std::nullopt;
    if (count == 0) {
      contents.resize(length);
      return contents;
    }
    length += static_cast<std::size_t>(count);
  }
}

// Links are followed, so that the file they lead to is replaced and not the link.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
  return real ? real.get() : path;
}

struct TemporaryFile {
  Descriptor file{};
  std::string path{};
};

TemporaryFile createBeside(const std::string& path, mode_t mode) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::uint64_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != sizeof number) number = static_cast<std::uint64_t>(attempt);
    char name[40];
    std::snprintf(name, sizeof name, "/.%016llx.tmp", static_cast<unsigned long long>(number));
    std::string candidate = folderOf(path) + name;
    Descriptor file(::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (file || errno != EEXIST) return {std::move(file), std::move(candidate)};
  }
  return {};
}

// Without this a crash may bring the old contents back; the new ones are complete in either case.
void syncFolder(const std::string& folder) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) ::fsync(descriptor.get());
}

}  // namespace

std::optional<Bytes> readFile(std::string_view path) {
  const auto name = systemPath(path);
  if (!name) return std::nullopt;
  // Not blocking, or a pipe without a writer would hang the caller.
  const Descriptor file(::open(name->c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || !isRegular(file.get(), status)) return std::nullopt;
  if (static_cast<std::uint64_t>(status.st_size) > kLargestReadFile) return std::nullopt;
  try {
    auto contents = readToEnd(file.get(), static_cast<std::size_t>(status.st_size));
    return contents ? std::optional<Bytes>(std::move(*contents)) : std::nullopt;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

bool replaceFile(const std::string& path, const Bytes& data) {
  const std::string target = resolved(path);
  struct stat status {};
  const bool exists = ::stat(target.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) return false;

  // What the old file kept from others must not be readable in the new one for a moment either.
  const TemporaryFile temporary = createBeside(target, exists ? 0600 : 0666);
  if (!temporary.file) return false;
  const int file = temporary.file.get();
  bool good = writeAll(file, data);
  if (exists) {
    // Only the superuser may keep another owner; for others the file becomes theirs.
    const bool owned = ::fchown(file, status.st_uid, status.st_gid) == 0;
    const mode_t special = owned ? 0 : S_ISUID | S_ISGID;
    good = good && ::fchmod(file, status.st_mode & 07777 & ~special) == 0;
  }
  good = good && ::fsync(file) == 0 && ::rename(temporary.path.c_str(), target.c_str()) == 0;
  if (good) {
    syncFolder(folderOf(target));
  } else {
    ::unlink(temporary.path.c_str());
  }
  return good;
}

void appendToFile(const std::string& path, const Bytes& data) {
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || !isRegular(file.get(), status)) return;
  // When cutting back fails too there is nothing left to try, and the operation reports nothing.
  if (!writeAll(file.get(), data) && ::ftruncate(file.get(), status.st_size) != 0) return;
}

}  // namespace vantrel::system::detail
