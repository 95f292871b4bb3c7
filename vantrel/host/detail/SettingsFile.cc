#include "vantrel/host/detail/SettingsFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <system_error>
#include <thread>

#include "vantrel/base/io/AtomicFile.h"
#include "vantrel/base/io/Files.h"
#include "vantrel/data/PropertyList.h"
#include "vantrel/data/PropertyListExtent.h"

namespace vantrel::host::detail {
namespace {

using Path = std::filesystem::path;

FileVersion versionOf(const struct stat& status) {
  const auto nanoseconds = [](const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
  };
  return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
          nanoseconds(status.st_ctim)};
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
  while (::flock(folder.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EOPNOTSUPP || errno == ENOSYS || errno == ENOLCK || errno == EBADF) return 0;
    if (errno != EINTR && errno != EWOULDBLOCK) return errno;
    if (std::chrono::steady_clock::now() >= end) return EWOULDBLOCK;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return 0;
}

SettingsFile::Contents unreadable(const Error& error) {
  SettingsFile::Contents contents;
  contents.state = SettingsFile::State::Unreadable;
  contents.problem = error;
  return contents;
}

bool isMissing(const Error& error) { return error.code == ENOENT || error.code == ENOTDIR; }

SettingsFile::Contents readFile(const Path& file) {
  using State = SettingsFile::State;
  SettingsFile::Contents result;
  const Result<Descriptor> opened = files::openToRead(file);
  if (!opened) return isMissing(opened.error()) ? result : unreadable(opened.error());
  struct stat status {};
  if (::fstat(opened->get(), &status) != 0) return unreadable(Error::ofSystem(errno));
  if (!S_ISREG(status.st_mode)) return unreadable(Error::ofSystem(S_ISDIR(status.st_mode) ? EISDIR : EINVAL));
  result.version = versionOf(status);
  result.state = State::Damaged;

  const Result<Bytes> contents = files::readRest(opened->get(), plist::kMaxContents);
  if (!contents) return contents.error().code == EFBIG ? result : unreadable(contents.error());
  std::optional<ValueTree> values = plist::parse(*contents);
  if (!values || values->kind() != ValueTree::Kind::Dictionary) return result;
  result.state = State::Sound;
  result.values = std::move(*values);
  return result;
}

Error lockedBy(const Path& folder) {
  return Error::saying(Error::kSystemDomain, EWOULDBLOCK,
                       "another process holds the lock on " + folder.string());
}

Error notSetAside(int code) {
  return Error::saying(Error::kSystemDomain, code,
                       "the damaged file cannot be set aside: " + Error::ofSystem(code).description());
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
  const auto failed = [&](Error problem) {
    update.problem = std::move(problem);
    return update;
  };
  const Result<Path> target = files::resolved(path_);
  if (!target) return failed(target.error());
  const Path& file = *target;
  if (!makeFolders(file.parent_path())) return failed(Error::ofSystem(errno));
  const Descriptor folder(::open(folderOf(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return failed(Error::ofSystem(errno));
  if (const int code = lock(folder, patience)) {
    update.lockMissed = code == EWOULDBLOCK;
    return failed(update.lockMissed ? lockedBy(folderOf(file)) : Error::ofSystem(code));
  }

  update.contents = readFile(file);
  if (update.contents.state == State::Unreadable) return failed(*update.contents.problem);
  if (update.contents.state == State::Damaged) {
    update.setAside = setAside(file);
    if (update.setAside.empty()) return failed(notSetAside(errno));
    update.contents = {};
  }
  if (!changes.empty()) {
    if (auto outcome = afterWhatFits(changes, update.contents.values, update.refused)) {
      // Settings are the user's own: a new file is closed to others.
      const Result<void> written = AtomicFile::replace(file, outcome->contents.span(), 0600);
      if (!written) return failed(written.error());
      struct stat status {};
      update.contents.version = ::stat(file.c_str(), &status) == 0 ? versionOf(status) : FileVersion{};
      update.contents.values = std::move(outcome->values);
      update.contents.state = State::Sound;
    }
  }
  return update;
}

}  // namespace vantrel::host::detail
