#pragma once

#include <cstdint>

#include "vantrel/base/Bytes.h"

namespace vantrel {

/// Width and height in points.
struct Size {
  double width = 0;
  double height = 0;

  friend bool operator==(const Size&, const Size&) = default;
};

/// A picture: rows from the top without padding, four bytes a pixel in the order blue, green, red, alpha,
/// colours premultiplied by alpha. `pixels` holds width x height x 4 bytes.
struct Image {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  Bytes pixels;

  friend bool operator==(const Image&, const Image&) = default;
};

}  // namespace vantrel
