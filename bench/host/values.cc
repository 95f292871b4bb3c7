// A settings value read, and members of a dictionary looked up, beside Qt's. The size is the number of
// settings and of members; every key is asked for once in a round, in an order of chance.
#include <benchmark/benchmark.h>

#include <QJsonObject>
#include <QSettings>
#include <QString>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "vantrel/base/ValueTree.h"
#include "vantrel/host/SettingsStore.h"

namespace {

using vantrel::SettingsStore;
using vantrel::ValueTree;

std::vector<std::string> keysInAnyOrder(const benchmark::State& state) {
  std::vector<std::string> keys;
  for (std::int64_t i = 0; i < state.range(0); ++i) keys.push_back("setting number " + std::to_string(i));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
  return keys;
}

// As a program has them: made once.
std::vector<QString> forQt(const std::vector<std::string>& keys) {
  std::vector<QString> texts;
  for (const std::string& key : keys) texts.push_back(QString::fromStdString(key));
  return texts;
}

struct Folder {
  Folder() {
    char name[] = "/tmp/vantrel-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  std::filesystem::path path;
};

template <typename Keys, typename Read>
void readAll(benchmark::State& state, const Keys& keys, Read read) {
  std::int64_t sum = 0;
  for (auto _ : state)
    for (const auto& key : keys) sum += read(key);
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void settings(benchmark::State& state) {
  const Folder folder;
  SettingsStore store(folder.path / "settings.plist");
  const auto keys = keysInAnyOrder(state);
  for (const std::string& key : keys) store.setObject_forKey(7, key);
  if (!store.synchronize()) std::abort();
  readAll(state, keys, [&](const std::string& key) { return *store.objectForKey(key)->asInteger(); });
}

void qtSettings(benchmark::State& state) {
  const Folder folder;
  QSettings store(QString::fromStdString(folder.path / "settings.ini"), QSettings::IniFormat);
  const auto keys = forQt(keysInAnyOrder(state));
  for (const QString& key : keys) store.setValue(key, 7);
  store.sync();
  readAll(state, keys, [&](const QString& key) { return store.value(key).toLongLong(); });
}

void lookUp(benchmark::State& state) {
  const auto keys = keysInAnyOrder(state);
  ValueTree members = ValueTree::dictionary();
  for (const std::string& key : keys) members.set(key, 7);
  readAll(state, keys, [&](const std::string& key) { return *members[key].asInteger(); });
}

void qtLookUp(benchmark::State& state) {
  const auto keys = forQt(keysInAnyOrder(state));
  QJsonObject members;
  for (const QString& key : keys) members.insert(key, 7);
  readAll(state, keys, [&](const QString& key) { return members.value(key).toInteger(); });
}

BENCHMARK(settings)->Name("BM_SettingsRead/vantrel")->Arg(10)->Arg(100);
BENCHMARK(qtSettings)->Name("BM_SettingsRead/qt")->Arg(10)->Arg(100);
BENCHMARK(lookUp)->Name("BM_DictionaryLookUp/vantrel")->Arg(10)->Arg(100);
BENCHMARK(qtLookUp)->Name("BM_DictionaryLookUp/qt")->Arg(10)->Arg(100);

}  // namespace
