#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <span>
#include <string>

#include "vantrel/buffers/queue.h"

namespace vantrel::tests {
namespace program {

// An item is its key, by which it is sorted, and a serial number, which tells it from its equals.
inline constexpr std::uintptr_t kSerials = std::uintptr_t{1} << 24;

inline std::uintptr_t numberOf(void* item) { return reinterpret_cast<std::uintptr_t>(item); }
inline std::uintptr_t keyOf(std::uintptr_t number) { return number / kSerials; }

inline int compareKeys(void* a, void* b) {
  return static_cast<int>(keyOf(numberOf(a))) - static_cast<int>(keyOf(numberOf(b)));
}

/// What a filter of the program selects: keys with a remainder by eight.
inline int selectRemainder(void** slot, void* argument) {
  return keyOf(numberOf(*slot)) % 8 == *static_cast<std::uint8_t*>(argument) % 8 ? 0 : -7;
}

inline std::int8_t getUnfiltered(queue_state* queue, void** out) {
  return queue_get_filtered(queue, out, nullptr, nullptr);
}

inline std::uintptr_t releasedSum = 0;
inline void addToReleased(void* item) { releasedSum += numberOf(item); }

class Machine {
 public:
  explicit Machine(std::uint8_t kind)
      : maximum_(kind & 7), sorted_((kind & 8) != 0), ascending_((kind & 16) != 0), queue_(create()) {
    releasedSum = 0;
  }
  ~Machine() {
    if (queue_) queue_destroy(queue_);
  }
  Machine(const Machine&) = delete;

  void step(std::uint8_t operation, std::uint8_t operand) {
    operation %= 16;
    // The flushes are the seldomer of these, so that queues grow.
    if (operation >= 9 && operation <= 12 && operand % 4 != 0) return;
    run(operation, operand);
    expect(queue_elements(queue_), static_cast<int>(held_.size()), "elements");
    check(releasedSum == expectedSum_, "released items");
  }

  void finish(bool complete) {
    Held entries;
    for (const queue_entry* entry = queue_->first; entry; entry = entry->next) {
      entries.push_back(numberOf(entry->item));
    }
    check(entries == held_, "entries");
    if (complete) addHeldToExpected();
    expect(complete ? queue_destroy_complete(queue_, addToReleased) : queue_destroy(queue_), 0, "destroy");
    queue_ = nullptr;
    check(releasedSum == expectedSum_, "items released by the destroy");
  }

  [[nodiscard]] const std::string& difference() const { return difference_; }

 private:
  using Held = std::deque<std::uintptr_t>;

  queue_state* create() const {
    if (sorted_) return queue_create_limited_sorted(maximum_, ascending_ ? 1 : 0, compareKeys);
    return queue_create_limited(maximum_);
  }

  void run(std::uint8_t operation, std::uint8_t operand) {
    switch (operation) {
      case 0:
      case 1:
      case 2:
        return put(operand, queue_put);
      case 3:
        return open_ != 0 && full() ? void() : put(operand, queue_put_wait);  // would block
      case 4:
        return take(queue_get, held_.begin());
      case 5:
        return take(queue_get_pre, held_.begin(), QUEUE_ERR_COUNT, false);
      case 6:
        return open_ != 0 && held_.empty() ? void() : take(queue_get_wait, held_.begin(), QUEUE_ERR_CLOSED);
      case 7:
        return take(getUnfiltered, held_.begin());
      case 8:
        return takeFiltered(operand);
      case 9:
      case 10:
        expect(operation == 9 ? queue_flush(queue_) : queue_flush_complete(queue_, addToReleased), 0,
               "flush");
        return drop(operation == 10);
      case 11:
        return flushPut(operand, queue_flush_put, false);
      case 12:
        return flushPut(operand, queue_flush_complete_put, true);
      case 13:
        open_ = operand % 4 == 0 ? 0 : operand;
        return expect(queue_set_new_data(queue_, open_), QUEUE_OK, "set_new_data");
      case 14:
        return expect(queue_get_new_data(queue_), open_, "get_new_data");
      case 15:
        return expect(queue_empty(queue_), held_.empty() ? 1 : 0, "empty");
    }
  }

  void check(bool holds, const char* what) {
    if (!holds && difference_.empty()) difference_ = what;
  }
  void expect(int got, int expected, const char* what) {
    if (got == expected || !difference_.empty()) return;
    difference_ = std::string(what) + ": " + std::to_string(got) + " for " + std::to_string(expected);
  }

  [[nodiscard]] bool full() const { return maximum_ != 0 && held_.size() == maximum_; }

  void* make(std::uint8_t key) {
    serial_ = (serial_ + 1) % kSerials;
    return reinterpret_cast<void*>(key * kSerials + serial_);
  }

  void put(std::uint8_t key, std::int8_t (*operation)(queue_state*, void*)) {
    void* const item = make(key);
    const int expected = open_ == 0 ? QUEUE_ERR_CLOSED : full() ? QUEUE_ERR_COUNT : QUEUE_OK;
    expect(operation(queue_, item), expected, "put");
    if (expected != QUEUE_OK) return;
    const auto before = [&](std::uintptr_t held) {
      return ascending_ ? keyOf(held) < key : keyOf(held) > key;
    };
    held_.insert(sorted_ ? std::partition_point(held_.begin(), held_.end(), before) : held_.end(),
                 numberOf(item));
  }

  template <typename Get>
  void take(Get get, Held::iterator found, int otherwise = QUEUE_ERR_COUNT, bool removes = true) {
    const bool has = found != held_.end();
    void* out = this;
    expect(get(queue_, &out), has ? QUEUE_OK : otherwise, "get");
    check(numberOf(out) == (has ? *found : 0), "item of a get");
    if (has && removes) held_.erase(found);
  }

  void takeFiltered(std::uint8_t remainder) {
    const auto selected = [&](std::uintptr_t held) { return keyOf(held) % 8 == remainder % 8; };
    const auto get = [&](queue_state* queue, void** out) {
      return queue_get_filtered(queue, out, selectRemainder, &remainder);
    };
    take(get, std::find_if(held_.begin(), held_.end(), selected),
         held_.empty() ? QUEUE_ERR_COUNT : QUEUE_ERR_NO_MATCH);
  }

  void addHeldToExpected() {
    for (const std::uintptr_t number : held_) expectedSum_ += number;
  }

  void drop(bool complete) {
    if (complete) addHeldToExpected();
    held_.clear();
  }

  void flushPut(std::uint8_t key, std::int8_t (*operation)(queue_state*, queue_free, void*), bool complete) {
    void* const item = make(key);
    drop(complete);
    expect(operation(queue_, addToReleased, item), open_ == 0 ? QUEUE_ERR_CLOSED : QUEUE_OK, "flush_put");
    if (open_ != 0) held_.push_back(numberOf(item));
  }

  const std::uint16_t maximum_;
  const bool sorted_;
  const bool ascending_;
  queue_state* queue_;
  Held held_;
  std::uint8_t open_ = 1;
  std::uintptr_t serial_ = 0;
  std::uintptr_t expectedSum_ = 0;
  std::string difference_;
};

}  // namespace program

/// Runs bytes as a program of operations on a queue and on a plain deque side by side. The first byte
/// chooses the kind of queue; then an operation and an operand take turns. Returns what differed first, empty
/// when nothing did.
inline std::string runQueueProgram(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return {};
  program::Machine machine(bytes[0]);
  for (std::size_t at = 1; at + 1 < bytes.size(); at += 2) {
    machine.step(bytes[at], bytes[at + 1]);
    if (!machine.difference().empty()) return machine.difference() + " at byte " + std::to_string(at);
  }
  machine.finish((bytes[0] & 32) != 0);
  return machine.difference();
}

}  // namespace vantrel::tests
