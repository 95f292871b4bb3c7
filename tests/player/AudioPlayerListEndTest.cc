// Entries that cannot be played, and what a host is told of the end of a list.

#include <cctype>

#include "tests/player/PlayerFixture.h"

namespace vantrel::testing {
namespace {

class AudioPlayerListEnd : public PlayerFixture {
 protected:
  /// Entries named by letters: A, B, ... can be heard to their end, E can be decoded no further, and x, y,
  /// ... hold no audio.
  MusicList listOf(const std::string& letters) {
    std::vector<std::string> paths;
    for (const char letter : letters) {
      const std::string name(1, letter);
      if (std::isupper(letter)) files_->put(name);
      paths.push_back(folder_.put(name, name));
    }
    return MusicOfPhoneMode::listOf(paths);
  }

  /// The letters of the entries that are tried one after the other until the list is over, six at most.
  std::string playThrough(KWAudioPlayer& player, std::int64_t start) {
    std::string tried;
    const auto updates = NotificationBus::shared().add(player::kUpdate, [&](const Notification&) {
      const char letter = player.mNowItem()->mTitle()->front();
      EXPECT_EQ(player.trackError().has_value(), std::islower(letter) != 0) << letter;
      tried += letter;
    });
    player.didPlay(start);
    while (ended_ == 0 && tried.size() < 6) {
      if (!player.mPlayer()) {
        advance(1);
      } else if (tried.back() == 'E') {
        files_->last().failDecoding();
      } else {
        files_->last().finish();
      }
      turn();
    }
    if (ended_ > 0) advance(10);
    return tried.substr(0, 6);
  }

  int ended_ = 0;
};

TEST_F(AudioPlayerListEnd, IsToldOnceAndNothingPlaysAfterwards) {
  using namespace player;
  enum Told { Ends, GoesOn, NobodyAsks };
  struct {
    PlayMode mode;
    const char* list;
    std::int64_t start;
    const char* tried;
    Told told;
  } const cases[] = {{ListOnce, "AB", 0, "AB", Ends},          {ListOnce, "Ax", 0, "Ax", Ends},
                     {ListOnce, "AE", 0, "AE", Ends},          {ListOnce, "xEA", 0, "xEA", Ends},
                     {ListOnce, "Ax", 1, "x", Ends},           {ListLoop, "xEy", 0, "xEy", Ends},
                     {ListLoop, "xEy", 1, "Eyx", Ends},        {RepeatOne, "E", 0, "E", Ends},
                     {ListLoop, "xA", 0, "xAxAxA", GoesOn},    {ListLoop, "xyA", 2, "AxyAxy", GoesOn},
                     {RepeatOne, "A", 0, "AAAAAA", GoesOn},    {ListOnce, "Ax", 0, "AxAxAx", NobodyAsks},
                     {ListOnce, "AE", 0, "AEAEAE", NobodyAsks}};
  for (const auto& [mode, list, start, tried, told] : cases) {
    ended_ = 0;
    const auto player = KWAudioPlayer::initByPaths(listOf(list));
    player->setMMode(mode);
    if (told != NobodyAsks) {
      player->setOnListEnded([this, raw = player.get()] {
        ++ended_;
        EXPECT_EQ(raw->mState(), player::Stopped);
      });
    }
    EXPECT_EQ(playThrough(*player, start), tried);
    EXPECT_EQ(ended_, told == Ends ? 1 : 0) << list;
  }
}

TEST_F(AudioPlayerListEnd, IsNotToldWhenAnObserverOfTheEventHasStartedAnother) {
  const auto player = KWAudioPlayer::initByPaths(listOf("AB"));
  player->setMMode(player::ListOnce);
  player->setOnListEnded([&] { ++ended_; });
  player->didPlay(1);
  const auto again = NotificationBus::shared().add(player::kNote, [&](const Notification& event) {
    if (event.object->asString() == player::kNoteFinish) player->didPlay(0);
  });
  files_->last().finish();
  turn();
  EXPECT_EQ(ended_, 0);
  EXPECT_EQ(player->play_index(), 0);
  EXPECT_EQ(player->mState(), player::Playing);
}

TEST_F(AudioPlayerListEnd, TellsWhyAnEntryCannotBePlayed) {
  const auto player = KWAudioPlayer::initByPaths(listOf("AxE"));
  std::filesystem::remove(folder_.at("A"));
  files_->put("E", {.duration = 0});
  const std::string reasons[] = {Error::ofSystem(ENOENT).description(), "no audio", "has no known length"};
  for (std::int64_t index = 0; index < 3; ++index) {
    player->didPlay(index);
    ASSERT_TRUE(player->trackError());
    EXPECT_EQ(player->trackError()->description(), reasons[index]);
  }
  files_->put("E");
  player->didPlay(2);
  EXPECT_FALSE(player->trackError());
  std::optional<Error> told;
  const auto notes = NotificationBus::shared().add(player::kNote, [&](const Notification& event) {
    if (event.object->asString() == player::kNoteError) told = player->trackError();
  });
  const Error stall = Error::saying("fake", 1, "stood still");
  files_->last().failDecoding(stall);
  EXPECT_EQ(told, stall);
  EXPECT_EQ(player->trackError(), Error::ofSystem(ENOENT)) << "of the entry that it went on to";
}

}  // namespace
}  // namespace vantrel::testing
