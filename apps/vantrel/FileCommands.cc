#include <algorithm>
#include <filesystem>

#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "apps/vantrel/Terminal.h"
#include "vantrel/system/KWFile.h"

namespace app {
namespace {

using vantrel::KWFile;
using vantrel::ValueTree;

int tree(const std::string& folder, bool json) {
  auto paths = KWFile::subPaths(folder);
  if (!paths) return failed("cannot read the folder " + folder);
  // By name level by level, so that what a folder holds follows it.
  std::sort(paths->begin(), paths->end(),
            [](const std::filesystem::path& a, const std::filesystem::path& b) { return a < b; });
  if (json) {
    auto list = ValueTree::list();
    for (const auto& path : *paths) list.append(path);
    return writeJson(list) ? kDone : kFailed;
  }
  const bool shown = outputIsTerminal();
  const bool written = std::all_of(paths->begin(), paths->end(),
                                   [=](const auto& path) { return writeLine(shown ? escaped(path) : path); });
  return written ? kDone : kFailed;
}

int sizeText(const std::string& text) {
  const auto bytes = parseSigned(text);
  if (!bytes) return wrongUsage("BYTES must be a whole number of 64 bits: " + text);
  return writeLine(KWFile::fileByte(*bytes)) ? kDone : kFailed;
}

int sizeOf(const std::string& path, bool json) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return failed("nothing is at " + path);
  const std::int64_t bytes = KWFile::sizeOfFile(path);
  if (!json) return writeLine(std::to_string(bytes)) ? kDone : kFailed;
  const auto both = ValueTree::dictionary({{"bytes", bytes}, {"text", KWFile::fileByte(bytes)}});
  return writeJson(both) ? kDone : kFailed;
}

}  // namespace

void registerFileCommands(Command& program) {
  Command files = program.add("files", "Folders and sizes",
                              "vantrel files tree ~/Music\n"
                              "vantrel files sizeof song.mp3\n"
                              "vantrel files size 1572864      # 1.50Mb");

  Command listing =
      files.add("tree", "Every path below a folder, in name order", "vantrel files tree ~/Music");
  const auto folder = listing.argument("DIR", "the folder");
  const auto listJson = listing.flag("--json", "print a JSON list");
  listing.run([=] { return tree(*folder, *listJson); });

  Command size =
      files.add("size", "A count of bytes as text for people", "vantrel files size 1572864   # 1.50Mb");
  const auto bytes = size.argument("BYTES", "the count");
  size.run([=] { return sizeText(*bytes); });

  Command measure = files.add("sizeof", "The size of a file in bytes", "vantrel files sizeof song.mp3");
  const auto path = measure.argument("FILE", "the file");
  const auto sizeJson = measure.flag("--json", "print JSON, with the text for people");
  measure.run([=] { return sizeOf(*path, *sizeJson); });
}

}  // namespace app
