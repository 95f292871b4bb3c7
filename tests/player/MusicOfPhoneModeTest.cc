#include "vantrel/player/MusicOfPhoneMode.h"

#include <limits>

#include "tests/player/PlayerFixture.h"

namespace vantrel::testing {
namespace {

class SongItem : public PlayerFixture {
 protected:
  static std::shared_ptr<const MediaItem> share(MediaItem item) {
    return std::make_shared<const MediaItem>(std::move(item));
  }
  MusicOfPhoneMode entry_;
};

TEST_F(SongItem, IsEmptyWhenNew) {
  EXPECT_FALSE(entry_.isPlaying());
  EXPECT_EQ(entry_.mTime(), 0u);
  EXPECT_EQ(entry_.storedTime(), 0u);
  EXPECT_EQ(entry_.mIndex(), 0);
  EXPECT_FALSE(entry_.mItem() || entry_.mPath() || entry_.mUrl() || entry_.mImgUrl() || entry_.mTitle() ||
               entry_.mArtist() || entry_.mImage() || entry_.mMediaItem());
}

TEST_F(SongItem, TakesTitleAndArtistOfItsSong) {
  entry_.setMItem(share(FakeMusicLibrary::song("Title", "Artist", "url")));
  EXPECT_EQ(entry_.mTitle(), "Title");
  EXPECT_EQ(entry_.mArtist(), "Artist");
}

TEST_F(SongItem, NamesWhatASongDoesNotTellUnknow) {
  for (const auto& item : {share({}), std::shared_ptr<const MediaItem>()}) {
    entry_.setMItem(item);
    EXPECT_EQ(entry_.mTitle(), "Unknow");
    EXPECT_EQ(entry_.mArtist(), "Unknow");
  }
}

TEST_F(SongItem, RendersArtworkAt80PointsAndKeepsItWhenTheNextSongHasNone) {
  MediaItem song;
  song.artwork = std::make_shared<FakeArtwork>();
  entry_.setMItem(share(song));
  ASSERT_TRUE(entry_.mImage());
  const auto image = entry_.mImage();
  EXPECT_EQ(image->width, 80u);
  EXPECT_EQ(image->height, 80u);
  entry_.setMItem(share({}));
  EXPECT_EQ(entry_.mImage(), image);
}

TEST_F(SongItem, GivesArtworkAtAnySizeAndLeavesItsImageAlone) {
  EXPECT_FALSE(entry_.getImage({10, 20}));
  entry_.setMItem(share({}));
  EXPECT_FALSE(entry_.getImage({10, 20}));
  MediaItem song;
  song.artwork = std::make_shared<FakeArtwork>();
  entry_.setMItem(share(song));
  const auto image = entry_.getImage({10, 20});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 10u);
  EXPECT_EQ(image->height, 20u);
  EXPECT_EQ(entry_.mImage()->width, 80u);
}

TEST_F(SongItem, IsTitledByTheLastComponentOfItsPath) {
  const std::pair<const char*, const char*> cases[] = {
      {"/a/b/song.mp3", "song.mp3"}, {"song.mp3", "song.mp3"}, {"/a/b/", "b"}, {"/", "/"}, {"", ""}};
  for (const auto& [path, title] : cases) {
    entry_.setMPath(path);
    EXPECT_EQ(entry_.mPath(), path);
    EXPECT_EQ(entry_.mTitle(), title);
    EXPECT_FALSE(entry_.mArtist());
  }
  entry_.setMPath(std::nullopt);
  EXPECT_FALSE(entry_.mTitle());
}

TEST_F(SongItem, ListsPathsByTheirPlaces) {
  const std::vector<std::string> names = {"a/b.ogg", "/c.mp3", "\xff.wav"};
  const std::vector<std::filesystem::path> paths(names.begin(), names.end());
  for (const MusicList& list : {MusicOfPhoneMode::listOf(names), MusicOfPhoneMode::listOf(paths),
                                MusicOfPhoneMode::listOf({"a/b.ogg", "/c.mp3", "\xff.wav"})}) {
    ASSERT_EQ(list.size(), names.size());
    for (std::size_t at = 0; at < list.size(); ++at) {
      EXPECT_EQ(list[at]->mIndex(), static_cast<std::int64_t>(at));
      EXPECT_EQ(list[at]->mPath(), std::filesystem::absolute(names[at]));
      EXPECT_EQ(list[at]->mTitle(), paths[at].filename());
    }
  }
}

TEST_F(SongItem, StoresAddressesPercentDecoded) {
  entry_.setMUrl("a%20b.mp3");
  entry_.setMImgUrl("c%C3%A9.png");
  EXPECT_EQ(entry_.mUrl(), "a b.mp3");
  EXPECT_EQ(entry_.mImgUrl(), "c\u00e9.png");
  for (const char* damaged : {"100%zz", "%", "%4"}) {
    entry_.setMUrl(damaged);
    entry_.setMImgUrl(damaged);
    EXPECT_FALSE(entry_.mUrl()) << damaged;
    EXPECT_FALSE(entry_.mImgUrl()) << damaged;
  }
}

TEST_F(SongItem, ReadsItsLengthFromTheAssetAnewEveryTime) {
  files_->put("url", {.duration = 183.7});
  entry_.setMItem(share(FakeMusicLibrary::song("T", "A", "url")));
  EXPECT_EQ(entry_.mTime(), 183u);
  files_->put("url", {.duration = 59.9});
  EXPECT_EQ(entry_.mTime(), 59u);
  EXPECT_EQ(files_->opened(), 2);
  EXPECT_TRUE(files_->alive().empty());
}

TEST_F(SongItem, ReadsNoLengthOfAFileEntryWhateverWasStored) {
  entry_.setMPath(writeFile("A.mp3", "A"));
  files_->put("A");
  entry_.setMTime(200);
  EXPECT_EQ(entry_.mTime(), 0u);
  EXPECT_EQ(entry_.storedTime(), 200u);
}

TEST_F(SongItem, ClampsLengthsTo32Bits) {
  const std::pair<double, std::uint32_t> cases[] = {{0.0, 0},
                                                    {-5.0, 0},
                                                    {std::numeric_limits<double>::quiet_NaN(), 0},
                                                    {0.999, 0},
                                                    {4294967294.9, 4294967294},
                                                    {4294967296.0, 4294967295},
                                                    {1e300, 4294967295},
                                                    {std::numeric_limits<double>::infinity(), 4294967295}};
  for (const auto& [duration, seconds] : cases) {
    files_->put("url", {.duration = duration});
    EXPECT_EQ(entry_.songTimeIpod("url"), seconds) << duration;
  }
}

TEST_F(SongItem, HasNoLengthWhereNothingCanBeOpened) {
  EXPECT_EQ(entry_.songTimeIpod(std::nullopt), 0u);
  EXPECT_EQ(entry_.songTimeIpod("unknown"), 0u);
  files_->put("url");
  files_ = nullptr;
  install();
  EXPECT_EQ(entry_.songTimeIpod("url"), 0u);
  files_ = std::make_shared<FakeFilePlayers>();
}

}  // namespace
}  // namespace vantrel::testing
