#pragma once

#include <filesystem>

#include "vantrel/base/TextArgument.h"

namespace vantrel {

/// A path that an operation is given: any text, a `std::filesystem::path` or an entry of a folder's listing.
/// An absent one names nothing, as an empty one does. For parameters alone, like `TextArgument`.
class PathArgument : public TextArgument {
 public:
  using TextArgument::TextArgument;
  PathArgument(const std::filesystem::path& path) noexcept : TextArgument(path.native()) {}
  PathArgument(const std::optional<std::filesystem::path>& path) noexcept
      : TextArgument(path ? TextArgument(path->native()) : TextArgument()) {}
  PathArgument(const std::filesystem::directory_entry& entry) noexcept : PathArgument(entry.path()) {}
};

}  // namespace vantrel
