#include "vantrel/player/MusicOfPhoneMode.h"

#include <system_error>

#include "vantrel/net/KWHttp.h"
#include "vantrel/player/detail/FileAccess.h"

namespace vantrel {
namespace {

constexpr Size kCoverSize{80, 80};

std::optional<std::string> decoded(const std::optional<std::string>& url) {
  return url ? KWHttp::decodeURL(*url) : std::nullopt;
}

template <typename Path>
MusicList listOfFiles(std::span<const Path> paths) {
  MusicList list;
  for (const Path& named : paths) {
    const std::filesystem::path path(named);
    std::error_code error;
    const auto whole = std::filesystem::absolute(path, error);
    auto entry = std::make_shared<MusicOfPhoneMode>();
    entry->setMPath(error ? path : whole);
    entry->setMIndex(static_cast<std::int64_t>(list.size()));
    list.push_back(std::move(entry));
  }
  return list;
}

}  // namespace

MusicList MusicOfPhoneMode::listOf(std::span<const std::filesystem::path> paths) {
  return listOfFiles(paths);
}

MusicList MusicOfPhoneMode::listOf(std::span<const std::string> paths) { return listOfFiles(paths); }

MusicList MusicOfPhoneMode::listOf(std::initializer_list<std::filesystem::path> paths) {
  return listOfFiles(std::span<const std::filesystem::path>(paths.begin(), paths.size()));
}

std::uint32_t MusicOfPhoneMode::mTime() const { return mItem_ ? songTimeIpod(mItem_->assetUrl) : 0; }

void MusicOfPhoneMode::setMItem(std::shared_ptr<const MediaItem> item) {
  mItem_ = std::move(item);
  mTitle_ = mItem_ && mItem_->title ? *mItem_->title : "Unknow";
  mArtist_ = mItem_ && mItem_->artist ? *mItem_->artist : "Unknow";
  if (mItem_ && mItem_->artwork) mImage_ = mItem_->artwork->imageWithSize(kCoverSize);
}

void MusicOfPhoneMode::setMPath(PathArgument path) {
  mPath_ = path.copy();
  mTitle_.reset();
  if (mPath_) mTitle_ = player::detail::lastPathComponent(*mPath_);
}

void MusicOfPhoneMode::setMUrl(TextArgument url) { mUrl_ = decoded(url.copy()); }

void MusicOfPhoneMode::setMImgUrl(TextArgument url) { mImgUrl_ = decoded(url.copy()); }

std::shared_ptr<const Image> MusicOfPhoneMode::getImage(Size size) const {
  return mItem_ && mItem_->artwork ? mItem_->artwork->imageWithSize(size) : nullptr;
}

std::uint32_t MusicOfPhoneMode::songTimeIpod(TextArgument url) const {
  return player::detail::wholeDuration(player::detail::openUrl(url.copy()));
}

}  // namespace vantrel
