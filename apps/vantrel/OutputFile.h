#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "vantrel/base/io/AtomicFile.h"

namespace app {

/// A file that is written piece by piece; "-" is standard output, as is every other name of it. Under its
/// name it appears with the last piece: until then, and when anything fails or a signal ends the program,
/// what was there stays, so that a command may read the very file that it replaces. Devices and pipes are
/// written to directly. What fails is told in a message.
class OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// False when this or anything before has failed: the caller stops.
  bool write(std::string_view piece);

  /// Puts the file in its place. Gives the exit status.
  int finish();

 private:
  bool keep(const vantrel::Result<void>& done);
  void open();
  bool tell(const vantrel::Error& error);

  std::string path_;
  std::optional<vantrel::AtomicFile> file_;
  vantrel::Descriptor special_;  ///< what is no file
  bool failed_ = false;
};

}  // namespace app
