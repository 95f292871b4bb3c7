#pragma once

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/Export.h"
#include "vantrel/base/io/PathArgument.h"
#include "vantrel/host/Image.h"
#include "vantrel/host/seams/MusicLibrary.h"

namespace vantrel {

class MusicOfPhoneMode;

/// A play list, in playing order. No entry is null: operations that take a list leave null entries out.
using MusicList = std::vector<std::shared_ptr<MusicOfPhoneMode>>;

/// One entry of a play list: a song of the music library, a local audio file or a network stream.
///
/// A record that the host fills and `KWAudioPlayer` plays. A new one has every field zero or absent. `listOf`
/// makes the entries for files. Who makes entries by hand sets `mIndex` to the position in the list that the
/// player gets, and the title and artist of network entries when they are to be shown.
///
/// Threads: one object from one thread at a time; inside a player's list that is the main thread.
/// Ownership: shared by the list and whoever else keeps it; a player refers to its current entry weakly.
class VANTREL_EXPORT MusicOfPhoneMode {
 public:
  /// A play list of files, in this order, ready for the player: `mPath` is the full path (a relative one
  /// starts from the current working folder), `mTitle` the file's name, `mIndex` the position. No file is
  /// opened or looked for.
  ///
  ///   KWAudioPlayer::sharedMeByPaths(MusicOfPhoneMode::listOf({"intro.ogg", "/home/me/Music/song.mp3"}));
  static MusicList listOf(std::span<const std::filesystem::path> paths);
  static MusicList listOf(std::span<const std::string> paths);
  static MusicList listOf(std::initializer_list<std::filesystem::path> paths);

  /// Kept by the player: set when the entry starts or resumes, cleared when it is paused or stopped as the
  /// current entry, or ends as the last one of list-once mode.
  bool isPlaying() const { return isPlaying_; }
  void setIsPlaying(bool playing) { isPlaying_ = playing; }

  /// Length in whole seconds, truncated, read anew at every call by opening the media item's asset. Always 0
  /// for an entry without media item (file and network entries), whatever `setMTime` stored.
  std::uint32_t mTime() const;

  /// Stores a length in whole seconds. `mTime` does not return it; `storedTime` does.
  void setMTime(std::uint32_t seconds) { storedTime_ = seconds; }

  /// What `setMTime` stored last, 0 before. `KWAudioPlayer::filterMusic` fills it, so that a result list
  /// shows lengths without opening every song again.
  std::uint32_t storedTime() const { return storedTime_; }

  /// Position in the list, from 0; steps to the next and previous entry start from it. In a list whose
  /// entries all have the 0 of a new one, the second entry follows itself for ever.
  std::int64_t mIndex() const { return mIndex_; }
  void setMIndex(std::int64_t index) { mIndex_ = index; }

  /// The library song; null for other entries.
  const std::shared_ptr<const MediaItem>& mItem() const { return mItem_; }

  /// Stores the song, then takes over its title and artist ("Unknow" where it has none, also for a null item)
  /// and its artwork at 80 x 80 points. Without artwork `mImage` stays as it was.
  void setMItem(std::shared_ptr<const MediaItem> item);

  /// Full path of a local audio file.
  const std::optional<std::string>& mPath() const { return mPath_; }

  /// Stores the path and sets the title to its last component: "/a/b/song.mp3" gives "song.mp3", "/a/b/"
  /// gives "b", "/" gives "/". An absent path gives an absent title. The file is not opened.
  void setMPath(PathArgument path);

  /// Address of a network stream, percent-decoded.
  const std::optional<std::string>& mUrl() const { return mUrl_; }

  /// Stores the percent-decoded address: "a%20b.mp3" gives "a b.mp3". Absent for an invalid percent sequence
  /// and for an absent argument.
  void setMUrl(TextArgument url);

  /// Address of a cover image, percent-decoded, set like `setMUrl`.
  const std::optional<std::string>& mImgUrl() const { return mImgUrl_; }
  void setMImgUrl(TextArgument url);

  const std::optional<std::string>& mTitle() const { return mTitle_; }
  void setMTitle(TextArgument title) { mTitle_ = title.copy(); }

  const std::optional<std::string>& mArtist() const { return mArtist_; }
  void setMArtist(TextArgument artist) { mArtist_ = artist.copy(); }

  /// Cover image; null when there is none.
  const std::shared_ptr<const Image>& mImage() const { return mImage_; }
  void setMImage(std::shared_ptr<const Image> image) { mImage_ = std::move(image); }

  /// A slot for the host application; the library never reads it.
  const std::shared_ptr<void>& mMediaItem() const { return mMediaItem_; }
  void setMMediaItem(std::shared_ptr<void> item) { mMediaItem_ = std::move(item); }

  /// The media item's artwork at `size`; null without media item or artwork. `mImage` is not changed.
  std::shared_ptr<const Image> getImage(Size size) const;

  /// Length in whole seconds of what a file player opens at `url`: truncated towards zero, negative and
  /// not-a-number give 0, more than 32 bits hold give 4294967295. 0 when it cannot be opened or is absent.
  std::uint32_t songTimeIpod(TextArgument url) const;

 private:
  bool isPlaying_ = false;
  std::uint32_t storedTime_ = 0;
  std::int64_t mIndex_ = 0;
  std::shared_ptr<const MediaItem> mItem_;
  std::optional<std::string> mPath_;
  std::optional<std::string> mUrl_;
  std::optional<std::string> mImgUrl_;
  std::optional<std::string> mTitle_;
  std::optional<std::string> mArtist_;
  std::shared_ptr<const Image> mImage_;
  std::shared_ptr<void> mMediaItem_;
};

}  // namespace vantrel
