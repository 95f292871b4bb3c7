// Creation and play lists.

#include <sys/stat.h>

#include "tests/player/PlayerScenes.h"

namespace vantrel::testing {
namespace {

class AudioPlayerLists : public PlayerScenes {
 protected:
  static std::vector<std::string> titles(const MusicList& list) {
    std::vector<std::string> titles;
    for (const auto& entry : list) titles.push_back(entry->mTitle().value_or("(null)"));
    return titles;
  }
};

TEST_F(AudioPlayerLists, PreparesTheFirstEntryOfAList) {
  const std::string resets = "log: reset paths volume:0.50, ";
  const std::string prepares = "volume 0.5, A: metering, A: prepare";
  expectScenes({{
      {"| library:AB", "log: init volume:0.50, url-A: volume 0.5, url-A: metering, url-A: prepare",
       "stopped A@0 [] (stopped)"},
      {"| files:AB", resets + "A: " + prepares, "stopped A@0 [] (stopped)"},
      {"files:A play:0 | file-list:AB", resets + "A: stop, A: " + prepares, "stopped A@0 [] (playing)"},
      {"files:A | files:BC file-list: stream-list:S", "", "stopped A@0 [] (stopped)"},
      {"| streams:AB", "", "stopped A@0 [] (stopped)"},
      {"streams:AB | stream-list:CD file-list:E", "", "stopped C@0 [] (stopped)"},
      {"streams:AB | stream-list:", "", "stopped -@0 [] (stopped)"},
  }});
  EXPECT_EQ(streams_->asked(), 0);
}

TEST_F(AudioPlayerLists, HasNothingToPlayWithoutEntries) {
  const std::string steps = " | play:0 next before repeat";
  for (const std::string player : {"library:", "files:", "streams:", "streams:AB stream-list:"}) {
    forget();
    if (player == "library:") library_->add({});  // a song without address
    EXPECT_EQ(toldBy(player + steps), "") << player;
    EXPECT_EQ(standing(), "stopped -@0 [] (stopped)") << player;
    EXPECT_FALSE(player_->mPlayer());
    EXPECT_EQ(player_->mNetPlayer() != nullptr, player.starts_with("streams"));
    EXPECT_EQ(player_->mList().has_value(), player != "files:");
  }
  const std::string noOrder =
      "log: Error : KWAudioPlayer random num is 0 ., log: Error : KWAudioPlayer Random Index num is 0 .";
  forget();
  library_->add({});
  EXPECT_EQ(toldBy("| library:"), noOrder + ", log: init volume:0.50");
  player_->newRandomList();
  player_->newRandomIndex(0);
  EXPECT_EQ(told(), noOrder);
}

TEST_F(AudioPlayerLists, HasNoLibraryPlayerUntilTheLibraryHasSongs) {
  EXPECT_EQ(KWAudioPlayer::sharedMe(), nullptr);
  EXPECT_EQ(KWAudioPlayer::currentPlayer(), nullptr);
  script_.run("library:A");
  ASSERT_TRUE(player_);
  EXPECT_EQ(KWAudioPlayer::sharedMe(), player_);
  EXPECT_EQ(KWAudioPlayer::currentPlayer(), player_);
  EXPECT_EQ(KWAudioPlayer::currentType(), 3u);
  EXPECT_EQ(player_->mRandomList()[static_cast<std::size_t>(player_->mRandomIndex())], 0);
  EXPECT_EQ(center_->info()["MPMediaItemPropertyTitle"], ValueTree("A"));
}

TEST_F(AudioPlayerLists, LeavesSongsWithoutAddressOutAndNumbersTheRest) {
  MediaItem streamed;
  streamed.title = "cloud";
  for (const char* song : {"A", "B"}) {
    library_->add(streamed);
    addSongs(song);
  }
  const MusicList& list = *KWAudioPlayer::sharedMe()->mList();
  EXPECT_THAT(titles(list), ElementsAre("A", "B"));
  EXPECT_EQ(list[0]->mIndex(), 0);
  EXPECT_EQ(list[1]->mIndex(), 1);
}

TEST_F(AudioPlayerLists, RebuildsTheLibraryListAndKeepsWhatPlays) {
  script_.run("library:AB play:1");
  addSongs("C");
  player_->reloadPhoneMusic();
  EXPECT_EQ(player_->sonyCount(), 3);
  expectPermutation(player_->mRandomList(), 3);
  EXPECT_EQ(standing(), "playing A@1 [] (playing)") << "the entry before died with its list";
  EXPECT_EQ(files_->last().source(), "url-B");
  script_.run("files:");
  player_->reloadPhoneMusic();
  EXPECT_FALSE(player_->mList());
}

TEST_F(AudioPlayerLists, KeepsACurrentEntryThatSomebodyHolds) {
  script_.run("library:AB");
  auto held = player_->mNowItem();
  player_->reloadPhoneMusic();
  EXPECT_EQ(player_->mNowItem(), held);
  script_.run("streams:AB");
  held = player_->mNowItem();
  player_->setNetPaths(streamList("C"));
  EXPECT_EQ(player_->mNowItem(), held);
}

TEST_F(AudioPlayerLists, KeepsTheFilePlayerWhenTheFirstFileIsMissingOrEmpty) {
  script_.run("files:A");
  const auto before = player_->mPlayer();
  ASSERT_EQ(::mkfifo(folder_.at("pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder_.at("missing"), folder_.put("empty", ""), folder_.path(),
                                  folder_.at("pipe"), folder_.put("text", "no audio")}) {
    const MusicList list = MusicOfPhoneMode::listOf({path});
    player_->resetPaths(list);
    EXPECT_EQ(player_->mPlayer(), path == folder_.at("text") ? nullptr : before) << path;
    EXPECT_EQ(player_->mNowItem(), list.front());
  }
}

TEST_F(AudioPlayerLists, LeavesNullEntriesOut) {
  script_.run("files:A streams:");
  for (const auto& player : {KWAudioPlayer::sharedMe_1(), player_}) {
    player->resetPaths({nullptr});
    player->setNetPaths({nullptr});
    EXPECT_EQ(player->sonyCount(), player == player_ ? 0 : 1);
    player->setMList(MusicList{nullptr});
    EXPECT_TRUE(player->mList()->empty());
  }
}

TEST_F(AudioPlayerLists, PlaysOnlyWhatAListSetDirectlyHas) {
  const std::string steps = " next before next repeat";
  for (const char mode : {'0', '1', '2', '3'}) {
    forget();
    script_.run(std::string("files:ABC mode:") + mode);
    player_->setMList(fileList("D"));
    EXPECT_EQ(player_->sonyCount(), 3);
    const std::string started = startedBy(steps);
    EXPECT_EQ(started.find_first_not_of('D'), std::string::npos) << mode << started;
    EXPECT_EQ(started.size(), 4u) << mode;
    EXPECT_EQ(toldBy("no-list |" + steps), "") << mode;
  }
}

TEST_F(AudioPlayerLists, MovesInTheRandomOrderOnlyToWhatItHolds) {
  script_.run("files:ABC");
  player_->newRandomIndex(2);
  const std::int64_t at = player_->mRandomIndex();
  EXPECT_EQ(player_->mRandomList()[static_cast<std::size_t>(at)], 2);
  player_->newRandomIndex(3);
  EXPECT_EQ(player_->mRandomIndex(), at);
}

TEST_F(AudioPlayerLists, FiltersByTitleElseByArtistWithoutCaseAndDiacritics) {
  library_->add(FakeMusicLibrary::song("Caf\u00e9 del Mar", "Blondel", "1"));
  library_->add(FakeMusicLibrary::song("Stra\u00dfe", "Bj\u00f6rk", "2"));
  library_->add(FakeMusicLibrary::song("O Superman", "bjork", "3"));
  library_->add(FakeMusicLibrary::song("\u0639\u0631\u0628\u064a", "Fairuz", "4"));
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"cafe", {"Caf\u00e9 del Mar"}},
      {"CAFE\u0301", {"Caf\u00e9 del Mar"}},
      {"STRASSE", {"Stra\u00dfe"}},
      {"BJORK", {"Stra\u00dfe", "O Superman"}},
      {"bj\u00f6rk", {"Stra\u00dfe", "O Superman"}},
      {"del", {"Caf\u00e9 del Mar"}},
      {"\u0639\u0631", {"\u0639\u0631\u0628\u064a"}},
      {"nobody", {}},
      {"", {"Caf\u00e9 del Mar", "Stra\u00dfe", "O Superman", "\u0639\u0631\u0628\u064a"}}};
  for (const auto& [keyword, expected] : cases) {
    EXPECT_EQ(titles(KWAudioPlayer::filterMusic(keyword)), expected) << keyword;
  }
}

TEST_F(AudioPlayerLists, FiltersWithoutTouchingAPlayerAndOpensEverySongOnce) {
  addSongs("ABC");
  files_->put("url-C", {.duration = 61.5});
  const MusicList found = KWAudioPlayer::filterMusic("c");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found.front()->mIndex(), 2);
  EXPECT_EQ(found.front()->storedTime(), 61u);
  EXPECT_EQ(files_->asked(), 3);
  EXPECT_EQ(told(), "");
  EXPECT_FALSE(player::detail::PlayerRegistry::shared().ME);
}

TEST_F(AudioPlayerLists, ReadsLengthsOfAddressesAndFiles) {
  const auto player = KWAudioPlayer::sharedMe_1();
  files_->put("url", {.duration = 59.9});
  files_->put("F", {.duration = 7.2});
  EXPECT_EQ(player->songTimeIpod("url"), 59u);
  EXPECT_EQ(player->songTimeIpod(std::nullopt), 0u);
  EXPECT_EQ(player->songTimePath(folder_.put("f", "F")), 7u);
  for (const std::string& path :
       {folder_.put("g", "no audio"), folder_.at("missing"), folder_.path(), std::string("a\0b", 3)}) {
    EXPECT_EQ(player->songTimePath(path), 0u) << path;
  }
}

}  // namespace
}  // namespace vantrel::testing
