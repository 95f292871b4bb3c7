#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"

namespace vantrel {

/// An immutable run of bytes that is shared, not copied.
///
/// Copying and slicing cost one reference; the bytes live until the last `Bytes` that shows them is gone.
/// Build contents in a `std::vector<std::uint8_t>` and move it in. Empty and absent are different things: an
/// operation that can yield nothing returns `std::optional<Bytes>`.
///
/// Threads: like `std::shared_ptr`: different objects over the same bytes may be used from any threads at
/// once.
class VANTREL_EXPORT Bytes {
 public:
  /// Empty.
  Bytes() noexcept = default;

  /// Takes the vector over; nothing is copied.
  Bytes(std::vector<std::uint8_t> contents);

  /// Copies the given bytes.
  static Bytes copyOf(std::span<const std::uint8_t> contents);
  static Bytes copyOf(TextArgument text);

  /// Shows memory that `owner` keeps alive and unchanged, for instance a mapped file.
  static Bytes sharing(std::span<const std::uint8_t> contents, std::shared_ptr<const void> owner);

  const std::uint8_t* data() const noexcept { return view_.data(); }
  std::size_t size() const noexcept { return view_.size(); }
  bool empty() const noexcept { return view_.empty(); }
  std::uint8_t operator[](std::size_t index) const noexcept { return view_[index]; }
  const std::uint8_t* begin() const noexcept { return view_.data(); }
  const std::uint8_t* end() const noexcept { return view_.data() + view_.size(); }

  std::span<const std::uint8_t> span() const noexcept { return view_; }

  /// The bytes as characters; valid as long as this object (or a copy) lives. Nothing is checked or
  /// converted.
  std::string_view text() const noexcept;

  /// `length` bytes from `offset` on, clamped to what is there; shares the memory.
  Bytes slice(std::size_t offset, std::size_t length) const;

  /// Equal contents.
  VANTREL_EXPORT friend bool operator==(const Bytes& a, const Bytes& b) noexcept;

 private:
  std::span<const std::uint8_t> view_;
  std::shared_ptr<const void> owner_;
};

}  // namespace vantrel
