#pragma once

#include <gst/gst.h>

#include <memory>

#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends::gstreamer::detail {

/// Lets `appsrc` read `source` at any offset, in the pieces that it asks for and on the thread that wants
/// them. A file that has been cut ends where it now ends; one that cannot be read is an error of `appsrc`.
void feedFromFile(GstElement* appsrc, std::shared_ptr<const Source> source);

}  // namespace vantrel::backends::gstreamer::detail
