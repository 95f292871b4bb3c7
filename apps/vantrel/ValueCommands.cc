#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "apps/vantrel/OutputFile.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/data/Json.h"
#include "vantrel/data/KeyedArchive.h"
#include "vantrel/host/Host.h"

namespace app {
namespace {

using vantrel::KWTools;
using vantrel::ValueTree;

constexpr std::string_view kArchiveKey = "Some Key Value";  // the one of `KWTools`

/// Tells why an input holds nothing to work on.
int refused(const std::string& path, const vantrel::Error& error) {
  return failed(nameOfInput(path) + ": " + error.description());
}

int prettyPrint(const std::string& path) {
  const auto contents = readAll(path);
  if (!contents) return kFailed;
  const auto value = vantrel::json::parse(contents->text());
  if (!value) return refused(path, value.error());
  return writeJson(*value) ? kDone : kFailed;
}

int pack(const std::string& jsonPath, const std::string& archivePath) {
  const auto contents = readAll(jsonPath);
  if (!contents) return kFailed;
  const auto value = vantrel::json::parse(contents->text());
  if (!value) return refused(jsonPath, value.error());
  const auto archive = vantrel::keyedarchive::archive(*value, kArchiveKey);
  if (!archive) return refused(jsonPath, archive.error());
  OutputFile file(archivePath);
  return file.write(archive->text()) ? file.finish() : kFailed;
}

int unpack(const std::string& path) {
  const auto contents = readAll(path);
  if (!contents) return kFailed;
  // What the operation of the library calls absent may also be a null that is there.
  const auto value = vantrel::keyedarchive::unarchive(*contents, kArchiveKey);
  if (!value) return refused(path, value.error());
  return writeJson(*value) ? kDone : kFailed;
}

/// The settings of the application that `--app` names.
bool chooseApplication(const std::optional<std::string>& name) {
  if (!name) return true;
  if (name->empty() || *name == "." || *name == ".." || name->find('/') != std::string::npos) return false;
  vantrel::Host host;
  host.applicationName = *name;
  vantrel::Host::install(std::move(host));
  return true;
}

int keepSettings() {
  const auto written = vantrel::Host::current().settings->synchronize();
  return written ? kDone : failed("cannot write the settings: " + written.error().description());
}

int getSetting(const std::string& key, bool asJson) {
  const auto value = KWTools::getUserByKey(key);
  if (!value) return failed("no setting " + key);
  const auto text = value->asString();
  return (text && !asJson ? writeLine(*text) : writeJson(*value)) ? kDone : kFailed;
}

int setSetting(const std::string& key, const std::string& argument) {
  const auto text = textOf(argument);
  if (!text) return kFailed;
  const ValueTree value = vantrel::json::parse(*text).value_or(ValueTree(*text));
  const auto stored = vantrel::Host::current().settings->store(value, key);
  if (!stored) return failed("cannot set " + key + ": " + stored.error().description());
  return keepSettings();
}

int removeSetting(const std::string& key) {
  KWTools::removeUserByKey(key);
  return keepSettings();
}

void registerArchive(Command& program) {
  Command archive = program.add("archive", "Values in keyed archives",
                                "vantrel archive pack song.json -o song.archive\n"
                                "vantrel archive unpack song.archive");
  Command packing =
      archive.add("pack", "JSON to a keyed archive", "vantrel archive pack song.json -o song.archive");
  const auto source = packing.argument("JSONFILE", "the JSON; - or none: standard input", "-");
  const auto target = packing.requiredOption("-o,--output", "OUT", "the archive; -: standard output");
  packing.run([=] { return pack(*source, *target); });

  Command unpacking =
      archive.add("unpack", "A keyed archive to JSON: dates as ISO 8601 text, bytes as hexadecimal text",
                  "vantrel archive unpack song.archive");
  const auto file = unpacking.argument("FILE", "the archive; - or none: standard input", "-");
  unpacking.run([=] { return unpack(*file); });
}

void registerSettings(Command& program) {
  Command settings = program.add("settings", "The settings of an application",
                                 "vantrel settings get KW_AUDIO_PLAYINDEX\n"
                                 "vantrel settings set window '{\"width\": 800}' --app myplayer\n"
                                 "vantrel settings remove window --app myplayer");
  const std::string keyHelp = "the setting's name";
  const std::string nameHelp = "whose settings (vantrel)";
  const auto chosen = [](const auto& name, auto action) {
    return chooseApplication(*name) ? action() : wrongUsage("--app must be a file name");
  };

  Command get = settings.add("get", "Prints a value: text as it is, other values as JSON",
                             "vantrel settings get KW_AUDIO_PLAYMODE");
  const auto getKey = get.argument("KEY", keyHelp);
  const auto getJson = get.flag("--json", "print text as JSON too");
  const auto getName = get.option("--app", "NAME", nameHelp);
  get.run([=] { return chosen(getName, [&] { return getSetting(*getKey, *getJson); }); });

  Command set =
      settings.add("set", "Stores a value", "vantrel settings set volume 0.5\nvantrel settings set name Ada");
  const auto setKey = set.argument("KEY", keyHelp);
  const auto value =
      set.argument("VALUE", "JSON, or any other text as it is; null removes the setting; -: standard input");
  const auto setName = set.option("--app", "NAME", nameHelp);
  set.run([=] { return chosen(setName, [&] { return setSetting(*setKey, *value); }); });

  Command remove = settings.add("remove", "Removes a value; it is no error when there is none",
                                "vantrel settings remove volume");
  const auto removeKey = remove.argument("KEY", keyHelp);
  const auto removeName = remove.option("--app", "NAME", nameHelp);
  remove.run([=] { return chosen(removeName, [&] { return removeSetting(*removeKey); }); });
}

}  // namespace

void registerValueCommands(Command& program) {
  Command json =
      program.add("json", "JSON, pretty-printed",
                  "vantrel json settings.json\n"
                  "echo '[1,2]' | vantrel json\n"
                  "\n"
                  "Fractions and integers past 64 bits become the nearest double, and of a key that\n"
                  "is repeated the last value stays");
  const auto file = json.argument("FILE", "the JSON; - or none: standard input", "-");
  json.run([=] { return prettyPrint(*file); });
  registerArchive(program);
  registerSettings(program);
}

}  // namespace app
