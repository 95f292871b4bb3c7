#include "vantrel/base/io/AtomicFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "vantrel/base/SignalBlock.h"
#include "vantrel/base/io/Files.h"

namespace vantrel {
namespace {

using Path = std::filesystem::path;

constexpr char kOpenFiles[] = "/proc/self/fd/";

Path folderOf(const Path& path) { return path.has_parent_path() ? path.parent_path() : Path("."); }

/// Asking with `umask` would change it for a moment, for every thread.
mode_t modeMask() {
  constexpr std::string_view kLine = "\nUmask:\t";
  const Result<Descriptor> status = files::openToRead("/proc/self/status");
  const Result<Bytes> text = status ? files::readRest(status->get(), 1 << 16) : status.error();
  const std::size_t at = text ? text->text().find(kLine) : std::string_view::npos;
  if (at == std::string_view::npos) return 077;
  return static_cast<mode_t>(std::strtoul(text->text().data() + at + kLine.size(), nullptr, 8));
}

std::string randomName() {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != sizeof number)
    number = static_cast<std::uint64_t>(::getpid());
  char name[40];
  std::snprintf(name, sizeof name, ".%016llx.vantrel-tmp", static_cast<unsigned long long>(number));
  return name;
}

/// The name while a file is put in its place: the same for every writer, so that what one leaves that is
/// killed just then is found by the next.
std::string usualName(const std::string& target) { return "." + target.substr(0, 200) + ".vantrel-tmp"; }

bool isAt(int folder, const char* name, int file) {
  struct stat found {};
  struct stat there {};
  return ::fstat(file, &found) == 0 && ::fstatat(folder, name, &there, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(there.st_mode) && found.st_dev == there.st_dev && found.st_ino == there.st_ino;
}

/// Removes what a writer left that is gone: a living one holds the lock. Nobody but who holds the lock of the
/// file under a name may take it away from there.
void removeLeftOver(int folder, const std::string& name) {
  const Descriptor file(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0 && isAt(folder, name.c_str(), file.get()))
    ::unlinkat(folder, name.c_str(), 0);
}

Error lastError() { return Error::ofSystem(errno == 0 ? EIO : errno); }

}  // namespace

Result<AtomicFile> AtomicFile::create(PathArgument path, mode_t mode) {
  const Result<Path> target = files::resolved(path);
  if (!target) return target.error();
  if (!target->has_filename()) return Error::ofSystem(EISDIR);

  AtomicFile file;
  file.target_ = target->filename().native();
  file.folder_ = Descriptor(::open(folderOf(*target).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!file.folder_) return lastError();
  if (Result<void> opened = file.open(mode); !opened) return opened.error();
  return file;
}

Result<void> AtomicFile::open(mode_t mode) {
  struct stat status {};
  replaces_ = ::fstatat(folder_.get(), target_.c_str(), &status, 0) == 0;
  if (replaces_) {
    if (S_ISDIR(status.st_mode)) return Error::ofSystem(EISDIR);
    if (!S_ISREG(status.st_mode)) return Error::ofSystem(EINVAL);
    if (::faccessat(folder_.get(), target_.c_str(), W_OK, AT_EACCESS) != 0) return lastError();
  }
  if (!replaces_ && errno != ENOENT) return lastError();
  mode_ = replaces_ ? status.st_mode & 07777 : mode;
  owner_ = status.st_uid;
  group_ = status.st_gid;

  return openWithoutName() ? Result<void>() : openWithName();
}

/// Where the file system knows files without a name, and where they can be given one.
bool AtomicFile::openWithoutName() {
  if (::access(kOpenFiles, X_OK) != 0) return false;
  file_ =
      Descriptor(::openat(folder_.get(), ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, replaces_ ? 0600 : mode_));
  if (!file_ || !lock()) return false;
  // What a new file gets, by the process's mask or the folder's access list, the system knows best.
  struct stat status {};
  if (!replaces_ && ::fstat(file_.get(), &status) == 0) mode_ = status.st_mode & 07777;
  return true;
}

Result<void> AtomicFile::openWithName() {
  if (!replaces_) mode_ &= ~modeMask();
  const bool named = takeName([this](const char* name) {
    file_ =
        Descriptor(::openat(folder_.get(), name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file_ || !lock()) return false;
    // Before it was locked another writer may have taken it for a left-over.
    if (isAt(folder_.get(), name, file_.get())) return true;
    errno = EEXIST;
    return false;
  });
  if (!named) return lastError();
  return {};
}

/// Tells other writers that this one lives. False when one of them holds it already.
bool AtomicFile::lock() { return ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

/// Finds a name beside the target that `make` can have.
template <typename Make>
bool AtomicFile::takeName(const Make& make) {
  const auto isTaken = [] { return errno == EEXIST || errno == EWOULDBLOCK; };
  std::string name = usualName(target_);
  bool made = make(name.c_str());
  if (!made && isTaken()) {
    removeLeftOver(folder_.get(), name);
    made = make(name.c_str());
  }
  if (!made && isTaken()) {
    name = randomName();
    made = make(name.c_str());
  }
  if (made) temporary_ = std::move(name);
  return made;
}

AtomicFile::~AtomicFile() {
  if (file_ && !temporary_.empty()) ::unlinkat(folder_.get(), temporary_.c_str(), 0);
}

Result<void> AtomicFile::write(std::span<const std::uint8_t> contents) {
  return files::write(file_.get(), contents);
}

Result<void> AtomicFile::takeOverOwnerAndMode() {
  mode_t mode = mode_;
  if (replaces_ && ::fchown(file_.get(), owner_, group_) != 0) {
    // Only root may give a file away; the group may be one of the user's own. The rights of a group that is
    // lost are not another's: its members count as anybody.
    if (::fchown(file_.get(), static_cast<uid_t>(-1), group_) != 0) mode = (mode & ~070U) | (mode & 07U) << 3;
    mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
  }
  if (::fchmod(file_.get(), mode) != 0) return lastError();
  return {};
}

/// Gives a file without a name one: its own where nothing is there yet, else another one to be moved.
Result<void> AtomicFile::giveName() {
  const std::string self = kOpenFiles + std::to_string(file_.get());
  const auto link = [&](const char* name) {
    return ::linkat(AT_FDCWD, self.c_str(), folder_.get(), name, AT_SYMLINK_FOLLOW) == 0;
  };
  if (!replaces_ && link(target_.c_str())) return {};
  if (!replaces_ && errno != EEXIST) return lastError();
  if (!takeName(link)) return lastError();
  return {};
}

Result<void> AtomicFile::commit() {
  if (Result<void> taken = takeOverOwnerAndMode(); !taken) return taken;
  if (::fsync(file_.get()) != 0) return lastError();
  {
    // A signal that this thread gets must not end the process between the two names.
    const SignalBlock block;
    if (temporary_.empty()) {
      if (Result<void> named = giveName(); !named) return named;
    }
    if (!temporary_.empty() &&
        ::renameat(folder_.get(), temporary_.c_str(), folder_.get(), target_.c_str()) != 0) {
      return lastError();
    }
    temporary_.clear();
  }
  if (!file_.close()) return lastError();
  // Some file systems cannot sync a folder and say EINVAL, and a folder may be closed to reading.
  const Descriptor folder(::openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder && ::fsync(folder.get()) != 0 && errno != EINVAL) return lastError();
  return {};
}

Result<void> AtomicFile::replace(PathArgument path, std::span<const std::uint8_t> contents, mode_t mode) {
  Result<AtomicFile> file = create(path, mode);
  if (!file) return file.error();
  if (Result<void> written = file->write(contents); !written) return written;
  return file->commit();
}

}  // namespace vantrel
