#include "vantrel/host/detail/LiveSettings.h"

#include <time.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "vantrel/base/Log.h"
#include "vantrel/base/SignalBlock.h"
#include "vantrel/data/PropertyList.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::host::detail {
namespace {

// For the lock of another process, which writes under it and no more.
constexpr std::chrono::milliseconds kPatience{5000};

// How long a reading may go by an earlier look at the file: a look takes far longer than all else of a
// reading.
constexpr Duration kFreshness = std::chrono::milliseconds(5);

// How often the writer looks at a clock that stands still.
constexpr Duration kManualClockGlance = std::chrono::milliseconds(10);

// The exit waits for a lock once, however many stores there are.
std::atomic<bool> exitHasWaited = false;

// The machine's monotonic time, a tick of its timer old at most; a third of what the exact one costs.
Duration coarseTime() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::chrono::seconds(now.tv_sec) + Duration(now.tv_nsec);
}

// A sink of the log may use the store, so lines are said when no lock is held.
void say(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) log(LogLevel::Error, line);
}

}  // namespace

void LiveSettings::change(std::string_view key, std::optional<ValueTree> value, Extent extent) {
  ExitList& exitList = ExitList::shared();
  bool last = false;
  bool sooner = false;
  {
    const MutexLock lock(mutex_);
    if (!known_) exitList.add(weak_from_this());
    known_ = true;
    pending_.put(key, std::move(value), extent);
    sooner = gathering_.changed();
    last = exitList.begun();
    if (!last) startWriter();
  }
  if (last) return finish();
  if (sooner) wake_.notifyOne();
}

// Also by what waits; what is replaced makes room only in the second, slow look.
bool LiveSettings::hasRoom(std::string_view key, const ValueTree& value, const Extent& extent) {
  Lines lines;
  Extent together = extent;
  ValueTree values;
  {
    const MutexLock lock(mutex_);
    refresh(lines);
    if (!storedExtent_) storedExtent_ = plist::extentOf(stored_);
    together += *storedExtent_;
    together += pending_.extent();
    if (!together.fits()) values = merged();
  }
  say(lines);
  if (together.fits()) return true;
  values.set(key, value);
  return plist::write(values).has_value();
}

std::optional<ValueTree> LiveSettings::find(std::string_view key) {
  Lines lines;
  std::optional<ValueTree> found;
  {
    const MutexLock lock(mutex_);
    if (const std::optional<ValueTree>* pending = pending_.find(key)) return *pending;
    refresh(lines);
    if (const ValueTree* value = stored_.find(key)) found = *value;
  }
  say(lines);
  return found;
}

ValueTree LiveSettings::all() {
  Lines lines;
  ValueTree values;
  {
    const MutexLock lock(mutex_);
    refresh(lines);
    values = merged();
  }
  say(lines);
  return values;
}

ValueTree LiveSettings::merged() const {
  ValueTree values = stored_;
  applyChanges(pending_.all(), values);
  return values;
}

bool LiveSettings::isFresh() const { return looked_ && coarseTime() - *looked_ < kFreshness; }

// Takes over what another process has written. While the file cannot be read, what was known stays, and the
// next use tries again. Under any clock but the machine's each use looks.
void LiveSettings::refresh(Lines& lines) {
  if (isFresh()) return;
  looked_.reset();
  const bool isSystemClock = &Clock::current() == &Clock::system();
  const Duration now = coarseTime();
  const std::optional<FileVersion> version = file_.version();
  if (version && version == seen_) {
    if (isSystemClock) looked_ = now;
    return;
  }
  SettingsFile::Contents contents = file_.read();
  if (contents.state == SettingsFile::State::Unreadable) {
    if (!std::exchange(readFailureSaid_, true)) {
      lines.push_back("settings: " + file_.path().string() +
                      " cannot be read: " + contents.problem->description());
    }
    return;
  }
  readFailureSaid_ = false;
  if (contents.state == SettingsFile::State::Damaged) {
    SettingsFile::Update update = file_.update({}, std::chrono::milliseconds(0));
    // Who holds the lock is likely to set it aside just now.
    if (update.lockMissed) return;
    note(update, lines);
    if (!update.problem) contents = std::move(update.contents);
  }
  know(std::move(contents));
}

void LiveSettings::know(SettingsFile::Contents contents) {
  stored_ = std::move(contents.values);
  storedExtent_.reset();
  seen_ = contents.version;
}

void LiveSettings::note(const SettingsFile::Update& update, Lines& lines) {
  const std::string name = file_.path().string();
  if (!update.setAside.empty()) {
    lines.push_back("settings: " + name + " is damaged, kept as " + update.setAside);
  }
  if (update.problem && !std::exchange(writeFailureSaid_, true)) {
    lines.push_back("settings: " + name + " cannot be written: " + update.problem->description());
  }
  if (!update.problem) writeFailureSaid_ = false;
  for (const std::string& key : update.refused) {
    std::string& line = lines.emplace_back("settings: " + name);
    line.append(" has no room for \"").append(key).append("\", which stays as it was");
  }
}

Result<void> LiveSettings::flush() {
  Lines lines;
  Result<void> done = flush(lines);
  say(lines);
  return done;
}

Result<void> LiveSettings::flush(Lines& lines) try {
  const MutexLock writing(writing_);
  PendingChanges::Serial latest = 0;
  {
    const MutexLock lock(mutex_);
    looked_.reset();
    if (pending_.empty()) return {};
    latest = pending_.latest();
    gathering_.begun();
  }
  SettingsFile::Update update = write();

  const MutexLock lock(mutex_);
  Result<void> taken = take(update, latest);
  note(update, lines);
  return taken;
} catch (const std::bad_alloc&) {
  const MutexLock lock(mutex_);
  tryLater();
  throw;
}

void LiveSettings::tryLater() {
  if (pending_.empty()) return;
  gathering_.failed();
  wake_.notifyOne();  // the writer may have gone to sleep for good since the writing began
}

// What the file holds is known before anything is said of it, which takes memory.
Result<void> LiveSettings::take(SettingsFile::Update& update, PendingChanges::Serial latest) {
  if (update.lockMissed && ExitList::shared().begun()) exitHasWaited = true;
  lockMissed_ = update.lockMissed;
  if (update.problem) {
    tryLater();
    return *update.problem;
  }
  know(std::move(update.contents));
  pending_.forget(latest);
  if (update.refused.empty()) return {};
  return Error::saying(Error::kSystemDomain, EFBIG, "no room for \"" + update.refused.front() + "\"");
}

// Without memory nothing has been written, as without room on the disk.
SettingsFile::Update LiveSettings::write() try {
  SettingsChanges changes;
  std::chrono::milliseconds patience{0};
  {
    const MutexLock lock(mutex_);
    changes = pending_.all();
    patience = this->patience();
  }
  return file_.update(changes, patience);
} catch (const std::bad_alloc&) {
  SettingsFile::Update update;
  update.problem = Error::ofSystem(ENOMEM);
  return update;
}

// Waiting brings no moment nearer under a clock that stands still.
std::chrono::milliseconds LiveSettings::patience() const {
  const bool waited = lockMissed_ || (ExitList::shared().begun() && exitHasWaited);
  return waited || Clock::current().standsStill() ? std::chrono::milliseconds(0) : kPatience;
}

void LiveSettings::startWriter() {
  if (writer_.joinable()) return;
  try {
    writer_ = threadWithoutSignals([self = shared_from_this()] { self->runWriter(); });
  } catch (const std::exception&) {
    // No more threads or memory: the change stays pending until the next one, `synchronize` or the end.
  }
}

void LiveSettings::runWriter() {
  RunLoop::declareWorkerThread();
  MutexLock lock(mutex_);
  while (!stopping_) {
    const std::optional<Duration> left = gathering_.left();
    if (!left) {
      wake_.wait(mutex_);
    } else if (*left > Duration{0}) {
      const Duration glance = Clock::current().standsStill() ? kManualClockGlance : *left;
      wake_.waitUntil(mutex_, std::chrono::steady_clock::now() + glance);
    } else {
      lock.unlock();
      flushOrWait();
      lock.lock();
    }
  }
}

// For a thread that has nobody to tell: what could not be written stays pending.
bool LiveSettings::flushOrWait() try { return flush().has_value(); } catch (const std::bad_alloc&) {
  return false;
}

void LiveSettings::finish() {
  if (isForked()) return;
  std::thread writer;
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
    writer = std::move(writer_);
  }
  wake_.notifyAll();
  if (writer.joinable()) {
    // The writer itself may be here: a sink of the log destroyed the store.
    writer.get_id() == std::this_thread::get_id() ? writer.detach() : writer.join();
  }
  if (!flushOrWait()) sayWhatIsLost();
}

void LiveSettings::sayWhatIsLost() try {
  Lines lines;
  {
    const MutexLock lock(mutex_);
    if (!pending_.empty() && std::exchange(lost_, pending_.latest()) != pending_.latest()) {
      lines.push_back("settings: " + file_.path().string() +
                      " could not be written to the end, changes lost: " + std::to_string(pending_.size()));
    }
  }
  say(lines);
} catch (const std::bad_alloc&) {
  log(LogLevel::Error, "settings: no memory to write them to the end");
}

}  // namespace vantrel::host::detail
