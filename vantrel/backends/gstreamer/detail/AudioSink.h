#pragma once

#include "vantrel/backends/gstreamer/detail/Gst.h"

/// Where the sound goes. Threads: any.
namespace vantrel::backends::gstreamer::detail {

/// A sink on the sound device of this process, or the silent one when there is no device. Which it is, is
/// found out by the first call.
Owned<GstElement> makeDeviceSink();

/// A sink that takes sound in real time and throws it away.
Owned<GstElement> makeSilentSink();

}  // namespace vantrel::backends::gstreamer::detail
