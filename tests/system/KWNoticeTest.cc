#include "vantrel/system/KWNotice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "vantrel/base/Log.h"
#include "vantrel/host/Host.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/system/KWTime.h"

namespace vantrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A service that keeps what it is given and can be told to refuse.
class FakeLocalNotifications : public LocalNotifications {
 public:
  void add(const LocalNotificationRequest& request,
           std::function<void(const std::optional<Error>&)> completion) override {
    if (refuseWith) return completion(refuseWith);
    pending[request.identifier] = request;
    completion(std::nullopt);
  }

  std::map<std::string, LocalNotificationRequest> pending;
  std::optional<Error> refuseWith;
};

class KWNoticeTest : public testing::Test {
 protected:
  KWNoticeTest() { install(service); }
  ~KWNoticeTest() override { Host::install(*before); }

  void install(std::shared_ptr<LocalNotifications> notifications) {
    Host host;
    host.localNotifications = std::move(notifications);
    auto earlier = Host::install(std::move(host));
    if (!before) before = std::move(earlier);
  }

  static std::string timeIn(double seconds) {
    return KWTime::addSec_OnDate(seconds, KWTime::dateString()).value_or("");
  }

  void push(const std::string& time, bool repeat = false, const std::string& body = "body") {
    KWNotice::pushLocalNoticeDate_ID_Txt_0_Txt_1_Txt_2_Badge_Repeat(time, "id", "title", "subtitle", body, 3,
                                                                    repeat);
  }

  NotificationBus::Action note() {
    return [this](const Notification& event) {
      EXPECT_EQ(event.userInfo, nullptr);
      journal.push_back(std::string(event.name) + "=" +
                        (event.object ? std::string(event.object->asString().value_or("?")) : "absent"));
    };
  }

  std::shared_ptr<const Host> before;
  std::shared_ptr<FakeLocalNotifications> service = std::make_shared<FakeLocalNotifications>();
  ManualClock clock{Date{1'709'640'000.75}};
  ScopedClock scope{clock};
  std::vector<std::string> log;
  ScopedLogSink sink{[this](std::string_view line) { log.emplace_back(line); }};
  std::vector<std::string> journal;
};

TEST_F(KWNoticeTest, AnEventReachesTheObserverOnceUntilItIsRemoved) {
  const auto observer = std::make_shared<int>();
  KWNotice::add_Action_Own("note", note(), observer);
  KWNotice::post_Object("note", "value");
  KWNotice::post_Object("note");
  KWNotice::post_Object("note", nullptr);
  KWNotice::post_Object("other", "value");
  EXPECT_THAT(journal, ElementsAre("note=value", "note=absent", "note=absent"));
  KWNotice::remove_Own("other", observer);
  KWNotice::post_Object("note", "again");
  EXPECT_EQ(journal.size(), 4U);
  KWNotice::remove_Own("note", observer);
  KWNotice::post_Object("note", "late");
  EXPECT_EQ(journal.size(), 4U);
}

TEST_F(KWNoticeTest, EveryIntegerLiteralIsAnObjectAlsoZero) {
  std::vector<ValueTree> objects;
  const auto tap = NotificationBus::shared().add("note", [&](const Notification& event) {
    ASSERT_NE(event.object, nullptr);
    objects.push_back(*event.object);
  });
  KWNotice::post_Object("note", 0);
  KWNotice::post_Object("note", 0U);
  KWNotice::post_Object("note", 1L);
  KWNotice::post_Object("note", false);
  NotificationBus::shared().post("note", 0);
  EXPECT_THAT(objects, ElementsAre(ValueTree(0), ValueTree(0), ValueTree(1), ValueTree(false), ValueTree(0)));
}

TEST_F(KWNoticeTest, AnObserverThatIsGoneIsNotCalled) {
  auto observer = std::make_shared<int>();
  KWNotice::add_Action_Own("note", note(), observer);
  observer.reset();
  KWNotice::post_Object("note", "value");
  EXPECT_THAT(journal, IsEmpty());
}

TEST_F(KWNoticeTest, EventsGoOverTheSharedBus) {
  const auto tap = NotificationBus::shared().add("note", note());
  KWNotice::post_Object("note", "value");
  EXPECT_THAT(journal, ElementsAre("note=value"));
}

TEST_F(KWNoticeTest, AMomentAheadSchedulesANoticeInWholeSeconds) {
  push(timeIn(10));
  ASSERT_EQ(service->pending.size(), 1U);
  const LocalNotificationRequest& request = service->pending.at("id");
  EXPECT_EQ(request.title, "title");
  EXPECT_EQ(request.subtitle, "subtitle");
  EXPECT_EQ(request.body, "body");
  EXPECT_EQ(request.badge, 3);
  EXPECT_EQ(request.interval, 10);
  EXPECT_FALSE(request.repeats);
  EXPECT_THAT(log, ElementsAre("Add local Note time:10.000000 error:(null)"));
}

TEST_F(KWNoticeTest, WhatIsNotAheadIsRefusedWithALine) {
  for (const std::string& time :
       {timeIn(-1), timeIn(0), std::string(), std::string("tomorrow"), std::string("2099010100000")}) {
    log.clear();
    push(time);
    EXPECT_THAT(log, ElementsAre("push Local Notice Date error.")) << time;
  }
  EXPECT_THAT(service->pending, IsEmpty());
}

TEST_F(KWNoticeTest, ALaterNoticeOfTheSameIdentifierReplacesTheFirst) {
  push(timeIn(10), false, "first");
  push(timeIn(20), false, "second");
  ASSERT_EQ(service->pending.size(), 1U);
  EXPECT_EQ(service->pending.at("id").body, "second");
}

TEST_F(KWNoticeTest, ANoticeRepeatsFromAMinuteOn) {
  push(timeIn(59), true);
  EXPECT_FALSE(service->pending.at("id").repeats);
  push(timeIn(60), true);
  EXPECT_TRUE(service->pending.at("id").repeats);
  EXPECT_EQ(service->pending.at("id").interval, 60);
}

TEST_F(KWNoticeTest, ARefusalShowsInTheCompletionLineAlone) {
  service->refuseWith = Error{"service", 7};
  push(timeIn(10));
  service->refuseWith->info.set("description", "no permission");
  push(timeIn(10));
  EXPECT_THAT(log, ElementsAre("Add local Note time:10.000000 error:service 7",
                               "Add local Note time:10.000000 error:service 7: no permission"));
}

TEST_F(KWNoticeTest, AHostWithoutTheServiceReportsAnError) {
  install(nullptr);
  push(timeIn(10));
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].find("Add local Note time:10.000000 error:"), 0U);
  EXPECT_EQ(log[0].find("(null)"), std::string::npos);
}

}  // namespace
}  // namespace vantrel
