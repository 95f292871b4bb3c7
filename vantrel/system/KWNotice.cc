#include "vantrel/system/KWNotice.h"

#include <functional>
#include <optional>
#include <utility>

#include "vantrel/base/Error.h"
#include "vantrel/base/Log.h"
#include "vantrel/base/NumberText.h"
#include "vantrel/host/Host.h"
#include "vantrel/system/KWTime.h"

namespace vantrel {
namespace {

/// The platform repeats nothing more often.
constexpr double kShortestRepeat = 60;

/// "domain 3: why", or without the colon when nobody says why.
std::string textOf(const std::optional<Error>& error) {
  if (!error) return "(null)";
  std::string text = error->domain + " " + std::to_string(error->code);
  if (const auto why = error->info["description"].asString()) text.append(": ").append(*why);
  return text;
}

void logCompletion(double interval, const std::optional<Error>& error) {
  log(error ? LogLevel::Error : LogLevel::Debug,
      "Add local Note time:" + text::fixedDecimals(interval, 6) + " error:" + textOf(error));
}

}  // namespace

void KWNotice::post_Object(TextArgument name, const ValueTree& object) {
  NotificationBus::shared().post(*name, object);
}

void KWNotice::post_Object(TextArgument name, const ValueTree* object) {
  NotificationBus::shared().post(*name, object, nullptr);
}

void KWNotice::add_Action_Own(TextArgument name, NotificationBus::Action action,
                              const std::weak_ptr<const void>& own) {
  NotificationBus::shared().add(*name, std::move(action), own);
}

void KWNotice::remove_Own(TextArgument name, const std::weak_ptr<const void>& own) {
  NotificationBus::shared().remove(*name, own);
}

void KWNotice::pushLocalNoticeDate_ID_Txt_0_Txt_1_Txt_2_Badge_Repeat(TextArgument timeText,
                                                                     TextArgument identifier,
                                                                     TextArgument title,
                                                                     TextArgument subtitle, TextArgument body,
                                                                     std::int64_t badge, bool repeat) {
  const double interval = KWTime::differenceOfDateA_AndDateB(timeText, KWTime::dateString());
  // Not a number when the text does not parse.
  if (!(interval > 0)) return log(LogLevel::Error, "push Local Notice Date error.");

  LocalNotificationRequest request;
  request.identifier = *identifier;
  request.title = *title;
  request.subtitle = *subtitle;
  request.body = *body;
  request.badge = badge;
  request.interval = interval;
  request.repeats = repeat && interval >= kShortestRepeat;

  const auto service = Host::current().localNotifications;
  if (!service) {
    Error error{"KWNotice", 1};
    error.info.set("description", "no service for local notices");
    return logCompletion(interval, error);
  }
  service->add(request, [interval](const std::optional<Error>& error) { logCompletion(interval, error); });
}

}  // namespace vantrel
