// An event to 1, 10 and 100 observers, found by name.

#include <benchmark/benchmark.h>

#include <boost/signals2.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "vantrel/loop/NotificationBus.h"

namespace {

using vantrel::Notification;
using vantrel::NotificationBus;

constexpr std::string_view kName = "KW_AU_PROGRESS";

std::vector<std::string> otherNames() {
  std::vector<std::string> names;
  for (int i = 0; i < 20; ++i) names.push_back("EVENT_NUMBER_" + std::to_string(i));
  return names;
}

void BM_Event_vantrel(benchmark::State& state) {
  NotificationBus bus;
  std::uint64_t calls = 0;
  std::vector<NotificationBus::Subscription> subscriptions;
  for (const std::string& name : otherNames()) {
    subscriptions.push_back(bus.add(name, [&](const Notification&) { ++calls; }));
  }
  for (int i = 0; i < state.range(0); ++i) {
    subscriptions.push_back(bus.add(kName, [&](const Notification&) { ++calls; }));
  }
  for (auto _ : state) bus.post(kName);
  benchmark::DoNotOptimize(calls);
}

void BM_Event_vantrelWithOwners(benchmark::State& state) {
  NotificationBus bus;
  std::uint64_t calls = 0;
  std::vector<std::shared_ptr<int>> owners;
  for (int i = 0; i < state.range(0); ++i) {
    owners.push_back(std::make_shared<int>());
    bus.add(
        kName, [&](const Notification&) { ++calls; }, owners.back());
  }
  for (auto _ : state) bus.post(kName);
  benchmark::DoNotOptimize(calls);
}

using Signal = boost::signals2::signal<void(const Notification&)>;

void BM_Event_signals2(benchmark::State& state) {
  std::unordered_map<std::string, Signal> signals;
  std::uint64_t calls = 0;
  for (const std::string& name : otherNames()) signals[name].connect([&](const Notification&) { ++calls; });
  for (int i = 0; i < state.range(0); ++i) {
    signals[std::string(kName)].connect([&](const Notification&) { ++calls; });
  }
  const std::string name(kName);
  for (auto _ : state) signals.find(name)->second(Notification{kName});
  benchmark::DoNotOptimize(calls);
}

/// The counterpart of owners: slots that track a shared pointer.
void BM_Event_signals2WithOwners(benchmark::State& state) {
  std::unordered_map<std::string, Signal> signals;
  std::uint64_t calls = 0;
  std::vector<boost::shared_ptr<int>> owners;
  const std::string name(kName);
  for (int i = 0; i < state.range(0); ++i) {
    owners.emplace_back(new int);
    signals[name].connect(Signal::slot_type([&](const Notification&) { ++calls; }).track(owners.back()));
  }
  for (auto _ : state) signals.find(name)->second(Notification{kName});
  benchmark::DoNotOptimize(calls);
}

BENCHMARK(BM_Event_vantrel)->Name("BM_Event/vantrel")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(BM_Event_signals2)->Name("BM_Event/signals2")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(BM_Event_vantrelWithOwners)->Name("BM_EventWithOwners/vantrel")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(BM_Event_signals2WithOwners)->Name("BM_EventWithOwners/signals2")->Arg(1)->Arg(10)->Arg(100);

}  // namespace
