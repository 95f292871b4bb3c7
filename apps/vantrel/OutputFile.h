#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace app {

/// A file that is written piece by piece; "-" is standard output. Under its name it appears with the last
/// piece: until then, and when anything fails, what was there stays, so that a command may read the very file
/// that it replaces. Devices and pipes are written to directly. What fails is told in a message.
class OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// False when this or anything before has failed: the caller stops.
  bool write(std::string_view piece);

  /// Puts the file in its place. Gives the exit status.
  int finish();

 private:
  bool tell();
  void open();
  bool createBeside(mode_t mode);
  bool place();

  std::string path_;
  std::string target_;     // where links lead to
  std::string temporary_;  // empty when the file is written directly
  int descriptor_ = -1;
  bool failed_ = false;
};

}  // namespace app
