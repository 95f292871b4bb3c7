// Plays the files of a folder once, by name, and tells what it plays and what it cannot.
#include <filesystem>
#include <iostream>
#include <set>
#include <vector>

#include "vantrel/backends/linux/LinuxHost.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/player/KWAudioPlayer.h"

using namespace vantrel;

int main(int count, char** arguments) {
  if (count != 2) return 2;
  std::set<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1], error))
    if (entry.is_regular_file()) files.insert(entry);
  if (files.empty()) return std::cerr << (error ? error.message() : "no files there") << '\n', 1;

  backends::installLinuxHost("play_folder");
  const auto music =
      KWAudioPlayer::sharedMeByPaths(MusicOfPhoneMode::listOf(std::vector(files.begin(), files.end())));

  const auto telling = NotificationBus::shared().add(player::kUpdate, [&music](const Notification&) {
    std::cout << music->mNowItem()->mTitle().value_or("");
    if (const auto why = music->trackError()) std::cout << ": " << why->description();
    std::cout << std::endl;
  });
  music->setMMode(player::ListOnce);
  music->setOnListEnded([] { RunLoop::main().stop(); });
  music->didPlay(0);
  RunLoop::main().run();
}
