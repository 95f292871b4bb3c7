#include "vantrel/system/KWNotice.h"

#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/LogLines.h"
#include "tests/support/ScopedHost.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/system/KWTime.h"

namespace vantrel::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// A service that keeps what it is given and can be told to refuse.
struct FakeLocalNotifications : LocalNotifications {
  void add(const LocalNotificationRequest& request,
           std::function<void(const std::optional<Error>&)> completion) override {
    if (!refuseWith) pending[request.identifier] = request;
    completion(refuseWith);
  }

  std::map<std::string, LocalNotificationRequest> pending;
  std::optional<Error> refuseWith;
};

Host hostWith(std::shared_ptr<LocalNotifications> notifications) {
  Host host;
  host.localNotifications = std::move(notifications);
  return host;
}

TEST(KWNoticeTest, AnEventReachesTheObserverWithItsObjectUntilItIsRemoved) {
  const auto observer = std::make_shared<int>();
  std::vector<std::optional<ValueTree>> objects;
  KWNotice::add_Action_Own(
      "note",
      [&](const Notification& event) {
        EXPECT_EQ(event.userInfo, nullptr);
        objects.push_back(event.object ? std::optional(*event.object) : std::nullopt);
      },
      observer);
  KWNotice::post_Object("note", "value");
  KWNotice::post_Object("note");
  KWNotice::post_Object("note", nullptr);
  KWNotice::post_Object("other", "value");
  // Every integer literal is an object, zero as well.
  KWNotice::post_Object("note", 0);
  KWNotice::post_Object("note", 1L);
  KWNotice::post_Object("note", false);
  KWNotice::remove_Own("other", observer);
  NotificationBus::shared().post("note", 0);  // the bus is the shared one
  KWNotice::remove_Own("note", observer);
  KWNotice::post_Object("note", "late");
  EXPECT_THAT(objects, ElementsAre(ValueTree("value"), std::nullopt, std::nullopt, ValueTree(0), ValueTree(1),
                                   ValueTree(false), ValueTree(0)));
}

class KWLocalNoticeTest : public testing::Test {
 protected:
  static std::string timeIn(double seconds) {
    return KWTime::addSec_OnDate(seconds, KWTime::dateString()).value_or("");
  }

  static void push(const std::string& time, bool repeat = false) {
    KWNotice::pushLocalNoticeDate_ID_Txt_0_Txt_1_Txt_2_Badge_Repeat(time, "id", "title", "subtitle", "body",
                                                                    3, repeat);
  }

  const std::shared_ptr<FakeLocalNotifications> service = std::make_shared<FakeLocalNotifications>();
  ScopedHost host{hostWith(service)};
  ManualClock clock{Date{1'709'640'000.75}};
  ScopedClock scope{clock};
  LogLines log;
};

TEST_F(KWLocalNoticeTest, AMomentAheadSchedulesANoticeInWholeSecondsThatRepeatsFromAMinuteOn) {
  push(timeIn(10));
  const LocalNotificationRequest& request = service->pending.at("id");
  EXPECT_EQ(request.title + request.subtitle + request.body, "titlesubtitlebody");
  EXPECT_EQ(request.badge, 3);
  EXPECT_EQ(request.interval, 10);
  EXPECT_FALSE(request.repeats);
  EXPECT_THAT(log.take(), ElementsAre("Add local Note time:10.000000 error:(null)"));
  for (const int seconds : {59, 60}) {
    push(timeIn(seconds), true);
    EXPECT_EQ(request.repeats, seconds == 60);
    EXPECT_EQ(request.interval, seconds);
  }
}

TEST_F(KWLocalNoticeTest, WhatIsNotAheadIsRefusedWithALine) {
  for (const std::string& time : {timeIn(-1), timeIn(0), std::string(), std::string("tomorrow")}) {
    push(time);
    EXPECT_THAT(log.take(), ElementsAre("push Local Notice Date error.")) << time;
  }
  EXPECT_THAT(service->pending, IsEmpty());
}

TEST_F(KWLocalNoticeTest, ARefusalShowsInTheCompletionLineAlone) {
  service->refuseWith = Error{"service", 7};
  push(timeIn(10));
  service->refuseWith->info.set("description", "no permission");
  push(timeIn(10));
  EXPECT_THAT(log.take(), ElementsAre("Add local Note time:10.000000 error:service 7",
                                      "Add local Note time:10.000000 error:service 7: no permission"));
  const ScopedHost without(hostWith(nullptr));
  push(timeIn(10));
  EXPECT_THAT(log.take(), ElementsAre(AllOf(StartsWith("Add local Note time:10.000000 error:"),
                                            Not(HasSubstr("(null)")))));
}

}  // namespace
}  // namespace vantrel::tests
