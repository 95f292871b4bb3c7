#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vantrel/base/Export.h"
#include "vantrel/host/Image.h"

namespace vantrel {

/// A cover picture that can be rendered at any size.
class VANTREL_EXPORT Artwork {
 public:
  virtual ~Artwork() = default;

  /// The picture scaled to `size`; null when it cannot be rendered.
  virtual std::shared_ptr<const Image> imageWithSize(Size size) const = 0;
};

/// One song of a music library. What is absent is not known.
struct MediaItem {
  std::optional<std::string> title;
  std::optional<std::string> artist;
  std::optional<std::string> albumTitle;
  std::optional<std::string> assetUrl;  ///< what a file player opens; absent: the song cannot be played
  std::shared_ptr<const Artwork> artwork;
};

/// The user's songs. Threads: the main thread only.
class VANTREL_EXPORT MusicLibrary {
 public:
  virtual ~MusicLibrary() = default;

  /// All songs in the library's order.
  virtual std::vector<std::shared_ptr<const MediaItem>> songs() = 0;
};

}  // namespace vantrel
