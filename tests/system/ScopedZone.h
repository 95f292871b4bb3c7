#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace vantrel {

/// Sets the local time zone as long as it lives.
class ScopedZone {
 public:
  explicit ScopedZone(const char* name) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    set(name);
  }
  ~ScopedZone() { set(before_ ? before_->c_str() : nullptr); }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  static void set(const char* name) {
    name ? setenv("TZ", name, 1) : unsetenv("TZ");
    tzset();
  }

  std::optional<std::string> before_;
};

}  // namespace vantrel
