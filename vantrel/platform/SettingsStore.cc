#include "vantrel/platform/SettingsStore.h"

#include <pwd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "vantrel/platform/Log.h"
#include "vantrel/platform/data/PlistExtent.h"
#include "vantrel/platform/data/TextEncoding.h"
#include "vantrel/platform/settings/SettingsFile.h"

namespace vantrel {
namespace {

using platform::detail::FileVersion;
using platform::detail::SettingsChanges;
using platform::detail::SettingsFile;

// Changes that come close together are written together.
constexpr std::chrono::milliseconds kGathering{100};

using Lines = std::vector<std::string>;

// A sink of the log may use the store, so lines are said when no lock is held.
void say(const Lines& lines) {
  for (const std::string& line : lines) platform::log(line);
}

std::filesystem::path homeFolder() {
  if (const char* home = std::getenv("HOME"); home && *home == '/') return home;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(std::size_t{16} << 10);
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found) return found->pw_dir;
  return "/";
}

std::filesystem::path configurationFolder() {
  // The XDG Base Directory Specification tells to ignore paths that are not absolute.
  if (const char* folder = std::getenv("XDG_CONFIG_HOME"); folder && *folder == '/') return folder;
  return homeFolder() / ".config";
}

// A relative path means the folder that the process is in now, not the one that it may change to.
std::filesystem::path fixed(std::filesystem::path file) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(file, error);
  return error ? file : absolute;
}

}  // namespace

class SettingsStore::State : public std::enable_shared_from_this<State> {
 public:
  explicit State(std::filesystem::path file) : file_(std::move(file)) {}

  void change(std::string_view key, std::optional<ValueTree> value);
  std::optional<ValueTree> find(std::string_view key);
  ValueTree all();
  bool flush();

  /// Writes what is pending and ends the writer; a later change starts it again.
  void finish();

  /// Whether this is the copy in a fork, where the writer is missing and may seem to wait for ever.
  bool isForked() const { return process_ != getpid(); }

  class AtExit;

 private:
  struct Change {
    std::optional<ValueTree> value;  // absent: removed
    std::uint64_t serial;
  };

  void startWriter();
  void runWriter();
  bool flush(Lines& lines);
  void refresh(Lines& lines);
  void note(const SettingsFile::Update& update, Lines& lines);

  const SettingsFile file_;
  const pid_t process_ = getpid();

  std::mutex writing_;  // held over a whole write; never asked for while mutex_ is held
  std::mutex mutex_;
  std::condition_variable wake_;
  ValueTree stored_ = ValueTree::dictionary();  // what the file held when last seen
  std::optional<FileVersion> seen_;
  std::map<std::string, Change, std::less<>> pending_;
  std::uint64_t serial_ = 0;  // of the latest change
  bool known_ = false;        // to AtExit
  bool readFailureSaid_ = false;
  bool writeFailureSaid_ = false;
  bool stopping_ = false;
  bool writerRuns_ = false;
  std::thread writer_;
};

/// The stores to finish when the process exits, wherever they are kept.
class SettingsStore::State::AtExit {
 public:
  static AtExit& shared() {
    static AtExit& only = *new AtExit;
    return only;
  }

  void add(const std::weak_ptr<State>& state) {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(installed_, true)) std::atexit([] { shared().exit(); });
    std::erase_if(states_, [](const auto& known) { return known.expired(); });
    states_.push_back(state);
  }

  /// Keeps what a fork must not destroy, as its parts would wait for a thread that is not there.
  void abandon(std::shared_ptr<State> state) {
    const std::lock_guard lock(mutex_);
    abandoned_.push_back(std::move(state));
  }

  /// Whether no thread of ours would get to write any more.
  bool begun() const { return begun_; }

 private:
  void exit() {
    begun_ = true;
    std::vector<std::weak_ptr<State>> states;
    {
      const std::lock_guard lock(mutex_);
      states = states_;
    }
    for (const auto& weak : states) {
      if (const auto state = weak.lock()) state->finish();
    }
  }

  std::mutex mutex_;
  std::vector<std::weak_ptr<State>> states_;
  std::vector<std::shared_ptr<State>> abandoned_;
  bool installed_ = false;
  std::atomic<bool> begun_ = false;
};

void SettingsStore::State::change(std::string_view key, std::optional<ValueTree> value) {
  AtExit& atExit = AtExit::shared();
  {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(known_, true)) atExit.add(weak_from_this());
    pending_.insert_or_assign(std::string(key), Change{std::move(value), ++serial_});
    if (!atExit.begun()) startWriter();
  }
  if (atExit.begun()) flush();
}

std::optional<ValueTree> SettingsStore::State::find(std::string_view key) {
  Lines lines;
  std::optional<ValueTree> found;
  {
    const std::lock_guard lock(mutex_);
    if (const auto pending = pending_.find(key); pending != pending_.end()) return pending->second.value;
    refresh(lines);
    if (const ValueTree* value = stored_.find(key)) found = *value;
  }
  say(lines);
  return found;
}

ValueTree SettingsStore::State::all() {
  Lines lines;
  ValueTree values;
  {
    const std::lock_guard lock(mutex_);
    refresh(lines);
    values = stored_;
    for (const auto& [key, change] : pending_) {
      if (change.value) {
        values.set(key, *change.value);
      } else {
        values.remove(key);
      }
    }
  }
  say(lines);
  return values;
}

// Takes over what another process has written. While the file cannot be read, what was known stays, and the
// next use tries again.
void SettingsStore::State::refresh(Lines& lines) {
  const std::optional<FileVersion> version = file_.version();
  if (version && version == seen_) return;
  SettingsFile::Contents contents = file_.read();
  if (contents.state == SettingsFile::State::Unreadable) {
    if (!std::exchange(readFailureSaid_, true)) {
      lines.push_back("settings: " + file_.path().string() + " cannot be read: " + contents.problem);
    }
    return;
  }
  readFailureSaid_ = false;
  if (contents.state == SettingsFile::State::Damaged) {
    SettingsFile::Update update = file_.update({});
    note(update, lines);
    if (update.done) contents = std::move(update.contents);
  }
  stored_ = std::move(contents.values);
  seen_ = contents.version;
}

void SettingsStore::State::note(const SettingsFile::Update& update, Lines& lines) {
  const std::string name = file_.path().string();
  if (!update.setAside.empty()) {
    lines.push_back("settings: " + name + " is damaged, kept as " + update.setAside);
  }
  if (!update.done && !std::exchange(writeFailureSaid_, true)) {
    lines.push_back("settings: " + name + " cannot be written: " + update.problem);
  }
  if (update.done) writeFailureSaid_ = false;
}

bool SettingsStore::State::flush() {
  Lines lines;
  const bool done = flush(lines);
  say(lines);
  return done;
}

bool SettingsStore::State::flush(Lines& lines) {
  const std::lock_guard writing(writing_);
  SettingsChanges changes;
  std::uint64_t latest = 0;
  {
    const std::lock_guard lock(mutex_);
    latest = serial_;
    for (const auto& [key, change] : pending_) changes.emplace_back(key, change.value);
  }
  if (changes.empty()) return true;
  SettingsFile::Update update = file_.update(changes);

  const std::lock_guard lock(mutex_);
  note(update, lines);
  if (!update.done) return false;
  stored_ = std::move(update.contents.values);
  seen_ = update.contents.version;
  std::erase_if(pending_, [&](const auto& entry) { return entry.second.serial <= latest; });
  return true;
}

void SettingsStore::State::startWriter() {
  if (writerRuns_) return;
  if (writer_.joinable()) writer_.join();  // it has nothing left to do but return
  stopping_ = false;
  try {
    writer_ = std::thread([self = shared_from_this()] { self->runWriter(); });
    writerRuns_ = true;
  } catch (const std::system_error&) {
    // No more threads: the change stays pending until the next one, `synchronize` or the end.
  }
}

void SettingsStore::State::runWriter() {
  std::unique_lock lock(mutex_);
  std::uint64_t written = 0;
  do {
    wake_.wait_for(lock, kGathering, [this] { return stopping_; });
    written = serial_;
    lock.unlock();
    flush();
    lock.lock();
  } while (!stopping_ && serial_ != written);
  writerRuns_ = false;
}

void SettingsStore::State::finish() {
  if (isForked()) return;
  std::thread writer;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    writer = std::move(writer_);
  }
  wake_.notify_all();
  if (writer.joinable()) {
    // The writer itself may be here: a sink of the log destroyed the store.
    writer.get_id() == std::this_thread::get_id() ? writer.detach() : writer.join();
  }
  flush();
}

SettingsStore::SettingsStore(std::filesystem::path file)
    : state_(std::make_shared<State>(fixed(std::move(file)))) {}

SettingsStore::~SettingsStore() {
  state_->finish();
  if (state_->isForked()) State::AtExit::shared().abandon(std::move(state_));
}

std::filesystem::path SettingsStore::fileOfApplication(std::string_view applicationName) {
  std::string name(applicationName);
  for (char& c : name) {
    if (c == '/' || c == '\0') c = '_';
  }
  if (name.empty() || name == "." || name == "..") name = "vantrel";
  return configurationFolder() / name / "settings.plist";
}

bool SettingsStore::setObject_forKey(const ValueTree& value, std::string_view key) {
  if (value.kind() == ValueTree::Kind::Null) {
    removeObjectForKey(key);
    return true;
  }
  // Below the dictionary of all settings.
  if (!plist::detail::extentOfKey(key) || !plist::detail::measure(value, 1)) return false;
  state_->change(key, value);
  return true;
}

std::optional<ValueTree> SettingsStore::objectForKey(std::string_view key) const { return state_->find(key); }

void SettingsStore::removeObjectForKey(std::string_view key) {
  if (text::isValidUtf8(key)) state_->change(key, std::nullopt);
}

ValueTree SettingsStore::all() const { return state_->all(); }

bool SettingsStore::synchronize() { return state_->flush(); }

}  // namespace vantrel
