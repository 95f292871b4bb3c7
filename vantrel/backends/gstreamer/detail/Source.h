#pragma once

#include <gst/gst.h>

#include <optional>
#include <string>

#include "vantrel/platform/Bytes.h"

/// Where a track's bytes come from.
namespace vantrel::backends::gstreamer::detail {

struct Source {
  std::string uri;

  /// What the pipeline reads when `uri` stands for memory.
  std::optional<Bytes> contents;
};

/// `url` is a file address or an absolute path. None unless it names a regular file that is not empty.
std::optional<Source> sourceOfFile(const std::string& url);

Source sourceOfBytes(const Bytes& contents);

/// Lets `appsrc` read `contents` at any offset. The memory is kept alive and handed on without a copy.
void feedFromMemory(GstElement* appsrc, const Bytes& contents);

}  // namespace vantrel::backends::gstreamer::detail
