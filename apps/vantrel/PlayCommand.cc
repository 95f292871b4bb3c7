#include <algorithm>

#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Output.h"
#include "apps/vantrel/PlayList.h"
#include "apps/vantrel/PlaySession.h"
#include "vantrel/backends/linux/LinuxHost.h"
#include "vantrel/base/Log.h"
#include "vantrel/player/KWAudioPlayer.h"

namespace app {
namespace {

using vantrel::KWAudioPlayer;
namespace player = vantrel::player;

int play(const std::vector<std::string>& paths, const PlayOptions& options, bool showLog) {
  if (std::find(paths.begin(), paths.end(), "-") != paths.end())
    return wrongUsage(
        "standard input cannot be played, for one can only seek in a file (a file of that name is ./-)");
  const vantrel::MusicList list = collectMusic(paths);
  if (list.empty()) return failed("no audio files to play");
  if (options.start && *options.start >= static_cast<std::int64_t>(list.size()))
    return wrongUsage("--start must be below the number of files, " + std::to_string(list.size()));
  PlaySession::blockSignals();
  vantrel::backends::installLinuxHost("vantrel");
  // Damaged settings are told in the log when they are first read, and no user should miss that.
  KWAudioPlayer::getPlayMode();
  std::optional<vantrel::ScopedLogSink> quiet;
  if (!showLog) quiet.emplace([](std::string_view) {});
  return PlaySession(options).run(list);
}

}  // namespace

void registerPlayCommand(Command& program) {
  Command command =
      program.add("play", "Plays files and folders",
                  "vantrel play ~/Music\n"
                  "vantrel play --mode 2 ~/Music            # shuffle until q is pressed\n"
                  "vantrel play --resume ~/Music            # go on where the last one was left\n"
                  "vantrel play --json --seconds 10 a.ogg   # every event as JSON\n"
                  "\n"
                  "Keys: space pause or continue, n or right next, b, p or left previous, m mode,\n"
                  "+ - or up down volume, q quit");
  const auto paths =
      command.arguments("PATH", "audio files, and folders of them at any depth, also behind links");
  const auto mode = command.integerOption(
      "--mode", "0 loop, 1 repeat one, 2 shuffle, 3 list once (3, with --resume the remembered one)",
      player::ListLoop, player::ListOnce);
  const auto start =
      command.integerOption("--start", "begin with the N-th file, counted from 0", 0, INT32_MAX);
  const auto resume = command.flag(
      "--resume",
      "begin with the remembered track, mode and position; after a list that ended, with its first");
  const auto seconds = command.secondsOption("--seconds", "end after S seconds");
  const auto json = command.flag("--json", "print every event as a line of JSON; " +
                                               std::string(player::kUpdate) + " tells the track too");
  const auto log = command.flag("--log", "print the library's log, and events instead of the live line");
  command.exclusive("--start", "--resume");
  command.run([=] {
    PlayOptions options;
    if (*mode) options.mode = static_cast<std::uint64_t>(**mode);
    options.start = *start;
    options.seconds = *seconds;
    options.resume = *resume;
    options.json = *json;
    options.live = outputIsTerminal() && !*json && !*log;
    return play(*paths, options, *log);
  });
}

}  // namespace app
