#include "vantrel/base/Bytes.h"

#include <algorithm>
#include <utility>

namespace vantrel {

Bytes::Bytes(std::vector<std::uint8_t> contents) {
  if (contents.empty()) return;
  auto kept = std::make_shared<const std::vector<std::uint8_t>>(std::move(contents));
  view_ = *kept;
  owner_ = std::move(kept);
}

Bytes Bytes::copyOf(std::span<const std::uint8_t> contents) {
  return Bytes(std::vector<std::uint8_t>(contents.begin(), contents.end()));
}

Bytes Bytes::copyOf(TextArgument characters) {
  const std::string_view text = *characters;
  return Bytes(std::vector<std::uint8_t>(text.begin(), text.end()));
}

Bytes Bytes::sharing(std::span<const std::uint8_t> contents, std::shared_ptr<const void> owner) {
  Bytes bytes;
  bytes.view_ = contents;
  bytes.owner_ = std::move(owner);
  return bytes;
}

std::string_view Bytes::text() const noexcept {
  return {reinterpret_cast<const char*>(view_.data()), view_.size()};
}

Bytes Bytes::slice(std::size_t offset, std::size_t length) const {
  offset = std::min(offset, size());
  return sharing(view_.subspan(offset, std::min(length, size() - offset)), owner_);
}

bool operator==(const Bytes& a, const Bytes& b) noexcept { return std::ranges::equal(a.view_, b.view_); }

}  // namespace vantrel
