// Settings that outlive the program: counts its runs and remembers the arguments of the last one.
#include <iostream>

#include "vantrel/host/SettingsStore.h"

using namespace vantrel;

int main(int count, char** arguments) {
  SettingsStore settings(SettingsStore::fileOfApplication("keep_settings"));
  const ValueTree last = settings.objectForKey("arguments").value_or(ValueTree::list());
  const std::int64_t runs = settings.objectForKey("runs").value_or(0).asInteger().value_or(0) + 1;
  std::cout << "run " << runs << ", with " << last.size() << " arguments before this\n";

  ValueTree list = ValueTree::list();
  for (int i = 1; i < count; ++i) list.append(arguments[i]);
  settings.setObject_forKey(runs, "runs");
  settings.setObject_forKey(list, "arguments");
  // Without this it is written a moment later, at the latest at the end.
  const Result<void> kept = settings.synchronize();
  if (!kept) std::cerr << "not kept: " << kept.error().description() << '\n';
  return kept ? 0 : 1;
}
