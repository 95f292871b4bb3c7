#include "vantrel/codec/KWTools.h"
#include "vantrel/host/Host.h"

namespace vantrel {

void KWTools::setUser_forKey(const std::optional<ValueTree>& value, TextArgument key) {
  Host::current().settings->setObject_forKey(value.value_or(ValueTree()), key);
}

std::optional<ValueTree> KWTools::getUserByKey(TextArgument key) {
  return Host::current().settings->objectForKey(key);
}

void KWTools::removeUserByKey(TextArgument key) { Host::current().settings->removeObjectForKey(key); }

}  // namespace vantrel
