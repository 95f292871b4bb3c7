#pragma once

#include "vantrel/backends/gstreamer/detail/Gst.h"

/// Where the sound goes. Threads: the main thread.
namespace vantrel::backends::gstreamer::detail {

/// A sink on the sound device, or the silent one when there is no device. The device that was found is kept
/// until it fails; while there is none, each call looks again.
Owned<GstElement> makeDeviceSink();

/// The device has failed: the next sink is looked for anew.
void forgetDevice();

/// A sink that takes sound in real time and throws it away.
Owned<GstElement> makeSilentSink();

}  // namespace vantrel::backends::gstreamer::detail
