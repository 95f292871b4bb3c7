#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vantrel/host/seams/MusicLibrary.h"

namespace vantrel::testing {

/// A cover that renders as transparent pixels of the size asked for.
class FakeArtwork : public Artwork {
 public:
  std::shared_ptr<const Image> imageWithSize(Size size) const override {
    Image image;
    image.width = static_cast<std::uint32_t>(size.width);
    image.height = static_cast<std::uint32_t>(size.height);
    image.pixels = Bytes(std::vector<std::uint8_t>(std::size_t{4} * image.width * image.height));
    return std::make_shared<const Image>(std::move(image));
  }
};

class FakeMusicLibrary : public MusicLibrary {
 public:
  void add(MediaItem song) { songs_.push_back(std::make_shared<const MediaItem>(std::move(song))); }
  void clear() { songs_.clear(); }

  /// A song with these texts and an address.
  static MediaItem song(std::string title, std::string artist, std::string url) {
    MediaItem item;
    item.title = std::move(title);
    item.artist = std::move(artist);
    item.assetUrl = std::move(url);
    return item;
  }

  std::vector<std::shared_ptr<const MediaItem>> songs() override { return songs_; }

 private:
  std::vector<std::shared_ptr<const MediaItem>> songs_;
};

}  // namespace vantrel::testing
