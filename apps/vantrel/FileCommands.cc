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
    for (const auto& path : *paths) list.append(nameAsJson(path));
    return writeJson(list) ? kDone : kFailed;
  }
  const bool shown = outputIsTerminal();
  const bool written = std::all_of(paths->begin(), paths->end(),
                                   [=](const auto& path) { return writeLine(shown ? escaped(path) : path); });
  return written ? kDone : kFailed;
}

int sizeText(const std::string& argument) {
  const auto text = textOf(argument);
  if (!text) return kFailed;
  const auto bytes = parseSigned(*text);
  if (!bytes) return wrongUsage("BYTES must be a whole number of 64 bits: " + *text);
  return writeLine(KWFile::fileByte(*bytes)) ? kDone : kFailed;
}

/// Absent, with a message, when there is nothing to measure.
std::optional<std::int64_t> measured(const std::string& path) {
  std::error_code error;
  if (path != "-" && std::filesystem::exists(path, error)) return KWFile::sizeOfFile(path);
  std::int64_t bytes = 0;
  const auto count = [&](const vantrel::Bytes& piece) {
    bytes += static_cast<std::int64_t>(piece.size());
    return true;
  };
  if (path == "-" && readPieces(path, count)) return bytes;
  if (path != "-") message("nothing is at " + path);
  return std::nullopt;
}

int sizeOf(const std::string& path, bool json) {
  const auto bytes = measured(path);
  if (!bytes) return kFailed;
  if (!json) return writeLine(std::to_string(*bytes)) ? kDone : kFailed;
  const auto both = ValueTree::dictionary({{"bytes", *bytes}, {"text", KWFile::fileByte(*bytes)}});
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
  const auto listJson = listing.flag(
      "--json", "print a JSON list; a name that is not UTF-8 is an object with its bytes under hex");
  listing.run([=] { return tree(*folder, *listJson); });

  Command size =
      files.add("size", "A count of bytes as text for people", "vantrel files size 1572864   # 1.50Mb");
  const auto bytes = size.argument("BYTES", "the count; -: standard input");
  size.run([=] { return sizeText(*bytes); });

  Command measure = files.add("sizeof", "The size of a file in bytes", "vantrel files sizeof song.mp3");
  const auto path = measure.argument("FILE", "the file; -: standard input, which is read to its end");
  const auto sizeJson = measure.flag("--json", "print JSON, with the text for people");
  measure.run([=] { return sizeOf(*path, *sizeJson); });
}

}  // namespace app
