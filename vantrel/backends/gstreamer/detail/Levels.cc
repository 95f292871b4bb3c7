#include "vantrel/backends/gstreamer/detail/Levels.h"

#include <utility>

namespace vantrel::backends::gstreamer::detail {
namespace {

using namespace std::chrono_literals;

// A sound device buffers a fraction of a second; this is several times that.
constexpr std::size_t kMostStretches = 64;
constexpr Levels::Time kStaleAfter = 300ms;

}  // namespace

void Levels::add(Time start, Time length, std::vector<float> decibels) {
  const MutexLock lock(mutex_);
  stretches_.push_back({start, start + length, std::move(decibels)});
  if (stretches_.size() > kMostStretches) stretches_.pop_front();
}

std::vector<float> Levels::at(Time position) const {
  const MutexLock lock(mutex_);
  const Stretch* best = nullptr;
  for (const Stretch& stretch : stretches_)
    if (stretch.start <= position && (!best || stretch.start >= best->start)) best = &stretch;
  if (!best || position - best->end > kStaleAfter) return {};
  return best->decibels;
}

void Levels::clear() {
  const MutexLock lock(mutex_);
  stretches_.clear();
}

}  // namespace vantrel::backends::gstreamer::detail
