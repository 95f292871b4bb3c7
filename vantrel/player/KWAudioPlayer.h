#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Error.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/io/PathArgument.h"
#include "vantrel/host/seams/FilePlayer.h"
#include "vantrel/loop/NotificationBus.h"
#include "vantrel/loop/Timer.h"
#include "vantrel/player/KWNetPlayer.h"
#include "vantrel/player/MusicOfPhoneMode.h"
#include "vantrel/player/PlayerEvents.h"

namespace vantrel {

/// A command from a remote control, a headset or the system's playing screen.
struct RemoteEvent {
  static constexpr std::int64_t kRemoteControl = 2;

  static constexpr std::int64_t kPlay = 100;
  static constexpr std::int64_t kPause = 101;
  static constexpr std::int64_t kNextTrack = 104;
  static constexpr std::int64_t kPreviousTrack = 105;

  std::int64_t type = kRemoteControl;
  std::int64_t subtype = 0;
};

/// The music player: a play list, one entry playing at a time, a play mode, a remembered position.
///
/// There are three sources, each with its own instance for the whole process: the music library (`sharedMe`,
/// source type 0), local files (`sharedMe_1`, 1) and network streams (`sharedMe_2`, 2). Types 0 and 1 play
/// through `Host::current().filePlayers`, type 2 through a `KWNetPlayer`.
///
/// Everything that happens is told on the notification bus; `PlayerEvents.h` names the events and what they
/// carry, the play modes, states and source types.
///
///   const auto music = KWAudioPlayer::sharedMeByPaths(MusicOfPhoneMode::listOf(files));
///   music->setMMode(player::ListOnce);
///   music->setOnListEnded([] { RunLoop::main().stop(); });
///   music->didPlay(0);
///   RunLoop::main().run();
///
/// A track that cannot be opened counts as started, and `trackError` tells why it could not be; the progress
/// timer passes over it a second later at the latest.
///
/// Threads: the main thread only; reports and timers arrive there. Any operation may be called from inside an
/// event, and an instance may be let go there.
/// Ownership: the shared instances live until the process ends; others belong to who made them. File players
/// are owned, and stopped when replaced; late reports of a replaced one are not heard. On destruction the
/// progress timer ends and the volume is no longer observed.
class VANTREL_EXPORT KWAudioPlayer : public std::enable_shared_from_this<KWAudioPlayer> {
 public:
  /// The library player, made when first asked for; null when the library holds no songs (the next call tries
  /// again).
  static std::shared_ptr<KWAudioPlayer> sharedMe();

  /// The file player, made when first asked for; it has no list until `resetPaths`.
  static std::shared_ptr<KWAudioPlayer> sharedMe_1();

  /// The file player. When it does not exist yet it is made with `paths` as its list; when it does, `paths`
  /// is ignored.
  static std::shared_ptr<KWAudioPlayer> sharedMeByPaths(const MusicList& paths);

  /// The stream player, made when first asked for.
  static std::shared_ptr<KWAudioPlayer> sharedMe_2();

  /// Source type of the instance that last started or resumed; `player::NoSource` when none has yet.
  static std::uint64_t currentType();

  /// The shared instance of `currentType`, made when needed. When nothing has played that is the library
  /// player: null when the library is empty.
  static std::shared_ptr<KWAudioPlayer> currentPlayer();

  /// New instances that nobody else shares. `initMe` gives null when the library holds no songs.
  static std::shared_ptr<KWAudioPlayer> initMe();
  static std::shared_ptr<KWAudioPlayer> init_1();
  static std::shared_ptr<KWAudioPlayer> initByPaths(const MusicList& paths);
  static std::shared_ptr<KWAudioPlayer> init_2();

  /// For a host's own tests, whose cases share a process: lets the three shared players go and forgets which
  /// one played last. Settings stay as they are. A player that somebody else holds lives on, but is shared no
  /// more. Not from inside a player's event.
  static void resetForTests();

  ~KWAudioPlayer();
  KWAudioPlayer(const KWAudioPlayer&) = delete;
  KWAudioPlayer& operator=(const KWAudioPlayer&) = delete;

  /// The set-up that the initialisers share: type 1, and type 2 with its `KWNetPlayer`.
  void playerConfig();
  void playerConfig_2();

  // ---- lists

  /// Rebuilds the list from the library; source type 0 only. `play_index` and the file player stay.
  void reloadPhoneMusic();

  /// Replaces the list of files and prepares the first one to play; nothing happens on another type or with
  /// an empty list. When the first file is missing or empty, the file player stays as it was.
  void resetPaths(const MusicList& paths);

  /// Replaces the list of streams, also by an empty one; type 2 only. Nothing is opened.
  void setNetPaths(const MusicList& paths);

  /// Searches the library: the songs whose title contains `keyword` without regard to case and diacritics,
  /// or, when there is none, those whose artist does; all songs for an empty keyword. Entries carry their
  /// length (`storedTime`) and the same `mIndex` as in the library player's list. Opens every song once.
  /// Changes no player.
  static MusicList filterMusic(TextArgument keyword);

  // ---- transport

  /// Plays the entry at `index`: below 0 the last, past the end the first. Nothing happens with an empty
  /// list.
  void didPlay(std::int64_t index);

  /// Resumes the current track.
  void didContinue();

  /// Pauses. `didPause` also remembers that for `didContinueLast`; `disSubPause` does not.
  void didPause();
  void disSubPause();

  void didStop();

  /// Play the next and the previous entry in the order of the mode, going round at the ends of the list;
  /// `didRepeat` plays the same entry again. Nothing happens with an empty list or, for the first two, in an
  /// unknown mode.
  void didNext();
  void didBefore();
  void didRepeat();

  /// Makes a new random order of the list's positions; logs an error when the list is empty.
  void newRandomList();

  /// Moves `mRandomIndex` to where the random order has `index`; logs an error when there is no order. An
  /// index that the order does not hold changes nothing.
  void newRandomIndex(std::int64_t index);

  // ---- all players: a pause that an outside event forces, and the resume after it

  /// Resumes the current player when it played before `didPauseLast`.
  static void didContinueLast();

  /// Pauses every instance for good.
  static void didAllPause();

  /// Pauses every instance and remembers the state of the current one.
  static void didPauseLast();

  /// The remembered play state: `player::Stopped` at first.
  static std::uint64_t didLastState();

  // ---- what cannot be played, and the end of a list

  /// Why the current entry cannot be played: it could not be opened, its length is not known, or it could not
  /// be decoded to its end. Absent when it can be played, and before anything was opened. Observers of
  /// "KW_UPDATE" and "KW_ERROR" find the reason for the entry that the event is about.
  std::optional<Error> trackError() const;

  /// A function that the main loop's next turn calls when the list is over:
  ///   - list once has played its last entry to the end ("KW_FINISH");
  ///   - the last entry of list once cannot be played;
  ///   - no entry can be played, in any mode: all have been tried, one after the other.
  /// By then the player has stopped. In the last two cases it does so only because there is a function to
  /// call; without one it goes on as said at `mMode`. For streams there is only the first case. Not called
  /// when another entry has been started meanwhile.
  /// The function must not outlive what it captures; an empty one takes it back.
  void setOnListEnded(std::function<void()> ended) { onListEnded_ = std::move(ended); }

  // ---- persistence, in the settings as texts

  /// Stores the current player's `play_index` under "KW_AUDIO_PLAYINDEX"; 0 when there is no player.
  static void savePlayIndex();

  /// The leading integer of that text, clamped to 32 bits; 0 when there is none.
  static std::int64_t getPlayIndex();

  /// The mode under "KW_AUDIO_PLAYMODE", which `setMMode` stores; absent when the text begins with no
  /// integer.
  static std::optional<std::uint64_t> getPlayMode();

  /// The fraction under "KW_AUDIO_PLAYPROGRESS"; 0 when there is none or it is no finite number.
  static float getPlayProgress();

  /// Restores the remembered track, mode and position on the current player, paused; posts its progress and
  /// "KW_PAUSE". Nothing happens when there is no player or its list is empty. When the list no longer has
  /// the remembered index, its first entry is restored from its start. A track whose length is not known is
  /// passed over, as `progressShow` does.
  static void recoveryMusicInfo();

  // ---- system integration

  /// Acts on a remote control's play, pause, next and previous command; other events are ignored.
  static void receiveRemoteEvent(const RemoteEvent& event);

  /// The system's output volume, 0 to 1.
  static float getPhoneVolume();

  /// The volume of the current track's own player, 0 to 1; 0 when nothing has played or there is none.
  static float getPlayerVolume();

  /// Sets the volume of this instance's players and of the system.
  void setPhoneVolume(float volume);

  /// Shows the current entry on the host's now-playing centre; nothing happens when the host has none. What
  /// is shown has every entry that `NowPlayingCenter.h` names; where title, artist or album are absent they
  /// are "Unknow Music", "Unknow Artist" and "Unknow Album".
  void setLockScreenNowPlayingInfo();

  /// Observes the system volume; `noteVolumeChanged` posts "KW_AU_VOLUME_CHANGE" for each change.
  void addSystemVolumeNote();
  void noteVolumeChanged(const Notification& event);

  /// Starts the one-second progress timer, or resumes it: then it fires in the main loop's next turn and
  /// every second from there. Called from the timer's own firing, it leaves the running timer as it is.
  /// `progressEnd` suspends the timer.
  void progressStart();
  void progressEnd();

  /// Posts "KW_AU_PROGRESS" and stores the fraction under "KW_AUDIO_PLAYPROGRESS" ("%.2f"); when the length
  /// is not known, logs that and goes to the next entry.
  void progressShow();

  /// Four bytes, a signed 32-bit number in little-endian order that moves with the level of channels 0 and 1
  /// of the file player; absent without one. Mono at full scale gives 2520, stereo 5040.
  std::optional<Bytes> didRhythmData();

  /// The length, in whole seconds, of what is at an asset's address, and of a file; 0 when it cannot be
  /// opened. Truncated and clamped as by `MusicOfPhoneMode::songTimeIpod`.
  std::uint32_t songTimeIpod(TextArgument url) const;
  std::uint32_t songTimePath(PathArgument path) const;

  // ---- what the file and stream players report; for them to call

  void audioPlayerDidFinishPlaying_successfully(FilePlayer& player, bool successfully);
  void audioPlayerDecodeErrorDidOccur_error(FilePlayer& player, const Error& error);
  void audioPlayerBeginInterruption(FilePlayer& player);
  void audioPlayerEndInterruption(FilePlayer& player);
  void audioPlayerEndInterruption_withOptions(FilePlayer& player, std::uint64_t options);

  void onKWNetPlayer_ChangeStatus(KWNetPlayer& player, std::uint64_t status);
  void onKWNetPlayer_CachedProgress(KWNetPlayer& player, float fraction);
  void onKWNetPlayer_Speed_TimeGap(KWNetPlayer& player, float speed, double gap);
  void onKWNetPlayer_PlayTime(KWNetPlayer& player, float seconds);
  void onKWNetPlayer_PlayFinished(KWNetPlayer& player, float zero);

  // ---- fields

  /// The order of shuffle mode, a permutation of 0 .. `sonyCount` - 1, and the current entry's place in it.
  const std::vector<std::int64_t>& mRandomList() const { return mRandomList_; }
  std::int64_t mRandomIndex() const { return mRandomIndex_; }

  /// How many entries the list had when it was last built or replaced.
  std::int64_t sonyCount() const { return sonyCount_; }

  /// The progress timer; null until first started.
  const std::shared_ptr<Timer>& pTimer() const { return pTimer_; }

  /// Position of the entry last chosen to play.
  std::int64_t play_index() const { return play_index_; }
  void setPlay_index(std::int64_t index) { play_index_ = index; }

  /// The player of the current track; null for streams and for a track that could not be opened. Setting one
  /// neither stops the earlier one nor observes the new one.
  const std::shared_ptr<FilePlayer>& mPlayer() const { return mPlayer_; }
  void setMPlayer(std::shared_ptr<FilePlayer> player) { mPlayer_ = std::move(player); }

  /// The stream player; null for types 0 and 1. Setting one does not make this instance its delegate; the
  /// earlier one loses this instance as delegate.
  const std::shared_ptr<KWNetPlayer>& mNetPlayer() const { return mNetPlayer_; }
  void setMNetPlayer(std::shared_ptr<KWNetPlayer> player);

  /// The play list; absent until one is given (types 1 and 2). Setting it here leaves `sonyCount` and the
  /// random order as they were, so lists are better replaced by the operations above; whatever the list,
  /// transport plays only entries that it has, and nothing when it has none. Null entries are left out.
  const std::optional<MusicList>& mList() const { return mList_; }
  void setMList(std::optional<MusicList> list);

  /// The current entry, held weakly; null when there is none or nobody keeps it any more.
  std::shared_ptr<MusicOfPhoneMode> mNowItem() const { return mNowItem_.lock(); }
  void setMNowItem(const std::shared_ptr<MusicOfPhoneMode>& item) { mNowItem_ = item; }

  /// The play mode, a `player::PlayMode`: what follows when a track has ended, and where `didNext` and
  /// `didBefore` go. List once ends after its last entry, with "KW_FINISH". A last entry that cannot be
  /// opened or decoded does not end it: it is passed over like any other, and the list begins again with its
  /// first entry, unless `setOnListEnded` was given a function. Setting the mode also stores it under
  /// "KW_AUDIO_PLAYMODE".
  std::uint64_t mMode() const { return mMode_; }
  void setMMode(std::uint64_t mode);

  /// The play state, a `player::PlayState`.
  std::uint64_t mState() const { return mState_; }
  void setMState(std::uint64_t state) { mState_ = state; }

  /// The source type, a `player::SourceType`.
  std::uint64_t mType() const { return mType_; }
  void setMType(std::uint64_t type) { mType_ = type; }

 private:
  KWAudioPlayer() = default;

  std::size_t listCount() const;
  std::shared_ptr<MusicOfPhoneMode> entryAt(std::int64_t index) const;
  std::int64_t nowIndex() const;
  void adoptLibrary(MusicList list);
  void restartShuffle();

  void playRandomAt(std::int64_t position);
  void playFile(const MusicOfPhoneMode& entry, float volume);
  void playStream(const MusicOfPhoneMode& entry, float volume);
  void takePlayer(Result<std::unique_ptr<FilePlayer>> opened, float volume);
  void setCurrentPlaying(bool playing);
  void finishTrack();
  bool atEndOfListOnce() const;
  bool endsWithFailure();
  void tellListEnded(std::uint64_t started) const;
  void restore(std::int64_t index, std::uint64_t mode, float progress);

  FilePlayerObserver fileObserver();
  void observeStream();
  void tick();
  static void publishProgress(std::uint32_t now, std::uint32_t end, float progress);

  std::vector<std::int64_t> mRandomList_;
  std::int64_t mRandomIndex_ = 0;
  std::int64_t sonyCount_ = 0;
  std::shared_ptr<Timer> pTimer_;
  std::int64_t play_index_ = 0;
  std::shared_ptr<FilePlayer> mPlayer_;
  std::shared_ptr<KWNetPlayer> mNetPlayer_;
  std::optional<MusicList> mList_;
  std::weak_ptr<MusicOfPhoneMode> mNowItem_;
  std::uint64_t mMode_ = 0;
  std::uint64_t mState_ = 0;
  std::uint64_t mType_ = 0;
  KWNetPlayerDelegate netDelegate_;
  std::optional<Error> trackError_;    // of the file that was opened last
  std::set<std::int64_t> unplayable_;  // entries that failed since one last played
  std::function<void()> onListEnded_;
  std::uint64_t started_ = 0;  // counts entries, so that one that an observer starts is known
  bool ticking_ = false;       // the progress timer is firing, and nothing has suspended it since
};

}  // namespace vantrel
