#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/loop/NotificationBus.h"

namespace vantrel {

/// Two kinds of notices: named events inside the process, on `NotificationBus::shared()`, and local notices
/// that the system shows to the user at a given moment.
///
/// Threads: any. Observers are called on the thread that posts.
class VANTREL_EXPORT KWNotice {
 public:
  KWNotice() = delete;

  /// Posts the event `name` with `object`, which may be absent, and without user information. An integer,
  /// also a plain 0 (and the macro NULL), is an object like any other; absent are `nullptr` and no argument.
  static void post_Object(TextArgument name, const ValueTree& object);
  static void post_Object(TextArgument name, const ValueTree* object = nullptr);
  static void post_Object(TextArgument name, std::integral auto object) {
    post_Object(name, ValueTree(object));  // a literal 0 would rather become a null pointer
  }

  /// Registers `action` of the observer `own` for every event of `name` from any sender. The observer is held
  /// weakly and kept alive only while its action runs; the action must not hold it strongly itself.
  /// Registering twice means two calls.
  static void add_Action_Own(TextArgument name, NotificationBus::Action action,
                             const std::weak_ptr<const void>& own);

  /// Removes every registration of the observer for `name`; none: nothing happens. Also from the observer's
  /// destructor, with its `weak_from_this()`.
  static void remove_Own(TextArgument name, const std::weak_ptr<const void>& own);

  /// Schedules a notice with a title, a subtitle and a body for the moment `timeText`, 14 digits of local
  /// time ("20240305140709"), in place of a pending one of the same identifier. `badge` is the count shown on
  /// the application's icon. With `repeat` it is shown again every same interval; the platform repeats
  /// nothing more often than once a minute, so a notice less than 60 seconds ahead is shown once.
  ///
  /// Whether the notice was taken shows in the log alone, on a thread of the host's service: "Add local Note
  /// time:10.000000 error:(null)", or with a text in place of (null) when the service refuses or the host
  /// has none. A moment that is not ahead, or a text that is no time, gives "push Local Notice Date error."
  /// and schedules nothing. The application itself asks the user for the permission beforehand.
  static void pushLocalNoticeDate_ID_Txt_0_Txt_1_Txt_2_Badge_Repeat(TextArgument timeText,
                                                                    TextArgument identifier,
                                                                    TextArgument title, TextArgument subtitle,
                                                                    TextArgument body, std::int64_t badge,
                                                                    bool repeat);
};

}  // namespace vantrel
