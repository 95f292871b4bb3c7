// Creation and play lists.

#include <algorithm>
#include <limits>
#include <numeric>

#include "tests/player/PlayerFixture.h"
#include "vantrel/player/detail/PlayerRegistry.h"

namespace vantrel::testing {
namespace {

class AudioPlayerLists : public PlayerFixture {
 protected:
  static std::vector<std::string> titles(const MusicList& list) {
    std::vector<std::string> titles;
    for (const auto& entry : list) titles.push_back(entry->mTitle().value_or("(null)"));
    return titles;
  }
  static void expectPermutation(const KWAudioPlayer& player) {
    std::vector<std::int64_t> order = player.mRandomList();
    std::sort(order.begin(), order.end());
    std::vector<std::int64_t> expected(static_cast<std::size_t>(player.sonyCount()));
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
  }
};

constexpr const char* kNoRandom = "log: Error : KWAudioPlayer random num is 0 .";
constexpr const char* kNoRandomIndex = "log: Error : KWAudioPlayer Random Index num is 0 .";

TEST_F(AudioPlayerLists, HasNoLibraryPlayerUntilTheLibraryHasSongs) {
  EXPECT_EQ(KWAudioPlayer::sharedMe(), nullptr);
  EXPECT_EQ(KWAudioPlayer::currentPlayer(), nullptr);
  addSongs("A");
  const auto player = KWAudioPlayer::sharedMe();
  ASSERT_TRUE(player);
  EXPECT_EQ(KWAudioPlayer::sharedMe(), player);
  EXPECT_EQ(KWAudioPlayer::currentPlayer(), player);
  EXPECT_EQ(KWAudioPlayer::currentType(), 3u);
}

TEST_F(AudioPlayerLists, PreparesTheFirstSongOfTheLibrary) {
  addSongs("AB");
  const auto player = KWAudioPlayer::sharedMe();
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: init volume:0.50", "url-A: volume 0.5", "url-A: metering", "url-A: prepare"));
  EXPECT_EQ(player->mType(), 0u);
  EXPECT_EQ(player->mState(), 0u);
  EXPECT_EQ(player->sonyCount(), 2);
  EXPECT_EQ(player->mNowItem(), player->mList()->front());
  expectPermutation(*player);
  EXPECT_EQ(player->mRandomList()[static_cast<std::size_t>(player->mRandomIndex())], 0);
  EXPECT_EQ(center_->info()["MPMediaItemPropertyTitle"], ValueTree("A"));
}

TEST_F(AudioPlayerLists, LeavesSongsWithoutAddressOutAndNumbersTheRest) {
  MediaItem streamed;
  streamed.title = "cloud";
  library_->add(streamed);
  addSongs("A");
  library_->add(streamed);
  addSongs("B");
  const MusicList& list = *KWAudioPlayer::sharedMe()->mList();
  EXPECT_THAT(titles(list), ElementsAre("A", "B"));
  EXPECT_EQ(list[0]->mIndex(), 0);
  EXPECT_EQ(list[1]->mIndex(), 1);
}

TEST_F(AudioPlayerLists, IsEmptyWhenNoSongOfTheLibraryCanBeOpened) {
  library_->add({});
  const auto player = KWAudioPlayer::sharedMe();
  ASSERT_TRUE(player);
  EXPECT_THAT(journal_.take(), ElementsAre(kNoRandom, kNoRandomIndex, "log: init volume:0.50"));
  EXPECT_TRUE(player->mList()->empty());
  EXPECT_FALSE(player->mPlayer());
  player->didNext();
  player->didBefore();
  player->didRepeat();
  player->didPlay(0);
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(AudioPlayerLists, RebuildsTheLibraryListAndKeepsWhatPlays) {
  addSongs("AB");
  const auto player = KWAudioPlayer::sharedMe();
  player->didPlay(1);
  addSongs("C");
  player->reloadPhoneMusic();
  EXPECT_EQ(player->sonyCount(), 3);
  expectPermutation(*player);
  EXPECT_EQ(player->play_index(), 1);
  EXPECT_EQ(files_->last().source(), "url-B");
  EXPECT_EQ(player->mNowItem(), player->mList()->front()) << "the entry before died with its list";
}

TEST_F(AudioPlayerLists, KeepsACurrentEntryThatSomebodyHolds) {
  addSongs("AB");
  const auto player = KWAudioPlayer::sharedMe();
  const auto held = player->mNowItem();
  player->reloadPhoneMusic();
  EXPECT_EQ(player->mNowItem(), held);
}

TEST_F(AudioPlayerLists, RebuildsOnlyTheLibraryPlayersList) {
  addSongs("A");
  KWAudioPlayer::sharedMe_1()->reloadPhoneMusic();
  EXPECT_FALSE(KWAudioPlayer::sharedMe_1()->mList());
  KWAudioPlayer::sharedMe_2()->reloadPhoneMusic();
  EXPECT_FALSE(KWAudioPlayer::sharedMe_2()->mList());
}

TEST_F(AudioPlayerLists, MakesFileAndStreamPlayersWithoutList) {
  const auto files = KWAudioPlayer::sharedMe_1();
  EXPECT_EQ(files->mType(), 1u);
  EXPECT_FALSE(files->mList() || files->mPlayer() || files->mNetPlayer() || files->mNowItem());
  const auto streams = KWAudioPlayer::sharedMe_2();
  EXPECT_EQ(streams->mType(), 2u);
  EXPECT_FALSE(streams->mList() || streams->mPlayer());
  EXPECT_TRUE(streams->mNetPlayer());
  for (const auto& player : {files, streams}) {
    player->didPlay(0);
    player->didNext();
    player->didBefore();
    player->didRepeat();
    EXPECT_EQ(player->mState(), 0u);
  }
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(AudioPlayerLists, PreparesTheFirstFileOfANewList) {
  const auto player = KWAudioPlayer::sharedMeByPaths(fileList("AB"));
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: reset paths volume:0.50", "A: volume 0.5", "A: metering", "A: prepare"));
  EXPECT_EQ(player->mNowItem()->mTitle(), "A.mp3");
  expectPermutation(*player);
  EXPECT_EQ(center_->info()["MPMediaItemPropertyTitle"], ValueTree("A.mp3"));
}

TEST_F(AudioPlayerLists, KeepsTheFirstListWhenTheFilePlayerExists) {
  const MusicList first = fileList("A");
  const auto player = KWAudioPlayer::sharedMeByPaths(first);
  EXPECT_EQ(KWAudioPlayer::sharedMeByPaths(fileList("BC")), player);
  EXPECT_EQ(*player->mList(), first);
}

TEST_F(AudioPlayerLists, StopsAndDropsTheFilePlayerOfTheListBefore) {
  const auto player = KWAudioPlayer::sharedMeByPaths(fileList("A"));
  player->didPlay(0);
  journal_.take();
  player->resetPaths(fileList("B"));
  EXPECT_THAT(journal_.take(), ElementsAre("log: reset paths volume:0.50", "A: stop", "B: volume 0.5",
                                           "B: metering", "B: prepare"));
  EXPECT_EQ(player->mState(), 0u);
  EXPECT_EQ(files_->alive().size(), 1u);
}

TEST_F(AudioPlayerLists, KeepsTheFilePlayerWhenTheFirstFileIsMissingOrEmpty) {
  const auto player = KWAudioPlayer::sharedMeByPaths(fileList("A"));
  const auto before = player->mPlayer();
  ASSERT_EQ(::mkdir((folder_ / "folder").c_str(), 0700), 0);
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  for (const std::string& path :
       {(folder_ / "missing").string(), writeFile("empty", ""), (folder_ / "folder").string(),
        (folder_ / "pipe").string(), std::string()}) {
    MusicList list{entry(0)};
    list.front()->setMPath(path);
    player->resetPaths(list);
    EXPECT_EQ(player->mPlayer(), before) << path;
    EXPECT_EQ(player->mNowItem(), list.front());
  }
  MusicList unreadable{entry(0)};
  unreadable.front()->setMPath(writeFile("text", "no audio"));
  player->resetPaths(unreadable);
  EXPECT_FALSE(player->mPlayer());
}

TEST_F(AudioPlayerLists, IgnoresAnEmptyListOfFilesAndListsOfAnotherType) {
  const MusicList files = fileList("A");
  const auto player = KWAudioPlayer::sharedMeByPaths(files);
  player->resetPaths({});
  player->resetPaths({nullptr});
  player->setNetPaths(streamList("S"));
  EXPECT_EQ(*player->mList(), files);
  const auto streams = KWAudioPlayer::sharedMe_2();
  streams->resetPaths(files);
  EXPECT_FALSE(streams->mList());
}

TEST_F(AudioPlayerLists, TakesAListOfStreamsWithoutOpeningOne) {
  const auto player = KWAudioPlayer::sharedMe_2();
  MusicList list = streamList("AB");
  list.push_back(nullptr);
  player->setNetPaths(list);
  EXPECT_EQ(player->sonyCount(), 2);
  EXPECT_EQ(player->mNowItem(), list.front());
  expectPermutation(*player);
  EXPECT_EQ(streams_->made(), 0);
  player->setNetPaths(streamList("C"));
  EXPECT_EQ(player->mNowItem(), list.front()) << "a current entry that lives on stays current";
}

TEST_F(AudioPlayerLists, HasNothingToPlayAfterAnEmptyListOfStreams) {
  const auto player = KWAudioPlayer::sharedMe_2();
  player->setNetPaths(streamList("AB"));
  player->setNetPaths({});
  EXPECT_TRUE(player->mList()->empty());
  EXPECT_FALSE(player->mNowItem());
  journal_.take();
  player->didPlay(0);
  player->didNext();
  player->didBefore();
  player->didRepeat();
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(AudioPlayerLists, PlaysOnlyWhatAListSetDirectlyHas) {
  const auto player = KWAudioPlayer::sharedMeByPaths(fileList("ABC"));
  MusicList shorter = fileList("D");
  shorter.push_back(nullptr);
  player->setMList(shorter);
  EXPECT_EQ(player->mList()->size(), 1u);
  EXPECT_EQ(player->sonyCount(), 3);
  for (const std::uint64_t mode : {0, 1, 2, 3}) {
    player->setMMode(mode);
    for (int step = 0; step < 4; ++step) {
      player->didNext();
      EXPECT_EQ(files_->last().source(), "D");
      player->didBefore();
      EXPECT_EQ(files_->last().source(), "D");
    }
  }
  player->setMList(std::nullopt);
  journal_.take();
  for (const std::uint64_t mode : {0, 1, 2, 3}) {
    player->setMMode(mode);
    player->didNext();
    player->didBefore();
    player->didRepeat();
  }
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(AudioPlayerLists, AcceptsIndexesAtTheEndsOfTheirRange) {
  const auto player = KWAudioPlayer::sharedMeByPaths(fileList("ABC"));
  using Limits = std::numeric_limits<std::int64_t>;
  player->mNowItem()->setMIndex(Limits::max());
  player->didNext();
  EXPECT_EQ(player->play_index(), 0);
  player->mNowItem()->setMIndex(Limits::min());
  player->didBefore();
  EXPECT_EQ(player->play_index(), 2);
  player->didPlay(Limits::max());
  EXPECT_EQ(player->play_index(), 0);
  player->didPlay(Limits::min());
  EXPECT_EQ(player->play_index(), 2);
  player->setPlay_index(Limits::min());
  player->didPause();
  EXPECT_FALSE(player->mNowItem());
}

TEST_F(AudioPlayerLists, MovesInTheRandomOrderOnlyToWhatItHolds) {
  const auto player = KWAudioPlayer::sharedMeByPaths(fileList("ABC"));
  player->newRandomIndex(2);
  const std::int64_t at = player->mRandomIndex();
  EXPECT_EQ(player->mRandomList()[static_cast<std::size_t>(at)], 2);
  player->newRandomIndex(3);
  EXPECT_EQ(player->mRandomIndex(), at);
  const auto empty = KWAudioPlayer::sharedMe_2();
  journal_.take();
  empty->newRandomList();
  empty->newRandomIndex(0);
  EXPECT_THAT(journal_.take(), ElementsAre(kNoRandom, kNoRandomIndex));
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
  EXPECT_EQ(files_->opened(), 3);
  EXPECT_THAT(journal_.take(), IsEmpty());
  EXPECT_FALSE(player::detail::PlayerRegistry::shared().ME);
}

TEST_F(AudioPlayerLists, ReadsLengthsOfAddressesAndFiles) {
  const auto player = KWAudioPlayer::sharedMe_1();
  files_->put("url", {.duration = 59.9});
  files_->put("F", {.duration = 7.2});
  EXPECT_EQ(player->songTimeIpod("url"), 59u);
  EXPECT_EQ(player->songTimeIpod(std::nullopt), 0u);
  EXPECT_EQ(player->songTimePath(writeFile("f", "F")), 7u);
  EXPECT_EQ(player->songTimePath(writeFile("g", "no audio")), 0u);
  EXPECT_EQ(player->songTimePath((folder_ / "missing").string()), 0u);
  EXPECT_EQ(player->songTimePath(folder_.string()), 0u);
  EXPECT_EQ(player->songTimePath(std::string("a\0b", 3)), 0u);
}

}  // namespace
}  // namespace vantrel::testing
