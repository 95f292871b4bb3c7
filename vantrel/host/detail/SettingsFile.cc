#include "vantrel/host/detail/SettingsFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <system_error>
#include <thread>

#include "vantrel/data/PropertyList.h"
#include "vantrel/data/PropertyListExtent.h"
#include "vantrel/data/detail/BinaryPlist.h"

namespace vantrel::host::detail {
namespace {

using Path = std::filesystem::path;

std::string reason(int code) { return std::generic_category().message(code); }

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }

  // Some file systems tell only here that the contents did not fit.
  bool close() { return ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

FileVersion versionOf(const struct stat& status) {
  const auto nanoseconds = [](const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
  };
  return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
          nanoseconds(status.st_ctim)};
}

// The file that links lead to, whether it is there or not.
Path resolved(Path file) {
  std::error_code error;
  for (int links = 0; links < 40 && std::filesystem::is_symlink(file, error); ++links) {
    file = file.parent_path() / std::filesystem::read_symlink(file, error);
  }
  return file;
}

Path folderOf(const Path& file) { return file.has_parent_path() ? file.parent_path() : Path("."); }

// Settings are the user's own: new folders are closed to others.
bool makeFolders(const Path& folder) {
  if (folder.empty() || ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) return true;
  if (errno != ENOENT || !folder.has_relative_path()) return false;
  if (!makeFolders(folder.parent_path())) return false;
  return ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

// Zero, or an error number: EWOULDBLOCK when others hold the lock. Zero also where the file system knows no
// locks (or none on folders): better to write than to forget.
int lock(const Descriptor& folder, std::chrono::milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (::flock(folder.number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EOPNOTSUPP || errno == ENOSYS || errno == ENOLCK || errno == EBADF) return 0;
    if (errno != EINTR && errno != EWOULDBLOCK) return errno;
    if (std::chrono::steady_clock::now() >= end) return EWOULDBLOCK;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return 0;
}

bool readAll(const Descriptor& file, std::vector<std::uint8_t>& contents) {
  std::size_t filled = 0;
  while (filled < contents.size()) {
    const ssize_t got = ::read(file.number(), contents.data() + filled, contents.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  contents.resize(filled);
  return true;
}

bool writeAll(const Descriptor& file, const Bytes& contents) {
  std::size_t written = 0;
  while (written < contents.size()) {
    const ssize_t put = ::write(file.number(), contents.data() + written, contents.size() - written);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    written += static_cast<std::size_t>(put);
  }
  return true;
}

SettingsFile::Contents unreadable(int code) {
  SettingsFile::Contents contents;
  contents.state = SettingsFile::State::Unreadable;
  contents.problem = reason(code);
  return contents;
}

SettingsFile::Contents readFile(const Path& file) {
  using State = SettingsFile::State;
  SettingsFile::Contents result;
  const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor) return errno == ENOENT || errno == ENOTDIR ? result : unreadable(errno);
  struct stat status {};
  if (::fstat(descriptor.number(), &status) != 0) return unreadable(errno);
  if (!S_ISREG(status.st_mode)) return unreadable(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  result.version = versionOf(status);
  result.state = State::Damaged;
  if (static_cast<std::uint64_t>(status.st_size) > plist::kMaxContents) return result;

  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size));
  if (!readAll(descriptor, bytes)) return unreadable(errno);
  std::optional<ValueTree> values = plist::parse(Bytes(std::move(bytes)));
  if (!values || values->kind() != ValueTree::Kind::Dictionary) return result;
  result.state = State::Sound;
  result.values = std::move(*values);
  return result;
}

// Moves the file to a name that is free; empty when that fails.
std::string setAside(const Path& file) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const std::string stem = file.string() + ".damaged-" +
                           std::to_string(std::chrono::duration_cast<std::chrono::seconds>(now).count());
  std::string name = stem;
  struct stat status {};
  for (int i = 1; ::lstat(name.c_str(), &status) == 0; ++i) name = stem + "-" + std::to_string(i);
  return ::rename(file.c_str(), name.c_str()) == 0 ? name : std::string();
}

// Puts contents and name in place one after the other, each synced before the next. Zero or an error number.
int replace(const Path& file, const Bytes& contents, const Descriptor& folder, FileVersion& version) {
  // Under the lock nobody else uses the name; what lies there was left by a writer that died.
  const std::string temporary = file.string() + ".new";
  ::unlink(temporary.c_str());
  Descriptor output(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!output) return errno;
  struct stat status {};
  const bool placed = writeAll(output, contents) && ::fsync(output.number()) == 0 && output.close() &&
                      ::rename(temporary.c_str(), file.c_str()) == 0;
  if (!placed) {
    const int code = errno;
    ::unlink(temporary.c_str());
    return code == 0 ? EIO : code;
  }
  // Some file systems cannot sync a folder and say EINVAL.
  if (::fsync(folder.number()) != 0 && errno != EINVAL) return errno;
  if (::stat(file.c_str(), &status) == 0) version = versionOf(status);
  return 0;
}

struct Outcome {
  ValueTree values;
  Bytes contents;
};

// What the file holds after these changes; absent when that is too large.
std::optional<Outcome> after(std::span<const SettingsChange> changes, ValueTree values) {
  applyChanges(changes, values);
  std::optional<Bytes> contents = plist::write(values);
  if (!contents) return std::nullopt;
  return Outcome{std::move(values), std::move(*contents)};
}

// The same for as many of the changes as fit, removals and small values before large ones; the keys of the
// others are refused. Absent when none fits.
std::optional<Outcome> afterWhatFits(SettingsChanges changes, const ValueTree& values,
                                     std::vector<std::string>& refused) {
  if (auto outcome = after(changes, values)) return outcome;
  std::ranges::sort(changes, {}, [](const SettingsChange& change) -> std::uint64_t {
    return change.second ? plist::extentOf(*change.second).bytes : 0;
  });
  std::optional<Outcome> best;
  std::size_t fitting = 0;
  for (std::size_t tooMany = changes.size(); tooMany - fitting > 1;) {
    const std::size_t count = std::midpoint(fitting, tooMany);
    if (auto outcome = after(std::span(changes).first(count), values)) {
      best = std::move(outcome);
      fitting = count;
    } else {
      tooMany = count;
    }
  }
  for (std::size_t i = fitting; i < changes.size(); ++i) refused.push_back(changes[i].first);
  return best;
}

}  // namespace

void applyChanges(std::span<const SettingsChange> changes, ValueTree& values) {
  for (const auto& [key, value] : changes) {
    if (value) {
      values.set(key, *value);
    } else {
      values.remove(key);
    }
  }
}

std::optional<FileVersion> SettingsFile::version() const {
  struct stat status {};
  if (::stat(path_.c_str(), &status) == 0) return versionOf(status);
  if (errno == ENOENT || errno == ENOTDIR) return FileVersion{};
  return std::nullopt;
}

SettingsFile::Contents SettingsFile::read() const { return readFile(path_); }

SettingsFile::Update SettingsFile::update(const SettingsChanges& changes,
                                          std::chrono::milliseconds patience) const {
  Update update;
  const auto failed = [&](std::string problem) {
    update.problem = std::move(problem);
    return update;
  };
  const Path file = resolved(path_);
  if (!makeFolders(file.parent_path())) return failed(reason(errno));
  const Descriptor folder(::open(folderOf(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return failed(reason(errno));
  if (const int code = lock(folder, patience)) {
    update.lockMissed = code == EWOULDBLOCK;
    return failed(update.lockMissed ? "another process holds the lock on " + folderOf(file).string()
                                    : reason(code));
  }

  update.contents = readFile(file);
  if (update.contents.state == State::Unreadable) return failed(update.contents.problem);
  if (update.contents.state == State::Damaged) {
    update.setAside = setAside(file);
    if (update.setAside.empty()) return failed("the damaged file cannot be set aside: " + reason(errno));
    update.contents = {};
  }
  if (!changes.empty()) {
    if (auto outcome = afterWhatFits(changes, update.contents.values, update.refused)) {
      const int code = replace(file, outcome->contents, folder, update.contents.version);
      if (code != 0) return failed(reason(code));
      update.contents.values = std::move(outcome->values);
      update.contents.state = State::Sound;
    }
  }
  update.done = true;
  return update;
}

}  // namespace vantrel::host::detail
