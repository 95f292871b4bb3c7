#pragma once

#include <string>
#include <vector>

#include "vantrel/player/MusicOfPhoneMode.h"

namespace app {

/// Whether a file's name ends as that of an audio file does.
bool hasAudioExtension(const std::string& path);

/// The entries for files and folders: a file as it is named, whatever it is; of a folder the audio files at
/// any depth, in name order, without hidden ones. Links to folders are followed, each folder counts once. A
/// folder that cannot be read is told in a message.
vantrel::MusicList collectMusic(const std::vector<std::string>& paths);

}  // namespace app
