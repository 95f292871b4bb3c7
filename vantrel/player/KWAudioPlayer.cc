// Creation and play lists.

#include "vantrel/player/KWAudioPlayer.h"

#include <algorithm>

#include "vantrel/base/Log.h"
#include "vantrel/host/Host.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/FileAccess.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/player/detail/PlayerRegistry.h"
#include "vantrel/player/detail/TextSearch.h"
#include "vantrel/system/KWAction.h"
#include "vantrel/system/KWNotice.h"

namespace vantrel {

using namespace player;
using namespace player::detail;

namespace {

using Songs = std::vector<std::shared_ptr<const MediaItem>>;

Songs librarySongs() { return Host::current().musicLibrary->songs(); }

/// The songs that can be played, as entries.
MusicList libraryList(const Songs& songs) {
  MusicList list;
  for (const auto& song : songs) {
    if (!song || !song->assetUrl) continue;
    auto entry = std::make_shared<MusicOfPhoneMode>();
    entry->setMIndex(static_cast<std::int64_t>(list.size()));
    entry->setMItem(song);
    entry->setIsPlaying(false);
    list.push_back(std::move(entry));
  }
  return list;
}

MusicList withoutNull(MusicList list) {
  std::erase(list, nullptr);
  return list;
}

using TextOf = const std::optional<std::string>& (MusicOfPhoneMode::*)() const;

MusicList containing(const std::u16string& keyword, const MusicList& list, TextOf textOf) {
  MusicList found;
  std::copy_if(list.begin(), list.end(), std::back_inserter(found), [&](const auto& entry) {
    const auto& text = ((*entry).*textOf)();
    return text && searchForm(*text).find(keyword) != std::u16string::npos;
  });
  return found;
}

}  // namespace

// ---- instances

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::sharedMe() {
  auto& me = PlayerRegistry::shared().ME;
  if (!me) me = initMe();
  return me;
}

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::sharedMe_1() {
  auto& me = PlayerRegistry::shared().ME_1;
  if (!me) me = init_1();
  return me;
}

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::sharedMeByPaths(const MusicList& paths) {
  auto& me = PlayerRegistry::shared().ME_1;
  if (!me) me = initByPaths(paths);
  return me;
}

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::sharedMe_2() {
  auto& me = PlayerRegistry::shared().ME_2;
  if (!me) me = init_2();
  return me;
}

std::uint64_t KWAudioPlayer::currentType() { return PlayerRegistry::shared().PLAYER_TYPE; }

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::currentPlayer() {
  switch (currentType()) {
    case Files:
      return sharedMe_1();
    case Streams:
      return sharedMe_2();
    default:
      return sharedMe();
  }
}

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::initMe() {
  const Songs songs = librarySongs();
  if (songs.empty()) return nullptr;
  std::shared_ptr<KWAudioPlayer> self(new KWAudioPlayer);
  self->mType_ = Library;
  self->adoptLibrary(libraryList(songs));
  const float volume = getPhoneVolume();
  log(LogLevel::Debug, "init volume:" + twoDecimals(volume));
  const auto first = self->mNowItem();
  self->takePlayer(openUrl(first ? first->mItem()->assetUrl : std::nullopt), volume);
  if (self->mPlayer_) self->mPlayer_->prepareToPlay();
  self->addSystemVolumeNote();
  self->setLockScreenNowPlayingInfo();
  return self;
}

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::init_1() {
  std::shared_ptr<KWAudioPlayer> self(new KWAudioPlayer);
  self->playerConfig();
  return self;
}

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::initByPaths(const MusicList& paths) {
  auto self = init_1();
  self->resetPaths(paths);
  return self;
}

std::shared_ptr<KWAudioPlayer> KWAudioPlayer::init_2() {
  std::shared_ptr<KWAudioPlayer> self(new KWAudioPlayer);
  self->playerConfig_2();
  return self;
}

void KWAudioPlayer::playerConfig() {
  mType_ = Files;
  addSystemVolumeNote();
}

void KWAudioPlayer::playerConfig_2() {
  mState_ = Stopped;
  mType_ = Streams;
  setMNetPlayer(KWNetPlayer::init());
  observeStream();
  addSystemVolumeNote();
}

KWAudioPlayer::~KWAudioPlayer() {
  KWAction::timingStop(pTimer_);
  KWNotice::remove_Own(kSystemVolumeDidChangeNotification, weak_from_this());
  // A pending retry may keep the stream player alive longer than this.
  setMNetPlayer(nullptr);
}

void KWAudioPlayer::setMNetPlayer(std::shared_ptr<KWNetPlayer> player) {
  if (mNetPlayer_ && mNetPlayer_ != player && mNetPlayer_->delegate() == &netDelegate_) {
    mNetPlayer_->setDelegate(nullptr);
  }
  mNetPlayer_ = std::move(player);
}

// ---- lists

void KWAudioPlayer::setMList(std::optional<MusicList> list) {
  unplayable_.clear();
  trackError_.reset();
  if (list) list = withoutNull(std::move(*list));
  mList_ = std::move(list);
}

std::size_t KWAudioPlayer::listCount() const { return mList_ ? mList_->size() : 0; }

std::shared_ptr<MusicOfPhoneMode> KWAudioPlayer::entryAt(std::int64_t index) const {
  if (index < 0 || static_cast<std::uint64_t>(index) >= listCount()) return nullptr;
  return (*mList_)[static_cast<std::size_t>(index)];
}

void KWAudioPlayer::adoptLibrary(MusicList list) {
  mList_ = std::move(list);
  if (!mNowItem()) mNowItem_ = entryAt(0);
  restartShuffle();
}

void KWAudioPlayer::restartShuffle() {
  sonyCount_ = static_cast<std::int64_t>(listCount());
  unplayable_.clear();
  mRandomList_.clear();
  newRandomList();
  newRandomIndex(0);
}

void KWAudioPlayer::reloadPhoneMusic() {
  if (mType_ == Library) adoptLibrary(libraryList(librarySongs()));
}

void KWAudioPlayer::resetPaths(const MusicList& paths) {
  MusicList list = withoutNull(paths);
  if (mType_ != Files || list.empty()) return;
  mState_ = Stopped;
  mNowItem_ = list.front();
  mList_ = std::move(list);
  restartShuffle();
  const float volume = getPhoneVolume();
  log(LogLevel::Debug, "reset paths volume:" + twoDecimals(volume));
  const auto& path = entryAt(0)->mPath();
  if (readableSize(path) > 0) {
    if (mPlayer_) mPlayer_->stop();
    takePlayer(openFile(path), volume);
    if (mPlayer_) mPlayer_->prepareToPlay();
  } else {
    trackError_ = whyUnreadable(path);
  }
  setLockScreenNowPlayingInfo();
}

void KWAudioPlayer::setNetPaths(const MusicList& paths) {
  if (mType_ != Streams) return;
  mList_ = withoutNull(paths);
  sonyCount_ = static_cast<std::int64_t>(listCount());
  if (mList_->empty()) return;
  if (!mNowItem()) mNowItem_ = mList_->front();
  restartShuffle();
}

MusicList KWAudioPlayer::filterMusic(TextArgument keyword) {
  MusicList list = libraryList(librarySongs());
  for (const auto& entry : list) entry->setMTime(entry->mTime());
  if ((*keyword).empty()) return list;
  const std::u16string wanted = searchForm(*keyword);
  MusicList found = containing(wanted, list, &MusicOfPhoneMode::mTitle);
  if (found.empty()) found = containing(wanted, list, &MusicOfPhoneMode::mArtist);
  return found;
}

std::uint32_t KWAudioPlayer::songTimeIpod(TextArgument url) const {
  return wholeDuration(openUrl(url.copy()));
}

std::uint32_t KWAudioPlayer::songTimePath(PathArgument path) const {
  return wholeDuration(openFile(path.copy()));
}

}  // namespace vantrel
