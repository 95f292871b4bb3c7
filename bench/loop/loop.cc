// A timer started and cancelled among others that wait, and a task posted from another thread and run.

#define ASIO_STANDALONE
#include <benchmark/benchmark.h>

#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "vantrel/loop/RunLoop.h"

namespace {

using vantrel::RunLoop;
using namespace std::chrono_literals;

/// Moments spread over an hour, the same for both.
std::chrono::nanoseconds spread(int i) { return 1h + i * 7919 % 3600 * 1s; }

void BM_Timer_vantrel(benchmark::State& state) {
  RunLoop loop;
  for (int i = 0; i < state.range(0); ++i) loop.at(loop.clock().now() + spread(i), [] {});
  std::uint64_t calls = 0;
  int i = 0;
  for (auto _ : state) {
    const auto id = loop.at(loop.clock().now() + spread(++i), [&calls] { ++calls; });
    loop.cancel(id);
    loop.turn();
  }
  benchmark::DoNotOptimize(calls);
}

void BM_Timer_asio(benchmark::State& state) {
  asio::io_context context;
  std::vector<std::unique_ptr<asio::steady_timer>> waiting;
  for (int i = 0; i < state.range(0); ++i) {
    waiting.push_back(std::make_unique<asio::steady_timer>(context, spread(i)));
    waiting.back()->async_wait([](const asio::error_code&) {});
  }
  std::uint64_t calls = 0;
  int i = 0;
  asio::steady_timer timer(context);
  for (auto _ : state) {
    timer.expires_after(spread(++i));
    timer.async_wait([&calls](const asio::error_code& error) { calls += error ? 0 : 1; });
    timer.cancel();
    // The handler of a cancelled timer is called all the same.
    context.poll();
  }
  benchmark::DoNotOptimize(calls);
}

/// A timer that waits, on both sides: a context of Asio that has none sleeps on a condition variable, where
/// it could serve neither timers nor descriptors.
void keepTimer(RunLoop& loop) {
  loop.at(loop.clock().now() + 1h, [] {});
}

std::unique_ptr<asio::steady_timer> keepTimer(asio::io_context& context) {
  auto timer = std::make_unique<asio::steady_timer>(context, 1h);
  timer->async_wait([](const asio::error_code&) {});
  return timer;
}

constexpr int kTasks = 100'000;

/// A batch of tasks from another thread, timed from the first post to the last run.
void BM_Post_vantrel(benchmark::State& state) {
  RunLoop loop;
  keepTimer(loop);
  for (auto _ : state) {
    std::atomic<bool> go = false;
    int left = kTasks;
    std::thread poster([&] {
      go.wait(false);
      for (int i = 0; i < kTasks; ++i) {
        loop.post([&] {
          if (--left == 0) loop.stop();
        });
      }
    });
    const auto start = std::chrono::steady_clock::now();
    go = true;
    go.notify_one();
    loop.run();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    poster.join();
  }
  state.SetItemsProcessed(state.iterations() * kTasks);
}

void BM_Post_asio(benchmark::State& state) {
  asio::io_context context;
  const auto waiting = keepTimer(context);
  for (auto _ : state) {
    std::atomic<bool> go = false;
    int left = kTasks;
    std::thread poster([&] {
      go.wait(false);
      for (int i = 0; i < kTasks; ++i) {
        asio::post(context, [&] {
          if (--left == 0) context.stop();
        });
      }
    });
    const auto start = std::chrono::steady_clock::now();
    go = true;
    go.notify_one();
    context.run();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    poster.join();
    context.restart();
  }
  state.SetItemsProcessed(state.iterations() * kTasks);
}

/// One task there and one answer back: how fast a sleeping loop is woken.
void BM_RoundTrip_vantrel(benchmark::State& state) {
  RunLoop* other = nullptr;
  std::atomic<bool> ready = false;
  std::thread thread([&] {
    RunLoop own;
    keepTimer(own);
    other = &own;
    ready = true;
    ready.notify_one();
    own.run();
  });
  ready.wait(false);
  RunLoop loop;
  keepTimer(loop);
  for (auto _ : state) {
    other->post([&] { loop.post([&] { loop.stop(); }); });
    loop.run();
  }
  other->stop();
  thread.join();
}

void BM_RoundTrip_asio(benchmark::State& state) {
  asio::io_context other;
  const auto waitingThere = keepTimer(other);
  std::thread thread([&] { other.run(); });
  asio::io_context context;
  const auto waitingHere = keepTimer(context);
  for (auto _ : state) {
    asio::post(other, [&] { asio::post(context, [&] { context.stop(); }); });
    context.run();
    context.restart();
  }
  other.stop();
  thread.join();
}

BENCHMARK(BM_Timer_vantrel)->Name("BM_Timer/vantrel")->Arg(0)->Arg(1000);
BENCHMARK(BM_Timer_asio)->Name("BM_Timer/asio")->Arg(0)->Arg(1000);
BENCHMARK(BM_Post_vantrel)
    ->Name("BM_Post/vantrel")
    ->MeasureProcessCPUTime()
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Post_asio)
    ->Name("BM_Post/asio")
    ->MeasureProcessCPUTime()
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RoundTrip_vantrel)->Name("BM_RoundTrip/vantrel")->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(BM_RoundTrip_asio)->Name("BM_RoundTrip/asio")->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
