#pragma once

#include <cstdlib>
#include <string>

#include "tests/support/ScratchFolder.h"

namespace vantrel::test {

/// A folder of audio files made by independent programs. Tracks play into nothing.
class AudioFiles {
 public:
  AudioFiles() { ::setenv("VANTREL_AUDIO_SINK", "fakesink", 1); }

  std::string path(const std::string& name) const { return folder_.at(name); }

  /// Runs a shell command in the folder; the path of the file `name` that it makes, empty when it failed.
  std::string make(const std::string& name, const std::string& command) const {
    const std::string line = "cd '" + folder_.path() + "' && " + command;
    return std::system(line.c_str()) == 0 ? path(name) : "";
  }

  /// A stereo tone of 1 kHz at -20 dB left and -26 dB right, as `name`.wav.
  std::string tone(const std::string& name, const std::string& seconds,
                   const std::string& format = "") const {
    return make(name + ".wav", "sox -n -R -r 44100 -b 16 -c 2 " + format + " " + name + ".wav synth " +
                                   seconds + " sine 1000 remix 1v0.1 1v0.0501187");
  }

 private:
  tests::ScratchFolder folder_;
};

}  // namespace vantrel::test
