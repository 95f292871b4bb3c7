#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "vantrel/base/Result.h"
#include "vantrel/base/io/Descriptor.h"

/// Where a track's bytes come from.
namespace vantrel::backends::gstreamer::detail {

/// A file that is read in pieces. It is opened once and stays open, so that it can be read on when it is
/// renamed or deleted meanwhile. It is not mapped: what others cut off is read as the file's end.
/// Threads: any.
class Source {
 public:
  /// Fails unless `path` names a regular file that can be read and is not empty.
  static Result<std::shared_ptr<const Source>> open(const std::string& path);

  /// Bytes in the file when it was opened.
  std::uint64_t size() const { return size_; }

  /// Others have made the file shorter since it was opened.
  bool shrunk() const;

  /// Reads from `offset` on and gives the number of bytes, which is short at the file's end only. None, and
  /// the reason in `errno`, when reading fails.
  std::optional<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> into) const;

 private:
  Source(Descriptor file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

  const Descriptor file_;
  const std::uint64_t size_;
};

/// The path that `url`, a file address or an absolute path, stands for; fails for anything else.
Result<std::string> pathOfUrl(const std::string& url);

}  // namespace vantrel::backends::gstreamer::detail
