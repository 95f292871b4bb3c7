// What the mirrored ring does when the system refuses one of its steps, once or more often.
#include "vantrel/buffers/detail/TPCircularBufferSystem.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <set>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Pair;

enum class Step { kObject, kReservation, kFirstHalf, kMirror, kMirrorElsewhere };

/// The real calls, of which one refuses as often as wanted, and what they have left in place.
struct UnwillingSystem {
  Step step{};
  int refusals = 0;
  int attempts = 0;
  std::set<int> objects;
  std::map<std::uint8_t*, std::size_t> mapped;  // start and length, whole reservations and strays

  bool refuses(Step asked) {
    if (asked != step || refusals == 0) return false;
    --refusals;
    errno = ENOMEM;
    return true;
  }
};

UnwillingSystem unwilling;

int makeObject(std::size_t length) {
  ++unwilling.attempts;
  if (unwilling.refuses(Step::kObject)) return -1;
  const int object = TPCircularBufferLinux.makeObject(length);
  unwilling.objects.insert(object);
  return object;
}

void* reserve(std::size_t length) {
  if (unwilling.refuses(Step::kReservation)) return MAP_FAILED;
  void* start = TPCircularBufferLinux.reserve(length);
  unwilling.mapped[static_cast<std::uint8_t*>(start)] = length;
  return start;
}

void* mapObject(void* at, std::size_t length, int object) {
  const bool mirror = !unwilling.mapped.contains(static_cast<std::uint8_t*>(at));
  if (unwilling.refuses(mirror ? Step::kMirror : Step::kFirstHalf)) return MAP_FAILED;
  if (mirror && unwilling.refuses(Step::kMirrorElsewhere))
    at = reserve(length);  // as a system does that takes addresses for a wish
  return TPCircularBufferLinux.mapObject(at, length, object);
}

int unmap(void* start, std::size_t length) {
  const auto was = unwilling.mapped.extract(static_cast<std::uint8_t*>(start));
  EXPECT_EQ(was ? was.mapped() : 0, length) << "unmaps what was not mapped";
  errno = EINVAL;  // undoing must not hide the code of the step that failed
  return TPCircularBufferLinux.unmap(start, length);
}

int closeObject(int object) {
  EXPECT_EQ(unwilling.objects.erase(object), 1U);
  errno = EINVAL;
  return TPCircularBufferLinux.closeObject(object);
}

constexpr TPCircularBufferSystem kUnwilling{makeObject, reserve, mapObject, unmap, closeObject};

const struct {
  Step step;
  const char* message;
} kSteps[] = {
    {Step::kObject, "TPCircularBuffer\\.c:[0-9]+: Buffer allocation: Cannot allocate memory\n"},
    {Step::kReservation, "TPCircularBuffer\\.c:[0-9]+: Buffer allocation: Cannot allocate memory\n"},
    {Step::kFirstHalf, "TPCircularBuffer\\.c:[0-9]+: Buffer deallocation: Cannot allocate memory\n"},
    {Step::kMirror, "TPCircularBuffer\\.c:[0-9]+: Remap buffer memory: Cannot allocate memory\n"},
    {Step::kMirrorElsewhere, "Couldn't map buffer memory to end of buffer\n"},
};

TEST(TPCircularBufferSystemTest, ThreeRefusalsAreTriedAgainAndTheFourthIsFinal) {
  const auto page = static_cast<std::int32_t>(sysconf(_SC_PAGESIZE));
  const std::int32_t length = (10000 + page - 1) / page * page;
  for (const auto& [step, message] : kSteps) {
    for (int refusals = 0; refusals <= 4; ++refusals) {
      SCOPED_TRACE(testing::Message() << message << refusals << " times");
      unwilling = {step, refusals, 0, {}, {}};
      std::uint8_t byte = 0;
      TPCircularBuffer ring{&byte, 1, 2, 3, 4, false};
      testing::internal::CaptureStdout();
      const bool made = TPCircularBufferInitOn(&kUnwilling, &ring, 10000);
      EXPECT_THAT(testing::internal::GetCapturedStdout(), MatchesRegex(made ? "" : message));
      ASSERT_EQ(made, refusals < 4);
      EXPECT_EQ(unwilling.attempts, made ? refusals + 1 : 4);
      EXPECT_THAT(unwilling.objects, IsEmpty());
      EXPECT_EQ(ring.length, length);
      if (made) {
        EXPECT_THAT(unwilling.mapped, ElementsAre(Pair(ring.buffer, 2 * static_cast<std::size_t>(length))));
        ring.buffer[length + 5] = 0x5a;
        EXPECT_EQ(ring.buffer[5], 0x5a);
        TPCircularBufferCleanup(&ring);
      } else {
        EXPECT_THAT(unwilling.mapped, IsEmpty());
        EXPECT_EQ(ring.buffer, &byte);
        EXPECT_THAT((std::vector{ring.tail, ring.head, ring.fillCount}), ElementsAre(2, 3, 4));
        EXPECT_FALSE(ring.atomic);
      }
    }
  }
}

}  // namespace
