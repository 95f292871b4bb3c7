#pragma once

#include <memory>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/host/Bundle.h"
#include "vantrel/host/SettingsStore.h"
#include "vantrel/host/seams/AudioSession.h"
#include "vantrel/host/seams/FilePlayer.h"
#include "vantrel/host/seams/LocalNotifications.h"
#include "vantrel/host/seams/MusicLibrary.h"
#include "vantrel/host/seams/NowPlayingCenter.h"
#include "vantrel/host/seams/StreamPlayer.h"

namespace vantrel {

/// Everything that the library asks of the program it lives in and of the system below, in one list.
///
/// A program fills a `Host` and installs it once at its start, before it calls a service; each member can be
/// replaced by itself. What is left null has the plain default said beside it.
///
/// Threads: install before other threads use the library. Which threads may call a seam stands in its header.
struct VANTREL_EXPORT Host {
  /// Names the settings file and the resource folder.
  std::string applicationName = "vantrel";

  /// Opens audio files. Null: no file can be opened.
  std::shared_ptr<FilePlayerFactory> filePlayers;

  /// Opens network streams. Null: no stream can be opened.
  std::shared_ptr<StreamPlayerFactory> streamPlayers;

  /// The user's music library. Null: a library without songs.
  std::shared_ptr<MusicLibrary> musicLibrary;

  /// The output volume. Null: a volume that starts at 1 and is only remembered.
  std::shared_ptr<AudioSession> audioSession;

  /// Where the playing track is shown. Null: the platform lacks the service.
  std::shared_ptr<NowPlayingCenter> nowPlayingCenter;

  /// Scheduled notices to the user. Null: adding one fails with an error.
  std::shared_ptr<LocalNotifications> localNotifications;

  /// The user's settings. Null: the file of `applicationName`.
  std::shared_ptr<SettingsStore> settings;

  /// The application's resources. Null: those beside the executable.
  std::shared_ptr<Bundle> bundle;

  /// The installed host, every member filled but `nowPlayingCenter`, `filePlayers`, `streamPlayers` and
  /// `localNotifications`, which may be null. The first call installs a host of defaults when the program has
  /// installed none; that opens no file and starts no thread. Good as long as the host stays installed.
  static const Host& current();

  /// Installs `host`, with the defaults above in place of what is null, and returns the one before (never
  /// null), to be installed again or dropped.
  static std::shared_ptr<const Host> install(Host host);
};

}  // namespace vantrel
