#pragma once

#include <algorithm>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "tests/player/PlayerFixture.h"
#include "vantrel/player/detail/PlayerRegistry.h"

namespace vantrel::testing {

/// A script, what the words behind its bar tell, and how the player stands then.
struct Scene {
  const char* script;
  std::string told;
  std::string stands;
};

/// Tables of cases for a player, each in a process in which nothing has played. The player is the one that
/// the script made last: "library:AB play:1 | pause".
class PlayerScenes : public PlayerFixture {
 protected:
  PlayerScenes() {
    addPlayers();
    addTransport();
    addSurroundings();
  }

  void expectScenes(std::span<const Scene> scenes) {
    for (const auto& [script, told, stands] : scenes) {
      forget();
      EXPECT_EQ(toldBy(script), told) << script;
      EXPECT_EQ(standing(), stands) << script;
      if (player_ && player_->sonyCount() > 0)
        expectPermutation(player_->mRandomList(), player_->sonyCount());
    }
  }

  /// As at the start of the process, but for the settings.
  void forget() {
    player_.reset();
    KWAudioPlayer::resetForTests();
    advance(10);
    library_->clear();
  }

  /// "paused B@1 [AB] (stopped)": the state, the current entry and the index, the entries marked as playing,
  /// and the state remembered for all players.
  std::string standing() const {
    const auto name = [](std::uint64_t state) {
      return state == 0 ? "stopped" : state == 1 ? "playing" : state == 2 ? "paused" : "odd";
    };
    const std::string remembered = "(" + std::string(name(KWAudioPlayer::didLastState())) + ")";
    if (!player_) return remembered;
    std::string marked;
    for (const auto& entry : player_->mList().value_or(MusicList())) {
      if (entry->isPlaying()) marked += letterOf(entry);
    }
    return std::string(name(player_->mState())) + " " + letterOf(player_->mNowItem()) + "@" +
           std::to_string(player_->play_index()) + " [" + marked + "] " + remembered;
  }

  static std::string letterOf(const std::shared_ptr<MusicOfPhoneMode>& entry) {
    return entry ? entry->mTitle().value_or("?").substr(0, 1) : "-";
  }

  /// The letters of the entries that the words start one after the other.
  std::string startedBy(const std::string& script) {
    std::string letters;
    const auto updates = NotificationBus::shared().add(
        player::kUpdate, [&](const Notification&) { letters += letterOf(player_->mNowItem()); });
    script_.run(script);
    return letters;
  }

  static void expectPermutation(std::vector<std::int64_t> order, std::int64_t count) {
    std::sort(order.begin(), order.end());
    std::vector<std::int64_t> expected(static_cast<std::size_t>(count));
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
  }

  std::shared_ptr<KWAudioPlayer> player_;

 private:
  void addPlayers() {
    script_.add(
        {{"library", [this](auto& names) { addSongs(names), player_ = KWAudioPlayer::sharedMe(); }},
         {"files", [this](auto& names) { player_ = KWAudioPlayer::sharedMeByPaths(fileList(names)); }},
         {"own-files", [this](auto& names) { player_ = KWAudioPlayer::initByPaths(fileList(names)); }},
         {"streams",
          [this](auto& names) {
            player_ = KWAudioPlayer::sharedMe_2();
            player_->setNetPaths(streamList(names));
          }},
         {"own-streams",
          [this](auto& names) {
            player_ = KWAudioPlayer::init_2();
            player_->setNetPaths(streamList(names));
          }},
         {"file-list", [this](auto& names) { player_->resetPaths(fileList(names)); }},
         {"stream-list", [this](auto& names) { player_->setNetPaths(streamList(names)); }},
         {"no-list", [this](auto&) { player_->setMList(std::nullopt); }},
         {"no-player", [this](auto&) { player_->setMPlayer(nullptr); }},
         {"no-entry", [this](auto&) { player_->setMNowItem(nullptr); }}});
  }

  void addTransport() {
    script_.add(
        {{"play", [this](auto& index) { player_->didPlay(std::stoll(index)); }},
         {"continue", [this](auto&) { player_->didContinue(); }},
         {"pause", [this](auto&) { player_->didPause(); }},
         {"stop", [this](auto&) { player_->didStop(); }},
         {"next", [this](auto&) { player_->didNext(); }},
         {"before", [this](auto&) { player_->didBefore(); }},
         {"repeat", [this](auto&) { player_->didRepeat(); }},
         {"continue-last", [](auto&) { KWAudioPlayer::didContinueLast(); }},
         {"pause-last", [](auto&) { KWAudioPlayer::didPauseLast(); }},
         {"pause-all", [](auto&) { KWAudioPlayer::didAllPause(); }},
         {"mode", [this](auto& mode) { player_->setMMode(std::stoull(mode)); }},
         {"state", [this](auto& state) { player_->setMState(std::stoull(state)); }},
         {"index", [this](auto& index) { player_->setPlay_index(std::stoll(index)); }},
         {"entry-index", [this](auto& index) { player_->mNowItem()->setMIndex(std::stoll(index)); }}});
  }

  void addSurroundings() {
    script_.add(
        {{"finish", [this](auto&) { files_->last().finish(); }},
         {"break-off", [this](auto&) { files_->last().finish(false); }},
         {"fail-decoding", [this](auto&) { files_->last().failDecoding(); }},
         {"interrupt", [this](auto&) { files_->last().beginInterruption(); }},
         {"give-back", [this](auto&) { files_->last().endInterruption(); }},
         {"give-back-with", [this](auto& flag) { files_->last().endInterruption(std::stoull(flag)); }},
         {"length", [this](auto& seconds) { files_->last().setDuration(std::stod(seconds)); }},
         {"move-to", [this](auto& seconds) { files_->last().moveTo(std::stod(seconds)); }},
         {"show-progress", [this](auto&) { player_->progressShow(); }},
         {"remote",
          [](auto& subtype) {
            KWAudioPlayer::receiveRemoteEvent({2, std::stoll(subtype)});
          }},
         {"status", [this](auto& status) { player_->mNetPlayer()->delegateOutStatus(std::stoull(status)); }},
         {"recover", [](auto&) { KWAudioPlayer::recoveryMusicInfo(); }}});
  }
};

}  // namespace vantrel::testing
