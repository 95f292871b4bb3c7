#include "apps/vantrel/EventLines.h"

#include <cstdio>

#include "apps/vantrel/Output.h"
#include "vantrel/data/Json.h"
#include "vantrel/player/PlayerEvents.h"

namespace app {
namespace {

using vantrel::ValueTree;
namespace player = vantrel::player;

ValueTree valueOf(const ValueTree* value) {
  const ValueTree held = value == nullptr ? ValueTree() : asJson(*value);
  return vantrel::json::writeCompact(held) ? held : ValueTree();
}

std::string progressText(const ValueTree& progress) {
  const auto text = [&](std::string_view key) { return std::string(progress[key].asString().value_or("")); };
  char percent[32];
  std::snprintf(percent, sizeof percent, "%.1f%%",
                progress[player::kProgressFraction].asDouble().value_or(0) * 100);
  return text(player::kProgressNow) + "/" + text(player::kProgressEnd) + " " + percent;
}

}  // namespace

std::string jsonLineOf(const vantrel::Notification& event, const std::optional<ValueTree>& track) {
  auto line = ValueTree::dictionary({{"name", event.name}, {"object", valueOf(event.object)}});
  if (event.userInfo != nullptr) line.set("userInfo", valueOf(event.userInfo));
  if (track) line.set("track", *track);
  return vantrel::json::writeCompact(line).value_or("{\"name\":null,\"object\":null}");
}

std::string textLineOf(const vantrel::Notification& event) {
  std::string line(event.name);
  if (event.object == nullptr) return line;
  if (const auto text = event.object->asString()) return escaped(line.append(" ").append(*text));
  if (event.name == player::kProgress) return line + " " + progressText(*event.object);
  return line + " " + vantrel::json::writeCompact(valueOf(event.object)).value_or("");
}

}  // namespace app
