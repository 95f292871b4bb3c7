#include "vantrel/player/MusicOfPhoneMode.h"

#include <cmath>

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

TEST_F(SongItem, TakesTitleAndArtistOfItsSong) {
  EXPECT_FALSE(entry_.isPlaying() || entry_.mItem() || entry_.mPath() || entry_.mUrl() || entry_.mImgUrl() ||
               entry_.mTitle() || entry_.mArtist() || entry_.mImage() || entry_.mMediaItem());
  EXPECT_EQ(entry_.mTime() + entry_.storedTime(), 0u);
  entry_.setMItem(share(FakeMusicLibrary::song("Title", "Artist", "url")));
  EXPECT_EQ(entry_.mTitle(), "Title");
  EXPECT_EQ(entry_.mArtist(), "Artist");
  for (const auto& item : {share({}), std::shared_ptr<const MediaItem>()}) {
    entry_.setMItem(item);
    EXPECT_EQ(entry_.mTitle(), "Unknow");
    EXPECT_EQ(entry_.mArtist(), "Unknow");
  }
}

TEST_F(SongItem, RendersArtworkAt80PointsKeepsItAndGivesAnySize) {
  EXPECT_FALSE(entry_.getImage({10, 20}));
  MediaItem song;
  song.artwork = std::make_shared<FakeArtwork>();
  entry_.setMItem(share(song));
  const auto kept = entry_.mImage();
  const auto other = entry_.getImage({10, 20});
  ASSERT_TRUE(kept && other);
  EXPECT_EQ(std::pair(kept->width, kept->height), std::pair(80u, 80u));
  EXPECT_EQ(std::pair(other->width, other->height), std::pair(10u, 20u));
  entry_.setMItem(share({}));
  EXPECT_EQ(entry_.mImage(), kept) << "the next song has none";
  EXPECT_FALSE(entry_.getImage({10, 20}));
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
  entry_.setMItem(share(FakeMusicLibrary::song("T", "A", "url")));
  for (const double length : {183.7, 59.9}) {
    files_->put("url", {.duration = length});
    EXPECT_EQ(entry_.mTime(), std::floor(length));
  }
  EXPECT_EQ(files_->asked(), 2);
  EXPECT_TRUE(files_->alive().empty());
  const auto file = fileList("A").front();
  file->setMTime(200);
  EXPECT_EQ(file->mTime(), 0u);
  EXPECT_EQ(file->storedTime(), 200u);
}

TEST_F(SongItem, ClampsLengthsTo32Bits) {
  constexpr std::uint32_t kMost = UINT32_MAX;
  const std::pair<double, std::uint32_t> cases[] = {{0.0, 0},
                                                    {-5.0, 0},
                                                    {NAN, 0},
                                                    {0.999, 0},
                                                    {4294967294.9, 4294967294},
                                                    {4294967296.0, kMost},
                                                    {1e300, kMost},
                                                    {HUGE_VAL, kMost}};
  for (const auto& [duration, seconds] : cases) {
    files_->put("url", {.duration = duration});
    EXPECT_EQ(entry_.songTimeIpod("url"), seconds) << duration;
  }
}

TEST_F(SongItem, HasNoLengthWhereNothingCanBeOpened) {
  EXPECT_EQ(entry_.songTimeIpod(std::nullopt), 0u);
  EXPECT_EQ(entry_.songTimeIpod("unknown"), 0u);
  files_->put("url");
  const auto files = std::exchange(files_, nullptr);
  install();
  EXPECT_EQ(entry_.songTimeIpod("url"), 0u);
  files_ = files;
}

}  // namespace
}  // namespace vantrel::testing
